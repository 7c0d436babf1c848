// loomfile palette: the colours of a palette or of an indexed picture.
#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "batch/facts.h"
#include "commands.h"
#include "forms.h"
#include "messages.h"
#include "output_target.h"
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

static std::string tableOf(const Picture& picture, const std::vector<Colour>& colours, TerminalColours shown)
{
    const bool withSwatch = shown != TerminalColours::none;
    const bool withPixels = picture.info.isPalette == 0;
    const bool withNames =
        std::any_of(colours.begin(), colours.end(), [](const Colour& colour) { return !colour.name.empty(); });
    std::string table = printable(picture.file) + "\n  Number  " + (withSwatch ? "        " : "") +
                        "Colour   Red Green Blue" + (withPixels ? "     Pixels" : "") + (withNames ? "  Name" : "") +
                        "\n";
    for (size_t i = 0; i < colours.size(); i++) {
        const Colour& colour = colours[i];
        char text[80];
        snprintf(text, sizeof text, "  %6zu  ", i);
        table += text + (withSwatch ? swatch(shown, colour.rgb) + "  " : "");
        snprintf(text, sizeof text, "%s  %3d   %3d  %3d", hexText(colour).c_str(), colour.rgb[0], colour.rgb[1],
                 colour.rgb[2]);
        table += text;
        snprintf(text, sizeof text, " %10llu", static_cast<unsigned long long>(colour.pixels));
        table += withPixels ? text : "";
        table += (colour.name.empty() ? "" : "  " + printable(colour.name)) + "\n";
    }
    return table;
}

static Json coloursJson(const Picture& picture, const std::vector<Colour>& colours)
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
    return {{"file", picture.file},
            {"format", picture.info.format},
            {"formatName", picture.info.formatName},
            {"colours", list},
            {"remarks", remarksJson(picture)}};
}

static void writeGimpPalette(OutputFile& target, const Picture& picture, const std::vector<Colour>& colours)
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
    if (fwrite(text.data(), 1, text.size(), target.stream) != text.size())
        failToWrite(target.target, errno);
}

static Result showPalette(const PaletteRequest& request, const OpenOptions& options, TerminalColours shown,
                          const Input& input, OutputFile* target)
{
    Picture picture(input.path, options);
    const std::vector<Colour> colours = coloursOf(picture);
    if (target != nullptr)
        writeGimpPalette(*target, picture, colours);
    Result result;
    if (request.form != Form::text)
        result.text = formed(coloursJson(picture, colours), request.form, request.batch, false);
    else if (target == nullptr)
        result.text = tableOf(picture, colours, shown);
    else
        tellSummary(result, *target,
                    picture.file + ": " + picture.info.formatName + ", " + countText(colours.size(), "colour") +
                        " -> " + target->target);
    tellRemarks(result, picture);
    tellFacts(result, input, picture, !request.batch.report.empty());
    return result;
}

int showPalettes(const PaletteRequest& request, const OpenOptions& options)
{
    Batch batch;
    batch.endings = {".gpl"};
    batch.target = request.gimpTarget;
    if (!batch.target.empty())
        checkTarget(batch.target, batch.endings, request.batch.mayReplace); // told before the picture is read
    tellForm(batch, request.form, request.batch, false);
    const TerminalColours shown = terminalColours(request.colouring); // a worker does not see the terminal
    batch.job = [&](const Input& input, OutputFile* target) {
        return showPalette(request, options, shown, input, target);
    };
    return runBatch(batch, request.batch);
}
