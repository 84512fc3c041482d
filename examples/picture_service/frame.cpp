#include "frame.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <vector>

namespace {

constexpr int CLIPPED_BLACK = 2;
constexpr int CLIPPED_WHITE = 253;
constexpr int GREY_CHROMA = 2;
constexpr int GREY_DARKEST = 10;       // darker colours all have little chroma
constexpr double GREY_PRESENT = 0.01;  // a smaller share of grey is accidental
constexpr double LEVELS_PER_BIN = 4;

// The histogram distances of a cut. Frames of similar brightness also need most of their pixels changed.
constexpr double CUT_DISTANCE = 16;
constexpr double CUT_SMALL_DISTANCE = 4;
constexpr double CUT_DIFFERENCE = 12;

// Noise is measured in the flattest of small blocks that are neither black nor white. In a flat block, only
// noise varies.
constexpr std::size_t BLOCK = 8;
constexpr double FLATTEST = 0.25;
constexpr double FLATTEST_PART = 0.9;  // the flattest blocks have a little less noise than average
constexpr double FLAT_SPREAD = 1.5;
constexpr double FLAT_SLOPE = 1;       // levels of variation that are ignored
constexpr double FLAT_PRESENT = 0.03;  // with a smaller share of blocks, noise cannot be measured
constexpr double BLOCK_DARKEST = 6;
constexpr double BLOCK_BRIGHTEST = 249;

// An edge is searched in a row or column of this many pixels, and rises or falls by this many levels.
constexpr std::size_t EDGE_REACH = 4;
constexpr double EDGE_HEIGHT = 40;

// In degrees. The range includes skin in a film with a yellow cast. Lower hues occur in a sunset.
constexpr double SKIN_HUE_LOWEST = 10;
constexpr double SKIN_HUE_HIGHEST = 50;
constexpr double SKIN_SATURATION_LOWEST = 0.15;
constexpr double SKIN_SATURATION_HIGHEST = 0.6;
constexpr int SKIN_DARKEST = 70;

class Statistics {
  public:
    void add(double value) {
        m_sum += value;
        m_squares += value * value;
        ++m_count;
    }
    unsigned count() const { return m_count; }
    double mean() const { return m_count == 0 ? 0 : m_sum / m_count; }
    double variance() const {
        return m_count == 0 ? 0 : std::max(0.0, m_squares / m_count - mean() * mean());
    }

  private:
    double m_sum = 0;
    double m_squares = 0;
    unsigned m_count = 0;
};

struct Pixel {
    int red;
    int green;
    int blue;

    int largest() const { return std::max({red, green, blue}); }
    int smallest() const { return std::min({red, green, blue}); }
    int chroma() const { return largest() - smallest(); }
    double luma() const { return 0.2126 * red + 0.7152 * green + 0.0722 * blue; }
};

std::size_t pixelsOf(const Frame& frame) { return frame.rgb.size() / 3; }

Pixel pixelOf(const Frame& frame, std::size_t index) {
    return {frame.rgb[3 * index], frame.rgb[3 * index + 1], frame.rgb[3 * index + 2]};
}

std::vector<double> lumaOf(const Frame& frame) {
    std::vector<double> luma(pixelsOf(frame));
    for (std::size_t i = 0; i < luma.size(); ++i) luma[i] = pixelOf(frame, i).luma();
    return luma;
}

Histogram histogramOf(const Frame& frame) {
    Histogram histogram{};
    const std::size_t pixels = pixelsOf(frame);
    for (std::size_t i = 0; i < pixels; ++i)
        ++histogram[static_cast<std::size_t>(pixelOf(frame, i).luma() / LEVELS_PER_BIN)];
    for (double& count : histogram) count /= static_cast<double>(std::max<std::size_t>(1, pixels));
    return histogram;
}

// Averages blocks of 4 x 4 pixels, which reduces noise.
Frame shrunk(const Frame& frame) {
    constexpr std::uint32_t SIDE = 4;
    Frame small{frame.width / SIDE, frame.height / SIDE, {}};
    for (std::uint32_t row = 0; row < small.height; ++row) {
        for (std::uint32_t column = 0; column < small.width; ++column) {
            for (std::size_t c = 0; c < 3; ++c) {
                unsigned sum = 0;
                for (std::uint32_t y = row * SIDE; y < (row + 1) * SIDE; ++y)
                    for (std::uint32_t x = column * SIDE; x < (column + 1) * SIDE; ++x)
                        sum += frame.rgb[3 * (std::size_t{y} * frame.width + x) + c];
                small.rgb.push_back(static_cast<std::uint8_t>((sum + SIDE * SIDE / 2) / (SIDE * SIDE)));
            }
        }
    }
    return small;
}

struct Greys {
    double chroma = 0;
    double luma = 0;
};

// The mean chroma and luma that the film's grey pixels have on the screen.
Greys greysOf(const Frame& film, const Frame& shown) {
    const std::size_t pixels = std::min(pixelsOf(film), pixelsOf(shown));
    Statistics chroma;
    Statistics luma;
    for (std::size_t i = 0; i < pixels; ++i) {
        const Pixel original = pixelOf(film, i);
        if (original.chroma() > GREY_CHROMA || original.largest() < GREY_DARKEST) continue;
        chroma.add(pixelOf(shown, i).chroma());
        luma.add(pixelOf(shown, i).luma());
    }
    if (chroma.count() < GREY_PRESENT * static_cast<double>(pixels)) return {};
    return {chroma.mean(), luma.mean()};
}

// The mean luma difference without noise.
double meanDifference(const Frame& a, const Frame& b) {
    const Frame smallA = shrunk(a);
    const Frame smallB = shrunk(b);
    Statistics differences;
    for (std::size_t i = 0; i < std::min(pixelsOf(smallA), pixelsOf(smallB)); ++i)
        differences.add(std::abs(pixelOf(smallA, i).luma() - pixelOf(smallB, i).luma()));
    return differences.mean();
}

// The mask responds to noise, but not to brightness or a slope.
double noiseOf(const std::vector<double>& luma, std::size_t width, std::size_t height, double spread) {
    std::vector<double> flat;
    std::size_t blocks = 0;
    for (std::size_t top = 1; top + BLOCK < height; top += BLOCK) {
        for (std::size_t left = 1; left + BLOCK < width; left += BLOCK) {
            Statistics response;
            Statistics values;
            for (std::size_t y = top; y < top + BLOCK; ++y) {
                for (std::size_t x = left; x < left + BLOCK; ++x) {
                    const double* const p = &luma[y * width + x];
                    const double* const above = p - width;
                    const double* const below = p + width;
                    response.add((above[-1] - 2 * above[0] + above[1] - 2 * p[-1] + 4 * p[0] - 2 * p[1] +
                                  below[-1] - 2 * below[0] + below[1]) /
                                 6);
                    values.add(*p);
                }
            }
            ++blocks;
            const double noise = std::hypot(response.mean(), std::sqrt(response.variance()));
            if (values.mean() > BLOCK_DARKEST && values.mean() < BLOCK_BRIGHTEST &&
                std::sqrt(values.variance()) <= FLAT_SPREAD * spread * noise + FLAT_SLOPE)
                flat.push_back(noise);
        }
    }
    if (flat.empty() || static_cast<double>(flat.size()) < FLAT_PRESENT * static_cast<double>(blocks))
        return 0;
    const auto quarter =
        flat.begin() + static_cast<std::ptrdiff_t>(FLATTEST * static_cast<double>(flat.size()));
    std::nth_element(flat.begin(), quarter, flat.end());
    return *quarter / FLATTEST_PART;
}

// Adds the steepness of the edge in the middle of `reach` values before and after it, if there is an edge.
// The steepness is the largest step between two neighbours, divided by the height of the whole edge.
void addEdge(Statistics& edges, const double* middle, std::size_t stride) {
    const auto at = [&](std::ptrdiff_t offset) {
        return middle[offset * static_cast<std::ptrdiff_t>(stride)];
    };
    constexpr auto REACH = static_cast<std::ptrdiff_t>(EDGE_REACH);
    const double step = std::abs(at(1) - at(0));
    if (step < EDGE_HEIGHT / 8) return;
    double lowest = at(0);
    double highest = at(0);
    for (std::ptrdiff_t i = -REACH + 1; i <= REACH; ++i) {
        lowest = std::min(lowest, at(i));
        highest = std::max(highest, at(i));
        // Only the steepest step of an edge counts.
        if (i < REACH && std::abs(at(i + 1) - at(i)) > step) return;
    }
    if (highest - lowest >= EDGE_HEIGHT) edges.add(step / (highest - lowest));
}

double sharpnessOf(const std::vector<double>& luma, std::size_t width, std::size_t height) {
    Statistics edges;
    for (std::size_t y = 0; y < height; ++y)
        for (std::size_t x = EDGE_REACH - 1; x + EDGE_REACH < width; ++x)
            addEdge(edges, &luma[y * width + x], 1);
    for (std::size_t y = EDGE_REACH - 1; y + EDGE_REACH < height; ++y)
        for (std::size_t x = 0; x < width; ++x) addEdge(edges, &luma[y * width + x], width);
    return 100 * edges.mean();
}

// Whether the pixel can be skin; `hue` is its hue in degrees.
bool skinHueOf(const Pixel& pixel, double& hue) {
    const int chroma = pixel.chroma();
    if (pixel.red != pixel.largest() || pixel.red < SKIN_DARKEST || chroma == 0) return false;
    const double saturation = static_cast<double>(chroma) / pixel.red;
    hue = 60.0 * (pixel.green - pixel.blue) / chroma;
    return saturation >= SKIN_SATURATION_LOWEST && saturation <= SKIN_SATURATION_HIGHEST &&
           hue >= SKIN_HUE_LOWEST && hue <= SKIN_HUE_HIGHEST;
}

}  // namespace

Measurement measure(const Frame& frame, const Frame* before, double noiseSpread) {
    Measurement result;
    const std::size_t pixels = pixelsOf(frame);
    if (pixels == 0) return result;

    const std::vector<double> lumas = lumaOf(frame);
    const auto share = [pixels](unsigned count) { return count / static_cast<double>(pixels); };
    unsigned black = 0;
    unsigned white = 0;
    Statistics luma;
    Statistics redGreen;
    Statistics yellowBlue;
    Statistics skinHue;
    for (std::size_t i = 0; i < pixels; ++i) {
        const Pixel pixel = pixelOf(frame, i);
        luma.add(lumas[i]);
        redGreen.add(pixel.red - pixel.green);
        yellowBlue.add(0.5 * (pixel.red + pixel.green) - pixel.blue);
        if (pixel.largest() <= CLIPPED_BLACK) ++black;
        if (pixel.smallest() >= CLIPPED_WHITE) ++white;
        double hue = 0;
        if (skinHueOf(pixel, hue)) skinHue.add(hue);
    }
    result.clippedBlack = share(black);
    result.clippedWhite = share(white);
    result.skin = share(skinHue.count());
    result.histogram = histogramOf(frame);
    result.luma = luma.mean();
    result.contrast = std::sqrt(luma.variance());
    result.colour = std::sqrt(redGreen.variance() + yellowBlue.variance()) +
                    0.3 * std::hypot(redGreen.mean(), yellowBlue.mean());
    result.noise = noiseOf(lumas, frame.width, frame.height, noiseSpread);
    result.sharpness = sharpnessOf(lumas, frame.width, frame.height);
    if (before != nullptr && !isCut(*before, frame)) result.motion = meanDifference(*before, frame);
    result.skinHue = skinHue.mean();
    const Frame small = shrunk(frame);
    const Greys greys = greysOf(small, small);
    result.greyChroma = greys.chroma;
    result.greyLuma = greys.luma;
    return result;
}

Measurement measureShown(const Frame& film, const Frame& shown) {
    Measurement result = measure(shown);
    const Measurement lost = measure(film);
    result.clippedBlack = std::max(result.clippedBlack, lost.clippedBlack);
    result.clippedWhite = std::max(result.clippedWhite, lost.clippedWhite);
    return result;
}

bool isCut(const Frame& before, const Frame& frame) {
    const double distance = histogramDistance(histogramOf(before), histogramOf(frame));
    return distance > CUT_DISTANCE ||
           (distance > CUT_SMALL_DISTANCE && meanDifference(before, frame) > CUT_DIFFERENCE);
}

double histogramDistance(const Histogram& a, const Histogram& b) {
    double distance = 0;
    double difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        difference += a[i] - b[i];
        distance += std::abs(difference);
    }
    return distance * LEVELS_PER_BIN;
}

double greyError(const Frame& film, const Frame& shown) {
    return greysOf(shrunk(film), shrunk(shown)).chroma;
}

std::string toText(const Measurement& measurement) {
    char text[80];
    std::snprintf(text, sizeof text, "luma %.0f, contrast %.0f, colour %.0f", measurement.luma,
                  measurement.contrast, measurement.colour);
    return text;
}
