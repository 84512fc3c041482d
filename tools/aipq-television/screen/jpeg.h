#ifndef TELEVISION_JPEG_H
#define TELEVISION_JPEG_H

#include <string>

#include "simulated/television.h"

namespace television {

// Returns the content of a JPEG file. Throws std::runtime_error if the picture cannot be encoded.
std::string toJpeg(const simulated::Picture& picture);

}  // namespace television

#endif
