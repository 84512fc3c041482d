#include "controls.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

#include "catalogue/catalogue.h"
#include "catalogue/keys.h"
#include "http_status.h"
#include "simulated/faults.h"

namespace television {

using catalogue::INT_RANGE;
using catalogue::Range;
using catalogue::typeName;
using nlohmann::json;
using simulated::FaultDefinition;
using simulated::FaultKind;
using simulated::KeyDefinition;
using simulated::Lifecycle;
using simulated::Value;

namespace {

constexpr char APPLICATION_URL[] = "app://television";

// A button of the page that sends one notification to every application.
struct Power {
    Lifecycle notification;
    const char* label;
    const char* hint;
};

constexpr std::array<Power, 8> POWERS{{
    {Lifecycle::RUNNING, "Running", "The application runs: TV_POWER_STATE_RUNNING"},
    {Lifecycle::DESTROY, "Destroy", "The application must end; a service receives no power state"},
    {Lifecycle::SUSPEND, "Suspend", "The application must pause: TV_POWER_STATE_SUSPEND"},
    {Lifecycle::RESUME, "Resume", "The application continues: TV_POWER_STATE_RESUME"},
    {Lifecycle::SUSPEND_EX, "Suspend, extended",
     "The application manager's second kind of suspend: TV_POWER_STATE_SUSPEND_EX"},
    {Lifecycle::RESUME_EX, "Resume, extended",
     "The application manager's second kind of resume: TV_POWER_STATE_RESUME_EX"},
    {Lifecycle::LOST_FOCUS, "Lose focus",
     "Another application is in front; a service receives no power state"},
    {Lifecycle::GET_FOCUS, "Get focus", "The application is in front; a service receives no power state"},
}};

// The full sequences, which also change the television's own state.
constexpr char SUSPEND_TO_RAM[] = "suspend_to_ram";
constexpr char RESUME_FROM_RAM[] = "resume_from_ram";

const char* nameOf(FaultKind kind) {
    switch (kind) {
        case FaultKind::FLAG:
            return "flag";
        case FaultKind::NUMBER:
            return "number";
        case FaultKind::MILLISECONDS:
            return "milliseconds";
    }
    return "";
}

const json& member(const json& request, const char* name) {
    const auto found = request.find(name);
    if (found == request.end()) throw Refusal(BAD_REQUEST, std::string("'") + name + "' is missing");
    return *found;
}

// Also accepts a text: 64-bit numbers come as texts.
std::optional<long long> wholeNumber(const json& value) {
    if (value.is_number_unsigned() &&
        value.get<std::uint64_t>() > std::uint64_t{std::numeric_limits<std::int64_t>::max()})
        return std::nullopt;
    if (value.is_number_integer()) return value.get<std::int64_t>();
    if (!value.is_string()) return std::nullopt;
    const auto& text = value.get_ref<const std::string&>();
    long long number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

long long numberWithin(const json& value, const Range& range, const std::string& what) {
    const auto number = wholeNumber(value);
    if (!number || !range.contains(*number))
        throw Refusal(UNPROCESSABLE, what + " takes a whole number from " + range.text());
    return *number;
}

int integerWithin(const json& value, const Range& range, const std::string& what) {
    const Range common{std::max(range.lowest, INT_RANGE.lowest), std::min(range.highest, INT_RANGE.highest)};
    return static_cast<int>(numberWithin(value, common, what));
}

std::string text(const json& value, const std::string& what) {
    if (!value.is_string()) throw Refusal(UNPROCESSABLE, what + " takes a text");
    return value.get<std::string>();
}

const json& list(const json& value, const std::string& what) {
    if (!value.is_array()) throw Refusal(UNPROCESSABLE, what + " takes a list");
    return value;
}

// Converts JSON to a value of the key's type.
Value valueFor(const KeyDefinition& key, const json& value) {
    const Range range = key.range.value_or(Range());
    switch (key.type) {
        case lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER:
            return integerWithin(value, range, key.name);
        case lomodelapi::OBJECT_TYPE_NUMERIC_INT64:
            return numberWithin(value, range, key.name);
        case lomodelapi::OBJECT_TYPE_STRING:
            return text(value, key.name);
        case lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER: {
            std::vector<int> numbers;
            for (const json& element : list(value, key.name))
                numbers.push_back(integerWithin(element, INT_RANGE, "each element of " + key.name));
            return numbers;
        }
        case lomodelapi::OBJECT_TYPE_VECTOR_STRING: {
            std::vector<std::string> texts;
            for (const json& element : list(value, key.name))
                texts.push_back(text(element, "each element of " + key.name));
            return texts;
        }
        default:
            throw Refusal(UNPROCESSABLE, key.name + " has no value to set");
    }
}

}  // namespace

std::string textMember(const json& request, const char* name) {
    const json& value = member(request, name);
    if (!value.is_string()) throw Refusal(BAD_REQUEST, std::string("'") + name + "' must be a text");
    return value.get<std::string>();
}

bool flagMember(const json& request, const char* name) {
    const json& value = member(request, name);
    if (!value.is_boolean()) throw Refusal(BAD_REQUEST, std::string("'") + name + "' must be true or false");
    return value.get<bool>();
}

Controls::Controls(simulated::Television& television) : m_television(television) {
    for (const KeyDefinition& key : catalogue::loadCatalogue()) m_order.push_back(key.name);
}

// In the order of the catalogue. Keys that were defined later come last.
std::vector<KeyDefinition> Controls::keysInOrder() const {
    std::vector<KeyDefinition> keys = m_television.model().keys();
    const auto place = [this](const KeyDefinition& key) {
        return std::find(m_order.begin(), m_order.end(), key.name) - m_order.begin();
    };
    std::stable_sort(keys.begin(), keys.end(),
                     [&](const KeyDefinition& a, const KeyDefinition& b) { return place(a) < place(b); });
    return keys;
}

json toJson(const Value& value) {
    if (const int* const number = std::get_if<int>(&value)) return *number;
    if (const long long* const wide = std::get_if<long long>(&value)) return std::to_string(*wide);
    if (const auto* const string = std::get_if<std::string>(&value)) return *string;
    if (const auto* const numbers = std::get_if<std::vector<int>>(&value)) return *numbers;
    if (const auto* const strings = std::get_if<std::vector<std::string>>(&value)) return *strings;
    return nullptr;
}

json Controls::state() const {
    json keys = json::array();
    for (const KeyDefinition& key : keysInOrder()) {
        json entry{{"group", key.group},
                   {"name", key.name},
                   {"type", typeName(key.type)},
                   {"meaning", key.meaning},
                   {"value", toJson(m_television.model().value(key.name))}};
        if (key.range) entry["range"] = {key.range->lowest, key.range->highest};
        keys.push_back(std::move(entry));
    }
    json faults = json::array();
    for (const FaultDefinition& fault : simulated::faultDefinitions())
        faults.push_back({{"name", fault.name},
                          {"kind", nameOf(fault.kind)},
                          {"ofKey", fault.ofKey},
                          {"lowest", fault.lowest},
                          {"highest", fault.highest},
                          {"harmless", fault.harmless},
                          {"meaning", fault.meaning}});
    json notifications = json::array();
    for (const Power& power : POWERS)
        notifications.push_back({{"name", simulated::lifecycleName(power.notification)},
                                 {"label", power.label},
                                 {"hint", power.hint}});
    const json powers{{{"name", SUSPEND_TO_RAM},
                       {"label", "Suspend to RAM"},
                       {"hint",
                        "The whole television: the picture stops, and every application is notified of "
                        "lost focus, suspend and both phases of suspend to RAM"}},
                      {{"name", RESUME_FROM_RAM},
                       {"label", "Wake up"},
                       {"hint",
                        "The whole television: the picture continues, and every application is notified "
                        "of both phases of the wake-up, resume and focus"}}};
    return {{"keys", keys}, {"faults", faults}, {"powers", powers}, {"notifications", notifications}};
}

json Controls::status() const {
    simulated::VideoPipeline& video = m_television.video();
    const std::vector<KeyDefinition> keys = m_television.model().keys();
    json channels = json::array();
    json columns = json::array();
    json faults = json::array();
    for (const KeyDefinition& key : keys) {
        if (key.name != catalogue::keys::CHANNEL_LIST) continue;
        channels = key.rows;
        columns = key.columns;
    }
    // Adds a fault unless its value is harmless.
    const auto add = [&](const FaultDefinition& fault, const std::string& key) {
        const long long value = simulated::fault(m_television, key, fault.name);
        if (value != fault.harmless) faults.push_back({{"name", fault.name}, {"key", key}, {"value", value}});
    };
    for (const FaultDefinition& fault : simulated::faultDefinitions()) {
        if (!fault.ofKey) {
            add(fault, "");
        } else {
            for (const KeyDefinition& key : keys) add(fault, key.name);
        }
    }
    return {{"channel", m_television.sourceSwitch().channel()},
            {"channels", channels},
            {"columns", columns},
            {"playing", m_television.sourceSwitch().playing()},
            {"suspended", m_television.suspended()},
            {"video", video.running()},
            {"film", video.clip()},
            {"frames", video.delivered()},
            {"faults", faults},
            {"applications", m_television.applications().applications()}};
}

std::string Controls::setValue(const json& request) {
    const std::string name = textMember(request, "key");
    const json& value = member(request, "value");
    const std::vector<KeyDefinition> keys = m_television.model().keys();
    const auto key =
        std::find_if(keys.begin(), keys.end(), [&](const KeyDefinition& k) { return k.name == name; });
    if (key == keys.end()) throw Refusal(NOT_FOUND, "the model has no key '" + name + "'");
    m_television.model().set(name, valueFor(*key, value));
    return {};  // the log shows the change itself
}

std::string Controls::press(const json& request) {
    simulated::SourceSwitch& remote = m_television.sourceSwitch();
    if (request.contains("playing")) {
        remote.setPlaying(flagMember(request, "playing"));
        return {};
    }
    const std::string channel = textMember(request, "channel");
    try {
        if (remote.selectChannel(channel)) return {};
    } catch (const std::out_of_range&) {
        // The catalogue has no channels.
    }
    throw Refusal(NOT_FOUND, "there is no channel '" + channel + "'");
}

std::string Controls::changePower(const json& request) {
    const std::string name = textMember(request, "power");
    const auto power = std::find_if(POWERS.begin(), POWERS.end(), [&](const Power& candidate) {
        return simulated::lifecycleName(candidate.notification) == name;
    });
    if (name == SUSPEND_TO_RAM) {
        if (m_television.suspended()) throw Refusal(CONFLICT, "the television is suspended already");
        m_television.suspend();
    } else if (name == RESUME_FROM_RAM) {
        if (!m_television.suspended()) throw Refusal(CONFLICT, "the television is not suspended");
        m_television.resume();
    } else if (power != POWERS.end()) {
        m_television.applications().notify(power->notification, APPLICATION_URL);
    } else {
        throw Refusal(NOT_FOUND, "there is no power state '" + name + "'");
    }
    return m_television.applications().applications().empty()
               ? "no application is registered for notifications"
               : "";
}

std::string Controls::setFault(const json& request) {
    const std::string name = textMember(request, "fault");
    const std::string key = request.contains("key") ? textMember(request, "key") : std::string();
    const auto value = wholeNumber(member(request, "value"));
    if (!value) throw Refusal(UNPROCESSABLE, "the fault '" + name + "' takes a whole number");
    try {
        simulated::setFault(m_television, key, name, *value);
    } catch (const std::out_of_range& error) {
        throw Refusal(NOT_FOUND, error.what());
    } catch (const std::logic_error& error) {
        throw Refusal(UNPROCESSABLE, error.what());
    } catch (const std::runtime_error& error) {
        throw Refusal(CONFLICT, error.what());
    }
    return {};
}

std::string Controls::clearFaults(const json&) {
    try {
        simulated::clearFaults(m_television);
    } catch (const std::runtime_error& error) {
        throw Refusal(CONFLICT, error.what());
    }
    return {};
}

std::string Controls::switchVideo(const json& request) {
    simulated::VideoPipeline& video = m_television.video();
    const std::string film = video.clip();
    const std::string wanted = !flagMember(request, "on") ? "off" : film.empty() ? "scenes" : film;
    if (!m_television.showVideo(wanted)) throw Refusal(CONFLICT, video.error());
    return {};
}

std::string Controls::showFilm(const json& request) {
    simulated::VideoPipeline& video = m_television.video();
    const std::string film = textMember(request, "film");
    const std::string before = !video.running() ? "off" : video.clip().empty() ? "scenes" : video.clip();
    const std::string wanted = film.empty() ? "scenes" : film;
    if (!film.empty() && ::access(film.c_str(), R_OK) != 0)
        throw Refusal(UNPROCESSABLE, "the film " + film + " cannot be read: " + std::strerror(errno));
    if (!m_television.showVideo(wanted)) {
        const std::string problem = video.error();
        m_television.showVideo(before);
        throw Refusal(CONFLICT, problem);
    }
    video.showProgramme("");
    return {};
}

std::string Controls::reset(const json& request) {
    // The television's own reset does not change the video pipeline's faults.
    clearFaults(request);
    m_television.reset();
    return "the television is reset";
}

}  // namespace television
