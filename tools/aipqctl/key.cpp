#include <algorithm>
#include <memory>

#include "command.h"
#include "failure.h"
#include "key_access.h"
#include "settings.h"
#include "watch.h"

namespace aipqctl {

namespace {

// Returns the definition of a key for this operation. A type given by the user overrides the catalogue.
KeyDefinition resolve(const std::string& operation, const std::string& name, const std::string& type) {
    if (!type.empty()) {
        KeyDefinition key;
        key.name = name;
        key.type = valueType(type);
        return key;
    }
    const KeyDefinition* const key = findKey(name);
    if (key == nullptr) {
        const std::vector<std::string> settings = settingNames();
        if (std::find(settings.begin(), settings.end(), name) != settings.end())
            throw Failure(EXIT_UNKNOWN, "'" + name + "' is a setting, not a key: use 'aipqctl " + operation +
                                            ' ' + name + "'");
        const std::string hint = suggestion(name, keyNames(Keys::ALL));
        throw Failure(EXIT_UNKNOWN, "no key '" + name + "' in the catalogue" +
                                        (hint.empty() ? ": say its type with --type" : hint));
    }
    if (key->type == lomodelapi::OBJECT_TYPE_TABLE)
        throw Failure(EXIT_WRONG_TYPE, name + " is a table: use 'aipqctl table'");
    if (key->type == lomodelapi::OBJECT_TYPE_ACTION)
        throw Failure(EXIT_WRONG_TYPE, name + " is an action: use 'aipqctl source' and 'aipqctl channel'");
    return *key;
}

struct Request {
    std::string key;
    std::string type;
    std::vector<std::string> values;
};

void get(const Request& request, bool json) {
    const KeyDefinition key = resolve("get", request.key, request.type);
    const Value value = KeyAccess(key.name, key.type).read();
    if (json) return printJson({{"key", key.name}, {"type", typeName(key.type)}, {"value", toJson(value)}});
    printLine(toText(value));
}

void set(const Request& request, bool json) {
    const KeyDefinition key = resolve("set", request.key, request.type);
    const Value wanted = parseValue(key.name, key, request.values);
    KeyAccess access(key.name, key.type);
    const Value before = access.read();
    access.write(wanted);
    if (!reads(access, wanted))
        throw Failure(EXIT_REFUSED, key.name + " stays at " + toText(access.read()) +
                                        ": the television does not accept " + toText(wanted));
    if (json)
        return printJson({{"key", key.name},
                          {"type", typeName(key.type)},
                          {"before", toJson(before)},
                          {"value", toJson(wanted)}});
    printLine(key.name + ' ' + toText(before) + " -> " + toText(wanted));
}

CLI::App& addOperation(CLI::App& parent, const char* name, const char* what,
                       const std::shared_ptr<Request>& request) {
    CLI::App& operation = *parent.add_subcommand(name, what);
    operation.add_option("KEY", request->key, "its name, as 'aipqctl list' shows it")
        ->type_name("")
        ->required();
    operation
        .add_option("--type", request->type,
                    "its type: integer, int64, string, integers or strings; for a key that is not listed")
        ->type_name("TYPE");
    return operation;
}

}  // namespace

void addKeyCommand(CLI::App& app, Context& context) {
    CLI::App& command = *app.add_subcommand("key", "Read, write and watch any key of the model");
    command.require_subcommand(1);
    const auto request = std::make_shared<Request>();

    addOperation(command, "get", "Read a key", request).callback([request, &context] {
        get(*request, context.json);
    });

    CLI::App& setter = addOperation(command, "set", "Write a key, and read it back", request);
    setter.add_option("VALUE", request->values, "the value; of a list, all elements")->type_name("");
    setter.callback([request, &context] { set(*request, context.json); });

    CLI::App& watcher = addOperation(command, "watch", "Print a key, and each of its changes", request);
    const auto limits = std::make_shared<StreamLimits>();
    addStreamOptions(watcher, *limits, "changes");
    watcher.callback([request, limits, &context] {
        watch({{request->key, resolve("watch", request->key, request->type)}}, *limits, context);
    });
}

}  // namespace aipqctl
