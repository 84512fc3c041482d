#include <algorithm>
#include <cctype>
#include <memory>

#include "command.h"
#include "failure.h"
#include "key_definitions.h"
#include "safe_text.h"
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

bool hasValue(const KeyDefinition& key) { return !std::holds_alternative<std::monostate>(key.initial); }

// The operations of a key: read and write, invoke, iterate.
std::string accessText(const KeyDefinition& key) {
    if (hasValue(key)) return "rw";
    return key.type == lomodelapi::OBJECT_TYPE_ACTION ? "invoke" : "rows";
}

// The library's step size for a setting; 0 if it writes the value at once.
int stepOf(const KeyDefinition& key) {
    const Setting* const setting = settingOfKey(key.name);
    return setting != nullptr ? setting->step : 0;
}

std::string defaultText(const KeyDefinition& key) {
    constexpr std::size_t most = 16;
    return hasValue(key) ? shortened(toText(key.initial), most) : "";
}

std::string meaning(const KeyDefinition& key) {
    const Setting* const setting = settingOfKey(key.name);
    std::string names;
    if (setting != nullptr)
        for (const std::string& name : menuNames(*setting)) names += (names.empty() ? ": " : ", ") + name;
    return key.meaning + names;
}

Json describe(const KeyDefinition& key) {
    Json json{{"group", key.group}, {"name", key.name}, {"type", typeName(key.type)}};
    if (const std::string name = settingName(key); !name.empty()) json["setting"] = name;
    if (key.range) json["range"] = {key.range->lowest, key.range->highest};
    if (!key.columns.empty()) json["columns"] = key.columns;
    if (hasValue(key)) {
        json["default"] = toJson(key.initial);
        json["access"] = accessText(key);
    }
    if (const int step = stepOf(key); step > 0) json["step"] = step;
    if (const Setting* const setting = settingOfKey(key.name))
        if (const std::vector<std::string> names = menuNames(*setting); !names.empty())
            json["values"] = names;
    json["meaning"] = key.meaning;
    return json;
}

void show(const std::vector<const KeyDefinition*>& keys) {
    std::vector<std::vector<std::string>> rows{
        {"KEY", "SETTING", "TYPE", "RANGE", "STEP", "DEFAULT", "ACCESS", "MEANING"}};
    for (const KeyDefinition* const key : keys) {
        const int step = stepOf(*key);
        rows.push_back({key->name, settingName(*key), typeName(key->type), rangeText(*key),
                        step > 0 ? std::to_string(step) : "", defaultText(*key), accessText(*key),
                        meaning(*key)});
    }
    const std::vector<std::string> lines = aligned(rows);
    printLine(lines.front());
    std::string group;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        if (keys[i]->group != group) {
            group = keys[i]->group;
            print("\n");
            printLine(group);
        }
        printLine(lines[i + 1]);
    }
}

void listKeys(const std::string& filter, bool json) {
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
    command.callback([filter, &context] { listKeys(*filter, context.json); });
}

}  // namespace aipqctl
