// Staubli JC4 cards as the loom keeps them. Numbers are big-endian.
//
//   header   64 bytes   u16 at 0 the width, u32 at 20 the length of the picks; nothing follows them
//   picks    one after the other in the order of the design, the first end in the lowest bit of a byte, a clear bit is
//            a lift
#include "formats/loom/staubli.h"
#include "framework/bytes.h"

constexpr i64 headerSize = 64;
constexpr size_t atDataLength = 20;
constexpr u32 largestSide = 65520;

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = loadImgCheckHeader(request.path);
    if (header == nullptr || loadImgLastFilesize() < headerSize)
        return loadWrongFormat;
    const u32 width = bigEndian16(header);
    const u32 length = bigEndian32(header + atDataLength);
    if (width == 0 || width % 8 != 0 || width > largestSide || loadImgLastFilesize() != length + headerSize)
        return loadWrongFormat;
    StaubliState loaded{};
    loaded.width = width;
    loaded.rowBytes = width / 8;
    loaded.rowsLeft = length / loaded.rowBytes;
    if (loaded.rowsLeft < 1 || loaded.rowsLeft > largestSide)
        return loadWrongFormat;

    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    fseeko(file.stream, headerSize, SEEK_SET);
    reportCards(image, width, loaded.rowsLeft, "Staubli JC4 loom\n", nullptr);
    startStaubli(StaubliFormat::loom, file, loaded);
    return loadSuccess;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    StaubliState* state = openStaubli(StaubliFormat::loom);
    if (state == nullptr)
        return loadBadData;
    return readStoredRows(state->file, state->rowsLeft, rows, count, state->rowBytes, bytesPerRow,
                          BitOrder::reversedAndNegated);
}

void registerLoadStaubliJC4loom()
{
    registerEntries<tryLoad, loadBand, endStaubli>();
}
