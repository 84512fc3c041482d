// Plays and records scenarios for clients on the bus: at most one playback and one recording at a time.
#ifndef AIPQ_TELEVISION_SCENARIO_SERVICE_H
#define AIPQ_TELEVISION_SCENARIO_SERVICE_H

#include <chrono>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <tuple>

#include "bus_connection.h"
#include "notification_thread.h"
#include "simulated/scenario_player.h"
#include "simulated/scenario_recorder.h"
#include "worker_pool.h"

namespace television {

// Returns one line of text about a step, with the line break.
std::string stepLine(std::chrono::milliseconds time, const std::string& done);

class ScenarioService {
  public:
    static constexpr char OBJECT[] = "/aipq/television/scenarios";
    static constexpr char INTERFACE[] = "aipq.television.Scenarios";
    // The D-Bus error for a malformed scenario.
    static constexpr char BAD_SCENARIO[] = "aipq.television.Error.BadScenario";
    // The signal that carries new text of a recording.
    static constexpr char RECORDED[] = "Recorded";

    // Create it before starting the connection's thread. All arguments must outlive it.
    ScenarioService(simulated::Television& television, remote::BusConnection& connection,
                    WorkerPool& workers);

    // Starts playing a scenario. Throws sdbus::Error if another scenario is playing.
    std::shared_ptr<simulated::ScenarioPlayer> start(simulated::Scenario scenario, double speed,
                                                     simulated::ScenarioPlayer::Listener listener);

    // Stops the scenario that is playing.
    void stop();
    bool plays();

  private:
    // Plays a scenario to its end. Returns the outcome and, after a failure, the reason.
    std::tuple<std::string, std::string> play(const std::string& name, const std::string& text, double speed);
    // Records until StopRecording. A recording with an owner also stops when the owner leaves the bus.
    void record(const std::string& title, const std::string& owner);
    std::string stopRecording();
    bool isOnBus(const std::string& owner);
    void ownerLeft(const std::string& name);
    // Sends the signal on a separate thread, because the caller may hold locks of the television.
    void announceRecorded(const std::string& text);
    void announce(const simulated::ScenarioPlayer::Progress& progress);

    simulated::Television& m_television;
    remote::BusConnection& m_connection;
    std::unique_ptr<sdbus::IObject> m_object;
    std::mutex m_mutex;
    std::shared_ptr<simulated::ScenarioPlayer> m_player;

    // The connection's thread locks it too; that thread must not wait for a thread that sends.
    std::mutex m_ownersMutex;
    std::set<std::string> m_owners;  // the bus names of the clients that record

    remote::NotificationThread m_announcer;
    std::string m_owner;                                      // of the recording; empty if it has none
    std::unique_ptr<simulated::ScenarioRecorder> m_recorder;  // last: it uses the announcer
};

}  // namespace television

#endif
