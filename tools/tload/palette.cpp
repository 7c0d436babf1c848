// tload palette: the colours of a palette or of an indexed picture.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string_view>

#include "commands.h"
#include "output.h"
#include "temporary_file.h"

struct Colour {
    u8 red;
    u8 green;
    u8 blue;
    u64 pixels; // of a picture
};

static Colour colourAt(const u8* rgb)
{
    return {rgb[0], rgb[1], rgb[2], 0};
}

// A large palette is a picture of its colours. What is black at its end fills the last row.
static std::vector<Colour> coloursOfPixels(Picture& picture)
{
    const Pixels pixels = loadPixels(picture);
    const u64 count = u64{picture.width} * picture.height;
    std::vector<Colour> colours;
    for (u64 i = 0; i < count; i++)
        colours.push_back(colourAt(pixels.get() + 3 * i));
    const u64 fewest = count - picture.width + 1;
    while (colours.size() > fewest && colours.back().red + colours.back().green + colours.back().blue == 0)
        colours.pop_back();
    return colours;
}

static std::vector<Colour> coloursOf(Picture& picture)
{
    if (picture.kind == kindRGB && isPalette(picture))
        return coloursOfPixels(picture);
    if (picture.kind != kindIndexed)
        throw Failure{exitUnsupportedVariant, picture.file, "the picture has no palette (" + colourText(picture) + ")"};
    std::vector<Colour> colours;
    for (u32 i = 0; i < sizeof picture.palette / 3; i++)
        colours.push_back(colourAt(picture.palette + size_t{3} * i));
    u64 count = picture.paletteColours;
    if (!isPalette(picture)) {
        const Pixels pixels = loadPixels(picture);
        const u64 pixelCount = u64{picture.width} * picture.height;
        for (u64 i = 0; i < pixelCount; i++)
            colours[pixels.get()[i]].pixels++;
        while (count < colours.size() && std::any_of(colours.begin() + static_cast<i64>(count), colours.end(),
                                                     [](const Colour& colour) { return colour.pixels > 0; }))
            count++;
    }
    colours.resize(count);
    return colours;
}

static std::string hexText(const Colour& colour)
{
    char text[8];
    snprintf(text, sizeof text, "#%02X%02X%02X", colour.red, colour.green, colour.blue);
    return text;
}

// Whether standard output is a terminal that shows any colour.
static bool showsColours()
{
    const char* kind = getenv("COLORTERM");
    const std::string_view terminal = kind != nullptr ? kind : "";
    return (terminal == "truecolor" || terminal == "24bit") && getenv("NO_COLOR") == nullptr &&
           isatty(STDOUT_FILENO) != 0;
}

static void printTable(const Picture& picture, const std::vector<Colour>& colours)
{
    const bool withSwatch = showsColours();
    const bool withPixels = !isPalette(picture);
    printf("%s\n", printable(picture.file).c_str());
    printf("  Number  %sColour   Red Green Blue%s\n", withSwatch ? "        " : "", withPixels ? "     Pixels" : "");
    for (size_t i = 0; i < colours.size(); i++) {
        const Colour& colour = colours[i];
        printf("  %6zu  ", i);
        if (withSwatch)
            printf("\x1B[48;2;%d;%d;%dm      \x1B[0m  ", colour.red, colour.green, colour.blue);
        printf("%s  %3d   %3d  %3d", hexText(colour).c_str(), colour.red, colour.green, colour.blue);
        if (withPixels)
            printf(" %10llu", static_cast<unsigned long long>(colour.pixels));
        putchar('\n');
    }
}

static void printColoursJson(const Picture& picture, const std::vector<Colour>& colours)
{
    Json list = Json::array();
    for (size_t i = 0; i < colours.size(); i++) {
        const Colour& colour = colours[i];
        list.push_back({{"number", i},
                        {"hex", hexText(colour)},
                        {"red", colour.red},
                        {"green", colour.green},
                        {"blue", colour.blue},
                        {"pixels", isPalette(picture) ? Json() : Json(colour.pixels)}});
    }
    printJson({{"file", picture.file},
               {"format", picture.format},
               {"formatName", returnLoaderString(picture.format)},
               {"colours", list}});
}

static void writeGimpPalette(const std::string& target, const Picture& picture, const std::vector<Colour>& colours)
{
    constexpr u32 usualColumns = 16;
    constexpr u32 mostColumns = 256;
    const u32 columns = isPalette(picture) && picture.width <= mostColumns ? picture.width : usualColumns;
    std::string text = "GIMP Palette\nName: " + printable(baseNameOf(picture.file)) +
                       "\nColumns: " + std::to_string(columns) + "\n#\n";
    for (const Colour& colour : colours) {
        char line[40];
        snprintf(line, sizeof line, "%3d %3d %3d\t%s\n", colour.red, colour.green, colour.blue,
                 hexText(colour).c_str());
        text += line;
    }
    TemporaryFile file(target);
    if (fwrite(text.data(), 1, text.size(), file.stream) != text.size())
        failToWrite(target, errno);
    file.moveToTarget();
}

ExitCode showPalette(const PaletteRequest& request)
{
    if (!request.gimpTarget.empty())
        resolveTarget(request.gimpTarget); // told before the picture is read
    Picture picture(request.source, request.format);
    const std::vector<Colour> colours = coloursOf(picture);
    if (!request.gimpTarget.empty())
        writeGimpPalette(request.gimpTarget, picture, colours);
    if (request.json)
        printColoursJson(picture, colours);
    else if (request.gimpTarget.empty())
        printTable(picture, colours);
    else
        printf("%s\n", printable(request.source + ": " + returnLoaderString(picture.format) + ", " +
                                 std::to_string(colours.size()) + (colours.size() == 1 ? " colour" : " colours") +
                                 " -> " + request.gimpTarget)
                           .c_str());
    printComplaint(picture);
    return exitSuccess;
}
