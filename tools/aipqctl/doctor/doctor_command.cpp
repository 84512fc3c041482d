#include <signal.h>

#include <CLI/CLI.hpp>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "../command.h"
#include "doctor.h"
#include "results.h"

namespace aipqctl {

namespace {

using namespace doctor;

struct Options {
    Selection selection;
    bool noWrite = false;
    bool noVideo = false;
    bool list = false;
    std::string junit;
};

std::atomic<bool> stop{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

// While it lives, whoever wants to end the program gets the television put back first; and a reader who goes
// away (a pipe to head) does not end it in the middle of a change.
class OrderlyEnd {
  public:
    OrderlyEnd() {
        struct sigaction action {};
        action.sa_handler = [](int) { stop = true; };
        action.sa_flags = SA_RESTART;  // the platform's threads may get the signal, too
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

int complain(ExitCode code, const std::string& problem) {
    std::fprintf(stderr, "aipqctl doctor: %s\n", problem.c_str());
    return code;
}

int list(const std::vector<Check>& checks, bool json) {
    std::vector<Result> results;
    for (const Check& check : checks)
        results.push_back({check.group, check.subject, check.asks, Verdict::NOT_RUN, "only listed", ""});
    if (json) {
        std::fputs(jsonOf(results).c_str(), stdout);
    } else {
        for (const Result& result : results)
            std::printf("%s: %s\n", nameOf(result.group, result.subject).c_str(), result.asks.c_str());
    }
    return EXIT_DONE;
}

int examine(const Options& options, bool json) {
    std::vector<Check> checks;
    try {
        checks = select(allChecks(), options.selection);
    } catch (const std::out_of_range& name) {
        return complain(EXIT_UNKNOWN, std::string("no check is named '") + name.what() +
                                          "'; 'aipqctl doctor --list' names them");
    } catch (const std::runtime_error& error) {
        return complain(EXIT_BAD_FILE, error.what());
    }
    if (options.list) return list(checks, json);

    // Before anything is touched.
    std::ofstream junit;
    if (!options.junit.empty()) {
        junit.open(options.junit);
        if (!junit) return complain(EXIT_BAD_FILE, options.junit + ": cannot be written; name another file");
    }

    stop = false;
    const OrderlyEnd orderlyEnd;
    Examination examination(std::move(checks));
    const std::vector<Result> results = examination.run(stop, [json](const Result& result) {
        if (json) return;
        std::fputs(textOf(result).c_str(), stdout);
        std::fflush(stdout);
    });
    std::fputs(json ? jsonOf(results).c_str() : (summaryOf(results) + '\n').c_str(), stdout);
    std::fflush(stdout);
    ExitCode code = exitCodeOf(results);
    if (junit.is_open()) {
        junit << junitOf(results) << std::flush;
        if (!junit)
            code = static_cast<ExitCode>(complain(EXIT_BAD_FILE, options.junit + ": cannot be written"));
    }
    // A call into the platform that does not return keeps its thread; nothing that it uses may be destroyed.
    if (examination.hangs()) std::_Exit(code);
    return code;
}

}  // namespace

void addDoctorCommand(CLI::App& app, Context& context) {
    CLI::App* const command = app.add_subcommand(
        "doctor",
        "Checks a platform: whether everything that the library demands of it is there and behaves. Changes "
        "settings by a small step, one at a time, and puts them back, also on Ctrl-C.");
    const auto options = std::make_shared<Options>();
    command
        ->add_option("--only", options->selection.only,
                     "run this check, group of checks, or checks of this key")
        ->type_name("NAME")
        ->allow_extra_args(false);
    command->add_option("--skip", options->selection.skip, "leave this check, group or key out")
        ->type_name("NAME")
        ->allow_extra_args(false);
    command->add_flag("--no-write", options->noWrite,
                      "leave the television as it is: change nothing, invoke nothing");
    command->add_flag("--no-video", options->noVideo, "leave out the queue, the segment and the frames");
    command->add_flag("--list", options->list, "name the checks and run none");
    command->add_option("--junit", options->junit, "also write the results as JUnit XML")->type_name("FILE");
    command->callback([options, &context] {
        options->selection.changes = !options->noWrite;
        options->selection.video = !options->noVideo;
        context.exitCode = examine(*options, context.json);
    });
}

}  // namespace aipqctl
