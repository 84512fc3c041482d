#include "settings.h"

#include <algorithm>
#include <iterator>
#include <sstream>

#include "failure.h"
#include "key_access.h"
#include "television_presence.h"

namespace aipqctl {

std::vector<std::string> settingNames() {
    std::vector<std::string> names;
    for (const Setting& setting : SETTINGS) names.emplace_back(setting.name);
    return names;
}

const Setting* settingOfKey(const std::string& key) {
    const auto* const found = std::find_if(SETTINGS.begin(), SETTINGS.end(),
                                           [&](const Setting& setting) { return setting.key == key; });
    return found != SETTINGS.end() ? found : nullptr;
}

const KeyDefinition& definition(const Setting& setting) { return keyDefinition(setting.key); }

std::vector<std::string> menuNames(const Setting& setting) {
    std::istringstream words(setting.menu);
    return {std::istream_iterator<std::string>(words), {}};
}

std::optional<int> menuValue(const Setting& setting, const std::string& name) {
    const std::vector<std::string> names = menuNames(setting);
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) return {};
    return static_cast<int>(found - names.begin());
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
    // -1 may mean that the read failed, 0 that the television left. Both may also be the value, so read the
    // key itself.
    return value != -1 && value != 0
               ? value
               : std::get<int>(KeyAccess(setting.key, lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER).read());
}

std::vector<int> readTuner() {
    std::vector<int> values;
    for (std::size_t i = 0; i < TUNER_SIZE; ++i) values.push_back(readSetting(SETTINGS[TUNER + i]));
    return values;
}

void writeTuner(std::vector<int> values) {
    if (systemSetting().setVideoColorTunerFamily(values) == 0) return;
    requireSameTelevision();
    throw Failure(EXIT_REFUSED, "the colour tuner cannot be written: -v shows the platform's log");
}

}  // namespace aipqctl
