// convert, quantize and render.
#include "arguments.h"

static constexpr const char* convertFooter =
    "The ending of OUT tells what is written.\n"
    "  .png        every pixel, the resolution and the multipliers. With --stretch each channel is spread over all\n"
    "              levels, with --background transparent pixels are laid on white or on grey squares.\n"
    "  .wif        a draft: that of the file, or of a picture in black and white of up to 256 different columns,\n"
    "              which become shafts\n"
    "  .bmp .tif   1 bit a pixel, dark = the end is up, of pictures in black and white and of drafts; the TIFF is\n"
    "              compressed (G4)\n"
    "'-' as IN reads standard input, '-' as OUT writes a PNG to standard output. The settings that 'loomfile --help'\n"
    "lists can be given here too.\n"
    "\n"
    "With -o all names are files or folders to read. A folder gets PNG pictures, in folders as those that were read; "
    "a\n"
    "template has {stem}, the name without its ending, {ending}, {name}, which is both, and {folder}, in which the "
    "file\n"
    "was found. What a folder holds besides pictures and weaving files is passed over, files that continue a design "
    "of\n"
    "several count with their first. One bad file does not stop the rest.\n"
    "\n"
    "Examples:\n"
    "  loomfile convert rose.gif rose.png\n"
    "  loomfile convert rose.dop rose.wif\n"
    "  loomfile convert -r designs -o pictures\n"
    "  loomfile convert *.dop -o 'drafts/{stem}.wif' --skip-existing --report drafts.csv\n"
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
    "With --yarn an end of a loom file or draft lies over the picks where it is lifted. The threads have the colours\n"
    "of the draft; those of loom files, which tell none, are indigo and cream, or as --warp and --weft say: #2a3c68 "
    "or\n"
    "a word as navy, red, ecru. A picture of more colours does not tell its weave: each pixel is a crossing in its\n"
    "colour, in plain weave. Below two pixels a thread yarns melt into their mean colour: --zoom 8 shows them.\n"
    "\n"
    "Examples:\n"
    "  loomfile render rose.gif cloth.png                                  as large as life on a usual screen\n"
    "  loomfile render rose.jc5 cloth.png --sett 60x40 --zoom 3            a fine cloth under the glass\n"
    "  loomfile render rose.jc5 cloth.png --yarn --zoom 8 --warp navy      each yarn\n"
    "  loomfile render rose.jc5 cloth.png --dpi 300 --size 2480x3508       a page to print\n"
    "  loomfile render rose.gif cloth.png --at 400,-100                    farther right, and a little up";

constexpr PairRule pictureSizes = {'x', 1, 65520, true};

static CLI::App& addCommand(CLI::App& app, const char* name, const char* help, PictureRequest& request,
                            OpenOptions& options)
{
    CLI::App& command = *app.add_subcommand(name, help);
    command.add_option("IN", request.source, "The file to read")->type_name("")->required();
    command.add_option("OUT.png", request.target, "The file to write")->type_name("")->required();
    command.add_flag("-f,--force", request.mayReplace, "Replace OUT.png when it exists");
    addOpenOptions(command, options);
    return command;
}

static void addConvert(CLI::App& app, ConvertRequest& request, OpenOptions& options)
{
    CLI::App& convert = *app.add_subcommand("convert", "Turn files into pictures or drafts");
    addInAndOut(convert, request.batch, ".png, .wif, .bmp or .tif");
    addOutputOptions(convert, request.batch, "OUT");
    convert.add_flag("--stretch", request.stretch, "Stretch the contrast of colour pictures to the full range");
    convert.add_option("--background", request.background, "What shows through: white or checker")
        ->type_name("COLOUR")
        ->check(CLI::IsMember({"white", "checker"}).description(""));
    addBatchOptions(convert, request.batch);
    addOpenOptions(convert, options);
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
    render.add_flag("--yarn", request.yarn, "Draw ends and picks as yarns, one over the other");
    addColourOption(render, "--warp", request.warp, "With --yarn: colour of the warp, the draft's if not given");
    addColourOption(render, "--weft", request.weft, "With --yarn: colour of the weft");
    render.footer(renderFooter);
}

void addMakingCommands(CLI::App& app, Requests& requests)
{
    addConvert(app, requests.convert, requests.options);
    addQuantize(app, requests.quantize, requests.options);
    addRender(app, requests.render, requests.options);
    addDraft(app, requests.draft, requests.options);
    addSheet(app, requests.sheet, requests.options);
    addThumbnail(app, requests.thumbnail, requests.options);
}
