#ifndef AIPQCTL_FRAME_FILE_H
#define AIPQCTL_FRAME_FILE_H

#include <string>

#include "platform_adaptation/ai_common.h"

namespace aipqctl {

// Encodes a delivered frame as PNG. Throws Failure if the frame exceeds the capture block, because its size
// comes from another process.
std::string encodePng(const korvale::ai::PictureData& picture);
// Returns only the pixels, row by row: red, green, blue. Throws the same Failure.
std::string encodeRgb(const korvale::ai::PictureData& picture);

}  // namespace aipqctl

#endif
