// The table of faults: every seam of the television with every way in which it can fail. A cell is a test, or
// the reason why there is no such failure. docs/reliability.md is made from what the programs say of their
// cells.
#ifndef TESTS_FAULT_TABLE_H
#define TESTS_FAULT_TABLE_H

#include <string>
#include <vector>

namespace tests {

struct FaultCell {
    const char* seam;
    const char* way;
    const char* text;  // what the client sees, or the reason
    bool isTested;
};

inline std::vector<FaultCell>& faultCells() {
    static std::vector<FaultCell> cells;
    return cells;
}

struct AddedFaultCell {
    explicit AddedFaultCell(const FaultCell& cell) { faultCells().push_back(cell); }
};

}  // namespace tests

// `seam` is the test's fixture. The test brings the fault about, shows what the client sees, takes the fault
// away and shows that the next request works.
#define FAULT(seam, way, clientSees)                                               \
    const tests::AddedFaultCell added##seam##way{{#seam, #way, clientSees, true}}; \
    TEST_F(seam, way)

#define NO_FAULT(seam, way, reason)                \
    const tests::AddedFaultCell added##seam##way { \
        { #seam, #way, reason, false }             \
    }

#endif
