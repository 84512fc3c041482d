#include "picture_service.h"

#include <cmath>
#include <cstdio>
#include <thread>
#include <utility>

#include "picture_response.h"

namespace {

using namespace std::chrono_literals;

constexpr auto FRAME_PERIOD = 400ms;
constexpr auto FRAME_LIMIT = 5s;
constexpr auto TICK = 50ms;
constexpr auto RESTORE_LIMIT = 10s;

// A larger change of the film's luma is another scene.
constexpr double SAME_SCENE_LUMA = 18;

std::string changesText(const Settings& from, const Settings& to) {
    std::string text;
    for (const auto& [name, value, lowest, highest, neutral] : SETTING_NAMES) {
        if (from.*value == to.*value) continue;
        if (!text.empty()) text += ", ";
        text += std::string(name) + ' ' + std::to_string(from.*value) + " > " + std::to_string(to.*value);
    }
    return text.empty() ? "as it is" : text;
}

}  // namespace

PictureService::PictureService(Timeline& timeline) : m_timeline(timeline), m_watch(timeline) {}

bool PictureService::run(const std::function<bool()>& stop, std::string& error) {
    if (!m_control.open()) {
        error = "the television does not tell its picture settings";
        return false;
    }
    m_judge.emplace(m_control.found());
    const bool success = work(stop, error);
    closeEpisode();
    if (!putSettingsBack()) {
        if (success)
            error = m_awaySince ? "the television is away: its picture settings are not put back"
                                : "the television did not take its picture settings back";
        return false;
    }
    return success;
}

bool PictureService::work(const std::function<bool()>& stop, std::string& error) {
    Clock::time_point lastFrame = Clock::now();
    while (!stop()) {
        if (!readSettings()) {
            std::this_thread::sleep_for(TICK);
            lastFrame = Clock::now();
            continue;
        }
        requestFrame();
        if (std::optional<Frame> frame = m_grabber.take(TICK)) {
            lastFrame = Clock::now();
            onFrame(std::move(*frame));
        }
        // A sleeping television shows nothing.
        if (m_watch.asleep()) lastFrame = Clock::now();
        if (Clock::now() - lastFrame > FRAME_LIMIT) {
            error = "no frame arrives for 5 s: is a video pipeline running?";
            return false;
        }
    }
    return true;
}

void PictureService::requestFrame() {
    if (m_watch.asleep() || Clock::now() < m_nextRequest || !m_grabber.idle()) return;
    m_nextRequest = Clock::now() + FRAME_PERIOD;
    m_settledAtRequest = m_control.settled();
    m_grabber.request();
}

void PictureService::onFrame(Frame frame) {
    Shot shot{std::move(frame), {}, m_control.inForce()};
    shot.measurement = measure(shot.frame);
    m_history.shown.push_back({m_timeline.seconds(), shot.measurement.luma});
    // While settings move, nobody knows which of them the frame shows.
    if (!m_settledAtRequest || !m_control.settled()) return;

    const Frame estimate = estimateFilm(shot.frame, shot.settings);
    const Measurement film = measureFilm(estimate, shot.settings);
    m_history.film.push_back({m_timeline.seconds(), film.luma});
    followUp(shot, film);
    decide(shot, estimate, film);
}

void PictureService::decide(const Shot& shot, const Frame& estimate, const Measurement& film) {
    const std::optional<Decision> decision = m_judge->judge(film);
    if (!decision) return;
    closeEpisode();
    m_timeline.print(std::string(toText(decision->scene)) + ": " + toText(film) + "  -> " +
                     changesText(shot.settings, decision->target));
    m_history.cuts.push_back(m_timeline.seconds());
    Episode episode;
    episode.from = episode.to = m_timeline.seconds();
    episode.scene = decision->scene;
    episode.decision = *decision;
    episode.before = showFilm(estimate, m_control.found());
    episode.after = showFilm(estimate, decision->target);
    episode.measuredBefore = measure(episode.before);
    episode.measuredAfter = measure(episode.after);
    episode.greyErrorBefore = greyError(estimate, episode.before);
    episode.greyErrorAfter = greyError(estimate, episode.after);
    episode.exact = shot.settings == m_control.found();
    m_history.episodes.push_back(std::move(episode));
    m_followedLuma = film.luma;
    m_control.moveTo(decision->target);
}

void PictureService::followUp(const Shot& shot, const Measurement& film) {
    if (!m_followedLuma) return;
    Episode& episode = m_history.episodes.back();
    if (std::abs(film.luma - *m_followedLuma) > SAME_SCENE_LUMA) {
        closeEpisode();
        return;
    }
    episode.to = m_timeline.seconds();
    if (shot.settings == episode.decision.target) episode.captured = shot;
}

void PictureService::closeEpisode() { m_followedLuma.reset(); }

bool PictureService::readSettings() {
    noticePresence();
    if (m_awaySince || !m_control.advance()) return false;
    m_history.settings.push_back({m_timeline.seconds(), m_control.inForce()});
    return true;
}

void PictureService::noticePresence() {
    const bool isPresent = m_control.isPresent();
    if (isPresent == !m_awaySince) return;
    if (!isPresent) {
        closeEpisode();
        m_awaySince = m_timeline.seconds();
        m_timeline.print("the television left");
        return;
    }
    m_history.absences.push_back({*m_awaySince, m_timeline.seconds()});
    m_awaySince.reset();
    m_timeline.print("the television is back");
    // It has the settings with which it starts: what was decided before is void.
    m_control.forgetChanges();
    m_judge.emplace(m_control.found());
}

bool PictureService::putSettingsBack() {
    const Clock::time_point limit = Clock::now() + RESTORE_LIMIT;
    const Settings last = m_control.inForce();
    m_control.restore();
    while (!(m_control.settled() && m_control.restored()) && Clock::now() < limit) {
        readSettings();
        if (m_awaySince) return false;
        std::this_thread::sleep_for(TICK);
    }
    if (!m_control.restored()) return false;
    m_timeline.print(last == m_control.found()
                         ? "the settings are as they were found"
                         : "settings put back: " + changesText(last, m_control.found()));
    return true;
}

void PictureService::printSummary() const {
    std::printf("\nIn %.0f s: %zu frames, %zu scenes\n", m_timeline.seconds(), m_history.shown.size(),
                m_history.episodes.size());
    std::printf("  %s\n", verdictOf(m_history.episodes).sentence.c_str());
}
