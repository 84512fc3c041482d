// The library in this process, with the television in another process.
#include <gmock/gmock.h>
#include <malloc.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "keys.h"
#include "lomodelapi/observer.h"
#include "lomodelapi/root_interface.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "remote_test.h"

using namespace std::chrono_literals;
using namespace tests::keys;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::ActionRecorder;
using tests::ChildProcess;
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

constexpr auto LIMIT = 30s;

const std::string NO_UTF8("\xff\xfe z\0\x80.", 7);

class ATelevisionProcess : public tests::RemoteTest {
  protected:
    void SetUp() override { switchOn(); }

    static void logEverything() {
        simulated::Television::instance().debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::INFO);
    }

    // Waits until a condition on the television holds.
    template <typename Condition>
    static bool becomes(Condition condition, std::chrono::seconds within = LIMIT) {
        const auto limit = std::chrono::steady_clock::now() + within;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > limit) return false;
            std::this_thread::sleep_for(5ms);
        }
        return true;
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
            if (log.waitFor("set video " + setting + " successed.", 1, 1s)) return;
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
        return std::make_unique<IteratorAccess>(CHANNELS, recorder, lomodelapi::IteratorType{kind, 3},
                                                std::vector<lomodelapi::TableSelection>{{6, "0"}},
                                                std::vector<int>{0, 1},
                                                std::vector<lomodelapi::TableOrder>{{1, true}});
    }

    SourceSwitchAccessImpl sourceSwitch;
};

// The same behaviour as with an embedded television

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
    std::string text = "as it was";
    EXPECT_EQ(brightness.getValue(text), 6);
    EXPECT_EQ(text, "as it was");
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
    EXPECT_TRUE(becomes([&] {
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

// Several clients

class SeveralClients : public ATelevisionProcess {
  protected:
    static bool perform(ChildProcess& client, const std::string& command) {
        const std::size_t before = client.output().size();
        client.send(command);
        // Finds the first "done" after the earlier output.
        return becomes([&] { return client.output().find("done ", before) != std::string::npos; }) &&
               client.output().find("done 0\n", before) != std::string::npos;
    }

    ChildProcess first{{CLIENT_PROGRAM}};
    ChildProcess second{{CLIENT_PROGRAM}};
};

TEST_F(SeveralClients, ReceiveOnlyTheirOwnNotifications) {
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer access(BRIGHTNESS, recorder);
    ASSERT_EQ(access.connect(1000), 0);
    ASSERT_TRUE(perform(first, std::string("follow ") + BRIGHTNESS));
    ASSERT_TRUE(perform(second, std::string("follow ") + CONTRAST));
    EXPECT_EQ(television.subscribers(BRIGHTNESS), 2U);
    ASSERT_TRUE(perform(second, std::string("set ") + BRIGHTNESS + " 61"));
    ASSERT_TRUE(perform(first, std::string("set ") + CONTRAST + " 62"));
    EXPECT_TRUE(first.waitForOutput("brightness=61"));
    EXPECT_TRUE(second.waitForOutput("contrast=62"));
    EXPECT_TRUE(recorder->received.waitFor("61"));
    EXPECT_EQ(first.output().find("contrast"), std::string::npos);
    EXPECT_EQ(second.output().find("brightness"), std::string::npos);
    EXPECT_EQ(recorder->received.count(), 1U);
}

TEST_F(SeveralClients, ReceiveOnlyTheAnswersToTheirOwnRequests) {
    const auto recorder = std::make_shared<ActionRecorder>();
    ActionAccess action(SWITCH_ACTION, recorder);
    ASSERT_EQ(action.connect(1000), 0);
    ASSERT_TRUE(perform(first, "previous"));
    ASSERT_TRUE(perform(second, "switch dvb://1.1079.28205"));
    unsigned id = 0;
    ASSERT_EQ(action.invoke(id, {}), 0);
    ASSERT_TRUE(perform(first, "previous"));
    EXPECT_TRUE(recorder->received.waitFor(std::to_string(id) + " failed 22"));
    EXPECT_EQ(recorder->received.count(), 1U);
}

TEST_F(SeveralClients, AreRemovedWhenTheyAreKilled) {
    Service service("aipq");
    for (ChildProcess* const client : {&first, &second}) {
        ASSERT_TRUE(perform(*client, std::string("follow ") + BRIGHTNESS));
        ASSERT_TRUE(perform(*client, std::string("open ") + CHANNELS));
    }
    ASSERT_TRUE(perform(first, "register one"));
    ASSERT_TRUE(perform(second, "register two"));
    EXPECT_THAT(television.applications(), ElementsAre("aipq", "one", "two"));
    EXPECT_EQ(television.iterators(CHANNELS), 2U);
    television.setFault(SWITCH_ACTION, "key.never_answer", 1);
    first.send("previous");  // in the middle of a request
    ASSERT_TRUE(becomes([&] { return television.subscribers(SWITCH_ACTION) == 1U; }));
    first.signal(SIGKILL);
    EXPECT_TRUE(becomes([&] {
        return television.subscribers(BRIGHTNESS) == 1U && television.iterators(CHANNELS) == 1U &&
               television.subscribers(SWITCH_ACTION) == 0U && television.applications().size() == 2U;
    }));
    EXPECT_THAT(television.applications(), ElementsAre("aipq", "two"));
    television.notify("", "suspend");
    EXPECT_TRUE(second.waitForOutput("two 2"));
    EXPECT_TRUE(service.received.waitFor("2"));
    second.signal(SIGKILL);
    EXPECT_TRUE(becomes([&] {
        return television.subscribers(BRIGHTNESS) == 0U && television.iterators(CHANNELS) == 0U &&
               television.subscribers(CHANNELS) == 0U && television.applications().size() == 1U;
    }));
}

TEST_F(SeveralClients, AreNotDelayedByAHangingClient) {
    Service service("aipq");
    ASSERT_TRUE(perform(first, "register hanging"));
    ASSERT_TRUE(perform(first, std::string("follow ") + BRIGHTNESS));
    ASSERT_TRUE(perform(second, std::string("follow ") + BRIGHTNESS));
    first.signal(SIGSTOP);
    television.notify("hanging", "suspend");
    television.notify("aipq", "suspend");
    for (int i = 1; i <= 20; ++i) ASSERT_EQ(Integer(BRIGHTNESS).setValue(i), 0);
    EXPECT_TRUE(second.waitForOutput("brightness=20"));
    first.signal(SIGKILL);
    // The television does not wait for a killed client.
    EXPECT_TRUE(service.received.waitFor("2"));
}

// The television is killed

class AKilledTelevision : public ATelevisionProcess {
  protected:
    // Returns the result of a blocking request; nothing if it did not end in time.
    static std::optional<bool> resultOf(std::future<bool>& request) {
        if (request.wait_for(LIMIT) != std::future_status::ready) return std::nullopt;
        return request.get();
    }
};

TEST_F(AKilledTelevision, FailsEveryOperationUntilItRestarts) {
    Integer brightness(BRIGHTNESS);
    String source(SOURCE);
    ASSERT_EQ(brightness.connect(1000), 0);
    ASSERT_EQ(source.connect(1000), 0);
    SystemInfo info;
    SystemSetting setting;
    television.kill();
    int number = 0;
    std::string text = "as it was";
    EXPECT_TRUE(becomes([&] { return brightness.getValue(number) != 0; }));
    number = 5;
    EXPECT_NE(brightness.getValue(number), 0);
    EXPECT_NE(source.getValue(text), 0);
    EXPECT_EQ(number, 5);
    EXPECT_EQ(text, "as it was");
    EXPECT_NE(brightness.setValue(1), 0);
    EXPECT_EQ(Integer(CONTRAST).connect(200), 5);
    EXPECT_EQ(ActionAccess(SWITCH_ACTION).connect(0), 5);
    EXPECT_FALSE(sourceSwitch.setChannelNext());
    EXPECT_EQ(info.getSourceType(), SOURCE_TYPE_UNKNOWN);
    EXPECT_FALSE(info.getAIPQSupported());
    EXPECT_EQ(setting.getVideoBrightness(), -1);
    std::vector<int> pq(34, 1);
    EXPECT_EQ(setting.setVideoPQParameters(pq), -1);
    SystemState unregistered("aipq");
    EXPECT_FALSE(unregistered.registerApp());
    const auto recorder = std::make_shared<IteratorRecorder>();
    EXPECT_EQ(makeIterator(recorder)->create(), 4);

    switchOn();
    EXPECT_EQ(brightness.getValue(number), 0);
    EXPECT_EQ(number, 50);
    EXPECT_EQ(brightness.setValue(51), 0);
    EXPECT_EQ(source.getValue(text), 0);
    EXPECT_TRUE(sourceSwitch.setChannelNext());
    EXPECT_EQ(info.getSourceType(), SOURCE_TYPE_TV);
    EXPECT_EQ(setting.getVideoBrightness(), 51);
    EXPECT_EQ(makeIterator(recorder)->create(), 0);
}

TEST_F(AKilledTelevision, RestoresClientsRegistrationsWhenItRestarts) {
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer brightness(BRIGHTNESS, recorder);
    ASSERT_EQ(brightness.connect(1000), 0);
    const auto rows = std::make_shared<IteratorRecorder>();
    const auto iterator = makeIterator(rows);
    ASSERT_EQ(iterator->create(), 0);
    ASSERT_TRUE(rows->received.waitFor("ready 4"));
    Service service("aipq");
    for (int life = 1; life <= 3; ++life) {
        killAndSwitchOnAgain();
        EXPECT_EQ(television.subscribers(BRIGHTNESS), 1U);
        EXPECT_EQ(television.iterators(CHANNELS), 1U);
        EXPECT_THAT(television.applications(), ElementsAre("aipq"));
        television.set(BRIGHTNESS, std::int32_t{life});
        EXPECT_TRUE(recorder->received.waitFor(std::to_string(life)));
        EXPECT_TRUE(rows->received.waitFor("ready 4", 1 + life));
        EXPECT_EQ(iterator->getIterator()->readRow(), 0);
        EXPECT_TRUE(rows->received.waitFor("row 1,First", life));
        television.notify("aipq", "running");
        EXPECT_TRUE(service.received.waitFor("1", life));
    }
    // A new television starts with the value 50.
    EXPECT_THAT(recorder->received.all(), ElementsAre("1", "50", "2", "50", "3"));
}

TEST_F(AKilledTelevision, AnnouncesChangedValuesWhenItRestarts) {
    const auto follow = [](auto& access) { ASSERT_EQ(access.connect(1000), 0); };
    const auto brightnessHeard = std::make_shared<ValueRecorder>();
    const auto contrastHeard = std::make_shared<ValueRecorder>();
    const auto numbersHeard = std::make_shared<ValueRecorder>();
    const auto textsHeard = std::make_shared<ValueRecorder>();
    const auto wideHeard = std::make_shared<ValueRecorder>();
    // Known from a notification or from the subscription.
    Integer brightness(BRIGHTNESS, brightnessHeard);
    follow(brightness);
    television.set(BRIGHTNESS, std::int32_t{60});
    television.set(NUMBERS, std::vector<std::int32_t>{1, 2});
    television.set(TEXTS, std::vector<std::string>{"a", "b"});
    television.set(WIDE, std::int64_t{7});
    Integer contrast(CONTRAST, contrastHeard);
    Integers numbers(NUMBERS, numbersHeard);
    Strings texts(TEXTS, textsHeard);
    Int64 wide(WIDE, wideHeard);
    follow(contrast);
    follow(numbers);
    follow(texts);
    follow(wide);
    Received source;
    SystemInfo info;
    info.registerCallBackSourceType(
        [](SourceType type, void* it) { static_cast<Received*>(it)->add(std::to_string(type)); }, &source);
    television.set(SOURCE, std::string("HDMI2"));
    ASSERT_TRUE(source.waitFor("2"));
    ASSERT_TRUE(brightnessHeard->received.waitFor("60"));

    killAndSwitchOnAgain();
    EXPECT_TRUE(source.waitFor("1"));
    EXPECT_TRUE(brightnessHeard->received.waitFor("50"));
    for (const auto& recorder : {numbersHeard, textsHeard, wideHeard})
        EXPECT_TRUE(recorder->received.waitForBeginning(""));
    television.set(CONTRAST, std::int32_t{51});
    EXPECT_TRUE(contrastHeard->received.waitFor("51"));
    EXPECT_THAT(contrastHeard->received.all(), ElementsAre("51")) << "it was 50 before and after";
    EXPECT_THAT(brightnessHeard->received.all(), ElementsAre("60", "50"));
}

TEST_F(AKilledTelevision, DoesNotAnnounceAKeyThatItsSuccessorLacks) {
    struct Follower : lomodelapi::Observer {
        void notifyAvailability(bool available) override { received.add(available ? "back" : "away"); }
        Received received;
    };
    Follower lost;
    Follower kept;
    RootInterface* const root = ValueAccessBase::getRootInterface();
    ASSERT_NE(root, nullptr);
    BizValue* lostValue = nullptr;
    BizValue* keptValue = nullptr;
    ASSERT_EQ(root->connectValue(TEXT, &lost, lostValue), 0);
    ASSERT_EQ(root->connectValue(BRIGHTNESS, &kept, keptValue), 0);
    television.kill();
    ASSERT_TRUE(lost.received.waitFor("away"));
    TelevisionProcess next(television.name());
    ASSERT_TRUE(next.start());
    EXPECT_TRUE(kept.received.waitFor("back"));
    EXPECT_THAT(lost.received.all(), ElementsAre("away"));
    root->disconnectValue(TEXT, &lost, lostValue);
    root->disconnectValue(BRIGHTNESS, &kept, keptValue);
    EXPECT_EQ(next.stop(), 0);
}

TEST_F(AKilledTelevision, EndsAnUnansweredRequest) {
    logEverything();
    television.setFault(SWITCH_ACTION, "key.never_answer", 1);
    ASSERT_NE(sourceSwitch.connectToValue(SWITCH_ACTION), nullptr);
    std::vector<std::future<bool>> requests;
    for (int i = 0; i < 3; ++i)
        requests.push_back(std::async(std::launch::async, [&] { return sourceSwitch.setChannelNext(); }));
    EXPECT_TRUE(log.waitFor("waiting result ...  001", 3));
    television.kill();
    for (auto& request : requests) EXPECT_EQ(resultOf(request), std::optional(false));
    switchOn();
    EXPECT_TRUE(sourceSwitch.setChannelNext());
}

TEST_F(AKilledTelevision, EndsEveryUnfinishedCall) {
    Integer brightness(BRIGHTNESS);
    ASSERT_EQ(brightness.connect(1000), 0);
    ASSERT_NE(sourceSwitch.connectToValue(SWITCH_ACTION), nullptr);
    television.setFault(BRIGHTNESS, "key.answer_delay", 60000);
    television.setFault(SWITCH_ACTION, "key.answer_delay", 60000);
    std::atomic<int> begun{0};
    const auto begin = [&](auto operation) {
        return std::async(std::launch::async, [&begun, operation]() -> bool {
            ++begun;
            return operation();
        });
    };
    std::vector<std::future<bool>> calls;
    calls.push_back(begin([&] {
        int number = 0;
        return brightness.getValue(number) == 0;
    }));
    calls.push_back(begin([&] { return brightness.setValue(5) == 0; }));
    calls.push_back(begin([] { return Integer(BRIGHTNESS).connect(0) == 0; }));
    calls.push_back(begin([&] { return sourceSwitch.setChannelNext(); }));
    ASSERT_TRUE(becomes([&] { return begun == 4; }));
    for (auto& call : calls) EXPECT_EQ(call.wait_for(50ms), std::future_status::timeout);
    television.kill();
    for (auto& call : calls) EXPECT_EQ(resultOf(call), std::optional(false));
    switchOn();
    int number = 0;
    EXPECT_EQ(brightness.getValue(number), 0);
}

TEST_F(AKilledTelevision, AcceptsANewSettingAfterAnUnfinishedOne) {
    logEverything();
    television.setFault("", "notifications.delay", 100);
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer brightness(BRIGHTNESS, recorder);
    ASSERT_EQ(brightness.connect(1000), 0);
    SystemSetting setting;
    EXPECT_EQ(setting.setVideoBrightness(100), 0);
    ASSERT_TRUE(becomes([&] {
        if (recorder->received.waitFor("56", 1, 1s)) return true;
        announceAgain(BRIGHTNESS);
        return false;
    }));
    television.kill();
    switchOn();
    // The worker may have failed at a write or a read. Otherwise it waits for a notification, continues and
    // ends at its target.
    const auto ended = [&] {
        return !log.withMessage("set video brightness successed.\n").empty() ||
               log.waitFor("failed.", 1, 0ms);
    };
    for (std::int32_t announced = 1; announced <= 6 && !ended(); ++announced) {
        television.set(BRIGHTNESS, announced);
        becomes(ended, 10s);
    }
    ASSERT_TRUE(ended());
    log.clear();
    EXPECT_EQ(setting.setVideoBrightness(60), 0);
    expectWorkerToEnd("brightness", BRIGHTNESS);
    EXPECT_EQ(setting.getVideoBrightness(), 60);
}

TEST_F(AKilledTelevision, LetsConnectWaitUntilItRestarts) {
    television.kill();
    auto connecting = std::async(std::launch::async, [] {
        Integer access(BRIGHTNESS);
        return access.connect(30000) == 0;
    });
    EXPECT_EQ(connecting.wait_for(50ms), std::future_status::timeout);
    switchOn();
    EXPECT_EQ(resultOf(connecting), std::optional(true));
}

TEST_F(AKilledTelevision, MayDieDuringTheNotificationOfAnApplication) {
    struct Slow {
        SystemState state{"slow"};
        Received received;
        std::promise<void> mayReturn;
    } slow;
    slow.state.registerCallBackTVPowerState(
        [](TVPowerState state, void* self) {
            Slow& it = *static_cast<Slow*>(self);
            it.received.add(std::to_string(state));
            if (state == TV_POWER_STATE_SUSPEND) it.mayReturn.get_future().wait();
        },
        &slow);
    television.notify("slow", "suspend");
    ASSERT_TRUE(slow.received.waitFor("2"));
    television.kill();
    slow.mayReturn.set_value();
    switchOn();
    television.notify("slow", "resume");
    EXPECT_TRUE(slow.received.waitFor("4"));
}

TEST_F(AKilledTelevision, LetsItsClientsUnsubscribe) {
    const auto recorder = std::make_shared<ValueRecorder>();
    auto brightness = std::make_unique<Integer>(BRIGHTNESS, recorder);
    Integer contrast(CONTRAST, recorder);
    ASSERT_EQ(brightness->connect(1000), 0);
    ASSERT_EQ(contrast.connect(1000), 0);
    auto iterator = makeIterator(std::make_shared<IteratorRecorder>());
    ASSERT_EQ(iterator->create(), 0);
    auto service = std::make_unique<Service>("aipq");
    television.kill();
    brightness.reset();
    iterator.reset();
    service.reset();
    EXPECT_EQ(contrast.disconnect(), 0);
    switchOn();
    EXPECT_EQ(television.subscribers(BRIGHTNESS), 0U);
    EXPECT_EQ(television.subscribers(CONTRAST), 0U);
    EXPECT_EQ(television.iterators(CHANNELS), 0U);
    EXPECT_THAT(television.applications(), IsEmpty());
    EXPECT_EQ(contrast.connect(1000), 0);
    television.set(CONTRAST, std::int32_t{9});
    EXPECT_TRUE(recorder->received.waitFor("9"));
}

// Runs operations of every kind on several threads until it is destroyed.
class Traffic {
  public:
    explicit Traffic(SourceSwitchAccessImpl& sourceSwitch) {
        run([brightness = std::make_shared<Integer>(BRIGHTNESS), number = 0]() mutable {
            brightness->setValue(++number % 100);
            int back = 0;
            brightness->getValue(back);
        });
        run([] {
            String access(SOURCE, std::make_shared<ValueRecorder>());
            access.connect(0);
            access.setValue(std::string("HDMI1"));
        });
        run([&sourceSwitch] { sourceSwitch.setChannelNext(); });
        run([] {
            IteratorAccess iterator(CHANNELS, std::make_shared<IteratorRecorder>(), {1, 3}, {}, {0}, {});
            if (iterator.create() != 0 || iterator.getIterator() == nullptr) return;
            iterator.getIterator()->readRowChunk(3);
            iterator.destroy();
        });
        run([] {
            Service service("passing");
            service.state().registerApp();
        });
        run([info = std::make_shared<SystemInfo>()] {
            info->getSourceType();
            info->getAIPQAvailable();
        });
    }

    ~Traffic() {
        m_ending = true;
        for (std::thread& thread : m_threads) thread.join();
    }
    Traffic(const Traffic&) = delete;
    Traffic& operator=(const Traffic&) = delete;

  private:
    void run(std::function<void()> work) {
        m_threads.emplace_back([this, work = std::move(work)] {
            while (!m_ending) work();
        });
    }

    std::atomic<bool> m_ending{false};
    std::vector<std::thread> m_threads;
};

TEST_F(AKilledTelevision, LeavesItsClientsRunningAfterManyDeaths) {
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer contrast(CONTRAST, recorder);
    ASSERT_EQ(contrast.connect(1000), 0);
    Service service("aipq");
    constexpr unsigned seed = 20;
    std::mt19937 random(seed);
    ASSERT_TRUE(sourceSwitch.setChannelNext());
    {
        const Traffic traffic(sourceSwitch);
        for (int life = 0; life < 20; ++life) {
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 150));
            television.kill();
            // The television restarts either while its clients still detect its end, or after they have begun
            // to search for it.
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 2 * (random() % 150)));
            ASSERT_TRUE(television.start()) << television.process().errors();
        }
    }
    ASSERT_TRUE(isFound());
    television.set(CONTRAST, std::int32_t{99});
    EXPECT_TRUE(recorder->received.waitFor("99"));
    television.notify("aipq", "suspend");
    EXPECT_TRUE(service.received.waitFor("2"));
    EXPECT_TRUE(sourceSwitch.setChannelNext());
    const auto rows = std::make_shared<IteratorRecorder>();
    const auto iterator = makeIterator(rows);
    ASSERT_EQ(iterator->create(), 0);
    EXPECT_TRUE(rows->received.waitForBeginning("ready"));
    // The subscriptions, iterators and applications of Traffic are released.
    EXPECT_TRUE(becomes([&] {
        return television.subscribers(BRIGHTNESS) == 0 && television.subscribers(SOURCE) == 0 &&
               television.iterators(CHANNELS) == 1 && television.subscribers(CHANNELS) == 1 &&
               television.applications() == std::vector<std::string>{"aipq"};
    }));
}

// A client that starts before the television

class AProgramThatIsStartedFirst : public tests::RemoteTest {};

TEST_F(AProgramThatIsStartedFirst, FailsUntilTheTelevisionStarts) {
    Integer brightness(BRIGHTNESS);
    int number = 5;
    EXPECT_EQ(brightness.connect(0), 5);
    EXPECT_EQ(brightness.getValue(number), 5);
    EXPECT_EQ(brightness.setValue(1), 5);
    SystemInfo info;
    EXPECT_EQ(info.getSourceType(), SOURCE_TYPE_UNKNOWN);
    SourceSwitchAccessImpl sourceSwitch;
    EXPECT_FALSE(sourceSwitch.setChannelNext());
    EXPECT_FALSE(SystemState("aipq").registerApp());
    EXPECT_TRUE(log.waitFor("Failed to get an instance of AppManagerClient."));

    switchOn();
    EXPECT_EQ(brightness.getValue(number), 0);
    EXPECT_EQ(number, 50);
    EXPECT_EQ(brightness.setValue(52), 0);
    EXPECT_EQ(info.getSourceType(), SOURCE_TYPE_TV);
    EXPECT_TRUE(sourceSwitch.setChannelNext());
    Service service("aipq");
    television.notify("", "running");
    EXPECT_TRUE(service.received.waitFor("1"));
}

}  // namespace
