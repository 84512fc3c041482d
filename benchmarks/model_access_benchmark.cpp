// What the ways through the model access cost, logging off: build the target model_access_benchmark of the
// preset release and run it.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "platform_adaptation/system_access/value_access.h"
#include "simulated/television.h"

using IntegerAccess = ValueAccessT<lomodelapi::ObserverNumericInteger>;

namespace {

constexpr char BRIGHTNESS[] = "dovra.sl2.i32.video.brightness";

void quiet() {
    simulated::Television::instance().debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::OFF);
}

struct Owner {
    void onChanged(const ValueObject& value) { last = value; }
    int last = 0;
};

// From the model's call to the owner's member function.
void notifyInteger(benchmark::State& state) {
    quiet();
    Owner owner;
    IntegerAccess access(BRIGHTNESS, std::make_shared<ValueHandlerT<Owner>>(&owner, &Owner::onChanged));
    lomodelapi::ObserverNumericInteger& observer = access;
    int value = 0;
    for ([[maybe_unused]] auto unused : state) {
        observer.notifyNewValue(++value);
        benchmark::DoNotOptimize(owner.last);
    }
}
BENCHMARK(notifyInteger);

void readInteger(benchmark::State& state) {
    setenv("AIPQ_TV_VIDEO", "off", 1);
    quiet();
    IntegerAccess access(BRIGHTNESS);
    int value = 0;
    for ([[maybe_unused]] auto unused : state) {
        access.getValue(value);
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(readInteger);

void copyInteger(benchmark::State& state) {
    const ValueObject value(60);
    for ([[maybe_unused]] auto unused : state) {
        ValueObject copy(value);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(copyInteger);

void doubleToText(benchmark::State& state) {
    const ValueObject value(3.14159);
    for ([[maybe_unused]] auto unused : state) {
        std::string text = value.convertToStringType();
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(doubleToText);

}  // namespace
