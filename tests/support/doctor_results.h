// Runs the doctor's checks in a test and verifies their results.
#ifndef TESTS_DOCTOR_RESULTS_H
#define TESTS_DOCTOR_RESULTS_H

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "checks.h"
#include "eventually.h"
#include "simulated/television.h"

namespace conformance {

inline void PrintTo(const Result& result, std::ostream* out) {
    *out << nameOf(result.group, result.subject) << ' ' << static_cast<int>(result.verdict) << ' '
         << result.finding << " > " << result.advice;
}

}  // namespace conformance

namespace tests {

using Names = std::vector<std::string>;

inline std::vector<conformance::Result> examine(const Names& only, const std::atomic<bool>& stop = false) {
    conformance::Examination examination(conformance::select(conformance::allChecks(), {.only = only}));
    return examination.run(stop);
}

// Expects that `check` failed with this finding. Every other check passed, or was not run because it needs a
// check that did not pass.
inline void expectOnlyFailure(const std::vector<conformance::Result>& results, const std::string& check,
                              const std::string& finding) {
    bool seen = false;
    for (const conformance::Result& result : results) {
        SCOPED_TRACE(testing::PrintToString(result));
        if (conformance::nameOf(result.group, result.subject) == check) {
            seen = true;
            EXPECT_EQ(result.verdict, conformance::Verdict::FAILED);
            EXPECT_THAT(result.finding, testing::HasSubstr(finding));
            EXPECT_FALSE(result.advice.empty());
        } else if (result.verdict != conformance::Verdict::PASSED) {
            EXPECT_EQ(result.verdict, conformance::Verdict::NOT_RUN);
            EXPECT_THAT(result.finding, testing::MatchesRegex("needs '.*', which did not pass"));
        }
    }
    EXPECT_TRUE(seen) << check << " was not among the checks";
}

inline void expectAllPassed(const std::vector<conformance::Result>& results) {
    EXPECT_FALSE(results.empty());
    for (const conformance::Result& result : results)
        EXPECT_EQ(result.verdict, conformance::Verdict::PASSED) << testing::PrintToString(result);
}

// The part of the television's state that a check may change.
struct State {
    std::vector<simulated::Value> values;
    int takenResources;
    std::vector<unsigned> subscribers;
    std::vector<std::string> applications;

    static State now() {
        simulated::Television& television = simulated::Television::instance();
        State state{
            {}, television.sourceSwitch().takenResources(), {}, television.applications().applications()};
        for (const simulated::KeyDefinition& key : television.model().keys()) {
            state.values.push_back(television.model().value(key.name));
            state.subscribers.push_back(television.model().subscribers(key.name));
        }
        return state;
    }
    bool operator==(const State&) const = default;
};

}  // namespace tests

#endif
