// Colorado design pictures of 256 colours. Numbers are big-endian.
//
//   0      4 zeros, width, height (16 bits each), length of the pixel data (32 bits), 7 zeros, 25, zeros
//   512    256 colours of 6 bytes: red, green and blue in bytes 0, 2 and 4
//   ...    at the end of the file: the pixel data, pairs of a count and an index, row after row
#include "framework/bytes.h"
#include "framework/loader.h"
#include "framework/probe.h"
#include "framework/thread_state.h"

namespace
{

constexpr u32 headerSize = 512;
constexpr u32 headerFieldsEnd = 20;
constexpr size_t atWidth = 4;
constexpr size_t atHeight = 6;
constexpr size_t atLength = 8;
constexpr size_t atZeros = 12;
constexpr size_t atMark = 19;
constexpr u8 mark = 25;
constexpr u32 leastLength = 2;
constexpr u32 colourBytes = 6;
constexpr i64 leastPixelStart = 1536;
constexpr i64 mostPixelStart = 10000;

bool isZero(const u8* bytes, const u8* end)
{
    return std::all_of(bytes, end, [](u8 byte) { return byte == 0; });
}

LoadStatus checkHeader(const u8* header)
{
    if (!isZero(header, header + atWidth) || !isZero(header + atZeros, header + atMark) || header[atMark] != mark)
        return refuseMark("Colorado");
    const u32 width = bigEndian16(header + atWidth);
    const u32 height = bigEndian16(header + atHeight);
    if (width == 0 || height == 0)
        return refuseSize(loadWrongFormat, width, height);
    const u32 length = bigEndian32(header + atLength);
    if (length < leastLength)
        return refuse(loadWrongFormat, "the header announces %u bytes of pixels", length);
    return loadSuccess;
}

// Reads what precedes the pixels and leaves the file at their first.
LoadStatus readToPixels(File& file, u8* header, u8* palette)
{
    if (!readExactly(file.stream, header, headerSize))
        return refuseHeader(loadWrongFormat);
    const LoadStatus status = checkHeader(header);
    if (status != loadSuccess)
        return status;
    if (!isZero(header + headerFieldsEnd, header + headerSize))
        return refuse(loadWrongFormat, "the end of its header is not all zero");
    u8 colours[paletteColours * colourBytes];
    if (!readExactly(file.stream, colours, sizeof colours))
        return refuse(loadWrongFormat, "the file ends in its palette");
    for (u32 i = 0; i < paletteColours; i++) {
        const u8* colour = colours + colourBytes * i;
        setColour(palette, i, colour[0], colour[2], colour[4]);
    }
    const u32 length = bigEndian32(header + atLength);
    const i64 size = regularFileSize(file.stream);
    const i64 start = size - i64{length};
    if (start < leastPixelStart)
        return refuse(loadWrongFormat, "the header announces %u bytes of pixels, the file holds %lld bytes", length,
                      static_cast<long long>(size));
    if (start > mostPixelStart || fseeko(file.stream, start, SEEK_SET) != 0)
        return refuse(loadWrongFormat, "the header announces %u bytes of pixels, which would begin at byte %lld",
                      length, static_cast<long long>(start));
    return loadSuccess;
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* cached = probedHeader(request.path, headerFieldsEnd);
    if (cached == nullptr)
        return loadWrongFormat;
    image.width = bigEndian16(cached + atWidth);
    image.height = bigEndian16(cached + atHeight);
    LoadStatus status = checkHeader(cached);
    if (status != loadSuccess)
        return status;
    File file;
    status = openFile(request.path, file);
    if (status != loadSuccess)
        return status;
    u8 header[headerSize];
    status = readToPixels(file, header, image.palette);
    if (status != loadSuccess)
        return status;
    image.kind = kindIndexed;
    image.width = bigEndian16(header + atWidth);
    image.height = bigEndian16(header + atHeight);
    reportImage(image, "Colorado", loomOrientation);
    ColoradoState& state = threadState().loom.colorado;
    handOver(file, state.file);
    state.width = image.width;
    state.rowsLeft = image.height;
    return loadSuccess;
}

// Writes a run of pixels of rows that are width pixels long, wherever it begins.
void deliverRun(u8* rows, u64 first, u64 count, u8 index, u64 width, u64 bytesPerRow)
{
    while (count > 0) {
        const u64 column = first % width;
        const u64 size = std::min(count, width - column);
        if (column < bytesPerRow)
            memset(rows + first / width * bytesPerRow + column, index, std::min(size, bytesPerRow - column));
        first += size;
        count -= size;
    }
}

// Runs do not go on from band to band: one that is longer than the band has room for is dropped.
LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    ColoradoState& state = threadState().loom.colorado;
    if (state.file == nullptr)
        return refuseUnopened();
    const u32 wanted = std::min(count, state.rowsLeft);
    const u64 total = u64{state.width} * wanted;
    u64 written = 0;
    u64 dropped = 0;
    int length = EOF;
    flockfile(state.file);
    while (written < total) {
        length = getc_unlocked(state.file);
        const int index = getc_unlocked(state.file);
        if (length == EOF || length == 0 || index == EOF)
            break;
        const auto pixels = static_cast<u64>(length);
        if (written + pixels > total) {
            dropped++;
            continue;
        }
        deliverRun(rows, written, pixels, static_cast<u8>(index), state.width, bytesPerRow);
        written += pixels;
    }
    funlockfile(state.file);
    remarkCount(Gravity::grave, dropped, "runs of pixels that pass the end of the rows asked for are left out");
    state.rowsLeft -= wanted;
    if (written < total)
        return length == 0 ? refuse(loadBadData, "it has a run of no pixels")
                           : refuseEarlyEnd(state.rowsLeft + (total - written + state.width - 1) / state.width);
    if (wanted < count)
        return refuseRowsBehindPicture();
    if (state.rowsLeft == 0)
        remarkFileSize(state.file, 0, state.width, 0); // runs that are left
    return loadSuccess;
}

LoadStatus endLoad()
{
    ColoradoState& state = threadState().loom.colorado;
    closeSlot(state.file);
    state = {};
    return loadSuccess;
}

} // namespace

void registerLoadColorado()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
