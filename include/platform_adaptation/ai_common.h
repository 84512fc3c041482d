// The frame descriptor and the small helpers shared by the AI code.
#ifndef PLATFORM_ADAPTATION_AI_COMMON_H
#define PLATFORM_ADAPTATION_AI_COMMON_H

#include <cstdint>

#include "platform_adaptation/export.h"

namespace korvale {
namespace ai {

// The layout of a pixel, one byte per channel in the order of the name. Values that are not named here have
// three channels.
enum ColorMode : std::int32_t {
    COLOR_MODE_RGBA = 1,
    COLOR_MODE_BGRA = 2,
    COLOR_MODE_BGR = 3,
    COLOR_MODE_RGB = 4,
};

struct PictureData {
    unsigned char* data;  // rows from the top, without padding; not owned
    std::uint32_t width;  // pixels
    std::uint32_t height;
    ColorMode colorMode;
    std::int32_t option;  // passed to the frame producer unchanged
};

}  // namespace ai
}  // namespace korvale

// Sets `picture` to no pixels, 224 x 224, COLOR_MODE_RGB, option 0. Any thread.
PLATFORM_ADAPTATION_API void initPictureData(korvale::ai::PictureData& picture);

// Channels of a pixel: 4 for COLOR_MODE_RGBA and COLOR_MODE_BGRA, 3 for every other value. Any thread.
PLATFORM_ADAPTATION_API int getChannels(korvale::ai::ColorMode mode);

// The positive decimal number at the start of `pStr`, after blanks and a sign "+", if any; the text after the
// digits does not matter. Any thread. Returns `defaultValue` for a null pointer, no digits and a number
// beyond the range of int, which are logged; and for 0 and negative numbers, which are not.
PLATFORM_ADAPTATION_API int str2int(const char* pStr, int defaultValue);

// Logs `title` and the first `len` bytes of `buf` as decimal numbers, in one line. Any thread. A null `title`
// counts as empty; a `len` below 1 logs the title alone. A null `buf` and a lack of memory are logged
// instead.
PLATFORM_ADAPTATION_API void outputCharSerial(const char* title, const char* buf, int len);

// Whether `path` can be opened for reading; false for a null pointer. Any thread; opens and closes the file.
PLATFORM_ADAPTATION_API bool fileExist(const char* path);

// The kernel's id of the calling thread.
PLATFORM_ADAPTATION_API int currentThread();

#endif
