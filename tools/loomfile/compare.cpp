// loomfile compare: whether two files show the same, and where they differ.
#include <algorithm>
#include <cstdio>

#include "commands.h"
#include "comparison.h"
#include "messages.h"
#include "one_picture.h"
#include "output_target.h"
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
static void drawDifferences(Comparison& comparison, OutputFile& target, std::atomic<int>& percentWritten)
{
    Picture& drawn = comparison.first.picture;
    const LoomfileInfo known = drawn.info;
    drawn.info.kind = kindIndexed;
    drawn.info.width = drawn.info.rowBytes = comparison.allWidth;
    drawn.info.height = comparison.allHeight;
    setMarkColours(drawn.info.palette);
    writePng(target, drawn, comparison.marks.get(), percentWritten);
    drawn.info = known;
}

static std::string threadsLine(const char* label, const char* thread, const ThreadDifference& difference)
{
    if (difference.count == 0)
        return "";
    char text[200];
    snprintf(text, sizeof text, "  %-12s  %s, the first is %s %u\n", label, countText(difference.count, thread).c_str(),
             thread, difference.first);
    return text;
}

static std::string differenceLines(const Comparison& comparison)
{
    const u64 points = u64{comparison.width} * comparison.height;
    std::string lines = "  Size          " + sizeText(comparison.first.picture.info) + " and " +
                        sizeText(comparison.second.picture.info) + "\n  Points        " +
                        (comparison.differences == 0 ? "none" : std::to_string(comparison.differences)) + " of the " +
                        std::to_string(points) + (comparison.isOfOneSize() ? "" : " that both have") + " differ\n";
    if (comparison.differences != 0)
        lines += "  First         pick " + std::to_string(comparison.firstPick) + ", end " +
                 std::to_string(comparison.firstEnd) + "\n";
    return lines + threadsLine("Warp colours", "end", comparison.warpColours) +
           threadsLine("Weft colours", "pick", comparison.weftColours);
}

static std::string comparisonText(const Comparison& comparison, const CompareRequest& request)
{
    const Side& first = comparison.first;
    const std::string names = first.picture.file + " and " + comparison.second.picture.file;
    const std::string compared = first.lifts == nullptr  ? "colours"
                                 : comparison.yarns == 2 ? "lifts and colours"
                                                         : "lifts";
    std::string text =
        printable(names + (comparison.isSame() ? ": the same, " + sizeText(first.picture.info) : " differ") + ", " +
                  compared + " compared" + (comparison.yarns == 1 ? ", only one of them has colours" : "")) +
        "\n" + (comparison.isSame() ? "" : differenceLines(comparison));
    if (!request.target.empty())
        text += printable("  Picture       " + request.target + ": orange is " +
                          (first.lifts != nullptr ? "up only in " : "darker in ") + first.picture.file + ", blue in " +
                          comparison.second.picture.file) +
                "\n";
    return text;
}

static Result compareBoth(OutputFile* target, const CompareRequest& request, const OpenOptions& options)
{
    auto progress = std::make_unique<Progress>(baseNameOf(request.other), baseNameOf(request.target));
    Comparison comparison(request.source, request.other, options);
    if (target != nullptr) {
        keepSource(comparison.first.picture, request.target);
        keepSource(comparison.second.picture, request.target);
    }
    compare(comparison, target != nullptr);
    if (target != nullptr)
        drawDifferences(comparison, *target, progress->percentWritten);
    progress.reset();
    Result result;
    if (request.target != standardStream)
        result.text = comparisonText(comparison, request);
    tellRemarks(result, comparison.first.picture);
    tellRemarks(result, comparison.second.picture);
    result.exitCode = comparison.isSame() ? exitSuccess : exitDiffers;
    return result;
}

int compareFiles(const CompareRequest& request, const OpenOptions& options)
{
    return makePicture(request,
                       [&](const Input&, OutputFile* target) { return compareBoth(target, request, options); });
}
