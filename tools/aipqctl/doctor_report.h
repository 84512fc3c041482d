// Reports the results of checks: as text, as JSON, as JUnit XML and as exit code.
#ifndef AIPQCTL_DOCTOR_REPORT_H
#define AIPQCTL_DOCTOR_REPORT_H

#include <string>
#include <vector>

#include "checks.h"
#include "exit_code.h"

namespace conformance {

// Returns one line about a check, and if needed a second line that says what to do.
std::string textOf(const Result& result);

// Such as "5 passed, 0 failed, 1 not run".
std::string summaryOf(const std::vector<Result>& results);

// Follows schema/doctor.json.
std::string jsonOf(const std::vector<Result>& results);

std::string junitOf(const std::vector<Result>& results);

ExitCode exitCodeOf(const std::vector<Result>& results);

}  // namespace conformance

#endif
