// The command line of tload.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <new>
#include <system_error>

#include "commands.h"
#include "output.h"

static constexpr const char* description =
    "tload opens the files of textile design and weaving: pictures, palettes and loom files.\n"
    "It tells what a file holds and turns it into a PNG picture that every other program can open.";

static constexpr const char* footer =
    "Examples:\n"
    "  tload info rose.gif                 what is in this file?\n"
    "  tload convert rose.gif rose.png     make a PNG picture of it\n"
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
        ->group("Settings");
    app.add_option("--jc4-mapping", settings.mappingJC4,
                   "Hooks of a module where a JC4 file leaves it open: 0 finds out, 1 = 1344, 2 = 1536, 3 = 3072")
        ->type_name("N")
        ->group("Settings");
}

static void addFormatOption(CLI::App& command, u32& format)
{
    command.add_option("--format", format, "Open the file as this format, a number from 'tload formats'")
        ->type_name("ID")
        ->check(CLI::Range(1, int{formatCount}).description(""));
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
    convert->add_option("IN", convertRequest.source, "The file to read")->type_name("")->required();
    convert->add_option("OUT.png", convertRequest.target, "The PNG file to write")->type_name("")->required();
    addFormatOption(*convert, convertRequest.format);
    convert->add_flag("--stretch", convertRequest.stretch, "Stretch the contrast of colour pictures to the full range");
    convert->add_option("--background", convertRequest.background, "What shows through: white or checker")
        ->type_name("COLOUR")
        ->check(CLI::IsMember({"white", "checker"}).description(""));
    convert->footer(convertFooter);

    PaletteRequest paletteRequest;
    CLI::App* palette = app.add_subcommand("palette", "Show the colours of a palette or a picture");
    palette->add_option("IN", paletteRequest.source, "The file to read")->type_name("")->required();
    palette->add_flag("--json", paletteRequest.json, "Print JSON, for other programs");
    palette->add_option("--gpl", paletteRequest.gimpTarget, "Write a GIMP palette")->type_name("OUT.gpl");
    addFormatOption(*palette, paletteRequest.format);
    palette->footer(paletteFooter);

    for (CLI::App* command : {formats, info, convert, palette})
        command->fallthrough();

    try {
        app.parse(reversedArguments(argc, argv));
    } catch (const CLI::ParseError& error) {
        return endParsing(app, error);
    }
    if (app.get_subcommands().empty()) {
        fputs("tload: say what to do: info, convert, palette or formats (see tload --help).\n", stderr);
        return exitUsage;
    }
    applySettings(settings);
    ExitCode exitCode = formats->parsed()   ? listFormats(formatsJson)
                        : info->parsed()    ? showInfo(infoRequest)
                        : palette->parsed() ? showPalette(paletteRequest)
                                            : convertPicture(convertRequest);
    finishOutput();
    return exitCode;
}

int main(int argc, char** argv)
{
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
