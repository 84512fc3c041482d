#include "platform_adaptation/system_info.h"

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "make_access.h"
#include "shared_member.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

namespace {

// The index of the encryption flag in the TV service's play attributes.
constexpr std::size_t ENCRYPTION_ATTRIBUTE = 8;

template <typename Type>
struct Name {
    std::string_view text;
    Type type;
};

constexpr std::array<Name<SourceType>, 15> SOURCE_NAMES{{
    {"TV", SOURCE_TYPE_TV},
    {"HDMI1", SOURCE_TYPE_HDMI},
    {"HDMI2", SOURCE_TYPE_HDMI},
    {"HDMI3", SOURCE_TYPE_HDMI},
    {"HDMI4", SOURCE_TYPE_HDMI},
    {"HDMI5", SOURCE_TYPE_HDMI},
    {"HDMI6", SOURCE_TYPE_HDMI},
    {"AVS", SOURCE_TYPE_AVS},
    {"dmp", SOURCE_TYPE_MEDIA_PLAYER},
    {"DMP", SOURCE_TYPE_MEDIA_PLAYER},
    {"miracast", SOURCE_TYPE_MIRACAST},
    {"youtube", SOURCE_TYPE_YOUTUBE},
    {"netflix", SOURCE_TYPE_NETFLIX},
    {"amazon", SOURCE_TYPE_AMAZON},
    {"browser", SOURCE_TYPE_BROWSER},
}};

constexpr std::array<Name<VideoInfoHDRType>, 5> HDR_NAMES{{
    {"sdr", VIDEO_INFO_HDR_TYPE_SDR},
    {"hdr_10", VIDEO_INFO_HDR_TYPE_HDR10},
    {"hdr_hlg", VIDEO_INFO_HDR_TYPE_HLG},
    {"hdr_dolbyvision", VIDEO_INFO_HDR_TYPE_DOLBY_VISION},
    {"hdr_10plus", VIDEO_INFO_HDR_TYPE_HDR10_PLUS},
}};

template <typename Names, typename Type>
Type lookUp(const Names& names, const std::string& text, Type unknown) {
    for (const auto& name : names)
        if (name.text == text) return name.type;
    return unknown;
}

// `long` has 32 bits on a television.
std::int32_t toLong(const std::string& text) {
    const long number = std::stol(text, nullptr, 10);
    if (!std::in_range<std::int32_t>(number)) throw std::out_of_range("stol");
    return static_cast<std::int32_t>(number);
}

// `word` and `failureWord` name the value in the log; `function` is the getter that the client called.
bool readFlag(SystemInfo::IntegerAccess& access, const char* word, const char* failureWord,
              const char* function) {
    LOG_ENTER_AS(function);
    int number = 0;
    if (const int status = access.getValue(number); status != 0)
        LOG_ERROR_AS(function, "get %s failed, ret: %d.\n", failureWord, status);
    LOG_INFO_AS(function, "%s: %d.\n", word, number);
    return number != 0;
}

bool readText(SystemInfo::StringAccess& access, std::string& text, const char* word, const char* function) {
    LOG_ENTER_AS(function);
    const int status = access.getValue(text);
    LOG_INFO_AS(function, "get %s: %s.\n", word, text.c_str());
    if (status != 0) LOG_ERROR_AS(function, "get %s failed.\n", word);
    return status == 0;
}

}  // namespace

SystemInfo::SystemInfo()
    : m_aipqSwitch(makeAccess<IntegerAccess>("dovra.sl2.i32.video.ai.pq.switch", this,
                                             &SystemInfo::onAIPQSwitchAvailableChanged)),
      m_aipqUserSwitchOSD(makeAccess<IntegerAccess>("dovra.sl2.i32.video.aipq.user.switch.osd", this,
                                                    &SystemInfo::onAIPQSwitchStateChanged)),
      m_aipqAvailable(makeAccess<IntegerAccess>("dovra.sl2.i32.video.ai.pq.available", this,
                                                &SystemInfo::onAIPQAvailableChanged)),
      m_sourcePath(makeAccess<StringAccess>("dovra.sl2.str.source.current.path", this,
                                            &SystemInfo::onSourceTypeChanged)),
      m_videoFormatInfo(makeAccess<StringAccess>("dovra.sl2.str.video.format.info", this,
                                                 &SystemInfo::onVideoFormatInfoChanged)),
      m_mediaStreamEncrypted(makeAccess<IntegerAccess>("dovra.sl2.mpctrl.i32.media.stream.encrypted", this,
                                                       &SystemInfo::onMediaStreamEncryptedModeChanged)),
      m_tvServicePlay(makeAccess<StringsAccess>("dovra.sl2.vstr.tvservice.play.main", this,
                                                &SystemInfo::onTVServiceEncryptedModeChanged)),
      m_hdrType(makeAccess<StringAccess>("dovra.sl2.str.servicemode.videoinfo.hdrtype", this,
                                         &SystemInfo::onVideoInfoHDRTypeChanged)),
      m_gameMode(makeAccess<IntegerAccess>("dovra.sl2.i32.video.enum.instant.game.response", this,
                                           &SystemInfo::onVideoGameModeChanged)),
      m_aipqSupported(std::make_shared<IntegerAccess>("dovra.sl2.i32.video.aipq.supported")) {
    setNotifyValue();
    connect();
}

SystemInfo::SystemInfo(std::shared_ptr<StringAccess> sourcePath,
                       std::shared_ptr<StringAccess> videoFormatInfo,
                       std::shared_ptr<IntegerAccess> mediaStreamEncrypted,
                       std::shared_ptr<StringsAccess> tvServicePlay,
                       std::shared_ptr<IntegerAccess> aipqSwitch,
                       std::shared_ptr<IntegerAccess> aipqUserSwitchOSD,
                       std::shared_ptr<IntegerAccess> aipqAvailable, std::shared_ptr<StringAccess> hdrType,
                       std::shared_ptr<IntegerAccess> gameMode, std::shared_ptr<IntegerAccess> aipqSupported)
    : m_aipqSwitch(std::move(aipqSwitch)),
      m_aipqUserSwitchOSD(std::move(aipqUserSwitchOSD)),
      m_aipqAvailable(std::move(aipqAvailable)),
      m_sourcePath(std::move(sourcePath)),
      m_videoFormatInfo(std::move(videoFormatInfo)),
      m_mediaStreamEncrypted(std::move(mediaStreamEncrypted)),
      m_tvServicePlay(std::move(tvServicePlay)),
      m_hdrType(std::move(hdrType)),
      m_gameMode(std::move(gameMode)),
      m_aipqSupported(std::move(aipqSupported)) {
    setNotifyValue();
    connect();
}

SystemInfo::~SystemInfo() { disconnect(); }

void SystemInfo::setNotifyValue() {
    storeCallBack<NotifyAIPQ>(m_notifyAIPQ, nullptr, m_userDataAIPQ, nullptr);
    storeCallBack<NotifySourceType>(m_notifySourceType, nullptr, m_userDataSourceType, nullptr);
    storeCallBack<NotifyPlayerState>(m_notifyPlayerState, nullptr, m_userDataPlayerState, nullptr);
    storeCallBack<NotifyStreamEncrypted>(m_notifyStreamEncrypted, nullptr, m_userDataStreamEncrypted,
                                         nullptr);
    storeCallBack<NotifyVideoInfoHDRType>(m_notifyVideoInfoHDRType, nullptr, m_userDataVideoInfoHDRType,
                                          nullptr);
}

// The other accessors connect in the first call of their getter.
std::array<ValueAccessBase*, 6> SystemInfo::connectedAccessors() const {
    return {m_sourcePath.get(), m_videoFormatInfo.get(), m_mediaStreamEncrypted.get(),
            m_hdrType.get(),    m_gameMode.get(),        m_aipqSupported.get()};
}

void SystemInfo::connect() {
    for (ValueAccessBase* access : connectedAccessors()) access->connect(FACADE_CONNECT_TIMEOUT_MS);
}

void SystemInfo::disconnect() {
    for (ValueAccessBase* access : connectedAccessors()) access->disconnect();
}

// Registration

void SystemInfo::registerCallBackAIPQ(NotifyAIPQ fn, void* userData) {
    LOG_ENTER();
    storeCallBack(m_notifyAIPQ, fn, m_userDataAIPQ, userData);
}

void SystemInfo::registerCallBackSourceType(NotifySourceType fn, void* userData) {
    LOG_ENTER();
    storeCallBack(m_notifySourceType, fn, m_userDataSourceType, userData);
}

void SystemInfo::registerCallBackPlayerState(NotifyPlayerState fn, void* userData) {
    LOG_ENTER();
    storeCallBack(m_notifyPlayerState, fn, m_userDataPlayerState, userData);
}

void SystemInfo::registerCallBackStreamEncrypted(NotifyStreamEncrypted fn, void* userData) {
    LOG_ENTER();
    storeCallBack(m_notifyStreamEncrypted, fn, m_userDataStreamEncrypted, userData);
}

void SystemInfo::registerCallBackVideoInfoHDRType(NotifyVideoInfoHDRType fn, void* userData) {
    LOG_ENTER();
    storeCallBack(m_notifyVideoInfoHDRType, fn, m_userDataVideoInfoHDRType, userData);
}

void SystemInfo::registerCallBackVideoGameMode(NotifyVideoGameMode fn, void* userData) {
    LOG_ENTER();
    storeCallBack(m_notifyVideoGameMode, fn, m_userDataVideoGameMode, userData);
}

// Getters

bool SystemInfo::getAIPQSwitchAvailable() {
    return readFlag(*m_aipqSwitch, "switchAvailable", "aipq switch state", __func__);
}

bool SystemInfo::getAIPQSwitchState() {
    return readFlag(*m_aipqUserSwitchOSD, "switchState", "aipq switch state", __func__);
}

bool SystemInfo::getAIPQAvailable() {
    return readFlag(*m_aipqAvailable, "aipqAvailable", "aipq switch state", __func__);
}

bool SystemInfo::getMediaStreamEncrypted() {
    return readFlag(*m_mediaStreamEncrypted, "encrypted", "media stream encrypted", __func__);
}

bool SystemInfo::getAIPQSupported() {
    return readFlag(*m_aipqSupported, "aipqSupported", "aipq supported", __func__);
}

SourceType SystemInfo::getSourceType() {
    std::string text;
    return readText(*m_sourcePath, text, "source Type", __func__) ? str2SourceType(text)
                                                                  : SOURCE_TYPE_UNKNOWN;
}

PlayerState SystemInfo::getPlayerState() {
    std::string text;
    return readText(*m_videoFormatInfo, text, "video format info", __func__) ? str2PlayerState(text)
                                                                             : PLAYER_STATE_UNKNOWN;
}

VideoInfoHDRType SystemInfo::getVideoInfoHDRType() {
    std::string text;
    return readText(*m_hdrType, text, "videoInfoHDRType", __func__) ? str2VideoInfoHDRType(text)
                                                                    : VIDEO_INFO_HDR_TYPE_UNKNOWN;
}

VideoGameMode SystemInfo::getVideoGameMode() {
    LOG_ENTER();
    int number = 0;
    const int status = m_gameMode->getValue(number);
    LOG_INFO("videoGameMode: %d.\n", number);
    if (status != 0) {
        LOG_ERROR("get video game mode failed.\n");
        return VIDEO_GAME_MODE_0;
    }
    return int2VideoGameMode(number);
}

bool SystemInfo::getTvStreamEncrypted() {
    LOG_ENTER();
    std::vector<std::string> attributes;
    m_tvServicePlay->getValue(attributes);
    bool encrypted = false;
    parserTvStreamEncrypte(encrypted, attributes);
    return encrypted;
}

// Conversions

SourceType SystemInfo::str2SourceType(std::string text) {
    const SourceType type = lookUp(SOURCE_NAMES, text, SOURCE_TYPE_UNKNOWN);
    LOG_INFO("str2SourceType: %s -> %d.\n", text.c_str(), type);
    return type;
}

VideoInfoHDRType SystemInfo::str2VideoInfoHDRType(std::string text) {
    const VideoInfoHDRType type = lookUp(HDR_NAMES, text, VIDEO_INFO_HDR_TYPE_UNKNOWN);
    LOG_INFO("str2VideoInfoHDRType: %s -> %d.\n", text.c_str(), type);
    return type;
}

PlayerState SystemInfo::str2PlayerState(std::string text) {
    const PlayerState state = text.empty() ? PLAYER_STATE_STOPPED : PLAYER_STATE_PLAYING;
    LOG_INFO("str2PlayerState: %s -> %d.\n", text.c_str(), state);
    return state;
}

VideoGameMode SystemInfo::int2VideoGameMode(int number) {
    const VideoGameMode mode = number >= VIDEO_GAME_MODE_0 && number <= VIDEO_GAME_MODE_2
                                   ? static_cast<VideoGameMode>(number)
                                   : VIDEO_GAME_MODE_0;
    LOG_INFO("videoGameMode: %d.\n", mode);
    return mode;
}

bool SystemInfo::parserTvStreamEncrypte(bool& encrypted, std::vector<std::string>& attributes) {
    LOG_ENTER();
    if (attributes.size() <= ENCRYPTION_ATTRIBUTE) {
        LOG_ERROR("MODELAPI::SL2_TVAPI_VSTR_TVSERVICE_PLAY_ATTRIBUTES: %d, vec size: %d.\n",
                  static_cast<int>(ENCRYPTION_ATTRIBUTE), static_cast<int>(attributes.size()));
        return false;
    }
    try {
        const std::string attribute = attributes[ENCRYPTION_ATTRIBUTE];
        LOG_INFO("media stream encrytped: %s.\n", attribute.c_str());
        // Only the lowest bit counts: 2 means not encrypted.
        encrypted = (toLong(attribute) & 1) != 0;
        return true;
    } catch (const std::invalid_argument&) {
        LOG_ERROR("fail: invalid argument.\n");
    } catch (const std::out_of_range&) {
        LOG_ERROR("fail: out of range.\n");
    } catch (...) {
        LOG_ERROR("fail: others.\n");
    }
    return false;
}

// Changes. A text is converted, and logged, only if a callback is registered.

void SystemInfo::notifyAIPQ(AIPQMode mode, const ValueObject& value, const char* function) {
    LOG_ENTER_AS(function);
    const int number = value;
    LOG_INFO_AS(function, "aipq switch state: %d.\n", number);
    callBack(m_notifyAIPQ, m_userDataAIPQ, mode, number != 0);
}

void SystemInfo::onAIPQSwitchAvailableChanged(const ValueObject& value) {
    notifyAIPQ(AIPQ_MODE_SWITCH_AVAILABLE, value, __func__);
}

void SystemInfo::onAIPQSwitchStateChanged(const ValueObject& value) {
    notifyAIPQ(AIPQ_MODE_SWITCH_STATE, value, __func__);
}

void SystemInfo::onAIPQAvailableChanged(const ValueObject& value) {
    notifyAIPQ(AIPQ_MODE_AVAILABLE, value, __func__);
}

void SystemInfo::onMediaStreamEncryptedModeChanged(const ValueObject& value) {
    LOG_ENTER();
    const int number = value;
    LOG_INFO("media stream encrytped: %d.\n", number);
    callBack(m_notifyStreamEncrypted, m_userDataStreamEncrypted, STREAM_MODE_MEDIA_PLAYER, number != 0);
}

void SystemInfo::onTVServiceEncryptedModeChanged(const ValueObject& value) {
    LOG_ENTER();
    std::vector<std::string> attributes = value;
    if (loadShared(m_notifyStreamEncrypted) == nullptr) return;
    bool encrypted = false;
    if (parserTvStreamEncrypte(encrypted, attributes))
        callBack(m_notifyStreamEncrypted, m_userDataStreamEncrypted, STREAM_MODE_TV_SERVICE, encrypted);
}

void SystemInfo::onSourceTypeChanged(const ValueObject& value) {
    LOG_ENTER();
    const std::string text = value;
    LOG_INFO("Current source Type: %s.\n", text.c_str());
    if (loadShared(m_notifySourceType) != nullptr)
        callBack(m_notifySourceType, m_userDataSourceType, str2SourceType(text));
}

void SystemInfo::onVideoInfoHDRTypeChanged(const ValueObject& value) {
    LOG_ENTER();
    const std::string text = value;
    LOG_INFO("Current video info hdr type: %s.\n", text.c_str());
    if (loadShared(m_notifyVideoInfoHDRType) != nullptr)
        callBack(m_notifyVideoInfoHDRType, m_userDataVideoInfoHDRType, str2VideoInfoHDRType(text));
}

void SystemInfo::onVideoFormatInfoChanged(const ValueObject& value) {
    LOG_ENTER();
    const std::string text = value;
    LOG_INFO("video format info: %s.\n", text.c_str());
    if (loadShared(m_notifyPlayerState) != nullptr)
        callBack(m_notifyPlayerState, m_userDataPlayerState, str2PlayerState(text));
}

void SystemInfo::onVideoGameModeChanged(const ValueObject& value) {
    LOG_ENTER();
    const int number = value;
    LOG_INFO("video game mode: %d.\n", number);
    if (loadShared(m_notifyVideoGameMode) != nullptr)
        callBack(m_notifyVideoGameMode, m_userDataVideoGameMode, int2VideoGameMode(number));
}
