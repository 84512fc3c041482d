// The video pipeline of the simulated television.
#ifndef SIMULATED_VIDEO_PIPELINE_H
#define SIMULATED_VIDEO_PIPELINE_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "simulated/events.h"

namespace simulated {

// The current picture of the screen.
struct Picture {
    unsigned width = 0;
    unsigned height = 0;
    std::vector<std::uint8_t> rgba;  // rows from the top, without padding; empty if there is no picture
    std::string problem;             // the reason if there is no picture
};

// A film on the screen.
struct Film {
    std::string format;   // size, p or i, and rate, like "1920x1080p@50"; empty while the film is at its end
    std::string hdrType;  // "sdr", "hdr_10" or "hdr_hlg"

    friend bool operator==(const Film& left, const Film& right) {
        return left.format == right.format && left.hdrType == right.hdrType;
    }
};

// The video pipeline: a separate process, from start() to stop() or kill(). When the process dies by itself,
// it is started again.
class VideoPipeline {
  public:
    // The pauses before new starts. After the last new start, a pipeline that dies stays off. A pipeline that
    // has run for `lasting` gets all new starts again.
    struct Restarts {
        std::vector<std::chrono::milliseconds> pauses{std::chrono::milliseconds(500), std::chrono::seconds(1),
                                                      std::chrono::seconds(2), std::chrono::seconds(4),
                                                      std::chrono::seconds(8)};
        std::chrono::milliseconds lasting = std::chrono::minutes(10);
    };

    explicit VideoPipeline(Events& events) : m_events(events) {}
    ~VideoPipeline();
    VideoPipeline(const VideoPipeline&) = delete;
    VideoPipeline& operator=(const VideoPipeline&) = delete;

    // Returns why a film cannot be played; empty if it can. Opens it in a separate process, and waits for
    // it.
    static std::string problemWith(const std::string& film);
    // Returns whether a film can be played; if not, error() has the reason. Does not change what runs.
    bool accepts(const std::string& film);

    // Starts the process with a film, or with generated scenes for an empty `clip`. Waits until it shows the
    // first frame. Returns false if it runs already or cannot start; error() then has the reason.
    bool start(const std::string& clip = std::string());
    // Switches it off. The process removes the request queue and the capture block, unless a client uses
    // them.
    void stop();
    // Sends SIGKILL. The pipeline stays dead until start(). Returns false if it is off.
    bool kill();
    // stall() sends SIGSTOP, resume() sends SIGCONT.
    void stall();
    void resume();
    // Also false between the death of the process and its new start.
    bool running() const;
    // Since the last start().
    bool killed() const;
    bool stalled() const;
    // The film of the last start(); empty for generated scenes.
    std::string clip() const;
    std::string error() const;
    // The reason why it does not run; empty if it runs.
    std::string problem() const;

    // The film that is on the screen; none while generated scenes or nothing is.
    std::optional<Film> film() const;
    // Called after each change of film(), on the pipeline's thread. It must not start or stop the pipeline.
    void onFilm(std::function<void()> listener);

    // Used from the next death of the process on.
    void setRestarts(Restarts restarts);

    // The number of frames that the current process has delivered.
    unsigned delivered() const;

    // Applies a picture setting: now, or at the next start if the pipeline does not run. Does not wait.
    void applySetting(const std::string& name, const std::string& values);

    // Shows a generated scene, or, for an empty name, the film or the scenes of the last start(). Does not
    // wait. Also applies after a new start.
    void showProgramme(const std::string& scene);
    // The scene of the last showProgramme(); empty for the film or the scenes of the last start().
    std::string programme() const;
    // Shows the picture of this source: a card with its name or, for "TV", the programme. A film stays on
    // every source. Does not wait. Also applies after a new start, until showProgramme().
    void showSource(const std::string& source);
    // Pauses and continues the film or the scene. Does not wait. Also applies after a new start.
    void pause(bool paused);

    // Sends a command (control.h of the pipeline lists them) and waits for its answer. Returns false if it is
    // refused, or if the pipeline does not run.
    bool command(const std::string& line);

    // The current picture with the current picture settings, in this size (at most 1280 x 720 pixels). Does
    // not use the clients' capture block and queue. Waits two seconds at most for a pipeline that hangs.
    Picture picture(unsigned width, unsigned height);

  private:
    class Connection;

    void watch(std::promise<bool> first);
    void becomeReady(bool again);
    void showsFilm(std::optional<Film> film);
    bool end(int signalNumber);
    std::shared_ptr<Connection> connection() const;
    std::string showCommand() const;

    Events& m_events;
    std::mutex m_operation;  // held by a start, stop or kill; locked before m_mutex
    std::thread m_watcher;   // runs from a start to the next operation; reads the messages of the process

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::shared_ptr<Connection> m_connection;  // to the process; null without a process
    bool m_on = false;                         // the process runs, or will be started again
    bool m_running = false;                    // the process has shown its first frame
    Restarts m_restarts;
    std::map<std::string, std::string> m_settings;
    std::string m_clip;
    std::optional<Film> m_film;
    std::function<void()> m_onFilm;
    bool m_killed = false;
    bool m_stalled = false;
    bool m_paused = false;
    std::string m_scene;
    std::string m_input;  // the name on the card; empty for the programme
    std::string m_error;
};

}  // namespace simulated

#endif
