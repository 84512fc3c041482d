// The requirements of the library on any platform: each check of `aipqctl doctor` is a test. This program
// does not depend on the simulated television; linked with the libraries of a real television, it tests that
// one.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "checks.h"

namespace {

struct Demand {
    const char* suite;
    const char* name;
};

// The tests' names, by the group of the check.
const std::map<std::string, Demand> DEMANDS{
    {"framework", {"TheProcessFramework", "ReturnsTheModelsRoot"}},
    {"key", {"AKey", "HasItsTypeAndRange"}},
    {"write", {"AWrite", "IsStoredAndAnnouncedOnce"}},
    {"order", {"TwoQuickWrites", "AreAnnouncedInOrder"}},
    {"silence", {"ASubscriber", "ReceivesNothingAfterDisconnecting"}},
    {"action", {"AnInvocation", "IsAnsweredOnceUnderItsId"}},
    {"channels", {"AnIterator", "ReadsRowsUntilItIsReleased"}},
    {"queue", {"TheFramePath", "HasAQueueThatCanBeOpened"}},
    {"segment", {"TheFramePath", "HasASegmentThatCanBeAttached"}},
    {"frame", {"TheFramePath", "DeliversFramesInTheRequestedSize"}},
    {"callback", {"TheFramePath", "DeliversAFrameByTheCallback"}},
    {"application-manager", {"TheApplicationManager", "AcceptsARegistrationAndItsEnd"}},
};

class Conformance : public testing::Test {
  public:
    explicit Conformance(std::string check) : m_check(std::move(check)) {}

  private:
    void TestBody() override {
        const std::atomic<bool> stop{false};
        conformance::Examination examination(
            conformance::select(conformance::allChecks(), {.only = {m_check}}));
        for (const conformance::Result& result : examination.run(stop))
            EXPECT_EQ(result.verdict, conformance::Verdict::PASSED)
                << conformance::nameOf(result.group, result.subject) << ": " << result.finding << "\n  > "
                << result.advice;
    }

    const std::string m_check;
};

// Converts the subject of a check to the end of a test's name.
std::string identifierOf(std::string subject) {
    std::replace_if(
        subject.begin(), subject.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return subject.empty() ? subject : '_' + subject;
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    for (const conformance::Check& check : conformance::allChecks()) {
        const Demand& demand = DEMANDS.at(check.group);
        const std::string name = demand.name + identifierOf(check.subject);
        testing::RegisterTest(demand.suite, name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                              [check = conformance::nameOf(check.group, check.subject)]() -> Conformance* {
                                  return new Conformance(check);
                              });
    }
    return RUN_ALL_TESTS();
}
