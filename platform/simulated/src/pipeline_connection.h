#ifndef SIMULATED_PIPELINE_CONNECTION_H
#define SIMULATED_PIPELINE_CONNECTION_H

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "preview_memory.h"
#include "simulated/video_pipeline.h"

namespace simulated {

// A pipeline process and the socket that controls it.
class VideoPipeline::Connection {
  public:
    // The events that the process reports. Called on the thread of serve().
    struct Handlers {
        std::function<void()> onReady;                    // its first frame is on the screen
        std::function<void(std::optional<Film>)> onFilm;  // another film is on the screen, or none
    };

    // Starts the process. The caller must then call serve() once.
    static std::shared_ptr<Connection> open(Events& events, const std::string& clip, std::string& error);

    Connection(Events& events, pid_t process, int control, std::unique_ptr<const PreviewMemory> preview);

    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Handles the process's messages until it ends: its socket closes then. Returns how the process ended, or
    // the error that it reported before its first frame.
    std::string serve(const Handlers& handlers);

    // Does nothing once the process has ended: another process may then have its number.
    void signal(int number);

    // Stops the process and waits until it has stopped. The kernel ends it together with the television only
    // if it has stopped by then.
    void stop();

    // Sends the signal and closes the socket, which makes a running process end by itself. Does not wait.
    void end(int signalNumber);

    unsigned delivered();

    // Sends a command without waiting for its answer. The command is lost if the pipeline hangs and its
    // socket buffer is full.
    void post(const std::string& line);

    // Sends a command. Returns whether the pipeline accepted it.
    bool command(const std::string& line);

    Picture picture(unsigned width, unsigned height);

  private:
    static int spawn(const std::string& clip, int control, int preview, pid_t& process);

    static constexpr unsigned NOT_SENT = 0;
    static constexpr unsigned NEVER_SENT = std::numeric_limits<unsigned>::max();

    // Returns the number of the command. Its answer is kept under this number until takeAnswer().
    unsigned sendExpectingAnswer(const std::string& line);

    bool waitForAnswer(unsigned ticket, std::chrono::seconds limit);

    // Returns "ok" or "error TEXT"; empty without an answer.
    std::string takeAnswer(unsigned ticket);

    bool send(const std::string& line);

    void read(const Handlers& handlers);

    void handle(const std::string& line, const Handlers& handlers);

    void countFrame();

    // Waits for the end of this process only: other children belong to other parts of the program. In a
    // program that ignores SIGCHLD, the exit status is unknown.
    std::string reap();

    Events& m_events;
    const pid_t m_process;
    const int m_control;
    const std::unique_ptr<const PreviewMemory> m_preview;

    // Used only on the thread that serves.
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

}  // namespace simulated

#endif
