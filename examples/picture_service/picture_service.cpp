#include "picture_service.h"

#include <algorithm>
#include <cstdio>
#include <thread>
#include <utility>

#include "picture_response.h"

namespace {

using namespace std::chrono_literals;

constexpr auto FRAME_PERIOD = 300ms;
constexpr auto FRAME_LIMIT = 5s;
constexpr auto TICK = 50ms;
// A busy television answers late. The first limit counts from the last step of a setting.
constexpr auto RESTORE_STEP_LIMIT = 15s;
constexpr auto RESTORE_LIMIT = 90s;

// Only the newest scenes are kept, because a service may run for days.
constexpr std::size_t MOST_EPISODES = 100;

std::string changesText(const Settings& from, const Settings& to) {
    std::string text;
    for (const auto& [name, value, lowest, highest, neutral] : SETTING_NAMES) {
        if (from.*value == to.*value) continue;
        if (!text.empty()) text += ", ";
        text += std::string(name) + ' ' + std::to_string(from.*value) + " -> " + std::to_string(to.*value);
    }
    return text.empty() ? "as it is" : text;
}

}  // namespace

PictureService::PictureService(Timeline& timeline) : m_timeline(timeline), m_watch(timeline) {}

bool PictureService::run(const std::function<bool()>& stop, std::string& error) {
    if (!m_control.open()) {
        error = "the television's picture settings cannot be read";
        return false;
    }
    m_judge.emplace(m_control.found());
    m_timeline.print("decides by rules on measurements of the frames; it learns nothing");
    const bool success = work(stop, error);
    if (!putSettingsBack()) {
        if (success)
            error = m_awaySince ? "the television is away: its picture settings are not restored"
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
        // A suspended television shows no frames.
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
    m_restAtRequest = m_control.atRest();
    m_grabber.request();
}

void PictureService::onFrame(Frame frame) {
    Shot shot{std::move(frame), {}, m_control.inForce()};
    shot.measurement = measure(shot.frame);
    m_history.shown.push_back({m_timeline.seconds(), shot.measurement.luma});
    // While settings change, the settings of the captured frame are unknown.
    if (!m_restAtRequest || !m_control.atRest()) return;

    Frame film = estimateFilm(shot.frame, shot.settings);
    const Frame* const before = m_lastFilm ? &*m_lastFilm : nullptr;
    const Measurement measured = measureFilm(film, shot.settings, before);
    m_history.film.push_back({m_timeline.seconds(), measured.luma});
    const bool cut = before != nullptr && isCut(*before, film);
    if (cut) m_cutAt = m_timeline.seconds();
    if (!m_judge->waiting() && !m_history.episodes.empty())
        m_history.episodes.back().to = m_timeline.seconds();
    m_lastFilm = std::move(film);

    const std::optional<Decision> decision = m_judge->judge(measured, cut, m_timeline.seconds());
    if (!m_judge->waiting() && !decision) m_cutAt.reset();
    if (decision && m_judge->sceneBegan())
        beginEpisode(*decision, shot, measured);
    else if (decision)
        apply(*decision);
    else
        followScene(shot);
}

void PictureService::beginEpisode(const Decision& decision, const Shot& shot, const Measurement& measured) {
    Episode episode;
    episode.to = m_timeline.seconds();
    episode.from = m_cutAt.value_or(episode.to);
    m_cutAt.reset();
    if (!m_history.episodes.empty()) m_history.cuts.push_back(episode.from);
    episode.scene = decision.scene;
    episode.exact = shot.settings == m_control.found();
    m_episodeFilm = *m_lastFilm;
    episode.before = showFilm(m_episodeFilm, m_control.found());
    episode.measuredBefore = measureShown(m_episodeFilm, episode.before);
    episode.measuredBefore.motion = measured.motion;
    episode.greyErrorBefore = greyError(m_episodeFilm, episode.before);
    if (m_history.episodes.size() == MOST_EPISODES) m_history.episodes.erase(m_history.episodes.begin());
    m_history.episodes.push_back(std::move(episode));

    m_timeline.print(std::string(toText(decision.scene)) + ": " + toText(measured));
    apply(decision);
}

void PictureService::apply(const Decision& decision) {
    Episode& episode = m_history.episodes.back();
    episode.decision = decision;
    episode.after = showFilm(m_episodeFilm, decision.target);
    episode.measuredAfter = measureShown(m_episodeFilm, episode.after);
    episode.measuredAfter.motion = episode.measuredBefore.motion;
    episode.greyErrorAfter = greyError(m_episodeFilm, episode.after);
    episode.captured.reset();
    ++m_decisions;
    for (const Reason& reason : decision.reasons) m_timeline.print("  " + reason.change + ": " + reason.why);
    m_control.moveTo(decision.target);
}

void PictureService::followScene(const Shot& shot) {
    if (m_judge->waiting() || m_history.episodes.empty()) return;
    Episode& episode = m_history.episodes.back();
    if (shot.settings != episode.decision.target) return;
    if (!episode.captured && shot.settings != m_control.found())
        m_timeline.print("  shown now: " + toText(shot.measurement));
    episode.captured = shot;
}

bool PictureService::readSettings() {
    noticePresence();
    if (m_awaySince || !m_control.advance()) return false;
    m_history.addSettings({m_timeline.seconds(), m_control.inForce()});
    return true;
}

void PictureService::noticePresence() {
    const bool isPresent = m_control.isPresent();
    if (isPresent == !m_awaySince) return;
    if (!isPresent) {
        m_awaySince = m_timeline.seconds();
        m_timeline.print("the television left");
        return;
    }
    m_history.absences.push_back({*m_awaySince, m_timeline.seconds()});
    m_awaySince.reset();
    m_timeline.print("the television is back");
    // The television has restarted with its own settings: earlier decisions are void.
    m_control.forgetChanges();
    m_lastFilm.reset();
    m_cutAt.reset();
    m_judge.emplace(m_control.found());
}

bool PictureService::putSettingsBack() {
    const Settings last = m_control.inForce();
    m_control.restore();
    const Clock::time_point start = Clock::now();
    while (!(m_control.settled() && m_control.restored())) {
        const Clock::time_point now = Clock::now();
        if (now - std::max(start, m_control.lastMove()) > RESTORE_STEP_LIMIT || now - start > RESTORE_LIMIT)
            break;
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
    std::printf("\nIn %.0f s: %zu frames, %zu scenes, %u decisions\n", m_timeline.seconds(),
                m_history.shown.size(), m_history.episodes.size(), m_decisions);
    std::printf("  %s\n", verdictOf(m_history.episodes).sentence.c_str());
}
