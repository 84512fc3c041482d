#ifndef EXAMPLES_PICTURE_SERVICE_PICTURE_SERVICE_H
#define EXAMPLES_PICTURE_SERVICE_PICTURE_SERVICE_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "frame_grabber.h"
#include "history.h"
#include "picture_control.h"
#include "scene_judge.h"
#include "television_watch.h"
#include "timeline.h"

// The AI picture-quality service: measures the current film, decides by rules, and changes the picture
// settings. Everything except the library's callbacks runs on the thread that calls run().
class PictureService {
  public:
    explicit PictureService(Timeline& timeline);

    // Works until `stop` returns true, and then restores the settings. Returns false, with the reason in
    // `error`, if it could not continue.
    bool run(const std::function<bool()>& stop, std::string& error);

    const History& history() const { return m_history; }
    // The source, format and HDR type that are shown.
    std::string playing() { return m_watch.playing(); }
    void printSummary() const;

  private:
    using Clock = std::chrono::steady_clock;

    bool work(const std::function<bool()>& stop, std::string& error);
    void requestFrame();
    void onFrame(Frame frame);
    void beginEpisode(const Decision& decision, const Shot& shot, const Measurement& measured);
    void apply(const Decision& decision);
    void followScene(const Shot& shot);
    // Returns false if the television is away.
    bool readSettings();
    void noticePresence();
    bool putSettingsBack();

    Timeline& m_timeline;
    TelevisionWatch m_watch;
    PictureControl m_control;
    FrameGrabber m_grabber;
    std::optional<SceneJudge> m_judge;
    History m_history;

    // The start of the television's absence.
    std::optional<double> m_awaySince;
    Clock::time_point m_nextRequest;
    // Whether no setting was changing when the pending frame was requested.
    bool m_restAtRequest = false;
    // The previous frame of the film, for the detection of cuts and motion.
    std::optional<Frame> m_lastFilm;
    // The time of a cut after which no decision has been made.
    std::optional<double> m_cutAt;
    // The film's frame of the last episode.
    Frame m_episodeFilm;
    unsigned m_decisions = 0;
};

#endif
