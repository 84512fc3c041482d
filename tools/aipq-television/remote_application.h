#ifndef AIPQ_TELEVISION_REMOTE_APPLICATION_H
#define AIPQ_TELEVISION_REMOTE_APPLICATION_H

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "signal_sender.h"
#include "simulated/lifecycle.h"
#include "zt/appmanager/app_interface.h"

namespace television {

// An application of a client. Forwards the application manager's notifications and waits for the replies.
class RemoteApplication final : public zt::appmanager::AppInterface {
  public:
    RemoteApplication(std::shared_ptr<SignalSender> sender, std::string name);

    // Cancels a wait for a reply, and all later waits.
    void leave();

    // Receives the client's reply to the notification with this ticket.
    void answer(std::uint32_t ticket, int answer);

    int onRunning(const std::string& url, const std::string& param) override;
    int onDestroy(const std::string& url) override;
    int onSuspend(const std::string& url, const std::string& param) override;
    int onSuspendEx(const std::string& url, const std::string& param) override;
    int onResume(const std::string& url, const std::string& param) override;
    int onResumeEx(const std::string& url, const std::string& param) override;
    int onSTRSuspending(const std::string& url, int reason) override;
    int onSTRSuspend(const std::string& url, int reason) override;
    int onSTRResume(const std::string& url, int reason) override;
    int onSTRResuming(const std::string& url, int reason) override;
    int onGetFocus(const std::string& url) override;
    int onLostFocus(const std::string& url) override;
    int onResourceReady(const std::string& url, int resource) override;
    int onReleaseResource(const std::string& url, int resource) override;
    int onUIAppStatusNotify(const std::string& url, int status) override;
    int notifyAppEventMessage(const std::string& message) override;
    int onKeyEvent(int key, int action) override;
    std::string getName() override { return m_name; }

  private:
    // Returns the reply, or -1 without a reply.
    int notify(simulated::Lifecycle notification, const std::string& url,
               const std::string& text = std::string(), int number = 0);

    const std::shared_ptr<SignalSender> m_sender;  // a notification may use it after the session
    const std::string m_name;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::uint32_t m_ticket = 0;
    std::optional<int> m_answer;
    bool m_left = false;
};

}  // namespace television

#endif
