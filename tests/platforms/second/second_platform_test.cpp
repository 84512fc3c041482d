// Tests the library on the platform of another maker, through an adapter, with the operations of a service.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "orbit/lifecycle.h"
#include "platform_adaptation/system_access/iterator_access.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_access/value_access.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "platform_adaptation/system_state.h"

using namespace lomodelapi;

namespace {

constexpr char BRIGHTNESS[] = "dovra.sl2.i32.video.brightness";
constexpr char SOURCE[] = "dovra.sl2.str.source.current.path";
constexpr int CONNECT_TIMEOUT_MS = 1000;

// Records the notifications of the platform's threads.
template <typename T>
class Record {
  public:
    void add(T entry) {
        const std::lock_guard lock(m_mutex);
        m_entries.push_back(std::move(entry));
        m_changed.notify_all();
    }
    std::vector<T> entries() const {
        const std::lock_guard lock(m_mutex);
        return m_entries;
    }
    // Waits until there are at least `count` entries.
    std::vector<T> await(std::size_t count) const {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, std::chrono::seconds(30), [&] { return m_entries.size() >= count; });
        return m_entries;
    }

  private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<T> m_entries;
};

template <typename T>
class Changes final : public ValueHandler, public Record<T> {
  public:
    void onNewValue(const ValueObject& value) override {
        threads.add(std::this_thread::get_id());
        this->add(value);
    }

    Record<std::thread::id> threads;
};

template <typename ObserverOfIt, typename T>
void expectRoundTrip(const std::string& key, const T& value) {
    ValueAccessT<ObserverOfIt> access(key);
    T before{};
    ASSERT_EQ(access.getValue(before), 0) << key;
    EXPECT_NE(before, value);
    EXPECT_EQ(access.setValue(value), 0);
    T now{};
    EXPECT_EQ(access.getValue(now), 0);
    EXPECT_EQ(now, value);
    EXPECT_EQ(access.setValue(before), 0);
}

TEST(ASecondPlatform, StoresAValueOfEveryKind) {
    expectRoundTrip<ObserverNumericInteger>(BRIGHTNESS, 12);
    expectRoundTrip<ObserverNumericInt64>("orbit.uptime", 5LL << 33);
    expectRoundTrip<ObserverString>(SOURCE, std::string("netflix"));
    expectRoundTrip<ObserverVectorNumericInteger>("dovra.sl2.vint.video.aipq.pq.setting",
                                                  std::vector<int>{3, -2, 1});
    expectRoundTrip<ObserverVectorString>("dovra.sl2.vstr.tvservice.play.main",
                                          std::vector<std::string>{"a", "", "b"});
}

TEST(ASecondPlatform, IsReadByTheFacades) {
    SystemInfo info;
    EXPECT_TRUE(info.getAIPQSupported());
    EXPECT_EQ(info.getSourceType(), SOURCE_TYPE_TV);
    EXPECT_EQ(info.getPlayerState(), PLAYER_STATE_PLAYING);
    EXPECT_TRUE(info.getTvStreamEncrypted());
    SystemSetting setting;
    EXPECT_EQ(setting.getVideoBrightness(), 40);
    EXPECT_EQ(setting.getVideoNR(), 1);
}

TEST(ASecondPlatform, RefusesAnUnknownKeyAndAnotherType) {
    ValueAccessT<ObserverNumericInteger> unknown("dovra.sl2.i32.no.such.key");
    EXPECT_EQ(unknown.connect(0), 5);
    ValueAccessT<ObserverNumericInteger> text(SOURCE);
    EXPECT_EQ(text.connect(0), 6);
}

TEST(ASecondPlatform, NotifiesEachStepOfABrightnessChangeInOrder) {
    const auto changes = std::make_shared<Changes<int>>();
    ValueAccessT<ObserverNumericInteger> follower(BRIGHTNESS, changes);
    ASSERT_EQ(follower.connect(CONNECT_TIMEOUT_MS), 0);
    ValueAccessT<ObserverNumericInteger> writer(BRIGHTNESS);
    for (const int value : {42, 44, 46, 40}) ASSERT_EQ(writer.setValue(value), 0);
    EXPECT_EQ(changes->await(4), (std::vector<int>{42, 44, 46, 40}));
    for (const std::thread::id thread : changes->threads.entries()) {
        EXPECT_NE(thread, std::this_thread::get_id());
        EXPECT_EQ(thread, changes->threads.entries().front());
    }
}

TEST(ASecondPlatform, AcceptsTheColourTunerSettings) {
    SystemSetting setting;
    std::vector<int> values{1, 10, -20, 30};
    EXPECT_EQ(setting.setVideoColorTunerFamily(values), 0);
    EXPECT_EQ(setting.getVideoColorTuner(), 1);
    EXPECT_EQ(setting.getVideoColorTunerB(), 10);
    EXPECT_EQ(setting.getVideoColorTunerS(), -20);
    EXPECT_EQ(setting.getVideoColorTunerH(), 30);
}

TEST(ASecondPlatform, NotifiesTheServiceOfAnotherSource) {
    Record<SourceType> sources;
    SystemInfo info;
    info.registerCallBackSourceType(
        [](SourceType type, void* record) { static_cast<Record<SourceType>*>(record)->add(type); }, &sources);
    ValueAccessT<ObserverString> remoteControl(SOURCE);
    ASSERT_EQ(remoteControl.setValue(std::string("HDMI2")), 0);
    EXPECT_EQ(sources.await(1), std::vector<SourceType>{SOURCE_TYPE_HDMI});
    ASSERT_EQ(remoteControl.setValue(std::string("TV")), 0);
    EXPECT_EQ(sources.await(2).back(), SOURCE_TYPE_TV);
}

TEST(ASecondPlatform, SendsNothingAfterADisconnection) {
    // Values change continuously while subscribers connect and disconnect. Each subscriber is destroyed
    // immediately after its disconnection.
    ValueAccessT<ObserverNumericInteger> writer(BRIGHTNESS);
    for (int round = 0; round < 200; ++round) {
        const auto ended = std::make_shared<Changes<int>>();
        std::size_t received = 0;
        {
            ValueAccessT<ObserverNumericInteger> follower(BRIGHTNESS, ended);
            ASSERT_EQ(follower.connect(CONNECT_TIMEOUT_MS), 0);
            for (int value = 0; value < 20; ++value) ASSERT_EQ(writer.setValue(value), 0);
            follower.disconnect();
            received = ended->entries().size();
        }
        const auto other = std::make_shared<Changes<int>>();
        ValueAccessT<ObserverNumericInteger> witness(BRIGHTNESS, other);
        ASSERT_EQ(witness.connect(CONNECT_TIMEOUT_MS), 0);
        ASSERT_EQ(writer.setValue(40), 0);
        ASSERT_EQ(other->await(1), std::vector<int>{40});
        ASSERT_EQ(ended->entries().size(), received);
    }
}

TEST(ASecondPlatform, AnswersTheSourceSwitchAction) {
    SourceSwitchAccessImpl* const sources = SourceSwitchAccessImpl::GetInstance();
    EXPECT_TRUE(sources->pauseAV());
    EXPECT_TRUE(sources->resumeAV());
    EXPECT_TRUE(sources->setChannelNext());
    // This platform has no playback command and returns an error.
    EXPECT_FALSE(sources->pauseVideo());
    EXPECT_EQ(sources->setQuietFlag(1), 0);
}

class Rows final : public IteratorHandler {
  public:
    void onIteratorReady(int count) override { ready.add(count); }
    void onReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override {
        std::vector<std::string> names;
        for (const auto* row : rows) names.push_back(row->at(0));
        chunks.add(names);
    }
    void onSeekToContent(int row) override { sought.add(row); }
    void onReadRow(const std::vector<std::string>& row) override { chunks.add(row); }
    void onTotalCount(int count) override { ready.add(count); }
    void onCursorPosition(int row) override { sought.add(row); }
    void onSeekToRow(int row) override { sought.add(row); }
    void onCommit(int status) override { ready.add(status); }
    void onUpdate(int) override {}

    Record<int> ready;
    Record<int> sought;
    Record<std::vector<std::string>> chunks;
};

TEST(ASecondPlatform, ListsTheChannels) {
    constexpr int number = 0;
    constexpr int name = 1;
    const auto rows = std::make_shared<Rows>();
    IteratorAccess list("dovra.sl2.table.channel.list", rows, IteratorType{0, 2}, {}, {name},
                        {TableOrder{number, true}});
    ASSERT_EQ(list.create(), 0);
    ASSERT_NE(list.getIterator(), nullptr);
    EXPECT_EQ(rows->ready.await(1), std::vector<int>{3});
    EXPECT_EQ(list.getIterator()->readRowChunk(10), 0);
    EXPECT_EQ(list.getIterator()->readRow(), 0);
    EXPECT_EQ(rows->chunks.await(2), (std::vector<std::vector<std::string>>{{"Alpha", "Beta"}, {"Gamma"}}));
    EXPECT_EQ(list.getIterator()->seekToContent(name, "Beta"), 0);
    EXPECT_EQ(rows->sought.await(1), std::vector<int>{1});
    list.destroy();

    IteratorAccess one("dovra.sl2.table.channel.list", rows, IteratorType{0, 2},
                       {TableSelection{number, "2"}}, {name}, {});
    ASSERT_EQ(one.create(), 0);
    EXPECT_EQ(rows->ready.await(2).back(), 1);
}

TEST(ASecondPlatform, NotifiesTheServiceOfItsLifecycle) {
    constexpr char name[] = "aipq";
    Record<TVPowerState> states;
    {
        SystemState state(name);
        state.registerCallBackTVPowerState(
            [](TVPowerState power, void* record) { static_cast<Record<TVPowerState>*>(record)->add(power); },
            &states);
        for (const orbit_event event : {ORBIT_STARTED, ORBIT_TO_BACKGROUND, ORBIT_ASLEEP, ORBIT_AWAKE})
            ASSERT_EQ(orbit_launcher_tell(name, event, "app://aipq", "", 1), 0);
        EXPECT_EQ(states.await(4),
                  (std::vector<TVPowerState>{TV_POWER_STATE_RUNNING, TV_POWER_STATE_SUSPEND,
                                             TV_POWER_STATE_STR_SUSPEND, TV_POWER_STATE_STR_RESUME}));
        // The library reports a status before and after the suspension to RAM.
        int stages[3] = {};
        EXPECT_EQ(orbit_launcher_progress(name, stages, 3), 2);
        EXPECT_EQ(stages[0], 7);
        EXPECT_EQ(stages[1], 8);
    }
    EXPECT_EQ(orbit_launcher_tell(name, ORBIT_STARTED, "", "", 0), -1);
}

TEST(ASecondPlatform, PrintsTheLibrarysErrors) {
    testing::internal::CaptureStderr();
    ValueAccessT<ObserverNumericInteger> unknown("dovra.sl2.i32.no.such.key");
    unknown.connect(0);
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_NE(printed.find("<1> aipq: value_access_base.cpp:"), std::string::npos) << printed;
    EXPECT_NE(printed.find("connect(): [Platform Adaptation] Failed 3\n"), std::string::npos) << printed;
    EXPECT_EQ(printed.find("ENTER"), std::string::npos) << printed;
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
