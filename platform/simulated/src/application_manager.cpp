#include "simulated/application_manager.h"

#include <boost/shared_ptr.hpp>
#include <condition_variable>
#include <deque>
#include <map>
#include <thread>

#include "current_call.h"
#include "deliver.h"
#include "other_television.h"
#include "record.h"
#include "simulated/television.h"
#include "zt/apmclient/app_manager_client.h"

using zt::appmanager::AppInterface;

namespace simulated {

namespace {

constexpr int STATUS_UNKNOWN_APPLICATION = 1;

}  // namespace

int deliver(AppInterface& app, Lifecycle notification, const std::string& url, const std::string& text,
            int number) {
    switch (notification) {
        case Lifecycle::RUNNING:
            return app.onRunning(url, text);
        case Lifecycle::SUSPEND:
            return app.onSuspend(url, text);
        case Lifecycle::SUSPEND_EX:
            return app.onSuspendEx(url, text);
        case Lifecycle::RESUME:
            return app.onResume(url, text);
        case Lifecycle::RESUME_EX:
            return app.onResumeEx(url, text);
        case Lifecycle::STR_SUSPENDING:
            return app.onSTRSuspending(url, number);
        case Lifecycle::STR_SUSPEND:
            return app.onSTRSuspend(url, number);
        case Lifecycle::STR_RESUME:
            return app.onSTRResume(url, number);
        case Lifecycle::STR_RESUMING:
            return app.onSTRResuming(url, number);
        case Lifecycle::DESTROY:
            return app.onDestroy(url);
        case Lifecycle::GET_FOCUS:
            return app.onGetFocus(url);
        case Lifecycle::LOST_FOCUS:
            return app.onLostFocus(url);
        case Lifecycle::RESOURCE_READY:
            return app.onResourceReady(url, number);
        case Lifecycle::RELEASE_RESOURCE:
            return app.onReleaseResource(url, number);
        case Lifecycle::UI_STATUS:
            return app.onUIAppStatusNotify(url, number);
        case Lifecycle::EVENT_MESSAGE:
            return app.notifyAppEventMessage(text);
        case Lifecycle::KEY_EVENT:
            return app.onKeyEvent(number, 0);
    }
    return 0;
}

class ApplicationManager::Implementation final : public zt::apmclient::AppManagerClient {
  public:
    struct Notification {
        std::string name;
        Lifecycle notification;
        std::string url;
        std::string text;
        int number;
    };

    explicit Implementation(Events& events) : m_events(events), m_thread([this] { run(); }) {}

    ~Implementation() {
        {
            const std::lock_guard lock(m_mutex);
            m_ending = true;
        }
        m_changed.notify_all();
        m_thread.join();
    }

    int registerApp(const std::string& name, const boost::shared_ptr<AppInterface>& app) override {
        const std::lock_guard lock(m_mutex);
        if (m_refusal != 0) return m_refusal;
        m_apps[name] = app;
        m_events.publish(ApplicationRegistered{name});
        return 0;
    }

    int unregisterApp(const std::string& name) override {
        std::unique_lock lock(m_mutex);
        if (m_apps.erase(name) == 0) return STATUS_UNKNOWN_APPLICATION;
        m_call.waitUntilLeft(name, lock);
        return 0;
    }

    int reportStatus(const std::string& name, int status) override {
        const std::lock_guard lock(m_mutex);
        record(m_reports, Report{name, status});
        m_events.publish(ApplicationReported{name, status});
        return m_apps.count(name) != 0 ? 0 : STATUS_UNKNOWN_APPLICATION;
    }

    void enqueue(Notification notification) {
        const std::lock_guard lock(m_mutex);
        m_waiting.push_back(std::move(notification));
        m_changed.notify_all();
    }

    bool settle(std::chrono::milliseconds limit) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, limit, [this] { return m_waiting.empty() && !m_call.isRunning(); });
    }

    Events& m_events;
    mutable std::mutex m_mutex;
    bool m_reachable = true;
    int m_refusal = 0;
    std::map<std::string, boost::shared_ptr<AppInterface>> m_apps;
    std::deque<Report> m_reports;
    std::deque<int> m_answers;
    std::deque<Notification> m_waiting;

  private:
    // The client thread.
    void run() {
        std::unique_lock lock(m_mutex);
        while (!m_ending) {
            if (m_waiting.empty()) {
                m_changed.wait(lock);
                continue;
            }
            const Notification next = std::move(m_waiting.front());
            m_waiting.pop_front();
            const auto found = m_apps.find(next.name);
            if (found != m_apps.end()) {
                const boost::shared_ptr<AppInterface> app = found->second;
                int answer = 0;
                m_call.run(next.name, lock, [&] {
                    answer = deliver(*app, next.notification, next.url, next.text, next.number);
                });
                record(m_answers, answer);
            }
            m_changed.notify_all();
        }
    }

    std::condition_variable m_changed;
    CurrentCall<std::string> m_call{m_changed};
    bool m_ending = false;
    std::thread m_thread;  // last: it uses all of the above
};

ApplicationManager::ApplicationManager(Events& events)
    : m_implementation(std::make_unique<Implementation>(events)) {}

ApplicationManager::~ApplicationManager() = default;

void ApplicationManager::setReachable(bool reachable) {
    const std::lock_guard lock(m_implementation->m_mutex);
    m_implementation->m_reachable = reachable;
}

void ApplicationManager::refuseRegistrations(int status) {
    const std::lock_guard lock(m_implementation->m_mutex);
    m_implementation->m_refusal = status;
}

bool ApplicationManager::reachable() const {
    const std::lock_guard lock(m_implementation->m_mutex);
    return m_implementation->m_reachable;
}

int ApplicationManager::refusal() const {
    const std::lock_guard lock(m_implementation->m_mutex);
    return m_implementation->m_refusal;
}

void ApplicationManager::notify(Lifecycle notification, const std::string& appUrl, const std::string& text,
                                int number) {
    m_implementation->m_events.publish(Notify{{}, notification, appUrl, text, number});
    for (const std::string& name : applications())
        m_implementation->enqueue({name, notification, appUrl, text, number});
}

void ApplicationManager::notifyOne(const std::string& name, Lifecycle notification, const std::string& appUrl,
                                   const std::string& text, int number) {
    m_implementation->m_events.publish(Notify{name, notification, appUrl, text, number});
    m_implementation->enqueue({name, notification, appUrl, text, number});
}

bool ApplicationManager::settle(std::chrono::milliseconds limit) { return m_implementation->settle(limit); }

std::vector<std::string> ApplicationManager::applications() const {
    const std::lock_guard lock(m_implementation->m_mutex);
    std::vector<std::string> names;
    for (const auto& [name, app] : m_implementation->m_apps) names.push_back(name);
    return names;
}

std::vector<ApplicationManager::Report> ApplicationManager::reports() const {
    const std::lock_guard lock(m_implementation->m_mutex);
    return {m_implementation->m_reports.begin(), m_implementation->m_reports.end()};
}

std::vector<int> ApplicationManager::answers() const {
    const std::lock_guard lock(m_implementation->m_mutex);
    return {m_implementation->m_answers.begin(), m_implementation->m_answers.end()};
}

void ApplicationManager::reset() {
    const std::lock_guard lock(m_implementation->m_mutex);
    m_implementation->m_reachable = true;
    m_implementation->m_refusal = 0;
    m_implementation->m_waiting.clear();
    m_implementation->m_reports.clear();
    m_implementation->m_answers.clear();
}

zt::apmclient::AppManagerClient* ApplicationManager::client() {
    const std::lock_guard lock(m_implementation->m_mutex);
    return m_implementation->m_reachable ? m_implementation.get() : nullptr;
}

}  // namespace simulated

zt::apmclient::AppManagerClient* zt::apmclient::AppManagerClient::getInstance() {
    if (simulated::OtherTelevision* const other = simulated::otherTelevision()) return other->applications();
    return simulated::Television::instance().applications().client();
}
