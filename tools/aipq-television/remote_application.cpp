#include "remote_application.h"

#include <atomic>
#include <chrono>
#include <utility>

using simulated::Lifecycle;

namespace television {

namespace {

// The time that the application manager waits for one application of another process.
constexpr auto ANSWER_LIMIT = std::chrono::seconds(5);

}  // namespace

RemoteApplication::RemoteApplication(std::shared_ptr<SignalSender> sender, std::string name)
    : m_sender(std::move(sender)), m_name(std::move(name)) {}

void RemoteApplication::leave() {
    const std::lock_guard lock(m_mutex);
    m_left = true;
    m_changed.notify_all();
}

void RemoteApplication::answer(std::uint32_t ticket, int answer) {
    const std::lock_guard lock(m_mutex);
    if (ticket != m_ticket) return;
    m_answer = answer;
    m_changed.notify_all();
}

int RemoteApplication::onRunning(const std::string& url, const std::string& param) {
    return notify(Lifecycle::RUNNING, url, param);
}
int RemoteApplication::onDestroy(const std::string& url) { return notify(Lifecycle::DESTROY, url); }
int RemoteApplication::onSuspend(const std::string& url, const std::string& param) {
    return notify(Lifecycle::SUSPEND, url, param);
}
int RemoteApplication::onSuspendEx(const std::string& url, const std::string& param) {
    return notify(Lifecycle::SUSPEND_EX, url, param);
}
int RemoteApplication::onResume(const std::string& url, const std::string& param) {
    return notify(Lifecycle::RESUME, url, param);
}
int RemoteApplication::onResumeEx(const std::string& url, const std::string& param) {
    return notify(Lifecycle::RESUME_EX, url, param);
}
int RemoteApplication::onSTRSuspending(const std::string& url, int reason) {
    return notify(Lifecycle::STR_SUSPENDING, url, "", reason);
}
int RemoteApplication::onSTRSuspend(const std::string& url, int reason) {
    return notify(Lifecycle::STR_SUSPEND, url, "", reason);
}
int RemoteApplication::onSTRResume(const std::string& url, int reason) {
    return notify(Lifecycle::STR_RESUME, url, "", reason);
}
int RemoteApplication::onSTRResuming(const std::string& url, int reason) {
    return notify(Lifecycle::STR_RESUMING, url, "", reason);
}
int RemoteApplication::onGetFocus(const std::string& url) { return notify(Lifecycle::GET_FOCUS, url); }
int RemoteApplication::onLostFocus(const std::string& url) { return notify(Lifecycle::LOST_FOCUS, url); }
int RemoteApplication::onResourceReady(const std::string& url, int resource) {
    return notify(Lifecycle::RESOURCE_READY, url, "", resource);
}
int RemoteApplication::onReleaseResource(const std::string& url, int resource) {
    return notify(Lifecycle::RELEASE_RESOURCE, url, "", resource);
}
int RemoteApplication::onUIAppStatusNotify(const std::string& url, int status) {
    return notify(Lifecycle::UI_STATUS, url, "", status);
}
int RemoteApplication::notifyAppEventMessage(const std::string& message) {
    return notify(Lifecycle::EVENT_MESSAGE, "", message);
}
int RemoteApplication::onKeyEvent(int key, int /*action*/) {
    return notify(Lifecycle::KEY_EVENT, "", "", key);
}

int RemoteApplication::notify(Lifecycle notification, const std::string& url, const std::string& text,
                              int number) {
    std::unique_lock lock(m_mutex);
    m_answer.reset();
    static std::atomic<std::uint32_t> lastTicket{0};
    const std::uint32_t ticket = m_ticket = ++lastTicket;
    m_sender->send("Lifecycle", m_name, ticket, static_cast<std::uint32_t>(notification), url, text,
                   std::int32_t{number});
    m_changed.wait_for(lock, ANSWER_LIMIT, [this] { return m_left || m_answer; });
    return m_answer.value_or(-1);
}

}  // namespace television
