// The lines above a drawing: title and author, sizes and sett.
#pragma once

#include "loomfile/drawing/fonts.h"
#include "loomfile/drawing/view.h"

struct Caption {
    explicit Caption(const View& view);

    double height() const; // with what is left free below
    double width(Fonts& fonts) const;
    void draw(Pen& pen, Fonts& fonts, Point corner, double room) const;

    std::string title, author, facts;
};
