#include "protocol.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace remote {

namespace {

constexpr char KEY_ROOT[] = "/aipq/television/key/";

bool isLetterOrDigit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

std::string environment(const char* name) {
    const char* const text = std::getenv(name);
    return text != nullptr ? text : "";
}

bool isName(const std::string& text) {
    const auto fits = [](char c) { return isLetterOrDigit(c) || c == '-' || c == '_'; };
    const bool startsWell = !text.empty() && !(text.front() >= '0' && text.front() <= '9');
    return startsWell && text.size() <= 64 && std::all_of(text.begin(), text.end(), fits);
}

}  // namespace

Place placeFrom(const std::string& text) {
    const std::size_t at = text.find('@');
    const std::size_t colon = text.find(':');
    Place place{"", DEFAULT_NAME};
    if (at != std::string::npos && at < colon) {
        place = {text.substr(at + 1), text.substr(0, at)};
    } else if (colon != std::string::npos) {
        place.address = text;
    } else {
        place.name = text;
    }
    if (!isName(place.name) || place.name == EMBEDDED)
        throw std::invalid_argument(
            "'" + place.name + "' is not a name of a television: letters, digits, - and _, no digit first");
    if (!place.address.empty() && place.address.find(':') == std::string::npos)
        throw std::invalid_argument("'" + place.address +
                                    "' is not an address of a bus: unix:path=SOCKET, for example");
    if (place.address.empty()) place.address = "unix:path=" + socketPath(place.name);
    return place;
}

std::string socketPath(const std::string& name) {
    if (const std::string folder = environment(FOLDER_VARIABLE); folder.starts_with('/'))
        return folder + "/" + name;
    const std::string runtime = environment("XDG_RUNTIME_DIR");
    const std::string folder = runtime.starts_with('/')
                                   ? runtime + "/aipq-television"
                                   : "/tmp/aipq-television-" + std::to_string(::geteuid());
    return folder + "/" + name;
}

std::string objectPath(const std::string& key) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string path = KEY_ROOT;
    for (const char c : key) {
        if (c == '.') {
            path += '/';
        } else if (isLetterOrDigit(c)) {
            path += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            path += '_';
            path += digits[byte >> 4U];
            path += digits[byte & 15U];
        }
    }
    return path;
}

Bytes toWire(const std::string& text) { return {text.begin(), text.end()}; }

std::string fromWire(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

std::vector<Bytes> toWire(const std::vector<std::string>& texts) {
    std::vector<Bytes> wire;
    for (const std::string& text : texts) wire.push_back(toWire(text));
    return wire;
}

std::vector<std::string> fromWire(const std::vector<Bytes>& texts) {
    std::vector<std::string> out;
    for (const Bytes& text : texts) out.push_back(fromWire(text));
    return out;
}

std::vector<WireArgument> toWire(const std::vector<lomodelapi::Argument>& arguments) {
    std::vector<WireArgument> wire;
    for (const auto& argument : arguments)
        wire.emplace_back(argument.type, argument.position, toWire(argument.value));
    return wire;
}

std::vector<lomodelapi::Argument> fromWire(const std::vector<WireArgument>& arguments) {
    std::vector<lomodelapi::Argument> out;
    for (const auto& argument : arguments)
        out.push_back({argument.get<0>(), argument.get<1>(), fromWire(argument.get<2>())});
    return out;
}

}  // namespace remote
