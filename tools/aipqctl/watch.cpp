#include "watch.h"

#include <algorithm>
#include <list>
#include <memory>

#include "command.h"
#include "failure.h"
#include "key_access.h"
#include "settings.h"

namespace aipqctl {

namespace {

Json describe(const Watched& watched, const Value& value, bool initial) {
    return {{"name", watched.name},
            {"key", watched.key.name},
            {"type", typeName(watched.key.type)},
            {"value", toJson(value)},
            {"initial", initial}};
}

Watched find(const std::string& name) {
    for (const Setting& setting : SETTINGS)
        if (setting.name == name) return {name, definition(setting)};
    const std::vector<std::string> keys = keyNames(Keys::VALUES);
    if (std::find(keys.begin(), keys.end(), name) != keys.end()) return {name, *findKey(name)};
    if (const KeyDefinition* const key = findKey(name))
        throw Failure(EXIT_WRONG_TYPE, name + " has no value to watch: its type is " + typeName(key->type));
    std::vector<std::string> names = settingNames();
    names.insert(names.end(), keys.begin(), keys.end());
    const std::string hint = suggestion(name, names);
    throw Failure(EXIT_UNKNOWN,
                  "no setting or key '" + name + "'" +
                      (hint.empty() ? ": 'aipqctl list' shows all; for others use 'key watch'" : hint));
}

}  // namespace

void watch(const std::vector<Watched>& keys, const StreamLimits& limits, bool json) {
    std::size_t width = 0;
    for (const Watched& watched : keys) width = std::max(width, watched.name.size());
    const auto show = [&](const Event& event) {
        if (json) {
            Json line{{"time", utcTime(event)}};
            line.update(event.content);
            return printJson(line);
        }
        const auto& name = event.content["name"].get_ref<const std::string&>();
        const Json& value = event.content["value"];
        printLine(localTime(event) + "  " + name + std::string(width - name.size() + 2, ' ') +
                  (value.is_string() ? value.get<std::string>()
                                     : value.dump(-1, ' ', false, Json::error_handler_t::replace)));
    };

    EventStream events;
    std::list<KeyAccess> followed;
    for (const Watched& watched : keys) {
        followed.emplace_back(watched.key.name, watched.key.type, [&events, &watched](const Value& value) {
            events.push(describe(watched, value, false));
        });
    }
    auto access = followed.begin();
    for (const Watched& watched : keys) show(happened(describe(watched, (access++)->read(), true)));
    events.run(limits, show);
}

void addWatchCommand(CLI::App& app, Context& context) {
    CLI::App& command = *app.add_subcommand("watch", "Print settings and keys, and each of their changes");
    const auto names = std::make_shared<std::vector<std::string>>();
    const auto limits = std::make_shared<StreamLimits>();
    command.add_option("NAME", *names, "settings or keys; all settings without a name")->type_name("");
    addStreamOptions(command, *limits, "changes");
    command.callback([names, limits, &context] {
        std::vector<Watched> keys;
        for (const std::string& name : names->empty() ? settingNames() : *names) keys.push_back(find(name));
        watch(keys, *limits, context.json);
    });
}

}  // namespace aipqctl
