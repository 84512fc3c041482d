#include "scene_judge.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

constexpr double BLACK_LUMA = 3;
constexpr double BLACK_CONTRAST = 3;

constexpr double DARK_ENTERED = 70;
constexpr double DARK_LEFT = 82;
constexpr double BRIGHT_ENTERED = 155;
constexpr double BRIGHT_LEFT = 140;

// A larger difference between two frames is a cut.
constexpr double CUT = 25;

// Film luma at which a correction is complete.
constexpr double DARKEST = 20;
constexpr double BRIGHTEST = 215;

// Differences below these are not worth a change.
constexpr int SMALL_STEP = 4;      // brightness, contrast, saturation
constexpr int SMALL_PQ_STEP = 12;  // dark lift, roll-off

// 0 at `from`, 1 at `to`, which may be the lower one.
double share(double value, double from, double to) {
    return std::clamp((value - from) / (to - from), 0.0, 1.0);
}

int moved(int setting, double by) { return std::clamp(setting + static_cast<int>(std::lround(by)), 0, 100); }

bool almostEqual(const Settings& a, const Settings& b) {
    return std::abs(a.brightness - b.brightness) < SMALL_STEP &&
           std::abs(a.contrast - b.contrast) < SMALL_STEP &&
           std::abs(a.saturation - b.saturation) < SMALL_STEP &&
           std::abs(a.darkLift - b.darkLift) < SMALL_PQ_STEP &&
           std::abs(a.rollOff - b.rollOff) < SMALL_PQ_STEP;
}

}  // namespace

const char* toText(Scene scene) {
    switch (scene) {
        case Scene::BLACK:
            return "black picture";
        case Scene::DARK:
            return "dark scene";
        case Scene::ORDINARY:
            return "ordinary scene";
        case Scene::BRIGHT:
            return "bright scene";
    }
    return "";
}

std::optional<Decision> SceneJudge::judge(const Measurement& film) {
    if (m_lastLuma && std::abs(film.luma - *m_lastLuma) > CUT) m_running.reset();
    m_lastLuma = film.luma;
    const Scene scene = classify(film);
    // A black picture tells nothing about the next scene: the settings stay until that comes.
    const Settings wanted = scene == Scene::BLACK ? m_wanted : settingsFor(scene, film);
    if (scene == m_scene && almostEqual(wanted, m_wanted)) {
        m_doubtful = false;
        m_running = scene;
        return std::nullopt;
    }
    if (!m_doubtful) {
        m_doubtful = true;
        return std::nullopt;
    }
    m_doubtful = false;
    m_scene = m_running = scene;
    m_wanted = wanted;
    return Decision{scene, wanted, {{"no change", "the reasons follow"}}};
}

Scene SceneJudge::classify(const Measurement& film) const {
    if (film.luma < BLACK_LUMA && film.contrast < BLACK_CONTRAST) return Scene::BLACK;
    if (film.luma < (m_running == Scene::DARK ? DARK_LEFT : DARK_ENTERED)) return Scene::DARK;
    if (film.luma > (m_running == Scene::BRIGHT ? BRIGHT_LEFT : BRIGHT_ENTERED)) return Scene::BRIGHT;
    return Scene::ORDINARY;
}

Settings SceneJudge::settingsFor(Scene scene, const Measurement& film) const {
    Settings settings = m_user;
    if (scene == Scene::DARK) {
        // Mostly the lift, which leaves black black; brightness alone would lay a veil over the picture.
        const double need = share(film.luma, DARK_LEFT, DARKEST);
        settings.darkLift = moved(m_user.darkLift, 40 + 40 * need);
        settings.brightness = moved(m_user.brightness, 2 + 5 * need);
        settings.contrast = moved(m_user.contrast, 2 + 3 * need);
        settings.saturation = moved(m_user.saturation, 4 + 6 * need);
    } else if (scene == Scene::BRIGHT) {
        // Both flatten the picture; some contrast and colour keep it alive.
        const double need = share(film.luma, BRIGHT_LEFT, BRIGHTEST);
        settings.rollOff = moved(m_user.rollOff, 20 + 25 * need);
        settings.brightness = moved(m_user.brightness, -4 - 8 * need);
        settings.contrast = moved(m_user.contrast, 2 + 4 * need);
        settings.saturation = moved(m_user.saturation, 4 + 8 * need);
    }
    return settings;
}
