#ifndef EXAMPLES_PNG_FILE_H
#define EXAMPLES_PNG_FILE_H

#include <string>

#include "platform_adaptation/ai_common.h"

// Saves a captured frame. Returns false, with the reason in `error`, if the frame exceeds the capture block
// (its size comes from another process) or the file cannot be written.
bool savePng(const std::string& path, const korvale::ai::PictureData& picture, std::string& error);

#endif
