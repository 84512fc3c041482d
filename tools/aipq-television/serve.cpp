#include "serve.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>

#include "exit_code.h"
#include "line.h"
#include "platform_server.h"
#include "private_bus.h"
#include "scenario_service.h"
#include "screen.h"
#include "simulated/catalogue.h"
#include "simulated/television.h"
#include "television_objects.h"
#include "worker_pool.h"

namespace {

// Before anything is started: what is wrong here needs no television.
void checkFiles(const TelevisionOptions& options) {
    const bool isFilm = options.video != "off" && options.video != "scenes";
    if (isFilm && ::access(options.video.c_str(), R_OK) != 0)
        throw BadFile("the film " + options.video + " cannot be read: " + std::strerror(errno));
    try {
        simulated::loadCatalogue();
    } catch (const std::runtime_error& error) {
        throw BadFile(error.what());
    }
}

void describe(const TelevisionOptions& options, const std::string& video, const remote::Place& place) {
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

}  // namespace

sigset_t takeEndSignals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) ::sigaddset(&signals, number);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    ::signal(SIGPIPE, SIG_IGN);
    return signals;
}

int serve(const TelevisionOptions& options, const sigset_t& endSignals) {
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
    ::sigwait(&endSignals, &signal);
    // Who is in the middle of a request is waited for; a second Ctrl-C does not.
    ::pthread_sigmask(SIG_UNBLOCK, &endSignals, nullptr);
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
