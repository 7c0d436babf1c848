#include "loomfile/drawing/svg_pen.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "loomfile/drawing/fonts.h"

// At most two digits behind the point, without zeros at the end and in every locale.
static std::string number(double value)
{
    const long hundredths = std::lround(value * 100);
    const long whole = std::labs(hundredths);
    std::string text = (hundredths < 0 ? "-" : "") + std::to_string(whole / 100);
    if (whole % 100 != 0)
        text += "." + std::to_string(whole / 10 % 10) + (whole % 10 != 0 ? std::to_string(whole % 10) : "");
    return text;
}

static std::string colour(Ink ink)
{
    char text[8];
    snprintf(text, sizeof text, "#%06x", ink);
    return text;
}

static std::string escaped(const std::string& text)
{
    std::string result;
    for (const char letter : text)
        result += letter == '&' ? "&amp;" : letter == '<' ? "&lt;" : letter == '>' ? "&gt;" : std::string(1, letter);
    return result;
}

SvgPen::SvgPen(Output& out, double width, double height, const std::string& title) : output(out)
{
    add({"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"",
         number(width), "\" height=\"", number(height), "\" viewBox=\"0 0 ", number(width), " ", number(height),
         "\" font-family=\"", fontFamily, ", Arial, sans-serif\">\n"});
    if (!title.empty())
        add({"<title>", escaped(title), "</title>\n"});
}

void SvgPen::add(std::initializer_list<std::string_view> words)
{
    constexpr size_t enough = 1 << 16;
    for (const std::string_view word : words)
        kept += word;
    if (kept.size() < enough)
        return;
    output.write(kept.data(), kept.size());
    kept.clear();
}

void SvgPen::fill(Ink ink, const std::vector<Rectangle>& rectangles)
{
    add({"<path shape-rendering=\"crispEdges\" fill=\"", colour(ink), "\" d=\""});
    for (const Rectangle& rectangle : rectangles)
        add({"M", number(rectangle.x), " ", number(rectangle.y), "h", number(rectangle.width), "v",
             number(rectangle.height), "h", number(-rectangle.width), "z"});
    add({"\"/>\n"});
}

void SvgPen::mark(Ink ink, Sign sign, double radius, const std::vector<Point>& centres)
{
    add({"<path fill=\"none\" stroke=\"", colour(ink), "\" stroke-width=\"", number(signLine * radius),
         "\" stroke-linecap=\"round\" d=\""});
    const std::string size = number(radius);
    const std::string across = number(2 * radius);
    for (const Point& centre : centres) {
        const std::string left = number(centre.x - radius);
        if (sign == Sign::ring)
            add({"M", left, " ", number(centre.y), "a", size, " ", size, " 0 1 0 ", across, " 0a", size, " ", size,
                 " 0 1 0 -", across, " 0z"});
        else
            add({"M", left, " ", number(centre.y - radius), "l", across, " ", across, "M", left, " ",
                 number(centre.y + radius), "l", across, " -", across});
    }
    add({"\"/>\n"});
}

void SvgPen::write(const std::string& text, Point at, const Lettering& lettering)
{
    const char* anchor = lettering.align == Align::left     ? ""
                         : lettering.align == Align::centre ? " text-anchor=\"middle\""
                                                            : " text-anchor=\"end\"";
    add({"<text x=\"", number(at.x), "\" y=\"", number(at.y), "\" font-size=\"", number(lettering.size), "\" fill=\"",
         colour(lettering.ink), "\"", lettering.isBold ? " font-weight=\"bold\"" : "", anchor, ">", escaped(text),
         "</text>\n"});
}

void SvgPen::finish()
{
    add({"</svg>\n"});
    output.write(kept.data(), kept.size());
}
