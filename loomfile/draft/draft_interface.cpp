// Drafts in C: no exception leaves it.
#include <memory>

#include "loomfile/draft/handle.h"
#include "loomfile/draft/wif_writer.h"
#include "loomfile/guard.h"
#include "loomfile/reader.h"
#include "loomfile/settings.h"

LoomfileDraft* loomfileOpenDraft(Loomfile* file, LoomfileFailure* failure)
{
    std::unique_ptr<LoomfileDraft> draft;
    guardedly(failure, [&] { draft = std::make_unique<LoomfileDraft>(LoomfileDraft{file->draft()}); });
    return draft.release();
}

void loomfileCloseDraft(LoomfileDraft* draft)
{
    delete draft;
}

void loomfileGetDraftInfo(const LoomfileDraft* handle, LoomfileDraftInfo* info)
{
    const Draft& draft = handle->draft;
    LoomfileDraftInfo known = loomfileDraftInfo();
    known.ends = draft.ends();
    known.picks = draft.picks();
    known.shafts = draft.shafts;
    known.treadles = draft.treadles;
    known.hasLiftPlan = draft.hasLiftPlan() ? 1 : 0;
    known.isSinking = draft.isSinking ? 1 : 0;
    known.hasColours = draft.hasColours() ? 1 : 0;
    known.isExtracted = draft.isExtracted ? 1 : 0;
    known.endsPerCm = threadsPerCentimetre(draft.warp);
    known.picksPerCm = threadsPerCentimetre(draft.weft);
    known.title = draft.title.c_str();
    known.author = draft.author.c_str();
    known.notes = draft.notes.c_str();
    known.program = draft.program.c_str();
    copySized(info, &known, sizeof known);
}

u32 loomfileDraftNumbers(const LoomfileDraft* handle, u32 list, u32 index, const u16** numbers)
{
    const Draft& draft = handle->draft;
    const std::vector<NumberList>* const lists[] = {&draft.threading, &draft.tieUp, &draft.treadling, &draft.liftPlan};
    if (list < loomfileThreading || list > loomfileLiftPlan || index >= lists[list - 1]->size())
        return 0;
    const NumberList& found = (*lists[list - 1])[index];
    *numbers = found.data();
    return static_cast<u32>(found.size());
}

u32 loomfileDraftLengths(const LoomfileDraft* handle, u32 which, const double** lengths)
{
    const Threads &warp = handle->draft.warp, &weft = handle->draft.weft;
    const std::vector<double>* const known[] = {&warp.spacing, &weft.spacing, &warp.thickness, &weft.thickness};
    if (which < loomfileWarpSpacing || which > loomfileWeftThickness)
        return 0;
    *lengths = known[which - 1]->data();
    return static_cast<u32>(known[which - 1]->size());
}

static void copyColours(const Threads& threads, bool isKnown, u8* bytes)
{
    for (u32 i = 0; i < threads.count; i++) {
        const Colour colour = isKnown ? threads.colours[i] : Colour{};
        bytes[3 * i] = colour.red;
        bytes[3 * i + 1] = colour.green;
        bytes[3 * i + 2] = colour.blue;
    }
}

void loomfileDraftColours(const LoomfileDraft* handle, u8* warp, u8* weft)
{
    const Draft& draft = handle->draft;
    copyColours(draft.warp, draft.hasColours(), warp);
    copyColours(draft.weft, draft.hasColours(), weft);
}

i32 loomfileDraftRows(const LoomfileDraft* handle, u32 firstPick, u32 count, u8* rows, u32 stride)
{
    const Draft& draft = handle->draft;
    if (firstPick > draft.picks() || count > draft.picks() - firstPick || stride < (draft.ends() + 7) / 8)
        return loadBadData;
    return guardedly(nullptr, [&] { drawRows(draft, firstPick, count, rows, stride); });
}

const char* loomfileDraftWif(LoomfileDraft* handle, u64* size, LoomfileFailure* failure)
{
    if (guardedly(failure, [&] { handle->wif = wifOf(handle->draft); }) != loadSuccess)
        return nullptr;
    *size = handle->wif.size();
    return handle->wif.c_str();
}
