#include "subjects.h"

#include "csp/debug.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

namespace benchmarks {

void logLine(int value) { LOG_INFO("a line with two numbers: %d, %d\n", value, value + 1); }

namespace {

void setLast(int value, int& last) { last = value; }

}  // namespace

std::unique_ptr<StillValue> makeStillValue() {
    return std::make_unique<StillValue>(lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER);
}

BizValue& asModelValue(StillValue& value) { return value; }

DirectFunction directFunction() { return setLast; }

}  // namespace benchmarks
