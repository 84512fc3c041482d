#include "frame.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

class Statistics {
  public:
    void add(double value) {
        m_sum += value;
        m_squares += value * value;
        ++m_count;
    }
    double mean() const { return m_count == 0 ? 0 : m_sum / m_count; }
    double variance() const {
        return m_count == 0 ? 0 : std::max(0.0, m_squares / m_count - mean() * mean());
    }

  private:
    double m_sum = 0;
    double m_squares = 0;
    unsigned m_count = 0;
};

}  // namespace

Measurement measure(const Frame& frame) {
    Statistics luma;
    Statistics redGreen;
    Statistics yellowBlue;
    for (std::size_t i = 0; i + 2 < frame.rgb.size(); i += 3) {
        const double red = frame.rgb[i];
        const double green = frame.rgb[i + 1];
        const double blue = frame.rgb[i + 2];
        luma.add(0.2126 * red + 0.7152 * green + 0.0722 * blue);
        redGreen.add(red - green);
        yellowBlue.add(0.5 * (red + green) - blue);
    }
    return {luma.mean(), std::sqrt(luma.variance()),
            std::sqrt(redGreen.variance() + yellowBlue.variance()) +
                0.3 * std::hypot(redGreen.mean(), yellowBlue.mean())};
}

std::string toText(const Measurement& measurement) {
    char text[80];
    std::snprintf(text, sizeof text, "luma %.0f, contrast %.0f, colour %.0f", measurement.luma,
                  measurement.contrast, measurement.colour);
    return text;
}
