#include <algorithm>
#include <cctype>
#include <csignal>
#include <iostream>
#include <iterator>
#include <sstream>
#include <utility>

#include "pipeline_connection.h"
#include "pipeline_program.h"

namespace simulated {

namespace {

constexpr std::size_t CARD_MAX_LENGTH = 16;

using Clock = std::chrono::steady_clock;

using Pause = std::optional<std::chrono::milliseconds>;

// Describes the next step after the death of a video pipeline: a new start after the pause, or none.
std::string describeNext(Pause pause, std::size_t tries, std::size_t mostTries, const std::string& clip) {
    std::ostringstream text;
    if (pause) {
        text << "; next try in " << std::chrono::duration<double>(*pause).count() << " s (" << tries << " of "
             << mostTries << ')';
    } else {
        text << "; given up after " << mostTries << " tries: ";
        if (!clip.empty()) text << "check the film '" << clip << "', then ";
        text << "switch the video on again";
    }
    return text.str();
}

bool isLetterOrDigit(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }

// One write per line, because other threads and processes write to this stream, too.
void report(const std::string& line) { std::cerr << "simulated television: " + line + '\n'; }

}  // namespace

VideoPipeline::~VideoPipeline() { end(SIGKILL); }

bool VideoPipeline::accepts(const std::string& film) {
    const std::string problem = problemWith(film);
    const std::lock_guard lock(m_mutex);
    if (!problem.empty()) m_error = problem;
    return problem.empty();
}

bool VideoPipeline::start(const std::string& clip) {
    const std::lock_guard operation(m_operation);
    if (running()) {
        const std::lock_guard lock(m_mutex);
        m_error = "the video pipeline runs already";
        return false;
    }
    end(SIGKILL);  // covers a dead pipeline that waits for its next start
    std::promise<bool> ready;
    std::future<bool> isReady = ready.get_future();
    std::unique_lock lock(m_mutex);
    const std::string before = std::exchange(m_clip, clip);
    m_watcher = std::thread(&VideoPipeline::watch, this, std::move(ready));
    m_on = true;
    lock.unlock();
    const bool started = isReady.get();
    lock.lock();
    if (!started) {
        m_clip = before;
        return false;
    }
    m_events.publish(ShowVideo{clip.empty() ? "scenes" : clip});
    return true;
}

// Runs on the watcher's thread: starts processes until the pipeline is switched off or has died too often.
// Sets `first` to true if the first process became ready.
void VideoPipeline::watch(std::promise<bool> first) {
    bool wasReady = false;
    std::unique_lock lock(m_mutex);
    for (std::size_t tries = 0; m_on;) {
        const auto begin = Clock::now();
        m_connection = Connection::open(m_events, m_clip, m_error);
        if (const std::shared_ptr<Connection> connection = m_connection) {
            // The process reads these commands when it is ready.
            for (const auto& [name, values] : m_settings) connection->post("set " + name + ' ' + values);
            const std::string started = m_clip.empty() ? "scenes" : "clip " + m_clip;
            if (showCommand() != started) connection->post(showCommand());
            if (m_paused) connection->post("pause");
            lock.unlock();
            const auto onReady = [&] {
                becomeReady(wasReady);
                if (!std::exchange(wasReady, true)) first.set_value(true);
            };
            const auto onFilm = [this](std::optional<Film> film) { showsFilm(std::move(film)); };
            const std::string end = connection->serve({onReady, onFilm});
            lock.lock();
            m_error = end;
        }
        m_connection.reset();
        m_running = false;
        m_stalled = false;
        if (!wasReady) {
            m_on = false;
            first.set_value(false);
        }
        if (!m_on) break;

        if (Clock::now() - begin >= m_restarts.lasting) tries = 0;
        const std::size_t mostTries = m_restarts.pauses.size();
        const Pause pause = tries < mostTries ? Pause(m_restarts.pauses[tries]) : std::nullopt;
        m_error += describeNext(pause, ++tries, mostTries, m_clip);
        m_on = pause.has_value();
        report(m_error);
        m_events.publish(PipelineDied{m_error, pause});
        if (pause) m_changed.wait_for(lock, *pause, [this] { return !m_on; });
    }
    lock.unlock();
    showsFilm(std::nullopt);
}

// On the watcher's thread.
void VideoPipeline::showsFilm(std::optional<Film> film) {
    std::unique_lock lock(m_mutex);
    if (film == m_film) return;
    m_film = std::move(film);
    const std::function<void()> onFilm = m_onFilm;
    lock.unlock();
    if (onFilm) onFilm();
}

void VideoPipeline::onFilm(std::function<void()> listener) {
    const std::lock_guard lock(m_mutex);
    m_onFilm = std::move(listener);
}

std::optional<Film> VideoPipeline::film() const {
    const std::lock_guard lock(m_mutex);
    return m_film;
}

void VideoPipeline::becomeReady(bool again) {
    const std::lock_guard lock(m_mutex);
    if (!m_on) return;
    m_running = true;
    m_killed = false;
    m_error.clear();
    if (!again) return;
    report("the video pipeline runs again");
    m_events.publish(PipelineRestarted{});
}

// Ends the pipeline without a new start. Returns whether it was on.
bool VideoPipeline::end(int signalNumber) {
    std::unique_lock lock(m_mutex);
    const bool wasOn = std::exchange(m_on, false);
    if (m_connection) m_connection->end(signalNumber);
    m_changed.notify_all();
    lock.unlock();
    if (m_watcher.joinable()) m_watcher.join();
    return wasOn;
}

void VideoPipeline::stop() {
    const std::lock_guard operation(m_operation);
    const bool wasOn = end(SIGCONT);
    const std::lock_guard lock(m_mutex);
    m_error.clear();
    m_killed = false;
    if (wasOn) m_events.publish(ShowVideo{"off"});
}

bool VideoPipeline::kill() {
    const std::lock_guard operation(m_operation);
    if (!end(SIGKILL)) return false;
    const std::lock_guard lock(m_mutex);
    m_error.clear();
    m_killed = true;
    return true;
}

void VideoPipeline::stall() {
    const std::lock_guard lock(m_mutex);
    if (!m_running) return;
    m_connection->stop();
    m_stalled = true;
}

void VideoPipeline::resume() {
    const std::lock_guard lock(m_mutex);
    if (m_connection) m_connection->signal(SIGCONT);
    m_stalled = false;
}

void VideoPipeline::setRestarts(Restarts restarts) {
    const std::lock_guard lock(m_mutex);
    m_restarts = std::move(restarts);
}

bool VideoPipeline::running() const {
    const std::lock_guard lock(m_mutex);
    return m_running;
}

bool VideoPipeline::killed() const {
    const std::lock_guard lock(m_mutex);
    return m_killed;
}

bool VideoPipeline::stalled() const {
    const std::lock_guard lock(m_mutex);
    return m_stalled;
}

std::string VideoPipeline::clip() const {
    const std::lock_guard lock(m_mutex);
    return m_clip;
}

std::string VideoPipeline::error() const {
    const std::lock_guard lock(m_mutex);
    return m_error;
}

std::string VideoPipeline::problem() const {
    const std::lock_guard lock(m_mutex);
    if (m_running) return {};
    if (!m_error.empty()) return m_error;
    return m_killed ? PIPELINE_DIED : "the video pipeline is off";
}

unsigned VideoPipeline::delivered() const {
    const std::lock_guard lock(m_mutex);
    return m_connection ? m_connection->delivered() : 0;
}

void VideoPipeline::applySetting(const std::string& name, const std::string& values) {
    const std::lock_guard lock(m_mutex);
    m_settings[name] = values;
    if (m_connection) m_connection->post("set " + name + ' ' + values);
}

void VideoPipeline::showProgramme(const std::string& scene) {
    const std::lock_guard lock(m_mutex);
    if (m_scene == scene && m_input.empty()) return;
    m_scene = scene;
    m_input.clear();
    m_events.publish(ShowScene{scene});
    if (m_connection) m_connection->post(showCommand());
}

void VideoPipeline::showSource(const std::string& source) {
    std::string input;
    if (source != "TV")
        std::copy_if(source.begin(), source.end(), std::back_inserter(input), isLetterOrDigit);
    input.resize(std::min(input.size(), CARD_MAX_LENGTH));
    const std::lock_guard lock(m_mutex);
    const std::string before = showCommand();
    m_input = input;
    if (m_connection && showCommand() != before) m_connection->post(showCommand());
}

// The command that makes the process show the current film, scene or card.
std::string VideoPipeline::showCommand() const {
    if (!m_clip.empty() && (!m_input.empty() || m_scene.empty())) return "clip " + m_clip;
    if (!m_input.empty()) return "input " + m_input;
    return m_scene.empty() ? "scenes" : "scene " + m_scene;
}

std::string VideoPipeline::programme() const {
    const std::lock_guard lock(m_mutex);
    return m_scene;
}

void VideoPipeline::pause(bool paused) {
    const std::lock_guard lock(m_mutex);
    m_paused = paused;
    if (m_connection) m_connection->post(paused ? "pause" : "play");
}

std::shared_ptr<VideoPipeline::Connection> VideoPipeline::connection() const {
    const std::lock_guard lock(m_mutex);
    return m_running ? m_connection : nullptr;
}

bool VideoPipeline::command(const std::string& line) {
    const std::shared_ptr<Connection> connection = this->connection();
    return connection && connection->command(line);
}

Picture VideoPipeline::picture(unsigned width, unsigned height) {
    if (const std::shared_ptr<Connection> connection = this->connection())
        return connection->picture(width, height);
    return {0, 0, {}, problem()};
}

}  // namespace simulated
