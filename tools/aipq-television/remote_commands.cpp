#include "remote_commands.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "bus_connection.h"
#include "catalogue/text_file.h"
#include "exit_code.h"
#include "output_file.h"
#include "printable.h"
#include "report.h"
#include "scenario_service.h"

namespace television {

namespace {

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
            m_calls.push_back(m_proxy->callMethod(message, std::move(onAnswer), NO_LIMIT));
        } catch (const sdbus::Error&) {
            m_lost = true;
        }
        m_connection.wake();
    }

    static void wakeMain() { ::kill(::getpid(), SIGUSR1); }

  private:
    static constexpr std::uint64_t NO_LIMIT = ~std::uint64_t{0};

    // Released after the connection's thread has ended. Before, ThreadSanitizer would report a race with the
    // thread that frees a call inside sdbus-c++, because it does not see how sdbus-c++ prevents it.
    std::vector<sdbus::PendingAsyncCall> m_calls;
    remote::BusConnection m_connection;
    std::unique_ptr<sdbus::IProxy> m_proxy;
    std::atomic<bool> m_lost{false};
};

// Standard output. After an error, it prints nothing more.
class Progress {
  public:
    Progress() : m_output(OutputFile::STANDARD_OUTPUT) {}

    void print(const std::string& text) {
        if (m_problem) return;
        try {
            m_output.write(text);
        } catch (const CannotWrite& problem) {
            m_problem = problem;
        }
    }

    // Returns the exit code.
    int end() const { return m_problem ? reportOutput(*m_problem) : EXIT_DONE; }

  private:
    OutputFile m_output;
    std::optional<CannotWrite> m_problem;
};

bool isStandardOutput(const std::string& file) {
    struct stat named {};
    struct stat output {};
    return file == OutputFile::STANDARD_OUTPUT ||
           (::stat(file.c_str(), &named) == 0 && ::fstat(STDOUT_FILENO, &output) == 0 &&
            named.st_dev == output.st_dev && named.st_ino == output.st_ino);
}

// The file of a growing recording. The file is a complete scenario at any time.
class Recording {
  public:
    explicit Recording(std::string file) : m_file(std::move(file)) {}
    ~Recording() {
        if (m_fd != -1) ::close(m_fd);
    }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    // The first text replaces the file; later texts are appended. After an error, nothing is added.
    void add(const std::string& text) {
        if (m_failed) return;
        try {
            m_fd == -1 ? begin(text) : append(text);
        } catch (const CannotWrite& problem) {
            m_problem = problem;
            m_failed = true;
        }
    }

    bool begun() const { return m_begun; }
    bool failed() const { return m_failed; }
    // Valid once failed() returns true.
    const CannotWrite& problem() const { return *m_problem; }

  private:
    void begin(const std::string& text) {
        OutputFile file(m_file);
        file.write(text);
        m_fd = file.commitOpen();
        m_begun = true;
    }

    void append(const std::string& text) const {
        struct stat before {};
        ::fstat(m_fd, &before);
        for (std::size_t done = 0; done < text.size();) {
            const ssize_t count = ::write(m_fd, text.data() + done, text.size() - done);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) {
                const int error = errno;
                // Remove the incomplete step.
                if (S_ISREG(before.st_mode)) static_cast<void>(!::ftruncate(m_fd, before.st_size));
                throw CannotWrite(m_file, error);
            }
            done += static_cast<std::size_t>(count);
        }
    }

    const std::string m_file;
    int m_fd = -1;
    std::atomic<bool> m_begun{false};
    std::atomic<bool> m_failed{false};
    std::optional<CannotWrite> m_problem;
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
        text = catalogue::readTextFile(file);
        // D-Bus carries texts in UTF-8 only.
        simulated::checkText(text, file);
    } catch (const std::runtime_error& error) {
        return report(EXIT_BAD_FILE, error.what());
    }
    blockWakeUps();
    try {
        Progress progress;
        Scenarios scenarios(place);
        scenarios.onSignal("Step", [&progress](std::uint32_t, std::int64_t time, const std::string& done) {
            progress.print(stepLine(std::chrono::milliseconds(time), done));
        });
        scenarios.start();
        std::string outcome;
        std::string why;
        const auto failure = callAndWait(
            scenarios, endSignals, "Play", [&](sdbus::MethodReply& reply) { reply >> outcome >> why; },
            printable(file), text, speed);
        if (failure) return reportFailure(*failure, place);
        if (outcome == "failed") return report(EXIT_REFUSED, why);
        progress.print(std::string("The scenario has ") + (outcome == "finished" ? "ended" : "been stopped") +
                       ".\n");
        return progress.end();
    } catch (const CannotWrite& problem) {
        return reportOutput(problem);
    } catch (const sdbus::Error&) {
        return noTelevision(place);
    }
}

int recordScenario(const remote::Place& place, const std::string& file, const std::string& title,
                   const sigset_t& endSignals) {
    blockWakeUps();
    try {
        const bool toOutput = isStandardOutput(file);
        std::optional<Progress> progress;
        if (!toOutput) progress.emplace();
        const auto print = [&](const std::string& text) {
            toOutput ? static_cast<void>(std::cerr << text) : progress->print(text);
        };
        Recording recording(toOutput ? OutputFile::STANDARD_OUTPUT : file);
        Scenarios scenarios(place);
        scenarios.onSignal(ScenarioService::RECORDED, [&recording](const std::string& text) {
            recording.add(text);
            if (recording.failed()) Scenarios::wakeMain();
        });
        scenarios.start();
        const auto ignore = [](sdbus::MethodReply&) {};
        if (const auto failure =
                callAndWait(scenarios, endSignals, "RecordForCaller", ignore, printable(title)))
            return reportFailure(*failure, place);
        print("Recording the events of the television '" + place.name + "'; Ctrl-C ends it.\n");
        while (!scenarios.lost() && !recording.failed() && !waitForSignal(endSignals)) {
        }
        const auto failure = callAndWait(scenarios, endSignals, "StopRecording", ignore);
        if (recording.failed()) return reportOutput(recording.problem());
        if (failure && recording.begun() && failure->name == NO_REPLY)
            return report(EXIT_NO_TELEVISION, "the television was switched off; " +
                                                  (toOutput ? "the recording" : file) +
                                                  " contains the events until then");
        if (failure) return reportFailure(*failure, place);
        print(toOutput ? "\nRecorded.\n"
                       : "\nRecorded in " + file + "; play it with: aipq-television play " + file + '\n');
        return toOutput ? EXIT_DONE : progress->end();
    } catch (const CannotWrite& problem) {
        return reportOutput(problem);
    } catch (const sdbus::Error&) {
        return noTelevision(place);
    }
}

}  // namespace television
