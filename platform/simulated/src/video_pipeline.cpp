#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <iostream>
#include <iterator>
#include <limits>
#include <optional>
#include <sstream>
#include <utility>

#include "simulated/television.h"

extern char** environ;

namespace simulated {

namespace {

constexpr char PROGRAM[] = "aipq-video-pipeline";
constexpr int CONTROL_FD = 3;
constexpr int PREVIEW_FD = 4;
constexpr std::size_t PREVIEW_BYTES = std::size_t{4} * 1280 * 720;
constexpr std::size_t CARD_MAX_LENGTH = 16;
constexpr char DIED[] = "the video pipeline died";
constexpr auto START_LIMIT = std::chrono::seconds(20);
constexpr auto ANSWER_LIMIT = std::chrono::seconds(10);
constexpr auto PICTURE_LIMIT = std::chrono::seconds(1);
constexpr auto STOP_LIMIT = std::chrono::seconds(10);

using Clock = std::chrono::steady_clock;

// The program is in this library's folder (a build) or in the libexec folder (installed), otherwise on the
// PATH.
std::string programPath() {
    Dl_info self;
    if (dladdr(PROGRAM, &self) != 0 && self.dli_fname != nullptr) {
        const std::string library = self.dli_fname;
        const std::size_t slash = library.rfind('/');
        const std::string folder = slash == std::string::npos ? "." : library.substr(0, slash);
        for (const char* place :
             {"/", "/../libexec/platform_adaptation/", "/../../libexec/platform_adaptation/"}) {
            std::string path = folder + place + PROGRAM;
            if (access(path.c_str(), X_OK) == 0) return path;
        }
    }
    return PROGRAM;
}

// The memory that the pipeline writes previews to. Neither side can resize it while the other uses it.
class PreviewMemory {
  public:
    PreviewMemory() : m_fd(memfd_create("aipq-preview", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
        if (m_fd == -1) return;
        // Above the numbers of the pipeline's own descriptors.
        const int high = fcntl(m_fd, F_DUPFD_CLOEXEC, PREVIEW_FD + 1);
        close(m_fd);
        m_fd = high;
        if (m_fd == -1 || ftruncate(m_fd, PREVIEW_BYTES) != 0) return;
        fcntl(m_fd, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL);
        void* const address = mmap(nullptr, PREVIEW_BYTES, PROT_READ, MAP_SHARED, m_fd, 0);
        if (address != MAP_FAILED) m_pixels = static_cast<const std::uint8_t*>(address);
    }
    PreviewMemory(const PreviewMemory&) = delete;
    PreviewMemory& operator=(const PreviewMemory&) = delete;
    ~PreviewMemory() {
        if (m_pixels != nullptr) munmap(const_cast<std::uint8_t*>(m_pixels), PREVIEW_BYTES);
        if (m_fd != -1) close(m_fd);
    }

    int fd() const { return m_fd; }
    // Null if there is no memory.
    const std::uint8_t* pixels() const { return m_pixels; }

  private:
    int m_fd;
    const std::uint8_t* m_pixels = nullptr;
};

using Pause = std::optional<std::chrono::milliseconds>;

// Describes what follows the death of a video pipeline: a new start after the pause, or none.
std::string describeNext(Pause pause, std::size_t tries, std::size_t mostTries, const std::string& clip) {
    std::ostringstream text;
    if (pause) {
        text << "; next try in " << std::chrono::duration<double>(*pause).count() << " s (" << tries << " of "
             << mostTries << ')';
    } else {
        text << "; given up after " << mostTries << " tries: ";
        if (!clip.empty()) text << "check the film '" << clip << "', then ";
        text << "switch the video on again";
    }
    return text.str();
}

bool isLetterOrDigit(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }

// One write, because other threads and processes write to this stream, too.
void report(const std::string& line) { std::cerr << "simulated television: " + line + '\n'; }

// The words of a program for posix_spawn(), which does not change them.
std::vector<char*> argumentsOf(std::vector<std::string>& words) {
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    return arguments;
}

// Everything that is written to the descriptor until its end, or until the limit.
std::string readAll(int fd, Clock::time_point limit) {
    std::string text;
    char part[512];
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit - Clock::now()).count();
        pollfd input{fd, POLLIN, 0};
        const int changes = poll(&input, 1, static_cast<int>(std::max<Clock::rep>(left, 0)));
        if (changes < 0 && errno == EINTR) continue;
        const ssize_t count = changes > 0 ? ::read(fd, part, sizeof part) : -1;
        if (count <= 0) return text;
        text.append(part, static_cast<std::size_t>(count));
    }
}

// What the pipeline itself says among the lines, which may have others' words.
std::string reportIn(const std::string& lines) {
    const std::string beginning = PROGRAM + std::string(": ");
    std::istringstream input(lines);
    for (std::string line; std::getline(input, line);)
        if (line.rfind(beginning, 0) == 0) return line.substr(beginning.size());
    return {};
}

}  // namespace

// A pipeline process and the socket that controls it.
class VideoPipeline::Connection {
  public:
    // Starts the process. Its owner then calls serve(), once.
    static std::shared_ptr<Connection> open(Events& events, const std::string& clip, std::string& error) {
        auto preview = std::make_unique<PreviewMemory>();
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
            error = std::string(PROGRAM) + ": " + std::strerror(status);
            return nullptr;
        }
        return std::make_shared<Connection>(events, process, sockets[0], std::move(preview));
    }

    Connection(Events& events, pid_t process, int control, std::unique_ptr<const PreviewMemory> preview)
        : m_events(events), m_process(process), m_control(control), m_preview(std::move(preview)) {}

    ~Connection() { close(m_control); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Handles the process's messages until it ends: its socket closes then. Calls `onReady` when the process
    // shows its first frame. Returns how the process ended, or the error that it reported before its first
    // frame.
    std::string serve(const std::function<void()>& onReady) {
        read(onReady);
        {
            const std::lock_guard lock(m_mutex);
            m_gone = true;
            m_changed.notify_all();
        }
        const std::string end = reap();
        return m_failure.empty() ? end : m_failure;
    }

    // Does nothing once the process has ended: another process may then have its number.
    void signal(int number) {
        const std::lock_guard lock(m_mutex);
        if (!m_reaped) ::kill(m_process, number);
    }

    // Stops the process and waits until it has stopped. The kernel ends it together with the television only if
    // it has stopped by then.
    void stop() {
        const std::lock_guard lock(m_mutex);
        if (m_reaped || ::kill(m_process, SIGSTOP) != 0) return;
        siginfo_t change{};
        while (waitid(P_PID, static_cast<id_t>(m_process), &change, WSTOPPED | WEXITED | WNOWAIT) != 0 &&
               errno == EINTR) {
        }
    }

    // Sends the signal and closes the socket, on which a process that runs ends by itself. Does not wait.
    void end(int signalNumber) {
        signal(signalNumber);
        shutdown(m_control, SHUT_RDWR);
    }

    unsigned delivered() {
        const std::lock_guard lock(m_mutex);
        return m_delivered;
    }

    // Sends a command without waiting for its answer. The command is lost if the pipeline hangs and its
    // socket buffer is full.
    void post(const std::string& line) {
        const std::lock_guard lock(m_sendMutex);
        send(line);
    }

    // Sends a command. Returns whether the pipeline accepted it.
    bool command(const std::string& line) {
        const unsigned ticket = sendExpectingAnswer(line);
        waitForAnswer(ticket, ANSWER_LIMIT);
        return takeAnswer(ticket) == "ok";
    }

    Picture picture(unsigned width, unsigned height) {
        const std::lock_guard pictureLock(m_pictureMutex);
        // The memory holds one picture. The next request waits until the pipeline has drawn the last picture.
        const Picture hanging{0, 0, {}, "the video pipeline does not answer"};
        if (!waitForAnswer(m_pictureTicket, PICTURE_LIMIT)) return hanging;
        takeAnswer(m_pictureTicket);
        m_pictureTicket =
            sendExpectingAnswer("preview " + std::to_string(width) + 'x' + std::to_string(height));
        // A command that could not be sent: the pipeline hangs, or it is dead, which ends this wait soon.
        const unsigned awaited = m_pictureTicket != NOT_SENT ? m_pictureTicket : NEVER_SENT;
        if (!waitForAnswer(awaited, PICTURE_LIMIT)) return hanging;

        const std::string answer = takeAnswer(m_pictureTicket);
        if (answer.empty()) return {0, 0, {}, DIED};
        if (answer != "ok") return {0, 0, {}, answer.substr(std::strlen("error "))};
        const std::uint8_t* const pixels = m_preview->pixels();
        return {width, height, {pixels, pixels + std::size_t{4} * width * height}, {}};
    }

  private:
    static int spawn(const std::string& clip, int control, int preview, pid_t& process) {
        const std::string program = programPath();
        const std::string controlFd = std::to_string(CONTROL_FD);
        const std::string previewFd = std::to_string(PREVIEW_FD);
        std::vector<std::string> words{PROGRAM, "--control-fd", controlFd, "--preview-fd", previewFd};
        if (!clip.empty()) words.insert(words.end(), {"--", clip});
        const std::vector<char*> arguments = argumentsOf(words);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, control, CONTROL_FD);
        posix_spawn_file_actions_adddup2(&actions, preview, PREVIEW_FD);
        // In a process group of its own: if the television is killed while its pipeline is stopped, the
        // kernel ends the pipeline. Otherwise it would stay, and no other television could have a pipeline.
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

    static constexpr unsigned NOT_SENT = 0;
    static constexpr unsigned NEVER_SENT = std::numeric_limits<unsigned>::max();

    // Returns the number of the command. Its answer is kept under this number until takeAnswer().
    unsigned sendExpectingAnswer(const std::string& line) {
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

    bool waitForAnswer(unsigned ticket, std::chrono::seconds limit) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, limit, [&] { return m_gone || m_answered >= ticket; });
    }

    // Returns "ok" or "error TEXT"; empty if there is no answer.
    std::string takeAnswer(unsigned ticket) {
        const std::lock_guard lock(m_mutex);
        const auto found = m_answers.extract(ticket);
        return found ? found.mapped() : std::string();
    }

    bool send(const std::string& line) {
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

    void read(const std::function<void()>& onReady) {
        const auto limit = Clock::now() + START_LIMIT;
        std::string input;
        char buffer[512];
        for (;;) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit - Clock::now()).count();
            pollfd control{m_control, POLLIN, 0};
            const int changes =
                poll(&control, 1, m_ready ? -1 : static_cast<int>(std::max<Clock::rep>(left, 0)));
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
                handle(input.substr(0, end), onReady);
        }
    }

    void handle(const std::string& line, const std::function<void()>& onReady) {
        const bool isError = line.rfind("error", 0) == 0;
        if (line.rfind("delivered", 0) == 0) {
            countFrame();
        } else if (line == "ready") {
            m_ready = true;
            onReady();
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

    void countFrame() {
        unsigned number = 0;
        {
            const std::lock_guard lock(m_mutex);
            number = ++m_delivered;
        }
        m_events.tell(FrameDelivered{number});
    }

    // Waits for the end of this process only: other children belong to other parts of the program. How it
    // ended is unknown in a program that ignores SIGCHLD.
    std::string reap() {
        for (const auto limit = Clock::now() + STOP_LIMIT;;
             std::this_thread::sleep_for(std::chrono::milliseconds(2))) {
            if (Clock::now() > limit) signal(SIGKILL);
            const std::lock_guard lock(m_mutex);
            int status = 0;
            const pid_t ended = waitpid(m_process, &status, WNOHANG);
            if (ended == 0) continue;
            m_reaped = true;
            if (ended != m_process) return DIED;
            const std::string how =
                WIFSIGNALED(status)
                    ? "signal " + std::to_string(WTERMSIG(status)) + ", " + strsignal(WTERMSIG(status))
                    : "exit status " + std::to_string(WEXITSTATUS(status));
            return DIED + (" (" + how + ")");
        }
    }

    Events& m_events;
    const pid_t m_process;
    const int m_control;
    const std::unique_ptr<const PreviewMemory> m_preview;

    // For the thread that serves.
    bool m_ready = false;
    std::string m_failure;

    std::mutex m_sendMutex;
    unsigned m_sent = 0;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_gone = false;
    bool m_reaped = false;
    unsigned m_delivered = 0;
    unsigned m_answered = 0;
    std::map<unsigned, std::string> m_answers;  // to the commands whose answers are awaited, by number

    std::mutex m_pictureMutex;
    unsigned m_pictureTicket = NOT_SENT;  // of the last picture request
};

VideoPipeline::~VideoPipeline() { end(SIGKILL); }

std::string VideoPipeline::problemWith(const std::string& film) {
    int pipe[2];
    if (pipe2(pipe, O_CLOEXEC) != 0) return std::string("pipe: ") + std::strerror(errno);
    const std::string program = programPath();
    std::vector<std::string> words{PROGRAM, "--check", "--", film};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, pipe[1], STDERR_FILENO);
    pid_t process = -1;
    const int status =
        posix_spawnp(&process, program.c_str(), &actions, nullptr, argumentsOf(words).data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(pipe[1]);
    if (status != 0) {
        close(pipe[0]);
        return std::string(PROGRAM) + ": " + std::strerror(status);
    }
    const auto limit = Clock::now() + START_LIMIT;
    const std::string problem = reportIn(readAll(pipe[0], limit));
    close(pipe[0]);
    const bool inTime = Clock::now() < limit;
    if (!inTime) ::kill(process, SIGKILL);
    int end = 0;
    pid_t ended = 0;
    while ((ended = waitpid(process, &end, 0)) == -1 && errno == EINTR) {
    }
    const std::string begin = "cannot play '" + film + "': ";
    if (!inTime) return begin + "it does not open in time";
    if (problem.empty() && ended == process && end != 0) return begin + DIED;
    return problem;
}

bool VideoPipeline::accepts(const std::string& film) {
    const std::string problem = problemWith(film);
    const std::lock_guard lock(m_mutex);
    if (!problem.empty()) m_error = problem;
    return problem.empty();
}

bool VideoPipeline::start(const std::string& clip) {
    const std::lock_guard operation(m_operation);
    if (running()) {
        const std::lock_guard lock(m_mutex);
        m_error = "the video pipeline runs already";
        return false;
    }
    end(SIGKILL);  // a dead pipeline that waits for its next start
    std::promise<bool> ready;
    std::future<bool> isReady = ready.get_future();
    std::unique_lock lock(m_mutex);
    const std::string before = std::exchange(m_clip, clip);
    m_watcher = std::thread(&VideoPipeline::watch, this, std::move(ready));
    m_on = true;
    lock.unlock();
    const bool started = isReady.get();
    lock.lock();
    if (!started) {
        m_clip = before;
        return false;
    }
    m_events.tell(ShowVideo{clip.empty() ? "scenes" : clip});
    return true;
}

// On the watcher's thread: starts processes until the pipeline is switched off or has died too often. `first`
// gets whether the first process became ready.
void VideoPipeline::watch(std::promise<bool> first) {
    bool wasReady = false;
    std::unique_lock lock(m_mutex);
    for (std::size_t tries = 0; m_on;) {
        const auto begin = Clock::now();
        m_connection = Connection::open(m_events, m_clip, m_error);
        if (const std::shared_ptr<Connection> connection = m_connection) {
            // The process reads these commands when it is ready.
            for (const auto& [name, values] : m_settings) connection->post("set " + name + ' ' + values);
            const std::string started = m_clip.empty() ? "scenes" : "clip " + m_clip;
            if (showCommand() != started) connection->post(showCommand());
            if (m_paused) connection->post("pause");
            lock.unlock();
            const std::string end = connection->serve([&] {
                becomeReady(wasReady);
                if (!std::exchange(wasReady, true)) first.set_value(true);
            });
            lock.lock();
            m_error = end;
        }
        m_connection.reset();
        m_running = false;
        m_stalled = false;
        if (!wasReady) {
            m_on = false;
            first.set_value(false);
        }
        if (!m_on) return;

        if (Clock::now() - begin >= m_restarts.lasting) tries = 0;
        const std::size_t mostTries = m_restarts.pauses.size();
        const Pause pause = tries < mostTries ? Pause(m_restarts.pauses[tries]) : std::nullopt;
        m_error += describeNext(pause, ++tries, mostTries, m_clip);
        m_on = pause.has_value();
        report(m_error);
        m_events.tell(PipelineDied{m_error, pause});
        if (pause) m_changed.wait_for(lock, *pause, [this] { return !m_on; });
    }
}

void VideoPipeline::becomeReady(bool again) {
    const std::lock_guard lock(m_mutex);
    if (!m_on) return;
    m_running = true;
    m_killed = false;
    m_error.clear();
    if (!again) return;
    report("the video pipeline runs again");
    m_events.tell(PipelineRestarted{});
}

// Ends the pipeline without a new start. Returns whether it was on.
bool VideoPipeline::end(int signalNumber) {
    std::unique_lock lock(m_mutex);
    const bool wasOn = std::exchange(m_on, false);
    if (m_connection) m_connection->end(signalNumber);
    m_changed.notify_all();
    lock.unlock();
    if (m_watcher.joinable()) m_watcher.join();
    return wasOn;
}

void VideoPipeline::stop() {
    const std::lock_guard operation(m_operation);
    const bool wasOn = end(SIGCONT);
    const std::lock_guard lock(m_mutex);
    m_error.clear();
    m_killed = false;
    if (wasOn) m_events.tell(ShowVideo{"off"});
}

bool VideoPipeline::kill() {
    const std::lock_guard operation(m_operation);
    if (!end(SIGKILL)) return false;
    const std::lock_guard lock(m_mutex);
    m_error.clear();
    m_killed = true;
    return true;
}

void VideoPipeline::stall() {
    const std::lock_guard lock(m_mutex);
    if (!m_running) return;
    m_connection->stop();
    m_stalled = true;
}

void VideoPipeline::resume() {
    const std::lock_guard lock(m_mutex);
    if (m_connection) m_connection->signal(SIGCONT);
    m_stalled = false;
}

void VideoPipeline::setRestarts(Restarts restarts) {
    const std::lock_guard lock(m_mutex);
    m_restarts = std::move(restarts);
}

bool VideoPipeline::running() const {
    const std::lock_guard lock(m_mutex);
    return m_running;
}

bool VideoPipeline::killed() const {
    const std::lock_guard lock(m_mutex);
    return m_killed;
}

bool VideoPipeline::stalled() const {
    const std::lock_guard lock(m_mutex);
    return m_stalled;
}

std::string VideoPipeline::clip() const {
    const std::lock_guard lock(m_mutex);
    return m_clip;
}

std::string VideoPipeline::error() const {
    const std::lock_guard lock(m_mutex);
    return m_error;
}

std::string VideoPipeline::problem() const {
    const std::lock_guard lock(m_mutex);
    if (m_running) return {};
    if (!m_error.empty()) return m_error;
    return m_killed ? DIED : "the video pipeline is off";
}

unsigned VideoPipeline::delivered() const {
    const std::lock_guard lock(m_mutex);
    return m_connection ? m_connection->delivered() : 0;
}

void VideoPipeline::applySetting(const std::string& name, const std::string& values) {
    const std::lock_guard lock(m_mutex);
    m_settings[name] = values;
    if (m_connection) m_connection->post("set " + name + ' ' + values);
}

void VideoPipeline::showProgramme(const std::string& scene) {
    const std::lock_guard lock(m_mutex);
    if (m_scene == scene && m_input.empty()) return;
    m_scene = scene;
    m_input.clear();
    m_events.tell(ShowScene{scene});
    if (m_connection) m_connection->post(showCommand());
}

void VideoPipeline::showSource(const std::string& source) {
    std::string input;
    if (source != "TV")
        std::copy_if(source.begin(), source.end(), std::back_inserter(input), isLetterOrDigit);
    input.resize(std::min(input.size(), CARD_MAX_LENGTH));
    const std::lock_guard lock(m_mutex);
    const std::string before = showCommand();
    m_input = input;
    if (m_connection && showCommand() != before) m_connection->post(showCommand());
}

// What makes the process show what is on now.
std::string VideoPipeline::showCommand() const {
    if (!m_clip.empty() && (!m_input.empty() || m_scene.empty())) return "clip " + m_clip;
    if (!m_input.empty()) return "input " + m_input;
    return m_scene.empty() ? "scenes" : "scene " + m_scene;
}

std::string VideoPipeline::programme() const {
    const std::lock_guard lock(m_mutex);
    return m_scene;
}

void VideoPipeline::pause(bool paused) {
    const std::lock_guard lock(m_mutex);
    m_paused = paused;
    if (m_connection) m_connection->post(paused ? "pause" : "play");
}

std::shared_ptr<VideoPipeline::Connection> VideoPipeline::connection() const {
    const std::lock_guard lock(m_mutex);
    return m_running ? m_connection : nullptr;
}

bool VideoPipeline::command(const std::string& line) {
    const std::shared_ptr<Connection> connection = this->connection();
    return connection && connection->command(line);
}

Picture VideoPipeline::picture(unsigned width, unsigned height) {
    if (const std::shared_ptr<Connection> connection = this->connection())
        return connection->picture(width, height);
    return {0, 0, {}, problem()};
}

}  // namespace simulated
