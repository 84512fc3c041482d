#include "completion.h"

#include <algorithm>
#include <iostream>
#include <memory>

namespace {

using Words = std::vector<std::string>;

std::vector<const CLI::App*> commandsOf(const CLI::App& command) {
    return command.get_subcommands([](const CLI::App* below) { return !below->get_group().empty(); });
}

const CLI::App* findCommand(const CLI::App& command, const std::string& word) {
    for (const CLI::App* const below : commandsOf(command))
        if (below->get_name() == word) return below;
    return nullptr;
}

// Returns the command whose options may follow this command; null if there is none.
const CLI::App* parentOf(const CLI::App* command) {
    return command->get_fallthrough() ? command->get_parent() : nullptr;
}

const CLI::Option* findOption(const CLI::App* command, const std::string& word) {
    for (; command != nullptr; command = parentOf(command))
        if (const CLI::Option* const option = command->get_option_no_throw(word)) return option;
    return nullptr;
}

bool takesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

// Returns the words that may replace the last word.
Words complete(const CLI::App& program, const Words& words, const ValuesAfter& valuesAfter) {
    const Words before(words.begin(), words.empty() ? words.end() : words.end() - 1);
    const auto valuesOf = [&](const std::string& name) { return valuesAfter(name, before); };
    const CLI::App* command = &program;
    std::size_t positionals = 0;
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        const CLI::Option* const option = words[i].starts_with('-') ? findOption(command, words[i]) : nullptr;
        if (option != nullptr && takesValue(*option)) {
            if (++i + 1 == words.size()) return valuesOf(option->get_type_name());
        } else if (!words[i].starts_with('-')) {
            const CLI::App* const below = findCommand(*command, words[i]);
            if (below == nullptr) ++positionals;
            if (below != nullptr) command = below;
        }
    }
    if (!words.empty() && words.back().starts_with('-')) return optionsOf(command);

    Words found;
    for (const CLI::App* const below : commandsOf(*command)) found.push_back(below->get_name());
    std::size_t position = 0;
    for (const CLI::Option* const option : command->get_options()) {
        if (!option->get_positional()) continue;
        // The last positional may take any number of words.
        if (position++ < positionals && option->get_items_expected_max() == 1) continue;
        for (const std::string& value : valuesOf(option->get_name(true))) found.push_back(value);
        break;
    }
    return found;
}

}  // namespace

std::vector<std::string> optionsOf(const CLI::App* command) {
    Words words;
    for (; command != nullptr; command = parentOf(command))
        for (const CLI::Option* const option : command->get_options())
            for (const std::string& name : option->get_lnames())
                if (const std::string word = "--" + name;
                    std::find(words.begin(), words.end(), word) == words.end())
                    words.push_back(word);
    return words;
}

void addCompleteCommand(CLI::App& program, const ValuesOf& valuesOf) {
    addCompleteCommand(program, [valuesOf](const std::string& name, const Words&) { return valuesOf(name); });
}

void addCompleteCommand(CLI::App& program, const ValuesAfter& valuesAfter) {
    CLI::App& command = *program.add_subcommand("complete", "")->group("");
    const auto typed = std::make_shared<Words>();
    command.add_option("WORD", *typed);
    command.callback([&program, typed, valuesAfter] {
        const Words& words = *typed;
        const std::string prefix = words.empty() ? "" : words.back();
        for (const std::string& word : complete(program, words, valuesAfter))
            if (word.starts_with(prefix)) std::cout << word << '\n';
        std::cout << std::flush;
        throw CLI::Success();
    });
}
