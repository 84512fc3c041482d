// The television's state, read-only, as the AI picture-quality service needs it.
#ifndef PLATFORM_ADAPTATION_SYSTEM_INFO_H
#define PLATFORM_ADAPTATION_SYSTEM_INFO_H

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "lomodelapi/observer.h"
#include "platform_adaptation/export.h"
#include "platform_adaptation/system_access/value_access.h"

// The subject of an AIPQ callback.
enum AIPQMode {
    AIPQ_MODE_SWITCH_AVAILABLE = 1,  // whether the AI picture-quality switch can be operated
    AIPQ_MODE_SWITCH_STATE = 2,      // the user's switch in the on-screen menu
    AIPQ_MODE_AVAILABLE = 3,         // whether AI picture quality is available
};

enum SourceType {
    SOURCE_TYPE_UNKNOWN = 0,
    SOURCE_TYPE_TV = 1,
    SOURCE_TYPE_HDMI = 2,
    SOURCE_TYPE_AVS = 3,
    SOURCE_TYPE_MEDIA_PLAYER = 4,
    SOURCE_TYPE_MIRACAST = 5,
    SOURCE_TYPE_YOUTUBE = 6,
    SOURCE_TYPE_NETFLIX = 7,
    SOURCE_TYPE_AMAZON = 8,
    SOURCE_TYPE_BROWSER = 9,
};

enum VideoInfoHDRType {
    VIDEO_INFO_HDR_TYPE_UNKNOWN = 0,
    VIDEO_INFO_HDR_TYPE_SDR = 1,
    VIDEO_INFO_HDR_TYPE_HDR10 = 2,
    VIDEO_INFO_HDR_TYPE_HLG = 3,
    VIDEO_INFO_HDR_TYPE_DOLBY_VISION = 4,
    VIDEO_INFO_HDR_TYPE_HDR10_PLUS = 5,
};

enum PlayerState {
    PLAYER_STATE_UNKNOWN = 0,  // only from a getter whose read failed
    PLAYER_STATE_PLAYING = 1,
    PLAYER_STATE_STOPPED = 3,
};

enum StreamMode {
    STREAM_MODE_MEDIA_PLAYER = 1,
    STREAM_MODE_TV_SERVICE = 2,
};

// The model's own numbers. A failed read and all other numbers give 0.
enum VideoGameMode {
    VIDEO_GAME_MODE_0 = 0,
    VIDEO_GAME_MODE_1 = 1,
    VIDEO_GAME_MODE_2 = 2,
};

class PLATFORM_ADAPTATION_API SystemInfoInterface {
  public:
    using NotifyAIPQ = void (*)(AIPQMode mode, bool on, void* userData);
    using NotifySourceType = void (*)(SourceType type, void* userData);
    using NotifyPlayerState = void (*)(PlayerState state, void* userData);
    using NotifyStreamEncrypted = void (*)(StreamMode mode, bool encrypted, void* userData);
    using NotifyVideoInfoHDRType = void (*)(VideoInfoHDRType type, void* userData);
    using NotifyVideoGameMode = void (*)(VideoGameMode mode, void* userData);

    virtual ~SystemInfoInterface() = default;

    // Each function replaces the callback of its kind, null for none; `userData` is passed to each call.
    // Takes effect with the next change. Any thread; but if a change arrives at that moment, the previous
    // function may be called with the new `userData`. Does not wait for a call that is running: keep the
    // previous user data until that call has returned. A callback runs on the model's thread; the next
    // notification waits until it returns.
    virtual void registerCallBackAIPQ(NotifyAIPQ fn, void* userData) = 0;
    virtual void registerCallBackSourceType(NotifySourceType fn, void* userData) = 0;
    virtual void registerCallBackPlayerState(NotifyPlayerState fn, void* userData) = 0;
    virtual void registerCallBackStreamEncrypted(NotifyStreamEncrypted fn, void* userData) = 0;
    virtual void registerCallBackVideoInfoHDRType(NotifyVideoInfoHDRType fn, void* userData) = 0;
    virtual void registerCallBackVideoGameMode(NotifyVideoGameMode fn, void* userData) = 0;

    // Each getter reads the television now, on the caller's thread. If its key is not connected, it first
    // tries to connect it: getAIPQSwitchAvailable(), getAIPQSwitchState(), getAIPQAvailable() and
    // getTvStreamEncrypted() for up to 1 s, the others for 100 ms. On failure it returns false, or the
    // enumeration's 0.
    virtual bool getAIPQSwitchAvailable() = 0;
    virtual bool getAIPQSwitchState() = 0;
    virtual bool getAIPQAvailable() = 0;
    virtual SourceType getSourceType() = 0;
    virtual PlayerState getPlayerState() = 0;
    virtual bool getMediaStreamEncrypted() = 0;
    virtual bool getTvStreamEncrypted() = 0;
    virtual VideoInfoHDRType getVideoInfoHDRType() = 0;
    virtual VideoGameMode getVideoGameMode() = 0;
    virtual bool getAIPQSupported() = 0;
};

class PLATFORM_ADAPTATION_API SystemInfo : public SystemInfoInterface {
  public:
    using IntegerAccess = ValueAccessT<lomodelapi::ObserverNumericInteger>;
    using StringAccess = ValueAccessT<lomodelapi::ObserverString>;
    using StringsAccess = ValueAccessT<lomodelapi::ObserverVectorString>;

    // Connects to the television, which takes 100 ms for each of six keys that is missing. The callbacks of
    // the AIPQ switch and availability and of the TV service's stream are called only after their getter has
    // connected the key.
    SystemInfo();
    // Uses the given accessors, which keep their own handlers: a registered callback is called only if those
    // handlers call the on...Changed operations.
    SystemInfo(std::shared_ptr<StringAccess> sourcePath, std::shared_ptr<StringAccess> videoFormatInfo,
               std::shared_ptr<IntegerAccess> mediaStreamEncrypted,
               std::shared_ptr<StringsAccess> tvServicePlay, std::shared_ptr<IntegerAccess> aipqSwitch,
               std::shared_ptr<IntegerAccess> aipqUserSwitchOSD, std::shared_ptr<IntegerAccess> aipqAvailable,
               std::shared_ptr<StringAccess> hdrType, std::shared_ptr<IntegerAccess> gameMode,
               std::shared_ptr<IntegerAccess> aipqSupported);
    ~SystemInfo() override;

    SystemInfo(const SystemInfo&) = delete;
    SystemInfo& operator=(const SystemInfo&) = delete;

    void registerCallBackAIPQ(NotifyAIPQ fn, void* userData) override;
    void registerCallBackSourceType(NotifySourceType fn, void* userData) override;
    void registerCallBackPlayerState(NotifyPlayerState fn, void* userData) override;
    void registerCallBackStreamEncrypted(NotifyStreamEncrypted fn, void* userData) override;
    void registerCallBackVideoInfoHDRType(NotifyVideoInfoHDRType fn, void* userData) override;
    void registerCallBackVideoGameMode(NotifyVideoGameMode fn, void* userData) override;

    bool getAIPQSwitchAvailable() override;
    bool getAIPQSwitchState() override;
    bool getAIPQAvailable() override;
    SourceType getSourceType() override;
    PlayerState getPlayerState() override;
    bool getMediaStreamEncrypted() override;
    bool getTvStreamEncrypted() override;
    VideoInfoHDRType getVideoInfoHDRType() override;
    VideoGameMode getVideoGameMode() override;
    bool getAIPQSupported() override;

    // Clears the callbacks, except for that of the game mode.
    void setNotifyValue();
    // Connect and disconnect the six accessors that are connected at construction: source path, video format,
    // media stream, HDR type, game mode, AIPQ supported.
    void connect();
    void disconnect();

    // Convert the television's texts and numbers. Any thread.
    SourceType str2SourceType(std::string text);
    VideoInfoHDRType str2VideoInfoHDRType(std::string text);
    PlayerState str2PlayerState(std::string text);
    VideoGameMode int2VideoGameMode(int number);
    // Reads the encryption flag from the TV service's play attributes: the lowest bit of the number in
    // element 8. Returns false if there is no such element, or if it has no number that fits 32 bits;
    // `encrypted` is then unchanged.
    bool parserTvStreamEncrypte(bool& encrypted, std::vector<std::string>& attributes);

    // The accessors call these with each change, on the model's thread.
    void onAIPQSwitchAvailableChanged(const ValueObject& value);
    void onAIPQSwitchStateChanged(const ValueObject& value);
    void onAIPQAvailableChanged(const ValueObject& value);
    void onSourceTypeChanged(const ValueObject& value);
    void onVideoFormatInfoChanged(const ValueObject& value);
    void onMediaStreamEncryptedModeChanged(const ValueObject& value);
    void onTVServiceEncryptedModeChanged(const ValueObject& value);
    void onVideoInfoHDRTypeChanged(const ValueObject& value);
    void onVideoGameModeChanged(const ValueObject& value);

  private:
    PLATFORM_ADAPTATION_LOCAL std::array<ValueAccessBase*, 6> connectedAccessors() const;
    PLATFORM_ADAPTATION_LOCAL void notifyAIPQ(AIPQMode mode, const ValueObject& value, const char* function);

    // The pairs are shared between threads without a lock, by design. The pair of the game mode is
    // initialised to null here, because setNotifyValue() does not clear it.
    NotifyAIPQ m_notifyAIPQ;
    void* m_userDataAIPQ;
    NotifySourceType m_notifySourceType;
    void* m_userDataSourceType;
    NotifyPlayerState m_notifyPlayerState;
    void* m_userDataPlayerState;
    NotifyStreamEncrypted m_notifyStreamEncrypted;
    void* m_userDataStreamEncrypted;
    NotifyVideoInfoHDRType m_notifyVideoInfoHDRType;
    void* m_userDataVideoInfoHDRType;
    NotifyVideoGameMode m_notifyVideoGameMode = nullptr;
    void* m_userDataVideoGameMode = nullptr;

    std::shared_ptr<IntegerAccess> m_aipqSwitch;
    std::shared_ptr<IntegerAccess> m_aipqUserSwitchOSD;
    std::shared_ptr<IntegerAccess> m_aipqAvailable;
    std::shared_ptr<StringAccess> m_sourcePath;
    std::shared_ptr<StringAccess> m_videoFormatInfo;
    std::shared_ptr<IntegerAccess> m_mediaStreamEncrypted;
    std::shared_ptr<StringsAccess> m_tvServicePlay;
    std::shared_ptr<StringAccess> m_hdrType;
    std::shared_ptr<IntegerAccess> m_gameMode;
    std::shared_ptr<IntegerAccess> m_aipqSupported;
};

#endif
