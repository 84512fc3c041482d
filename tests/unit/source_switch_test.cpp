#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <new>
#include <optional>
#include <ostream>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

#include "allocation_faults.h"
#include "keys.h"
#include "lomodelapi/argument.h"
#include "platform_adaptation/ai_common.h"
#include "platform_adaptation/system_access/source_switch_access.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_access/synchronization.h"
#include "system_faults.h"
#include "television_test.h"

using namespace std::chrono_literals;
using namespace tests::keys;
using simulated::Answer;
using simulated::Invocation;
using simulated::KeyFaults;
using simulated::SourceSwitch;
using simulated::Value;
using simulated::Written;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::MatchesRegex;
using tests::ERROR;
using tests::INFO;
using tests::LogLine;
using tests::ThreadCall;
using tests::TRACE;
using tests::WatchedMemory;

namespace {

using Type = SourceSwitchAccess::_ResourceType;
using Argument = std::tuple<unsigned, unsigned, std::string>;  // type, position, value
using Arguments = std::vector<Argument>;
using Texts = std::vector<std::string>;

constexpr char FILE_NAME[] = "source_switch_access_impl.cpp";
constexpr char NO_BANNER[] = "dovra.sl2.i32.tvservice.no-banner";
constexpr auto LIMIT = 30s;

Arguments wire(const Invocation& invocation) {
    Arguments arguments;
    for (const lomodelapi::Argument& argument : invocation.arguments)
        arguments.emplace_back(argument.type, argument.position, argument.value);
    return arguments;
}

std::string tagOf(const Invocation& invocation) { return invocation.arguments.at(0).value; }

// The number at the end of a request's tag.
int sequenceNumber(const Invocation& invocation) {
    const std::string tag = tagOf(invocation);
    return std::stoi(tag.substr(tag.rfind('_') + 1));
}

// Runs a request on another thread. The destructor calls `release` until the request has ended.
class BackgroundRequest {
  public:
    BackgroundRequest(std::function<bool()> request, std::function<void()> release)
        : m_release(std::move(release)), m_result(std::async(std::launch::async, std::move(request))) {}
    ~BackgroundRequest() {
        while (m_result.valid() && m_result.wait_for(20ms) != std::future_status::ready) m_release();
    }
    BackgroundRequest(const BackgroundRequest&) = delete;
    BackgroundRequest& operator=(const BackgroundRequest&) = delete;

    bool isDone() const { return m_result.wait_for(0s) == std::future_status::ready; }

    // Returns nullopt if the request does not end within the limit.
    std::optional<bool> result() {
        if (m_result.wait_for(LIMIT) != std::future_status::ready) return std::nullopt;
        return m_result.get();
    }

  private:
    std::function<void()> m_release;
    std::future<bool> m_result;
};

class ASourceSwitch : public tests::TelevisionTest {
  protected:
    ~ASourceSwitch() override { model.settle(); }

    SourceSwitchAccessImpl access;

    void answerAllWith(int error) {
        model.setAction(SWITCH_ACTION, [error](const std::vector<lomodelapi::Argument>&) {
            return Answer{error, {}};
        });
    }

    void setFault(const std::function<void(KeyFaults&)>& change) {
        KeyFaults faults;
        change(faults);
        model.setFaults(SWITCH_ACTION, faults);
    }

    std::vector<Invocation> invocations() const { return model.invocations(SWITCH_ACTION); }

    // The set of running resources, which pauseVideo() sends as its argument 3.
    std::string runningSet() {
        access.pauseVideo();
        return invocations().back().arguments.at(3).value;
    }

    BackgroundRequest inBackground(std::function<bool()> request) {
        return BackgroundRequest(std::move(request), [this] {
            for (const unsigned id : {7U, 8U}) model.answer(SWITCH_ACTION, id, {});
            for (const int id : {7, 8}) access.onActionResult(id, ValueObject());
            for (const Invocation& invocation : invocations())
                access.onActionResult(static_cast<int>(invocation.id), ValueObject());
        });
    }

    std::size_t countOwn(unsigned level, const std::string& function, const std::string& message) const {
        return log.count({level, FILE_NAME, function, message});
    }

    // The lines that the object logged: level, function and message. The message of an ENTER line is
    // shortened to ENTER.
    Texts transcript() const {
        Texts texts;
        for (const LogLine& line : log.lines()) {
            if (line.file != FILE_NAME) continue;
            const std::string enter = "[" + line.function + "][" + std::to_string(line.number) + "] ENTER\n";
            const std::string level = line.level == TRACE   ? "TRACE "
                                      : line.level == ERROR ? "ERROR "
                                      : line.level == INFO  ? "INFO "
                                                            : "? ";
            const std::string tag = line.tag == "[Platform Adaptation]" ? "" : line.tag;
            texts.push_back(level + line.function + ": " + tag +
                            (line.message == enter ? "ENTER" : line.message));
        }
        return texts;
    }
};

struct Operation {
    std::string name;
    std::function<bool(SourceSwitchAccessImpl&)> call;
    Texts entered;  // the functions that log ENTER, outermost first; the innermost one also logs the errors
    Arguments arguments;
    std::string announced = "";  // the message that is logged after connecting
};

std::ostream& operator<<(std::ostream& out, const Operation& operation) { return out << operation.name; }

Arguments resource(const std::string& command, const std::string& type) {
    return {{0U, 1U, command}, {0U, 2U, "hbbtv"}, {0U, 3U, type}};
}

Arguments step(const std::string& direction) {
    return {{0U, 1U, "8"}, {0U, 2U, "hbbtv"}, {0U, 3U, direction}, {0U, 5U, "2"}};
}

Arguments tune(const std::string& target, const std::string& folder, const std::string& force) {
    return {{0U, 1U, "8"},    {0U, 2U, "hbbtv"}, {0U, 3U, target},
            {0U, 4U, folder}, {0U, 5U, "2"},     {0U, 5U, force}};
}

std::function<bool(SourceSwitchAccessImpl&)> tuneByUri(const std::string& uri, bool force) {
    return [=](SourceSwitchAccessImpl& access) { return access.setChannelByURI(uri, force); };
}

std::function<bool(SourceSwitchAccessImpl&)> tuneByUuids(const std::string& channel,
                                                         const std::string& folder, bool force) {
    return [=](SourceSwitchAccessImpl& access) { return access.setChannelByUUIDs(channel, folder, force); };
}

const std::vector<Operation>& operations() {
    using Access = SourceSwitchAccessImpl;
    static const Texts request = {"requestResourceFromSystem"};
    static const Texts release = {"releaseResourceToSystem"};
    static const Texts playback = {"changeDTVPlaybackStatus"};
    static const auto take = [](int type) {
        return [type](Access& access) { return access.requestResourceFromSystem(static_cast<Type>(type)); };
    };
    static const auto give = [](int type) {
        return [type](Access& access) { return access.releaseResourceToSystem(static_cast<Type>(type)); };
    };
    static const auto play = [](int type) {
        return [type](Access& access) { return access.changeDTVPlaybackStatus(static_cast<Type>(type)); };
    };
    static const std::vector<Operation> all = {
        {"RequestVideo", take(1), request, resource("2", "1")},
        {"RequestAudio", take(2), request, resource("2", "2")},
        {"RequestAll", take(7), request, resource("2", "7")},
        {"RequestANegativeType", take(-1), request, resource("2", "-1")},
        {"RequestTheLeastType", take(INT_MIN), request, resource("2", "-2147483648")},
        {"ReleaseVideoAndPsi", give(5), release, resource("3", "5")},
        {"ReleaseANegativeType", give(-17), release, resource("3", "-17")},
        {"PlaybackOfVideo", play(1), playback, resource("11", "1")},
        {"PlaybackOfTheLargestType", play(INT_MAX), playback, resource("11", "2147483647")},
        {"PausePsi", &Access::pausePSI, {"requestResourceFromSystem"}, resource("2", "4")},
        {"PauseAv", &Access::pauseAV, {"pauseAV", "requestResourceFromSystem"}, resource("2", "3")},
        {"PauseVideo", &Access::pauseVideo, {"changeDTVPlaybackStatus"}, resource("11", "1")},
        {"ResumePsi", &Access::resumePSI, {"resumePSI", "releaseResourceToSystem"}, resource("3", "4")},
        {"ResumeAv", &Access::resumeAV, {"resumeAV", "releaseResourceToSystem"}, resource("3", "3")},
        {"ResumePsiAv", &Access::resumePSIAV, {"resumePSIAV", "releaseResourceToSystem"}, resource("3", "7")},
        {"ResumeVideo",
         &Access::resumeVideo,
         {"resumeVideo", "changeDTVPlaybackStatus"},
         resource("11", "1")},
        {"ChannelPrev", &Access::setChannelPrev, {"setChannelPrev"}, step("-1")},
        {"ChannelNext", &Access::setChannelNext, {"setChannelNext"}, step("+1")},
        {"Uri", tuneByUri("dvb://1.2.3", true), {"setChannelByURI"}, tune("dvb://1.2.3", "", "1")},
        {"EmptyUri", tuneByUri("", false), {"setChannelByURI"}, tune("", "", "0")},
        {"OddUri", tuneByUri("%s '\n\xC3\xA9", false), {"setChannelByURI"}, tune("%s '\n\xC3\xA9", "", "0")},
        {"Uuids",
         tuneByUuids("a", "b", true),
         {"setChannelByUUIDs"},
         tune("a", "b", "1"),
         "channelUUID:'a', folderUUID:'b', forceShowAV:1.\n"},
        {"EmptyUuids",
         tuneByUuids("", "", false),
         {"setChannelByUUIDs"},
         tune("", "", "0"),
         "channelUUID:'', folderUUID:'', forceShowAV:0.\n"},
    };
    return all;
}

// One operation of the table.
class ARequest : public ASourceSwitch, public testing::WithParamInterface<Operation> {
  protected:
    bool perform() { return GetParam().call(access); }

    std::string innermost() const { return GetParam().entered.back(); }

    // The expected lines until the action is connected.
    Texts beginning() const {
        Texts texts;
        for (const std::string& function : GetParam().entered)
            texts.push_back("TRACE " + function + ": ENTER");
        texts.push_back("TRACE connectToValue: ENTER");
        texts.push_back("INFO connectToValue: Connecting To Value: " + std::string(SWITCH_ACTION) + "  \n");
        if (!GetParam().announced.empty())
            texts.push_back("INFO " + innermost() + ": " + GetParam().announced);
        return texts;
    }

    Texts completeTranscript(int error) const {
        const std::string id = std::to_string(static_cast<int>(invocations().back().id));
        Texts texts = beginning();
        texts.push_back("TRACE waitForResult: ENTER");
        texts.push_back("INFO waitForResult: waiting result ...  for  actionid: " + id + "\n");
        texts.push_back("INFO waitForResult: waiting result ...  001   actionid: " + id + "\n");
        texts.push_back("INFO waitForResult: waiting done. " + id + "  : err : " + std::to_string(error) +
                        "\n");
        return texts;
    }

    // The transcript without the lines of the notifications, which the model's thread logs.
    Texts ownTranscript() const {
        Texts texts = transcript();
        std::erase_if(texts, [](const std::string& text) {
            return text == "TRACE onActionResult: ENTER" || text == "TRACE onActionFailed: ENTER";
        });
        return texts;
    }

    void answerBeforeReturning() {
        setFault([](KeyFaults& faults) { faults.answerBeforeReturning = true; });
        log.clear();
    }
};

INSTANTIATE_TEST_SUITE_P(OfEachKind, ARequest, testing::ValuesIn(operations()),
                         [](const testing::TestParamInfo<Operation>& operation) {
                             return operation.param.name;
                         });

TEST_P(ARequest, SendsItsTagAndItsOwnArgumentsInOrder) {
    answerAllWith(0);
    perform();
    ASSERT_EQ(invocations().size(), 1U);
    const Invocation invocation = invocations().front();
    Arguments expected;
    expected.emplace_back(0U, 0U, tagOf(invocation));
    for (const Argument& argument : GetParam().arguments) expected.push_back(argument);
    EXPECT_EQ(wire(invocation), expected);
    EXPECT_THAT(tagOf(invocation), MatchesRegex("ss_access_" + std::to_string(currentThread()) + "_[0-9]+"));
}

TEST_P(ARequest, ThatSucceedsReturnsTrueAndLogsItsSteps) {
    answerAllWith(0);
    answerBeforeReturning();
    EXPECT_TRUE(perform());
    EXPECT_THAT(ownTranscript(), ElementsAreArray(completeTranscript(0)));
    EXPECT_EQ(log.countEnter(FILE_NAME, "onActionResult"), 1U);
}

TEST_P(ARequest, ThatFailsReturnsFalseAndLogsTheError) {
    answerAllWith(-7);
    answerBeforeReturning();
    EXPECT_FALSE(perform());
    EXPECT_THAT(ownTranscript(), ElementsAreArray(completeTranscript(-7)));
    EXPECT_EQ(log.countEnter(FILE_NAME, "onActionFailed"), 1U);
}

TEST_P(ARequest, ThatIsRefusedReturnsFalseWithoutWaiting) {
    setFault([](KeyFaults& faults) { faults.invokeStatus = 31; });
    log.clear();
    EXPECT_FALSE(perform());
    Texts expected = beginning();
    expected.push_back("ERROR " + innermost() + ": error: 31\n");
    EXPECT_THAT(transcript(), ElementsAreArray(expected));
    model.setFaults(SWITCH_ACTION, {});
    answerAllWith(0);
    EXPECT_TRUE(perform());
}

TEST_F(ASourceSwitch, LogsItsConstructionAndDestruction) {
    log.clear();
    { const SourceSwitchAccessImpl other; }
    EXPECT_THAT(transcript(),
                ElementsAre("TRACE SourceSwitchAccessImpl: ENTER", "TRACE ~SourceSwitchAccessImpl: ENTER"));
}

TEST_F(ASourceSwitch, DoesNotConnectBeforeTheFirstRequest) {
    EXPECT_EQ(model.connectAttempts(SWITCH_ACTION), 0U);
    EXPECT_EQ(model.connectAttempts(NO_BANNER), 0U);
}

TEST_F(ASourceSwitch, ConnectsOnceForAllRequests) {
    EXPECT_TRUE(access.requestResourceFromSystem(SourceSwitchAccess::RESOURCE_AV));
    EXPECT_TRUE(access.releaseResourceToSystem(SourceSwitchAccess::RESOURCE_AV));
    EXPECT_EQ(model.connectAttempts(SWITCH_ACTION), 1U);
    EXPECT_EQ(model.subscribers(SWITCH_ACTION), 1U);
}

TEST_F(ASourceSwitch, DisconnectsFromTheActionWhenItIsDestroyed) {
    auto other = std::make_unique<SourceSwitchAccessImpl>();
    ASSERT_NE(other->connectToValue(SWITCH_ACTION), nullptr);
    ASSERT_EQ(model.subscribers(SWITCH_ACTION), 1U);
    model.settle();
    other.reset();
    EXPECT_EQ(model.subscribers(SWITCH_ACTION), 0U);
}

TEST_F(ASourceSwitch, ReturnsItsOneConnectionForAnyName) {
    ActionAccess* const connected = access.connectToValue(SWITCH_ACTION);
    ASSERT_NE(connected, nullptr);
    connected->disconnect();
    log.clear();
    EXPECT_EQ(access.connectToValue("another.name"), connected);
    EXPECT_THAT(transcript(), ElementsAre("TRACE connectToValue: ENTER"));
    EXPECT_EQ(model.connectAttempts(SWITCH_ACTION), 1U);
    EXPECT_FALSE(access.setChannelNext());
    EXPECT_EQ(countOwn(ERROR, "setChannelNext", "error: -1\n"), 1U);
    EXPECT_THAT(invocations(), IsEmpty());
}

TEST_F(ASourceSwitch, RefusesToConnectToAValueAndMayConnectLater) {
    log.clear();
    EXPECT_EQ(access.connectToValue(BRIGHTNESS), nullptr);
    EXPECT_THAT(transcript(),
                ElementsAre("TRACE connectToValue: ENTER",
                            "INFO connectToValue: Connecting To Value: " + std::string(BRIGHTNESS) + "  \n",
                            "ERROR connectToValue: Error connect value : " + std::string(BRIGHTNESS) +
                                ",  status: 6\n"));
    EXPECT_EQ(model.subscribers(BRIGHTNESS), 0U);
    answerAllWith(0);
    EXPECT_TRUE(access.setChannelNext());
}

TEST_F(ASourceSwitch, DoesNotConnectWithoutMemory) {
    television.debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::OFF);
    std::string name = SWITCH_ACTION;
    tests::allocationsUntilFailure = 0;
    EXPECT_EQ(access.connectToValue(std::move(name)), nullptr);
    EXPECT_EQ(std::exchange(tests::allocationsUntilFailure, -1), -1);
    EXPECT_NE(access.connectToValue(SWITCH_ACTION), nullptr);
}

TEST_F(ASourceSwitch, TriesTenTimesToConnectForEachRequest) {
    model.withdraw(SWITCH_ACTION);
    log.clear();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(access.setChannelNext());
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 900ms);
    EXPECT_EQ(model.connectAttempts(SWITCH_ACTION), 10U);
    EXPECT_THAT(
        transcript(),
        ElementsAre(
            "TRACE setChannelNext: ENTER", "TRACE connectToValue: ENTER",
            "INFO connectToValue: Connecting To Value: " + std::string(SWITCH_ACTION) + "  \n",
            "ERROR connectToValue: Error connect value : " + std::string(SWITCH_ACTION) + ",  status: 5\n"));
    model.offer(SWITCH_ACTION);
    EXPECT_TRUE(access.setChannelNext());
    EXPECT_EQ(model.connectAttempts(SWITCH_ACTION), 11U);
    EXPECT_EQ(model.subscribers(SWITCH_ACTION), 1U);
}

TEST_F(ASourceSwitch, InvokesNothingIfTheActionIsUnavailable) {
    model.withdraw(SWITCH_ACTION);
    std::vector<std::future<bool>> results;
    for (const Operation& operation : operations())
        results.push_back(std::async(std::launch::async, [&operation] {
            SourceSwitchAccessImpl own;
            return operation.call(own);
        }));
    for (std::size_t i = 0; i < results.size(); ++i) EXPECT_FALSE(results[i].get()) << operations()[i];
    EXPECT_EQ(countOwn(ERROR, "connectToValue",
                       "Error connect value : " + std::string(SWITCH_ACTION) + ",  status: 5\n"),
              results.size());
    for (const Operation& operation : operations()) {
        if (operation.announced.empty()) continue;
        EXPECT_EQ(countOwn(INFO, operation.entered.back(), operation.announced), 0U);
    }
    model.offer(SWITCH_ACTION);
    EXPECT_THAT(invocations(), IsEmpty());
}

TEST_F(ASourceSwitch, NumbersTheRequestsThatItInvokes) {
    answerAllWith(0);
    access.setChannelNext();
    access.pausePSIAV();  // invokes nothing
    access.setQuietFlag(1);
    setFault([](KeyFaults& faults) { faults.invokeStatus = 31; });
    access.setChannelNext();  // uses a number although the model refuses it
    setFault([](KeyFaults&) {});
    inBackground([this] { return access.pauseAV(); }).result();
    ASSERT_GE(invocations().size(), 2U);
    EXPECT_EQ(sequenceNumber(invocations().back()) - sequenceNumber(invocations().front()), 2);
    EXPECT_EQ(tagOf(invocations().back()).find("ss_access_" + std::to_string(currentThread()) + "_"),
              std::string::npos);
}

TEST_F(ASourceSwitch, SharesItsNumbersWithOtherInstances) {
    answerAllWith(0);
    SourceSwitchAccessImpl other;
    access.setChannelNext();
    other.setChannelNext();
    ASSERT_EQ(invocations().size(), 2U);
    EXPECT_EQ(sequenceNumber(invocations()[1]) - sequenceNumber(invocations()[0]), 1);
}

struct FlagChange {
    const char* name;
    bool (SourceSwitchAccessImpl::*operation)();
    const char* fromNothing;     // the running set afterwards, if it was empty
    const char* fromEverything;  // the running set afterwards, if it was complete
};

const FlagChange FLAG_CHANGES[] = {
    {"pausePSI", &SourceSwitchAccessImpl::pausePSI, "1", "3"},
    {"pauseAV", &SourceSwitchAccessImpl::pauseAV, "1", "5"},
    {"pausePSIAV", &SourceSwitchAccessImpl::pausePSIAV, "1", "1"},
    {"resumePSI", &SourceSwitchAccessImpl::resumePSI, "5", "7"},
    {"resumeAV", &SourceSwitchAccessImpl::resumeAV, "3", "7"},
    {"resumePSIAV", &SourceSwitchAccessImpl::resumePSIAV, "7", "7"},
    {"pauseVideo", &SourceSwitchAccessImpl::pauseVideo, "1", "7"},
    {"resumeVideo", &SourceSwitchAccessImpl::resumeVideo, "1", "7"},
};

class TheRunningSet : public ASourceSwitch {
  protected:
    void begin(bool withEverything) {
        setFault([](KeyFaults&) {});
        answerAllWith(0);
        ASSERT_TRUE(withEverything ? access.resumePSIAV() : access.pausePSIAV());
    }
};

TEST_F(TheRunningSet, FollowsSuccessfulRequests) {
    for (const FlagChange& change : FLAG_CHANGES) {
        for (const bool withEverything : {false, true}) {
            SCOPED_TRACE(std::string(change.name) + (withEverything ? " from everything" : " from nothing"));
            begin(withEverything);
            EXPECT_TRUE((access.*change.operation)());
            EXPECT_EQ(runningSet(), withEverything ? change.fromEverything : change.fromNothing);
        }
    }
}

TEST_F(TheRunningSet, IsUnchangedByAFailedOrRefusedRequest) {
    for (const FlagChange& change : FLAG_CHANGES) {
        if (change.operation == &SourceSwitchAccessImpl::pausePSIAV) continue;
        for (const bool withEverything : {false, true}) {
            for (const bool isRefused : {false, true}) {
                SCOPED_TRACE(change.name);
                begin(withEverything);
                answerAllWith(44);
                setFault([=](KeyFaults& faults) { faults.invokeStatus = isRefused ? 5 : 0; });
                EXPECT_FALSE((access.*change.operation)());
                setFault([](KeyFaults&) {});
                EXPECT_EQ(runningSet(), withEverything ? "7" : "1");
            }
        }
    }
}

TEST_F(TheRunningSet, IsUnchangedByThePrimitives) {
    for (const bool withEverything : {false, true}) {
        begin(withEverything);
        EXPECT_TRUE(access.requestResourceFromSystem(SourceSwitchAccess::RESOURCE_PSI_AV));
        EXPECT_EQ(runningSet(), withEverything ? "7" : "1");
        EXPECT_TRUE(access.releaseResourceToSystem(SourceSwitchAccess::RESOURCE_PSI_AV));
        EXPECT_TRUE(access.changeDTVPlaybackStatus(SourceSwitchAccess::RESOURCE_PSI_AV));
        EXPECT_EQ(runningSet(), withEverything ? "7" : "1");
    }
}

TEST_F(TheRunningSet, IsSentByPausingAndResumingTheVideo) {
    for (const bool withEverything : {false, true}) {
        begin(withEverything);
        access.pauseVideo();
        Arguments paused = wire(invocations().back());
        access.resumeVideo();
        Arguments resumed = wire(invocations().back());
        paused.at(0) = resumed.at(0);
        EXPECT_EQ(paused, resumed);
        EXPECT_EQ(paused.at(3), Argument(0U, 3U, withEverything ? "7" : "1"));
    }
}

TEST_F(ASourceSwitch, PausesPsiAndAvWithoutTheTelevision) {
    model.withdraw(SWITCH_ACTION);
    log.clear();
    EXPECT_TRUE(access.pausePSIAV());
    EXPECT_THAT(transcript(), ElementsAre("TRACE pausePSIAV: ENTER"));
    EXPECT_EQ(model.connectAttempts(SWITCH_ACTION), 0U);
}

// Overrides the two operations that invoke the television's action.
class OverriddenPrimitives final : public SourceSwitchAccessImpl {
  public:
    bool requestResourceFromSystem(Type type) override {
        calls.push_back("request " + std::to_string(type));
        return answer;
    }
    bool releaseResourceToSystem(Type type) override {
        calls.push_back("release " + std::to_string(type));
        return answer;
    }

    Texts calls;
    bool answer = true;
};

TEST_F(ASourceSwitch, CallsOverriddenPrimitives) {
    OverriddenPrimitives overridden;
    for (const bool answer : {true, false}) {
        overridden.answer = answer;
        overridden.calls.clear();
        EXPECT_EQ(overridden.pausePSI(), answer);
        EXPECT_EQ(overridden.pauseAV(), answer);
        EXPECT_EQ(overridden.resumePSI(), answer);
        EXPECT_EQ(overridden.resumeAV(), answer);
        EXPECT_EQ(overridden.resumePSIAV(), answer);
        EXPECT_TRUE(overridden.pausePSIAV());
        EXPECT_THAT(overridden.calls,
                    ElementsAre("request 4", "request 3", "release 4", "release 3", "release 7"));
    }
    EXPECT_EQ(model.connectAttempts(SWITCH_ACTION), 0U);
}

class AnAnswer : public ASourceSwitch {
  protected:
    void expectTranscript(unsigned id, int error) {
        const std::string text = std::to_string(static_cast<int>(id));
        EXPECT_THAT(transcript(),
                    ElementsAre("TRACE waitForResult: ENTER",
                                "INFO waitForResult: waiting result ...  for  actionid: " + text + "\n",
                                "INFO waitForResult: waiting result ...  001   actionid: " + text + "\n",
                                "INFO waitForResult: waiting done. " + text +
                                    "  : err : " + std::to_string(error) + "\n"));
    }

    // Waits for an answer that has already arrived.
    std::optional<bool> waited(unsigned id) {
        log.clear();
        return inBackground([this, id] { return access.waitForResult(id); }).result();
    }
};

TEST_F(AnAnswer, IsLoggedOnArrival) {
    log.clear();
    access.onActionResult(3, ValueObject(5));
    access.onActionFailed(4, 5);
    EXPECT_THAT(transcript(), ElementsAre("TRACE onActionResult: ENTER", "TRACE onActionFailed: ENTER"));
}

TEST_F(AnAnswer, IsStoredUntilARequestWaitsForIt) {
    access.onActionFailed(8, INT_MIN);
    access.onActionResult(7, ValueObject());
    EXPECT_EQ(waited(7), true);
    expectTranscript(7, 0);
    EXPECT_EQ(waited(8), false);
    expectTranscript(8, INT_MIN);
}

TEST_F(AnAnswer, IsConsumedByTheRequestThatWaitsForIt) {
    access.onActionResult(7, ValueObject());
    ASSERT_EQ(waited(7), true);
    access.onActionFailed(7, 1);
    EXPECT_EQ(waited(7), false);
}

TEST_F(AnAnswer, IsASuccessIfItsErrorIsZero) {
    access.onActionFailed(7, 0);
    EXPECT_EQ(waited(7), true);
    expectTranscript(7, 0);
}

TEST_F(AnAnswer, IsNotReplacedByALaterOneWithItsId) {
    access.onActionFailed(7, 44);
    access.onActionResult(7, ValueObject());
    access.onActionResult(8, ValueObject());
    access.onActionFailed(8, 44);
    EXPECT_EQ(waited(7), false);
    EXPECT_EQ(waited(8), true);
}

TEST_F(AnAnswer, MayHaveTheLargestId) {
    access.onActionResult(-1, ValueObject());
    EXPECT_EQ(waited(UINT_MAX), true);
    expectTranscript(UINT_MAX, 0);
}

TEST_F(AnAnswer, ReachesItsOwnerThroughTheHandler) {
    ActionAccess* const action = access.connectToValue(SWITCH_ACTION);
    ASSERT_NE(action, nullptr);
    action->notifyResult(7, {});
    action->notifyExecutionError(8, 9);
    EXPECT_EQ(log.countEnter(FILE_NAME, "onActionResult"), 1U);
    EXPECT_EQ(log.countEnter(FILE_NAME, "onActionFailed"), 1U);
    EXPECT_EQ(waited(7), true);
    EXPECT_EQ(waited(8), false);
}

TEST_F(AnAnswer, IsLoggedAndLostWithoutMemory) {
    ActionAccess* const action = access.connectToValue(SWITCH_ACTION);
    ASSERT_NE(action, nullptr);
    // Recording a line allocates memory, so only the error level is on.
    television.debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::ERROR);
    log.clear();
    tests::allocationsUntilFailure = 0;
    action->notifyResult(7, {});
    EXPECT_EQ(std::exchange(tests::allocationsUntilFailure, -1), -1);
    EXPECT_THAT(transcript(),
                ElementsAre("ERROR onActionResult: An runtime_error has been caught:std::bad_alloc.\n"));
    television.debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::OFF);
    tests::allocationsUntilFailure = 0;
    action->notifyExecutionError(8, 9);
    EXPECT_EQ(std::exchange(tests::allocationsUntilFailure, -1), -1);
    // The lost answers were not stored: later answers with the same ids count as the first.
    access.onActionFailed(7, 1);
    access.onActionResult(8, ValueObject());
    EXPECT_EQ(waited(7), false);
    EXPECT_EQ(waited(8), true);
}

TEST_F(AnAnswer, WakesOtherWaitersToCheckAgain) {
    BackgroundRequest seven = inBackground([this] { return access.waitForResult(7); });
    BackgroundRequest eight = inBackground([this] { return access.waitForResult(8); });
    ASSERT_TRUE(log.waitFor("waiting result ...  001   actionid: 7\n"));
    ASSERT_TRUE(log.waitFor("waiting result ...  001   actionid: 8\n"));
    access.onActionResult(8, ValueObject());
    EXPECT_EQ(eight.result(), true);
    EXPECT_TRUE(log.waitFor("waiting result ...  002   actionid: 7\n"));
    EXPECT_EQ(countOwn(INFO, "waitForResult", "waiting result ...  002   actionid: 8\n"), 1U);
    EXPECT_FALSE(seven.isDone());
    access.onActionFailed(7, 3);
    EXPECT_EQ(seven.result(), false);
    EXPECT_EQ(countOwn(INFO, "waitForResult", "waiting done. 7  : err : 3\n"), 1U);
}

TEST_F(AnAnswer, IsAwaitedUntilTheTelevisionSendsIt) {
    setFault([](KeyFaults& faults) { faults.neverAnswer = true; });
    BackgroundRequest request = inBackground([this] { return access.setChannelNext(); });
    ASSERT_TRUE(log.waitFor("waiting result ...  001   actionid: "));
    ASSERT_EQ(invocations().size(), 1U);
    const unsigned id = invocations().front().id;
    model.answer(SWITCH_ACTION, id + 1, {});
    ASSERT_TRUE(log.waitFor("waiting result ...  002   actionid: "));
    EXPECT_FALSE(request.isDone());
    model.answer(SWITCH_ACTION, id, {44, {}});
    EXPECT_EQ(request.result(), false);
    EXPECT_EQ(waited(id + 1), true);
}

TEST_F(AnAnswer, SentThreeTimesDoesNotAffectLaterRequests) {
    setFault([](KeyFaults& faults) { faults.repeatAnswers = 2; });
    for (int i = 0; i < 20; ++i) {
        answerAllWith(i % 2);
        EXPECT_EQ(access.setChannelNext(), i % 2 == 0);
    }
}

TEST_F(AnAnswer, RepeatedAfterItsRequestIsStored) {
    answerAllWith(0);
    EXPECT_TRUE(access.setChannelNext());
    const unsigned id = invocations().front().id;
    model.answer(SWITCH_ACTION, id, {9, {}});
    ASSERT_TRUE(model.settle());
    EXPECT_TRUE(access.setChannelNext());
    EXPECT_EQ(waited(id), false);
    expectTranscript(id, 9);
}

TEST_F(AnAnswer, MayHaveAnyIdAndAnyPositions) {
    answerAllWith(0);
    ASSERT_TRUE(access.setChannelNext());
    const unsigned next = invocations().back().id + 1000;
    Answer everyPosition;
    for (unsigned position = 0; position <= 65535; ++position)
        everyPosition.result.push_back({0, static_cast<std::uint16_t>(position), std::to_string(position)});
    model.answer(SWITCH_ACTION, next, everyPosition);
    for (const unsigned position : {0U, 1U, 127U, 128U, 255U, 256U, 32767U, 32768U, 65535U})
        model.answer(SWITCH_ACTION, next + position,
                     {0, {{65535, static_cast<std::uint16_t>(position), std::string(1000, 'x')}}});
    model.answer(SWITCH_ACTION, UINT_MAX, {INT_MIN, {}});
    ASSERT_TRUE(model.settle());
    EXPECT_EQ(log.countEnter(FILE_NAME, "onActionResult"), 11U);
    EXPECT_TRUE(access.setChannelNext());
    EXPECT_EQ(waited(next), true);
    EXPECT_EQ(waited(UINT_MAX), false);
}

TEST_F(AnAnswer, ReachesItsRequestAmongMany) {
#if defined(__SANITIZE_THREAD__) || defined(__arm__)
    constexpr unsigned ROUNDS = 100;
#else
    constexpr unsigned ROUNDS = 1000;
#endif
    constexpr unsigned THREADS = 64;
    const auto silence = [this] { setFault([](KeyFaults& faults) { faults.neverAnswer = true; }); };
    const auto fails = [](const std::string& uri) { return std::hash<std::string>()(uri) % 2 == 0; };
    ASSERT_NE(access.connectToValue(SWITCH_ACTION), nullptr);
    television.debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::OFF);
    model.setNotificationDelay(0ms);
    silence();
    std::atomic<unsigned> wrong{0};
    std::atomic<bool> isGivenUp{false};
    std::vector<std::future<void>> threads;
    for (unsigned thread = 0; thread < THREADS; ++thread)
        threads.push_back(std::async(std::launch::async, [&, thread] {
            for (unsigned round = 0; round < ROUNDS && !isGivenUp; ++round) {
                const std::string uri = std::to_string(thread) + "." + std::to_string(round);
                if (access.setChannelByURI(uri, false) == fails(uri)) ++wrong;
            }
        }));
    std::mt19937 random(20);
    std::vector<Invocation> asked;
    std::vector<Invocation> answered;
    for (unsigned round = 0; round < ROUNDS && !isGivenUp; ++round) {
        const auto limit = std::chrono::steady_clock::now() + LIMIT;
        for (asked = invocations(); asked.size() < THREADS && !isGivenUp; asked = invocations()) {
            std::this_thread::yield();
            isGivenUp = std::chrono::steady_clock::now() > limit;
        }
        if (isGivenUp) break;
        model.reset();
        model.setNotificationDelay(0ms);
        silence();
        std::shuffle(asked.begin(), asked.end(), random);
        for (const Invocation& invocation : asked) {
            const bool isFailure = fails(invocation.arguments.at(3).value);
            model.answer(SWITCH_ACTION, invocation.id,
                         {isFailure ? static_cast<int>(invocation.id) + 1 : 0, {}});
        }
        answered = asked;
    }
    EXPECT_FALSE(isGivenUp) << "an answer was lost";
    for (const std::future<void>& thread : threads) {
        const auto limit = std::chrono::steady_clock::now() + LIMIT;
        while (thread.wait_for(20ms) != std::future_status::ready) {
            if (!isGivenUp && std::chrono::steady_clock::now() < limit) continue;
            if (!isGivenUp.exchange(true)) ADD_FAILURE() << "a last answer was lost";
            answered.insert(answered.end(), asked.begin(), asked.end());
            asked = invocations();
            for (const Invocation& invocation : answered)
                access.onActionResult(static_cast<int>(invocation.id), ValueObject());
        }
    }
    EXPECT_EQ(wrong, 0U);
}

class TheQuietFlag : public ASourceSwitch {};

TEST_F(TheQuietFlag, IsWrittenUnchanged) {
    for (const int flag : {1, 0, -5, INT_MAX, INT_MIN}) EXPECT_EQ(access.setQuietFlag(flag), 0);
    EXPECT_THAT(model.writes(NO_BANNER),
                ElementsAre(Written(1), Written(0), Written(-5), Written(INT_MAX), Written(INT_MIN)));
    EXPECT_EQ(model.connectAttempts(NO_BANNER), 1U);
    EXPECT_EQ(model.connectAttempts(SWITCH_ACTION), 0U);
}

TEST_F(TheQuietFlag, IsWrittenWithoutALogLine) {
    log.clear();
    access.setQuietFlag(1);
    EXPECT_THAT(transcript(), IsEmpty());
}

TEST_F(TheQuietFlag, ThatIsUnavailableReturns5AndIsTriedAgain) {
    model.withdraw(NO_BANNER);
    EXPECT_EQ(access.setQuietFlag(1), 5);
    EXPECT_EQ(model.connectAttempts(NO_BANNER), 10U);
    model.offer(NO_BANNER);
    EXPECT_EQ(access.setQuietFlag(1), 0);
    EXPECT_THAT(model.writes(NO_BANNER), ElementsAre(Written(1)));
}

TEST_F(TheQuietFlag, OfAnotherTypeReturns6) {
    const std::vector<simulated::KeyDefinition> keys = model.keys();
    const auto original = std::find_if(
        keys.begin(), keys.end(), [](const simulated::KeyDefinition& key) { return key.name == NO_BANNER; });
    ASSERT_NE(original, keys.end());
    simulated::KeyDefinition text = *original;
    text.type = lomodelapi::OBJECT_TYPE_STRING;
    text.initial = std::string("0");
    text.range.reset();
    model.define(text);
    EXPECT_EQ(access.setQuietFlag(1), 6);
    EXPECT_EQ(model.value(NO_BANNER), Value(std::string("0")));
    model.define(*original);
}

// The message of the std::runtime_error that `call` throws, or an empty text if it throws none.
std::string messageOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

std::string withNumber(const std::string& text, int error) { return text + std::to_string(error); }

class ASystemFault : public ASourceSwitch {
  protected:
    WatchedMemory watched{&access, sizeof access};

    // The number of lines that report a caught exception with this message.
    std::size_t countCaught(const std::string& function, const std::string& message) const {
        std::size_t found = 0;
        for (const LogLine& line : log.withMessage("An runtime_error has been caught:" + message + "\n"))
            if (line.level == ERROR && line.function == function && line.tag == "[Platform Adaptation]")
                ++found;
        return found;
    }

    std::size_t countCaughtLock(int error) const {
        return countCaught("UniqueLock", withNumber("Mutex lock error: ", error) + ".");
    }
    std::size_t countCaughtUnlock(int error) const {
        return countCaught("~UniqueLock", withNumber("Mutex unlock error: ", error));
    }
};

class ASourceSwitchConstruction : public tests::TelevisionTest {
  protected:
    alignas(SourceSwitchAccessImpl) std::byte storage[sizeof(SourceSwitchAccessImpl)]{};
    WatchedMemory watched{storage, sizeof storage};

    std::string make() {
        return messageOf([this] { new (storage) SourceSwitchAccessImpl; });
    }
};

TEST_F(ASourceSwitchConstruction, FailsWithoutAConditionVariable) {
    watched.failNext(ThreadCall::COND_INIT, EAGAIN);
    EXPECT_EQ(make(), withNumber("ConditionVariable init error: ", EAGAIN));
    EXPECT_THAT(watched.calls(), ElementsAre(ThreadCall::COND_INIT));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ASourceSwitchConstruction, FailsWithoutAMutexAndDestroysItsCondition) {
    watched.failNext(ThreadCall::MUTEX_INIT, ENOMEM);
    EXPECT_EQ(make(), withNumber("Mutex init error: ", ENOMEM));
    EXPECT_THAT(watched.calls(),
                ElementsAre(ThreadCall::COND_INIT, ThreadCall::MUTEX_INIT, ThreadCall::COND_DESTROY));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ASourceSwitchConstruction, IsUndoneInReverseOrderByTheDestructor) {
    (new (storage) SourceSwitchAccessImpl)->~SourceSwitchAccessImpl();
    EXPECT_THAT(watched.calls(), ElementsAre(ThreadCall::COND_INIT, ThreadCall::MUTEX_INIT,
                                             ThreadCall::MUTEX_DESTROY, ThreadCall::COND_DESTROY));
}

TEST_F(AnAnswer, IsSignalledWhileTheMutexIsLocked) {
    const WatchedMemory watched(&access, sizeof access);
    access.onActionResult(7, ValueObject());
    EXPECT_THAT(watched.calls(),
                ElementsAre(ThreadCall::MUTEX_LOCK, ThreadCall::COND_BROADCAST, ThreadCall::MUTEX_UNLOCK));
}

TEST_F(ASystemFault, InTheLockOfAnAnswerIsLoggedAndTheAnswerIsStored) {
    watched.failNext(ThreadCall::MUTEX_LOCK, EDEADLK);
    access.onActionFailed(7, 0);
    EXPECT_EQ(countCaughtLock(EDEADLK), 1U);
    EXPECT_THAT(watched.calls(), testing::Contains(ThreadCall::MUTEX_UNLOCK));
    EXPECT_TRUE(access.waitForResult(7));
}

TEST_F(ASystemFault, InTheLocksOfAWaiterIsLoggedAndTheAnswerIsFound) {
    access.onActionResult(7, ValueObject());
    watched.failNext(ThreadCall::MUTEX_LOCK, EINVAL);
    watched.failNext(ThreadCall::MUTEX_UNLOCK, EPERM);
    EXPECT_TRUE(access.waitForResult(7));
    EXPECT_EQ(countCaughtLock(EINVAL), 1U);
    EXPECT_EQ(countCaughtUnlock(EPERM), 1U);
}

TEST_F(ASystemFault, InTheUnlockOfAnAnswerIsOnlyLogged) {
    watched.failNext(ThreadCall::MUTEX_UNLOCK, EPERM);
    access.onActionResult(7, ValueObject());
    EXPECT_EQ(countCaughtUnlock(EPERM), 1U);
    EXPECT_EQ(countCaughtLock(EPERM), 0U);
    EXPECT_TRUE(access.waitForResult(7));
}

TEST_F(ASystemFault, InTheBroadcastIsThrownAndTheAnswerIsStored) {
    watched.failNext(ThreadCall::COND_BROADCAST, EINVAL);
    EXPECT_EQ(messageOf([this] { access.onActionResult(7, ValueObject()); }),
              withNumber("ConditionVariable notify_all error: ", EINVAL));
    watched.failNext(ThreadCall::COND_BROADCAST, EINVAL);
    EXPECT_EQ(messageOf([this] { access.onActionFailed(8, 1); }),
              withNumber("ConditionVariable notify_all error: ", EINVAL));
    EXPECT_TRUE(access.waitForResult(7));
    EXPECT_FALSE(access.waitForResult(8));
}

TEST_F(ASystemFault, InTheBroadcastDoesNotStopTheModelsThread) {
    setFault([](KeyFaults& faults) { faults.neverAnswer = true; });
    BackgroundRequest request = inBackground([this] { return access.setChannelNext(); });
    ASSERT_TRUE(log.waitFor("waiting result ...  001   actionid: "));
    const unsigned id = invocations().front().id;
    watched.failNext(ThreadCall::COND_BROADCAST, EINVAL);
    model.answer(SWITCH_ACTION, id, {});
    ASSERT_TRUE(model.settle());
    model.answer(SWITCH_ACTION, id + 1, {});  // wakes the request
    EXPECT_EQ(request.result(), true);
}

TEST_F(ASystemFault, InTheBroadcastOfAFailureDoesNotStopTheModelsThread) {
    setFault([](KeyFaults& faults) { faults.neverAnswer = true; });
    BackgroundRequest request = inBackground([this] { return access.setChannelNext(); });
    ASSERT_TRUE(log.waitFor("waiting result ...  001   actionid: "));
    const unsigned id = invocations().front().id;
    watched.failNext(ThreadCall::COND_BROADCAST, EINVAL);
    model.answer(SWITCH_ACTION, id, {44, {}});
    ASSERT_TRUE(model.settle());
    model.answer(SWITCH_ACTION, id + 1, {});  // wakes the request
    EXPECT_EQ(request.result(), false);
}

TEST_F(ASystemFault, InTheWaitIsThrownToTheWaiter) {
    watched.failNext(ThreadCall::COND_WAIT, EINVAL);
    EXPECT_EQ(messageOf([this] { access.waitForResult(7); }),
              withNumber("ConditionVariable cond_wait error: ", EINVAL));
    access.onActionResult(7, ValueObject());
    EXPECT_TRUE(access.waitForResult(7));
}

TEST_F(ASystemFault, InTheLockIsThrownInsteadOfWaiting) {
    watched.failNext(ThreadCall::MUTEX_LOCK, EINVAL);
    EXPECT_THAT(messageOf([this] { access.waitForResult(7); }),
                MatchesRegex("ConditionVariable wait error: [0-9]+"));
    EXPECT_THAT(watched.calls(), testing::Not(testing::Contains(ThreadCall::COND_WAIT)));
}

TEST_F(ASystemFault, IsNeverThrownByARequest) {
    setFault([](KeyFaults& faults) { faults.neverAnswer = true; });
    for (const ThreadCall call : {ThreadCall::COND_WAIT, ThreadCall::MUTEX_LOCK}) {
        for (const Operation& operation : operations()) {
            SCOPED_TRACE(operation.name);
            watched.failNext(call, EINVAL);
            EXPECT_NO_THROW(EXPECT_FALSE(operation.call(access)));
        }
    }
    EXPECT_EQ(invocations().size(), 2 * operations().size());
}

TEST(AMutex, ThrowsTheErrorOfTheSystem) {
    alignas(Mutex) std::byte storage[sizeof(Mutex)]{};
    WatchedMemory memory(storage, sizeof storage);
    memory.failNext(ThreadCall::MUTEX_INIT, EAGAIN);
    EXPECT_EQ(messageOf([&] { new (storage) Mutex; }), withNumber("Mutex init error: ", EAGAIN));
    Mutex& mutex = *new (storage) Mutex;
    memory.failNext(ThreadCall::MUTEX_LOCK, EINVAL);
    EXPECT_EQ(messageOf([&] { mutex.lock(); }), withNumber("Mutex lock error: ", EINVAL));
    memory.failNext(ThreadCall::MUTEX_UNLOCK, EPERM);
    EXPECT_EQ(messageOf([&] { mutex.unlock(); }), withNumber("Mutex unlock error: ", EPERM));
    mutex.~Mutex();
}

TEST(AMutex, ExcludesOtherThreads) {
    Mutex mutex;
    int count = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&] {
            for (int i = 0; i < 10000; ++i) {
                const UniqueLock lock(mutex);
                ++count;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(count, 40000);
}

TEST(AUniqueLock, ReportsWhetherItOwnsItsMutex) {
    Mutex mutex;
    WatchedMemory memory(&mutex, sizeof mutex);
    EXPECT_TRUE(UniqueLock(mutex).ownsLock());
    memory.failNext(ThreadCall::MUTEX_LOCK, EINVAL);
    EXPECT_FALSE(UniqueLock(mutex).ownsLock());
    EXPECT_THAT(memory.calls(), ElementsAre(ThreadCall::MUTEX_LOCK, ThreadCall::MUTEX_UNLOCK,
                                            ThreadCall::MUTEX_LOCK, ThreadCall::MUTEX_UNLOCK));
}

TEST(AConditionVariable, ThrowsTheErrorOfTheSystem) {
    alignas(ConditionVariable) std::byte storage[sizeof(ConditionVariable)]{};
    WatchedMemory memory(storage, sizeof storage);
    memory.failNext(ThreadCall::COND_INIT, ENOMEM);
    EXPECT_EQ(messageOf([&] { new (storage) ConditionVariable; }),
              withNumber("ConditionVariable init error: ", ENOMEM));
    ConditionVariable& condition = *new (storage) ConditionVariable;
    Mutex mutex;
    {
        UniqueLock lock(mutex);
        memory.failNext(ThreadCall::COND_WAIT, EPERM);
        EXPECT_EQ(messageOf([&] { condition.wait(lock); }),
                  withNumber("ConditionVariable cond_wait error: ", EPERM));
    }
    memory.failNext(ThreadCall::COND_BROADCAST, EINVAL);
    EXPECT_EQ(messageOf([&] { condition.notifyAll(); }),
              withNumber("ConditionVariable notify_all error: ", EINVAL));
    condition.~ConditionVariable();
}

// The effects of the source-switch action on the television.
class TheTelevision : public ASourceSwitch {
  protected:
    ~TheTelevision() override { model.setAction(SWITCH_ACTION, {}); }

    // A new source switch, because other tests have replaced the action of the television's own one.
    SourceSwitch sourceSwitch{model, television.video(), television.events()};
    const simulated::Rows rows = model.rows(CHANNELS);

    void expectChannel(std::size_t row) {
        EXPECT_EQ(sourceSwitch.channel(), row);
        EXPECT_EQ(model.value(SOURCE), Value(std::string("TV")));
        EXPECT_EQ(model.value(HDR_TYPE), Value(rows.at(row).at(5)));
        const Value attributes = model.value(PLAY_ATTRIBUTES);
        EXPECT_EQ(std::get<Texts>(attributes).at(8), rows.at(row).at(6));
    }
};

TEST_F(TheTelevision, StepsThroughItsChannels) {
    ASSERT_EQ(sourceSwitch.channel(), 0U);
    for (std::size_t row = 1; row < rows.size(); ++row) {
        model.set(SOURCE, std::string("HDMI1"));
        EXPECT_TRUE(access.setChannelNext());
        expectChannel(row);
    }
    for (std::size_t row = rows.size() - 1; row-- > 0;) {
        model.set(SOURCE, std::string("HDMI1"));
        EXPECT_TRUE(access.setChannelPrev());
        expectChannel(row);
    }
}

TEST_F(TheTelevision, TunesToEachChannelByItsUri) {
    for (std::size_t row = rows.size(); row-- > 0;) {
        model.set(SOURCE, std::string("HDMI1"));
        EXPECT_TRUE(access.setChannelByURI(rows.at(row).at(2), false));
        expectChannel(row);
    }
}

TEST_F(TheTelevision, TunesToEachChannelByItsUuids) {
    for (std::size_t row = rows.size(); row-- > 0;) {
        model.set(SOURCE, std::string("HDMI1"));
        EXPECT_TRUE(access.setChannelByUUIDs(rows.at(row).at(3), rows.at(row).at(4), false));
        expectChannel(row);
    }
}

TEST_F(TheTelevision, KeepsItsChannelForAnUnknownOne) {
    ASSERT_TRUE(access.setChannelByURI(rows.at(3).at(2), false));
    for (const auto& attempt : {tuneByUri("dvb://0.0.0", false), tuneByUri("", true),
                                tuneByUuids("nobody", rows.at(1).at(4), false)}) {
        log.clear();
        EXPECT_FALSE(attempt(access));
        EXPECT_TRUE(log.waitFor(withNumber("  : err : ", SourceSwitch::ERROR_UNKNOWN_CHANNEL) + "\n", 1, 0s));
        expectChannel(3);
    }
}

TEST_F(TheTelevision, GrantsAndReclaimsItsResources) {
    const auto taken = [this] { return sourceSwitch.takenResources(); };
    EXPECT_TRUE(access.pauseAV());
    EXPECT_EQ(taken(), 3);
    EXPECT_TRUE(access.pausePSI());
    EXPECT_EQ(taken(), 7);
    EXPECT_TRUE(access.resumeAV());
    EXPECT_EQ(taken(), 4);
    EXPECT_TRUE(access.resumePSIAV());
    EXPECT_EQ(taken(), 0);
}

TEST_F(TheTelevision, StopsAndRestartsItsPlayback) {
    ASSERT_TRUE(sourceSwitch.playing());
    EXPECT_TRUE(access.pauseVideo());
    EXPECT_FALSE(sourceSwitch.playing());
    EXPECT_TRUE(access.resumeVideo());
    EXPECT_TRUE(sourceSwitch.playing());
}

}  // namespace
