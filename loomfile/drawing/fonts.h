// The fonts of a drawing: one for all that is ASCII, for other texts one that has their letters.
#pragma once

#include <cairo.h>

#include <map>
#include <memory>
#include <string>

#include "loomfile/drawing/pen.h"

constexpr const char* fontFamily = "Helvetica"; // or what the computer has in its place

struct Fonts {
    Fonts();
    cairo_font_face_t* faceFor(const std::string& text, bool isBold);
    double width(const std::string& text, const Lettering& lettering);
    // The text, or as much of it as there is room for, with dots behind.
    std::string shortened(const std::string& text, const Lettering& lettering, double room);

private:
    struct Free {
        void operator()(cairo_font_face_t* face) const { cairo_font_face_destroy(face); }
    };
    std::map<std::pair<std::string, bool>, std::unique_ptr<cairo_font_face_t, Free>> faces;
};

// Letters are as wide at every size and keep their shapes.
cairo_font_options_t* plainFontOptions();
