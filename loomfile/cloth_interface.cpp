// Cloth in C: what is read of files and drafts for it. No exception leaves it.
#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>

#include "loomfile/cloth/cloth.h"
#include "loomfile/cloth/colours.h"
#include "loomfile/cloth/facts.h"
#include "loomfile/draft/handle.h"
#include "loomfile/guard.h"
#include "loomfile/reader.h"

struct LoomfileCloth {
    Cloth cloth;
};

static constexpr u32 bandBytes = 1 << 18;

// Calls for each row of a draft or a picture.
template <typename Action>
static void forEachRow(Loomfile* file, const LoomfileDraft* handle, const Action& action)
{
    const u32 rowBytes = handle != nullptr ? (handle->draft.ends() + 7) / 8 : file->info.rowBytes;
    const u32 rowCount = handle != nullptr ? handle->draft.picks() : file->info.height;
    const u32 most = std::min(std::max(bandBytes / rowBytes, 1U), rowCount);
    std::vector<u8> band(u64{most} * rowBytes);
    if (handle == nullptr)
        file->rewind();
    for (u32 row = 0, count = 0; row < rowCount; row += count) {
        count = std::min(most, rowCount - row);
        if (handle != nullptr)
            drawRows(handle->draft, row, count, band.data(), rowBytes);
        else
            file->readRows(band.data(), count, rowBytes);
        for (u32 i = 0; i < count; i++)
            action(band.data() + u64{i} * rowBytes);
    }
    if (handle == nullptr)
        file->rewind();
}

static LoomfileFloat told(const Float& counted, u32 repeat)
{
    if (counted.length == 0)
        return {};
    return {counted.length, counted.end + 1, counted.pick + 1, counted.length == repeat ? 1U : 0U};
}

static LoomfileWeave countWeave(Loomfile* file, const LoomfileDraft* draft)
{
    if (draft == nullptr && file->info.kind != kindBilevel)
        throw Refusal{loadUnsupportedVariant, "a picture of more colours than two does not tell its weave"};
    LoomfileWeave weave = loomfileWeave();
    weave.ends = draft != nullptr ? draft->draft.ends() : file->info.width;
    weave.picks = draft != nullptr ? draft->draft.picks() : file->info.height;
    WeaveCount count(weave.ends, weave.picks);
    forEachRow(file, draft, [&](const u8* row) { count.take(row); });
    count.finish();
    weave.warpOver = told(count.over[0], weave.picks);
    weave.warpUnder = told(count.under[0], weave.picks);
    weave.weftOver = told(count.over[1], weave.ends);
    weave.weftUnder = told(count.under[1], weave.ends);
    weave.warpUp = static_cast<double>(count.warpUp) / weave.ends / weave.picks;
    weave.interlacingsAnEnd = static_cast<double>(count.changesOfEnds) / weave.ends;
    weave.interlacingsAPick = static_cast<double>(count.changesOfPicks) / weave.picks;
    return weave;
}

i32 loomfileGetWeave(Loomfile* file, const LoomfileDraft* draft, LoomfileWeave* weave, LoomfileFailure* failure)
{
    return guardedly(failure, [&] {
        const LoomfileWeave counted = countWeave(file, draft);
        copySized(weave, &counted, sizeof counted);
    });
}

u32 loomfileDraftUses(const LoomfileDraft* handle, u32 list, u32* counts)
{
    const Draft& draft = handle->draft;
    const std::vector<NumberList>* const lists[] = {&draft.threading, &draft.tieUp, &draft.treadling, &draft.liftPlan};
    if (list < loomfileThreading || list > loomfileLiftPlan)
        return 0;
    const u32 size = list == loomfileTreadling ? draft.treadles : draft.shafts;
    if (counts == nullptr)
        return size;
    std::fill_n(counts, size, 0);
    for (const NumberList& numbers : *lists[list - 1])
        for (const u16 number : numbers)
            counts[number - 1]++;
    return size;
}

static double mean(const std::vector<double>& numbers)
{
    return numbers.empty() ? 0
                           : std::accumulate(numbers.begin(), numbers.end(), 0.0) / static_cast<double>(numbers.size());
}

static double thickness(double wanted, const Threads* threads)
{
    constexpr double thinnest = 0.3;
    double share = wanted;
    if (!(share > 0) && threads != nullptr && mean(threads->thickness) > 0 && mean(threads->spacing) > 0)
        share = mean(threads->thickness) / mean(threads->spacing);
    return share > 0 ? std::clamp(share, thinnest, 1.0) : Thickness().warp;
}

static std::vector<u8> colours(const u8* wanted, const Threads* threads, bool isKnown, const std::array<u8, 3>& usual)
{
    if (wanted != nullptr)
        return {wanted, wanted + 3};
    if (!isKnown)
        return {usual.begin(), usual.end()};
    std::vector<u8> bytes;
    for (const Colour& colour : threads->colours)
        bytes.insert(bytes.end(), {colour.red, colour.green, colour.blue});
    return bytes;
}

static void addOnWhite(std::vector<u8>& crossings, const u8* rgba)
{
    const u32 alpha = rgba[3];
    for (u32 channel = 0; channel < 3; channel++)
        crossings.push_back(static_cast<u8>((rgba[channel] * alpha + 255 * (255 - alpha) + 127) / 255));
}

static void takePicture(Loomfile& file, ClothDesign& design)
{
    const LoomfileInfo& info = file.info;
    if (info.kind == kindBilevel) {
        design.weave.resize(u64{info.height} * info.rowBytes);
        file.readAll(design.weave.data(), info.rowBytes);
        return;
    }
    std::copy(std::begin(info.palette), std::end(info.palette), design.palette.begin());
    design.crossingBytes = info.kind == kindIndexed ? 1 : 3;
    design.crossings.reserve(u64{info.width} * info.height * design.crossingBytes);
    forEachRow(&file, nullptr, [&](const u8* row) {
        if (info.kind != kindRGBA)
            design.crossings.insert(design.crossings.end(), row, row + u64{info.width} * design.crossingBytes);
        else
            for (u32 x = 0; x < info.width; x++)
                addOnWhite(design.crossings, row + u64{4} * x);
    });
}

static ClothDesign designOf(Loomfile* file, const LoomfileDraft* handle, const LoomfileClothOptions& options)
{
    const Draft* draft = handle != nullptr ? &handle->draft : nullptr;
    ClothDesign design;
    design.ends = draft != nullptr ? draft->ends() : file->info.width;
    design.picks = draft != nullptr ? draft->picks() : file->info.height;
    if (design.ends > mostDraftThreads || design.picks > mostDraftThreads)
        throw Refusal{loadOutOfMemory,
                      "the cloth has more than " + std::to_string(mostDraftThreads) + " ends or picks"};
    const bool hasColours = draft != nullptr && draft->hasColours();
    const Threads* warp = draft != nullptr ? &draft->warp : nullptr;
    const Threads* weft = draft != nullptr ? &draft->weft : nullptr;
    design.warp = colours(options.hasWarp != 0 ? options.warp : nullptr, warp, hasColours, usualWarp);
    design.weft = colours(options.hasWeft != 0 ? options.weft : nullptr, weft, hasColours, usualWeft);
    design.thickness = {thickness(options.warpThickness, warp), thickness(options.weftThickness, weft)};
    if (draft == nullptr) {
        takePicture(*file, design);
        return design;
    }
    const u32 rowBytes = (design.ends + 7) / 8;
    design.weave.resize(u64{design.picks} * rowBytes);
    drawRows(*draft, 0, design.picks, design.weave.data(), rowBytes);
    return design;
}

LoomfileCloth* loomfileOpenCloth(Loomfile* file, const LoomfileDraft* draft, const LoomfileClothOptions* options,
                                 LoomfileFailure* failure)
{
    std::unique_ptr<LoomfileCloth> cloth;
    guardedly(failure, [&] {
        LoomfileClothOptions given = loomfileClothOptions();
        if (options != nullptr)
            copySized(&given, options, std::min(options->size, given.size));
        cloth = std::make_unique<LoomfileCloth>(LoomfileCloth{Cloth(designOf(file, draft, given))});
    });
    return cloth.release();
}

void loomfileCloseCloth(LoomfileCloth* cloth)
{
    delete cloth;
}

static bool isPossible(double pixels)
{
    return pixels >= leastPixelsAThread && pixels <= mostPixelsAThread;
}

i32 loomfileDrawCloth(const LoomfileCloth* cloth, const LoomfileClothView* given, u32 firstRow, u32 count, u8* rows,
                      u32 stride, u32 bytesPerPixel)
{
    LoomfileClothView view = loomfileClothView();
    copySized(&view, given, std::min(given->size, view.size));
    auto isSize = [](u32 size) { return size >= 1 && size <= mostDraftThreads; };
    if (!isSize(view.width) || !isSize(view.height) || !isPossible(view.pixelsAnEnd) || !isPossible(view.pixelsAPick) ||
        !std::isfinite(view.left) || !std::isfinite(view.top) || firstRow > view.height ||
        count > view.height - firstRow || (bytesPerPixel != 3 && bytesPerPixel != 4) ||
        stride < u64{view.width} * bytesPerPixel)
        return loadBadData;
    return guardedly(nullptr, [&] {
        drawCloth(cloth->cloth, {view.left, view.top, view.pixelsAnEnd, view.pixelsAPick, view.width}, firstRow, count,
                  rows, stride, bytesPerPixel);
    });
}
