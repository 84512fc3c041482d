#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv) {
    // A test that wants a picture starts the pipeline itself.
    setenv("AIPQ_TV_VIDEO", "off", 0);
    // Each test program has a television of its own, whatever runs on the machine.
    setenv("AIPQ_TV", "embedded", 0);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
