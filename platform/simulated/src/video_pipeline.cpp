#include <dlfcn.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <thread>

#include "simulated/television.h"

extern char** environ;

namespace simulated {

namespace {

constexpr char PROGRAM[] = "aipq-video-pipeline";
constexpr int CONTROL_FD = 3;
constexpr auto START_LIMIT = std::chrono::seconds(20);
constexpr auto ANSWER_LIMIT = std::chrono::seconds(10);
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

}  // namespace

// A running pipeline process and the socket that controls it. A thread of its own reads what the process
// says.
class VideoPipeline::Connection {
  public:
    static std::shared_ptr<Connection> open(const std::string& clip, std::string& error) {
        int sockets[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) {
            error = std::string("socketpair: ") + std::strerror(errno);
            return nullptr;
        }
        pid_t process = -1;
        const int status = spawn(clip, sockets[1], process);
        close(sockets[1]);
        if (status != 0) {
            close(sockets[0]);
            error = std::string(PROGRAM) + ": " + std::strerror(status);
            return nullptr;
        }
        auto connection = std::make_shared<Connection>(process, sockets[0]);
        if (connection->waitUntilReady(error)) return connection;
        connection->end(SIGKILL);
        return nullptr;
    }

    Connection(pid_t process, int control)
        : m_process(process), m_control(control), m_reader([this] { read(); }) {}

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
        unsigned ticket = 0;
        {
            const std::lock_guard sendLock(m_sendMutex);
            ticket = m_sent + 1;
            {
                const std::lock_guard lock(m_mutex);
                m_accepted[ticket] = false;
            }
            send(line);
        }
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, ANSWER_LIMIT, [&] { return m_gone || m_answered >= ticket; });
        const bool accepted = m_accepted[ticket];
        m_accepted.erase(ticket);
        return accepted;
    }

  private:
    static int spawn(const std::string& clip, int control, pid_t& process) {
        const std::string program = programPath();
        const std::string controlFd = std::to_string(CONTROL_FD);
        std::vector<std::string> words{PROGRAM, "--control-fd", controlFd};
        if (!clip.empty()) words.insert(words.end(), {"--", clip});
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, control, CONTROL_FD);
        const int status =
            posix_spawnp(&process, program.c_str(), &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        return status;
    }

    void send(const std::string& line) {
        const std::string text = line + '\n';
        const ssize_t sent = ::send(m_control, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent == static_cast<ssize_t>(text.size())) {
            ++m_sent;
        } else if (sent > 0) {
            // Half a command would spoil the next one.
            shutdown(m_control, SHUT_RDWR);
        }
    }

    bool waitUntilReady(std::string& error) {
        std::unique_lock lock(m_mutex);
        const auto decided = [this] { return m_ready || m_gone || !m_failure.empty(); };
        if (!m_changed.wait_for(lock, START_LIMIT, decided)) {
            error = "the video pipeline does not start";
        } else if (!m_ready) {
            error = !m_failure.empty() ? m_failure : "the video pipeline died";
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
        const std::lock_guard lock(m_mutex);
        const bool isError = line.rfind("error", 0) == 0;
        if (line == "ready") {
            m_ready = true;
        } else if (!m_ready && isError) {
            m_failure = line.size() > 6 ? line.substr(6) : line;
        } else if (line.rfind("delivered", 0) == 0) {
            ++m_delivered;
        } else if (line == "ok" || isError) {
            ++m_answered;
            const auto waiting = m_accepted.find(m_answered);
            if (waiting != m_accepted.end()) waiting->second = !isError;
        }
        m_changed.notify_all();
    }

    void reap() {
        const auto limit = std::chrono::steady_clock::now() + STOP_LIMIT;
        while (waitpid(m_process, nullptr, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > limit) signal(SIGKILL);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }

    const pid_t m_process;
    const int m_control;
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
    std::map<unsigned, bool> m_accepted;  // of the commands that somebody waits for, by number

    std::thread m_reader;  // last: it uses all of the above
};

bool VideoPipeline::start(const std::string& clip) {
    const std::lock_guard lock(m_mutex);
    if (m_connection && m_connection->isAlive()) {
        m_error = "the video pipeline runs already";
        return false;
    }
    m_connection = Connection::open(clip, m_error);
    if (!m_connection) return false;
    m_clip = clip;
    for (const auto& [name, values] : m_settings) m_connection->post("set " + name + ' ' + values);
    if (!m_scene.empty()) m_connection->post("scene " + m_scene);
    return true;
}

void VideoPipeline::stop() {
    const std::lock_guard lock(m_mutex);
    if (!m_connection) return;
    m_connection->signal(SIGCONT);
    m_connection->end(0);
    m_connection.reset();
}

void VideoPipeline::kill() {
    const std::lock_guard lock(m_mutex);
    m_connection.reset();
}

void VideoPipeline::stall() {
    const std::lock_guard lock(m_mutex);
    if (m_connection) m_connection->signal(SIGSTOP);
}

void VideoPipeline::resume() {
    const std::lock_guard lock(m_mutex);
    if (m_connection) m_connection->signal(SIGCONT);
}

bool VideoPipeline::running() const {
    const std::lock_guard lock(m_mutex);
    return m_connection && m_connection->isAlive();
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
    if (!m_connection) return;
    const std::string started = m_clip.empty() ? "scenes" : "clip " + m_clip;
    m_connection->post(scene.empty() ? started : "scene " + scene);
}

void VideoPipeline::pause(bool paused) {
    const std::lock_guard lock(m_mutex);
    if (m_connection) m_connection->post(paused ? "pause" : "play");
}

bool VideoPipeline::command(const std::string& line) {
    std::shared_ptr<Connection> connection;
    {
        const std::lock_guard lock(m_mutex);
        connection = m_connection;
    }
    return connection && connection->command(line);
}

}  // namespace simulated
