#include "formats/loom/card_file.h"

const u8* cardHeader(const char* path, const char* extension, i64 least, std::string_view mark)
{
    const u8* header = probedHeader(path, std::max(least, static_cast<i64>(mark.size())));
    if (!hasExtension(path, extension, strlen(extension) + 2)) {
        refuseName(extension);
        return nullptr;
    }
    if (header != nullptr && !mark.empty() && memcmp(header, mark.data(), mark.size()) != 0) {
        refuse(loadWrongFormat, "it does not begin with %.*s", static_cast<int>(mark.size()), mark.data());
        return nullptr;
    }
    return header;
}

LoadStatus keepCards(File& file, RowFile& slot, const Cards& cards, ImageInfo& image)
{
    const u64 dataBytes = u64{cards.rowBytes} * cards.height;
    const i64 held = regularFileSize(file.stream) - ftello(file.stream);
    const bool isShort = held < static_cast<i64>(dataBytes - cards.trailerBytes);
    if (isShort || (held > static_cast<i64>(dataBytes) && !cards.isPadded))
        remarkFileSize(file.stream, dataBytes, cards.width, cards.height);
    reportBilevel(image, cards.width, cards.height, cards.description, cards.orientationFlag);
    image.palette[0] = 0;
    handOver(file, slot, cards.height, cards.rowBytes);
    return loadSuccess;
}

LoadStatus keepExactCards(const LoadRequest& request, i64 headerBytes, RowFile& slot, const Cards& cards,
                          ImageInfo& image)
{
    if (!isPictureSize(cards.width, cards.height))
        return refuseSize(loadWrongFormat, cards.width, cards.height);
    const i64 size = loadImgLastFilesize();
    if (size != headerBytes + i64{cards.rowBytes} * cards.height)
        return refuseFileSize(loadWrongFormat, cards.width, cards.height, size);
    File file;
    const LoadStatus status = openFile(request.path, file);
    if (status != loadSuccess)
        return status;
    if (fseeko(file.stream, static_cast<off_t>(headerBytes), SEEK_SET) != 0)
        return refuse(loadCannotRead, "its rows cannot be reached");
    return keepCards(file, slot, cards, image);
}

// Where nothing behind a row has to stay as it is, most rows are read into their places at once and moved together, and
// only into places of rows that the file holds: one cut short leaves the others as they were.
LoadStatus loadRowStarts(RowFile& slot, u32 rowBytes, u32 neededBytes, u8* rows, u32 count, u32 bytesPerRow)
{
    constexpr u64 blockBytes = 1 << 18;
    if (slot.file == nullptr || slot.rowBytes < std::max({rowBytes, neededBytes, 1U}))
        return refuseUnopened();
    const i64 held = std::max<i64>(0, regularFileSize(slot.file) - ftello(slot.file));
    const u64 complete = std::min<u64>(std::min(count, slot.rowsLeft), static_cast<u64>(held) / slot.rowBytes);
    u64 done = 0;
    while (bytesPerRow <= rowBytes) {
        const u64 together = std::min(blockBytes, (complete - done) * bytesPerRow) / slot.rowBytes;
        if (together == 0)
            break;
        u8* first = rows + done * bytesPerRow;
        if (!readExactly(slot.file, first, together * slot.rowBytes))
            return refuse(loadBadData, "the file became shorter while it was read");
        for (u64 i = 1; i < together; i++)
            memmove(first + i * bytesPerRow, first + i * slot.rowBytes, bytesPerRow);
        done += together;
        slot.rowsLeft -= static_cast<u32>(together);
    }
    return convertRows(slot, static_cast<u32>(count - done), neededBytes, [&](const u8* stored, u64 row) {
        deliverRow(rows + (done + row) * bytesPerRow, stored, rowBytes, bytesPerRow);
    });
}

LoadStatus loadWholeRows(RowFile& slot, u8* rows, u32 count, u32 bytesPerRow, BitOrder order)
{
    if (bytesPerRow == slot.rowBytes)
        return loadRows(slot, rows, count, bytesPerRow, order);
    const LoadStatus status = loadRowStarts(slot, slot.rowBytes, slot.rowBytes, rows, count, bytesPerRow);
    if (status == loadSuccess && order == BitOrder::reversed)
        reverseBits(rows, u64{count} * bytesPerRow, false);
    return status;
}
