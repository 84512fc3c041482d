#ifndef PIPELINE_PIPELINE_H
#define PIPELINE_PIPELINE_H

#include <future>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>

#include "clip_source.h"
#include "control.h"
#include "frame_source.h"
#include "preview.h"
#include "request_server.h"
#include "simulated_picture/picture.h"

namespace pipeline {

// Serves the source, the picture settings, the requests and the control connection in one thread. Only
// opening a clip, which may take seconds, runs in another thread.
class Pipeline {
  public:
    // `stopSignals` is a signalfd() for the signals that end the process.
    Pipeline(Control control, Preview preview, int stopSignals)
        : m_control(std::move(control)), m_preview(std::move(preview)), m_stopSignals(stopSignals) {}
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;
    ~Pipeline();

    // Serves until a signal or the television ends it. Without a clip, shows the generated scenes. Returns
    // the exit code.
    int run(const std::optional<std::string>& clip);

  private:
    enum class End { NotYet, StopSignal, SwitchedOff, Failed };

    End turn();
    void openClipBeside(const std::string& path);
    bool opening() const { return m_opening.valid(); }
    bool finishOpening();
    void show(std::unique_ptr<FrameSource> source);
    bool render(Image& image);
    void serveRequest();
    void executeCommands();
    std::string execute(const std::string& line);
    std::string showScene(std::string_view name);
    void tellFilm();
    void reportEverywhere(const std::string& problem);

    Control m_control;
    Preview m_preview;
    int m_stopSignals;
    RequestServer m_server;
    simulated::PictureSettings m_picture;
    std::unique_ptr<FrameSource> m_source;  // null until the clip of the command line is open
    std::string m_film;                     // the last `film` event sent to the television
    unsigned long m_delivered = 0;
    bool m_cannotRender = false;

    std::stop_source m_stopOpening;
    std::future<OpenedClip> m_opening;
};

}  // namespace pipeline

#endif
