#include <memory>

#include "change.h"
#include "command.h"
#include "failure.h"
#include "validators.h"

namespace aipqctl {

namespace {

// Fails with the parser's own message for missing words.
void requireWords(const std::vector<std::string>& words) {
    const std::string usage = ": 'aipqctl set --help' shows the usage";
    if (words.front().find('=') != std::string::npos) return;
    if (words.size() == 1) throw Failure(EXIT_WRONG_USE, "VALUE is required" + usage);
    const KeyDefinition& key = *findNamed(words.front()).key;
    const bool isList = key.type == lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER ||
                        key.type == lomodelapi::OBJECT_TYPE_VECTOR_STRING;
    if (words.size() > 2 && !isList)
        throw Failure(EXIT_WRONG_USE, "'" + words[2] + "' is one word too many" + usage);
}

}  // namespace

void addSetCommand(CLI::App& app, Context& context) {
    CLI::App& command =
        *app.add_subcommand("set", "Change settings, step by step as the library does, and keys");
    const auto words = std::make_shared<std::vector<std::string>>();
    const auto options = std::make_shared<ChangeOptions>();
    command
        .add_option(
            "SETTING", *words,
            "NAME VALUE, or any number of NAME=VALUE; +5 and -5 are relative, as are NAME+=5 and NAME-=5")
        ->type_name("")
        ->required();
    command.add_flag("--wait", options->wait, "show each step, and read the new values back");
    command
        .add_option("--timeout", options->timeout,
                    "fail if a setting has not moved for this time; 62 by default")
        ->type_name("SECONDS")
        ->check(isDuration());
    command.callback([words, options, &context] {
        requireWords(*words);
        options->json = context.json;
        change(parseAssignments(*words), *options);
    });
}

}  // namespace aipqctl
