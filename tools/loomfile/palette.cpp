// loomfile palette: the colours of a palette or of an indexed picture.
#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "commands.h"
#include "json.h"
#include "messages.h"
#include "output_file.h"
#include "swatch.h"

struct Colour {
    u8 rgb[3];
    u64 pixels; // of a picture
    std::string name;
};

static Colour colourAt(const u8* rgb)
{
    return {{rgb[0], rgb[1], rgb[2]}, 0, ""};
}

// A large palette is a picture of its colours. What is black at its end fills the last row.
static std::vector<Colour> coloursOfPixels(Picture& picture)
{
    const Pixels pixels = loadPixels(picture);
    const u64 count = u64{picture.info.width} * picture.info.height;
    std::vector<Colour> colours;
    for (u64 i = 0; i < count; i++)
        colours.push_back(colourAt(pixels.get() + 3 * i));
    const u64 fewest = count - picture.info.width + 1;
    while (colours.size() > fewest && colours.back().rgb[0] + colours.back().rgb[1] + colours.back().rgb[2] == 0)
        colours.pop_back();
    return colours;
}

static std::vector<Colour> coloursOfPalette(Picture& picture)
{
    const LoomfileInfo& info = picture.info;
    std::vector<Colour> colours;
    for (u32 i = 0; i < sizeof info.palette / 3; i++)
        colours.push_back(colourAt(info.palette + size_t{3} * i));
    u64 count = info.colourCount;
    if (info.isPalette == 0) {
        const Pixels pixels = loadPixels(picture);
        const u64 pixelCount = u64{info.width} * info.height;
        for (u64 i = 0; i < pixelCount; i++)
            colours[pixels.get()[i]].pixels++;
        while (count < colours.size() && std::any_of(colours.begin() + static_cast<i64>(count), colours.end(),
                                                     [](const Colour& colour) { return colour.pixels > 0; }))
            count++;
    }
    colours.resize(count);
    return colours;
}

static std::vector<Colour> coloursOf(Picture& picture)
{
    const bool isLarge = picture.info.kind == kindRGB && picture.info.isPalette != 0;
    if (!isLarge && picture.info.kind != kindIndexed)
        throw Failure{exitUnsupportedVariant, picture.file,
                      "the picture has no palette (" + colourText(picture.info) + ")"};
    std::vector<Colour> colours = isLarge ? coloursOfPixels(picture) : coloursOfPalette(picture);
    for (u32 i = 0; picture.info.isPalette != 0 && i < colours.size(); i++)
        colours[i].name = colourNameOf(picture, i);
    return colours;
}

static std::string hexText(const Colour& colour)
{
    char text[8];
    snprintf(text, sizeof text, "#%02X%02X%02X", colour.rgb[0], colour.rgb[1], colour.rgb[2]);
    return text;
}

static void printTable(const Picture& picture, const std::vector<Colour>& colours, Colouring colouring)
{
    const TerminalColours shown = terminalColours(colouring);
    const bool withSwatch = shown != TerminalColours::none;
    const bool withPixels = picture.info.isPalette == 0;
    const bool withNames =
        std::any_of(colours.begin(), colours.end(), [](const Colour& colour) { return !colour.name.empty(); });
    printf("%s\n", printable(picture.file).c_str());
    printf("  Number  %sColour   Red Green Blue%s%s\n", withSwatch ? "        " : "", withPixels ? "     Pixels" : "",
           withNames ? "  Name" : "");
    for (size_t i = 0; i < colours.size(); i++) {
        const Colour& colour = colours[i];
        printf("  %6zu  ", i);
        if (withSwatch)
            printf("%s  ", swatch(shown, colour.rgb).c_str());
        printf("%s  %3d   %3d  %3d", hexText(colour).c_str(), colour.rgb[0], colour.rgb[1], colour.rgb[2]);
        if (withPixels)
            printf(" %10llu", static_cast<unsigned long long>(colour.pixels));
        if (!colour.name.empty())
            printf("  %s", printable(colour.name).c_str());
        putchar('\n');
    }
}

static void printColoursJson(const Picture& picture, const std::vector<Colour>& colours)
{
    const bool isPalette = picture.info.isPalette != 0;
    Json list = Json::array();
    for (size_t i = 0; i < colours.size(); i++) {
        const Colour& colour = colours[i];
        list.push_back({{"number", i},
                        {"hex", hexText(colour)},
                        {"red", colour.rgb[0]},
                        {"green", colour.rgb[1]},
                        {"blue", colour.rgb[2]},
                        {"name", colour.name.empty() ? Json() : Json(colour.name)},
                        {"pixels", isPalette ? Json() : Json(colour.pixels)}});
    }
    printJson({{"file", picture.file},
               {"format", picture.info.format},
               {"formatName", picture.info.formatName},
               {"colours", list},
               {"remarks", remarksJson(picture)}});
}

static void writeGimpPalette(const PaletteRequest& request, const Picture& picture, const std::vector<Colour>& colours)
{
    constexpr u32 usualColumns = 16;
    constexpr u32 mostColumns = 256;
    const bool isSquare = picture.info.isPalette != 0 && picture.info.width <= mostColumns;
    std::string text = "GIMP Palette\nName: " + printable(baseNameOf(picture.file)) +
                       "\nColumns: " + std::to_string(isSquare ? picture.info.width : usualColumns) + "\n#\n";
    for (const Colour& colour : colours) {
        char line[40];
        snprintf(line, sizeof line, "%3d %3d %3d\t", colour.rgb[0], colour.rgb[1], colour.rgb[2]);
        text += line + (colour.name.empty() ? hexText(colour) : printable(colour.name)) + "\n";
    }
    OutputFile file(request.gimpTarget, request.mayReplace);
    if (fwrite(text.data(), 1, text.size(), file.stream) != text.size())
        failToWrite(request.gimpTarget, errno);
    file.moveToTarget();
}

ExitCode showPalette(const PaletteRequest& request, const OpenOptions& options)
{
    const std::string& target = request.gimpTarget;
    if (!target.empty())
        checkTarget(target, {".gpl"}, request.mayReplace); // told before the picture is read
    Picture picture(request.source, options);
    const std::vector<Colour> colours = coloursOf(picture);
    if (!target.empty())
        writeGimpPalette(request, picture, colours);
    if (request.json)
        printColoursJson(picture, colours);
    else if (target.empty())
        printTable(picture, colours, request.colouring);
    else
        printSummary(target, picture.file + ": " + picture.info.formatName + ", " +
                                 countText(colours.size(), "colour") + " -> " + target);
    return printRemarks(picture);
}
