#include "platform_adaptation/system_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "allocation_faults.h"
#include "keys.h"
#include "platform_adaptation/system_access/value_handler.h"
#include "television_test.h"

using namespace lomodelapi;
using namespace std::chrono_literals;
using namespace tests::keys;
using simulated::KeyFaults;
using simulated::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using tests::LogLine;

namespace {

using Texts = std::vector<std::string>;
using IntegerAccess = SystemInfo::IntegerAccess;
using StringAccess = SystemInfo::StringAccess;
using StringsAccess = SystemInfo::StringsAccess;

constexpr char FILE_NAME[] = "system_info.cpp";

const Texts CONNECTED_AT_ONCE{SOURCE,   VIDEO_FORMAT, MEDIA_STREAM_ENCRYPTED,
                              HDR_TYPE, GAME_MODE,    AIPQ_SUPPORTED};
const Texts CONNECTED_LATER{AIPQ_SWITCH, AIPQ_USER_SWITCH, AIPQ_AVAILABLE, PLAY_ATTRIBUTES};

// Play attributes with this encryption flag; all other elements are "x".
Texts attributes(const std::string& flag) { return {"x", "x", "x", "x", "x", "x", "x", "x", flag, "x"}; }

ValueObject listOf(const Texts& texts) {
    ValueObject list;
    list.kind = ValueObject::TYPE_VECTOR;
    for (const std::string& text : texts) list.items.emplace_back(text);
    return list;
}

// A service that records the calls of its callbacks as texts. It passes itself as the user data.
class Service {
  public:
    void registerAt(SystemInfoInterface& info) {
        info.registerCallBackAIPQ(onAIPQ, this);
        info.registerCallBackSourceType(onSourceType, this);
        info.registerCallBackPlayerState(onPlayerState, this);
        info.registerCallBackStreamEncrypted(onStreamEncrypted, this);
        info.registerCallBackVideoInfoHDRType(onHDRType, this);
        info.registerCallBackVideoGameMode(onGameMode, this);
    }

    // Replaces the callbacks with null; the user data stays.
    void unregisterFrom(SystemInfoInterface& info) {
        info.registerCallBackAIPQ(nullptr, this);
        info.registerCallBackSourceType(nullptr, this);
        info.registerCallBackPlayerState(nullptr, this);
        info.registerCallBackStreamEncrypted(nullptr, this);
        info.registerCallBackVideoInfoHDRType(nullptr, this);
        info.registerCallBackVideoGameMode(nullptr, this);
    }

    Texts received() const {
        const std::lock_guard lock(m_mutex);
        return m_received;
    }

    pid_t thread() const {
        const std::lock_guard lock(m_mutex);
        return m_thread;
    }

    static void onAIPQ(AIPQMode mode, bool on, void* self) { note(self, "AIPQ", {mode, on}); }
    static void onSourceType(SourceType type, void* self) { note(self, "source", {type}); }
    static void onPlayerState(PlayerState state, void* self) { note(self, "player", {state}); }
    static void onStreamEncrypted(StreamMode mode, bool encrypted, void* self) {
        note(self, "stream", {mode, encrypted});
    }
    static void onHDRType(VideoInfoHDRType type, void* self) { note(self, "HDR", {type}); }
    static void onGameMode(VideoGameMode mode, void* self) { note(self, "game", {mode}); }

  private:
    static void note(void* self, std::string what, const std::vector<int>& numbers) {
        Service& service = *static_cast<Service*>(self);
        for (const int number : numbers) what += ' ' + std::to_string(number);
        const std::lock_guard lock(service.m_mutex);
        service.m_received.push_back(std::move(what));
        service.m_thread = gettid();
    }

    mutable std::mutex m_mutex;
    Texts m_received;
    pid_t m_thread = 0;
};

using Journal = std::shared_ptr<Texts>;

// An accessor that records its calls, and whose reads return a given value and status.
template <typename Access, typename T>
class Scripted : public Access {
  public:
    using Access::getValue;

    Scripted(std::string name, Journal journal)
        : Access(name), m_name(std::move(name)), m_journal(std::move(journal)) {}
    ~Scripted() override { m_journal->push_back("release " + m_name); }

    int connect(int timeoutMs) override {
        m_journal->push_back("connect " + m_name + ' ' + std::to_string(timeoutMs));
        return 0;
    }

    int disconnect() override {
        m_journal->push_back("disconnect " + m_name);
        return 0;
    }

    int getValue(T& value) override {
        found = value;
        value = left;
        return status;
    }

    T left{};
    T found{};
    int status = 0;

  private:
    std::string m_name;
    Journal m_journal;
};

using ScriptedInteger = Scripted<IntegerAccess, int>;
using ScriptedString = Scripted<StringAccess, std::string>;
using ScriptedStrings = Scripted<StringsAccess, Texts>;

struct Accessors {
    const Journal journal = std::make_shared<Texts>();
    std::shared_ptr<ScriptedString> sourcePath = std::make_shared<ScriptedString>("source path", journal);
    std::shared_ptr<ScriptedString> videoFormat = std::make_shared<ScriptedString>("video format", journal);
    std::shared_ptr<ScriptedInteger> mediaStream = std::make_shared<ScriptedInteger>("media stream", journal);
    std::shared_ptr<ScriptedStrings> play = std::make_shared<ScriptedStrings>("play", journal);
    std::shared_ptr<ScriptedInteger> aipqSwitch = std::make_shared<ScriptedInteger>("switch", journal);
    std::shared_ptr<ScriptedInteger> userSwitch = std::make_shared<ScriptedInteger>("user switch", journal);
    std::shared_ptr<ScriptedInteger> available = std::make_shared<ScriptedInteger>("available", journal);
    std::shared_ptr<ScriptedString> hdrType = std::make_shared<ScriptedString>("HDR type", journal);
    std::shared_ptr<ScriptedInteger> gameMode = std::make_shared<ScriptedInteger>("game mode", journal);
    std::shared_ptr<ScriptedInteger> supported = std::make_shared<ScriptedInteger>("supported", journal);

    std::unique_ptr<SystemInfo> makeInfo(std::shared_ptr<StringAccess> source) const {
        return std::make_unique<SystemInfo>(std::move(source), videoFormat, mediaStream, play, aipqSwitch,
                                            userSwitch, available, hdrType, gameMode, supported);
    }
    std::unique_ptr<SystemInfo> makeInfo() const { return makeInfo(sourcePath); }
};

// Matches a line with this message on any level except trace.
MATCHER_P(IsLogLine, message, "is the log line " + testing::PrintToString(message)) {
    return arg.level != tests::TRACE && arg.file == FILE_NAME && arg.tag == "[Platform Adaptation]" &&
           arg.message == message;
}

class InfoTest : public tests::TelevisionTest {
  protected:
    void SetUp() override { model.setNotificationDelay(0ms); }

    static LogLine info(const std::string& function, const std::string& message) {
        return {tests::INFO, FILE_NAME, function, message};
    }

    static LogLine error(const std::string& function, const std::string& message) {
        return {tests::ERROR, FILE_NAME, function, message};
    }

    // The lines of this function, without traces.
    std::vector<LogLine> logged(const std::string& function) const {
        std::vector<LogLine> found;
        for (const LogLine& line : log.lines())
            if (line.file == FILE_NAME && line.function == function && line.level != tests::TRACE)
                found.push_back(line);
        return found;
    }

    // The lines of this function, without traces. Expects that the function has run once and logged ENTER
    // first.
    std::vector<LogLine> loggedAfterEnter(const std::string& function) const {
        EXPECT_EQ(log.countEnter(FILE_NAME, function), 1U) << function;
        for (const LogLine& line : log.lines()) {
            if (line.file != FILE_NAME || line.function != function) continue;
            EXPECT_EQ(line.message, "[" + function + "][" + std::to_string(line.number) + "] ENTER\n");
            break;
        }
        return logged(function);
    }

    // Expects that `mapping` returns the given number for each text and logs both.
    template <typename Meaning>
    void expectMeanings(const std::string& function, Meaning (SystemInfo::*mapping)(std::string),
                        const std::vector<std::pair<std::string, int>>& meanings) {
        SystemInfo systemInfo;
        for (const auto& [text, number] : meanings) {
            log.clear();
            EXPECT_EQ((systemInfo.*mapping)(text), number) << text;
            EXPECT_THAT(logged(function), ElementsAre(info(function, function + ": " + text + " -> " +
                                                                         std::to_string(number) + ".\n")));
        }
    }

    // Expects that the parser finds this flag in the attributes; with nullopt, that it fails and does not
    // change its output.
    template <typename Lines>
    void expectFlag(const Texts& given, std::optional<bool> flag, const Lines& lines) {
        SystemInfo systemInfo;
        for (const bool before : {false, true}) {
            SCOPED_TRACE(testing::PrintToString(given));
            bool encrypted = before;
            Texts parsed = given;
            log.clear();
            EXPECT_EQ(systemInfo.parserTvStreamEncrypte(encrypted, parsed), flag.has_value());
            EXPECT_EQ(encrypted, flag.value_or(before));
            EXPECT_EQ(parsed, given);
            EXPECT_THAT(loggedAfterEnter("parserTvStreamEncrypte"), lines);
        }
    }

    static LogLine flagLine(const std::string& flag) {
        return info("parserTvStreamEncrypte", "media stream encrytped: " + flag + ".\n");
    }

    Service service;
};

using ASystemInfo = InfoTest;

TEST_F(ASystemInfo, LogsMissingMemoryForTheEncryptionFlag) {
    SystemInfo systemInfo;
    Texts attributes(9, std::string(100, '1'));
    bool encrypted = true;
    television.debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::ERROR);
    log.clear();
    tests::allocationsUntilFailure = 0;
    EXPECT_FALSE(systemInfo.parserTvStreamEncrypte(encrypted, attributes));
    EXPECT_EQ(std::exchange(tests::allocationsUntilFailure, -1), -1);
    EXPECT_TRUE(encrypted);
    EXPECT_THAT(log.withMessage("fail: others.\n"), SizeIs(1));
}
using AnInjectedSystemInfo = InfoTest;
using ABoolGetter = InfoTest;
using ATextGetter = InfoTest;
using TheGameModeGetter = InfoTest;
using TheTvStreamGetter = InfoTest;
using ASourceText = InfoTest;
using AnHDRText = InfoTest;
using AVideoFormat = InfoTest;
using AGameModeNumber = InfoTest;
using ThePlayAttributes = InfoTest;
using AChange = InfoTest;
using ACallback = InfoTest;

// Construction and destruction

TEST_F(ASystemInfo, SubscribesToSixKeysAtOnceWithOneAttemptEach) {
    const SystemInfo info;
    for (const std::string& key : CONNECTED_AT_ONCE) {
        EXPECT_EQ(model.connectAttempts(key), 1U) << key;
        EXPECT_EQ(model.subscribers(key), 1U) << key;
    }
    for (const std::string& key : CONNECTED_LATER) EXPECT_EQ(model.connectAttempts(key), 0U) << key;
}

TEST_F(ASystemInfo, SubscribesToTheOtherFourWhenTheyAreFirstRead) {
    SystemInfo info;
    info.getAIPQSwitchAvailable();
    info.getAIPQSwitchState();
    info.getAIPQAvailable();
    info.getTvStreamEncrypted();
    for (const std::string& key : CONNECTED_LATER) {
        EXPECT_EQ(model.connectAttempts(key), 1U) << key;
        EXPECT_EQ(model.subscribers(key), 1U) << key;
    }
}

TEST_F(ASystemInfo, SubscribesToTheOtherKeysIfOneIsRefused) {
    KeyFaults faults;
    faults.connectStatus = simulated::STATUS_UNAVAILABLE;
    model.setFaults(SOURCE, faults);
    model.setFaults(HDR_TYPE, faults);
    const SystemInfo info;
    for (const std::string& key : CONNECTED_AT_ONCE) {
        EXPECT_EQ(model.connectAttempts(key), 1U) << key;
        EXPECT_EQ(model.subscribers(key), key == SOURCE || key == HDR_TYPE ? 0U : 1U) << key;
    }
}

TEST_F(ASystemInfo, SubscribesToARefusedKeyWhenItIsReadLater) {
    KeyFaults faults;
    faults.connectStatus = simulated::STATUS_UNAVAILABLE;
    model.setFaults(SOURCE, faults);
    SystemInfo info;
    EXPECT_EQ(info.getSourceType(), 0);
    EXPECT_EQ(model.connectAttempts(SOURCE), 2U);
    model.setFaults(SOURCE, KeyFaults());
    EXPECT_EQ(info.getSourceType(), 1);
    EXPECT_EQ(model.subscribers(SOURCE), 1U);
}

TEST_F(ASystemInfo, UnsubscribesWhenItIsDestroyed) {
    {
        SystemInfo info;
        service.registerAt(info);
        info.getAIPQSwitchAvailable();
        info.getTvStreamEncrypted();
    }
    for (const Texts& keys : {CONNECTED_AT_ONCE, CONNECTED_LATER})
        for (const std::string& key : keys) EXPECT_EQ(model.subscribers(key), 0U) << key;
    model.set(SOURCE, "HDMI1");
    model.set(AIPQ_SWITCH, 0);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(service.received(), IsEmpty());
}

TEST_F(ASystemInfo, ConnectsAndDisconnectsSixKeysAtAnyTime) {
    SystemInfo info;
    info.getAIPQAvailable();
    info.disconnect();
    for (const std::string& key : CONNECTED_AT_ONCE) EXPECT_EQ(model.subscribers(key), 0U) << key;
    EXPECT_EQ(model.subscribers(AIPQ_AVAILABLE), 1U);
    info.connect();
    for (const std::string& key : CONNECTED_AT_ONCE) EXPECT_EQ(model.subscribers(key), 1U) << key;
    EXPECT_EQ(model.connectAttempts(AIPQ_SWITCH), 0U);
}

TEST_F(AnInjectedSystemInfo, ConnectsSixAccessorsInOrderFor100Ms) {
    const Accessors a;
    const std::unique_ptr<SystemInfo> info = a.makeInfo();
    EXPECT_THAT(*a.journal,
                ElementsAre("connect source path 100", "connect video format 100", "connect media stream 100",
                            "connect HDR type 100", "connect game mode 100", "connect supported 100"));
}

TEST_F(AnInjectedSystemInfo, DisconnectsSixAccessorsBeforeItReleasesAll) {
    Journal journal;
    std::unique_ptr<SystemInfo> info;
    {
        const Accessors a;
        journal = a.journal;
        info = a.makeInfo();
    }
    journal->clear();
    info.reset();
    ASSERT_EQ(journal->size(), 16U);
    const Texts disconnections(journal->begin(), journal->begin() + 6);
    EXPECT_THAT(disconnections,
                ElementsAre("disconnect source path", "disconnect video format", "disconnect media stream",
                            "disconnect HDR type", "disconnect game mode", "disconnect supported"));
    for (std::size_t i = 6; i < 16; ++i) EXPECT_EQ((*journal)[i].find("release "), 0U) << (*journal)[i];
}

TEST_F(AnInjectedSystemInfo, DoesNotReplaceTheHandlersOfItsAccessors) {
    struct Handler : ValueHandler {
        void onNewValue(const ValueObject& value) override {
            const std::lock_guard lock(mutex);
            texts.push_back(value.convertToStringType());
        }
        std::mutex mutex;
        Texts texts;
    };
    const auto handler = std::make_shared<Handler>();
    const auto source = std::make_shared<StringAccess>(SOURCE, handler);
    const Accessors a;
    const std::unique_ptr<SystemInfo> info = a.makeInfo(source);
    service.registerAt(*info);
    model.set(SOURCE, "AVS");
    ASSERT_TRUE(model.settle());
    const std::lock_guard lock(handler->mutex);
    EXPECT_THAT(handler->texts, ElementsAre("AVS"));
    EXPECT_THAT(service.received(), IsEmpty());
}

// Getters

struct BoolGetter {
    const char* function;
    bool (SystemInfo::*get)();
    const char* key;
    std::shared_ptr<ScriptedInteger> Accessors::*accessor;
    const char* label;
    const char* failure;
};

const BoolGetter BOOL_GETTERS[]{
    {"getAIPQSwitchAvailable", &SystemInfo::getAIPQSwitchAvailable, AIPQ_SWITCH, &Accessors::aipqSwitch,
     "switchAvailable", "get aipq switch state failed"},
    {"getAIPQSwitchState", &SystemInfo::getAIPQSwitchState, AIPQ_USER_SWITCH, &Accessors::userSwitch,
     "switchState", "get aipq switch state failed"},
    {"getAIPQAvailable", &SystemInfo::getAIPQAvailable, AIPQ_AVAILABLE, &Accessors::available,
     "aipqAvailable", "get aipq switch state failed"},
    {"getMediaStreamEncrypted", &SystemInfo::getMediaStreamEncrypted, MEDIA_STREAM_ENCRYPTED,
     &Accessors::mediaStream, "encrypted", "get media stream encrypted failed"},
    {"getAIPQSupported", &SystemInfo::getAIPQSupported, AIPQ_SUPPORTED, &Accessors::supported,
     "aipqSupported", "get aipq supported failed"},
};

TEST_F(ABoolGetter, ReadsItsOwnKeyAndLogsTheNumber) {
    SystemInfo systemInfo;
    for (const int number : {1, -2, 0}) {
        for (const BoolGetter& getter : BOOL_GETTERS) {
            SCOPED_TRACE(getter.function);
            for (const BoolGetter& other : BOOL_GETTERS) model.set(other.key, number == 0 ? 1 : 0);
            model.set(getter.key, number);
            log.clear();
            EXPECT_EQ((systemInfo.*getter.get)(), number != 0);
            EXPECT_THAT(loggedAfterEnter(getter.function),
                        ElementsAre(info(getter.function,
                                         std::string(getter.label) + ": " + std::to_string(number) + ".\n")));
        }
    }
}

TEST_F(ABoolGetter, LogsAFailureWithItsStatusAndReturnsTheOutput) {
    const Accessors a;
    const std::unique_ptr<SystemInfo> systemInfo = a.makeInfo();
    for (const int left : {0, 7}) {
        for (const BoolGetter& getter : BOOL_GETTERS) {
            SCOPED_TRACE(getter.function);
            ScriptedInteger& access = *(a.*getter.accessor);
            access.status = 9;
            access.left = left;
            access.found = -1;
            log.clear();
            EXPECT_EQ((systemInfo.get()->*getter.get)(), left != 0);
            EXPECT_EQ(access.found, 0);
            EXPECT_THAT(loggedAfterEnter(getter.function),
                        ElementsAre(error(getter.function, std::string(getter.failure) + ", ret: 9.\n"),
                                    info(getter.function,
                                         std::string(getter.label) + ": " + std::to_string(left) + ".\n")));
        }
    }
}

TEST_F(ABoolGetter, FailsWith6OnAKeyOfAnotherType) {
    for (const BoolGetter& getter : BOOL_GETTERS)
        model.define({"", getter.key, OBJECT_TYPE_STRING, std::string("1"), {}, ""});
    SystemInfo systemInfo;
    for (const BoolGetter& getter : BOOL_GETTERS) {
        EXPECT_FALSE((systemInfo.*getter.get)());
        EXPECT_EQ(log.count(error(getter.function, std::string(getter.failure) + ", ret: 6.\n")), 1U);
    }
}

TEST_F(ABoolGetter, FailsWith5AfterOneOrTenAttempts) {
    KeyFaults faults;
    faults.connectStatus = simulated::STATUS_UNAVAILABLE;
    SystemInfo systemInfo;
    systemInfo.disconnect();
    model.setFaults(MEDIA_STREAM_ENCRYPTED, faults);
    model.setFaults(AIPQ_SWITCH, faults);
    const unsigned before = model.connectAttempts(MEDIA_STREAM_ENCRYPTED);
    EXPECT_FALSE(systemInfo.getMediaStreamEncrypted());
    EXPECT_FALSE(systemInfo.getAIPQSwitchAvailable());
    EXPECT_EQ(model.connectAttempts(MEDIA_STREAM_ENCRYPTED), before + 1);
    EXPECT_EQ(model.connectAttempts(AIPQ_SWITCH), 10U);
    EXPECT_EQ(log.count(error("getMediaStreamEncrypted", "get media stream encrypted failed, ret: 5.\n")),
              1U);
    EXPECT_EQ(log.count(error("getAIPQSwitchAvailable", "get aipq switch state failed, ret: 5.\n")), 1U);
}

struct TextGetter {
    const char* function;
    int (*get)(SystemInfo&);
    const char* key;
    std::shared_ptr<ScriptedString> Accessors::*accessor;
    const char* text;  // the television's text
    int meaning;       // the result of the getter for this text
    const char* label;
    const char* failure;
    const char* mapping;
};

const TextGetter TEXT_GETTERS[]{
    {"getSourceType", [](SystemInfo& info) -> int { return info.getSourceType(); }, SOURCE,
     &Accessors::sourcePath, "HDMI3", 2, "get source Type: ", "get source Type failed.\n", "str2SourceType"},
    {"getPlayerState", [](SystemInfo& info) -> int { return info.getPlayerState(); }, VIDEO_FORMAT,
     &Accessors::videoFormat, "x", 1, "get video format info: ", "get video format info failed.\n",
     "str2PlayerState"},
    {"getVideoInfoHDRType", [](SystemInfo& info) -> int { return info.getVideoInfoHDRType(); }, HDR_TYPE,
     &Accessors::hdrType, "hdr_10plus", 5, "get videoInfoHDRType: ", "get videoInfoHDRType failed.\n",
     "str2VideoInfoHDRType"},
};

TEST_F(ATextGetter, ReadsItsOwnKeyLogsTheTextAndReturnsItsMeaning) {
    SystemInfo systemInfo;
    for (const TextGetter& getter : TEXT_GETTERS) {
        SCOPED_TRACE(getter.function);
        model.set(getter.key, getter.text);
        log.clear();
        EXPECT_EQ(getter.get(systemInfo), getter.meaning);
        EXPECT_THAT(loggedAfterEnter(getter.function),
                    ElementsAre(info(getter.function, getter.label + std::string(getter.text) + ".\n")));
        EXPECT_EQ(logged(getter.mapping).size(), 1U);
    }
}

TEST_F(ATextGetter, LogsTheTextBeforeAFailureAndReturnsUnknown) {
    const Accessors a;
    const std::unique_ptr<SystemInfo> systemInfo = a.makeInfo();
    for (const TextGetter& getter : TEXT_GETTERS) {
        SCOPED_TRACE(getter.function);
        (a.*getter.accessor)->status = -1;
        (a.*getter.accessor)->left = getter.text;
        log.clear();
        EXPECT_EQ(getter.get(*systemInfo), 0);
        EXPECT_THAT(loggedAfterEnter(getter.function),
                    ElementsAre(info(getter.function, getter.label + std::string(getter.text) + ".\n"),
                                error(getter.function, getter.failure)));
        EXPECT_THAT(logged(getter.mapping), IsEmpty());
    }
}

TEST_F(ATextGetter, ReturnsUnknownIfTheTelevisionCannotReadTheKey) {
    SystemInfo systemInfo;
    KeyFaults faults;
    faults.readStatus = simulated::STATUS_UNAVAILABLE;
    for (const TextGetter& getter : TEXT_GETTERS) {
        model.setFaults(getter.key, faults);
        EXPECT_EQ(getter.get(systemInfo), 0) << getter.function;
        EXPECT_EQ(log.count(error(getter.function, getter.failure)), 1U) << getter.function;
        model.setFaults(getter.key, {});
        EXPECT_NE(getter.get(systemInfo), 0) << getter.function;
    }
}

TEST_F(ATextGetter, ReturnsStoppedForAnEmptyVideoFormat) {
    SystemInfo systemInfo;
    model.set(VIDEO_FORMAT, "");
    EXPECT_EQ(systemInfo.getPlayerState(), 3);
}

TEST_F(TheGameModeGetter, LogsTheNumberAndReturns0ForAnUnknownOne) {
    SystemInfo systemInfo;
    for (const auto& [number, mode] : {std::pair(0, 0), {1, 1}, {2, 2}, {3, 0}, {-1, 0}}) {
        model.set(GAME_MODE, number);
        log.clear();
        EXPECT_EQ(systemInfo.getVideoGameMode(), mode);
        EXPECT_THAT(
            loggedAfterEnter("getVideoGameMode"),
            ElementsAre(info("getVideoGameMode", "videoGameMode: " + std::to_string(number) + ".\n")));
    }
}

TEST_F(TheGameModeGetter, LogsTheNumberBeforeAFailureAndReturns0) {
    const Accessors a;
    const std::unique_ptr<SystemInfo> systemInfo = a.makeInfo();
    a.gameMode->status = 6;
    a.gameMode->left = 2;
    a.gameMode->found = -1;
    EXPECT_EQ(systemInfo->getVideoGameMode(), 0);
    EXPECT_EQ(a.gameMode->found, 0);
    EXPECT_THAT(loggedAfterEnter("getVideoGameMode"),
                ElementsAre(info("getVideoGameMode", "videoGameMode: 2.\n"),
                            error("getVideoGameMode", "get video game mode failed.\n")));
    EXPECT_THAT(logged("int2VideoGameMode"), IsEmpty());
}

TEST_F(TheTvStreamGetter, ReadsTheFlagInTheTelevisionsPlayAttributes) {
    SystemInfo systemInfo;
    for (const auto& [flag, encrypted] : {std::pair("1", true), {"2", false}, {"3", true}, {"abc", false}}) {
        model.set(PLAY_ATTRIBUTES, attributes(flag));
        log.clear();
        EXPECT_EQ(systemInfo.getTvStreamEncrypted(), encrypted) << flag;
        loggedAfterEnter("getTvStreamEncrypted");
        EXPECT_EQ(log.countEnter(FILE_NAME, "parserTvStreamEncrypte"), 1U);
    }
}

TEST_F(TheTvStreamGetter, ReturnsFalseForEightElements) {
    SystemInfo systemInfo;
    model.set(PLAY_ATTRIBUTES, Texts(8, "1"));
    EXPECT_FALSE(systemInfo.getTvStreamEncrypted());
    EXPECT_THAT(
        loggedAfterEnter("parserTvStreamEncrypte"),
        ElementsAre(IsLogLine("MODELAPI::SL2_TVAPI_VSTR_TVSERVICE_PLAY_ATTRIBUTES: 8, vec size: 8.\n")));
    model.set(PLAY_ATTRIBUTES, attributes("1"));
    EXPECT_TRUE(systemInfo.getTvStreamEncrypted());
}

TEST_F(TheTvStreamGetter, IgnoresTheStatusOfTheRead) {
    const Accessors a;
    const std::unique_ptr<SystemInfo> systemInfo = a.makeInfo();
    a.play->status = 7;
    a.play->left = attributes("1");
    EXPECT_TRUE(systemInfo->getTvStreamEncrypted());
    a.play->left.clear();
    EXPECT_FALSE(systemInfo->getTvStreamEncrypted());
}

// Mapping texts and numbers

TEST_F(ASourceText, MapsToASourceTypeOnlyIfItIsExactlyItsName) {
    expectMeanings(
        "str2SourceType", &SystemInfo::str2SourceType,
        {{"TV", 1},      {"HDMI1", 2},    {"HDMI2", 2},   {"HDMI3", 2},   {"HDMI4", 2},    {"HDMI5", 2},
         {"HDMI6", 2},   {"AVS", 3},      {"dmp", 4},     {"DMP", 4},     {"miracast", 5}, {"youtube", 6},
         {"netflix", 7}, {"amazon", 8},   {"browser", 9}, {"", 0},        {"hdmi1", 0},    {"HDMI7", 0},
         {"HDMI0", 0},   {"HDMI", 0},     {"HDMI11", 0},  {"tv", 0},      {"TV ", 0},      {"Dmp", 0},
         {"avs", 0},     {"Miracast", 0}, {"YouTube", 0}, {"NETFLIX", 0}, {"amazon2", 0},  {" browser", 0},
         {"%s%d", 0}});
}

TEST_F(AnHDRText, MapsToAnHDRTypeOnlyIfItIsExactlyItsName) {
    expectMeanings("str2VideoInfoHDRType", &SystemInfo::str2VideoInfoHDRType,
                   {{"sdr", 1},
                    {"hdr_10", 2},
                    {"hdr_hlg", 3},
                    {"hdr_dolbyvision", 4},
                    {"hdr_10plus", 5},
                    {"", 0},
                    {"SDR", 0},
                    {"hdr_1", 0},
                    {"hdr_10+", 0},
                    {"hlg", 0},
                    {"hdr_10plus ", 0}});
}

TEST_F(AVideoFormat, MapsToPlayingUnlessItIsEmpty) {
    expectMeanings("str2PlayerState", &SystemInfo::str2PlayerState,
                   {{"x", 1}, {"1920x1080p@50", 1}, {" ", 1}, {"0", 1}, {"stopped", 1}, {"", 3}});
}

TEST_F(AGameModeNumber, MapsToItselfFrom0To2AndTo0Otherwise) {
    SystemInfo systemInfo;
    for (const auto& [number, mode] :
         {std::pair(0, 0), {1, 1}, {2, 2}, {3, 0}, {-1, 0}, {257, 0}, {INT32_MAX, 0}, {INT32_MIN, 0}}) {
        log.clear();
        EXPECT_EQ(systemInfo.int2VideoGameMode(number), mode) << number;
        EXPECT_THAT(logged("int2VideoGameMode"),
                    ElementsAre(info("int2VideoGameMode", "videoGameMode: " + std::to_string(mode) + ".\n")));
    }
}

TEST_F(ThePlayAttributes, HaveTheFlagInTheLowestBitOfElement8) {
    for (const char* flag :
         {"1", "3", "-1", " 1", "+3", "1abc", "2147483647", "-2147483647", "0000000000001"})
        expectFlag(attributes(flag), true, ElementsAre(flagLine(flag)));
    for (const char* flag : {"0", "2", "-2", "2.9", "0x1", "2147483646", "-2147483648"})
        expectFlag(attributes(flag), false, ElementsAre(flagLine(flag)));
}

TEST_F(ThePlayAttributes, HaveNoFlagWithoutANumber) {
    for (const char* flag : {"", "abc", "-", "x1"})
        expectFlag(attributes(flag), std::nullopt,
                   ElementsAre(flagLine(flag), error("parserTvStreamEncrypte", "fail: invalid argument.\n")));
}

TEST_F(ThePlayAttributes, HaveNoFlagIfTheNumberExceeds32Bits) {
    for (const char* flag :
         {"2147483648", "-2147483649", "4294967297", "99999999999999999999999", "-99999999999999999999999"})
        expectFlag(attributes(flag), std::nullopt,
                   ElementsAre(flagLine(flag), error("parserTvStreamEncrypte", "fail: out of range.\n")));
}

TEST_F(ThePlayAttributes, HaveNoFlagIfTheyAreEightOrFewer) {
    for (const std::size_t size : {0U, 1U, 8U})
        expectFlag(Texts(size, "1"), std::nullopt,
                   ElementsAre(IsLogLine("MODELAPI::SL2_TVAPI_VSTR_TVSERVICE_PLAY_ATTRIBUTES: 8, vec size: " +
                                         std::to_string(size) + ".\n")));
}

TEST_F(ThePlayAttributes, HaveTheFlagIfTheyAreNine) {
    expectFlag(Texts(9, "1"), true, ElementsAre(flagLine("1")));
}

// Changes

struct Change {
    const char* function;
    void (SystemInfo::*handler)(const ValueObject&);
    ValueObject value;
    std::string message;   // empty if only the mapping logs
    std::string received;  // by the callback; empty if it is not called
};

std::vector<Change> changes() {
    const auto switchAvailable = &SystemInfo::onAIPQSwitchAvailableChanged;
    const auto switchState = &SystemInfo::onAIPQSwitchStateChanged;
    const auto available = &SystemInfo::onAIPQAvailableChanged;
    const auto media = &SystemInfo::onMediaStreamEncryptedModeChanged;
    const auto tvService = &SystemInfo::onTVServiceEncryptedModeChanged;
    const auto source = &SystemInfo::onSourceTypeChanged;
    const auto hdr = &SystemInfo::onVideoInfoHDRTypeChanged;
    const auto format = &SystemInfo::onVideoFormatInfoChanged;
    const auto game = &SystemInfo::onVideoGameModeChanged;
    const std::string aipq = "aipq switch state: ";
    const std::string encrypted = "media stream encrytped: ";
    return {
        {"onAIPQSwitchAvailableChanged", switchAvailable, 1, aipq + "1.\n", "AIPQ 1 1"},
        {"onAIPQSwitchAvailableChanged", switchAvailable, 0, aipq + "0.\n", "AIPQ 1 0"},
        {"onAIPQSwitchAvailableChanged", switchAvailable, -4, aipq + "-4.\n", "AIPQ 1 1"},
        {"onAIPQSwitchAvailableChanged", switchAvailable, true, aipq + "1.\n", "AIPQ 1 1"},
        {"onAIPQSwitchStateChanged", switchState, 2, aipq + "2.\n", "AIPQ 2 1"},
        {"onAIPQSwitchStateChanged", switchState, 0, aipq + "0.\n", "AIPQ 2 0"},
        {"onAIPQSwitchStateChanged", switchState, 0.9, aipq + "0.\n", "AIPQ 2 0"},
        {"onAIPQAvailableChanged", available, 1, aipq + "1.\n", "AIPQ 3 1"},
        {"onAIPQAvailableChanged", available, 0, aipq + "0.\n", "AIPQ 3 0"},
        {"onAIPQAvailableChanged", available, "1", aipq + "0.\n", "AIPQ 3 0"},
        {"onMediaStreamEncryptedModeChanged", media, 1, encrypted + "1.\n", "stream 1 1"},
        {"onMediaStreamEncryptedModeChanged", media, 2, encrypted + "2.\n", "stream 1 1"},
        {"onMediaStreamEncryptedModeChanged", media, 0, encrypted + "0.\n", "stream 1 0"},
        {"onTVServiceEncryptedModeChanged", tvService, listOf(attributes("1")), "", "stream 2 1"},
        {"onTVServiceEncryptedModeChanged", tvService, listOf(attributes("2")), "", "stream 2 0"},
        {"onTVServiceEncryptedModeChanged", tvService, listOf(attributes("no")), "", ""},
        {"onTVServiceEncryptedModeChanged", tvService, listOf(Texts(8, "1")), "", ""},
        {"onSourceTypeChanged", source, "netflix", "Current source Type: netflix.\n", "source 7"},
        {"onSourceTypeChanged", source, "hdmi1", "Current source Type: hdmi1.\n", "source 0"},
        {"onSourceTypeChanged", source, 5, "Current source Type: 5.\n", "source 0"},
        {"onVideoInfoHDRTypeChanged", hdr, "hdr_hlg", "Current video info hdr type: hdr_hlg.\n", "HDR 3"},
        {"onVideoInfoHDRTypeChanged", hdr, "", "Current video info hdr type: .\n", "HDR 0"},
        {"onVideoFormatInfoChanged", format, "x", "video format info: x.\n", "player 1"},
        {"onVideoFormatInfoChanged", format, "", "video format info: .\n", "player 3"},
        {"onVideoGameModeChanged", game, 2, "video game mode: 2.\n", "game 2"},
        {"onVideoGameModeChanged", game, 3, "video game mode: 3.\n", "game 0"},
        {"onVideoGameModeChanged", game, -1, "video game mode: -1.\n", "game 0"},
    };
}

TEST_F(AChange, IsLoggedAndPassedToTheCallback) {
    SystemInfo systemInfo;
    for (const Change& change : changes()) {
        SCOPED_TRACE(change.function + (": " + change.value.convertToStringType()));
        Service listener;
        listener.registerAt(systemInfo);
        log.clear();
        (systemInfo.*change.handler)(change.value);
        EXPECT_EQ(listener.received(), change.received.empty() ? Texts() : Texts{change.received});
        std::vector<LogLine> expected;
        if (!change.message.empty()) expected.push_back(info(change.function, change.message));
        EXPECT_EQ(loggedAfterEnter(change.function), expected);
        EXPECT_EQ(log.countEnter(FILE_NAME, "parserTvStreamEncrypte"), change.message.empty() ? 1U : 0U);
    }
}

TEST_F(AChange, IsAlsoLoggedWithoutACallback) {
    SystemInfo systemInfo;
    for (const Change& change : changes()) {
        SCOPED_TRACE(change.function);
        log.clear();
        (systemInfo.*change.handler)(change.value);
        std::vector<LogLine> expected;
        if (!change.message.empty()) expected.push_back(info(change.function, change.message));
        EXPECT_EQ(loggedAfterEnter(change.function), expected);
    }
}

TEST_F(AChange, OfATextIsNotMappedWithoutACallback) {
    SystemInfo systemInfo;
    for (const Change& change : changes()) (systemInfo.*change.handler)(change.value);
    for (const LogLine& line : log.lines())
        for (const char* mapping :
             {"str2SourceType", "str2VideoInfoHDRType", "str2PlayerState", "parserTvStreamEncrypte"})
            EXPECT_NE(line.function, mapping);
}

TEST_F(AChange, OfEachKeyReachesItsCallbackOnTheModelsThread) {
    SystemInfo systemInfo;
    service.registerAt(systemInfo);
    systemInfo.getAIPQSwitchAvailable();
    systemInfo.getAIPQSwitchState();
    systemInfo.getAIPQAvailable();
    systemInfo.getTvStreamEncrypted();
    struct Route {
        const char* key;
        Value value;
        const char* handler;
        const char* received;
    };
    const Route routes[]{
        {AIPQ_SWITCH, 0, "onAIPQSwitchAvailableChanged", "AIPQ 1 0"},
        {AIPQ_USER_SWITCH, 0, "onAIPQSwitchStateChanged", "AIPQ 2 0"},
        {AIPQ_AVAILABLE, 5, "onAIPQAvailableChanged", "AIPQ 3 1"},
        {SOURCE, std::string("DMP"), "onSourceTypeChanged", "source 4"},
        {VIDEO_FORMAT, std::string(), "onVideoFormatInfoChanged", "player 3"},
        {MEDIA_STREAM_ENCRYPTED, 1, "onMediaStreamEncryptedModeChanged", "stream 1 1"},
        {PLAY_ATTRIBUTES, attributes("3"), "onTVServiceEncryptedModeChanged", "stream 2 1"},
        {HDR_TYPE, std::string("hdr_dolbyvision"), "onVideoInfoHDRTypeChanged", "HDR 4"},
        {GAME_MODE, 1, "onVideoGameModeChanged", "game 1"},
    };
    Texts expected;
    for (const Route& route : routes) {
        SCOPED_TRACE(route.key);
        model.set(route.key, route.value);
        ASSERT_TRUE(model.settle());
        expected.emplace_back(route.received);
        EXPECT_EQ(service.received(), expected);
        EXPECT_NE(service.thread(), gettid());
        EXPECT_EQ(log.countEnter(FILE_NAME, route.handler), 1U);
        for (const LogLine& line : logged(route.handler)) EXPECT_EQ(line.thread, service.thread());
    }
    model.set(AIPQ_SUPPORTED, 0);
    ASSERT_TRUE(model.settle());
    EXPECT_EQ(service.received(), expected);
}

// Callbacks

TEST_F(ACallback, IsRegisteredWithALogLine) {
    SystemInfo systemInfo;
    service.registerAt(systemInfo);
    for (const char* function : {"registerCallBackAIPQ", "registerCallBackSourceType",
                                 "registerCallBackPlayerState", "registerCallBackStreamEncrypted",
                                 "registerCallBackVideoInfoHDRType", "registerCallBackVideoGameMode"})
        EXPECT_THAT(loggedAfterEnter(function), IsEmpty());
}

TEST_F(ACallback, IsReplacedWithItsUserDataByTheNext) {
    SystemInfo systemInfo;
    service.registerAt(systemInfo);
    Service next;
    next.registerAt(systemInfo);
    Texts expected;
    for (const Change& change : changes()) {
        (systemInfo.*change.handler)(change.value);
        if (!change.received.empty()) expected.push_back(change.received);
    }
    EXPECT_THAT(service.received(), IsEmpty());
    EXPECT_EQ(next.received(), expected);
}

TEST_F(ACallback, IsUnregisteredByANullFunction) {
    SystemInfo systemInfo;
    service.registerAt(systemInfo);
    service.unregisterFrom(systemInfo);
    for (const Change& change : changes()) (systemInfo.*change.handler)(change.value);
    EXPECT_THAT(service.received(), IsEmpty());
}

TEST_F(ACallback, ReceivesNullUserDataUnchanged) {
    SystemInfo systemInfo;
    static std::atomic<int> calls;
    calls = 0;
    systemInfo.registerCallBackSourceType(
        [](SourceType, void* userData) { calls += userData == nullptr ? 1 : 100; }, nullptr);
    systemInfo.onSourceTypeChanged(ValueObject("TV"));
    EXPECT_EQ(calls, 1);
}

TEST_F(ACallback, IsClearedBySetNotifyValueExceptForTheGameMode) {
    SystemInfo systemInfo;
    service.registerAt(systemInfo);
    systemInfo.setNotifyValue();
    for (const Change& change : changes()) (systemInfo.*change.handler)(change.value);
    EXPECT_THAT(service.received(), ElementsAre("game 2", "game 0", "game 0"));
}

TEST_F(ACallback, MayReplaceItselfForTheNextChange) {
    SystemInfo systemInfo;
    struct UserData {
        SystemInfo& info;
        Service& next;
    } userData{systemInfo, service};
    systemInfo.registerCallBackSourceType(
        [](SourceType, void* self) {
            UserData& mine = *static_cast<UserData*>(self);
            mine.info.registerCallBackSourceType(Service::onSourceType, &mine.next);
        },
        &userData);
    model.set(SOURCE, "AVS");
    model.set(SOURCE, "amazon");
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(service.received(), ElementsAre("source 8"));
}

TEST_F(ACallback, IsReplacedDuringNotificationsWithoutLosingOne) {
    SystemInfo systemInfo;
    systemInfo.getAIPQSwitchAvailable();
    Service other;
    service.registerAt(systemInfo);
    std::atomic<bool> ending{false};
    std::thread registering([&] {
        while (!ending) {
            other.registerAt(systemInfo);
            service.registerAt(systemInfo);
        }
    });
    constexpr std::size_t ROUNDS = 40;
    for (std::size_t i = 0; i < ROUNDS; ++i) {
        const bool even = i % 2 == 0;
        model.set(AIPQ_SWITCH, even ? 0 : 1);
        model.set(SOURCE, even ? "AVS" : "TV");
        model.set(VIDEO_FORMAT, even ? "" : "x");
        model.set(MEDIA_STREAM_ENCRYPTED, even ? 1 : 0);
        model.set(HDR_TYPE, even ? "hdr_10" : "sdr");
        model.set(GAME_MODE, even ? 1 : 0);
    }
    const bool settled = model.settle();
    ending = true;
    registering.join();
    ASSERT_TRUE(settled);
    EXPECT_EQ(service.received().size() + other.received().size(), 6 * ROUNDS);
}

}  // namespace
