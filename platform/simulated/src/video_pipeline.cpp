#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <limits>
#include <thread>

#include "simulated/television.h"

extern char** environ;

namespace simulated {

namespace {

constexpr char PROGRAM[] = "aipq-video-pipeline";
constexpr int CONTROL_FD = 3;
constexpr int PREVIEW_FD = 4;
constexpr std::size_t PREVIEW_BYTES = std::size_t{4} * 1280 * 720;
constexpr char DIED[] = "the video pipeline died";
constexpr auto START_LIMIT = std::chrono::seconds(20);
constexpr auto ANSWER_LIMIT = std::chrono::seconds(10);
constexpr auto PICTURE_LIMIT = std::chrono::seconds(1);
constexpr auto STOP_LIMIT = std::chrono::seconds(10);

// In the folder of this library (a build) or where programs for programs are installed; else on the PATH.
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

// What the pipeline leaves previews in. Neither side can resize it under the other.
class PreviewMemory {
  public:
    PreviewMemory() : m_fd(memfd_create("aipq-preview", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
        if (m_fd == -1) return;
        // Out of the way of the descriptors that the pipeline is given.
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

}  // namespace

// A running pipeline process and the socket that controls it. A thread of its own reads what the process
// says.
class VideoPipeline::Connection {
  public:
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
        auto connection = std::make_shared<Connection>(events, process, sockets[0], std::move(preview));
        if (connection->waitUntilReady(error)) return connection;
        connection->end(SIGKILL);
        return nullptr;
    }

    Connection(Events& events, pid_t process, int control, std::unique_ptr<const PreviewMemory> preview)
        : m_events(events),
          m_process(process),
          m_control(control),
          m_preview(std::move(preview)),
          m_reader([this] { read(); }) {}

    ~Connection() {
        end(SIGKILL);
        close(m_control);
    }

    bool isAlive() {
        const std::lock_guard lock(m_mutex);
        return !m_gone;
    }

    void signal(int number) { ::kill(m_process, number); }

    // Ends the process: 0 lets it go by itself once the socket is closed, any other number is the signal.
    void end(int signalNumber) {
        if (m_ended) return;
        m_ended = true;
        if (signalNumber != 0) signal(signalNumber);
        shutdown(m_control, SHUT_RDWR);
        m_reader.join();
        reap();
    }

    unsigned delivered() {
        const std::lock_guard lock(m_mutex);
        return m_delivered;
    }

    // Sends a command without waiting for its answer. One that the pipeline, hanging, has no room for is
    // lost.
    void post(const std::string& line) {
        const std::lock_guard lock(m_sendMutex);
        send(line);
    }

    // Sends a command; whether it was accepted.
    bool command(const std::string& line) {
        const unsigned ticket = sendExpectingAnswer(line);
        waitForAnswer(ticket, ANSWER_LIMIT);
        return takeAnswer(ticket) == "ok";
    }

    Picture picture(unsigned width, unsigned height) {
        const std::lock_guard pictureLock(m_pictureMutex);
        // The memory holds one picture: the pipeline is not asked for another while it may still draw one.
        const Picture hanging{0, 0, {}, "the video pipeline does not answer"};
        if (!waitForAnswer(m_pictureTicket, PICTURE_LIMIT)) return hanging;
        takeAnswer(m_pictureTicket);
        m_pictureTicket =
            sendExpectingAnswer("preview " + std::to_string(width) + 'x' + std::to_string(height));
        // It takes no command when it is dead, which its end tells soon, or when it hangs.
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
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, control, CONTROL_FD);
        posix_spawn_file_actions_adddup2(&actions, preview, PREVIEW_FD);
        // In a process group of its own: one that hangs when the television is killed is then ended by the
        // kernel, as nobody else could let it go on. It would hold off the next television's for ever.
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

    // The number of the command, under which its answer is kept until it is taken.
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

    // "ok" or "error TEXT"; empty if there is none.
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
            // Half a command would spoil the next one.
            shutdown(m_control, SHUT_RDWR);
        }
        return sent == static_cast<ssize_t>(text.size());
    }

    bool waitUntilReady(std::string& error) {
        std::unique_lock lock(m_mutex);
        const auto decided = [this] { return m_ready || m_gone || !m_failure.empty(); };
        if (!m_changed.wait_for(lock, START_LIMIT, decided)) {
            error = "the video pipeline does not start";
        } else if (!m_ready) {
            error = !m_failure.empty() ? m_failure : DIED;
        }
        return m_ready;
    }

    void read() {
        std::string input;
        char buffer[512];
        for (;;) {
            const ssize_t count = ::read(m_control, buffer, sizeof buffer);
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) break;
            input.append(buffer, static_cast<std::size_t>(count));
            for (std::size_t end; (end = input.find('\n')) != std::string::npos; input.erase(0, end + 1))
                handle(input.substr(0, end));
        }
        const std::lock_guard lock(m_mutex);
        m_gone = true;
        m_changed.notify_all();
    }

    void handle(const std::string& line) {
        if (line.rfind("delivered", 0) == 0) {
            countFrame();
            return;
        }
        const std::lock_guard lock(m_mutex);
        const bool isError = line.rfind("error", 0) == 0;
        if (line == "ready") {
            m_ready = true;
        } else if (!m_ready && isError) {
            m_failure = line.size() > 6 ? line.substr(6) : line;
        } else if (line == "ok" || isError) {
            ++m_answered;
            const auto waiting = m_answers.find(m_answered);
            if (waiting != m_answers.end()) waiting->second = line;
        }
        m_changed.notify_all();
    }

    void countFrame() {
        unsigned number = 0;
        {
            const std::lock_guard lock(m_mutex);
            number = ++m_delivered;
        }
        m_events.tell(FrameDelivered{number});
    }

    void reap() {
        const auto limit = std::chrono::steady_clock::now() + STOP_LIMIT;
        while (waitpid(m_process, nullptr, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > limit) signal(SIGKILL);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }

    Events& m_events;
    const pid_t m_process;
    const int m_control;
    const std::unique_ptr<const PreviewMemory> m_preview;
    bool m_ended = false;

    std::mutex m_sendMutex;
    unsigned m_sent = 0;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_ready = false;
    bool m_gone = false;
    std::string m_failure;
    unsigned m_delivered = 0;
    unsigned m_answered = 0;
    std::map<unsigned, std::string> m_answers;  // to the commands that somebody waits for, by number

    std::mutex m_pictureMutex;
    unsigned m_pictureTicket = NOT_SENT;  // of the last picture that was asked for

    std::thread m_reader;  // last: it uses all of the above
};

bool VideoPipeline::start(const std::string& clip) {
    const std::lock_guard lock(m_mutex);
    if (isAlive()) {
        m_error = "the video pipeline runs already";
        return false;
    }
    m_connection = Connection::open(m_events, clip, m_error);
    if (!m_connection) return false;
    m_clip = clip;
    m_error.clear();
    m_killed = false;
    m_stalled = false;
    for (const auto& [name, values] : m_settings) m_connection->post("set " + name + ' ' + values);
    if (!m_scene.empty()) m_connection->post("scene " + m_scene);
    m_events.tell(ShowVideo{clip.empty() ? "scenes" : clip});
    return true;
}

void VideoPipeline::stop() {
    const std::lock_guard lock(m_mutex);
    m_error.clear();
    m_killed = false;
    m_stalled = false;
    if (!m_connection) return;
    m_connection->signal(SIGCONT);
    m_connection->end(0);
    m_connection.reset();
    m_events.tell(ShowVideo{"off"});
}

void VideoPipeline::kill() {
    const std::lock_guard lock(m_mutex);
    if (!m_connection) return;
    // Somebody who waits for an answer may hold on to it for longer.
    m_connection->end(SIGKILL);
    m_connection.reset();
    m_error.clear();
    m_killed = true;
    m_stalled = false;
}

void VideoPipeline::stall() {
    const std::lock_guard lock(m_mutex);
    if (!isAlive()) return;
    m_connection->signal(SIGSTOP);
    m_stalled = true;
}

void VideoPipeline::resume() {
    const std::lock_guard lock(m_mutex);
    if (m_connection) m_connection->signal(SIGCONT);
    m_stalled = false;
}

bool VideoPipeline::isAlive() const { return m_connection && m_connection->isAlive(); }

bool VideoPipeline::running() const {
    const std::lock_guard lock(m_mutex);
    return isAlive();
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
    if (m_scene == scene) return;
    m_scene = scene;
    m_events.tell(ShowScene{scene});
    if (!m_connection) return;
    const std::string started = m_clip.empty() ? "scenes" : "clip " + m_clip;
    m_connection->post(scene.empty() ? started : "scene " + scene);
}

void VideoPipeline::pause(bool paused) {
    const std::lock_guard lock(m_mutex);
    if (m_connection) m_connection->post(paused ? "pause" : "play");
}

std::shared_ptr<VideoPipeline::Connection> VideoPipeline::connection() const {
    const std::lock_guard lock(m_mutex);
    return m_connection;
}

bool VideoPipeline::command(const std::string& line) {
    const std::shared_ptr<Connection> connection = this->connection();
    return connection && connection->command(line);
}

Picture VideoPipeline::picture(unsigned width, unsigned height) {
    if (const std::shared_ptr<Connection> connection = this->connection())
        return connection->picture(width, height);
    const std::lock_guard lock(m_mutex);
    if (!m_error.empty()) return {0, 0, {}, m_error};
    return {0, 0, {}, m_killed ? DIED : "the video pipeline is off"};
}

}  // namespace simulated
