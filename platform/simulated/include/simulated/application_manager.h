#ifndef SIMULATED_APPLICATION_MANAGER_H
#define SIMULATED_APPLICATION_MANAGER_H

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "simulated/events.h"
#include "simulated/lifecycle.h"

namespace zt {
namespace apmclient {
class AppManagerClient;
}
}  // namespace zt

namespace simulated {

// The application manager. It delivers notifications one at a time, in order, on its own client thread.
class ApplicationManager {
  public:
    struct Report {
        std::string name;
        int status;
    };

    explicit ApplicationManager(Events& events);
    ~ApplicationManager();
    ApplicationManager(const ApplicationManager&) = delete;
    ApplicationManager& operator=(const ApplicationManager&) = delete;

    // Sets whether clients can reach the application manager; the default is true.
    void setReachable(bool reachable);
    // Refuses registrations with `status`; 0 accepts them.
    void refuseRegistrations(int status);
    bool reachable() const;
    int refusal() const;

    // Notifies every registered application, or the one of this name. `text` is the parameter or the message,
    // `number` the reason, resource, status or key.
    void notify(Lifecycle notification, const std::string& appUrl, const std::string& text = std::string(),
                int number = 0);
    void notifyOne(const std::string& name, Lifecycle notification, const std::string& appUrl,
                   const std::string& text = std::string(), int number = 0);

    // Waits until every notification has been delivered. Returns false after `limit`. Do not call it in a
    // notification.
    bool settle(std::chrono::milliseconds limit = std::chrono::seconds(30));

    // The applications that are registered now. Reports and answers to notifications are those since the last
    // reset, at most the newest RECORDED of each.
    std::vector<std::string> applications() const;
    std::vector<Report> reports() const;
    std::vector<int> answers() const;

    // Makes the application manager reachable, clears the records and drops waiting notifications.
    // Registrations stay.
    void reset();

    // The client interface; null if the application manager is not reachable.
    zt::apmclient::AppManagerClient* client();

  private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

}  // namespace simulated

#endif
