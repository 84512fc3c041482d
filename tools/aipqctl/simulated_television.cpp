#include "simulated_television.h"

#ifdef WITH_SIMULATED_TELEVISION

#include <cstdlib>
#include <stdexcept>
#include <string_view>

#include "bus_connection.h"
#include "failure.h"
#include "protocol.h"
#include "running_televisions.h"

namespace aipqctl {

namespace {

// Returns nothing for an embedded television.
std::optional<remote::Place> place() {
    const char* const television = std::getenv("AIPQ_TV");
    if (television == nullptr || television == std::string_view(remote::EMBEDDED)) return {};
    return remote::placeFrom(television);
}

}  // namespace

void requireTelevisionName() {
    try {
        static_cast<void>(place());
    } catch (const std::invalid_argument& error) {
        throw Failure(EXIT_WRONG_USE, error.what());
    }
}

std::string televisionName() {
    const std::optional<remote::Place> named = place();
    if (!named) return "";
    const std::string text = std::getenv("AIPQ_TV");
    return text.find(':') != std::string::npos ? text : named->name;
}

std::optional<std::string> televisionRun() {
    const std::optional<remote::Place> named = place();
    if (!named) return {};
    return remote::runAt(*named);
}

std::vector<std::string> runningTelevisions() { return remote::runningTelevisions(); }

std::string videoProblem() {
    try {
        const std::optional<remote::Place> named = place();
        if (!named) return "";
        remote::BusConnection connection(named->address);
        const auto proxy = sdbus::createProxy(connection.bus(), named->busName(), remote::OBJECT);
        return proxy->getProperty("VideoProblem")
            .onInterface(remote::TELEVISION_INTERFACE)
            .get<std::string>();
    } catch (const sdbus::Error&) {
        return "";
    }
}

}  // namespace aipqctl

#else

namespace aipqctl {

void requireTelevisionName() {}
std::string televisionName() { return ""; }
std::optional<std::string> televisionRun() { return {}; }
std::vector<std::string> runningTelevisions() { return {}; }
std::string videoProblem() { return ""; }

}  // namespace aipqctl

#endif
