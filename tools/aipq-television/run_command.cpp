#include "run_command.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "catalogue/text_file.h"
#include "children.h"
#include "exit_code.h"
#include "keeper.h"
#include "report.h"
#include "run_folder.h"
#include "scenario_service.h"

namespace television {

namespace {

// Opens the closed standard streams until the command starts, so that no other file gets their descriptors.
void occupyStandardStreams() {
    int fd = -1;
    do {
        fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd >= 0) ::close(fd);
}

simulated::Scenario loadScenario(const std::string& file, const std::vector<simulated::KeyDefinition>& keys) {
    try {
        return simulated::parseScenario(catalogue::readTextFile(file), file, keys);
    } catch (const std::runtime_error& error) {
        throw BadFile(error.what());
    }
}

int openLog(const std::string& file) {
    const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666);
    if (fd < 0) throw BadFile("cannot write the log " + file + ": " + std::strerror(errno));
    return fd;
}

// Stops this process until SIGCONT, like the signal's default action.
void stop() {
    sigset_t signal;
    ::sigemptyset(&signal);
    ::sigaddset(&signal, SIGTSTP);
    ::raise(SIGTSTP);
    ::pthread_sigmask(SIG_UNBLOCK, &signal, nullptr);
    ::pthread_sigmask(SIG_BLOCK, &signal, nullptr);
}

// Forwards signals to the keeper until it ends. Returns its wait status.
int follow(pid_t keeper) {
    sigset_t signals = forwardedSignals();
    ::sigaddset(&signals, SIGCHLD);
    for (;;) {
        siginfo_t signal{};
        const int number = ::sigwaitinfo(&signals, &signal);
        int status = 0;
        if (number == SIGCHLD && ::waitpid(keeper, &status, WNOHANG) == keeper) return status;
        if (number < 0 || number == SIGCHLD) continue;
        // The terminal sends the signal of a key to the whole process group, but a hangup to one process
        // only.
        const bool fromKey = signal.si_code == SI_KERNEL && number != SIGHUP && number != SIGCONT;
        sigval value{};
        value.sival_int = fromKey ? COMMAND_HAS_IT : FOR_COMMAND;
        ::sigqueue(keeper, number, value);
        if (number == SIGTSTP) stop();
    }
}

int exitCodeOf(int keeperStatus) {
    if (WIFEXITED(keeperStatus)) return WEXITSTATUS(keeperStatus);
    return report(EXIT_TELEVISION_DIED, "the television's keeper was killed");
}

}  // namespace

int runCommand(const RunOptions& options, char** words) {
    occupyStandardStreams();
    Run run{options.television, {}, -1, options.log, options.command, words, {}, {}};
    const std::vector<simulated::KeyDefinition> keys = loadKeys(options.television);
    // A relative path would break if the command changed its working directory.
    if (!options.television.catalogue.empty())
        ::setenv("AIPQ_TV_CATALOGUE", std::filesystem::absolute(options.television.catalogue).c_str(), 1);
    if (!options.scenario.empty()) run.scenario = loadScenario(options.scenario, keys);
    if (run.scenario && !run.scenario->video.empty()) run.television.video = run.scenario->video;
    checkFilm(run.television.video);
    if (!options.log.empty()) run.log = openLog(options.log);

    sigset_t blocked = forwardedSignals();
    ::sigaddset(&blocked, SIGCHLD);
    ::sigaddset(&blocked, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &run.signalMask);
    run.childAction = std::signal(SIGCHLD, SIG_DFL);
    adoptOrphans();
    try {
        const RunFolder folder;
        const pid_t caller = ::getpid();
        // The children of the program that this process ran before aipq-television, such as a shell.
        const std::vector<pid_t> earlierChildren = children();
        const pid_t keeper = startChild(SIGCHLD);
        if (keeper == 0) std::exit(keep(run, folder, caller));
        const int status = follow(keeper);
        if (!WIFEXITED(status)) killDescendants(earlierChildren);
        folder.remove();
        return exitCodeOf(status);
    } catch (const std::runtime_error& error) {
        return report(EXIT_NOT_STARTED, error.what());
    }
}

}  // namespace television
