// The lifecycle of the service and the television's power state.
#ifndef PLATFORM_ADAPTATION_SYSTEM_STATE_H
#define PLATFORM_ADAPTATION_SYSTEM_STATE_H

#include <boost/shared_ptr.hpp>
#include <string>

#include "platform_adaptation/export.h"
#include "zt/appmanager/app_interface.h"

namespace zt {
namespace apmclient {
class AppManagerClient;
}
}  // namespace zt

// STR is suspend to RAM.
enum TVPowerState {
    TV_POWER_STATE_RUNNING = 1,
    TV_POWER_STATE_SUSPEND = 2,
    TV_POWER_STATE_SUSPEND_EX = 3,
    TV_POWER_STATE_RESUME = 4,
    TV_POWER_STATE_RESUME_EX = 5,
    TV_POWER_STATE_STR_SUSPENDING = 6,
    TV_POWER_STATE_STR_SUSPEND = 7,
    TV_POWER_STATE_STR_RESUME = 8,
    TV_POWER_STATE_STR_RESUMING = 9,
};

class PLATFORM_ADAPTATION_API SystemStateInterface {
  public:
    using NotifyTVPowerState = void (*)(TVPowerState state, void* userData);

    virtual ~SystemStateInterface() = default;

    // Replaces the callback, null for none; `userData` is passed to each call. Takes effect with the next
    // change. Any thread. If a change arrives at that moment, the previous function may be called with the
    // new `userData`. The callback runs on the application manager's client thread; the next notification
    // waits until it returns.
    virtual void registerCallBackTVPowerState(NotifyTVPowerState fn, void* userData) = 0;
};

// Registers the service with the application manager under a name, and reports the television's power state.
// The object may be on the stack, on the heap or in a shared pointer.
class PLATFORM_ADAPTATION_API SystemState : public zt::appmanager::AppInterface, public SystemStateInterface {
  public:
    // Registers the service. The application manager is looked up here and never again: without one, the
    // object stays unregistered. A null `name` throws std::logic_error, as std::string does.
    explicit SystemState(const char* name);
    // Unregisters the service: no notification arrives after it has returned. Do not destroy the object
    // inside its own callback.
    ~SystemState() override;

    SystemState(const SystemState&) = delete;
    SystemState& operator=(const SystemState&) = delete;

    // The application manager calls these, on its client thread. All return 0. Those with a power state call
    // the callback; onSTRSuspend also reports to the application manager, before and after.
    int onRunning(const std::string& appUrl, const std::string& param) override;
    int onDestroy(const std::string& appUrl) override;
    int onSuspend(const std::string& appUrl, const std::string& param) override;
    int onSuspendEx(const std::string& appUrl, const std::string& param) override;
    int onResume(const std::string& appUrl, const std::string& param) override;
    int onResumeEx(const std::string& appUrl, const std::string& param) override;
    int onSTRSuspending(const std::string& appUrl, zt::appmanager::APMSuspendReason_t reason) override;
    int onSTRSuspend(const std::string& appUrl, zt::appmanager::APMSuspendReason_t reason) override;
    int onSTRResume(const std::string& appUrl, zt::appmanager::APMResumeReason_t reason) override;
    int onSTRResuming(const std::string& appUrl, zt::appmanager::APMResumeReason_t reason) override;
    int onGetFocus(const std::string& appUrl) override;
    int onLostFocus(const std::string& appUrl) override;
    int onResourceReady(const std::string& appUrl, int resource) override;
    int onReleaseResource(const std::string& appUrl, int resource) override;
    int onUIAppStatusNotify(const std::string& appUrl, int status) override;
    int notifyAppEventMessage(const std::string& message) override;
    int onKeyEvent(int key, int action) override;

    // The name under which the service is registered. Any thread.
    std::string getName() override;

    void registerCallBackTVPowerState(NotifyTVPowerState fn, void* userData) override;

    // Register and unregister; the constructor and the destructor call these. Return false if there was no
    // application manager at construction. A refusal by the application manager is not reported.
    bool registerApp();
    bool unRegisterApp();

    // Calls the callback, if there is one, on the caller's thread.
    void notifyTVPowerState(TVPowerState state);

  private:
    PLATFORM_ADAPTATION_LOCAL int report(TVPowerState state, const std::string& appUrl,
                                         const std::string& param, const char* function);

    // The application manager holds a copy, which does not own the object.
    boost::shared_ptr<zt::appmanager::AppInterface> m_self;
    // Shared between threads without a lock, by design.
    NotifyTVPowerState m_notifyTVPowerState;
    void* m_userData;
    std::string m_name;
    zt::apmclient::AppManagerClient* m_client;
};

#endif
