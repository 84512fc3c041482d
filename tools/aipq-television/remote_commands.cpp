#include "remote_commands.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <tuple>

#include "exit_code.h"
#include "line.h"
#include "report.h"
#include "scenario_service.h"

namespace {

constexpr char NO_REPLY[] = "org.freedesktop.DBus.Error.NoReply";

int noTelevision(const remote::Place& place) {
    return report(EXIT_NO_TELEVISION,
                  "no television '" + place.name + "' runs: start one with aipq-television" +
                      (place.name == remote::DEFAULT_NAME ? "" : " --name " + place.name));
}

// The scenarios of a running television. Answers and the end of the line wake waitForEnd() by a signal.
class Scenarios {
  public:
    explicit Scenarios(const remote::Place& place)
        : m_line(place.address),
          m_proxy(sdbus::createProxy(m_line.connection(), place.busName(), ScenarioService::OBJECT)) {}

    template <typename Handler>
    void onStep(Handler handler) {
        m_proxy->uponSignal("Step").onInterface(ScenarioService::INTERFACE).call(handler);
    }

    void start() {
        m_proxy->finishRegistration();
        m_line.start([this] {
            m_lost = true;
            wakeMain();
        });
    }

    bool lost() const { return m_lost; }

    // Calls a method; `onAnswer(error, out...)` is called on the line's thread.
    template <typename... In>
    void call(const char* method, sdbus::async_reply_handler onAnswer, const In&... in) {
        sdbus::MethodCall message = m_proxy->createMethodCall(ScenarioService::INTERFACE, method);
        ((message << in), ...);
        m_proxy->callMethod(message, std::move(onAnswer), NO_LIMIT);
        m_line.wake();
    }

    static void wakeMain() { ::kill(::getpid(), SIGUSR1); }

  private:
    static constexpr std::uint64_t NO_LIMIT = ~std::uint64_t{0};

    remote::Line m_line;
    std::unique_ptr<sdbus::IProxy> m_proxy;
    std::atomic<bool> m_lost{false};
};

// The errors of a call, in words and as an exit code.
struct Failure {
    std::string name;
    std::string what;
};

int reportFailure(const Failure& failure, const remote::Place& place) {
    if (failure.name == ScenarioService::BAD_SCENARIO) return report(EXIT_BAD_FILE, failure.what);
    if (failure.name == "org.freedesktop.DBus.Error.ServiceUnknown") return noTelevision(place);
    if (failure.name == NO_REPLY) return report(EXIT_NO_TELEVISION, "the television was switched off");
    return report(EXIT_REFUSED, failure.what);
}

// Until one of the end signals, or wakeMain(): whether it was an end signal.
bool waitForSignal(const sigset_t& endSignals) {
    sigset_t signals = endSignals;
    ::sigaddset(&signals, SIGUSR1);
    int number = 0;
    ::sigwait(&signals, &number);
    return number != SIGUSR1;
}

void blockWakeUps() {
    sigset_t wakeUp;
    ::sigemptyset(&wakeUp);
    ::sigaddset(&wakeUp, SIGUSR1);
    ::pthread_sigmask(SIG_BLOCK, &wakeUp, nullptr);
}

// Calls a method and waits for its answer, however long that takes; the failure, if it is one.
template <typename Read, typename... In>
std::optional<Failure> callAndWait(Scenarios& scenarios, const sigset_t& endSignals, const char* method,
                                   Read read, const In&... in) {
    struct State {
        std::atomic<bool> answered{false};
        std::optional<Failure> failure;
    };
    const auto state = std::make_shared<State>();
    scenarios.call(
        method,
        [state, read](sdbus::MethodReply& reply, const sdbus::Error* error) {
            if (error != nullptr) {
                state->failure = Failure{error->getName(), error->getMessage()};
            } else {
                read(reply);
            }
            state->answered = true;
            Scenarios::wakeMain();
        },
        in...);
    bool stopping = false;
    while (!state->answered && !scenarios.lost()) {
        if (!waitForSignal(endSignals) || stopping) continue;
        stopping = true;
        scenarios.call("Stop", [](sdbus::MethodReply&, const sdbus::Error*) {});
    }
    if (!state->answered) return Failure{NO_REPLY, ""};
    return state->failure;
}

}  // namespace

int playScenario(const remote::Place& place, const std::string& file, double speed,
                 const sigset_t& endSignals) {
    const std::optional<std::string> text = readScenario(file);
    if (!text) return report(EXIT_BAD_FILE, file + " cannot be read");
    blockWakeUps();
    try {
        Scenarios scenarios(place);
        scenarios.onStep([](std::uint32_t, std::int64_t time, const std::string& done) {
            std::cout << stepLine(std::chrono::milliseconds(time), done) << std::flush;
        });
        scenarios.start();
        std::string outcome;
        std::string why;
        const auto failure = callAndWait(
            scenarios, endSignals, "Play", [&](sdbus::MethodReply& reply) { reply >> outcome >> why; }, file,
            *text, speed);
        if (failure) return reportFailure(*failure, place);
        if (outcome == "failed") return report(EXIT_REFUSED, why);
        std::cout << "The scenario has " << (outcome == "finished" ? "ended" : "been stopped") << ".\n";
        return EXIT_DONE;
    } catch (const sdbus::Error&) {
        return noTelevision(place);
    }
}

int recordScenario(const remote::Place& place, const std::string& file, const std::string& title,
                   const sigset_t& endSignals) {
    blockWakeUps();
    try {
        std::ofstream out(file, std::ios::binary | std::ios::app);
        if (!out) return report(EXIT_BAD_FILE, file + " cannot be written: " + std::strerror(errno));
        out.close();
        Scenarios scenarios(place);
        scenarios.start();
        const auto ignore = [](sdbus::MethodReply&) {};
        if (const auto failure = callAndWait(scenarios, endSignals, "Record", ignore, title))
            return reportFailure(*failure, place);
        std::cout << "Recording what happens on the television '" << place.name << "'; Ctrl-C ends it."
                  << std::endl;
        while (!scenarios.lost() && !waitForSignal(endSignals)) {
        }
        std::string text;
        if (const auto failure = callAndWait(scenarios, endSignals, "StopRecording",
                                             [&](sdbus::MethodReply& reply) { reply >> text; }))
            return reportFailure(*failure, place);
        out.open(file, std::ios::binary | std::ios::trunc);
        out << text;
        out.close();
        if (!out) return report(EXIT_BAD_FILE, file + " cannot be written");
        std::cout << "\nRecorded in " << file << "; play it with: aipq-television play " << file << '\n';
        return EXIT_DONE;
    } catch (const sdbus::Error&) {
        return noTelevision(place);
    }
}
