#include "serve.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <future>
#include <iostream>
#include <memory>
#include <utility>

#include "bus_connection.h"
#include "catalogue/catalogue.h"
#include "event_text.h"
#include "page_token.h"
#include "platform_server.h"
#include "private_bus.h"
#include "scenario_service.h"
#include "screen.h"
#include "simulated/scenario_player.h"
#include "simulated/television.h"
#include "television_objects.h"
#include "worker_pool.h"

namespace television {

namespace {

bool isFilm(const std::string& video) { return video != "off" && video != "scenes"; }

void describe(const TelevisionOptions& options, const std::string& video, const remote::Place& place,
              bool belongsToCommand) {
    std::cout << "The television '" << options.name << "' is on and shows "
              << (video == "scenes" ? "generated scenes"
                  : video == "off"  ? "nothing"
                                    : video)
              << (belongsToCommand ? ".\n" : ". Ctrl-C switches it off.\n");
    if (belongsToCommand) {
        std::cout << "  programs  find it with AIPQ_TV=" << place.address << '\n';
    } else if (options.name == remote::DEFAULT_NAME && options.bus.empty()) {
        std::cout << "  programs  find it by themselves\n";
    } else {
        std::cout << "  programs  find it with AIPQ_TV=" << options.name
                  << (options.bus.empty() ? "" : "@" + place.address) << '\n';
    }
    std::cout << "  busctl    busctl --address=" << place.address << " tree " << place.busName() << '\n';
}

// Prints a line for each event of the television, with the time since the log was created.
class EventLog {
  public:
    explicit EventLog(simulated::Events& events)
        : m_subscription(events, [this](const simulated::Event& event) { print(event); }) {}

  private:
    void print(const simulated::Event& event) const {
        const nlohmann::json line = toLogLine(event);
        if (line.is_null()) return;
        const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - m_start);
        std::cout << stepLine(time, line["kind"].get<std::string>() + ": " + line["text"].get<std::string>())
                  << std::flush;
    }

    using Clock = std::chrono::steady_clock;
    const Clock::time_point m_start = Clock::now();
    const simulated::Events::Subscription m_subscription;  // last: it uses all of the above
};

// Blames the film if the television can show generated scenes.
[[noreturn]] void refuseToShow(const std::string& video, simulated::Television& television) {
    const std::string problem = television.video().error();
    if (isFilm(video) && television.showVideo("scenes")) throw BadFile(problem);
    throw std::runtime_error("no picture: " + problem);
}

// The number of leading steps of a scenario that do not wait.
std::size_t stepsThatWaitForNothing(const simulated::Scenario& scenario) {
    using namespace std::chrono_literals;
    const auto waits = [](const simulated::Step& step) {
        return step.at.value_or(0s) > 0s || step.after || step.wait > 0s ||
               std::holds_alternative<simulated::Expect>(step.action);
    };
    const auto& steps = scenario.steps;
    return static_cast<std::size_t>(std::find_if(steps.begin(), steps.end(), waits) - steps.begin());
}

// The progress of a scenario's leading steps; used on the scenario's thread.
struct Beginning {
    std::size_t undone;
    std::promise<void> over = {};

    void stepDone() {
        if (undone > 0 && --undone == 0) over.set_value();
    }
    void scenarioEnded() {
        if (undone > 0) over.set_value();
        undone = 0;
    }
};

// Starts the command's scenario. Returns after its leading steps that do not wait, because the command relies
// on them.
void play(const RunRequest& request, ScenarioService& scenarios) {
    using Player = simulated::ScenarioPlayer;
    const std::size_t first = stepsThatWaitForNothing(*request.scenario);
    const auto beginning = std::make_shared<Beginning>(Beginning{first});
    const auto onStep = [beginning](const Player::Progress& progress) {
        std::cout << stepLine(progress.time, progress.text) << std::flush;
        beginning->stepDone();
    };
    const auto onEnd = [beginning, &request](const Player::Result& result) {
        if (result.outcome == Player::Outcome::FAILED) request.onScenarioFailure(result.text);
        beginning->scenarioEnded();
    };
    scenarios.start(*request.scenario, 1, {onStep, onEnd});
    if (first > 0) beginning->over.get_future().wait();
}

Stage stageOf(ScenarioService& scenarios) {
    return {[&scenarios](simulated::Scenario scenario, simulated::ScenarioPlayer::Listener listener) {
                try {
                    scenarios.start(std::move(scenario), 1, std::move(listener));
                } catch (const sdbus::Error& error) {
                    throw std::runtime_error(error.getMessage());
                }
            },
            [&scenarios] { scenarios.stop(); }, [&scenarios] { return scenarios.plays(); }};
}

void takeName(remote::BusConnection& connection, const remote::Place& place) {
    try {
        connection.bus().requestName(place.busName());
    } catch (const sdbus::Error& error) {
        if (error.getName() != "org.freedesktop.DBus.Error.FileExists") throw;
        throw std::runtime_error(
            "a television '" + place.name +
            "' is already running on this bus: use it, end it, or give this one another --name");
    }
}

}  // namespace

void checkFilm(const std::string& video) {
    if (isFilm(video) && ::access(video.c_str(), R_OK) != 0)
        throw BadFile("the film " + video + " cannot be read: " + std::strerror(errno));
}

std::vector<simulated::KeyDefinition> loadKeys(const TelevisionOptions& options) {
    if (!options.catalogue.empty()) ::setenv("AIPQ_TV_CATALOGUE", options.catalogue.c_str(), 1);
    try {
        return catalogue::loadCatalogue();
    } catch (const std::runtime_error& error) {
        throw BadFile(error.what());
    }
}

sigset_t takeEndSignals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) ::sigaddset(&signals, number);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    ::signal(SIGPIPE, SIG_IGN);
    return signals;
}

void serve(const TelevisionOptions& options, const sigset_t& endSignals, const RunRequest* request) {
    const remote::Place place =
        remote::placeFrom(options.bus.empty() ? options.name : options.name + "@" + options.bus);
    // The library in this process uses the television of this process.
    ::setenv("AIPQ_TV", remote::EMBEDDED, 1);
    // These checks fail before anything is started.
    checkFilm(options.video);
    loadKeys(options);

    std::optional<PrivateBus> bus;
    if (options.bus.empty()) bus.emplace(place.name);
    remote::BusConnection connection(place.address);
    WorkerPool workers;
    simulated::Television& television = simulated::Television::instance();
    TelevisionObjects objects(television, connection, workers, place.name);
    ScenarioService scenarios(television, connection, workers);
    PlatformServer platform(television, connection, workers);
    takeName(connection, place);
    std::atomic<bool> busLost{false};
    connection.start([&busLost] {
        busLost = true;
        ::kill(::getpid(), SIGTERM);
    });
    const bool shows = television.showVideo(options.video);
    if (!shows && request != nullptr) refuseToShow(options.video, television);
    if (!shows) std::cerr << "aipq-television: no picture: " << television.video().error() << '\n';
    std::optional<Screen> screen;
    if (options.screenPort)
        screen.emplace(television, ScreenOptions{options.name, *options.screenPort, pageToken(options.name)},
                       stageOf(scenarios));
    describe(options, shows ? options.video : "off", place, request != nullptr);
    if (screen) std::cout << "  page      " << screen->url() << '\n';
    std::cout << std::flush;
    std::optional<EventLog> eventLog;
    if (request != nullptr) eventLog.emplace(television.events());
    if (request != nullptr && request->scenario) play(*request, scenarios);
    if (request != nullptr) request->onReady();

    int signal = 0;
    ::sigwait(&endSignals, &signal);
    // Pending requests are completed, unless a second Ctrl-C ends the process at once.
    ::pthread_sigmask(SIG_UNBLOCK, &endSignals, nullptr);
    screen.reset();
    scenarios.stop();
    television.video().stop();
    connection.stop();
    workers.stop();
    if (busLost) throw std::runtime_error("its bus " + place.address + " is gone");
}

}  // namespace television
