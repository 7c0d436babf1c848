#include "lifts.h"

#include <algorithm>
#include <cstring>
#include <vector>

static int blackOf(const LoomfileInfo& info)
{
    constexpr u8 whiteAndBlack[] = {255, 255, 255, 0, 0, 0};
    constexpr u8 blackAndWhite[] = {0, 0, 0, 255, 255, 255};
    if (info.kind != kindIndexed || info.colourCount != 2 || info.isDraft != 0)
        return -1;
    if (memcmp(info.palette, blackAndWhite, sizeof blackAndWhite) == 0)
        return 0;
    return memcmp(info.palette, whiteAndBlack, sizeof whiteAndBlack) == 0 ? 1 : -1;
}

static DraftHandle draftShown(Picture& picture)
{
    const bool isShown = picture.info.kind != kindBilevel && picture.info.isDraft != 0;
    return isShown ? openDraft(picture) : nullptr;
}

Lifts::Lifts(Picture& shown, const std::string& advice)
    : picture(shown), black(blackOf(shown.info)), draft(draftShown(shown)), rowBytes((shown.info.width + 7) / 8)
{
    if (shown.info.kind != kindBilevel && black < 0 && draft == nullptr)
        throw Failure{exitUnsupportedVariant, shown.file,
                      "only black and white tell which ends are up, and this picture is one of " +
                          colourText(shown.info) + (advice.empty() ? "" : "; " + advice)};
    loomfileRewind(shown.handle.get());
}

bool hasLifts(const Picture& picture)
{
    return picture.info.kind == kindBilevel || blackOf(picture.info) >= 0 || picture.info.isDraft != 0;
}

static void packLifts(const std::vector<u8>& indices, u32 width, int black, u8* rows, u32 rowBytes)
{
    for (size_t first = 0; first < indices.size(); first += width, rows += rowBytes) {
        std::fill_n(rows, rowBytes, u8{0});
        for (u32 x = 0; x < width; x++)
            rows[x / 8] |= static_cast<u8>((indices[first + x] == black ? 0x80 : 0) >> x % 8);
    }
}

void Lifts::read(u8* rows, u32 count)
{
    const LoomfileInfo& info = picture.info;
    LoomfileFailure failure = loomfileFailure();
    std::vector<u8> indices(black >= 0 ? u64{info.rowBytes} * count : 0);
    if (draft != nullptr)
        failure.status = loomfileDraftRows(draft.get(), nextPick, count, rows, rowBytes);
    else
        loomfileReadRows(picture.handle.get(), black >= 0 ? indices.data() : rows, count, info.rowBytes, &failure);
    if (failure.status != loadSuccess)
        throw Failure{failure.status, picture.file,
                      failure.sentence[0] != 0 ? failure.sentence : "there is not enough memory", failure.signal};
    if (black >= 0)
        packLifts(indices, info.width, black, rows, rowBytes);
    nextPick += count;
}
