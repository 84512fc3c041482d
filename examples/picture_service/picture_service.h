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

// The AI picture-quality service: measures what plays, decides by rules, and changes the picture settings.
// Everything happens on the thread that runs it, but for the library's callbacks.
class PictureService {
  public:
    explicit PictureService(Timeline& timeline);

    // Works until `stop` says so, and then puts the settings back. False, with the reason in `error`, if it
    // could not go on.
    bool run(const std::function<bool()>& stop, std::string& error);

    const History& history() const { return m_history; }
    // What the television shows.
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
    // False if the television is away.
    bool readSettings();
    void noticePresence();
    bool putSettingsBack();

    Timeline& m_timeline;
    TelevisionWatch m_watch;
    PictureControl m_control;
    FrameGrabber m_grabber;
    std::optional<SceneJudge> m_judge;
    History m_history;

    // Since when the television is away.
    std::optional<double> m_awaySince;
    Clock::time_point m_nextRequest;
    // Whether nothing moved when the frame under way was requested.
    bool m_restAtRequest = false;
    // The film's frame before, to find cuts and motion.
    std::optional<Frame> m_lastFilm;
    // When a cut was seen after which nothing has been decided.
    std::optional<double> m_cutAt;
    // The film's frame that the last episode is about.
    Frame m_episodeFilm;
    unsigned m_decisions = 0;
};

#endif
