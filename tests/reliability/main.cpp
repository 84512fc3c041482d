#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <string_view>

#include "fault_table.h"

int main(int argc, char** argv) {
    setenv("AIPQ_TV_VIDEO", "off", 0);
    // The program with a television of its own has named it already.
    setenv("AIPQ_TV", "embedded", 0);
    if (argc == 2 && std::string_view(argv[1]) == "--cells") {
        for (const tests::FaultCell& cell : tests::faultCells())
            std::cout << cell.seam << '\t' << cell.way << '\t' << (cell.isTested ? "test" : "reason") << '\t'
                      << cell.text << '\n';
        return std::cout.flush() ? 0 : 1;
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
