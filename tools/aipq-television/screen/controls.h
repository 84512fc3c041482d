// What the page shows of the television, and does to it.
#ifndef TELEVISION_CONTROLS_H
#define TELEVISION_CONTROLS_H

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulated/television.h"

namespace television {

// A wish that cannot be fulfilled; nothing has changed. The text is for the user.
struct Refusal : std::runtime_error {
    Refusal(int httpStatus, const std::string& text) : std::runtime_error(text), status(httpStatus) {}
    int status;
};

// A value as the page gets it; wide numbers as texts, because a browser's numbers hold 53 bits only.
nlohmann::json toJson(const simulated::Value& value);

// A member of a wish. Both throw Refusal.
std::string textMember(const nlohmann::json& wish, const char* name);
bool flagMember(const nlohmann::json& wish, const char* name);

// All operations: any thread. Those that change something throw Refusal, and return what the user should
// know, if anything: the log tells what happens.
class Controls {
  public:
    explicit Controls(simulated::Television& television);

    // The keys with their values, and the definitions of faults and power states.
    nlohmann::json state() const;
    // What changes beside the values: channels, video, faults, applications.
    nlohmann::json status() const;

    // {"key", "value"}
    std::string setValue(const nlohmann::json& wish);
    // {"channel": "+1" | "-1" | NUMBER} or {"playing": BOOLEAN}
    std::string press(const nlohmann::json& wish);
    // {"power": NAME}
    std::string changePower(const nlohmann::json& wish);
    // {"fault", "value", "key" if it is of a key}
    std::string setFault(const nlohmann::json& wish);
    // {}
    std::string clearFaults(const nlohmann::json& wish);
    // {"on": BOOLEAN}
    std::string switchVideo(const nlohmann::json& wish);
    // {"film": PATH}, or "" for generated scenes; what is on stays if the film cannot be shown
    std::string showFilm(const nlohmann::json& wish);
    // {}
    std::string reset(const nlohmann::json& wish);

  private:
    std::vector<simulated::KeyDefinition> keysInOrder() const;

    simulated::Television& m_television;
    std::vector<std::string> m_order;  // of the catalogue's keys
};

}  // namespace television

#endif
