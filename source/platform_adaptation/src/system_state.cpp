#include "platform_adaptation/system_state.h"

#include "shared_member.h"
#include "zt/apmclient/app_manager_client.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

using zt::apmclient::AppManagerClient;
using zt::appmanager::APMResumeReason_t;
using zt::appmanager::APMSuspendReason_t;
using zt::appmanager::AppInterface;

namespace {

// Not read; it exists as soon as the library is loaded.
[[gnu::used]] const std::string factoryName = "QelFactory";

// Reported to the application manager before and after the callback of a suspend to RAM.
constexpr int STATUS_STR_SUSPEND_BEGUN = 7;
constexpr int STATUS_STR_SUSPEND_DONE = 8;

}  // namespace

SystemState::SystemState(const char* name)
    : m_notifyTVPowerState(nullptr), m_userData(nullptr), m_name(name), m_client(nullptr) {
    // The application manager shares the pointer, but does not own the object.
    m_self.reset(static_cast<AppInterface*>(this), [](AppInterface*) {});
    m_client = AppManagerClient::getInstance();
    registerApp();
}

SystemState::~SystemState() { unRegisterApp(); }

bool SystemState::registerApp() {
    LOG_ENTER();
    if (m_client == nullptr) {
        LOG_ERROR("Failed to get an instance of AppManagerClient.\n");
        return false;
    }
    m_client->registerApp(m_name, m_self);
    return true;
}

bool SystemState::unRegisterApp() {
    LOG_ENTER();
    if (m_client == nullptr) {
        LOG_ERROR("Failed to get an instance of AppManagerClient.\n");
        return false;
    }
    m_client->unregisterApp(m_name);
    return true;
}

void SystemState::registerCallBackTVPowerState(NotifyTVPowerState fn, void* userData) {
    LOG_ENTER();
    storeCallBack(m_notifyTVPowerState, fn, m_userData, userData);
}

void SystemState::notifyTVPowerState(TVPowerState state) {
    LOG_INFO("tvPowerState: %d.\n", state);
    if (!callBack(m_notifyTVPowerState, m_userData, state)) LOG_ERROR("m_notifyTVPowerState is NULL.\n");
}

std::string SystemState::getName() { return m_name; }

int SystemState::report(TVPowerState state, const std::string& appUrl, const std::string& param,
                        const char* function) {
    LOG_ENTER_AS(function);
    LOG_INFO_AS(function, "app_url: %s, param: %s.\n", appUrl.c_str(), param.c_str());
    notifyTVPowerState(state);
    return 0;
}

int SystemState::onRunning(const std::string& appUrl, const std::string& param) {
    return report(TV_POWER_STATE_RUNNING, appUrl, param, __func__);
}

int SystemState::onSuspend(const std::string& appUrl, const std::string& param) {
    return report(TV_POWER_STATE_SUSPEND, appUrl, param, __func__);
}

int SystemState::onSuspendEx(const std::string& appUrl, const std::string& param) {
    return report(TV_POWER_STATE_SUSPEND_EX, appUrl, param, __func__);
}

int SystemState::onResume(const std::string& appUrl, const std::string& param) {
    return report(TV_POWER_STATE_RESUME, appUrl, param, __func__);
}

int SystemState::onResumeEx(const std::string& appUrl, const std::string& param) {
    return report(TV_POWER_STATE_RESUME_EX, appUrl, param, __func__);
}

int SystemState::onSTRSuspending(const std::string& appUrl, APMSuspendReason_t reason) {
    LOG_INFO("app_url: %s, suspendReason: %d.\n", appUrl.c_str(), reason);
    notifyTVPowerState(TV_POWER_STATE_STR_SUSPENDING);
    return 0;
}

int SystemState::onSTRSuspend(const std::string& appUrl, APMSuspendReason_t reason) {
    LOG_INFO("app_url: %s, suspendReason: %d.\n", appUrl.c_str(), reason);
    if (m_client != nullptr) m_client->reportStatus(m_name, STATUS_STR_SUSPEND_BEGUN);
    notifyTVPowerState(TV_POWER_STATE_STR_SUSPEND);
    if (m_client != nullptr) m_client->reportStatus(m_name, STATUS_STR_SUSPEND_DONE);
    return 0;
}

int SystemState::onSTRResume(const std::string& appUrl, APMResumeReason_t reason) {
    LOG_INFO("app_url: %s, resumeReason: %d.\n", appUrl.c_str(), reason);
    notifyTVPowerState(TV_POWER_STATE_STR_RESUME);
    return 0;
}

int SystemState::onSTRResuming(const std::string& appUrl, APMResumeReason_t reason) {
    LOG_INFO("app_url: %s, resumeReason: %d.\n", appUrl.c_str(), reason);
    notifyTVPowerState(TV_POWER_STATE_STR_RESUMING);
    return 0;
}

int SystemState::onGetFocus(const std::string&) { return 0; }
int SystemState::onLostFocus(const std::string&) { return 0; }
int SystemState::onResourceReady(const std::string&, int) { return 0; }
int SystemState::onReleaseResource(const std::string&, int) { return 0; }
int SystemState::onKeyEvent(int, int) { return 0; }
int SystemState::onDestroy(const std::string&) { return 0; }
int SystemState::onUIAppStatusNotify(const std::string&, int) { return 0; }
int SystemState::notifyAppEventMessage(const std::string&) { return 0; }
