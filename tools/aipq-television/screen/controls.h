// The part of the page that reads and changes the television.
#ifndef TELEVISION_CONTROLS_H
#define TELEVISION_CONTROLS_H

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulated/television.h"

namespace television {

// The television cannot fulfil a request; nothing has changed. The text is shown to the user.
struct Refusal : std::runtime_error {
    Refusal(int httpStatus, const std::string& text) : std::runtime_error(text), status(httpStatus) {}
    int status;
};

// A value as JSON for the page. Large numbers become texts, because JavaScript numbers hold only 53 bits.
nlohmann::json toJson(const simulated::Value& value);

// Returns a member of a request. Both throw Refusal.
std::string textMember(const nlohmann::json& request, const char* name);
bool flagMember(const nlohmann::json& request, const char* name);

// All operations are callable from any thread. Those that change something throw Refusal. They return a
// message for the user, or an empty text; the log reports the change itself.
class Controls {
  public:
    explicit Controls(simulated::Television& television);

    // Returns the keys with their values, and the definitions of faults and power states.
    nlohmann::json state() const;
    // Returns the state other than values: channels, video, faults, applications.
    nlohmann::json status() const;

    // {"key", "value"}
    std::string setValue(const nlohmann::json& request);
    // {"channel": "+1" | "-1" | NUMBER} or {"playing": BOOLEAN}
    std::string press(const nlohmann::json& request);
    // {"power": NAME}
    std::string changePower(const nlohmann::json& request);
    // {"fault", "value", and "key" for a fault of a key}
    std::string setFault(const nlohmann::json& request);
    // {}
    std::string clearFaults(const nlohmann::json& request);
    // {"on": BOOLEAN}
    std::string switchVideo(const nlohmann::json& request);
    // {"film": PATH}, or "" for generated scenes. If the film cannot be shown, the current picture stays.
    std::string showFilm(const nlohmann::json& request);
    // {}
    std::string reset(const nlohmann::json& request);

  private:
    std::vector<simulated::KeyDefinition> keysInOrder() const;

    simulated::Television& m_television;
    std::vector<std::string> m_order;  // the names of the catalogue's keys
};

}  // namespace television

#endif
