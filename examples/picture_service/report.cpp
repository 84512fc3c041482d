#include "report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <span>

#include "canvas.h"

namespace {

constexpr Ink WHITE{1, 1, 1};
constexpr Ink DARK_TEXT{0.13, 0.13, 0.15};
constexpr Ink QUIET_TEXT{0.42, 0.42, 0.45};
constexpr Ink GRID{0.88, 0.88, 0.90};

std::string timeText(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f s", seconds);
    return text;
}

namespace sheet {

constexpr int MARGIN = 24;
constexpr int GAP = 12;
constexpr int PICTURE_WIDTH = 400;
constexpr int PICTURE_HEIGHT = 225;
constexpr int HEADING = 30;
constexpr int CAPTION = 46;
constexpr int CELL_WIDTH = 2 * PICTURE_WIDTH + GAP;
constexpr int CELL_HEIGHT = HEADING + PICTURE_HEIGHT + CAPTION + GAP;
constexpr std::size_t ROWS_IN_ONE_COLUMN = 4;
constexpr std::size_t MOST_EPISODES = 16;

std::string settingsText(const Settings& settings) {
    std::string text;
    for (const auto& [name, value, lowest, highest, neutral] : SETTING_NAMES) {
        if (!text.empty()) text += ", ";
        text += std::string(name) + ' ' + std::to_string(settings.*value);
    }
    return text;
}

void drawShot(Canvas& canvas, const Frame& frame, const Measurement& measured, double x, double y) {
    canvas.frame(frame, x, y, PICTURE_WIDTH, PICTURE_HEIGHT);
    canvas.text(x, y + PICTURE_HEIGHT + 18, "picture: " + toText(measured), 14, DARK_TEXT,
                Canvas::Align::LEFT, Canvas::Weight::BOLD);
}

void drawEpisode(Canvas& canvas, const Episode& episode, double x, double y) {
    const double right = x + PICTURE_WIDTH + GAP;
    canvas.text(x, y + 20, timeText(episode.from) + "   " + toText(episode.scene) + ", before", 16, DARK_TEXT,
                Canvas::Align::LEFT, Canvas::Weight::BOLD);
    drawShot(canvas, episode.before, episode.measuredBefore, x, y + HEADING);
    canvas.text(right, y + 20, "after", 16, DARK_TEXT, Canvas::Align::LEFT, Canvas::Weight::BOLD);
    drawShot(canvas, episode.after, episode.measuredAfter, right, y + HEADING);
    canvas.text(right, y + HEADING + PICTURE_HEIGHT + 36, settingsText(episode.decision.target), 12,
                QUIET_TEXT);
}

}  // namespace sheet

namespace plot {

constexpr int WIDTH = 1280;
constexpr int HEIGHT = 640;
constexpr double LEFT = 80;
constexpr double RIGHT = WIDTH - 80;
constexpr double TOP = 70;
constexpr double BOTTOM = HEIGHT - 70;
constexpr double SETTING_TOP = 100;
constexpr double LUMA_TOP = 255;
constexpr Ink LUMA_INK{0.25, 0.25, 0.28};

struct Curve {
    SettingName setting;
    Ink ink;
};

// Colours that people with a colour deficiency can tell apart.
constexpr std::array<Curve, 5> CURVES{{
    {SETTING_NAMES[0], {0.90, 0.62, 0.00}},
    {SETTING_NAMES[1], {0.00, 0.45, 0.70}},
    {SETTING_NAMES[2], {0.80, 0.40, 0.65}},
    {SETTING_NAMES[3], {0.00, 0.62, 0.45}},
    {SETTING_NAMES[4], {0.84, 0.37, 0.00}},
}};

// Where times and values stand in the picture.
class Scale {
  public:
    explicit Scale(double seconds) : m_seconds(std::max(1.0, seconds)) {}

    double seconds() const { return m_seconds; }
    double x(double seconds) const { return LEFT + (RIGHT - LEFT) * seconds / m_seconds; }
    static double y(double value, double top) { return BOTTOM - (BOTTOM - TOP) * value / top; }

  private:
    double m_seconds;
};

double timeStep(double seconds) {
    for (const double step : {1.0, 2.0, 5.0, 10.0, 30.0, 60.0, 300.0, 600.0})
        if (seconds / step <= 20) return step;
    return 3600;
}

void drawAxes(Canvas& canvas, const Scale& scale) {
    for (int value = 0; value <= 100; value += 20) {
        const double y = Scale::y(value, SETTING_TOP);
        canvas.line({{LEFT, y}, {RIGHT, y}}, GRID, 1);
        canvas.text(LEFT - 8, y + 5, std::to_string(value), 14, DARK_TEXT, Canvas::Align::RIGHT);
    }
    for (const int value : {0, 50, 100, 150, 200, 255}) {
        const double y = Scale::y(value, LUMA_TOP);
        canvas.line({{RIGHT, y}, {RIGHT + 5, y}}, DARK_TEXT, 1);
        canvas.text(RIGHT + 9, y + 5, std::to_string(value), 14, DARK_TEXT);
    }
    const double step = timeStep(scale.seconds());
    for (double seconds = 0; seconds <= scale.seconds(); seconds += step) {
        const double x = scale.x(seconds);
        canvas.line({{x, BOTTOM}, {x, BOTTOM + 5}}, DARK_TEXT, 1);
        canvas.text(x, BOTTOM + 22, std::to_string(std::lround(seconds)), 14, DARK_TEXT,
                    Canvas::Align::CENTRE);
    }
    canvas.line({{LEFT, TOP}, {LEFT, BOTTOM}, {RIGHT, BOTTOM}, {RIGHT, TOP}}, DARK_TEXT, 1);
    canvas.text((LEFT + RIGHT) / 2, BOTTOM + 48, "time in seconds", 15, DARK_TEXT, Canvas::Align::CENTRE);
    canvas.verticalText(28, (TOP + BOTTOM) / 2, "setting, 0 to 100", 15, DARK_TEXT);
    canvas.verticalText(WIDTH - 18, (TOP + BOTTOM) / 2, "mean luma, 0 to 255", 15, DARK_TEXT);
}

void drawDecisions(Canvas& canvas, const Scale& scale, std::span<const Episode> episodes) {
    double free = 0;
    for (const Episode& episode : episodes) {
        const double x = scale.x(episode.from);
        canvas.line({{x, TOP}, {x, BOTTOM}}, GRID, 1.5);
        if (x < free) continue;  // would overlap the one before
        const std::string scene = toText(episode.scene);
        canvas.text(x, TOP - 6, scene.substr(0, scene.find(' ')), 12, QUIET_TEXT);
        free = x + 60;
    }
}

void drawAbsences(Canvas& canvas, const Scale& scale, std::span<const Absence> absences) {
    for (const Absence& absence : absences) {
        const double x = scale.x(absence.from);
        canvas.box(x, TOP, scale.x(absence.to) - x, BOTTOM - TOP, GRID);
        canvas.text(x + 4, BOTTOM - 6, "no television", 12, QUIET_TEXT);
    }
}

// Calls `draw` with the points of each time in which the television was there.
template <typename Samples, typename ValueOf, typename Draw>
void drawPieces(const Scale& scale, const Samples& samples, std::span<const Absence> absences,
                ValueOf valueOf, Draw draw) {
    Canvas::Points points;
    auto absence = absences.begin();
    for (const auto& sample : samples) {
        for (; absence != absences.end() && sample.seconds >= absence->to; ++absence) {
            draw(points);
            points.clear();
        }
        points.emplace_back(scale.x(sample.seconds), valueOf(sample));
    }
    draw(points);
}

void drawLuma(Canvas& canvas, const Scale& scale, std::span<const LumaSample> samples,
              std::span<const Absence> absences, bool dashed) {
    drawPieces(
        scale, samples, absences, [](const LumaSample& sample) { return Scale::y(sample.luma, LUMA_TOP); },
        [&](const Canvas::Points& points) {
            canvas.line(points, dashed ? QUIET_TEXT : LUMA_INK, dashed ? 1.5 : 2, dashed);
        });
}

void drawSettings(Canvas& canvas, const Scale& scale, std::span<const Sample> samples,
                  std::span<const Absence> absences) {
    for (const Curve& curve : CURVES)
        drawPieces(
            scale, samples, absences,
            [&](const Sample& sample) { return Scale::y(sample.settings.*curve.setting.value, SETTING_TOP); },
            [&](const Canvas::Points& points) { canvas.line(points, curve.ink, 2.5); });
}

class Legend {
  public:
    explicit Legend(Canvas& canvas) : m_canvas(canvas) {}

    void add(const std::string& name, Ink ink, bool dashed = false) {
        m_canvas.line({{m_x, Y - 5}, {m_x + 28, Y - 5}}, ink, 3, dashed);
        m_canvas.text(m_x + 35, Y, name, 14, DARK_TEXT);
        m_x += 64 + 8.2 * static_cast<double>(name.size());
    }

  private:
    static constexpr double Y = 30;

    Canvas& m_canvas;
    double m_x = LEFT;
};

void drawLegend(Canvas& canvas) {
    Legend legend(canvas);
    for (const Curve& curve : CURVES) legend.add(curve.setting.name, curve.ink);
    legend.add("luma shown", LUMA_INK);
    legend.add("luma of the film (estimated)", QUIET_TEXT, true);
}

}  // namespace plot

}  // namespace

bool drawContactSheet(const std::string& path, const History& history, std::string& error) {
    std::span<const Episode> episodes = history.episodes;
    if (episodes.size() > sheet::MOST_EPISODES) episodes = episodes.last(sheet::MOST_EPISODES);
    const std::size_t columns = episodes.size() > sheet::ROWS_IN_ONE_COLUMN ? 2 : 1;
    const std::size_t rows = std::max<std::size_t>(1, (episodes.size() + columns - 1) / columns);
    constexpr int columnWidth = sheet::CELL_WIDTH + 2 * sheet::MARGIN;
    Canvas canvas(static_cast<int>(columns) * columnWidth,
                  static_cast<int>(rows) * sheet::CELL_HEIGHT + 2 * sheet::MARGIN, WHITE);
    if (episodes.empty())
        canvas.text(sheet::MARGIN, sheet::MARGIN + 20, "The picture needed no change.", 16, DARK_TEXT);
    for (std::size_t i = 0; i < episodes.size(); ++i) {
        const auto column = static_cast<int>(i / rows);
        const auto row = static_cast<int>(i % rows);
        sheet::drawEpisode(canvas, episodes[i], column * columnWidth + sheet::MARGIN,
                           row * sheet::CELL_HEIGHT + sheet::MARGIN);
    }
    return canvas.save(path, error);
}

bool drawTimeline(const std::string& path, const History& history, std::string& error) {
    Canvas canvas(plot::WIDTH, plot::HEIGHT, WHITE);
    const plot::Scale scale(history.settings.empty() ? 0 : history.settings.back().seconds);
    plot::drawAxes(canvas, scale);
    plot::drawDecisions(canvas, scale, history.episodes);
    plot::drawAbsences(canvas, scale, history.absences);
    plot::drawLuma(canvas, scale, history.film, history.absences, true);
    plot::drawLuma(canvas, scale, history.shown, history.absences, false);
    plot::drawSettings(canvas, scale, history.settings, history.absences);
    plot::drawLegend(canvas);
    return canvas.save(path, error);
}
