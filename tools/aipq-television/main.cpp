// The simulated television as a separate process, for any number of clients.
#include <signal.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "completion.h"
#include "exit_code.h"
#include "protocol.h"
#include "remote_commands.h"
#include "report.h"
#include "run_command.h"
#include "running_televisions.h"
#include "serve.h"
#include "validators.h"
#include "wrong_use.h"

using namespace television;

namespace {

struct Options {
    TelevisionOptions own;

    // Options of `run`.
    std::string scenario;
    std::string log;

    // Options of the commands for a running television.
    std::string television;
    std::string file;
    std::string title;
    double speed = 1;
};

// The television that AIPQ_TV names: the default for commands for a running television.
std::string televisionOfEnvironment() {
    const char* const text = std::getenv("AIPQ_TV");
    const bool named = text != nullptr && *text != '\0' && std::string(text) != remote::EMBEDDED;
    return named ? text : remote::DEFAULT_NAME;
}

// Removes "--" and the words after it, and returns these words: CLI11 would change some of them.
std::vector<std::string> takeCommand(std::vector<std::string>& words) {
    const auto mark = std::find(words.begin(), words.end(), "--");
    if (mark == words.end()) return {};
    std::vector<std::string> command(mark + 1, words.end());
    words.erase(mark, words.end());
    return command;
}

constexpr char VIDEO_HELP[] = "the picture: a film, scenes, or off";
constexpr char CATALOGUE_HELP[] = "the file of its keys; the built-in catalogue by default";

constexpr char RUN_EXIT_CODES[] =
    "Exit code: the command's; 128 and the number of the signal that killed it; or\n"
    "  1    the command succeeded, but the scenario failed\n"
    "  2    the command line is wrong\n"
    "  6    the film, the scenario or the catalogue is missing or broken, or the log cannot be written\n"
    "  8    the user may not create an IPC namespace or a user namespace\n"
    "  124  the television died while the command ran\n"
    "  125  the television could not start\n"
    "  126  the command cannot be executed\n"
    "  127  there is no such command";

CLI::App* addRun(CLI::App& app, Options& options) {
    CLI::App* const run = app.add_subcommand(
        "run", "run a command with a private television: aipq-television run [OPTIONS] -- COMMAND...");
    run->add_option("--video", options.own.video, VIDEO_HELP)->type_name("VIDEO")->capture_default_str();
    run->add_option("--scenario", options.scenario, "the scenario to play")->type_name("FILE");
    run->add_option("--catalogue", options.own.catalogue, CATALOGUE_HELP)->type_name("FILE");
    run->add_option("--log", options.log, "the file for the television's events and messages")
        ->type_name("FILE");
    run->footer(RUN_EXIT_CODES);
    return run;
}

// Prints the help if the user requested it; otherwise prints the error in one line.
int reportUsage(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
        std::ostringstream text;
        app.exit(error, text, text);
        try {
            writeFile(OutputFile::STANDARD_OUTPUT, text.str());
            return EXIT_DONE;
        } catch (const CannotWrite& problem) {
            return reportOutput(problem);
        }
    }
    return report(EXIT_WRONG_USE, wrongUse(error, app));
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    options.television = televisionOfEnvironment();
    CLI::App app("The simulated television in a separate process, for any number of clients",
                 "aipq-television");
    app.require_subcommand(0, 1);
    app.set_version_flag("--version", "aipq-television " AIPQ_TELEVISION_VERSION, "print the version");
    addCompleteCommand(app, [](const std::string& name) {
        return name == "TELEVISION" ? remote::runningTelevisions() : std::vector<std::string>();
    });
    app.add_option("--name", options.own.name, "its name for clients, in AIPQ_TV")
        ->type_name("NAME")
        ->capture_default_str();
    app.add_option("--bus", options.own.bus, "the D-Bus address to join; a private bus by default")
        ->type_name("ADDRESS");
    app.add_option("--video", options.own.video, VIDEO_HELP)->type_name("VIDEO")->capture_default_str();
    app.add_option("--catalogue", options.own.catalogue, CATALOGUE_HELP)->type_name("FILE");
    app.get_formatter()->label("REQUIRED", "");
    CLI::App* const run = addRun(app, options);
    int port = 0;
    CLI::Option* const screen =
        app.add_option("--screen", port,
                       "serve a page for this machine's browsers; on a free port by default")
            ->expected(0, 1)
            ->type_name("[PORT]")
            ->check(isNumber(0, 65535));

    const auto addTelevision = [&](CLI::App* command) {
        command->add_option("--tv", options.television, "the television: NAME, ADDRESS or NAME@ADDRESS")
            ->type_name("TELEVISION")
            ->capture_default_str();
    };
    CLI::App* const play =
        app.add_subcommand("play", "play a scenario on a running television and print its steps");
    play->alias("replay");
    play->add_option("FILE", options.file, "the scenario")->type_name("")->required();
    play->add_option("--speed", options.speed, "the factor by which it plays faster")
        ->type_name("FACTOR")
        ->capture_default_str()
        ->check(isRate());
    addTelevision(play);
    CLI::App* const record =
        app.add_subcommand("record", "record what happens on a television that runs, until Ctrl-C");
    record->add_option("FILE", options.file, "the scenario to write")->type_name("")->required();
    record->add_option("--title", options.title, "its title")->type_name("TEXT");
    addTelevision(record);

    std::vector<std::string> words(argv + 1, argv + argc);
    std::vector<std::string> command;
    if (!words.empty() && words.front() == "run") command = takeCommand(words);
    try {
        std::reverse(words.begin(), words.end());  // the order that CLI11 expects
        app.parse(words);
        if (run->parsed() && command.empty()) throw CLI::RequiredError("a command behind --");
    } catch (const CLI::ParseError& error) {
        return reportUsage(app, error);
    }
    if (screen->count() > 0) options.own.screenPort = port;
    // The programs that `run` and a television start would inherit SIG_IGN, but not a handler.
    if (play->parsed() || record->parsed()) ::signal(SIGPIPE, SIG_IGN);
    try {
        if (run->parsed()) return runCommand({options.own, options.scenario, options.log, command}, argv);
        const sigset_t endSignals = takeEndSignals();
        if (play->parsed())
            return playScenario(remote::placeFrom(options.television), options.file, options.speed,
                                endSignals);
        if (record->parsed())
            return recordScenario(remote::placeFrom(options.television), options.file, options.title,
                                  endSignals);
        serve(options.own, endSignals);
        return EXIT_DONE;
    } catch (const std::invalid_argument& error) {
        return report(EXIT_WRONG_USE, error.what());
    } catch (const BadFile& error) {
        return report(EXIT_BAD_FILE, error.what());
    } catch (const sdbus::Error& error) {
        return report(EXIT_NO_RIGHTS, "the bus " + options.own.bus + ": " + error.getMessage());
    } catch (const std::exception& error) {
        return report(EXIT_REFUSED, error.what());
    }
}
