#include "running_televisions.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "bus_connection.h"

namespace remote {

namespace {

constexpr char BUS[] = "org.freedesktop.DBus";
constexpr char BUS_OBJECT[] = "/org/freedesktop/DBus";

}  // namespace

std::string runAt(const Place& place) {
    try {
        BusConnection connection(place.address);
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

std::vector<std::string> runningTelevisions() {
    namespace fs = std::filesystem;
    std::vector<std::string> names;
    std::error_code error;
    const fs::path folder = fs::path(socketPath(DEFAULT_NAME)).parent_path();
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        if (!entry.is_socket(error)) continue;
        try {
            const Place found = placeFrom(entry.path().filename());
            if (!runAt(found).empty()) names.push_back(found.name);
        } catch (const std::invalid_argument&) {
            // The socket does not belong to a television.
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace remote
