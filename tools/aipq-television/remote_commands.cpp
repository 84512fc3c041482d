#include "remote_commands.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <system_error>
#include <tuple>
#include <utility>

#include "bus_connection.h"
#include "exit_code.h"
#include "printable.h"
#include "report.h"
#include "scenario_service.h"

namespace television {

namespace {

namespace fs = std::filesystem;

constexpr char NO_REPLY[] = "org.freedesktop.DBus.Error.NoReply";

int noTelevision(const remote::Place& place) {
    return report(EXIT_NO_TELEVISION,
                  "no television '" + place.name + "' runs: start one with aipq-television" +
                      (place.name == remote::DEFAULT_NAME ? "" : " --name " + place.name));
}

// The scenario interface of a running television. A reply or a lost connection wakes waitForEnd() by a
// signal.
class Scenarios {
  public:
    explicit Scenarios(const remote::Place& place)
        : m_connection(place.address),
          m_proxy(sdbus::createProxy(m_connection.bus(), place.busName(), ScenarioService::OBJECT)) {}

    template <typename Handler>
    void onSignal(const char* name, Handler handler) {
        m_proxy->uponSignal(name).onInterface(ScenarioService::INTERFACE).call(handler);
    }

    void start() {
        m_proxy->finishRegistration();
        m_connection.start([this] {
            m_lost = true;
            wakeMain();
        });
    }

    bool lost() const { return m_lost; }

    // Calls a method. `onAnswer(error, out...)` runs on the connection's thread.
    template <typename... In>
    void call(const char* method, sdbus::async_reply_handler onAnswer, const In&... in) {
        try {
            sdbus::MethodCall message = m_proxy->createMethodCall(ScenarioService::INTERFACE, method);
            ((message << in), ...);
            m_proxy->callMethod(message, std::move(onAnswer), NO_LIMIT);
        } catch (const sdbus::Error&) {
            m_lost = true;
        }
        m_connection.wake();
    }

    static void wakeMain() { ::kill(::getpid(), SIGUSR1); }

  private:
    static constexpr std::uint64_t NO_LIMIT = ~std::uint64_t{0};

    remote::BusConnection m_connection;
    std::unique_ptr<sdbus::IProxy> m_proxy;
    std::atomic<bool> m_lost{false};
};

// The file of a growing recording. The file is a complete scenario at any time.
class Recording {
  public:
    explicit Recording(std::string file) : m_file(std::move(file)) {}
    ~Recording() {
        if (m_fd != -1) ::close(m_fd);
    }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    // The first text replaces the file; later texts are appended. Returns false on failure; error() has the
    // reason.
    bool add(const std::string& text) {
        if (m_error != 0) return false;
        if (m_fd == -1) {
            begin(text);
        } else {
            write(text);
        }
        return m_error == 0;
    }

    bool begun() const { return m_begun; }
    int error() const { return m_error; }

  private:
    // Replaces a regular file, after the new file has its first text. Writes directly to any other file.
    void begin(const std::string& text) {
        std::error_code none;
        const bool isOther = fs::exists(m_file, none) && !fs::is_regular_file(m_file, none);
        const std::string target = isOther ? m_file : fs::weakly_canonical(m_file, none).string();
        std::string temporary = target + ".XXXXXX";
        m_fd =
            isOther ? ::open(target.c_str(), O_WRONLY | O_CLOEXEC) : ::mkostemp(temporary.data(), O_CLOEXEC);
        if (m_fd == -1) return fail();
        const mode_t mask = ::umask(0);
        ::umask(mask);
        struct stat old {};
        const bool exists = ::stat(target.c_str(), &old) == 0;
        if (!isOther) ::fchmod(m_fd, exists ? old.st_mode & 07777 : 0666 & ~mask);
        write(text);
        if (!isOther && m_error == 0 && ::rename(temporary.c_str(), target.c_str()) != 0) fail();
        if (!isOther && m_error != 0) ::unlink(temporary.c_str());
        m_begun = m_error == 0;
    }

    // Removes an incompletely written step.
    void write(const std::string& text) {
        const off_t size = ::lseek(m_fd, 0, SEEK_CUR);
        for (std::size_t done = 0; done < text.size();) {
            const ssize_t count = ::write(m_fd, text.data() + done, text.size() - done);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) {
                fail();
                if (size >= 0) static_cast<void>(!::ftruncate(m_fd, size));
                return;
            }
            done += static_cast<std::size_t>(count);
        }
    }

    void fail() { m_error = errno; }

    const std::string m_file;
    int m_fd = -1;
    std::atomic<bool> m_begun{false};
    std::atomic<int> m_error{0};
};

// The error of a call: a message and an exit code.
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

// Waits for one of the end signals or wakeMain(). Returns true for an end signal.
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

// Calls a method and waits for its reply without a time limit. Returns the error, if any.
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
    std::string text;
    try {
        text = readScenario(file);
        // D-Bus carries texts in UTF-8 only.
        simulated::checkText(text, file);
    } catch (const std::runtime_error& error) {
        return report(EXIT_BAD_FILE, error.what());
    }
    blockWakeUps();
    try {
        Scenarios scenarios(place);
        scenarios.onSignal("Step", [](std::uint32_t, std::int64_t time, const std::string& done) {
            std::cout << stepLine(std::chrono::milliseconds(time), done) << std::flush;
        });
        scenarios.start();
        std::string outcome;
        std::string why;
        const auto failure = callAndWait(
            scenarios, endSignals, "Play", [&](sdbus::MethodReply& reply) { reply >> outcome >> why; },
            printable(file), text, speed);
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
        Recording recording(file);
        Scenarios scenarios(place);
        scenarios.onSignal(ScenarioService::RECORDED, [&recording](const std::string& text) {
            if (!recording.add(text)) Scenarios::wakeMain();
        });
        scenarios.start();
        const auto ignore = [](sdbus::MethodReply&) {};
        if (const auto failure =
                callAndWait(scenarios, endSignals, "RecordForCaller", ignore, printable(title)))
            return reportFailure(*failure, place);
        std::cout << "Recording the events of the television '" << place.name << "'; Ctrl-C ends it."
                  << std::endl;
        while (!scenarios.lost() && recording.error() == 0 && !waitForSignal(endSignals)) {
        }
        const auto failure = callAndWait(scenarios, endSignals, "StopRecording", ignore);
        if (recording.error() != 0)
            return report(EXIT_BAD_FILE, file + " cannot be written: " + std::strerror(recording.error()));
        if (failure && recording.begun() && failure->name == NO_REPLY)
            return report(EXIT_NO_TELEVISION,
                          "the television was switched off; " + file + " contains the events until then");
        if (failure) return reportFailure(*failure, place);
        std::cout << "\nRecorded in " << file << "; play it with: aipq-television play " << file << '\n';
        return EXIT_DONE;
    } catch (const sdbus::Error&) {
        return noTelevision(place);
    }
}

}  // namespace television
