#ifndef BENCHMARKS_MEASURE_H
#define BENCHMARKS_MEASURE_H

#include <benchmark/benchmark.h>

#include <string>
#include <utility>

#include "allocations.h"

namespace benchmarks {

// Registers a benchmark under the name ROW/PEER. `make` runs on the measuring thread and returns the
// operation to repeat. Also counts the allocations per operation.
template <typename Make>
benchmark::internal::Benchmark* add(const char* row, const char* peer, Make make) {
    return benchmark::RegisterBenchmark(
        (std::string(row) + '/' + peer).c_str(), [make](benchmark::State& state) {
            auto operation = make();
            operation();
            const unsigned long before = allocations();
            for ([[maybe_unused]] auto unused : state) operation();
            state.counters["allocations"] = benchmark::Counter(static_cast<double>(allocations() - before),
                                                               benchmark::Counter::kAvgIterations);
        });
}

// Each function registers the benchmarks of its file.
void addSignals();
void addValues();
void addGObject();
void addQt();
void addRequests();
void addFrames();

}  // namespace benchmarks

#endif
