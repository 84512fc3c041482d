#include "pipeline_connection.h"

#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <thread>
#include <utility>
#include <vector>

#include "pipeline_program.h"

extern char** environ;

namespace simulated {

namespace {

constexpr int CONTROL_FD = 3;
constexpr int PREVIEW_FD = 4;
constexpr auto START_LIMIT = std::chrono::seconds(20);
constexpr auto ANSWER_LIMIT = std::chrono::seconds(10);
constexpr auto PICTURE_LIMIT = std::chrono::seconds(1);
constexpr auto STOP_LIMIT = std::chrono::seconds(10);

using Clock = std::chrono::steady_clock;

// Parses "FORMAT HDR", with "-" for no format. Returns no film for "off".
std::optional<Film> filmIn(const std::string& text) {
    const std::size_t blank = text.find(' ');
    if (blank == std::string::npos) return std::nullopt;
    const std::string format = text.substr(0, blank);
    return Film{format == "-" ? std::string() : format, text.substr(blank + 1)};
}

}  // namespace

std::shared_ptr<VideoPipeline::Connection> VideoPipeline::Connection::open(Events& events,
                                                                           const std::string& clip,
                                                                           std::string& error) {
    auto preview = std::make_unique<PreviewMemory>(PREVIEW_FD + 1);
    if (preview->pixels() == nullptr) {
        error = std::string("memory for the picture: ") + std::strerror(errno);
        return nullptr;
    }
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) {
        error = std::string("socketpair: ") + std::strerror(errno);
        return nullptr;
    }
    pid_t process = -1;
    const int status = spawn(clip, sockets[1], preview->fd(), process);
    close(sockets[1]);
    if (status != 0) {
        close(sockets[0]);
        error = std::string(PIPELINE_PROGRAM) + ": " + std::strerror(status);
        return nullptr;
    }
    return std::make_shared<Connection>(events, process, sockets[0], std::move(preview));
}

VideoPipeline::Connection::Connection(Events& events, pid_t process, int control,
                                      std::unique_ptr<const PreviewMemory> preview)
    : m_events(events), m_process(process), m_control(control), m_preview(std::move(preview)) {}

VideoPipeline::Connection::~Connection() { close(m_control); }

std::string VideoPipeline::Connection::serve(const Handlers& handlers) {
    read(handlers);
    {
        const std::lock_guard lock(m_mutex);
        m_gone = true;
        m_changed.notify_all();
    }
    const std::string end = reap();
    return m_failure.empty() ? end : m_failure;
}

void VideoPipeline::Connection::signal(int number) {
    const std::lock_guard lock(m_mutex);
    if (!m_reaped) ::kill(m_process, number);
}

void VideoPipeline::Connection::stop() {
    const std::lock_guard lock(m_mutex);
    if (m_reaped || ::kill(m_process, SIGSTOP) != 0) return;
    siginfo_t change{};
    while (waitid(P_PID, static_cast<id_t>(m_process), &change, WSTOPPED | WEXITED | WNOWAIT) != 0 &&
           errno == EINTR) {
    }
}

void VideoPipeline::Connection::end(int signalNumber) {
    signal(signalNumber);
    shutdown(m_control, SHUT_RDWR);
}

unsigned VideoPipeline::Connection::delivered() {
    const std::lock_guard lock(m_mutex);
    return m_delivered;
}

void VideoPipeline::Connection::post(const std::string& line) {
    const std::lock_guard lock(m_sendMutex);
    send(line);
}

bool VideoPipeline::Connection::command(const std::string& line) {
    const unsigned ticket = sendExpectingAnswer(line);
    waitForAnswer(ticket, ANSWER_LIMIT);
    return takeAnswer(ticket) == "ok";
}

Picture VideoPipeline::Connection::picture(unsigned width, unsigned height) {
    const std::lock_guard pictureLock(m_pictureMutex);
    // The memory holds one picture. The next request waits until the pipeline has drawn the last picture.
    const Picture hanging{0, 0, {}, "the video pipeline does not answer"};
    if (!waitForAnswer(m_pictureTicket, PICTURE_LIMIT)) return hanging;
    takeAnswer(m_pictureTicket);
    m_pictureTicket = sendExpectingAnswer("preview " + std::to_string(width) + 'x' + std::to_string(height));
    // If the command could not be sent, the pipeline hangs or is dead; a dead pipeline ends this wait soon.
    const unsigned awaited = m_pictureTicket != NOT_SENT ? m_pictureTicket : NEVER_SENT;
    if (!waitForAnswer(awaited, PICTURE_LIMIT)) return hanging;

    const std::string answer = takeAnswer(m_pictureTicket);
    if (answer.empty()) return {0, 0, {}, PIPELINE_DIED};
    if (answer != "ok") return {0, 0, {}, answer.substr(std::strlen("error "))};
    const std::uint8_t* const pixels = m_preview->pixels();
    return {width, height, {pixels, pixels + std::size_t{4} * width * height}, {}};
}

int VideoPipeline::Connection::spawn(const std::string& clip, int control, int preview, pid_t& process) {
    const std::string program = pipelineProgramPath();
    const std::string controlFd = std::to_string(CONTROL_FD);
    const std::string previewFd = std::to_string(PREVIEW_FD);
    std::vector<std::string> words{PIPELINE_PROGRAM, "--control-fd", controlFd, "--preview-fd", previewFd};
    if (!clip.empty()) words.insert(words.end(), {"--", clip});
    const std::vector<char*> arguments = argumentsOf(words);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, control, CONTROL_FD);
    posix_spawn_file_actions_adddup2(&actions, preview, PREVIEW_FD);
    // In a separate process group: if the television is killed while its pipeline is stopped, the kernel
    // ends the pipeline. Otherwise it would stay, and no other television could have a pipeline.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    const int status =
        posix_spawnp(&process, program.c_str(), &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return status;
}

unsigned VideoPipeline::Connection::sendExpectingAnswer(const std::string& line) {
    const std::lock_guard sendLock(m_sendMutex);
    const unsigned ticket = m_sent + 1;
    {
        const std::lock_guard lock(m_mutex);
        m_answers[ticket].clear();
    }
    if (send(line)) return ticket;
    takeAnswer(ticket);
    return NOT_SENT;
}

bool VideoPipeline::Connection::waitForAnswer(unsigned ticket, std::chrono::seconds limit) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, limit, [&] { return m_gone || m_answered >= ticket; });
}

std::string VideoPipeline::Connection::takeAnswer(unsigned ticket) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_answers.extract(ticket);
    return found ? found.mapped() : std::string();
}

bool VideoPipeline::Connection::send(const std::string& line) {
    const std::string text = line + '\n';
    const ssize_t sent = ::send(m_control, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent == static_cast<ssize_t>(text.size())) {
        ++m_sent;
    } else if (sent > 0) {
        // After half a command, the pipeline would misread the next one.
        shutdown(m_control, SHUT_RDWR);
    }
    return sent == static_cast<ssize_t>(text.size());
}

void VideoPipeline::Connection::read(const Handlers& handlers) {
    const auto limit = Clock::now() + START_LIMIT;
    std::string input;
    char buffer[512];
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit - Clock::now()).count();
        pollfd control{m_control, POLLIN, 0};
        const int changes = poll(&control, 1, m_ready ? -1 : static_cast<int>(std::max<Clock::rep>(left, 0)));
        if (changes == 0) {
            m_failure = "the video pipeline does not start";
            signal(SIGKILL);
            return;
        }
        const ssize_t count = changes > 0 ? ::read(m_control, buffer, sizeof buffer) : -1;
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return;
        input.append(buffer, static_cast<std::size_t>(count));
        for (std::size_t end; (end = input.find('\n')) != std::string::npos; input.erase(0, end + 1))
            handle(input.substr(0, end), handlers);
    }
}

void VideoPipeline::Connection::handle(const std::string& line, const Handlers& handlers) {
    const bool isError = line.rfind("error", 0) == 0;
    if (line.rfind("delivered", 0) == 0) {
        countFrame();
    } else if (line.rfind("film ", 0) == 0) {
        handlers.onFilm(filmIn(line.substr(std::strlen("film "))));
    } else if (line == "ready") {
        m_ready = true;
        handlers.onReady();
    } else if (!m_ready && isError) {
        m_failure = line.size() > 6 ? line.substr(6) : line;
    } else if (line == "ok" || isError) {
        const std::lock_guard lock(m_mutex);
        ++m_answered;
        const auto waiting = m_answers.find(m_answered);
        if (waiting != m_answers.end()) waiting->second = line;
        m_changed.notify_all();
    }
}

void VideoPipeline::Connection::countFrame() {
    unsigned number = 0;
    {
        const std::lock_guard lock(m_mutex);
        number = ++m_delivered;
    }
    m_events.publish(FrameDelivered{number});
}

std::string VideoPipeline::Connection::reap() {
    for (const auto limit = Clock::now() + STOP_LIMIT;;
         std::this_thread::sleep_for(std::chrono::milliseconds(2))) {
        if (Clock::now() > limit) signal(SIGKILL);
        const std::lock_guard lock(m_mutex);
        int status = 0;
        const pid_t ended = waitpid(m_process, &status, WNOHANG);
        if (ended == 0) continue;
        m_reaped = true;
        if (ended != m_process) return PIPELINE_DIED;
        const std::string how = WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status)) + ", " +
                                                          strsignal(WTERMSIG(status))
                                                    : "exit status " + std::to_string(WEXITSTATUS(status));
        return PIPELINE_DIED + (" (" + how + ")");
    }
}

}  // namespace simulated
