#include <memory>

#include "change.h"
#include "command.h"
#include "failure.h"

namespace aipqctl {

namespace {

void get(std::vector<std::string> names, Context& context) {
    // A single value is printed without its name, for scripts.
    const bool alone = names.size() == 1;
    if (names.empty()) names = settingNames();
    std::vector<Named> wanted;
    for (const std::string& name : names) wanted.push_back(findNamed(name));

    Json object = Json::object();
    std::vector<std::vector<std::string>> rows;
    for (const Named& named : wanted) {
        try {
            const Value value = readNamed(named);
            object[named.name] = toJson(value);
            rows.push_back({named.name, toText(value)});
        } catch (const Failure& failure) {
            if (alone) throw;
            skipKey(failure, context);
            object[named.name] = nullptr;
        }
    }
    if (context.json) return printJson(object);
    if (alone) return printLine(rows.front().back());
    for (const std::string& line : aligned(rows)) printLine(line);
}

}  // namespace

void addGetCommand(CLI::App& app, Context& context) {
    CLI::App& command = *app.add_subcommand("get", "Read settings and keys");
    const auto names = std::make_shared<std::vector<std::string>>();
    command.add_option("NAME", *names, "settings or keys; all settings without a name")->type_name("");
    command.callback([names, &context] { get(*names, context); });
}

}  // namespace aipqctl
