// Source switching by the model's action "dovra.sl2.action.source.switch".
#ifndef PLATFORM_ADAPTATION_SYSTEM_ACCESS_SOURCE_SWITCH_ACCESS_IMPL_H
#define PLATFORM_ADAPTATION_SYSTEM_ACCESS_SOURCE_SWITCH_ACCESS_IMPL_H

#include <initializer_list>
#include <map>
#include <memory>
#include <string>

#include "platform_adaptation/export.h"
#include "platform_adaptation/system_access/action_access.h"
#include "platform_adaptation/system_access/source_switch_access.h"
#include "platform_adaptation/system_access/synchronization.h"
#include "platform_adaptation/system_access/value_access.h"

class PLATFORM_ADAPTATION_API SourceSwitchAccessImpl : public SourceSwitchAccess {
  public:
    // The one of this process, made on the first call and never destroyed. The first call must have returned
    // before others are made.
    static SourceSwitchAccessImpl* GetInstance();

    // Throws std::runtime_error if the system has no condition variable or mutex left.
    SourceSwitchAccessImpl();
    // Nobody may be waiting for an answer any more.
    ~SourceSwitchAccessImpl() override;

    SourceSwitchAccessImpl(const SourceSwitchAccessImpl&) = delete;
    SourceSwitchAccessImpl& operator=(const SourceSwitchAccessImpl&) = delete;

    bool requestResourceFromSystem(_ResourceType type) override;
    bool releaseResourceToSystem(_ResourceType type) override;
    bool pauseVideo() override;
    bool pausePSI() override;
    bool pauseAV() override;
    bool pausePSIAV() override;
    bool resumeVideo() override;
    bool resumePSI() override;
    bool resumeAV() override;
    bool resumePSIAV() override;
    int setQuietFlag(int flag) override;
    bool setChannelByUUIDs(std::string channelUUID, std::string folderUUID, bool forceShowAV) override;
    bool setChannelByURI(std::string uri, bool forceShowAV) override;
    bool setChannelNext() override;
    bool setChannelPrev() override;

    // Stops or restarts digital television's playback of these resources.
    bool changeDTVPlaybackStatus(_ResourceType type);

    // The connected action, connecting it if need be (about a second); null if it cannot be. Owned by this
    // object.
    ActionAccess* connectToValue(std::string name);

    // Blocks until the answer to this invocation is there; true if it was success. Throws std::runtime_error
    // if the wait itself fails.
    bool waitForResult(unsigned int actionId);

    // Take an answer and wake all who wait, on the model's thread. Throw std::runtime_error if that fails.
    void onActionResult(int actionId, const ValueObject& result);
    void onActionFailed(int actionId, int error);

  private:
    struct Parameter;

    PLATFORM_ADAPTATION_LOCAL bool request(ActionAccess* action, std::initializer_list<Parameter> parameters,
                                           const char* function);
    PLATFORM_ADAPTATION_LOCAL bool requestResource(const char* command, _ResourceType type,
                                                   const char* function);
    PLATFORM_ADAPTATION_LOCAL bool requestStep(const char* direction, const char* function);
    PLATFORM_ADAPTATION_LOCAL void takeAnswer(unsigned int actionId, int code);
    PLATFORM_ADAPTATION_LOCAL _ResourceType runningResources() const;

    // Shared between threads without a lock, by design, but for the results, which the mutex guards.
    ActionAccess* m_actionAccess;
    ValueAccessT<lomodelapi::ObserverNumericInteger>* m_quietFlagAccess;
    std::shared_ptr<ActionHandler> m_actionHandler;
    std::map<unsigned int, int> m_actionResults;
    ConditionVariable m_resultCond;
    Mutex m_resultMutex;
    bool m_avRunning;
    bool m_videoRunning;
    bool m_psiRunning;
};

#endif
