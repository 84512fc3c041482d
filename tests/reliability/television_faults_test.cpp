// A television in another process is killed while a client uses it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <string>

#include "eventually.h"
#include "keys.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "remote_test.h"

using namespace std::chrono_literals;
using namespace tests::keys;
using tests::eventually;
using tests::Integer;
using tests::IteratorRecorder;
using tests::Service;
using tests::String;
using tests::ValueRecorder;

namespace {

class DeathTest : public tests::RemoteTest {
  protected:
    void SetUp() override {
        simulated::Television::instance().debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::INFO);
        switchOn();
    }

    // Kills the television and waits until the client has noticed it: reads then fail.
    void killTelevision() {
        String probe(HDR_TYPE);
        std::string text;
        EXPECT_EQ(probe.getValue(text), 0);
        television.kill();
        EXPECT_TRUE(eventually([&] { return probe.getValue(text) != 0; }));
    }

    std::unique_ptr<IteratorAccess> open() {
        auto iterator = std::make_unique<IteratorAccess>(
            CHANNELS, rows, lomodelapi::IteratorType{1, 3}, std::vector<lomodelapi::TableSelection>(),
            std::vector<int>{0, 1}, std::vector<lomodelapi::TableOrder>());
        EXPECT_EQ(iterator->create(), 0);
        EXPECT_TRUE(rows->received.waitForBeginning("ready"));
        return iterator;
    }

    const std::shared_ptr<IteratorRecorder> rows = std::make_shared<IteratorRecorder>();
};

class TheProcessFramework : public DeathTest {};
class TheSubscription : public DeathTest {};
class TheTypeQuery : public DeathTest {};
class TheRead : public DeathTest {};
class TheWrite : public DeathTest {};
class TheNotification : public DeathTest {};
class TheAction : public DeathTest {};
class TheTable : public DeathTest {};
class TheIterator : public DeathTest {};
class TheApplicationManager : public DeathTest {};

TEST_F(TheProcessFramework, KeepsItsRootWhenTheTelevisionIsKilled) {
    killTelevision();
    EXPECT_NE(ValueAccessBase::getRootInterface(), nullptr);
    EXPECT_EQ(Integer(BRIGHTNESS).connect(0), 5);
    switchOn();
    EXPECT_EQ(Integer(BRIGHTNESS).connect(0), 0);
}

TEST_F(TheSubscription, FailsUntilTheTelevisionIsRestarted) {
    killTelevision();
    Integer access(BRIGHTNESS);
    EXPECT_EQ(access.connect(0), 5);
    EXPECT_EQ(log.withMessage("Failed 7\n").size(), 1U);
    auto connecting = std::async(std::launch::async, [&] { return access.connect(60000); });
    switchOn();
    EXPECT_EQ(connecting.get(), 0);
}

TEST_F(TheTypeQuery, Returns0AfterTheTelevisionIsKilled) {
    Integer access(BRIGHTNESS);
    ASSERT_EQ(access.connect(0), 0);
    killTelevision();
    EXPECT_EQ(access.getType(), lomodelapi::OBJECT_TYPE_NONE);
    switchOn();
    EXPECT_EQ(access.getType(), lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER);
    int value = 0;
    EXPECT_EQ(access.getValue(value), 0);
    EXPECT_EQ(value, 50);
}

TEST_F(TheRead, FailsAfterTheTelevisionIsKilled) {
    SystemInfo info;
    SystemSetting setting;
    String access(HDR_TYPE);
    ASSERT_EQ(access.connect(0), 0);
    killTelevision();
    std::string text = "unchanged";
    EXPECT_NE(access.getValue(text), 0);
    EXPECT_EQ(text, "unchanged");
    EXPECT_EQ(info.getVideoInfoHDRType(), VIDEO_INFO_HDR_TYPE_UNKNOWN);
    EXPECT_FALSE(info.getAIPQSupported());
    EXPECT_EQ(setting.getVideoBrightness(), -1);
    switchOn();
    EXPECT_EQ(access.getValue(text), 0);
    EXPECT_EQ(info.getVideoInfoHDRType(), VIDEO_INFO_HDR_TYPE_SDR);
    EXPECT_EQ(setting.getVideoBrightness(), 50);
}

TEST_F(TheWrite, FailsAfterTheTelevisionIsKilled) {
    SystemSetting setting;
    Integer access(BRIGHTNESS);
    ASSERT_EQ(access.connect(0), 0);
    killTelevision();
    EXPECT_NE(access.setValue(60), 0);
    log.clear();
    EXPECT_EQ(setting.setVideoBrightness(60), 0);
    // One line of the getter and one of the worker.
    EXPECT_TRUE(log.waitFor("get video brightness failed.", 2));
    switchOn();
    EXPECT_EQ(access.setValue(60), 0);
    EXPECT_EQ(television.get<std::int32_t>(BRIGHTNESS), 60);
    EXPECT_EQ(setting.setVideoBrightness(60), 0);
    EXPECT_TRUE(log.waitFor("set video brightness successed."));
}

TEST_F(TheNotification, ArrivesAgainAfterARestartOfTheTelevision) {
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer access(BRIGHTNESS, recorder);
    ASSERT_EQ(access.connect(0), 0);
    killTelevision();
    switchOn();
    EXPECT_EQ(television.subscribers(BRIGHTNESS), 1U);
    EXPECT_EQ(recorder->received.count(), 0U);
    television.set(BRIGHTNESS, std::int32_t{60});
    EXPECT_TRUE(recorder->received.waitFor("60"));
}

TEST_F(TheAction, ReturnsFalseAfterTheTelevisionIsKilled) {
    SourceSwitchAccessImpl access;
    ASSERT_TRUE(access.setChannelNext());
    television.setFault(SWITCH_ACTION, "key.never_answer", 1);
    auto waiting = std::async(std::launch::async, [&] { return access.setChannelNext(); });
    EXPECT_TRUE(log.waitFor("waiting result ...  001", 2));
    killTelevision();
    EXPECT_FALSE(waiting.get());
    EXPECT_FALSE(access.setChannelPrev());
    switchOn();
    EXPECT_TRUE(access.setChannelNext());
}

TEST_F(TheTable, CannotBeOpenedUntilTheTelevisionIsRestarted) {
    IteratorAccess iterator(CHANNELS, rows, {0, 3}, {}, {0}, {});
    killTelevision();
    EXPECT_EQ(iterator.create(), 4);
    switchOn();
    EXPECT_EQ(iterator.create(), 0);
    EXPECT_TRUE(rows->received.waitForBeginning("ready"));
}

TEST_F(TheIterator, IsRestoredWithTheTelevision) {
    const auto iterator = open();
    killTelevision();
    rows->received.forget();
    EXPECT_NE(iterator->getIterator()->readRow(), 0);
    EXPECT_EQ(rows->received.count(), 0U);
    switchOn();
    EXPECT_TRUE(rows->received.waitForBeginning("ready"));
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(rows->received.waitFor("row 1,First"));
}

TEST_F(TheApplicationManager, RestoresRegistrationsWithTheTelevision) {
    Service service("aipq");
    killTelevision();
    EXPECT_FALSE(SystemState("another").registerApp());
    switchOn();
    EXPECT_TRUE(eventually([&] { return television.applications() == std::vector<std::string>{"aipq"}; }));
    television.notify("aipq", "running");
    EXPECT_TRUE(service.received.waitFor("1"));
}

}  // namespace
