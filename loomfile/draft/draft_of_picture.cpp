#include "loomfile/draft/draft_of_picture.h"

#include <algorithm>
#include <cstring>

#include "loomfile/draft/extraction.h"
#include "loomfile/reader.h"

namespace
{

constexpr double dotsPerInchUnit = 1000; // of a resolution
constexpr double centimetresPerInch = 2.54;

// Some formats have pictures of white and black as indexed ones: the number of the black. -1 for all other pictures.
int blackIndex(const LoomfileInfo& info)
{
    constexpr u8 whiteAndBlack[] = {255, 255, 255, 0, 0, 0};
    constexpr u8 blackAndWhite[] = {0, 0, 0, 255, 255, 255};
    if (info.kind != kindIndexed || info.colourCount != 2)
        return -1;
    return memcmp(info.palette, blackAndWhite, sizeof blackAndWhite) == 0   ? 0
           : memcmp(info.palette, whiteAndBlack, sizeof whiteAndBlack) == 0 ? 1
                                                                            : -1;
}

void readIndexedLifts(Loomfile& file, int black, u8* rows, u32 count)
{
    const u64 rowBytes = (u64{file.info.width} + 7) / 8;
    std::vector<u8> indices(file.info.rowBytes);
    std::fill_n(rows, rowBytes * count, u8{0});
    for (u32 y = 0; y < count; y++) {
        file.readRows(indices.data(), 1, file.info.rowBytes);
        for (u32 x = 0; x < file.info.width; x++)
            if (indices[x] == black)
                rows[y * rowBytes + x / 8] |= static_cast<u8>(0x80 >> x % 8);
    }
}

// A pixel is an end by a pick.
void setSett(Threads& threads, u32 resolution)
{
    if (resolution != 0)
        threads.spacing.assign(threads.count, centimetresPerInch * dotsPerInchUnit / resolution);
}

} // namespace

Draft draftOfPicture(Loomfile& file)
{
    const LoomfileInfo& info = file.info;
    const int black = blackIndex(info);
    if (info.kind != kindBilevel && black < 0)
        throw Refusal{loadUnsupportedVariant,
                      "only a picture in black and white tells which ends are up, and this one has colours", "",
                      info.format};
    file.rewind();
    Draft draft = extractDraft(info.width, info.height, [&](u8* rows, u32 count) {
        if (black < 0)
            file.readRows(rows, count, info.rowBytes);
        else
            readIndexedLifts(file, black, rows, count);
    });
    file.rewind();
    setSett(draft.warp, info.resX);
    setSett(draft.weft, info.resY);
    return draft;
}
