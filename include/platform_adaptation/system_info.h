// The television's state, read-only, as the AI picture-quality service needs it.
#ifndef PLATFORM_ADAPTATION_SYSTEM_INFO_H
#define PLATFORM_ADAPTATION_SYSTEM_INFO_H

#include <memory>
#include <string>
#include <vector>

#include "lomodelapi/observer.h"
#include "platform_adaptation/export.h"
#include "platform_adaptation/system_access/value_access.h"

// What an AIPQ callback tells about.
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

// The model's own numbers.
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

    // Each replaces the callback of its kind, null for none; `userData` is handed back with each call. Takes
    // effect with the next change. Any thread. A callback runs on the model's thread, which tells nobody
    // anything else meanwhile.
    virtual void registerCallBackAIPQ(NotifyAIPQ fn, void* userData) = 0;
    virtual void registerCallBackSourceType(NotifySourceType fn, void* userData) = 0;
    virtual void registerCallBackPlayerState(NotifyPlayerState fn, void* userData) = 0;
    virtual void registerCallBackStreamEncrypted(NotifyStreamEncrypted fn, void* userData) = 0;
    virtual void registerCallBackVideoInfoHDRType(NotifyVideoInfoHDRType fn, void* userData) = 0;
    virtual void registerCallBackVideoGameMode(NotifyVideoGameMode fn, void* userData) = 0;

    // Each reads the television now, on the caller's thread; if the key is not connected yet, that may take
    // as long as connecting does. On failure false, or the enumeration's 0.
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

    // Connects to the television; what cannot be connected yet is tried again by the getters. Changes of the
    // AIPQ switches and of the TV service's stream are told only once their getter has been called.
    SystemInfo();
    // With accessors made elsewhere, which keep the handlers that they have.
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

    // Forgets the callbacks, but for that of the game mode.
    void setNotifyValue();
    // The six accessors that are connected from the beginning: source path, video format, media stream, HDR
    // type, game mode, AIPQ supported.
    void connect();
    void disconnect();

    // What the television's texts and numbers mean. Any thread.
    SourceType str2SourceType(std::string text);
    VideoInfoHDRType str2VideoInfoHDRType(std::string text);
    PlayerState str2PlayerState(std::string text);
    VideoGameMode int2VideoGameMode(int number);
    // The encryption flag in the TV service's play attributes: the lowest bit of the number in element 8.
    // False if there is no such element or no number in it that fits 32 bits; `encrypted` is then as it was.
    bool parserTvStreamEncrypte(bool& encrypted, std::vector<std::string>& attributes);

    // What the accessors call with each change, on the model's thread.
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
    PLATFORM_ADAPTATION_LOCAL void tellAIPQ(AIPQMode mode, const ValueObject& value, const char* function);

    // The pairs are shared between threads without a lock, by design. That of the game mode is null here
    // because setNotifyValue() leaves it alone.
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
