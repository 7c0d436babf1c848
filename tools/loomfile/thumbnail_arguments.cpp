// thumbnail.
#include "arguments.h"

static constexpr const char* footer =
    "The thumbnail fits a square of --size pixels and has the proportions of the design: those that the file's\n"
    "resolution and multipliers tell, or --sett where it knows none. Each pixel is the mean of the light that falls\n"
    "on its area. A small design is enlarged by a whole number. Lifts of loom files and drafts have the colours of\n"
    "cloth, an indigo warp and a cream weft, pictures their own. '-' as OUT writes to standard output. The settings\n"
    "that 'loomfile --help' lists can be given here too.\n"
    "\n"
    "Examples:\n"
    "  loomfile thumbnail rose.jc5 small.png\n"
    "  loomfile thumbnail rose.jc5 small.png --size 512 --sett 60x40\n"
    "  loomfile thumbnail -r designs -o 'small/{folder}/{stem}.png'";

void addThumbnail(CLI::App& app, ThumbnailRequest& request, OpenOptions& options)
{
    CLI::App& thumbnail = *app.add_subcommand("thumbnail", "Make small pictures of files");
    addInAndOut(thumbnail, request.batch, ".png");
    addOutputOptions(thumbnail, request.batch, "OUT");
    thumbnail.add_option("--size", request.side, "Pixels of the longer edge at most, 1 to 4096; else 256")
        ->type_name("N")
        ->check(CLI::Range(1, 4096).description(""));
    addPairOption(thumbnail, "--sett", request.sett, setts, "Ends and picks per cm where the file does not tell")
        ->type_name("EPCxPPC");
    addBatchOptions(thumbnail, request.batch);
    addOpenOptions(thumbnail, options);
    thumbnail.footer(footer);
}
