// Memory that the television shares with its pipeline, apart from the capture block, which belongs to
// clients: what is on, for whoever shows the television itself.
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
    // Fills an image of the size that is wanted; false if there is no frame.
    using Render = std::function<bool(Image&)>;

    // Without a descriptor, no preview can be made.
    Preview() = default;
    Preview(Preview&& other) noexcept;
    Preview& operator=(Preview&& other) noexcept;
    ~Preview();

    // Takes over the descriptor of the memory. If that is not possible, the answer says why.
    std::string open(int fd);

    // Leaves a picture of the size WIDTHxHEIGHT in the memory: RGBA, rows from the top, without padding. The
    // answer is empty, or says what is wrong; then the memory is as before.
    std::string show(std::string_view size, const Render& render);

  private:
    std::uint8_t* m_pixels = nullptr;
    std::size_t m_bytes = 0;
};

}  // namespace pipeline

#endif
