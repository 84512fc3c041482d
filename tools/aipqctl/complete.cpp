#include "catalogue.h"
#include "command.h"
#include "completion.h"
#include "resources.h"
#include "settings.h"

namespace aipqctl {

namespace {

std::vector<std::string> valuesOf(const std::string& name) {
    if (name == "SETTING") return settingNames();
    if (name == "KEY") return keyNames(Keys::VALUES);
    if (name == "TABLE") return keyNames(Keys::TABLES);
    if (name == "TYPE") return valueTypeNames();
    if (name == "RESOURCES") return resourceNames();
    if (name == "PLAYBACK") return playbackNames();
    if (name != "NAME") return {};
    std::vector<std::string> names = settingNames();
    for (const std::string& key : keyNames(Keys::VALUES)) names.push_back(key);
    return names;
}

}  // namespace

void addCompleteCommand(CLI::App& app, Context&) { ::addCompleteCommand(app, valuesOf); }

}  // namespace aipqctl
