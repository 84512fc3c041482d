// What is told about checks: to people, to programs, and how the tool ends.
#ifndef AIPQCTL_DOCTOR_REPORT_H
#define AIPQCTL_DOCTOR_REPORT_H

#include <string>
#include <vector>

#include "checks.h"
#include "exit_code.h"

namespace conformance {

// One check, in one line, and what to do next in another one if need be.
std::string textOf(const Result& result);

// "5 passed, 0 failed, 1 not run"
std::string summaryOf(const std::vector<Result>& results);

// schema/doctor.json
std::string jsonOf(const std::vector<Result>& results);

std::string junitOf(const std::vector<Result>& results);

ExitCode exitCodeOf(const std::vector<Result>& results);

}  // namespace conformance

#endif
