#include "canvas.h"

#include <cstddef>
#include <cstdint>
#include <numbers>

#include "file.h"

namespace {

// cairo's pixels are words of 0xRRGGBB.
std::vector<std::uint32_t> toWords(const Frame& frame) {
    std::vector<std::uint32_t> words;
    words.reserve(frame.rgb.size() / 3);
    for (std::size_t i = 0; i + 2 < frame.rgb.size(); i += 3) {
        words.push_back(std::uint32_t{frame.rgb[i]} << 16U | std::uint32_t{frame.rgb[i + 1]} << 8U |
                        frame.rgb[i + 2]);
    }
    return words;
}

}  // namespace

Canvas::Canvas(int width, int height, Ink background)
    : m_surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)),
      m_context(cairo_create(m_surface.get())) {
    choose(background);
    cairo_paint(m_context.get());
}

void Canvas::choose(Ink ink) { cairo_set_source_rgb(m_context.get(), ink.red, ink.green, ink.blue); }

void Canvas::text(double x, double y, const std::string& text, double size, Ink ink, Align align,
                  Weight weight) {
    cairo_t* const context = m_context.get();
    cairo_select_font_face(context, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           weight == Weight::BOLD ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(context, size);
    cairo_text_extents_t extents;
    cairo_text_extents(context, text.c_str(), &extents);
    if (align == Align::CENTRE) x -= extents.x_advance / 2;
    if (align == Align::RIGHT) x -= extents.x_advance;
    choose(ink);
    cairo_move_to(context, x, y);
    cairo_show_text(context, text.c_str());
}

void Canvas::verticalText(double x, double y, const std::string& text, double size, Ink ink) {
    cairo_t* const context = m_context.get();
    cairo_save(context);
    cairo_translate(context, x, y);
    cairo_rotate(context, -std::numbers::pi / 2);
    this->text(0, 0, text, size, ink, Align::CENTRE);
    cairo_restore(context);
}

void Canvas::line(const Points& points, Ink ink, double width, bool dashed) {
    cairo_t* const context = m_context.get();
    choose(ink);
    cairo_set_line_width(context, width);
    cairo_set_line_join(context, CAIRO_LINE_JOIN_ROUND);
    const double dash = 5;
    cairo_set_dash(context, &dash, dashed ? 1 : 0, 0);
    cairo_new_path(context);
    for (const auto& [x, y] : points) cairo_line_to(context, x, y);
    cairo_stroke(context);
}

void Canvas::box(double x, double y, double width, double height, Ink ink) {
    choose(ink);
    cairo_rectangle(m_context.get(), x, y, width, height);
    cairo_fill(m_context.get());
}

void Canvas::frame(const Frame& frame, double x, double y, double width, double height) {
    std::vector<std::uint32_t> words = toWords(frame);
    const auto columns = static_cast<int>(frame.width);
    const auto rows = static_cast<int>(frame.height);
    const std::unique_ptr<cairo_surface_t, Free> pixels(cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char*>(words.data()), CAIRO_FORMAT_RGB24, columns, rows, columns * 4));
    cairo_t* const context = m_context.get();
    cairo_save(context);
    cairo_translate(context, x, y);
    cairo_scale(context, width / columns, height / rows);
    cairo_rectangle(context, 0, 0, columns, rows);
    cairo_clip(context);
    cairo_set_source_surface(context, pixels.get(), 0, 0);
    // Without this the outermost pixels would fade into the background.
    cairo_pattern_set_extend(cairo_get_source(context), CAIRO_EXTEND_PAD);
    cairo_paint(context);
    cairo_restore(context);
}

bool Canvas::save(const std::string& path, std::string& error) {
    std::string file;
    const auto append = [](void* content, const unsigned char* bytes, unsigned size) {
        static_cast<std::string*>(content)->append(bytes, bytes + size);
        return CAIRO_STATUS_SUCCESS;
    };
    const cairo_status_t status = cairo_surface_write_to_png_stream(m_surface.get(), append, &file);
    if (status == CAIRO_STATUS_SUCCESS) return saveFile(path, file, error);
    error = path + ": " + cairo_status_to_string(status);
    return false;
}
