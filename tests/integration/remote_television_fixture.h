// The fixture of tests with the television in another process.
#ifndef TESTS_REMOTE_TELEVISION_FIXTURE_H
#define TESTS_REMOTE_TELEVISION_FIXTURE_H

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "eventually.h"
#include "keys.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "remote_test.h"

namespace tests {

constexpr auto LIMIT = std::chrono::seconds(30);

class ATelevisionProcess : public RemoteTest {
  protected:
    void SetUp() override { switchOn(); }

    static void logEverything() {
        simulated::Television::instance().debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::INFO);
    }

    // Announces a value again: a worker misses a notification that arrives before it waits.
    void announceAgain(const std::string& key) {
        television.setFault(key, "key.keep_value", 1);
        Integer(key).setValue(0);
        television.setFault(key, "key.keep_value", 0);
    }

    // Waits for the end of a worker, which must not outlive its SystemSetting object.
    void expectWorkerToEnd(const std::string& setting, const std::string& key) {
        for (int second = 0; second < 60; ++second) {
            if (log.waitFor("set video " + setting + " successed.", 1, std::chrono::seconds(1))) return;
            announceAgain(key);
        }
        FAIL() << "the worker of " << setting << " does not end";
    }

    // Writes a key, reads it back and expects its notification.
    template <typename Access, typename Value>
    static void expectRoundTrip(const std::string& key, const Value& value) {
        const auto recorder = std::make_shared<ValueRecorder>();
        Access access(key, recorder);
        ASSERT_EQ(access.connect(1000), 0);
        EXPECT_EQ(access.setValue(value), 0);
        Value back{};
        EXPECT_EQ(access.getValue(back), 0);
        EXPECT_EQ(back, value);
        const ValueObject expected = toObject(value);
        EXPECT_TRUE(recorder->received.waitFor(expected.convertToStringType()));
        EXPECT_EQ(recorder->received.count(), 1U);
    }

    template <typename Value>
    static ValueObject toObject(const Value& value) {
        return value;
    }
    template <typename Element>
    static ValueObject toObject(const std::vector<Element>& list) {
        ValueObject object;
        object.kind = ValueObject::TYPE_VECTOR;
        for (const Element& element : list) object.items.emplace_back(element);
        return object;
    }

    static std::unique_ptr<IteratorAccess> makeIterator(const std::shared_ptr<IteratorRecorder>& recorder,
                                                        int kind = 1) {
        return std::make_unique<IteratorAccess>(keys::CHANNELS, recorder, lomodelapi::IteratorType{kind, 3},
                                                std::vector<lomodelapi::TableSelection>{{6, "0"}},
                                                std::vector<int>{0, 1},
                                                std::vector<lomodelapi::TableOrder>{{1, true}});
    }

    SourceSwitchAccessImpl sourceSwitch;
};

}  // namespace tests

#endif
