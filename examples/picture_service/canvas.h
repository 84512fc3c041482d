#ifndef EXAMPLES_PICTURE_SERVICE_CANVAS_H
#define EXAMPLES_PICTURE_SERVICE_CANVAS_H

#include <cairo.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "frame.h"

struct Ink {
    double red;
    double green;
    double blue;
};

// A picture to draw on, with cairo.
class Canvas {
  public:
    enum class Align { LEFT, CENTRE, RIGHT };
    enum class Weight { NORMAL, BOLD };
    using Points = std::vector<std::pair<double, double>>;

    Canvas(int width, int height, Ink background);

    // `y` is the line that the letters stand on.
    void text(double x, double y, const std::string& text, double size, Ink ink, Align align = Align::LEFT,
              Weight weight = Weight::NORMAL);
    // Reads upwards, centred on (x, y).
    void verticalText(double x, double y, const std::string& text, double size, Ink ink);
    void line(const Points& points, Ink ink, double width, bool dashed = false);
    void box(double x, double y, double width, double height, Ink ink);
    void frame(const Frame& frame, double x, double y, double width, double height);

    bool save(const std::string& path, std::string& error);

  private:
    struct Free {
        void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
        void operator()(cairo_t* context) const { cairo_destroy(context); }
    };

    void choose(Ink ink);

    std::unique_ptr<cairo_surface_t, Free> m_surface;
    std::unique_ptr<cairo_t, Free> m_context;
};

#endif
