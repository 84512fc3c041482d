#include "scenario_service.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "bus_method.h"

namespace {

// A scenario is written by hand or recorded: more than this is something else.
constexpr std::streamsize LARGEST_FILE = 16 << 20;

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

std::optional<std::string> readScenario(const std::string& file) {
    std::ifstream in(file, std::ios::binary | std::ios::ate);
    if (!in || in.tellg() < 0 || in.tellg() > LARGEST_FILE) return std::nullopt;
    in.seekg(0);
    std::ostringstream text;
    text << in.rdbuf();
    if (!in) return std::nullopt;
    return text.str();
}

std::string stepLine(std::chrono::milliseconds time, const std::string& done) {
    std::array<char, 32> seconds{};
    std::snprintf(seconds.data(), seconds.size(), "%8.2f", static_cast<double>(time.count()) / 1000);
    return seconds.data() + (" s  " + done) + '\n';
}

ScenarioService::ScenarioService(simulated::Television& television, remote::Line& line, WorkerPool& workers)
    : m_television(television), m_line(line), m_object(sdbus::createObject(line.connection(), OBJECT)) {
    using Nothing = std::tuple<>;
    bus::MethodAdder methods(*m_object, INTERFACE, line, workers);
    methods.add<std::string, std::string, double>("Play", {{"name", "text", "speed"}, {"outcome", "why"}},
                                                  [this](const std::string& name, const std::string& text,
                                                         double speed) { return play(name, text, speed); });
    methods.add<>("Stop", {}, [this] {
        stop();
        return Nothing();
    });
    methods.add<std::string>("Record", {{"title"}, {}}, [this](const std::string& title) {
        const std::lock_guard lock(m_mutex);
        if (m_recorder) bus::refuse(bus::REFUSED, "a scenario is being recorded already");
        m_recorder = std::make_unique<simulated::ScenarioRecorder>(m_television, title);
        return Nothing();
    });
    methods.add<>("StopRecording", {{}, {"text"}}, [this] { return std::tuple(stopRecording()); });
    // A step has been done; the milliseconds since the start.
    m_object->registerSignal(INTERFACE, "Step", "uxs", {"line", "time", "text"});
    m_object->finishRegistration();
}

std::shared_ptr<simulated::ScenarioPlayer> ScenarioService::start(
    simulated::Scenario scenario, double speed, simulated::ScenarioPlayer::Listener listener) {
    const std::lock_guard lock(m_mutex);
    if (m_player && !m_player->result()) bus::refuse(bus::REFUSED, "a scenario plays already");
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
        bus::refuse(BAD_SCENARIO, error.what());
    }
    const auto result =
        start(std::move(scenario), speed, {[this](const auto& progress) { tell(progress); }})->wait();
    return {outcomeName(result.outcome), result.text};
}

std::string ScenarioService::stopRecording() {
    const std::lock_guard lock(m_mutex);
    if (!m_recorder) bus::refuse(bus::REFUSED, "no scenario is being recorded");
    const std::string text = simulated::formatScenario(m_recorder->scenario());
    m_recorder.reset();
    return text;
}

void ScenarioService::tell(const simulated::ScenarioPlayer::Progress& progress) {
    try {
        sdbus::Signal signal = m_object->createSignal(INTERFACE, "Step");
        signal << static_cast<std::uint32_t>(progress.line)
               << static_cast<std::int64_t>(progress.time.count()) << progress.text;
        signal.send();
    } catch (const sdbus::Error&) {
        return;  // the bus is gone
    }
    m_line.wake();
}
