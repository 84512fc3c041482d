#include <iostream>
#include <memory>
#include <sstream>

#include "catalogue/text_file.h"
#include "change.h"
#include "command.h"
#include "failure.h"
#include "settings.h"
#include "television_presence.h"
#include "validators.h"

namespace aipqctl {

namespace {

std::string textOf(const Value& value) {
    const auto* const list = std::get_if<std::vector<int>>(&value);
    if (list == nullptr) return toText(value);
    std::string text;
    for (std::size_t i = 0; i < list->size(); ++i)
        text.append(i > 0 ? "," : "").append(std::to_string((*list)[i]));
    return text;
}

// Writes lines of NAME=VALUE, which `aipqctl set` accepts.
void save(const std::string& file, Context& context) {
    requireTelevision();
    std::vector<std::string> names = settingNames();
    names.emplace_back(catalogue::keys::PQ_SETTING);
    std::string lines;
    for (const std::string& name : names) {
        try {
            lines += name + '=' + textOf(readNamed(findNamed(name))) + '\n';
        } catch (const Failure& failure) {
            skipKey(failure, context);
        }
    }
    requireSameTelevision();
    if (lines.empty()) throw Failure(context.exitCode, "nothing is saved: no setting can be read");
    aipqctl::save(file, "# Settings of a television, for 'aipqctl restore'.\n" + lines);
}

std::string contentOf(const std::string& file) {
    try {
        return file == OutputFile::STANDARD_OUTPUT ? catalogue::readText(std::cin, file)
                                                   : catalogue::readTextFile(file);
    } catch (const std::runtime_error& error) {
        throw Failure(EXIT_BAD_FILE, error.what());
    }
}

void restore(const std::string& file, const ChangeOptions& options) {
    std::istringstream lines(contentOf(file));
    std::vector<std::string> words;
    unsigned number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (line.ends_with('\r')) line.pop_back();
        if (line.empty() || line.starts_with('#')) continue;
        const std::string position = file + ':' + std::to_string(number) + ": ";
        if (line.find('=') == std::string::npos || line.starts_with('='))
            throw Failure(EXIT_BAD_FILE, position + "not NAME=VALUE: '" + line + "'");
        words.push_back(line);
        try {
            check(parseAssignments({line}).front());
        } catch (const Failure& failure) {
            throw Failure(EXIT_BAD_FILE, position + failure.what());
        }
    }
    if (words.empty()) throw Failure(EXIT_BAD_FILE, file + ": no settings in it");
    try {
        change(parseAssignments(words), options);
    } catch (const Failure& failure) {
        const int code = failure.exitCode();
        const bool isFile = code == EXIT_WRONG_USE || code == EXIT_WRONG_TYPE || code == EXIT_OUT_OF_RANGE;
        if (!isFile) throw;
        throw Failure(EXIT_BAD_FILE, file + ": " + failure.what());
    }
}

}  // namespace

void addSaveCommand(CLI::App& app, Context& context) {
    CLI::App& command = *app.add_subcommand("save", "Save all settings in a file");
    const auto file = std::make_shared<std::string>();
    command.add_option("FILE", *file, "the file; - for standard output")->type_name("")->required();
    command.callback([file, &context] { save(*file, context); });
}

void addRestoreCommand(CLI::App& app, Context& context) {
    CLI::App& command = *app.add_subcommand("restore", "Restore the settings of a saved file");
    const auto file = std::make_shared<std::string>();
    const auto options = std::make_shared<ChangeOptions>();
    command.add_option("FILE", *file, "the file; - for standard input")->type_name("")->required();
    command
        .add_option("--timeout", options->timeout,
                    "fail if a setting has not moved for this time; 62 by default")
        ->type_name("SECONDS")
        ->check(isDuration());
    command.callback([file, options, &context] {
        options->json = context.json;
        restore(*file, *options);
    });
}

}  // namespace aipqctl
