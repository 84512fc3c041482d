// The simulated television as a process of its own, for any number of clients.
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "completion.h"
#include "exit_code.h"
#include "line.h"
#include "platform_server.h"
#include "private_bus.h"
#include "protocol.h"
#include "remote_commands.h"
#include "scenario_service.h"
#include "screen.h"
#include "simulated/catalogue.h"
#include "simulated/television.h"
#include "television_objects.h"
#include "worker_pool.h"

namespace {

struct Options {
    std::string name = remote::DEFAULT_NAME;
    std::string bus;
    std::string video = "scenes";
    std::string catalogue;
    std::optional<int> screenPort;

    // Of the commands to a television that runs.
    std::string television;
    std::string file;
    std::string title;
    double speed = 1;
};

// What a file of the command line is not good for.
struct BadFile : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Before anything is started: what is wrong here needs no television.
void checkFiles(const Options& options) {
    const bool isFilm = options.video != "off" && options.video != "scenes";
    if (isFilm && ::access(options.video.c_str(), R_OK) != 0)
        throw BadFile("the film " + options.video + " cannot be read: " + std::strerror(errno));
    try {
        simulated::loadCatalogue();
    } catch (const std::runtime_error& error) {
        throw BadFile(error.what());
    }
}

// Before any thread is started, so that all of them leave these signals to waitForEnd().
sigset_t takeEndSignals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) ::sigaddset(&signals, number);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    ::signal(SIGPIPE, SIG_IGN);
    return signals;
}

void describe(const Options& options, const std::string& video, const remote::Place& place) {
    std::cout << "The television '" << options.name << "' is on and shows "
              << (video == "scenes" ? "generated scenes"
                  : video == "off"  ? "nothing"
                                    : video)
              << ". Ctrl-C switches it off.\n";
    if (options.name == remote::DEFAULT_NAME && options.bus.empty()) {
        std::cout << "  programs  find it by themselves\n";
    } else {
        std::cout << "  programs  find it with AIPQ_TV=" << options.name
                  << (options.bus.empty() ? "" : "@" + place.address) << '\n';
    }
    std::cout << "  busctl    busctl --address=" << place.address << " tree " << place.busName() << '\n';
}

void takeName(remote::Line& line, const remote::Place& place) {
    try {
        line.connection().requestName(place.busName());
    } catch (const sdbus::Error& error) {
        if (error.getName() != "org.freedesktop.DBus.Error.FileExists") throw;
        throw std::runtime_error(
            "a television '" + place.name +
            "' runs already on this bus: use it, end it, or give this one another --name");
    }
}

int serve(const Options& options, const sigset_t& signals) {
    const remote::Place place =
        remote::placeFrom(options.bus.empty() ? options.name : options.name + "@" + options.bus);
    // This very process is the television.
    ::setenv("AIPQ_TV", remote::EMBEDDED, 1);
    if (!options.catalogue.empty()) ::setenv("AIPQ_TV_CATALOGUE", options.catalogue.c_str(), 1);
    checkFiles(options);

    std::optional<PrivateBus> bus;
    if (options.bus.empty()) bus.emplace(place.name);
    remote::Line line(place.address);
    WorkerPool workers;
    simulated::Television& television = simulated::Television::instance();
    TelevisionObjects objects(television, line, workers, place.name);
    ScenarioService scenarios(television, line, workers);
    PlatformServer platform(television, line, workers);
    takeName(line, place);
    std::atomic<bool> busLost{false};
    line.start([&busLost] {
        busLost = true;
        ::kill(::getpid(), SIGTERM);
    });
    const bool shows = television.showVideo(options.video);
    if (!shows) std::cerr << "aipq-television: no picture: " << television.video().error() << '\n';
    std::optional<television::Screen> screen;
    if (options.screenPort) screen.emplace(television, *options.screenPort);
    describe(options, shows ? options.video : "off", place);
    if (screen) std::cout << "  page      " << screen->url() << '\n';
    std::cout << std::flush;

    int signal = 0;
    ::sigwait(&signals, &signal);
    // Who is in the middle of a request is waited for; a second Ctrl-C does not.
    ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    screen.reset();
    scenarios.stop();
    television.video().stop();
    line.stop();
    workers.stop();
    if (busLost) {
        std::cerr << "aipq-television: its bus " << place.address << " is gone\n";
        return EXIT_REFUSED;
    }
    return EXIT_DONE;
}

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
    app.add_option("--name", options.name, "what clients call it in AIPQ_TV")->capture_default_str();
    app.add_option("--bus", options.bus, "D-Bus address to be on; without it, it starts a bus of its own");
    app.add_option("--video", options.video, "the film that it shows, scenes, or off")->capture_default_str();
    app.add_option("--catalogue", options.catalogue, "the file of its keys; without it, the built-in one");
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
    if (screen->count() > 0) options.screenPort = port;
    const sigset_t endSignals = takeEndSignals();
    try {
        if (play->parsed())
            return playScenario(remote::placeFrom(options.television), options.file, options.speed,
                                endSignals);
        if (record->parsed())
            return recordScenario(remote::placeFrom(options.television), options.file, options.title,
                                  endSignals);
        return serve(options, endSignals);
    } catch (const std::invalid_argument& error) {
        std::cerr << "aipq-television: " << error.what() << '\n';
        return EXIT_WRONG_USE;
    } catch (const BadFile& error) {
        std::cerr << "aipq-television: " << error.what() << '\n';
        return EXIT_BAD_FILE;
    } catch (const sdbus::Error& error) {
        std::cerr << "aipq-television: the bus " << options.bus << ": " << error.getMessage() << '\n';
        return EXIT_NO_RIGHTS;
    } catch (const std::exception& error) {
        std::cerr << "aipq-television: " << error.what() << '\n';
        return EXIT_REFUSED;
    }
}
