// The fixture of tests whose library uses a television in another process. Each test starts a new one.
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

// Keys that only the tests' catalogue has.
constexpr char WIDE[] = "test.wide";
constexpr char TEXT[] = "test.text";
constexpr char TEXTS[] = "test.texts";
constexpr char NUMBERS[] = "test.numbers";

// The television is off at first. The destructor expects it to end with exit code 0, without error output,
// and without files left behind.
class RemoteTest : public testing::Test {
  protected:
    explicit RemoteTest(const std::string& video = "off");
    ~RemoteTest() override;

    // Starts the television and waits until the library has found it.
    void switchOn();
    void killAndSwitchOnAgain();

    // Returns true if the library reaches the television within half a minute.
    static bool isFound();

    // The television that AIPQ_TV names.
    TelevisionProcess television;
    LogRecorder log{simulated::DebugOutput::Verbosity::ERROR};
};

}  // namespace tests

#endif
