#ifndef TELEVISION_JPEG_H
#define TELEVISION_JPEG_H

#include <string>

#include "simulated/television.h"

namespace television {

// The bytes of a JPEG file. Throws std::runtime_error if it cannot be made.
std::string toJpeg(const simulated::Picture& picture);

}  // namespace television

#endif
