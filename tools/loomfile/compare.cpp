// loomfile compare: whether two files show the same, and where they differ.
#include <algorithm>
#include <cstdio>

#include "commands.h"
#include "comparison.h"
#include "messages.h"
#include "output_file.h"
#include "png_file.h"
#include "progress.h"

// Orange and blue differ for every eye, and on grey paper.
constexpr u8 markColours[][3] = {{230, 130, 0}, {0, 80, 170}, {250, 228, 195}, {205, 220, 240}, {235, 235, 235}};
constexpr int darkestGrey = 205;

static void setMarkColours(u8* palette)
{
    for (int grey = 0; grey < paleGreys; grey++)
        std::fill_n(palette + 3 * grey, 3, static_cast<u8>(darkestGrey + (255 - darkestGrey) * grey / (paleGreys - 1)));
    for (u32 mark = paleGreys; mark < markCount; mark++)
        std::copy_n(markColours[mark - paleGreys], 3, palette + 3 * mark);
    std::fill(palette + 3 * markCount, palette + 768, u8{0});
}

// The open picture becomes the one of the differences.
static void drawDifferences(Comparison& comparison, const CompareRequest& request, std::atomic<int>& percentWritten)
{
    Picture& drawn = comparison.first.picture;
    const LoomfileInfo known = drawn.info;
    drawn.info.kind = kindIndexed;
    drawn.info.width = drawn.info.rowBytes = comparison.allWidth;
    drawn.info.height = comparison.allHeight;
    setMarkColours(drawn.info.palette);
    OutputFile file(request.target, request.mayReplace);
    writePng(file, drawn, comparison.marks.get(), percentWritten);
    file.moveToTarget();
    drawn.info = known;
}

static void printThreads(const char* label, const char* thread, const ThreadDifference& difference)
{
    if (difference.count != 0)
        printf("  %-12s  %s, the first is %s %u\n", label, countText(difference.count, thread).c_str(), thread,
               difference.first);
}

static void printDifferences(const Comparison& comparison)
{
    const bool isCommon = !comparison.isOfOneSize();
    printf("  Size          %s and %s\n", sizeText(comparison.first.picture.info).c_str(),
           sizeText(comparison.second.picture.info).c_str());
    const u64 points = u64{comparison.width} * comparison.height;
    printf("  Points        %s of the %s%s differ\n",
           comparison.differences == 0 ? "none" : std::to_string(comparison.differences).c_str(),
           std::to_string(points).c_str(), isCommon ? " that both have" : "");
    if (comparison.differences != 0)
        printf("  First         pick %u, end %u\n", comparison.firstPick, comparison.firstEnd);
    printThreads("Warp colours", "end", comparison.warpColours);
    printThreads("Weft colours", "pick", comparison.weftColours);
}

ExitCode compareFiles(const CompareRequest& request, const OpenOptions& options)
{
    const bool isDrawn = !request.target.empty();
    if (isDrawn)
        checkPictureTarget(request.target, request.mayReplace); // told before the files are read
    auto progress = std::make_unique<Progress>(baseNameOf(request.other), baseNameOf(request.target));
    Comparison comparison(request.source, request.other, options);
    if (isDrawn) {
        keepSource(comparison.first.picture, request.target);
        keepSource(comparison.second.picture, request.target);
    }
    compare(comparison, isDrawn);
    if (isDrawn)
        drawDifferences(comparison, request, progress->percentWritten);
    progress.reset();

    const Side& first = comparison.first;
    const std::string names = first.picture.file + " and " + comparison.second.picture.file;
    const std::string compared = first.lifts == nullptr  ? "colours"
                                 : comparison.yarns == 2 ? "lifts and colours"
                                                         : "lifts";
    if (request.target != standardStream) {
        puts(printable(names + (comparison.isSame() ? ": the same, " + sizeText(first.picture.info) : " differ") +
                       ", " + compared + " compared" + (comparison.yarns == 1 ? ", only one of them has colours" : ""))
                 .c_str());
        if (!comparison.isSame())
            printDifferences(comparison);
        if (isDrawn)
            puts(printable("  Picture       " + request.target + ": orange is " +
                           (first.lifts != nullptr ? "up only in " : "darker in ") + first.picture.file + ", blue in " +
                           comparison.second.picture.file)
                     .c_str());
    }
    printRemarks(first.picture);
    printRemarks(comparison.second.picture);
    return comparison.isSame() ? exitSuccess : exitDiffers;
}
