#include "simulated_television.h"

#ifdef WITH_SIMULATED_TELEVISION

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string_view>

#include "bus_connection.h"
#include "failure.h"
#include "protocol.h"

namespace aipqctl {

namespace {

constexpr char BUS[] = "org.freedesktop.DBus";
constexpr char BUS_OBJECT[] = "/org/freedesktop/DBus";

// Returns nothing for an embedded television.
std::optional<remote::Place> place() {
    const char* const television = std::getenv("AIPQ_TV");
    if (television == nullptr || television == std::string_view(remote::EMBEDDED)) return {};
    return remote::placeFrom(television);
}

std::string runAt(const remote::Place& place) {
    try {
        remote::BusConnection connection(place.address);
        const auto bus = sdbus::createProxy(connection.bus(), BUS, BUS_OBJECT);
        std::string owner;
        std::string id;
        bus->callMethod("GetNameOwner").onInterface(BUS).withArguments(place.busName()).storeResultsTo(owner);
        bus->callMethod("GetId").onInterface(BUS).storeResultsTo(id);
        return id + owner;
    } catch (const sdbus::Error&) {
        return "";
    }
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
    return runAt(*named);
}

std::vector<std::string> runningTelevisions() {
    namespace fs = std::filesystem;
    std::vector<std::string> names;
    std::error_code error;
    const fs::path folder = fs::path(remote::socketPath(remote::DEFAULT_NAME)).parent_path();
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        if (!entry.is_socket(error)) continue;
        try {
            const remote::Place found = remote::placeFrom(entry.path().filename());
            if (!runAt(found).empty()) names.push_back(found.name);
        } catch (const std::invalid_argument&) {
            // The socket does not belong to a television.
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

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
