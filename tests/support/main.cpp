#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv) {
    // A test that needs a picture starts the pipeline itself.
    setenv("AIPQ_TV_VIDEO", "off", 0);
    // Each test program uses its own embedded television, even if another one runs on the machine.
    setenv("AIPQ_TV", "embedded", 0);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
