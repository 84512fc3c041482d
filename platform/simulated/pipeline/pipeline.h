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
#include "picture.h"
#include "request_server.h"

namespace pipeline {

// Joins what is on, the picture settings, the requests and the control line, all in one thread. Only the
// opening of a clip, which may take seconds, runs beside it.
class Pipeline {
  public:
    // stopSignals is a signalfd() for the signals that end the process.
    Pipeline(Control control, int stopSignals) : control_(std::move(control)), stopSignals_(stopSignals) {}
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;
    ~Pipeline();

    // Serves until it is told to stop; without a clip, the generated scenes. The answer is the exit code.
    int run(const std::optional<std::string>& clip);

  private:
    enum class End { NotYet, StopSignal, SwitchedOff, Failed };

    End turn();
    void openClipBeside(const std::string& path);
    bool opening() const { return opening_.valid(); }
    bool finishOpening();
    void show(std::unique_ptr<FrameSource> source);
    void serveRequest();
    void executeCommands();
    std::string execute(const std::string& line);
    std::string showScene(std::string_view name);
    void reportEverywhere(const std::string& problem);

    Control control_;
    int stopSignals_;
    RequestServer server_;
    PictureSettings picture_;
    std::unique_ptr<FrameSource> source_;  // null until the clip of the command line is there
    unsigned long delivered_ = 0;
    bool cannotRender_ = false;

    std::stop_source stopOpening_;
    std::future<OpenedClip> opening_;
};

}  // namespace pipeline

#endif
