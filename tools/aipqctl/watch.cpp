#include "watch.h"

#include <algorithm>
#include <list>
#include <memory>

#include "change.h"
#include "key_access.h"
#include "television_presence.h"

namespace aipqctl {

namespace {

Json describe(const Watched& watched, const Value& value, bool initial) {
    return {{"name", watched.name},
            {"key", watched.key.name},
            {"type", typeName(watched.key.type)},
            {"value", toJson(value)},
            {"initial", initial}};
}

std::string textOf(const Json& content, std::size_t width) {
    if (content.contains("television")) return "the television " + content["television"].get<std::string>();
    std::string line = content["name"];
    if (content.contains("available"))
        return line + (content["available"].get<bool>() ? " is back" : " is gone");
    line.append(width - line.size() + 2, ' ');
    const Json& value = content["value"];
    return line + (value.is_string() ? value.get<std::string>()
                                     : value.dump(-1, ' ', false, Json::error_handler_t::replace));
}

}  // namespace

Json Presence::change(const std::string& name, const std::string& key, bool available) {
    if (available) {
        if (m_left) return m_left = false, m_run = answeringRun(), Json{{"television", "returned"}};
        if (m_gone.erase(name) == 0) return nullptr;
    } else {
        if (m_left) return nullptr;
        if (answeringRun() != m_run) return m_left = true, Json{{"television", "left"}};
        m_gone.insert(name);
    }
    return {{"name", name}, {"key", key}, {"available", available}};
}

void watch(const std::vector<Watched>& keys, const StreamLimits& limits, Context& context) {
    std::size_t width = 0;
    for (const Watched& watched : keys) width = std::max(width, watched.name.size());
    requireTelevision();
    Presence presence;
    const auto show = [&](Event event) {
        const bool isChange = event.content.contains("value");
        if (!isChange) {
            const Json& content = event.content;
            event.content = presence.change(content["name"], content["key"], content["available"]);
            if (event.content.is_null()) return false;
        }
        printEvent(event, textOf(event.content, width), context.json);
        return isChange;
    };

    EventStream events;
    std::list<KeyAccess> followed;
    std::vector<Event> values;
    for (const Watched& watched : keys) {
        try {
            KeyAccess& access = followed.emplace_back(
                watched.key.name, watched.key.type,
                [&events, &watched](const Value& value) { events.push(describe(watched, value, false)); },
                [&events, &watched](bool available) {
                    events.push(
                        {{"name", watched.name}, {"key", watched.key.name}, {"available", available}});
                });
            values.push_back(happened(describe(watched, access.read(), true)));
        } catch (const Failure& failure) {
            if (keys.size() == 1) throw;
            skipKey(failure, context);
        }
    }
    if (values.empty()) throw Failure(context.exitCode, "nothing to watch: no key can be read");
    for (const Event& value : values) show(value);
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
        for (const std::string& name : names->empty() ? settingNames() : *names)
            keys.push_back({name, *findNamed(name).key});
        watch(keys, *limits, context);
    });
}

}  // namespace aipqctl
