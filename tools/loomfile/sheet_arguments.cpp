// sheet
#include "arguments.h"

static constexpr const char* sheetFooter =
    "OUT.html opens from the disk in any browser, without a network. Beside it lies the folder OUT_files with the\n"
    "pictures, at most 2048 pixels an edge; both are copied and moved together. With --one-file everything is in\n"
    "OUT.html, which suits some hundred files. Files that are refused are on the page with their reasons.\n"
    "\n"
    "A sheet that is made again reads only the files that have changed. With --force it reads all of them, and takes\n"
    "the place of an OUT.html that is no sheet.\n"
    "\n"
    "Examples:\n"
    "  loomfile sheet -r archive -o archive.html\n"
    "  loomfile sheet roses lilies -o flowers.html --one-file --title Flowers\n"
    "  find archive -name '*.jc5' -print0 | loomfile sheet --files-from - -o cards.html";

void addSheet(CLI::App& app, SheetRequest& request, OpenOptions& options)
{
    CLI::App& sheet = *app.add_subcommand("sheet", "Make a page that shows the designs of a folder");
    sheet.add_option("FOLDER", request.batch.inputs, "The folders and files to show")->type_name("");
    sheet.add_option("-o,--output", request.batch.output, "The page to make")->type_name("OUT.html")->required();
    sheet.add_flag("--one-file", request.isOneFile, "Put everything into the page");
    sheet.add_option("--title", request.title, "What stands above the designs; else the name of the folder")
        ->type_name("TEXT");
    addPairOption(sheet, "--sett", request.sett, setts, "Ends and picks per cm of files that do not tell")
        ->type_name("EPCxPPC");
    sheet.add_flag("-f,--force", request.batch.mayReplace, "Read all files again, replace what is no sheet");
    addBatchOptions(sheet, request.batch);
    addOpenOptions(sheet, options);
    sheet.footer(sheetFooter);
}
