#include <algorithm>

#include "checks.h"
#include "command.h"
#include "completion.h"
#include "key_definitions.h"
#include "resources.h"
#include "settings.h"
#include "simulated_television.h"

namespace aipqctl {

namespace {

std::vector<std::string> checkNames() {
    std::vector<std::string> names;
    for (const conformance::Check& check : conformance::allChecks()) {
        if (std::find(names.begin(), names.end(), check.group) == names.end()) names.push_back(check.group);
        if (!check.subject.empty() && std::find(names.begin(), names.end(), check.subject) == names.end())
            names.push_back(check.subject);
    }
    return names;
}

std::vector<std::string> namesOfValues() {
    std::vector<std::string> names = settingNames();
    for (const std::string& key : keyNames(Keys::VALUES)) names.push_back(key);
    return names;
}

// Returns the names, or the values of the setting in the word before.
std::vector<std::string> wordsOfSet(const std::vector<std::string>& before) {
    const auto command = std::find(before.begin(), before.end(), "set");
    if (command == before.end() || command + 1 == before.end()) return namesOfValues();
    const std::string& first = *(command + 1);
    for (const Setting& setting : SETTINGS)
        if (first == setting.name) return menuNames(setting);
    // Another NAME=VALUE may follow.
    return first.find('=') != std::string::npos ? namesOfValues() : std::vector<std::string>();
}

std::vector<std::string> valuesOf(const std::string& name, const std::vector<std::string>& before) {
    if (name == "KEY") return keyNames(Keys::VALUES);
    if (name == "FORMAT") return {"png", "rgb"};
    if (name == "TELEVISION") return runningTelevisions();
    if (name == "CHANNEL") return channelNames();
    if (name == "CHECK") return checkNames();
    if (name == "SETTING") return wordsOfSet(before);
    if (name == "NAME") return namesOfValues();
    if (name == "TABLE") return keyNames(Keys::TABLES);
    if (name == "TYPE") return valueTypeNames();
    if (name == "RESOURCES") return resourceNames();
    if (name == "PLAYBACK") return playbackNames();
    return {};
}

}  // namespace

void addCompleteCommand(CLI::App& app, Context&) { ::addCompleteCommand(app, valuesOf); }

}  // namespace aipqctl
