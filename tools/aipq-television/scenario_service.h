// Plays and records scenarios for others on the bus: one at a time of each.
#ifndef AIPQ_TELEVISION_SCENARIO_SERVICE_H
#define AIPQ_TELEVISION_SCENARIO_SERVICE_H

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <tuple>

#include "line.h"
#include "notification_thread.h"
#include "simulated/scenario_player.h"
#include "simulated/scenario_recorder.h"
#include "worker_pool.h"

namespace television {

// The text of a scenario's file; none if it cannot be read or is too large for a scenario.
std::optional<std::string> readScenario(const std::string& file);

// For people, with the end of the line.
std::string stepLine(std::chrono::milliseconds time, const std::string& done);

class ScenarioService {
  public:
    static constexpr char OBJECT[] = "/aipq/television/scenarios";
    static constexpr char INTERFACE[] = "aipq.television.Scenarios";
    // The error of a text that is no scenario.
    static constexpr char BAD_SCENARIO[] = "aipq.television.Error.BadScenario";
    // Carries the text of a recording as it grows.
    static constexpr char RECORDED[] = "Recorded";

    // To be made before the line's thread is started. All of them must outlive it.
    ScenarioService(simulated::Television& television, remote::Line& line, WorkerPool& workers);

    // Plays a scenario from now on. Throws sdbus::Error if one plays already.
    std::shared_ptr<simulated::ScenarioPlayer> start(simulated::Scenario scenario, double speed,
                                                     simulated::ScenarioPlayer::Listener listener);

    // Ends what plays.
    void stop();
    bool plays();

  private:
    // Plays it to its end; what came of it, and why it failed.
    std::tuple<std::string, std::string> play(const std::string& name, const std::string& text, double speed);
    // Records until StopRecording, or, for an owner, until it leaves the bus.
    void record(const std::string& title, const std::string& owner);
    std::string stopRecording();
    bool isOnBus(const std::string& owner);
    void ownerLeft(const std::string& name);
    // Sends a signal on a thread of its own: it may be called with parts of the television locked.
    void announceRecorded(const std::string& text);
    void tell(const simulated::ScenarioPlayer::Progress& progress);

    simulated::Television& m_television;
    remote::Line& m_line;
    std::unique_ptr<sdbus::IObject> m_object;
    std::mutex m_mutex;
    std::shared_ptr<simulated::ScenarioPlayer> m_player;

    // Of the line's thread, too, which must not wait for a thread that sends.
    std::mutex m_ownersMutex;
    std::set<std::string> m_owners;  // on the bus, of recordings that have been asked for

    remote::NotificationThread m_announcer;
    std::string m_owner;                                      // of the recording; empty if it has none
    std::unique_ptr<simulated::ScenarioRecorder> m_recorder;  // last: it uses the announcer
};

}  // namespace television

#endif
