#include "swatch.h"

#include <unistd.h>

#include <cstdlib>
#include <string_view>

static std::string_view environment(const char* name)
{
    const char* value = getenv(name);
    return value != nullptr ? value : "";
}

TerminalColours terminalColours(Colouring colouring)
{
    const std::string_view depth = environment("COLORTERM");
    const bool showsAll = depth == "truecolor" || depth == "24bit";
    if (colouring == Colouring::always)
        return showsAll ? TerminalColours::all : TerminalColours::palette256;
    if (colouring == Colouring::never || !environment("NO_COLOR").empty() || isatty(STDOUT_FILENO) == 0)
        return TerminalColours::none;
    return showsAll                                    ? TerminalColours::all
           : environment("TERM").ends_with("256color") ? TerminalColours::palette256
                                                       : TerminalColours::none;
}

static int squaredDistance(const u8* rgb, int red, int green, int blue)
{
    return (rgb[0] - red) * (rgb[0] - red) + (rgb[1] - green) * (rgb[1] - green) + (rgb[2] - blue) * (rgb[2] - blue);
}

// Of 256 colours, 16 to 231 are a cube of six levels and 232 to 255 greys.
static int nearestOf256(const u8* rgb)
{
    constexpr int levels[] = {0, 95, 135, 175, 215, 255};
    int steps[3];
    for (int channel = 0; channel < 3; channel++)
        steps[channel] = rgb[channel] < 48 ? 0 : rgb[channel] < 115 ? 1 : (rgb[channel] - 35) / 40;
    const int mean = (rgb[0] + rgb[1] + rgb[2]) / 3;
    const int greyStep = mean < 4 ? 0 : mean > 238 ? 23 : (mean - 3) / 10;
    const int grey = 8 + 10 * greyStep;
    const bool isGrey = squaredDistance(rgb, grey, grey, grey) <
                        squaredDistance(rgb, levels[steps[0]], levels[steps[1]], levels[steps[2]]);
    return isGrey ? 232 + greyStep : 16 + 36 * steps[0] + 6 * steps[1] + steps[2];
}

std::string swatch(TerminalColours colours, const u8* rgb)
{
    auto number = [](int value) { return std::to_string(value); };
    const std::string colour = colours == TerminalColours::all
                                   ? "2;" + number(rgb[0]) + ";" + number(rgb[1]) + ";" + number(rgb[2])
                                   : "5;" + number(nearestOf256(rgb));
    return "\x1B[48;" + colour + "m      \x1B[0m";
}
