// The command line of tload.
#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <system_error>

#include "commands.h"
#include "output.h"

static constexpr const char* description =
    "tload opens the files of textile design and weaving: pictures, palettes and loom files.\n"
    "It tells what a file holds, turns it into a PNG picture that every other program can open, and shows how it\n"
    "looks as cloth.";

static constexpr const char* footer =
    "Examples:\n"
    "  tload info rose.gif                 what is in this file?\n"
    "  tload convert rose.gif rose.png     make a PNG picture of it\n"
    "  tload quantize rose.jpg rose.png --colours 16\n"
    "                                      make a picture of 16 colours of it\n"
    "  tload render rose.gif cloth.png     how does it look woven, repeat beside repeat?\n"
    "  tload seam rose.gif                 do the repeats join without a visible seam?\n"
    "  tload palette rose.gif              which colours does it have?\n"
    "  tload formats                       which kinds of files can be opened?\n"
    "  tload convert --help                more about one command\n"
    "  tload info -- -rose.gif             a name that begins with a dash goes behind two dashes\n"
    "\n"
    "The settings above name programs that some kinds of files need. What is installed on this computer is\n"
    "found without them.\n"
    "\n"
    "When something goes wrong, one sentence says what, and the exit code tells it to scripts:\n"
    "   0  all went well                         7  the file is damaged: sizes or data are wrong\n"
    "   2  not enough memory                    10  the file is no picture or weaving file\n"
    "   3  the file cannot be opened            11  the file's name is too short\n"
    "   4  the picture data cannot be decoded   12  the result cannot be written\n"
    "   5  this variant cannot be loaded        64  the command was not understood\n"
    "   6  the format is another one, is not known or cannot be loaded";

static constexpr const char* convertFooter =
    "The PNG keeps every pixel, the resolution and the multipliers. With --stretch each channel is spread over all\n"
    "levels, with --background transparent pixels are laid on white or on grey squares. An existing file is replaced,\n"
    "but only when the new one is complete. The settings that 'tload --help' lists can be given here too.\n"
    "\n"
    "Example:\n"
    "  tload convert rose.gif rose.png";

static constexpr const char* quantizeFooter =
    "Without --palette the colours are found by median cut; a picture that has no more of them keeps them exactly.\n"
    "With --palette its pixels take the nearest colours of that palette; with --keep as well, new colours are found\n"
    "and the first ones of the palette weigh in. Transparent pictures are laid on white first.\n"
    "\n"
    "Examples:\n"
    "  tload quantize rose.jpg rose.png --colours 16\n"
    "  tload quantize rose.jpg rose.png --colours 12 --dither 16 --size 400x320\n"
    "  tload quantize rose.jpg rose.png --palette yarns.gif";

static constexpr const char* paletteFooter =
    "Shows the colours of palettes (.pal, .gpl, .aco, .acb) and of pictures with a palette, with a patch of each "
    "where\n"
    "the terminal can show it. The settings that 'tload --help' lists can be given here too.\n"
    "\n"
    "Examples:\n"
    "  tload palette yarns.aco\n"
    "  tload palette rose.gif --gpl rose.gpl";

static constexpr const char* infoFooter = "Examples:\n"
                                          "  tload info rose.gif\n"
                                          "  tload info --json *.bmp > all.json\n"
                                          "\n"
                                          "The settings that 'tload --help' lists can be given here too.";

static constexpr const char* renderFooter =
    "The cloth is the picture, repeated without end. How large a picture pixel is tells the file's resolution, or\n"
    "--sett where the file does not know it, as with loom files: a pixel is then one end by one pick. Transparent\n"
    "pictures are laid on white. The same command always draws the same. The settings that 'tload --help' lists can\n"
    "be given here too.\n"
    "\n"
    "Examples:\n"
    "  tload render rose.gif cloth.png                                  as large as life on a usual screen\n"
    "  tload render rose.jc5 cloth.png --sett 60x40 --zoom 3            a fine cloth under the glass\n"
    "  tload render rose.jc5 cloth.png --dpi 300 --size 2480x3508       a page to print\n"
    "  tload render rose.gif cloth.png --at 400,-100                    farther right, and a little up";

static constexpr const char* seamFooter =
    "Compares the step across the edge where two repeats meet with the steps between the columns or rows beside it.\n"
    "'across' is the edge between repeats side by side, 'along' the one between repeats on top of each other. 30 %\n"
    "says that the step is by 30 % larger than those beside it; 0 is no seam. Pictures of less than 21 pixels are\n"
    "too small to tell.\n"
    "\n"
    "Examples:\n"
    "  tload seam rose.gif\n"
    "  tload seam --json rose.gif";

static constexpr const char* formatsFooter = "Example:\n"
                                             "  tload formats";

static void addSettings(CLI::App& app, LoaderSettings& settings)
{
    auto add = [&](const char* name, std::string& text, const char* valueName, const char* help) {
        return app.add_option(name, text, help)->type_name(valueName)->group("Settings");
    };
    add("--tmp-dir", settings.tmpDir, "DIR", "Directory for temporary files")
        ->check(CLI::ExistingDirectory.description(""));
    add("--gzip", settings.gzipCommand, "CMD", "Command that unpacks .gz data");
    add("--unzip", settings.unzipCommand, "CMD", "Command that unpacks .zip files");
    add("--ms-expand", settings.msExpandCommand, "CMD", "Command that unpacks files compressed for old Windows");
    add("--vector-preview", settings.vectorPreviewCommand, "CMD", "Command that turns PDF, EPS or SVG into a PNG");
    app.add_option("--bonas-line-padding", settings.bonasLinePadding, "Whether Bonas files pad their rows: 1 or 0")
        ->type_name("N")
        ->check(CLI::Range(0, 1).description(""))
        ->group("Settings");
    app.add_option("--jc4-mapping", settings.mappingJC4,
                   "Hooks of a module where a JC4 file leaves it open: 0 finds out, 1 = 1344, 2 = 1536, 3 = 3072")
        ->type_name("N")
        ->check(CLI::Range(0, 3).description(""))
        ->group("Settings");
}

static void addFormatOption(CLI::App& command, u32& format)
{
    command.add_option("--format", format, "Open the file as this format, a number from 'tload formats'")
        ->type_name("ID")
        ->check(CLI::Range(1, int{formatCount}).description(""));
}

struct PairRule {
    char separator;
    double least;
    double most;
    bool wholeNumbers;
};

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

static void addRenderOptions(CLI::App& render, RenderRequest& request)
{
    constexpr PairRule sizes = {'x', 1, 20000, true};
    constexpr PairRule places = {',', -1e9, 1e9, true};
    constexpr PairRule setts = {'x', 0.1, 1000, false};
    render.add_option("IN", request.source, "The file to read")->type_name("")->required();
    render.add_option("OUT.png", request.target, "The PNG file to write")->type_name("")->required();
    render.add_option("--dpi", request.dotsPerInch, "Resolution of the screen or printer, 96 if not given")
        ->type_name("N")
        ->check(numberBetween(1, 10000));
    render.add_option("--zoom", request.zoom, "Magnification, 1 = as large as life")
        ->type_name("Z")
        ->check(numberBetween(0.001, 1000));
    addPairOption(render, "--size", request.size, sizes, "Size of the PNG in pixels, 800x600 if not given")
        ->type_name("WxH");
    addPairOption(render, "--at", request.at, places, "Pixel of the cloth to begin with, from a repeat's corner")
        ->type_name("X,Y");
    addPairOption(render, "--sett", request.sett, setts,
                  "Ends and picks per cm where the file does not tell, 24x24 if not given")
        ->type_name("EPCxPPC");
    addFormatOption(render, request.format);
    render.footer(renderFooter);
}

static void addFileOptions(CLI::App& command, std::string& source, std::string& target, u32& format)
{
    command.add_option("IN", source, "The file to read")->type_name("")->required();
    command.add_option("OUT.png", target, "The PNG file to write")->type_name("")->required();
    addFormatOption(command, format);
}

static void addQuantizeOptions(CLI::App& command, QuantizeRequest& request)
{
    auto addNumber = [&](const char* name, i32& number, i32 least, i32 most, const char* help) {
        command.add_option(name, number, help)->type_name("N")->check(CLI::Range(least, most).description(""));
    };
    addFileOptions(command, request.source, request.target, request.format);
    addNumber("--colours", request.colours, 1, 256, "Colours of the new picture at most, 1 to 256; else 256");
    addNumber("--keep", request.keep, 0, 256, "Let the first N colours of the palette weigh in");
    command.add_option("--palette", request.paletteFile, "Take the palette of this file: a palette or a picture")
        ->type_name("FILE");
    addNumber("--dither", request.strength, 0, 16, "Spread what a pixel loses over its neighbours, 0 to 16 = fully");
    addNumber("--noise", request.noise, 0, 100, "Add random noise before colours are chosen, 0 to 100");
    command.add_option("--size", request.size, "Scale to this size")->type_name("WxH");
    command.footer(quantizeFooter);
}

// 64 for what was not understood; a request for help is answered with success.
static ExitCode endParsing(const CLI::App& app, const CLI::ParseError& error)
{
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        app.exit(error);
        finishOutput();
        return exitSuccess;
    }
    std::string sentence = printable(error.what());
    fprintf(stderr, "tload: %s (see tload --help).\n", sentence.c_str());
    return exitUsage;
}

// As the parser wants them. It takes some words for lists and separators of its own, which are files here.
static std::vector<std::string> reversedArguments(int argc, char** argv)
{
    std::vector<std::string> arguments;
    for (int i = argc - 1; i > 0; i--) {
        std::string argument = argv[i];
        bool isList = argument.starts_with('[') && argument.ends_with(']');
        arguments.push_back(isList || argument == "{}" || argument == "%%" ? "./" + argument : argument);
    }
    return arguments;
}

static ExitCode run(int argc, char** argv)
{
    CLI::App app(description, "tload");
    app.footer(footer);
    app.set_version_flag("--version", "tload " TLOAD_VERSION, "Print the version and end");
    app.set_help_flag("-h,--help", "Print this help and end");
    app.require_subcommand(0, 1);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.get_formatter()->label("Subcommands", "Commands");

    LoaderSettings settings = installedSettings();
    addSettings(app, settings);

    bool formatsJson = false;
    CLI::App* formats = app.add_subcommand("formats", "List the known formats");
    formats->add_flag("--json", formatsJson, "Print JSON, for other programs");
    formats->footer(formatsFooter);

    InfoRequest infoRequest;
    CLI::App* info = app.add_subcommand("info", "Tell what files hold");
    info->add_option("FILE", infoRequest.files, "The files")->type_name("")->required();
    info->add_flag("--json", infoRequest.json, "Print JSON, for other programs");
    addFormatOption(*info, infoRequest.format);
    info->footer(infoFooter);

    ConvertRequest convertRequest;
    CLI::App* convert = app.add_subcommand("convert", "Turn a file into a PNG picture");
    addFileOptions(*convert, convertRequest.source, convertRequest.target, convertRequest.format);
    convert->add_flag("--stretch", convertRequest.stretch, "Stretch the contrast of colour pictures to the full range");
    convert->add_option("--background", convertRequest.background, "What shows through: white or checker")
        ->type_name("COLOUR")
        ->check(CLI::IsMember({"white", "checker"}).description(""));
    convert->footer(convertFooter);

    RenderRequest renderRequest;
    CLI::App* render = app.add_subcommand("render", "Show a picture as cloth, at its physical size");
    addRenderOptions(*render, renderRequest);

    SeamRequest seamRequest;
    CLI::App* seam = app.add_subcommand("seam", "Tell whether a picture's repeats join without a seam");
    seam->add_option("IN", seamRequest.source, "The file to read")->type_name("")->required();
    seam->add_flag("--json", seamRequest.json, "Print JSON, for other programs");
    addFormatOption(*seam, seamRequest.format);
    seam->footer(seamFooter);

    QuantizeRequest quantizeRequest;
    CLI::App* quantize = app.add_subcommand("quantize", "Turn a file into a PNG picture of few colours");
    addQuantizeOptions(*quantize, quantizeRequest);

    PaletteRequest paletteRequest;
    CLI::App* palette = app.add_subcommand("palette", "Show the colours of a palette or a picture");
    palette->add_option("IN", paletteRequest.source, "The file to read")->type_name("")->required();
    palette->add_flag("--json", paletteRequest.json, "Print JSON, for other programs");
    palette->add_option("--gpl", paletteRequest.gimpTarget, "Write a GIMP palette")->type_name("OUT.gpl");
    addFormatOption(*palette, paletteRequest.format);
    palette->footer(paletteFooter);

    for (CLI::App* command : {formats, info, convert, quantize, palette, render, seam})
        command->fallthrough();

    try {
        app.parse(reversedArguments(argc, argv));
    } catch (const CLI::ParseError& error) {
        return endParsing(app, error);
    }
    if (app.get_subcommands().empty()) {
        fputs("tload: say what to do: info, convert, quantize, palette, render, seam or formats (see tload --help).\n",
              stderr);
        return exitUsage;
    }
    applySettings(settings);
    ExitCode exitCode = formats->parsed()    ? listFormats(formatsJson)
                        : info->parsed()     ? showInfo(infoRequest)
                        : quantize->parsed() ? quantizePicture(quantizeRequest)
                        : palette->parsed()  ? showPalette(paletteRequest)
                        : render->parsed()   ? renderCloth(renderRequest)
                        : seam->parsed()     ? measureSeam(seamRequest)
                                             : convertPicture(convertRequest);
    finishOutput();
    return exitCode;
}

// A file that is opened in place of one of these would take what is printed.
static void openStandardStreams()
{
    int descriptor;
    do
        descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0)
        close(descriptor);
}

int main(int argc, char** argv)
{
    openStandardStreams();
    // A limit on the size of files is to be an error of the write, here and in the programs that are run.
    signal(SIGXFSZ, SIG_IGN);
    try {
        return run(argc, argv);
    } catch (const Failure& failure) {
        printFailure(failure);
        return failure.exitCode;
    } catch (const std::bad_alloc&) {
        fputs("tload: there is not enough memory.\n", stderr);
    } catch (const std::system_error&) {
        fputs("tload: the computer is too busy to start.\n", stderr);
    }
    return exitOutOfMemory;
}
