#include <algorithm>
#include <cctype>
#include <memory>

#include "catalogue.h"
#include "command.h"
#include "failure.h"
#include "settings.h"

namespace aipqctl {

namespace {

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

std::string settingName(const KeyDefinition& key) {
    const Setting* const setting = settingOfKey(key.name);
    return setting != nullptr ? setting->name : "";
}

bool matches(const KeyDefinition& key, const std::string& filter) {
    for (const std::string& text : {key.name, settingName(key), key.group, typeName(key.type), key.meaning})
        if (lowerCase(text).find(lowerCase(filter)) != std::string::npos) return true;
    return false;
}

Json describe(const KeyDefinition& key) {
    Json json{{"group", key.group}, {"name", key.name}, {"type", typeName(key.type)}};
    if (const std::string name = settingName(key); !name.empty()) json["setting"] = name;
    if (key.range) json["range"] = {key.range->first, key.range->second};
    if (!key.columns.empty()) json["columns"] = key.columns;
    json["meaning"] = key.meaning;
    return json;
}

void show(const std::vector<const KeyDefinition*>& keys) {
    std::vector<std::vector<std::string>> rows{{"KEY", "SETTING", "TYPE", "RANGE", "MEANING"}};
    for (const KeyDefinition* const key : keys)
        rows.push_back({key->name, settingName(*key), typeName(key->type), rangeText(*key), key->meaning});
    const std::vector<std::string> lines = aligned(rows);
    printLine(lines.front());
    std::string group;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        if (keys[i]->group != group) printLine("\n" + keys[i]->group);
        group = keys[i]->group;
        printLine(lines[i + 1]);
    }
}

void list(const std::string& filter, bool json) {
    std::vector<const KeyDefinition*> keys;
    for (const KeyDefinition& key : catalogue())
        if (matches(key, filter)) keys.push_back(&key);
    if (keys.empty())
        throw Failure(EXIT_UNKNOWN, "no key has '" + filter + "' in it: 'aipqctl list' shows all keys");
    if (!json) return show(keys);
    Json all = Json::array();
    for (const KeyDefinition* const key : keys) all.push_back(describe(*key));
    printJson({{"keys", all}});
}

}  // namespace

void addListCommand(CLI::App& app, Context& context) {
    CLI::App& command = *app.add_subcommand("list", "Show the keys with their types, ranges and meanings");
    const auto filter = std::make_shared<std::string>();
    command.add_option("FILTER", *filter, "only keys with this text in name, group, type or meaning")
        ->type_name("");
    command.callback([filter, &context] { list(*filter, context.json); });
}

}  // namespace aipqctl
