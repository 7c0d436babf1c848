// Staubli JC4 cards as the loom keeps them. Numbers are big-endian.
//
//   header   64 bytes   u16 at 0 the width, u32 at 20 the length of the picks; nothing follows them
//   picks    one after the other in the order of the design, the first end in the lowest bit of a byte, a clear bit is
//            a lift
#include "formats/loom/staubli.h"
#include "framework/bytes.h"
#include "framework/probe.h"

namespace
{

constexpr i64 headerSize = 64;
constexpr size_t atDataLength = 20;

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = probedHeader(request.path, headerSize);
    if (header == nullptr)
        return loadWrongFormat;
    const u32 width = bigEndian16(header);
    const u32 length = bigEndian32(header + atDataLength);
    if (width == 0 || width % 8 != 0 || width > mostSide)
        return refuse(loadWrongFormat, "its width of %u is no multiple of 8 up to %u", width, mostSide);
    const i64 held = loadImgLastFilesize() - headerSize;
    if (held != length)
        return refuse(loadWrongFormat, "the header announces %s of picks, the file holds %s", amountOf(length).text,
                      amountOf(static_cast<u64>(held)).text);
    StaubliState loaded{};
    loaded.width = width;
    loaded.rowBytes = width / 8;
    loaded.rowsLeft = length / loaded.rowBytes;
    if (!isPictureSize(width, loaded.rowsLeft))
        return refuseSize(loadWrongFormat, width, loaded.rowsLeft);

    File file;
    const LoadStatus status = openFile(request.path, file);
    if (status != loadSuccess)
        return status;
    fseeko(file.stream, headerSize, SEEK_SET);
    remarkDesignSize(loaded, file.stream);
    reportCards(image, width, loaded.rowsLeft, "Staubli JC4 loom\n", nullptr);
    startStaubli(StaubliFormat::loom, file, loaded);
    return loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    StaubliState* state = openStaubli(StaubliFormat::loom);
    if (state == nullptr)
        return refuseUnopened();
    return readStoredRows(state->file, state->rowsLeft, rows, count, state->rowBytes, bytesPerRow,
                          BitOrder::reversedAndNegated);
}

} // namespace

void registerLoadStaubliJC4loom()
{
    registerEntries<tryLoad, loadBand, endStaubli>();
}
