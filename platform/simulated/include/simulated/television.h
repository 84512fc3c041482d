// The simulated television that the platform's calls of this process reach, from the television's side.
//
// Environment:
//   AIPQ_TV_LOG        what debug output prints on stderr: off, error (the default), info, trace
//   AIPQ_TV_VIDEO      what the screen shows: off, scenes (the default), or the path of a film
//   AIPQ_TV_CATALOGUE  a catalogue of keys to use instead of the built-in one
#ifndef SIMULATED_TELEVISION_H
#define SIMULATED_TELEVISION_H

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "simulated/model.h"

namespace zt {
namespace apmclient {
class AppManagerClient;
}
}  // namespace zt

namespace simulated {

// The process framework that clients ask for the model.
class Framework {
  public:
    // Look-ups are refused with `status`; 0 for none.
    void failLookups(int status);
    // Look-ups succeed, but the interface that they give has no root.
    void withholdRoot(bool withhold);
    // Since the last reset: look-ups of an interface, and questions for its root.
    unsigned lookups() const;
    unsigned rootQuestions() const;
    void reset();

    // For the platform's side.
    int lookUp(const std::string& name);
    bool givesRoot();

  private:
    mutable std::mutex m_mutex;
    int m_status = 0;
    bool m_withholdRoot = false;
    unsigned m_lookups = 0;
    unsigned m_rootQuestions = 0;
};

// The platform's debug output.
class DebugOutput {
  public:
    enum class Verbosity { OFF, ERROR, INFO, TRACE };

    // Receives each line that is on, with its level word, one at a time, on the thread that logs.
    using Sink = std::function<void(unsigned levelWord, const std::string& line)>;

    void setVerbosity(Verbosity verbosity);
    // Empty for the default, which prints readable lines on stderr.
    void setSink(Sink sink);
    // Verbosity from the environment, default sink.
    void reset();
};

// The platform's thread creation.
class ThreadCreation {
  public:
    struct Record {
        std::string file;
        int line;
    };

    // After `skip` more creations, the next `count` fail.
    void fail(unsigned count, unsigned skip = 0);
    // Since the last reset: threads created, and attribute objects initialised but not destroyed.
    std::vector<Record> created() const;
    int attributesInUse() const;
    void reset();

    // For the platform's side.
    bool mayCreate(const char* file, int line);
    void attributesChanged(int difference);

  private:
    mutable std::mutex m_mutex;
    unsigned m_skip = 0;
    unsigned m_failures = 0;
    int m_attributesInUse = 0;
    std::vector<Record> m_created;
};

// What becomes of an application, as its manager tells it.
enum class Lifecycle {
    RUNNING,
    SUSPEND,
    SUSPEND_EX,
    RESUME,
    RESUME_EX,
    STR_SUSPENDING,
    STR_SUSPEND,
    STR_RESUME,
    STR_RESUMING,
    DESTROY,
    GET_FOCUS,
    LOST_FOCUS,
    RESOURCE_READY,
    RELEASE_RESOURCE,
    UI_STATUS,
    EVENT_MESSAGE,
    KEY_EVENT,
};

// The application manager. Notifications are delivered one at a time, in order, on its own client thread.
class ApplicationManager {
  public:
    struct Report {
        std::string name;
        int status;
    };

    ApplicationManager();
    ~ApplicationManager();
    ApplicationManager(const ApplicationManager&) = delete;
    ApplicationManager& operator=(const ApplicationManager&) = delete;

    // Whether clients can reach it; they can at first.
    void setReachable(bool reachable);
    // Registrations are refused with `status`; 0 for none.
    void refuseRegistrations(int status);

    // Tells every registered application, or the one of this name. `text` is the parameter or the message,
    // `number` the reason, resource, status or key.
    void tell(Lifecycle news, const std::string& appUrl, const std::string& text = std::string(),
              int number = 0);
    void tellOne(const std::string& name, Lifecycle news, const std::string& appUrl,
                 const std::string& text = std::string(), int number = 0);

    // Waits until everything has been told; false if that takes longer. Not to be called from a notification.
    bool settle(std::chrono::milliseconds limit = std::chrono::seconds(30));

    // Registered now; and what applications reported, and answered to notifications, since the last reset.
    std::vector<std::string> applications() const;
    std::vector<Report> reports() const;
    std::vector<int> answers() const;

    // Reachable, nothing recorded or waiting to be told. Registrations stay.
    void reset();

    // What clients reach; null if it is not reachable.
    zt::apmclient::AppManagerClient* client();

  private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

// The video pipeline: a process of its own, which lives as long as the television is on.
class VideoPipeline {
  public:
    // Starts the process with a film, or with generated scenes for an empty `clip`, and waits until it shows
    // the first frame. False if it is running or cannot; error() then says why.
    bool start(const std::string& clip = std::string());
    // Switches it off; it removes the request queue and the capture block.
    void stop();
    // It dies, at once or in mid-work; start() brings it back.
    void kill();
    // It hangs, and goes on.
    void stall();
    void resume();
    bool running() const;
    std::string error() const;

    // Frames delivered since it was started.
    unsigned delivered() const;

    // Puts a picture setting in force, now or, if it does not run, from its start on. Does not wait.
    void applySetting(const std::string& name, const std::string& values);

    // Shows a generated scene; or, for an empty name, what it was started with. Does not wait, and lasts over
    // a restart.
    void showProgramme(const std::string& scene);
    // Stops and continues what it shows. Does not wait.
    void pause(bool paused);

    // Gives it a command (control.h of the pipeline lists them) and waits for its answer; false if it refused
    // or is not there.
    bool command(const std::string& line);

  private:
    class Connection;

    mutable std::mutex m_mutex;
    std::shared_ptr<Connection> m_connection;
    std::map<std::string, std::string> m_settings;
    std::string m_clip;
    std::string m_scene;
    std::string m_error;
};

// What the source-switch action does: it changes channel and source, and hands out and takes back resources.
// The channels are the rows of the channel list.
class SourceSwitch {
  public:
    // Errors that it answers with.
    static constexpr int ERROR_UNKNOWN_COMMAND = 22;
    static constexpr int ERROR_UNKNOWN_CHANNEL = 44;

    SourceSwitch(Model& model, VideoPipeline& video);

    // The row of the channel list that is on.
    std::size_t channel() const;
    // Resources that clients have taken: a set of bits, video 1, audio 2, PSI 4.
    int takenResources() const;
    // Whether digital television is playing.
    bool playing() const;
    void reset();

  private:
    Answer perform(const std::vector<lomodelapi::Argument>& arguments);
    Answer changeChannel(const std::vector<lomodelapi::Argument>& arguments);
    void show(const std::vector<std::string>& row, bool forceShowAV);

    Model& m_model;
    VideoPipeline& m_video;
    mutable std::mutex m_mutex;
    std::size_t m_channel = 0;
    int m_takenResources = 0;
    bool m_playing = true;
};

class Television {
  public:
    // The one of this process. It is there from the first call on, and never destroyed: clients may use it
    // until the very end.
    static Television& instance();

    Model& model() { return *m_model; }
    Framework& framework() { return m_framework; }
    DebugOutput& debugOutput() { return m_debugOutput; }
    ThreadCreation& threads() { return m_threads; }
    ApplicationManager& applications() { return m_applications; }
    VideoPipeline& video() { return m_video; }
    SourceSwitch& sourceSwitch() { return *m_sourceSwitch; }

    // As just switched on: no faults, every value at its default. Subscriptions and the pipeline stay.
    void reset();

    // Starts the pipeline as the environment says, the first time that it is called and unless it runs. What
    // keeps it from starting is said on stderr.
    void powerOn();

  private:
    Television();
    ~Television() = delete;

    std::unique_ptr<Model> m_model;
    Framework m_framework;
    DebugOutput m_debugOutput;
    ThreadCreation m_threads;
    ApplicationManager m_applications;
    VideoPipeline m_video;
    std::unique_ptr<SourceSwitch> m_sourceSwitch;
    std::once_flag m_poweredOn;
};

}  // namespace simulated

#endif
