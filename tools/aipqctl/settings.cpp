#include "settings.h"

#include <algorithm>

#include "failure.h"
#include "key_access.h"
#include "television.h"

namespace aipqctl {

std::vector<std::string> settingNames() {
    std::vector<std::string> names;
    for (const Setting& setting : SETTINGS) names.emplace_back(setting.name);
    return names;
}

const Setting& setting(const std::string& name) {
    for (const Setting& setting : SETTINGS)
        if (setting.name == name) return setting;
    const std::string hint = suggestion(name, settingNames());
    throw Failure(EXIT_UNKNOWN,
                  "no setting '" + name + "'" + (hint.empty() ? ": 'aipqctl get' shows all settings" : hint));
}

const Setting* settingOfKey(const std::string& key) {
    const auto* const found = std::find_if(SETTINGS.begin(), SETTINGS.end(),
                                           [&](const Setting& setting) { return setting.key == key; });
    return found != SETTINGS.end() ? found : nullptr;
}

const KeyDefinition& definition(const Setting& setting) {
    if (const KeyDefinition* const key = findKey(setting.key)) return *key;
    throw Failure(EXIT_UNKNOWN, std::string("the catalogue has no key '") + setting.key + "'");
}

SystemSetting& systemSetting() {
    static SystemSetting& forEver = []() -> SystemSetting& {
        requireTelevision();
        return *new SystemSetting;
    }();
    return forEver;
}

int readSetting(const Setting& setting) {
    const int value = (systemSetting().*setting.get)();
    // -1 says that the read failed; or it is the value, which the key itself then confirms.
    return value != -1
               ? value
               : std::get<int>(KeyAccess(setting.key, lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER).read());
}

std::vector<int> readTuner() {
    std::vector<int> values;
    for (std::size_t i = 0; i < TUNER_SIZE; ++i) values.push_back(readSetting(SETTINGS[TUNER + i]));
    return values;
}

void writeTuner(std::vector<int> values) {
    if (systemSetting().setVideoColorTunerFamily(values) != 0)
        throw Failure(EXIT_REFUSED, "the colour tuner cannot be written: -v shows the platform's log");
}

}  // namespace aipqctl
