#include "loomfile/drawing/cairo_pen.h"

#include <cmath>

CairoPen::CairoPen(cairo_surface_t* surface, Fonts& usedFonts, double scale)
    : cairo(cairo_create(surface)), fonts(usedFonts),
      isPicture(cairo_surface_get_type(surface) == CAIRO_SURFACE_TYPE_IMAGE)
{
    cairo_scale(cairo, scale, scale);
    cairo_font_options_t* options = plainFontOptions();
    cairo_set_font_options(cairo, options);
    cairo_font_options_destroy(options);
}

CairoPen::~CairoPen()
{
    cairo_destroy(cairo);
}

void CairoPen::setInk(Ink ink)
{
    cairo_set_source_rgb(cairo, (ink >> 16) / 255.0, (ink >> 8 & 0xFF) / 255.0, (ink & 0xFF) / 255.0);
}

void CairoPen::fill(Ink ink, const std::vector<Rectangle>& rectangles)
{
    setInk(ink);
    for (const Rectangle& rectangle : rectangles)
        cairo_rectangle(cairo, rectangle.x, rectangle.y, rectangle.width, rectangle.height);
    cairo_fill(cairo);
}

void CairoPen::mark(Ink ink, Sign sign, double radius, const std::vector<Point>& centres)
{
    setInk(ink);
    cairo_set_line_width(cairo, signLine * radius);
    cairo_set_line_cap(cairo, CAIRO_LINE_CAP_ROUND);
    for (const Point& centre : centres) {
        if (sign == Sign::ring) {
            cairo_new_sub_path(cairo);
            cairo_arc(cairo, centre.x, centre.y, radius, 0, 2 * M_PI);
            continue;
        }
        for (const double slope : {1.0, -1.0}) {
            cairo_move_to(cairo, centre.x - radius, centre.y - slope * radius);
            cairo_line_to(cairo, centre.x + radius, centre.y + slope * radius);
        }
    }
    cairo_stroke(cairo);
}

void CairoPen::write(const std::string& text, Point at, const Lettering& lettering)
{
    setInk(lettering.ink);
    cairo_set_font_face(cairo, fonts.faceFor(text, lettering.isBold));
    cairo_set_font_size(cairo, lettering.size);
    const double width = lettering.align == Align::left ? 0 : fonts.width(text, lettering);
    cairo_move_to(cairo, at.x - (lettering.align == Align::centre ? width / 2 : width), at.y);
    if (isPicture) {
        // Letters that are shown begin on whole pixels, which makes their distances uneven.
        cairo_text_path(cairo, text.c_str());
        cairo_fill(cairo);
    } else {
        cairo_show_text(cairo, text.c_str());
    }
}
