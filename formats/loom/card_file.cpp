#include "formats/loom/card_file.h"

LoadStatus keepCards(File& file, RowFile& slot, const Cards& cards, ImageInfo& image)
{
    reportBilevel(image, cards.width, cards.height, cards.description, cards.orientationFlag);
    image.palette[0] = 0;
    handOver(file, slot, cards.height, cards.rowBytes);
    return loadSuccess;
}

// Where nothing behind a row has to stay as it is, most rows are read into their places at once and moved together, and
// only into places of rows that the file holds: one cut short leaves the others as they were.
LoadStatus loadRowStarts(RowFile& slot, u32 rowBytes, u32 neededBytes, u8* rows, u32 count, u32 bytesPerRow)
{
    constexpr u64 blockBytes = 1 << 18;
    if (slot.file == nullptr || slot.rowBytes < std::max({rowBytes, neededBytes, 1U}))
        return loadBadData;
    const i64 held = std::max<i64>(0, regularFileSize(slot.file) - ftello(slot.file));
    const u64 complete = std::min<u64>(std::min(count, slot.rowsLeft), static_cast<u64>(held) / slot.rowBytes);
    u64 done = 0;
    while (bytesPerRow <= rowBytes) {
        const u64 together = std::min(blockBytes, (complete - done) * bytesPerRow) / slot.rowBytes;
        if (together == 0)
            break;
        u8* first = rows + done * bytesPerRow;
        if (!readExactly(slot.file, first, together * slot.rowBytes))
            return loadBadData;
        for (u64 i = 1; i < together; i++)
            memmove(first + i * bytesPerRow, first + i * slot.rowBytes, bytesPerRow);
        done += together;
        slot.rowsLeft -= static_cast<u32>(together);
    }
    return convertRows(slot, static_cast<u32>(count - done), neededBytes, [&](const u8* stored, u64 row) {
        deliverRow(rows + (done + row) * bytesPerRow, stored, rowBytes, bytesPerRow);
    });
}
