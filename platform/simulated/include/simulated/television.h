// The television's side of the simulated television that this process's platform calls reach.
//
// Environment:
//   AIPQ_TV_LOG        the level of the debug output on stderr: off, error (the default), info, trace
//   AIPQ_TV_VIDEO      the video on the screen: off, scenes (the default), or the path of a film
//   AIPQ_TV_CATALOGUE  a catalogue of keys to use instead of the built-in one
#ifndef SIMULATED_TELEVISION_H
#define SIMULATED_TELEVISION_H

#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>

#include "simulated/application_manager.h"
#include "simulated/debug_output.h"
#include "simulated/events.h"
#include "simulated/framework.h"
#include "simulated/lifecycle.h"
#include "simulated/model.h"
#include "simulated/source_switch.h"
#include "simulated/thread_creation.h"
#include "simulated/video_pipeline.h"

namespace simulated {

class Television {
  public:
    // The television of this process. The first call creates it. It is never destroyed, because clients may
    // use it until the process ends.
    static Television& instance();

    Model& model() { return *m_model; }
    Framework& framework() { return m_framework; }
    DebugOutput& debugOutput() { return m_debugOutput; }
    ThreadCreation& threads() { return m_threads; }
    ApplicationManager& applications() { return m_applications; }
    VideoPipeline& video() { return m_video; }
    SourceSwitch& sourceSwitch() { return *m_sourceSwitch; }
    Events& events() { return m_events; }

    // Clears all faults and sets every value to its default. Subscriptions and the pipeline stay.
    void reset();

    // The first call starts the pipeline as the environment requests, unless it runs. A failed start is
    // reported on stderr.
    void powerOn();

    // Suspends to RAM. Notifies every application that it loses the focus and is suspended, that the
    // television is suspending, and that it suspends now; stops the picture. Does not wait for the
    // applications. Does nothing if the television is suspended.
    void suspend();
    // Notifies every application that the television is back, is resuming, that the application is resumed
    // and has the focus; continues the picture. Does nothing if the television is not suspended.
    void resume();
    bool suspended() const;
    // The video format that resume() restores; valid only while the television is suspended.
    Value suspendedFormat() const;

    // Shows the film of this path, "scenes" or "off". Starts, stops or restarts the pipeline if necessary.
    // Returns false on failure; the pipeline's error() then has the reason. If a film cannot be played, the
    // current video stays.
    bool showVideo(const std::string& video);

  private:
    Television();
    ~Television() = delete;

    void notifyEach(std::initializer_list<Lifecycle> notification);
    void describeFilm();

    Events m_events;
    std::unique_ptr<Model> m_model;
    Framework m_framework;
    DebugOutput m_debugOutput;
    ThreadCreation m_threads;
    ApplicationManager m_applications{m_events};
    VideoPipeline m_video{m_events};
    std::unique_ptr<SourceSwitch> m_sourceSwitch;
    std::once_flag m_poweredOn;
    mutable std::mutex m_powerMutex;
    bool m_suspended = false;
    Value m_suspendedFormat;  // of the video that was running before the suspend
};

}  // namespace simulated

#endif
