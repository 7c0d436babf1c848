// draft.
#include "arguments.h"

static constexpr const char* footer =
    "Threading, tie-up, treadling or lift plan, drawdown and the colours of the threads, as weavers write them: the\n"
    "tie-up in the corner at the right, shaft 1 and treadle 1 next to the cloth, the first end at the left and the\n"
    "first pick next to the threading. Rings in the tie-up are shafts that rise, crosses shafts that sink. A lift\n"
    "plan shows the shafts that are up. Numbers stand at every fourth thread, heavier lines behind every eighth.\n"
    "\n"
    "IN is a WIF or DTX file, or a picture of two colours from which shafts and treadles are found out. The ending\n"
    "of OUT tells the kind of drawing. A PDF has as many pages as the draft takes: each shows a range of ends and\n"
    "picks with their threading and treadling. '-' as OUT writes a PNG to standard output. The settings that\n"
    "'loomfile --help' lists can be given here too.\n"
    "\n"
    "Examples:\n"
    "  loomfile draft twill.wif twill.pdf\n"
    "  loomfile draft twill.wif twill.svg --layout below\n"
    "  loomfile draft card.dop card.png --cell 10 --lift-plan\n"
    "  loomfile draft drafts -r -o 'sheets/{folder}/{stem}.pdf'";

// One of two words, the second of which sets the number to 1.
static void addChoice(CLI::App& command, const char* name, u32& number, const char* first, const char* second,
                      const char* typeName, const char* help)
{
    command
        .add_option_function<std::string>(
            name, [&number, second](const std::string& word) { number = word == second ? 1 : 0; }, help)
        ->type_name(typeName)
        ->check(CLI::IsMember({first, second}).description(""));
}

void addDraft(CLI::App& app, DraftRequest& request, OpenOptions& options)
{
    LoomfileDrawing& drawing = request.drawing;
    CLI::App& draft = *app.add_subcommand("draft", "Draw a draft as PNG, SVG or PDF");
    addInAndOut(draft, request.batch, ".png, .svg or .pdf");
    addOutputOptions(draft, request.batch, "OUT");
    addChoice(draft, "--layout", drawing.layout, "above", "below", "WHERE",
              "Where the threading is: above or below the drawdown; else above");
    draft.add_option("--cell", drawing.cell, "Side of a cell, 1 to 200 pixels of 1/96 inch; else by the draft's size")
        ->type_name("N")
        ->check(CLI::Range(1, 200).description(""));
    draft.add_flag("--lift-plan", drawing.liftPlan, "Draw a lift plan, even when the draft has treadles");
    draft.add_flag("--black-and-white", drawing.blackAndWhite, "Draw the drawdown without the draft's colours");
    addChoice(draft, "--page", drawing.page, "a4", "letter", "PAPER", "Pages of a PDF: a4 or letter; else a4");
    addBatchOptions(draft, request.batch);
    addOpenOptions(draft, options);
    draft.footer(footer);
}
