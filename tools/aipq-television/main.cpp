// The simulated television as a process of its own, for any number of clients.
#include <signal.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "completion.h"
#include "exit_code.h"
#include "protocol.h"
#include "remote_commands.h"
#include "serve.h"

namespace {

struct Options {
    TelevisionOptions own;

    // Of the commands to a television that runs.
    std::string television;
    std::string file;
    std::string title;
    double speed = 1;
};

// The television that AIPQ_TV names, for commands to one that runs.
std::string televisionOfEnvironment() {
    const char* const text = std::getenv("AIPQ_TV");
    const bool named = text != nullptr && *text != '\0' && std::string(text) != remote::EMBEDDED;
    return named ? text : remote::DEFAULT_NAME;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    options.television = televisionOfEnvironment();
    CLI::App app("The simulated television as a process of its own, for any number of clients",
                 "aipq-television");
    app.require_subcommand(0, 1);
    app.set_version_flag("--version", "aipq-television " AIPQ_TELEVISION_VERSION, "print the version");
    addCompleteCommand(app, [](const std::string&) { return std::vector<std::string>{}; });
    app.add_option("--name", options.own.name, "what clients call it in AIPQ_TV")->capture_default_str();
    app.add_option("--bus", options.own.bus,
                   "D-Bus address to be on; without it, it starts a bus of its own");
    app.add_option("--video", options.own.video, "the film that it shows, scenes, or off")
        ->capture_default_str();
    app.add_option("--catalogue", options.own.catalogue,
                   "the file of its keys; without it, the built-in one");
    int port = 0;
    CLI::Option* const screen =
        app.add_option("--screen", port,
                       "show it on a page for this machine's browsers; any free port if none is given")
            ->expected(0, 1)
            ->type_name("[PORT]")
            ->check(CLI::Range(0, 65535));

    const auto addTelevision = [&](CLI::App* command) {
        command->add_option("--tv", options.television, "the television: NAME, ADDRESS or NAME@ADDRESS")
            ->capture_default_str();
    };
    CLI::App* const play =
        app.add_subcommand("play", "play a scenario on a television that runs, and follow it");
    play->alias("replay");
    play->add_option("FILE", options.file, "the scenario")->required();
    play->add_option("--speed", options.speed, "so many times faster")->capture_default_str();
    addTelevision(play);
    CLI::App* const record =
        app.add_subcommand("record", "record what happens on a television that runs, until Ctrl-C");
    record->add_option("FILE", options.file, "the scenario to write")->required();
    record->add_option("--title", options.title, "its title");
    addTelevision(record);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_DONE : EXIT_WRONG_USE;
    }
    if (screen->count() > 0) options.own.screenPort = port;
    const sigset_t endSignals = takeEndSignals();
    try {
        if (play->parsed())
            return playScenario(remote::placeFrom(options.television), options.file, options.speed,
                                endSignals);
        if (record->parsed())
            return recordScenario(remote::placeFrom(options.television), options.file, options.title,
                                  endSignals);
        return serve(options.own, endSignals);
    } catch (const std::invalid_argument& error) {
        std::cerr << "aipq-television: " << error.what() << '\n';
        return EXIT_WRONG_USE;
    } catch (const BadFile& error) {
        std::cerr << "aipq-television: " << error.what() << '\n';
        return EXIT_BAD_FILE;
    } catch (const sdbus::Error& error) {
        std::cerr << "aipq-television: the bus " << options.own.bus << ": " << error.getMessage() << '\n';
        return EXIT_NO_RIGHTS;
    } catch (const std::exception& error) {
        std::cerr << "aipq-television: " << error.what() << '\n';
        return EXIT_REFUSED;
    }
}
