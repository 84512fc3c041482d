// Runs each operation that must not regress 100 times and 200 times. boundary() is called before, between and
// after the two runs, so that a tool can count the instructions of each run. An operation takes the
// difference of the two counts, divided by 100. Prints the names of the operations in their order.
#include <cstdio>

#include "subjects.h"

extern "C" [[gnu::noinline]] void boundary() { asm volatile(""); }

namespace {

using benchmarks::escape;

template <typename Operation>
[[gnu::noinline]] void repeat(int times, Operation operation) {
    for (int i = 0; i < times; ++i) operation(i);
}

template <typename Operation>
void count(const char* name, Operation operation) {
    std::puts(name);
    repeat(2, operation);  // warm-up: excludes one-time initialisation
    boundary();
    repeat(100, operation);
    boundary();
    repeat(200, operation);
    boundary();
}

}  // namespace

int main() {
    benchmarks::Subjects subjects;
    count("loop", [](int i) { escape(i); });
    count("notify_int", [&](int i) { subjects.integerObserver->notifyNewValue(i); });
    count("notify_string", [&](int) { subjects.textObserver->notifyNewValue(subjects.twentyCharacters); });
    count("read_int", [&](int) {
        int value = 0;
        subjects.access->getValue(value);
        escape(value);
    });
    count("write_int", [&](int i) { subjects.access->setValue(i); });
    count("value_copy", [](int i) {
        const ValueObject value(i);
        ValueObject copy(value);
        escape(copy);
    });
    const ValueObject number(3.14159);
    count("value_double_to_text", [&](int) {
        std::string text = number.convertToStringType();
        escape(text);
    });
    count("log_line_off", [](int i) { benchmarks::logLine(i); });
}
