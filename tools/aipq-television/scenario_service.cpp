#include "scenario_service.h"

#include <array>
#include <cstdio>
#include <future>
#include <stdexcept>

#include "bus_method.h"
#include "printable.h"
#include "safe_text.h"

namespace television {

namespace {

const char* outcomeName(simulated::ScenarioPlayer::Outcome outcome) {
    using Outcome = simulated::ScenarioPlayer::Outcome;
    switch (outcome) {
        case Outcome::FINISHED:
            return "finished";
        case Outcome::FAILED:
            return "failed";
        case Outcome::STOPPED:
            break;
    }
    return "stopped";
}

}  // namespace

std::string stepLine(std::chrono::milliseconds time, const std::string& done) {
    std::array<char, 32> seconds{};
    std::snprintf(seconds.data(), seconds.size(), "%8.2f", static_cast<double>(time.count()) / 1000);
    return seconds.data() + (" s  " + safeText(done)) + '\n';
}

ScenarioService::ScenarioService(simulated::Television& television, remote::BusConnection& connection,
                                 WorkerPool& workers)
    : m_television(television),
      m_connection(connection),
      m_object(sdbus::createObject(connection.bus(), OBJECT)) {
    using Nothing = std::tuple<>;
    bus::MethodAdder methods(*m_object, INTERFACE, connection, workers);
    methods.add<std::string, std::string, double>("Play", {{"name", "text", "speed"}, {"outcome", "why"}},
                                                  [this](const std::string& name, const std::string& text,
                                                         double speed) { return play(name, text, speed); });
    methods.add<>("Stop", {}, [this] {
        stop();
        return Nothing();
    });
    methods.add<std::string>("Record", {{"title"}, {}}, [this](const std::string& title) {
        record(title, "");
        return Nothing();
    });
    methods.addFor<std::string>("RecordForCaller", {{"title"}, {}}, [this](const std::string& caller) {
        const std::lock_guard lock(m_ownersMutex);
        m_owners.insert(caller);
        return [this, caller](const std::string& title) {
            record(title, caller);
            return Nothing();
        };
    });
    methods.add<>("StopRecording", {{}, {"text"}}, [this] { return std::tuple(stopRecording()); });
    // Announces a finished step; `time` is in milliseconds since the start of the scenario.
    m_object->registerSignal(INTERFACE, "Step", "uxs", {"line", "time", "text"});
    m_object->registerSignal(INTERFACE, RECORDED, "s", {"text"});
    m_object->finishRegistration();
    connection.bus().addMatch(
        "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged'",
        [this, &workers](sdbus::Message& message) {
            std::string name;
            std::string before;
            std::string now;
            message >> name >> before >> now;
            const std::lock_guard lock(m_ownersMutex);
            if (now.empty() && m_owners.erase(name) != 0) workers.run([this, name] { ownerLeft(name); });
        },
        sdbus::floating_slot);
}

std::shared_ptr<simulated::ScenarioPlayer> ScenarioService::start(
    simulated::Scenario scenario, double speed, simulated::ScenarioPlayer::Listener listener) {
    const std::lock_guard lock(m_mutex);
    if (m_player && !m_player->result()) bus::refuse(bus::REFUSED, "a scenario is already playing");
    m_player = std::make_shared<simulated::ScenarioPlayer>(m_television, std::move(scenario),
                                                           std::move(listener), speed);
    return m_player;
}

void ScenarioService::stop() {
    const std::lock_guard lock(m_mutex);
    if (m_player) m_player->stop();
}

bool ScenarioService::plays() {
    const std::lock_guard lock(m_mutex);
    return m_player && !m_player->result();
}

std::tuple<std::string, std::string> ScenarioService::play(const std::string& name, const std::string& text,
                                                           double speed) {
    simulated::Scenario scenario;
    try {
        scenario = simulated::parseScenario(text, name, m_television.model().keys());
    } catch (const std::runtime_error& error) {
        bus::refuse(BAD_SCENARIO, printable(error.what()));
    }
    const auto result =
        start(std::move(scenario), speed, {[this](const auto& progress) { announce(progress); }})->wait();
    return {outcomeName(result.outcome), printable(result.text)};
}

void ScenarioService::record(const std::string& title, const std::string& owner) {
    const std::lock_guard lock(m_mutex);
    if (m_recorder) bus::refuse(bus::REFUSED, "a scenario is already being recorded");
    simulated::ScenarioRecorder::Listener onText;
    if (!owner.empty()) onText = [this](const std::string& text) { announceRecorded(text); };
    m_owner = owner;
    m_recorder = std::make_unique<simulated::ScenarioRecorder>(m_television, title, onText);
    if (!owner.empty() && !isOnBus(owner)) m_recorder.reset();
}

bool ScenarioService::isOnBus(const std::string& owner) {
    const std::lock_guard lock(m_ownersMutex);
    return m_owners.count(owner) != 0;
}

std::string ScenarioService::stopRecording() {
    const std::lock_guard lock(m_mutex);
    if (!m_recorder) bus::refuse(bus::REFUSED, "no scenario is being recorded");
    const std::string text = simulated::formatScenario(m_recorder->scenario());
    m_recorder.reset();
    // All recorded text must be sent before the reply.
    const auto sent = std::make_shared<std::promise<void>>();
    m_announcer.post(nullptr, [sent] { sent->set_value(); });
    sent->get_future().wait();
    return text;
}

void ScenarioService::ownerLeft(const std::string& name) {
    const std::lock_guard lock(m_mutex);
    if (name == m_owner) m_recorder.reset();
}

void ScenarioService::announceRecorded(const std::string& text) {
    m_announcer.post(nullptr, [this, text] {
        try {
            sdbus::Signal signal = m_object->createSignal(INTERFACE, RECORDED);
            signal << printable(text);
            signal.send();
        } catch (const sdbus::Error&) {
            return;  // the bus is gone
        }
        m_connection.wake();
    });
}

void ScenarioService::announce(const simulated::ScenarioPlayer::Progress& progress) {
    try {
        sdbus::Signal signal = m_object->createSignal(INTERFACE, "Step");
        signal << static_cast<std::uint32_t>(progress.line)
               << static_cast<std::int64_t>(progress.time.count()) << printable(progress.text);
        signal.send();
    } catch (const sdbus::Error&) {
        return;  // the bus is gone
    }
    m_connection.wake();
}

}  // namespace television
