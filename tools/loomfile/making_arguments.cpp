// convert, quantize and render.
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "arguments.h"

static constexpr const char* convertFooter =
    "The PNG keeps every pixel, the resolution and the multipliers. With --stretch each channel is spread over all\n"
    "levels, with --background transparent pixels are laid on white or on grey squares. '-' as IN reads standard\n"
    "input, '-' as OUT.png writes to standard output. The settings that 'loomfile --help' lists can be given here "
    "too.\n"
    "\n"
    "Examples:\n"
    "  loomfile convert rose.gif rose.png\n"
    "  loomfile convert - - --name rose.jc5 < card > rose.png";

static constexpr const char* quantizeFooter =
    "Without --palette the colours are found by median cut; a picture that has no more of them keeps them exactly.\n"
    "With --palette its pixels take the nearest colours of that palette; with --keep as well, new colours are found\n"
    "and the first ones of the palette weigh in. Transparent pictures are laid on white first.\n"
    "\n"
    "Examples:\n"
    "  loomfile quantize rose.jpg rose.png --colours 16\n"
    "  loomfile quantize rose.jpg rose.png --colours 12 --dither 16 --size 400x320\n"
    "  loomfile quantize rose.jpg rose.png --palette yarns.gif";

static constexpr const char* renderFooter =
    "The cloth is the picture, repeated without end. How large a picture pixel is tells the file's resolution, or\n"
    "--sett where the file does not know it, as with most loom files: a pixel is then one end by one pick.\n"
    "Transparent pictures are laid on white. The same command always draws the same. The settings that\n"
    "'loomfile --help' lists can be given here too.\n"
    "\n"
    "Examples:\n"
    "  loomfile render rose.gif cloth.png                                  as large as life on a usual screen\n"
    "  loomfile render rose.jc5 cloth.png --sett 60x40 --zoom 3            a fine cloth under the glass\n"
    "  loomfile render rose.jc5 cloth.png --dpi 300 --size 2480x3508       a page to print\n"
    "  loomfile render rose.gif cloth.png --at 400,-100                    farther right, and a little up";

struct PairRule {
    char separator;
    double least;
    double most;
    bool wholeNumbers;
};

constexpr PairRule pictureSizes = {'x', 1, 65520, true};

// Two numbers with a separator between them, such as 800x600.
static CLI::Option* addPairOption(CLI::App& command, const char* name, NumberPair& pair, PairRule rule,
                                  const char* help)
{
    auto parse = [&pair, name, rule](const std::string& text) {
        auto isGood = [&rule](double number) {
            return number >= rule.least && number <= rule.most && (!rule.wholeNumbers || number == std::floor(number));
        };
        NumberPair read;
        char separator = 0;
        int length = 0;
        if (sscanf(text.c_str(), "%lf%c%lf%n", &read.x, &separator, &read.y, &length) != 3 ||
            separator != rule.separator || static_cast<size_t>(length) != text.size() || !isGood(read.x) ||
            !isGood(read.y)) {
            char problem[100];
            snprintf(problem, sizeof problem, "two %s from %.10g to %.10g are wanted, with '%c' between them",
                     rule.wholeNumbers ? "whole numbers" : "numbers", rule.least, rule.most, rule.separator);
            throw CLI::ValidationError(name, problem);
        }
        pair = read;
    };
    return command.add_option_function<std::string>(name, parse, help);
}

// Other than CLI::Range, this refuses what is no number.
static CLI::Validator numberBetween(double least, double most)
{
    auto check = [least, most](const std::string& text) {
        char* end = nullptr;
        const double number = strtod(text.c_str(), &end);
        if (end != text.c_str() && *end == 0 && number >= least && number <= most)
            return std::string();
        char problem[100];
        snprintf(problem, sizeof problem, "a number from %.10g to %.10g is wanted", least, most);
        return std::string(problem);
    };
    return {check, ""};
}

static CLI::App& addCommand(CLI::App& app, const char* name, const char* help, PictureRequest& request,
                            OpenOptions& options)
{
    CLI::App& command = *app.add_subcommand(name, help);
    command.add_option("IN", request.source, "The file to read")->type_name("")->required();
    command.add_option("OUT.png", request.target, "The PNG file to write")->type_name("")->required();
    command.add_flag("-f,--force", request.mayReplace, "Replace OUT.png when it exists");
    addOpenOptions(command, options);
    return command;
}

static void addConvert(CLI::App& app, ConvertRequest& request, OpenOptions& options)
{
    CLI::App& convert = addCommand(app, "convert", "Turn a file into a PNG picture", request, options);
    convert.add_flag("--stretch", request.stretch, "Stretch the contrast of colour pictures to the full range");
    convert.add_option("--background", request.background, "What shows through: white or checker")
        ->type_name("COLOUR")
        ->check(CLI::IsMember({"white", "checker"}).description(""));
    convert.footer(convertFooter);
}

static void addQuantize(CLI::App& app, QuantizeRequest& request, OpenOptions& options)
{
    CLI::App& quantize = addCommand(app, "quantize", "Turn a file into a PNG picture of few colours", request, options);
    auto addNumber = [&](const char* name, i32& number, i32 least, i32 most, const char* help) {
        quantize.add_option(name, number, help)->type_name("N")->check(CLI::Range(least, most).description(""));
    };
    addNumber("--colours,--colors", request.colours, 1, 256, "Colours of the new picture at most, 1 to 256; else 256");
    addNumber("--keep", request.keep, 0, 256, "Let the first N colours of the palette weigh in");
    quantize.add_option("--palette", request.paletteFile, "Take the palette of this file: a palette or a picture")
        ->type_name("FILE");
    addNumber("--dither", request.strength, 0, 16, "Spread what a pixel loses over its neighbours, 0 to 16 = fully");
    addNumber("--noise", request.noise, 0, 100, "Add random noise before colours are chosen, 0 to 100");
    addPairOption(quantize, "--size", request.size, pictureSizes, "Size of the PNG in pixels, that of IN if not given")
        ->type_name("WxH");
    quantize.footer(quantizeFooter);
}

static void addRender(CLI::App& app, RenderRequest& request, OpenOptions& options)
{
    constexpr PairRule places = {',', -1e9, 1e9, true};
    constexpr PairRule setts = {'x', 0.1, 1000, false};
    CLI::App& render = addCommand(app, "render", "Show a picture as cloth, at its physical size", request, options);
    render.add_option("--dpi", request.dotsPerInch, "Resolution of the screen or printer, 96 if not given")
        ->type_name("N")
        ->check(numberBetween(1, 10000));
    render.add_option("--zoom", request.zoom, "Magnification, 1 = as large as life")
        ->type_name("Z")
        ->check(numberBetween(0.001, 1000));
    addPairOption(render, "--size", request.size, pictureSizes, "Size of the PNG in pixels, 800x600 if not given")
        ->type_name("WxH");
    addPairOption(render, "--at", request.at, places, "Pixel of the cloth to begin with, from a repeat's corner")
        ->type_name("X,Y");
    addPairOption(render, "--sett", request.sett, setts,
                  "Ends and picks per cm where the file does not tell, 24x24 if not given")
        ->type_name("EPCxPPC");
    render.footer(renderFooter);
}

void addMakingCommands(CLI::App& app, Requests& requests)
{
    addConvert(app, requests.convert, requests.options);
    addQuantize(app, requests.quantize, requests.options);
    addRender(app, requests.render, requests.options);
    addDraft(app, requests.draft, requests.options);
}
