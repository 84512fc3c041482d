// The fixture of tests against the simulated television: it is reset, runs no video pipeline, and its log is
// recorded.
#ifndef TESTS_TELEVISION_TEST_H
#define TESTS_TELEVISION_TEST_H

#include <gtest/gtest.h>

#include "log_recorder.h"
#include "simulated/television.h"

namespace tests {

class TelevisionTest : public testing::Test {
  protected:
    ~TelevisionTest() override {
        television.video().stop();
        television.reset();
    }

    simulated::Television& television = switchedOn();
    simulated::Model& model = television.model();
    LogRecorder log;

    static simulated::Television& switchedOn() {
        simulated::Television& fresh = simulated::Television::instance();
        fresh.reset();
        return fresh;
    }
};

}  // namespace tests

#endif
