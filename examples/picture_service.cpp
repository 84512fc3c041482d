// A small AI picture-quality service: measures the current film, adapts the picture settings by rules, and
// writes a report.
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "arguments.h"
#include "file.h"
#include "message.h"
#include "picture_service/picture_service.h"
#include "picture_service/report.h"
#include "picture_service/timeline.h"

namespace {

// Blocks Ctrl-C and similar signals, and polls for them. Create it before any thread starts: threads inherit
// the blocked signals.
class StopSignals {
  public:
    StopSignals() {
        sigemptyset(&m_signals);
        sigaddset(&m_signals, SIGINT);
        sigaddset(&m_signals, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &m_signals, nullptr);
    }

    bool arrived() {
        const timespec now{};
        m_arrived = m_arrived || sigtimedwait(&m_signals, nullptr, &now) > 0;
        return m_arrived;
    }

  private:
    sigset_t m_signals;
    bool m_arrived = false;
};

int fail(const std::string& what) {
    complain("picture_service", what);
    return EXIT_FAILURE;
}

// Tested before the film is watched, so that the service fails early.
bool canWriteInto(const std::string& folder, std::string& error) {
    std::string probe = folder + "/.probe-XXXXXX";
    const int file = mkstemp(probe.data());
    if (file == -1) {
        error = "cannot write into " + folder + ": " + std::strerror(errno);
        return false;
    }
    close(file);
    unlink(probe.c_str());
    return true;
}

bool saveReport(const std::string& folder, PictureService& service, std::string& error) {
    const std::string path = folder + "/report.html";
    if (!saveFile(path, makeReport(service.playing(), service.history()), error)) return false;
    std::printf("  %s: each scene before and after, what was decided and why; open it in a browser\n",
                safeText(path).c_str());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App arguments(
        "Measures the film that plays on the television and adapts its picture settings by rules: tone, "
        "colour, sharpness, noise reduction, MEMC and colour tuner. Nothing in it is learned.");
    std::string folder;
    double seconds = 24;
    arguments.add_option("FOLDER", folder, "where the report goes")->required();
    arguments.add_option("--seconds", seconds, "how long to work; Ctrl-C ends it earlier")
        ->capture_default_str()
        ->check(isSeconds());
    parseArguments(arguments, argc, argv);

    std::string error;
    if (!canWriteInto(folder, error)) return fail(error);

    StopSignals signals;
    Timeline timeline;
    PictureService service(timeline);
    const auto stop = [&] { return timeline.seconds() >= seconds || signals.arrived(); };
    const int result = service.run(stop, error) ? EXIT_SUCCESS : fail(error);
    // A television that left does not make the measurements worthless.
    if (result != EXIT_SUCCESS && service.history().shown.empty()) return result;
    service.printSummary();
    return saveReport(folder, service, error) ? result : fail(error);
}
