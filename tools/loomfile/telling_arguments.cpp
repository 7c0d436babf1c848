// info, palette, seam, compare and formats.
#include <sstream>

#include "arguments.h"

static constexpr const char* infoFooter =
    "'-' reads standard input. What loom files say of their hooks and picks stands in the description. A doubtful\n"
    "file has a name that speaks for the format, but does not fit it. Of several files the highest exit code is\n"
    "that of the program. The settings that 'loomfile --help' lists can be given here too.\n"
    "\n"
    "--weave counts where yarns change sides: the longest float of an end and of a pick, over and under, with the end\n"
    "and the pick where it begins, from 1 on. The weave repeats, so that floats run on from its last end or pick to\n"
    "its first. Drafts tell the ends of each shaft and the picks of each treadle, too. With --length and --width: how\n"
    "much yarn, by the sett of the file or --sett and an assumed take-up, without waste.\n"
    "\n"
    "Several files get a line each: format, size, colours, name and remarks; with -v all that is known. Of a folder\n"
    "its files are told, with -r those in its folders, too.\n"
    "\n"
    "Examples:\n"
    "  loomfile info rose.gif\n"
    "  loomfile info -r designs\n"
    "  find designs -print0 | loomfile info --files-from - --jsonl\n"
    "  loomfile rose.gif                     the same\n"
    "  loomfile info --weave rose.jc5 --sett 60x40 --length 1000 --width 140\n"
    "  loomfile info --json *.bmp > all.json";

static constexpr const char* paletteFooter =
    "Shows the colours of palettes (.pal, .gpl, .aco, .acb), with their names, and of pictures with a palette, with a\n"
    "patch of each where the terminal can show it. The settings that 'loomfile --help' lists can be given here too.\n"
    "\n"
    "Examples:\n"
    "  loomfile palette yarns.aco\n"
    "  loomfile palette rose.gif --gpl rose.gpl";

static constexpr const char* seamFooter =
    "Compares the step across the edge where two repeats meet with the steps between the columns or rows beside it.\n"
    "'across' is the edge between repeats side by side, 'along' the one between repeats on top of each other. 30 %\n"
    "says that the step is by 30 % larger than those beside it; 0 is no seam. Pictures of less than 21 pixels are\n"
    "too small to tell.\n"
    "\n"
    "Examples:\n"
    "  loomfile seam rose.gif\n"
    "  loomfile seam --json rose.gif";

static constexpr const char* compareFooter =
    "Two pictures in black and white or drafts are compared by their lifts, drafts in colours by those of their yarns\n"
    "as well, all others by the colours of their points. Ends and picks count from 1. In OUT.png what is the same is\n"
    "pale, orange is up or darker in A, blue in B; what only one of them has is pale orange or pale blue. The exit\n"
    "code is 0 for the same and 1 for a difference.\n"
    "\n"
    "Examples:\n"
    "  loomfile compare rose.dop rose.wif\n"
    "  loomfile compare old.bmp new.bmp -o difference.png";

static constexpr const char* jsonHelp = "Print JSON, for other programs";

static void addWeaveOptions(CLI::App& info, InfoRequest& request)
{
    constexpr double longest = 1e7;
    info.add_flag("--weave", request.weave, "Count floats and interlacings, of weaves and drafts");
    auto addNumber = [&](const char* name, double& number, const char* unit, double most, const char* help) {
        info.add_option(name, number, help)->type_name(unit)->check(numberBetween(0, most))->needs("--weave");
    };
    addNumber("--length", request.length, "CM", longest, "Tell the yarn for a cloth of this length");
    addNumber("--width", request.width, "CM", longest, "Tell the yarn for a cloth of this width");
    addNumber("--take-up", request.takeUp, "PERCENT", 100, "By how much yarn is longer than the cloth, 8 if not given");
    addPairOption(info, "--sett", request.sett, setts, "Ends and picks per cm where the file does not tell")
        ->type_name("EPCxPPC");
}

static void addInfo(CLI::App& info, InfoRequest& request)
{
    info.add_option("FILE", request.batch.inputs, "The files and folders")->type_name("");
    addForms(info, request.form);
    info.add_flag_callback(
            "--csv", [&request] { request.form = Form::csv; }, "Print comma separated values")
        ->excludes("--json", "--jsonl");
    info.add_option_function<std::string>(
            "--fields",
            [&request](const std::string& list) {
                std::istringstream words(list);
                for (std::string word; std::getline(words, word, ',');)
                    request.fields.push_back(word);
            },
            "Of JSON and CSV: only these, as in file,width,height")
        ->type_name("A,B,...");
    info.add_flag("-f,--force", request.batch.mayReplace, "Replace the report when it exists");
    addBatchOptions(info, request.batch);
}

static void addPalette(CLI::App& palette, PaletteRequest& request)
{
    palette.add_option("IN", request.batch.inputs, "The files to read")->type_name("");
    addForms(palette, request.form);
    palette.add_option("--gpl", request.gimpTarget, "Write a GIMP palette; with -o one of each file")
        ->type_name("OUT.gpl");
    addOutputOptions(palette, request.batch, "OUT.gpl");
    addBatchOptions(palette, request.batch);
    const std::map<std::string, Colouring> colourings = {
        {"auto", Colouring::automatic}, {"always", Colouring::always}, {"never", Colouring::never}};
    palette
        .add_option_function<std::string>(
            "--color,--colour",
            [&request, colourings](const std::string& word) { request.colouring = colourings.at(word); },
            "Show patches of the colours: auto, always or never")
        ->type_name("WHEN")
        ->check(CLI::IsMember({"auto", "always", "never"}).description(""));
    palette.footer(paletteFooter);
}

static void addCompare(CLI::App& compare, CompareRequest& request)
{
    compare.add_option("A", request.source, "The one file")->type_name("")->required();
    compare.add_option("B", request.other, "The other")->type_name("")->required();
    compare.add_option("-o,--output", request.target, "Draw where they differ")->type_name("OUT.png");
    compare.add_flag("-f,--force", request.mayReplace, "Replace OUT.png when it exists");
    compare.footer(compareFooter);
}

void addTellingCommands(CLI::App& app, Requests& requests)
{
    CLI::App* info = app.add_subcommand("info", "Tell what files hold");
    addInfo(*info, requests.info);
    addWeaveOptions(*info, requests.info);
    addOpenOptions(*info, requests.options);
    info->footer(infoFooter);

    CLI::App* palette = app.add_subcommand("palette", "Show the colours of a palette or a picture");
    addPalette(*palette, requests.palette);
    addOpenOptions(*palette, requests.options);

    CLI::App* seam = app.add_subcommand("seam", "Tell whether a picture's repeats join without a seam");
    seam->add_option("IN", requests.seam.batch.inputs, "The files to read")->type_name("");
    addForms(*seam, requests.seam.form);
    seam->add_flag("-f,--force", requests.seam.batch.mayReplace, "Replace the report when it exists");
    addBatchOptions(*seam, requests.seam.batch);
    addOpenOptions(*seam, requests.options);
    seam->footer(seamFooter);

    CLI::App* compare = app.add_subcommand("compare", "Tell whether two files show the same");
    addCompare(*compare, requests.compare);
    addOpenOptions(*compare, requests.options);

    CLI::App* formats = app.add_subcommand("formats", "List the known formats");
    formats->add_flag("--json", requests.formats.json, jsonHelp);
    formats->add_flag("-v,--verbose", requests.formats.isVerbose, "With the names of their icons");
    formats->footer("Example:\n  loomfile formats");
}
