#include <memory>

#include "command.h"
#include "settings.h"

namespace aipqctl {

namespace {

void get(std::vector<std::string> names, bool json) {
    // A single value stands alone, so that a script can take it as it is.
    const bool alone = names.size() == 1;
    if (names.empty()) names = settingNames();
    std::vector<const Setting*> wanted;
    for (const std::string& name : names) wanted.push_back(&setting(name));

    Json object = Json::object();
    std::vector<std::vector<std::string>> rows;
    for (const Setting* const setting : wanted) {
        const int value = readSetting(*setting);
        object[setting->name] = value;
        rows.push_back({setting->name, std::to_string(value)});
    }
    if (json) return printJson(object);
    if (alone) return printLine(rows.front().back());
    for (const std::string& line : aligned(rows)) printLine(line);
}

}  // namespace

void addGetCommand(CLI::App& app, Context& context) {
    CLI::App& command = *app.add_subcommand("get", "Read picture settings");
    const auto names = std::make_shared<std::vector<std::string>>();
    command.add_option("SETTING", *names, "which ones; all without a name")->type_name("");
    command.callback([names, &context] { get(*names, context.json); });
}

}  // namespace aipqctl
