// A television in another process behaves like an embedded one.
#include <gmock/gmock.h>
#include <malloc.h>

#include <climits>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "keys.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "remote_television_fixture.h"

using namespace tests::keys;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::ActionRecorder;
using tests::ATelevisionProcess;
using tests::eventually;
using tests::Int64;
using tests::Integer;
using tests::Integers;
using tests::IteratorRecorder;
using tests::NUMBERS;
using tests::Received;
using tests::Service;
using tests::String;
using tests::Strings;
using tests::TelevisionProcess;
using tests::TEXT;
using tests::TEXTS;
using tests::ValueRecorder;
using tests::WIDE;

namespace {

const std::string NO_UTF8("\xff\xfe z\0\x80.", 7);

TEST_F(ATelevisionProcess, WritesReadsAndAnnouncesNumbers) {
    expectRoundTrip<Integer>(BRIGHTNESS, 100);
    expectRoundTrip<Integer>(BRIGHTNESS, 0);
    expectRoundTrip<Integer>("dovra.sl2.i32.video.enum.instant.game.response", INT_MIN);
    expectRoundTrip<Int64>(WIDE, LLONG_MIN);
    expectRoundTrip<Int64>(WIDE, LLONG_MAX);
}

TEST_F(ATelevisionProcess, WritesReadsAndAnnouncesStringsOfAnyBytes) {
    expectRoundTrip<String>(SOURCE, std::string("HDMI1"));
    expectRoundTrip<String>(TEXT, NO_UTF8);
    expectRoundTrip<String>(TEXT, std::string());
    expectRoundTrip<String>(TEXT, std::string(1, '\0'));
    expectRoundTrip<String>(TEXT, std::string(1'000'000, '\xc3'));
    // Tools that print text replace bytes that are not UTF-8.
    String(TEXT).setValue(std::string("a\xff"));
    EXPECT_EQ(television.get<std::string>(TEXT), "a\xef\xbf\xbd");
}

TEST_F(ATelevisionProcess, WritesReadsAndAnnouncesLists) {
    expectRoundTrip<Integers>(NUMBERS, std::vector<int>{INT_MAX, 0, INT_MIN});
    expectRoundTrip<Integers>(NUMBERS, std::vector<int>());
    expectRoundTrip<Integers>(NUMBERS, std::vector<int>(100'000, 7));
    expectRoundTrip<Strings>(TEXTS, std::vector<std::string>{"", NO_UTF8, "z"});
    expectRoundTrip<Strings>(TEXTS, std::vector<std::string>());
    expectRoundTrip<Strings>(TEXTS, std::vector<std::string>(10'000, "text"));
}

TEST_F(ATelevisionProcess, AnnouncesItsOwnChanges) {
    const auto recorder = std::make_shared<ValueRecorder>();
    String access(SOURCE, recorder);
    ASSERT_EQ(access.connect(1000), 0);
    television.set(SOURCE, std::string("HDMI3"));
    EXPECT_TRUE(recorder->received.waitFor("HDMI3"));
    television.set(SOURCE, std::string("HDMI3"));  // no change
    EXPECT_EQ(access.disconnect(), 0);
    const auto other = std::make_shared<ValueRecorder>();
    String otherAccess(SOURCE, other);
    ASSERT_EQ(otherAccess.connect(1000), 0);
    television.set(SOURCE, std::string("HDMI4"));
    EXPECT_TRUE(other->received.waitFor("HDMI4"));
    ASSERT_EQ(access.connect(1000), 0);
    television.set(SOURCE, std::string("HDMI5"));
    EXPECT_TRUE(recorder->received.waitFor("HDMI5"));
    EXPECT_THAT(recorder->received.all(), ElementsAre("HDMI3", "HDMI5"));
}

TEST_F(ATelevisionProcess, AnnouncesInTheOrderOfChanges) {
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer access(BRIGHTNESS, recorder);
    ASSERT_EQ(access.connect(1000), 0);
    std::vector<std::string> expected;
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(access.setValue(i % 100), 0);
        expected.push_back(std::to_string(i % 100));
    }
    EXPECT_TRUE(recorder->received.waitFor("99", 2));
    EXPECT_EQ(recorder->received.all(), expected);
}

TEST_F(ATelevisionProcess, KeepsTheValueIfTheNewOneIsOutOfRange) {
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer access(BRIGHTNESS, recorder);
    EXPECT_EQ(access.setValue(101), 0);  // sent, but not accepted
    EXPECT_EQ(access.setValue(-1), 0);
    EXPECT_EQ(television.get<int>(BRIGHTNESS), 50);
    EXPECT_EQ(access.setValue(51), 0);
    EXPECT_TRUE(recorder->received.waitFor("51"));
    EXPECT_EQ(recorder->received.count(), 1U);
    EXPECT_EQ(access.setValue(5'000'000'000LL), 6);
}

TEST_F(ATelevisionProcess, RefusesAnAccessorOfAnotherType) {
    EXPECT_EQ(Integer(SOURCE).connect(0), 6);
    EXPECT_EQ(String(BRIGHTNESS).connect(0), 6);
    EXPECT_EQ(Int64(BRIGHTNESS).connect(0), 6);
    EXPECT_EQ(Strings(PQ_SETTING).connect(0), 6);
    EXPECT_EQ(ActionAccess(BRIGHTNESS).connect(0), 6);
    Integer brightness(BRIGHTNESS);
    std::string text = "unchanged";
    EXPECT_EQ(brightness.getValue(text), 6);
    EXPECT_EQ(text, "unchanged");
    EXPECT_EQ(brightness.setValue(text), 6);
    EXPECT_EQ(television.subscribers(SOURCE), 0U);
}

TEST_F(ATelevisionProcess, RefusesAKeyThatItDoesNotHave) {
    EXPECT_EQ(Integer("no.such.key").connect(0), 5);
    EXPECT_EQ(ActionAccess("no.such.key").connect(0), 5);
    EXPECT_EQ(TableAccess("no.such.key").connect(0), 5);
    television.setFault(BRIGHTNESS, "key.withdrawn", 1);
    EXPECT_EQ(Integer(BRIGHTNESS).connect(0), 5);
    television.setFault(BRIGHTNESS, "key.withdrawn", 0);
    EXPECT_EQ(Integer(BRIGHTNESS).connect(0), 0);
}

TEST_F(ATelevisionProcess, AnswersAnAction) {
    const auto recorder = std::make_shared<ActionRecorder>();
    ActionAccess action(SWITCH_ACTION, recorder);
    ASSERT_EQ(action.connect(1000), 0);
    unsigned id = 0;
    ASSERT_EQ(action.invoke(id, {{0, 0, "tag"}, {0, 1, "8"}, {0, 3, "+1"}, {0, 5, "2"}}), 0);
    EXPECT_TRUE(recorder->received.waitFor(std::to_string(id) + " [dvb://1.1051.28007,Night]"));
    ASSERT_EQ(action.invoke(id, {{0, 1, NO_UTF8}}), 0);
    EXPECT_TRUE(recorder->received.waitFor(std::to_string(id) + " failed 22"));
    ASSERT_EQ(action.invoke(id, {}), 0);
    EXPECT_TRUE(recorder->received.waitFor(std::to_string(id) + " failed 22"));

    television.setFault(SWITCH_ACTION, "key.invoke_status", 17);
    EXPECT_EQ(action.invoke(id, {}), 17);
    television.setFault(SWITCH_ACTION, "key.invoke_status", 0);
    television.setFault(SWITCH_ACTION, "key.answer_before_returning", 1);
    ASSERT_EQ(action.invoke(id, {}), 0);
    EXPECT_TRUE(recorder->received.waitFor(std::to_string(id) + " failed 22"));
    EXPECT_EQ(recorder->received.count(), 4U);
}

TEST_F(ATelevisionProcess, ReadsATableByIterators) {
    const auto recorder = std::make_shared<IteratorRecorder>();
    const auto iterator = makeIterator(recorder);
    ASSERT_EQ(iterator->create(), 0);
    lomodelapi::TableIterator* const rows = iterator->getIterator();
    ASSERT_NE(rows, nullptr);
    EXPECT_EQ(television.iterators(CHANNELS), 1U);
    EXPECT_EQ(rows->requestTotalCount(), 0);
    EXPECT_EQ(rows->readRow(), 0);
    EXPECT_EQ(rows->requestCursorPosition(), 0);
    EXPECT_EQ(rows->readRowChunk(9), 0);
    EXPECT_EQ(rows->readRow(), 0);
    EXPECT_EQ(rows->seekToRow(2), 0);
    EXPECT_EQ(rows->seekToRow(9), 0);
    EXPECT_EQ(rows->seekToContent(1, "Night"), 0);
    EXPECT_EQ(rows->seekToContent(1, NO_UTF8), 0);
    EXPECT_EQ(rows->commit(), 0);
    EXPECT_TRUE(recorder->received.waitFor("commit 0"));
    EXPECT_THAT(recorder->received.all(), ElementsAre("ready 4", "total 4", "row 1,First", "cursor 1",
                                                      "chunk 2,Night 3,Snow 5,Test card", "row ", "seek 2",
                                                      "seek -1", "content 1", "content -1", "commit 0"));

    recorder->received.forget();
    television.setRows(CHANNELS, {{"9", NO_UTF8.substr(2, 2), "", "", "", "", "0", ""}});
    EXPECT_TRUE(recorder->received.waitFor("update 0"));
    EXPECT_EQ(rows->seekToRow(0), 0);
    EXPECT_EQ(rows->readRow(), 0);
    EXPECT_TRUE(recorder->received.waitFor("row 9, z"));
    EXPECT_EQ(iterator->destroy(), 0);
    EXPECT_EQ(television.iterators(CHANNELS), 0U);
    EXPECT_NE(rows->readRow(), 0);
}

TEST_F(ATelevisionProcess, EndsAnIteratorWithItsAccessor) {
    const auto recorder = std::make_shared<IteratorRecorder>();
    {
        const auto iterator = makeIterator(recorder);
        ASSERT_EQ(iterator->create(), 0);
        EXPECT_EQ(television.subscribers(CHANNELS), 1U);
    }
    EXPECT_EQ(television.iterators(CHANNELS), 0U);
    EXPECT_EQ(television.subscribers(CHANNELS), 0U);
}

TEST_F(ATelevisionProcess, NotifiesAnApplicationOfItsLifecycle) {
    Service service("aipq");
    EXPECT_THAT(television.applications(), ElementsAre("aipq"));
    for (const char* const notification :
         {"running", "suspend", "suspend_ex", "resume", "resume_ex", "str_suspending", "str_suspend",
          "str_resume", "str_resuming", "destroy", "key_event"})
        television.notify("", notification, "app://aipq", "text", 3);
    EXPECT_TRUE(service.received.waitFor("9"));
    EXPECT_THAT(service.received.all(), ElementsAre("1", "2", "3", "4", "5", "6", "7", "8", "9"));
    television.call("Suspend");
    EXPECT_TRUE(service.received.waitFor("7", 2));
    television.call("Resume");
    EXPECT_TRUE(service.received.waitFor("4", 2));
    EXPECT_TRUE(service.state().unRegisterApp());
    EXPECT_THAT(television.applications(), IsEmpty());
}

TEST_F(ATelevisionProcess, ReceivesTheReportsOfAnApplication) {
    using Reports = std::vector<sdbus::Struct<std::string, std::int32_t>>;
    Service service("aipq");
    television.notify("aipq", "str_suspend");
    EXPECT_TRUE(service.received.waitFor("7"));
    EXPECT_TRUE(eventually([&] {
        return television.property<Reports>("", TelevisionProcess::TELEVISION, "Reports") ==
               Reports{{"aipq", 7}, {"aipq", 8}};
    }));
}

TEST_F(ATelevisionProcess, LetsAnApplicationUnregisterInItsOwnCallback) {
    struct Leaver {
        SystemState state{"leaver"};
        Received received;
    } leaver;
    leaver.state.registerCallBackTVPowerState(
        [](TVPowerState, void* self) {
            Leaver& it = *static_cast<Leaver*>(self);
            it.state.unRegisterApp();
            it.received.add("left");
        },
        &leaver);
    television.notify("leaver", "running");
    EXPECT_TRUE(leaver.received.waitFor("left"));
    EXPECT_THAT(television.applications(), IsEmpty());
    Service next("next");
    television.notify("", "suspend");
    EXPECT_TRUE(next.received.waitFor("2"));
    EXPECT_EQ(leaver.received.count(), 1U);
}

TEST_F(ATelevisionProcess, RefusesApplicationsIfAFaultIsSet) {
    television.setFault("", "applications.unreachable", 1);
    SystemState state("aipq");
    EXPECT_FALSE(state.registerApp());
    EXPECT_TRUE(log.waitFor("Failed to get an instance of AppManagerClient."));
}

TEST_F(ATelevisionProcess, FollowsThePictureSettings) {
    logEverything();
    // Delayed notifications usually find their worker waiting.
    television.setFault("", "notifications.delay", 100);
    SystemSetting setting;
    EXPECT_EQ(setting.setVideoBrightness(60), 0);
    EXPECT_EQ(setting.setVideoMEMC(5), 0);
    std::vector<int> tuner{1, -50, 50, 7};
    EXPECT_EQ(setting.setVideoColorTunerFamily(tuner), 0);
    std::vector<int> pq(34, 3);
    EXPECT_EQ(setting.setVideoPQParameters(pq), 0);
    EXPECT_EQ(setting.setVideoContrast(101), -1);
    expectWorkerToEnd("brightness", BRIGHTNESS);
    expectWorkerToEnd("MEMC", "dovra.sl2.i32.video.enum.memc");
    EXPECT_EQ(setting.getVideoBrightness(), 60);
    EXPECT_EQ(setting.getVideoMEMC(), 5);
    EXPECT_EQ(setting.getVideoColorTunerB(), -50);
    EXPECT_EQ(television.get<std::vector<int>>(PQ_SETTING).size(), 27U);
    EXPECT_EQ(television.get<int>("dovra.sl2.i32.video.color.tuner"), 1);
}

TEST_F(ATelevisionProcess, ProvidesTheSystemInformation) {
    Received received;
    SystemInfo info;
    EXPECT_EQ(info.getSourceType(), SOURCE_TYPE_TV);
    EXPECT_EQ(info.getVideoInfoHDRType(), VIDEO_INFO_HDR_TYPE_SDR);
    EXPECT_EQ(info.getPlayerState(), PLAYER_STATE_PLAYING);
    EXPECT_TRUE(info.getAIPQSwitchState());
    info.registerCallBackSourceType(
        [](SourceType type, void* it) { static_cast<Received*>(it)->add("source " + std::to_string(type)); },
        &received);
    info.registerCallBackVideoInfoHDRType(
        [](VideoInfoHDRType type, void* it) {
            static_cast<Received*>(it)->add("hdr " + std::to_string(type));
        },
        &received);
    info.registerCallBackPlayerState(
        [](PlayerState state, void* it) {
            static_cast<Received*>(it)->add("player " + std::to_string(state));
        },
        &received);
    info.registerCallBackAIPQ(
        [](AIPQMode mode, bool on, void* it) {
            static_cast<Received*>(it)->add("aipq " + std::to_string(mode) + (on ? " on" : " off"));
        },
        &received);
    television.set(SOURCE, std::string("HDMI2"));
    EXPECT_TRUE(received.waitFor("source 2"));
    television.call("SelectChannel", std::string("4"));
    EXPECT_TRUE(received.waitFor("source 1"));
    EXPECT_TRUE(received.waitFor("hdr 2"));
    television.call("SetPlaying", false);
    EXPECT_TRUE(received.waitFor("player 3"));
    television.set("dovra.sl2.i32.video.aipq.user.switch.osd", std::int32_t{0});
    EXPECT_TRUE(received.waitFor("aipq 2 off"));
}

TEST_F(ATelevisionProcess, SwitchesSourcesAndChannels) {
    EXPECT_TRUE(sourceSwitch.setChannelByURI("dvb://1.1079.28205", false));
    EXPECT_EQ(television.get<std::string>(HDR_TYPE), "hdr_hlg");
    EXPECT_TRUE(sourceSwitch.setChannelNext());
    EXPECT_EQ(television.get<std::string>(HDR_TYPE), "hdr_10");
    EXPECT_TRUE(sourceSwitch.setChannelPrev());
    EXPECT_TRUE(sourceSwitch.setChannelByUUIDs("c0000001", "f0000001", true));
    EXPECT_EQ(television.get<std::string>(HDR_TYPE), "sdr");
    EXPECT_FALSE(sourceSwitch.setChannelByURI("dvb://nowhere", false));
    EXPECT_TRUE(sourceSwitch.requestResourceFromSystem(SourceSwitchAccess::RESOURCE_AV));
    EXPECT_EQ(television.property<int>("", TelevisionProcess::TELEVISION, "TakenResources"), 3);
    EXPECT_TRUE(sourceSwitch.pauseVideo());
    EXPECT_FALSE(television.property<bool>("", TelevisionProcess::TELEVISION, "Playing"));
    EXPECT_EQ(sourceSwitch.setQuietFlag(1), 0);
    EXPECT_EQ(television.get<int>("dovra.sl2.i32.tvservice.no-banner"), 1);
}

TEST_F(ATelevisionProcess, AnswersManyRequestsAtOnce) {
    ASSERT_TRUE(sourceSwitch.setChannelNext());
    std::vector<std::future<int>> threads;
    for (int i = 0; i < 4; ++i)
        threads.push_back(std::async(std::launch::async, [&] {
            int done = 0;
            for (int request = 0; request < 25; ++request) done += sourceSwitch.setChannelNext() ? 1 : 0;
            return done;
        }));
    for (auto& thread : threads) EXPECT_EQ(thread.get(), 25);
}

// A service that makes calls for months must not leak memory per call, even if a reply arrives before the
// caller waits for it.
TEST_F(ATelevisionProcess, FreesTheMemoryOfFinishedCalls) {
    Integer brightness(BRIGHTNESS);
    const auto allocatedAfterReads = [&](int reads) {
        int value = 0;
        for (int read = 0; read < reads; ++read) {
            EXPECT_EQ(brightness.getValue(value), 0);
            std::this_thread::yield();
        }
        return mallinfo2().uordblks;
    };
    // The first reads fill buffers that grow once. The smallest allocation takes 32 bytes.
    const std::size_t before = allocatedAfterReads(200);
    const std::size_t after = allocatedAfterReads(1000);
    EXPECT_LT(after, before + 16 * 1024);
}

TEST_F(ATelevisionProcess, RefusesTheRootInterfaceIfAFaultIsSet) {
    television.setFault("", "framework.status", 3);
    EXPECT_EQ(ValueAccessBase::getRootInterface(), nullptr);
    television.setFault("", "framework.status", 0);
    television.setFault("", "framework.no_root", 1);
    EXPECT_EQ(ValueAccessBase::getRootInterface(), nullptr);
    television.setFault("", "framework.no_root", 0);
    EXPECT_NE(ValueAccessBase::getRootInterface(), nullptr);
}

}  // namespace
