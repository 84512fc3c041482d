// HDR frames on an SDR screen.
#ifndef PIPELINE_TONE_MAP_H
#define PIPELINE_TONE_MAP_H

#include <cstdint>
#include <vector>

#include "frame_source.h"

namespace pipeline {

enum class HdrTransfer { PQ, HLG };

// Converts PQ or HLG with BT.2020 primaries to sRGB, as a panel of 1000 cd/m2 would show it:
//   - converts the code to light in cd/m2: PQ directly, HLG for a display of 1000 cd/m2 (system gamma 1.2);
//   - converts the colours to BT.709; colours outside are clipped;
//   - compresses the brightest of red, green and blue, relative to the reference white of 203 cd/m2: up to
//     half of that white, it is unchanged; above, it approaches white, which 1000 cd/m2 reaches. The other
//     two are scaled by the same factor, which keeps the hue;
//   - applies the sRGB curve.
class ToneMap {
  public:
    explicit ToneMap(HdrTransfer transfer);

    HdrTransfer transfer() const { return m_transfer; }

    // `pixels` has 16 bits for each of red, green, blue and opacity.
    void apply(const std::vector<std::uint16_t>& pixels, Image& image) const;

  private:
    HdrTransfer m_transfer;
    std::vector<float> m_light;        // by the upper 12 bits of a code; PQ: cd/m2, HLG: scene light
    std::vector<float> m_systemGamma;  // cd/m2 per scene light, by the luminance of the scene
    std::vector<std::uint8_t> m_code;  // the code of each light from black to white
};

}  // namespace pipeline

#endif
