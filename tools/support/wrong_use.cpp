#include "wrong_use.h"

#include <algorithm>
#include <vector>

#include "catalogue/suggestion.h"
#include "completion.h"

std::string wrongUse(const CLI::ParseError& error, const CLI::App& program) {
    std::string what = error.what();
    const CLI::App* command = &program;
    std::string path = program.get_name();
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        path += ' ' + command->get_name();
    }
    std::vector<std::string> names;
    for (const CLI::App* const below : command->get_subcommands({}))
        if (!below->get_group().empty()) names.push_back(below->get_name());
    std::string hint;
    if (const std::vector<std::string> words = program.remaining(true); !words.empty()) {
        // The value of an unknown option also remains, possibly in front of it.
        const auto option =
            std::find_if(words.begin(), words.end(), [](const auto& word) { return word.starts_with('-'); });
        const std::string& word = option != words.end() ? *option : words.front();
        if (word.starts_with('-')) {
            what = "no option '" + word + "'";
            hint = catalogue::suggestion(word.substr(0, word.find('=')), optionsOf(command));
        } else {
            what = names.empty() ? "'" + word + "' is one word too many" : "no command '" + word + "'";
            hint = catalogue::suggestion(word, names);
        }
    }
    if (hint.empty()) hint = ": '" + path + " --help' shows the usage";
    return what.substr(0, what.find('\n')) + hint;
}
