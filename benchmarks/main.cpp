// Runs all benchmarks. scripts/benchmark starts this program and writes the table.
#include "measure.h"

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
#ifdef __OPTIMIZE__
    benchmark::AddCustomContext("optimised", "yes");
#endif
    benchmarks::addSignals();
    benchmarks::addValues();
    benchmarks::addGObject();
    benchmarks::addQt();
    benchmarks::addRequests();
    benchmarks::addFrames();
    benchmark::RunSpecifiedBenchmarks();
}
