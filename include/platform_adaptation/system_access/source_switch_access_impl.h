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
    // The instance of this process, created by the first call and never destroyed. Make further calls after
    // the first has returned: two first calls at the same time may each create an instance.
    static SourceSwitchAccessImpl* GetInstance();

    // Throws std::runtime_error if a condition variable or mutex cannot be created.
    SourceSwitchAccessImpl();
    // Destroy it only when no thread waits for an answer.
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

    // Stops or restarts the playback of these resources of digital television.
    bool changeDTVPlaybackStatus(_ResourceType type);

    // The connected action, which this object owns; null if it cannot be connected. The first successful call
    // connects the action `name` (in up to a second). Later calls return that action whatever their name is,
    // and do not connect it again if it was disconnected.
    ActionAccess* connectToValue(std::string name);

    // Blocks until the answer to this invocation arrives and consumes it. Returns true for a result, and for
    // an error of 0. Throws std::runtime_error if the wait itself fails.
    bool waitForResult(unsigned int actionId);

    // Store an answer and wake every waiting request, on the model's thread. An answer that no thread waits
    // for is kept for a later waitForResult(). Of two answers to one invocation, the first is kept. Throw
    // std::runtime_error or std::bad_alloc if that fails; the request whose answer is lost stays blocked.
    void onActionResult(int actionId, const ValueObject& result);
    void onActionFailed(int actionId, int error);

  private:
    struct Parameter;

    PLATFORM_ADAPTATION_LOCAL bool request(ActionAccess* action, const char* command,
                                           std::initializer_list<Parameter> parameters, const char* function);
    PLATFORM_ADAPTATION_LOCAL bool requestResource(const char* command, _ResourceType type,
                                                   const char* function);
    PLATFORM_ADAPTATION_LOCAL bool requestStep(const char* direction, const char* function);
    PLATFORM_ADAPTATION_LOCAL bool tune(ActionAccess* action, const std::string& channel,
                                        const std::string& folder, bool forceShowAV, const char* function);
    PLATFORM_ADAPTATION_LOCAL void takeAnswer(unsigned int actionId, int code);
    PLATFORM_ADAPTATION_LOCAL _ResourceType runningResources() const;

    // Shared between threads without a lock, by design; the mutex guards the results only.
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
