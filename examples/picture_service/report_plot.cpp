#include "report_plot.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

#include "html.h"

namespace {

// The coordinate system of every drawing, which is stretched to the width of the page.
constexpr int WIDTH = 1000;
constexpr int HEIGHT = 100;

using Points = std::vector<std::pair<long, long>>;

std::string coordinates(const Points& points) {
    std::string text;
    for (const auto& [x, y] : points) text += std::to_string(x) + ',' + std::to_string(y) + ' ';
    return text;
}

std::string line(const char* style, const Points& points) {
    return "<polyline class=\"" + std::string(style) + "\" points=\"" + coordinates(points) + "\"/>\n";
}

std::string drawing(const std::string& description, const std::string& content) {
    return element("svg viewBox=\"0 0 " + std::to_string(WIDTH) + ' ' + std::to_string(HEIGHT) +
                       "\" preserveAspectRatio=\"none\" role=\"img\" aria-label=\"" + escaped(description) +
                       '"',
                   content);
}

// A sample of a line in the legend.
std::string key(const char* style) {
    return "<svg class=\"key\" viewBox=\"0 0 20 10\" preserveAspectRatio=\"none\" aria-hidden=\"true\">" +
           line(style, {{0, 5}, {20, 5}}) + "</svg>";
}

// Returns a step that gives at most seven labels.
int timeStep(double seconds) {
    for (const int step : {1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200})
        if (seconds / step <= 6) return step;
    return 14400;
}

// The axis from the start to the end of the history.
class TimeAxis {
  public:
    explicit TimeAxis(double seconds) : m_seconds(std::max(1.0, seconds)) {}

    double share(double seconds) const { return std::clamp(seconds / m_seconds, 0.0, 1.0); }
    long x(double seconds) const { return std::lround(WIDTH * share(seconds)); }

    std::string labels() const {
        const int step = timeStep(m_seconds);
        std::string labels;
        // A label at the very end would exceed a phone's screen.
        for (int seconds = 0; seconds <= 0.93 * m_seconds; seconds += step)
            labels +=
                label("span", seconds,
                      step < 60 ? std::to_string(seconds) + " s" : std::to_string(seconds / 60) + " min");
        return element("div class=\"times\"", labels);
    }

    // HTML centred over its time.
    std::string label(const std::string& tag, double seconds, const std::string& text) const {
        return element(tag + " style=\"left:" + number(100 * share(seconds), 1) + "%\"", text);
    }

  private:
    double m_seconds;
};

std::string drawMarks(const TimeAxis& axis, const History& history) {
    std::string marks;
    for (const Absence& absence : history.absences) {
        const long from = axis.x(absence.from);
        marks += "<rect class=\"away\" x=\"" + std::to_string(from) + "\" y=\"0\" width=\"" +
                 std::to_string(std::max(1L, axis.x(absence.to) - from)) + "\" height=\"" +
                 std::to_string(HEIGHT) + "\"/>\n";
    }
    for (const double cut : history.cuts) {
        const long x = axis.x(cut);
        marks += line("mark", {{x, 0}, {x, HEIGHT}});
    }
    return marks;
}

// A line over time, with gaps while the television was away.
template <typename Samples, typename ValueOf>
std::string drawLine(const char* style, const TimeAxis& axis, const Samples& samples,
                     std::span<const Absence> absences, double bottom, double top, ValueOf valueOf) {
    std::string lines;
    Points points;
    auto absence = absences.begin();
    for (const auto& sample : samples) {
        for (; absence != absences.end() && sample.seconds >= absence->to; ++absence) {
            lines += line(style, points);
            points.clear();
        }
        const std::pair point(axis.x(sample.seconds),
                              std::lround(HEIGHT * (top - valueOf(sample)) / (top - bottom)));
        // One point per time limits the size of the drawing for a long history.
        if (!points.empty() && points.back().first == point.first)
            points.back() = point;
        else
            points.push_back(point);
    }
    return lines + line(style, points);
}

std::string strip(const char* style, const std::string& caption, double bottom, double top,
                  const std::string& drawn) {
    return element("figure class=\"" + std::string(style) + '"',
                   element("figcaption", caption) +
                       element("div class=\"scale\"", element("div", element("span", number(top)) +
                                                                         element("span", number(bottom))) +
                                                          element("div", drawn)));
}

// Plots the square root of the shares, so that small shares stay visible beside large ones.
Points outline(const Histogram& histogram, double most) {
    Points points;
    for (std::size_t bin = 0; bin < histogram.size(); ++bin) {
        const long y = std::lround(HEIGHT * (1 - std::sqrt(histogram[bin] / most)));
        for (const std::size_t edge : {bin, bin + 1})
            points.emplace_back(static_cast<long>(WIDTH * edge / histogram.size()), y);
    }
    return points;
}

std::string drawLuma(const TimeAxis& axis, const History& history, const std::string& marks) {
    const auto luma = [](const LumaSample& sample) { return sample.luma; };
    return strip("strip luma",
                 element("b", "luma") + " mean of the picture, 0 to 255: " + key("wide") + "on the screen, " +
                     key("after") + "film (estimated)",
                 0, 255,
                 drawing("mean luma of the screen and of the film over time",
                         marks + drawLine("wide", axis, history.shown, history.absences, 0, 255, luma) +
                             drawLine("after", axis, history.film, history.absences, 0, 255, luma)));
}

// Returns an empty text if the setting never changed.
std::string drawSetting(const TimeAxis& axis, const History& history, const std::string& marks,
                        const SettingName& setting) {
    const auto value = [&](const Sample& sample) { return sample.settings.*setting.value; };
    const auto [least, most] = std::ranges::minmax(history.settings, {}, value);
    const int low = value(least);
    const int high = value(most);
    if (low == high) return {};
    // Limits the scale, so that a small change does not look large.
    const double room = std::max(0.0, 0.3 * (setting.highest - setting.lowest) - (high - low)) / 2;
    const double bottom = std::max<double>(setting.lowest, low - room);
    const double top = std::min<double>(setting.highest, high + room);
    const std::string range = "from " + std::to_string(low) + " to " + std::to_string(high);
    const std::string name = escaped(setting.name);
    return strip(
        "strip", element("b", name) + ' ' + range, bottom, top,
        drawing(name + " over time, " + range,
                marks + drawLine("after", axis, history.settings, history.absences, bottom, top, value)));
}

}  // namespace

std::size_t firstScene(const History& history) {
    const std::size_t kept = history.episodes.size();
    return kept == 0 ? 1 : 1 + std::max(history.cuts.size() + 1, kept) - kept;
}

std::string drawHistograms(const Measurement& before, const Measurement& after) {
    const double most =
        std::max({std::ranges::max(before.histogram), std::ranges::max(after.histogram), 1e-9});
    const Points beforeLine = outline(before.histogram, most);
    Points area = beforeLine;
    area.emplace_back(WIDTH, HEIGHT);
    area.emplace_back(0, HEIGHT);
    return element("figure class=\"histogram\"",
                   drawing("share of pixels of each luma, before and after",
                           line("area", area) + line("before", beforeLine) +
                               line("after", outline(after.histogram, most))) +
                       element("div class=\"ends\"", element("span", "black") + element("span", "white")) +
                       element("figcaption", key("before") + "before " + key("after") + "after"));
}

std::string drawTimeline(const History& history) {
    if (history.settings.empty()) return {};
    const TimeAxis axis(history.settings.back().seconds);
    const std::string marks = drawMarks(axis, history);

    std::string scenes;
    double free = 0;
    for (std::size_t i = 0; i < history.episodes.size(); ++i) {
        const double from = history.episodes[i].from;
        if (axis.share(from) < free) continue;  // would overlap the previous one
        const std::string name = std::to_string(firstScene(history) + i);
        scenes += axis.label("span", from, element("a href=\"#scene-" + name + '"', name));
        free = axis.share(from) + 0.07;
    }

    std::string strips = drawLuma(axis, history, marks);
    std::string unchanged;
    for (const SettingName& setting : SETTING_NAMES) {
        const std::string changed = drawSetting(axis, history, marks, setting);
        strips += changed;
        if (changed.empty())
            unchanged += (unchanged.empty() ? "" : ", ") + std::string(setting.name) + ' ' +
                         std::to_string(history.settings.front().settings.*setting.value);
    }
    if (!unchanged.empty()) unchanged = element("p", "Never changed: " + escaped(unchanged) + '.');
    const std::string legend =
        element("p class=\"quiet\"",
                "A number marks where a scene begins, a dotted line where the scene changes. A grey "
                "area: the television was away.");
    return legend + element("div class=\"times\"", scenes) + strips + axis.labels() + unchanged;
}
