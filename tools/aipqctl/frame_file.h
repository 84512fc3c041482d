#ifndef AIPQCTL_FRAME_FILE_H
#define AIPQCTL_FRAME_FILE_H

#include <string>

#include "platform_adaptation/ai_common.h"

namespace aipqctl {

// A delivered frame as a PNG file. Failure if the frame is not within the capture block: its size comes from
// another process.
std::string encodePng(const korvale::ai::PictureData& picture);
// Its pixels alone, row by row: red, green, blue. The same failure.
std::string encodeRgb(const korvale::ai::PictureData& picture);

}  // namespace aipqctl

#endif
