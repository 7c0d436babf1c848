#include "loomfile/drawing/caption.h"

#include <algorithm>
#include <cmath>

#include "loomfile/drawing/sheet.h"
#include "loomfile/refusal.h"

constexpr double titleLine = 23;
constexpr double factsLine = 15;
constexpr double freeBelow = 14;
constexpr double wordGap = 12; // between title and author
constexpr Lettering titleLetters = {17, ink, true};
constexpr Lettering authorLetters = {10.5, paleInk};
constexpr Lettering factLetters = {10.5, paleInk};

static std::string counted(u32 count, const char* noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

// With one digit behind the point where it tells something, in every locale.
static std::string perCentimetre(double count)
{
    const long tenths = std::lround(std::min(count, 1e6) * 10);
    return std::to_string(tenths / 10) + (tenths % 10 != 0 ? "." + std::to_string(tenths % 10) : "");
}

Caption::Caption(const View& view) : title(printable(view.info.title)), author(printable(view.info.author))
{
    const LoomfileDraftInfo& info = view.info;
    facts =
        counted(info.shafts, "shaft") + (view.hasLiftPlan ? ", lift plan" : ", " + counted(info.treadles, "treadle"));
    if (info.isSinking != 0 && !view.hasLiftPlan)
        facts += ", sinking shed";
    const char* dot = "\u00A0 \u00B7 \u00A0";
    facts += dot + counted(info.ends, "end") + ", " + counted(info.picks, "pick");
    if (info.endsPerCm > 0)
        facts += dot + perCentimetre(info.endsPerCm) + " ends/cm";
    if (info.picksPerCm > 0)
        facts += (info.endsPerCm > 0 ? ", " : dot) + perCentimetre(info.picksPerCm) + " picks/cm";
}

double Caption::height() const
{
    return (title.empty() && author.empty() ? 0 : titleLine) + factsLine + freeBelow;
}

double Caption::width(Fonts& fonts) const
{
    const double first = fonts.width(title, titleLetters) + wordGap + fonts.width(author, authorLetters);
    return std::ceil(std::max(first, fonts.width(facts, factLetters)));
}

void Caption::draw(Pen& pen, Fonts& fonts, Point corner, double room) const
{
    double baseline = corner.y;
    if (!title.empty() || !author.empty()) {
        baseline += titleLine;
        const double rightOfTitle = title.empty() ? 0 : wordGap;
        const double most =
            author.empty() ? room : std::max(room * 2 / 3, room - wordGap - fonts.width(author, authorLetters));
        const std::string shown = fonts.shortened(title, titleLetters, most);
        const Point beginning = {corner.x, baseline - (titleLine - titleLetters.size)};
        const double begin = fonts.width(shown, titleLetters) + rightOfTitle;
        if (!title.empty())
            pen.write(shown, beginning, titleLetters);
        if (!author.empty())
            pen.write(fonts.shortened(author, authorLetters, room - begin), {corner.x + begin, beginning.y},
                      authorLetters);
    }
    pen.write(fonts.shortened(facts, factLetters, room), {corner.x, baseline + factLetters.size}, factLetters);
}
