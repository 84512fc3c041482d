// The video pipeline of the simulated television: answers requests for frames from a clip or from generated
// scenes.
#include <signal.h>
#include <sys/signalfd.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <optional>
#include <stop_token>
#include <string>

#include "clip_source.h"
#include "control.h"
#include "only_pipeline.h"
#include "pipeline.h"
#include "preview.h"
#include "report.h"

namespace {

constexpr int EXIT_PROBLEM = 1;
constexpr int EXIT_WRONG_USE = 2;
constexpr int EXIT_OTHER_PIPELINE = 3;

struct Options {
    std::optional<std::string> clip;
    bool check = false;
    std::optional<int> controlFd;
    std::optional<int> previewFd;
};

// Call it before any thread starts: threads inherit the blocked signals.
int takeStopSignals() {
    ::signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGTERM);
    ::sigaddset(&signals, SIGINT);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return ::signalfd(-1, &signals, SFD_CLOEXEC);
}

int check(const std::string& clip) {
    const pipeline::OpenedClip opened = pipeline::openClip(clip, std::stop_token());
    if (opened.source) return 0;
    pipeline::report(opened.problem);
    return EXIT_PROBLEM;
}

int serve(const Options& options) {
    const pipeline::FileDescriptor stopSignals(takeStopSignals());
    pipeline::Control control;
    if (options.controlFd) {
        const std::string problem = control.open(*options.controlFd);
        if (!problem.empty()) {
            pipeline::report(problem);
            return EXIT_WRONG_USE;
        }
    }
    pipeline::Preview preview;
    if (options.previewFd) {
        const std::string problem = preview.open(*options.previewFd);
        if (!problem.empty()) {
            pipeline::report(problem);
            return EXIT_WRONG_USE;
        }
    }
    std::string problem;
    const pipeline::FileDescriptor lock = pipeline::becomeOnlyPipeline(problem);
    if (!lock.valid()) {
        // Reported once: a television itself reports what its pipeline sends.
        if (!control.present()) pipeline::report(problem);
        control.send("error " + problem);
        return EXIT_OTHER_PIPELINE;
    }
    pipeline::Pipeline server(std::move(control), std::move(preview), stopSignals.get());
    return server.run(options.clip);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        Options options;
        CLI::App app("Video pipeline of the simulated television", "aipq-video-pipeline");
        app.add_option("CLIP", options.clip,
                       "video file to play in a loop; without it, generated scenes are shown");
        app.add_flag("--check", options.check, "only try whether CLIP can be played");
        app.add_option("--control-fd", options.controlFd,
                       "open descriptor of the socket or pipe to be controlled by");
        app.add_option("--preview-fd", options.previewFd,
                       "open descriptor of the memory to leave previews in");
        try {
            app.parse(argc, argv);
            if (options.check && !options.clip) throw CLI::RequiredError("CLIP");
        } catch (const CLI::ParseError& error) {
            if (error.get_exit_code() == 0) return app.exit(error);
            const std::string problem = error.what();
            pipeline::report(problem.substr(0, problem.find('\n')));
            return EXIT_WRONG_USE;
        }
        return options.check ? check(*options.clip) : serve(options);
    } catch (const std::exception& error) {
        pipeline::report(error.what());
        return EXIT_PROBLEM;
    }
}
