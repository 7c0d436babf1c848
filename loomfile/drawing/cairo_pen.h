// Draws on a surface of cairo's.
#pragma once

#include <cairo.h>

#include "loomfile/drawing/fonts.h"
#include "loomfile/drawing/pen.h"

struct CairoPen : Pen {
    CairoPen(cairo_surface_t* surface, Fonts& usedFonts, double scale);
    ~CairoPen() override;

    void fill(Ink ink, const std::vector<Rectangle>& rectangles) override;
    void mark(Ink ink, Sign sign, double radius, const std::vector<Point>& centres) override;
    void write(const std::string& text, Point at, const Lettering& lettering) override;

    void turnPage() { cairo_show_page(cairo); }
    cairo_status_t status() const { return cairo_status(cairo); }

private:
    void setInk(Ink ink);

    cairo_t* cairo;
    Fonts& fonts;
    bool isPicture; // else paper
};
