#include "scene_source.h"

#include <ratio>

#include "card.h"
#include "scenes.h"

namespace pipeline {
namespace {

using namespace std::chrono_literals;

constexpr auto SCENE_DURATION = 3s;

// The duration of a single scene before it starts again: a float loses precision as time grows.
constexpr auto SINGLE_SCENE_DURATION = 10min;

float inSeconds(std::chrono::steady_clock::duration time) {
    return std::chrono::duration_cast<std::chrono::duration<float>>(time).count();
}

}  // namespace

SceneSource::Clock::duration SceneSource::elapsed() const {
    return m_paused ? m_shownBefore : m_shownBefore + (Clock::now() - m_started);
}

bool SceneSource::render(Image& image) {
    const Clock::duration time = elapsed();
    if (!m_card.empty()) {
        drawCard(m_card, inSeconds(time % SINGLE_SCENE_DURATION), image);
    } else if (m_onlyScene) {
        drawScene(*m_onlyScene, inSeconds(time % SINGLE_SCENE_DURATION), image);
    } else {
        const auto scene = static_cast<std::size_t>(time / SCENE_DURATION) % SCENE_NAMES.size();
        drawScene(scene, inSeconds(time % SCENE_DURATION), image);
    }
    return true;
}

void SceneSource::setPaused(bool paused) {
    m_shownBefore = elapsed();
    m_started = Clock::now();
    m_paused = paused;
}

}  // namespace pipeline
