// A test whose library uses a television that is a process of its own, fresh for each test.
#ifndef TESTS_REMOTE_TEST_H
#define TESTS_REMOTE_TEST_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "log_recorder.h"
#include "recorders.h"
#include "television_process.h"

namespace tests {

// Of the tests' own.
constexpr char WIDE[] = "test.wide";
constexpr char TEXT[] = "test.text";
constexpr char TEXTS[] = "test.texts";
constexpr char NUMBERS[] = "test.numbers";

// The television is off at first, and must end orderly, without a word and a trace.
class RemoteTest : public testing::Test {
  protected:
    explicit RemoteTest(const std::string& video = "off");
    ~RemoteTest() override;

    // Until the library has found it.
    void switchOn();
    void killAndSwitchOnAgain();

    // Whether the library reaches the television, at the latest half a minute from now.
    static bool isFound();

    // The one that AIPQ_TV names.
    TelevisionProcess television;
    LogRecorder log{simulated::DebugOutput::Verbosity::ERROR};
};

}  // namespace tests

#endif
