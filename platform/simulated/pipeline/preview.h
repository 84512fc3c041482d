// Memory that the television shares with its pipeline: the current picture for the television's own users.
// Clients use the capture block instead.
#ifndef PIPELINE_PREVIEW_H
#define PIPELINE_PREVIEW_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "frame_source.h"

namespace pipeline {

class Preview {
  public:
    // Draws an image of the requested size. Returns false if there is no frame.
    using Render = std::function<bool(Image&)>;

    // Without a descriptor, show() fails.
    Preview() = default;
    Preview(Preview&& other) noexcept;
    Preview& operator=(Preview&& other) noexcept;
    ~Preview();

    // Takes ownership of the memory's descriptor. Returns an empty text, or the error.
    std::string open(int fd);

    // Writes a picture of the size WIDTHxHEIGHT to the memory: RGBA, rows from the top, without padding.
    // Returns an empty text; or the error, and then the memory is unchanged.
    std::string show(std::string_view size, const Render& render);

  private:
    std::uint8_t* m_pixels = nullptr;
    std::size_t m_bytes = 0;
};

}  // namespace pipeline

#endif
