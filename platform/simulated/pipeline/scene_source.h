#ifndef PIPELINE_SCENE_SOURCE_H
#define PIPELINE_SCENE_SOURCE_H

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "frame_source.h"

namespace pipeline {

// Shows all computer-drawn scenes in turn, only one of them, or the card of an input. Draws only when a frame
// is requested.
class SceneSource : public FrameSource {
  public:
    explicit SceneSource(std::optional<std::size_t> onlyScene = std::nullopt) : m_onlyScene(onlyScene) {}

    explicit SceneSource(std::string card) : m_card(std::move(card)) {}

    bool render(Image& image) override;
    void setPaused(bool paused) override;

  private:
    using Clock = std::chrono::steady_clock;

    Clock::duration elapsed() const;

    std::optional<std::size_t> m_onlyScene;
    std::string m_card;  // the input's name; empty for scenes
    bool m_paused = false;
    Clock::time_point m_started = Clock::now();
    Clock::duration m_shownBefore{};  // the time shown before the last pause
};

}  // namespace pipeline

#endif
