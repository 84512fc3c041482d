#include <signal.h>

#include <CLI/CLI.hpp>
#include <array>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "checks.h"
#include "command.h"
#include "doctor_report.h"
#include "failure.h"
#include "key_definitions.h"
#include "output.h"
#include "output_file.h"
#include "simulated_television.h"
#include "television_presence.h"
#include "validators.h"

namespace aipqctl {

namespace {

using namespace conformance;

struct DoctorOptions {
    Selection selection;
    bool noWrite = false;
    bool noVideo = false;
    bool list = false;
    double streamSeconds = 0;
    std::string junit;
};

std::atomic<bool> stop{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

// While it exists, an ending signal stops the checks, so that the television's state is restored first. It
// also ignores SIGPIPE: a closed pipe must not end the program in the middle of a change.
class OrderlyEnd {
  public:
    OrderlyEnd() {
        struct sigaction action {};
        action.sa_handler = [](int) { stop = true; };
        action.sa_flags = SA_RESTART;  // the platform's threads may get the signal
        for (std::size_t i = 0; i < ENDING.size(); ++i) sigaction(ENDING[i], &action, &m_before[i]);
        action.sa_handler = SIG_IGN;
        sigaction(SIGPIPE, &action, &m_pipeBefore);
    }
    ~OrderlyEnd() {
        for (std::size_t i = 0; i < ENDING.size(); ++i) sigaction(ENDING[i], &m_before[i], nullptr);
        sigaction(SIGPIPE, &m_pipeBefore, nullptr);
    }
    OrderlyEnd(const OrderlyEnd&) = delete;
    OrderlyEnd& operator=(const OrderlyEnd&) = delete;

  private:
    static constexpr std::array<int, 3> ENDING{SIGINT, SIGTERM, SIGHUP};
    std::array<struct sigaction, ENDING.size()> m_before{};
    struct sigaction m_pipeBefore {};
};

// Stops the run when a television in another process ends: the remaining checks would fail slowly.
class Departure {
  public:
    Departure() : m_run(televisionRun()) {
        if (m_run) m_thread = std::thread([this] { watch(); });
    }
    ~Departure() {
        {
            const std::lock_guard lock(m_mutex);
            m_ended = true;
        }
        m_changed.notify_all();
        if (m_thread.joinable()) m_thread.join();
    }
    Departure(const Departure&) = delete;
    Departure& operator=(const Departure&) = delete;

    // Also detects an end after the last regular look.
    bool happened() const { return m_happened || televisionRun() != m_run; }

  private:
    void watch() {
        constexpr std::chrono::milliseconds period{250};
        std::unique_lock lock(m_mutex);
        while (!m_happened && !m_changed.wait_for(lock, period, [this] { return m_ended; }))
            m_happened = televisionRun() != m_run;
        if (m_happened) stop = true;
    }

    const std::optional<std::string> m_run;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_ended = false;
    std::atomic<bool> m_happened{false};
    std::thread m_thread;
};

int failWith(ExitCode code, const std::string& problem) {
    complain(problem);
    return code;
}

int unknownCheck(const std::string& name) {
    std::vector<std::string> names;
    for (const Check& check : allChecks())
        for (const std::string& word : {check.group, check.subject, nameOf(check.group, check.subject)})
            if (!word.empty()) names.push_back(word);
    const std::string hint = suggestion(name, names);
    return failWith(EXIT_UNKNOWN, "no check is named '" + name + '\'' +
                                      (hint.empty() ? ": 'aipqctl doctor --list' names them" : hint));
}

int list(const std::vector<Check>& checks, bool json) {
    std::vector<Result> results;
    for (const Check& check : checks)
        results.push_back({check.group, check.subject, check.question, Verdict::NOT_RUN, "only listed", ""});
    if (json) {
        print(jsonOf(results));
    } else {
        for (const Result& result : results)
            printLine(nameOf(result.group, result.subject) + ": " + result.question);
    }
    return EXIT_DONE;
}

std::chrono::milliseconds streamTime(const DoctorOptions& options) {
    return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(options.streamSeconds));
}

// The readable text goes to standard error if standard output carries JSON.
int examine(const DoctorOptions& options, bool json) {
    std::vector<Check> checks;
    try {
        checks = select(allChecks(), options.selection);
        if (options.streamSeconds > 0) checks.push_back(streamCheck(streamTime(options)));
    } catch (const std::out_of_range& name) {
        return unknownCheck(name.what());
    } catch (const std::runtime_error& error) {
        return failWith(EXIT_BAD_FILE, error.what());
    }
    if (options.list) return list(checks, json);

    // Open the file before changing anything.
    std::optional<OutputFile> junit;
    try {
        if (!options.junit.empty()) junit.emplace(options.junit);
    } catch (const CannotWrite& problem) {
        return failWith(EXIT_BAD_FILE, problem.what());
    }
    if (televisionRun()) requireTelevision();

    stop = false;
    const OrderlyEnd orderlyEnd;
    Examination examination(std::move(checks), Examination::CHECK_LIMIT + streamTime(options));
    std::FILE* const people = options.junit == OutputFile::STANDARD_OUTPUT ? stderr : stdout;
    std::vector<Result> results;
    bool left = false;
    {
        const Departure departure;
        results = examination.run(stop, [json, people](const Result& result) {
            if (json) return;
            std::fputs(textOf(result).c_str(), people);
            std::fflush(people);
        });
        left = departure.happened();
    }
    errno = 0;
    std::fputs(json ? jsonOf(results).c_str() : (summaryOf(results) + '\n').c_str(), people);
    const bool isPrinted = std::fflush(people) == 0 && std::ferror(people) == 0;
    int code = exitCodeOf(results);
    if (!isPrinted && errno != EPIPE) code = failWith(EXIT_BAD_FILE, outputProblem(errno));
    try {
        if (junit) {
            junit->write(junitOf(results));
            junit->commit();
        }
    } catch (const CannotWrite& problem) {
        code = failWith(EXIT_BAD_FILE, problem.what());
    }
    if (left) {
        code = failWith(EXIT_NO_TELEVISION, "the television left during the checks");
    } else if (stop) {
        code = EXIT_CUT_SHORT;
    }
    // A call into the platform that never returns still uses its objects: nothing may be destroyed.
    if (examination.hangs()) std::_Exit(code);
    return code;
}

}  // namespace

void addDoctorCommand(CLI::App& app, Context& context) {
    CLI::App* const command = app.add_subcommand(
        "doctor", "Check whether a platform provides everything that the library requires");
    command->footer(
        "The command changes settings by a small step, one at a time, and restores them, also after Ctrl-C.");
    const auto options = std::make_shared<DoctorOptions>();
    command
        ->add_option("--only", options->selection.only,
                     "run this check, group of checks, or checks of this key")
        ->type_name("CHECK")
        ->allow_extra_args(false);
    command->add_option("--skip", options->selection.skip, "skip this check, group or key")
        ->type_name("CHECK")
        ->allow_extra_args(false);
    command->add_flag("--no-write", options->noWrite,
                      "do not change the television: write nothing, invoke nothing");
    command->add_flag("--no-video", options->noVideo,
                      "skip the checks of the queue, the segment and the frames");
    command
        ->add_option("--stream", options->streamSeconds,
                     "also capture frames for this time, and check that they continue to arrive")
        ->type_name("SECONDS")
        ->check(isDuration());
    command->add_flag("--list", options->list, "list the checks and run none");
    command->add_option("--junit", options->junit, "also write the results as JUnit XML")->type_name("FILE");
    command->callback([options, &context] {
        options->selection.changes = !options->noWrite;
        options->selection.video = !options->noVideo;
        context.exitCode = examine(*options, context.json);
    });
}

}  // namespace aipqctl
