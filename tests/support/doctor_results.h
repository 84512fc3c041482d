// Running the doctor's checks in a test, and what becomes of them.
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

#include "doctor.h"
#include "eventually.h"
#include "simulated/television.h"

namespace doctor {

inline void PrintTo(const Result& result, std::ostream* out) {
    *out << nameOf(result.group, result.subject) << ' ' << static_cast<int>(result.verdict) << ' '
         << result.finding << " > " << result.advice;
}

}  // namespace doctor

namespace tests {

using Names = std::vector<std::string>;

inline std::vector<doctor::Result> examine(const Names& only, const std::atomic<bool>& stop = false) {
    doctor::Examination examination(doctor::select(doctor::allChecks(), {.only = only}));
    return examination.run(stop);
}

// This one failed and the finding says so; all others passed, or needed one that did not.
inline void expectOnlyFailure(const std::vector<doctor::Result>& results, const std::string& check,
                              const std::string& finding) {
    bool seen = false;
    for (const doctor::Result& result : results) {
        SCOPED_TRACE(testing::PrintToString(result));
        if (doctor::nameOf(result.group, result.subject) == check) {
            seen = true;
            EXPECT_EQ(result.verdict, doctor::Verdict::FAILED);
            EXPECT_THAT(result.finding, testing::HasSubstr(finding));
            EXPECT_FALSE(result.advice.empty());
        } else if (result.verdict != doctor::Verdict::PASSED) {
            EXPECT_EQ(result.verdict, doctor::Verdict::NOT_RUN);
            EXPECT_THAT(result.finding, testing::MatchesRegex("needs '.*', which did not pass"));
        }
    }
    EXPECT_TRUE(seen) << check << " was not among the checks";
}

inline void expectAllPassed(const std::vector<doctor::Result>& results) {
    EXPECT_FALSE(results.empty());
    for (const doctor::Result& result : results)
        EXPECT_EQ(result.verdict, doctor::Verdict::PASSED) << testing::PrintToString(result);
}

// Everything of the television that a check may change.
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
