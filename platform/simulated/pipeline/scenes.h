// Computer-drawn moving pictures.
#ifndef PIPELINE_SCENES_H
#define PIPELINE_SCENES_H

#include <array>
#include <cstddef>
#include <string_view>

namespace simulated {
struct Image;
}

namespace pipeline {

constexpr std::array<std::string_view, 8> SCENE_NAMES{"night", "sunset", "snow",  "garden",
                                                      "bars",  "cellar", "train", "portrait"};

// Draws the scene of this index at a time in seconds. Equal arguments give equal pictures.
void drawScene(std::size_t scene, float seconds, simulated::Image& image);

}  // namespace pipeline

#endif
