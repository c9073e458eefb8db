#include "waterfall/canvas.h"

#include "waterfall/error.h"
#include "waterfall/png.h"

#include <cairo-svg.h>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <pango/pangocairo.h>

namespace waterfall {
namespace {

template <typename T>
struct Unref {
    void operator()(T* object) const { g_object_unref(object); }
};
template <typename T>
using Held = std::unique_ptr<T, Unref<T>>;

// Glyphs stand where they are put, whatever the desktop is set to.
Held<PangoContext> make_context()
{
    Held<PangoContext> context(pango_font_map_create_context(pango_cairo_font_map_get_default()));
    cairo_font_options_t* const options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_SLIGHT);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_ON);
    pango_cairo_context_set_font_options(context.get(), options);
    pango_cairo_context_set_resolution(context.get(), 96.0);
    cairo_font_options_destroy(options);
    return context;
}

std::string printable(std::string_view text)
{
    char* const valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    std::string out = valid;
    g_free(valid);
    for (char& c : out)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = ' ';
    return out;
}

Held<PangoLayout> lay_out(std::string_view text, int size)
{
    static const Held<PangoContext> context = make_context();
    constexpr double capital = 0.729; // of DejaVu Sans, as a share of the font's size
    PangoFontDescription* const font = pango_font_description_from_string("DejaVu Sans, sans");
    pango_font_description_set_absolute_size(font, size / capital * PANGO_SCALE);
    Held<PangoLayout> layout(pango_layout_new(context.get()));
    pango_layout_set_font_description(layout.get(), font);
    pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
    const std::string shown = printable(text);
    pango_layout_set_text(layout.get(), shown.c_str(), static_cast<int>(shown.size()));
    pango_font_description_free(font);
    return layout;
}

int width_of(PangoLayout* layout)
{
    int width = 0;
    pango_layout_get_pixel_size(layout, &width, nullptr);
    return width;
}

cairo_status_t append(void* out, const unsigned char* data, unsigned length)
{
    auto* const bytes = static_cast<std::vector<unsigned char>*>(out);
    bytes->insert(bytes->end(), data, data + length);
    return CAIRO_STATUS_SUCCESS;
}

cairo_surface_t* make_surface(Kind kind, int width, int height, std::vector<unsigned char>* svg)
{
    return kind == Kind::svg ? cairo_svg_surface_create_for_stream(append, svg, width, height)
                             : cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
}

std::uint32_t packed(Colour c)
{
    return std::uint32_t{c.r} << 16U | std::uint32_t{c.g} << 8U | std::uint32_t{c.b};
}

// Where a pixel of 4 bytes stands.
unsigned char* pixel(cairo_surface_t* image, int x, int y)
{
    return cairo_image_surface_get_data(image) +
           static_cast<std::ptrdiff_t>(y) * cairo_image_surface_get_stride(image) +
           static_cast<std::ptrdiff_t>(x) * 4;
}

Colour unpacked(const unsigned char* at)
{
    std::uint32_t value = 0;
    std::memcpy(&value, at, 4);
    return {static_cast<std::uint8_t>(value >> 16U), static_cast<std::uint8_t>(value >> 8U),
            static_cast<std::uint8_t>(value)};
}

} // namespace

int text_width(std::string_view text, int size)
{
    return text.empty() ? 0 : width_of(lay_out(text, size).get());
}

Canvas::Canvas(int width, int height, Colour background, Kind kind)
    : width_(width), height_(height), kind_(kind),
      svg_(std::make_unique<std::vector<unsigned char>>()),
      surface_(make_surface(kind, width, height, svg_.get()), &cairo_surface_destroy),
      cairo_(cairo_create(surface_.get()), &cairo_destroy)
{
    if (cairo_status(cairo_.get()) != CAIRO_STATUS_SUCCESS)
        throw Error(std::string("picture: ") + cairo_status_to_string(cairo_status(cairo_.get())));
    cairo_set_antialias(cairo_.get(), CAIRO_ANTIALIAS_NONE);
    fill(0, 0, width, height, background);
}

void Canvas::source(Colour c)
{
    cairo_set_source_rgb(cairo_.get(), c.r / 255.0, c.g / 255.0, c.b / 255.0);
}

void Canvas::set(int x, int y, Colour colour)
{
    if (kind_ == Kind::svg)
        return fill(x, y, 1, 1, colour);
    const std::uint32_t value = packed(colour);
    cairo_surface_flush(surface_.get());
    std::memcpy(pixel(surface_.get(), x, y), &value, 4);
    cairo_surface_mark_dirty(surface_.get());
}

void Canvas::fill(int x, int y, int width, int height, Colour colour)
{
    source(colour);
    cairo_rectangle(cairo_.get(), x, y, width, height);
    cairo_fill(cairo_.get());
}

void Canvas::outline(int x, int y, int width, int height, Colour colour)
{
    fill(x, y, width, 1, colour);
    fill(x, y + height - 1, width, 1, colour);
    fill(x, y, 1, height, colour);
    fill(x + width - 1, y, 1, height, colour);
}

void Canvas::image(int x, int y, int width, int height, const std::vector<Colour>& pixels)
{
    const std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> from(
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height), &cairo_surface_destroy);
    cairo_surface_flush(from.get());
    const Colour* next = pixels.data();
    for (int v = 0; v < height; ++v)
        for (int u = 0; u < width; ++u) {
            const std::uint32_t value = packed(*next++);
            std::memcpy(pixel(from.get(), u, v), &value, 4);
        }
    cairo_surface_mark_dirty(from.get());
    cairo_set_source_surface(cairo_.get(), from.get(), x, y);
    cairo_pattern_set_filter(cairo_get_source(cairo_.get()), CAIRO_FILTER_NEAREST);
    cairo_paint(cairo_.get());
}

void Canvas::put_text(int x, int y, std::string_view text, const Style& style, const Colour* halo)
{
    const Held<PangoLayout> layout = lay_out(text, style.size);
    const int width = width_of(layout.get());
    const int before = style.anchor == Anchor::left     ? 0
                       : style.anchor == Anchor::middle ? width / 2
                                                        : width;
    const int baseline = PANGO_PIXELS(pango_layout_get_baseline(layout.get()));
    cairo_t* const c = cairo_.get();
    cairo_save(c);
    cairo_set_antialias(c, CAIRO_ANTIALIAS_GRAY);
    cairo_translate(c, x, y);
    if (style.upwards)
        cairo_rotate(c, -std::numbers::pi / 2);
    cairo_move_to(c, -before, -baseline);
    if (halo != nullptr) {
        pango_cairo_layout_path(c, layout.get());
        source(*halo);
        cairo_set_line_width(c, 3.5);
        cairo_set_line_join(c, CAIRO_LINE_JOIN_ROUND);
        cairo_stroke(c);
        cairo_move_to(c, -before, -baseline);
    }
    source(style.colour);
    pango_cairo_show_layout(c, layout.get());
    cairo_restore(c);
}

void Canvas::text(int x, int y, std::string_view text, const Style& style)
{
    put_text(x, y, text, style, nullptr);
}

void Canvas::text_with_halo(int x, int y, std::string_view text, const Style& style, Colour halo)
{
    put_text(x, y, text, style, &halo);
}

Colour Canvas::at(int x, int y) const
{
    cairo_surface_flush(surface_.get());
    return unpacked(pixel(surface_.get(), x, y));
}

std::vector<unsigned char> Canvas::bytes() const
{
    std::vector<unsigned char> out;
    out.reserve(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_) * 3);
    cairo_surface_flush(surface_.get());
    for (int y = 0; y < height_; ++y)
        for (int x = 0; x < width_; ++x) {
            const Colour c = unpacked(pixel(surface_.get(), x, y));
            out.insert(out.end(), {c.r, c.g, c.b});
        }
    return out;
}

std::vector<unsigned char> Canvas::file()
{
    if (kind_ == Kind::pixels)
        return encode_png(*this);
    cairo_surface_finish(surface_.get());
    if (cairo_surface_status(surface_.get()) != CAIRO_STATUS_SUCCESS)
        throw Error("picture: the SVG could not be made");
    return *svg_;
}

} // namespace waterfall
