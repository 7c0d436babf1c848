// Uncompressed Windows bitmaps of 1, 4, 8, 24 and 32 bits a pixel.
//
//   file header   14 bytes   "BM", sizes and the offset of the rows, which is not used
//   info header   40 or 124  see the offsets below
//   palette       4 bytes an entry: B, G, R, reserved (1, 4 and 8 bits only)
//   rows          from the bottom row to the top one, each padded to a multiple of 4 bytes
#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/processor.h"
#include "framework/thread_state.h"

#if defined(__x86_64__)
#include <tmmintrin.h>
#endif

namespace
{

constexpr i64 probedBytes = 28; // what the tests on the cached header look at
constexpr size_t fileHeaderBytes = 14;
constexpr size_t leastInfoBytes = 40;
constexpr size_t mostInfoBytes = 124;
constexpr size_t paletteEntryBytes = 4;

// Offset in the file header.
constexpr size_t atDataOffset = 10;

// Offsets in the info header.
constexpr size_t atWidth = 4;
constexpr size_t atHeight = 8;
constexpr size_t atPlanes = 12;
constexpr size_t atBitsPerPixel = 14;
constexpr size_t atCompression = 16;
constexpr size_t atResolutionX = 24;
constexpr size_t atResolutionY = 28;
constexpr size_t atColoursUsed = 32;
constexpr size_t atColourSpace = 56; // in the long header only

constexpr u32 profileLinked = 0x4C494E4B;
constexpr u32 profileEmbedded = 0x4D424544;

constexpr u64 readAheadBytes = 1 << 18; // rows are read in blocks that stay in the cache until they are converted
constexpr i64 mostPadding = 3;          // what programs that round a file up add to it

struct BmpHeader {
    u8 file[fileHeaderBytes];
    u8 info[mostInfoBytes];
    size_t infoBytes;
};

LoadStatus openHeader(const char* path, File& file, BmpHeader& header)
{
    const u8* probed = probedMark(path, "BM", "BMP", probedBytes);
    if (probed == nullptr)
        return loadWrongFormat;
    header.infoBytes = littleEndian32(probed + fileHeaderBytes);
    if (header.infoBytes != leastInfoBytes && header.infoBytes != mostInfoBytes)
        return refuse(loadWrongFormat, "an info header of %zu bytes, not of 40 or 124", header.infoBytes);
    const u32 planes = littleEndian16(probed + fileHeaderBytes + atPlanes);
    if (planes != 1)
        return refuse(loadWrongFormat, "%u colour planes", planes);

    const LoadStatus status = openFile(path, file, header.file, fileHeaderBytes, loadWrongFormat);
    if (status != loadSuccess)
        return status;
    return readExactly(file.stream, header.info, header.infoBytes) ? loadSuccess : refuseHeader(loadWrongFormat);
}

LoadStatus refuseCompression(u32 method)
{
    static constexpr const char* names[] = {"",
                                            "run-length encoded",
                                            "run-length encoded",
                                            "colours told by masks",
                                            "compressed as JPEG",
                                            "compressed as PNG",
                                            "colours told by masks"};
    return method < std::size(names) ? refuse(loadWrongFormat, "%s", names[method])
                                     : refuse(loadWrongFormat, "compressed by the unknown method %u", method);
}

LoadStatus chooseLayout(BmpState& loaded, ImageInfo& image)
{
    switch (loaded.bitsPerPixel) {
    case 1:
        image.kind = kindBilevel;
        break;
    case 4:
    case 8:
        image.kind = kindIndexed;
        break;
    case 24:
        image.kind = kindRGB;
        break;
    case 32:
        image.kind = kindRGBA;
        break;
    default:
        return refuse(loadWrongFormat, "%u bits a pixel", loaded.bitsPerPixel);
    }
    if (static_cast<i32>(loaded.height) < 0)
        return refuse(loadBadData, "stored from the top row to the bottom one");
    if (!isPictureSize(loaded.width, loaded.height))
        return refuseSize(loadBadData, static_cast<i32>(loaded.width), loaded.height);
    loaded.rowBytes = (loaded.width * loaded.bitsPerPixel + 7) / 8;
    return loadSuccess;
}

u64 storedRowBytes(const BmpState& state)
{
    return (u64{state.rowBytes} + 3) / 4 * 4;
}

u32 thousandthsOfDpi(const u8* pixelsPerMetre)
{
    auto value = static_cast<i32>(littleEndian32(pixelsPerMetre));
    return static_cast<u32>(static_cast<i64>(value * 25.4));
}

// Resolutions that differ by a factor of more than 50 are taken for rubbish.
bool isImplausible(u32 resX, u32 resY)
{
    return resX >= 11 && resY >= 2 && std::max(resX, resY) / std::min(resX, resY) >= 51;
}

void reportResolution(const BmpHeader& header, const char* path, ImageInfo& image)
{
    image.resX = thousandthsOfDpi(header.info + atResolutionX);
    image.resY = thousandthsOfDpi(header.info + atResolutionY);
    if (isImplausible(image.resX, image.resY))
        image.resX = image.resY = 0;
    if (hasExtension(path, "dsn", 6))
        std::swap(image.resX, image.resY);
}

u32 paletteEntries(const BmpHeader& header, u32 bitsPerPixel)
{
    if (bitsPerPixel >= 24)
        return 0;
    const u32 colours = littleEndian32(header.info + atColoursUsed);
    return colours != 0 ? colours : 1u << bitsPerPixel;
}

// What is told by the header, with the stream behind it.
void remarkHeader(const BmpHeader& header, const BmpState& loaded, FILE* stream)
{
    const u64 colours = paletteEntries(header, loaded.bitsPerPixel);
    const u64 paletteSize = colours * paletteEntryBytes;
    const u64 readFrom = fileHeaderBytes + header.infoBytes + paletteSize;
    const u32 dataOffset = littleEndian32(header.file + atDataOffset);
    if (dataOffset != 0 && dataOffset != readFrom)
        remark(Gravity::grave, "the rows begin at byte %u of the file and are read from byte %llu on", dataOffset,
               static_cast<unsigned long long>(readFrom));
    if (colours > paletteColours)
        remarkCount(Gravity::harmless, colours - paletteColours, "colours behind the 256th are not read");
    const u32 colourSpace = littleEndian32(header.info + atColourSpace);
    if (colourSpace == profileLinked || colourSpace == profileEmbedded)
        remark(Gravity::harmless, "the colour profile is not used");

    const u64 dataBytes = paletteSize + storedRowBytes(loaded) * loaded.height;
    const i64 behind = regularFileSize(stream) - static_cast<i64>(fileHeaderBytes + header.infoBytes + dataBytes);
    if (behind < 0 || behind > mostPadding)
        remarkFileSize(stream, dataBytes, loaded.width, loaded.height);
}

// Entries that no palette has room for are skipped. A palette that the file's end cuts short is left as it is.
void readPalette(FILE* stream, u32 count, u8* palette)
{
    u8 entries[paletteColours][paletteEntryBytes];
    u32 stored = std::min(count, paletteColours);
    const size_t whole = fread(entries, paletteEntryBytes, stored, stream);
    for (u32 i = 0; i < whole; i++)
        setColour(palette, i, entries[i][2], entries[i][1], entries[i][0]);
    if (count > stored)
        fseeko(stream, static_cast<off_t>(count - stored) * static_cast<off_t>(paletteEntryBytes), SEEK_CUR);
}

u32 brightness(const u8* colour)
{
    return colour[0] + colour[1] + colour[2];
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    File file;
    BmpHeader header{};
    LoadStatus status = openHeader(request.path, file, header);
    if (status != loadSuccess)
        return status;

    BmpState loaded{};
    loaded.width = image.width = littleEndian32(header.info + atWidth);
    loaded.height = image.height = littleEndian32(header.info + atHeight);
    const u32 compression = littleEndian32(header.info + atCompression);
    if (compression != 0)
        return refuseCompression(compression);
    loaded.bitsPerPixel = littleEndian16(header.info + atBitsPerPixel);
    status = chooseLayout(loaded, image);
    if (status != loadSuccess)
        return status;
    remarkHeader(header, loaded, file.stream);

    BmpState& state = threadState().raster.bmp;
    loaded.invert = state.invert;
    if (request.wantPalette != 0) {
        readPalette(file.stream, paletteEntries(header, loaded.bitsPerPixel), image.palette);
        // A set bit has to be the dark colour.
        loaded.invert = loaded.bitsPerPixel == 1 && brightness(image.palette) < brightness(image.palette + 3);
    }
    reportImage(image, "PBM plus", pictureOrientation);
    reportResolution(header, request.path, image);

    loaded.file = state.file;
    handOver(file, loaded.file);
    state = loaded;
    return loadSuccess;
}

#if defined(__x86_64__)
// Swaps the pixels of as many whole blocks as the row has and returns how many bytes that were.
__attribute__((target("ssse3"))) u64 swapBlocks(u8* destination, const u8* source, u64 size)
{
    // Five pixels of the sixteen bytes; the last byte is written again by the next block.
    const __m128i order = _mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, 15);
    u64 done = 0;
    for (; done + 16 <= size; done += 15) {
        __m128i pixels = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + done));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(destination + done), _mm_shuffle_epi8(pixels, order));
    }
    return done;
}
#endif

void bgrToRgb(u8* destination, const u8* source, u64 size)
{
    u64 done = 0;
#if defined(__x86_64__)
    if (processorHas(processorSsse3))
        done = swapBlocks(destination, source, size);
#endif
    for (; done < size; done += 3) {
        destination[done] = source[done + 2];
        destination[done + 1] = source[done + 1];
        destination[done + 2] = source[done];
    }
}

void bgraToRgba(u8* destination, const u8* source, u64 size)
{
    for (u64 i = 0; i < size; i += 4) {
        u32 pixel;
        memcpy(&pixel, source + i, sizeof pixel);
        pixel = (pixel & 0xFF00FF00) | (pixel & 0xFF) << 16 | (pixel >> 16 & 0xFF);
        memcpy(destination + i, &pixel, sizeof pixel);
    }
}

void nibblesToBytes(u8* destination, const u8* source, u64 width)
{
    for (u64 i = 0; i < width / 2; i++) {
        destination[2 * i] = source[i] >> 4;
        destination[2 * i + 1] = source[i] & 15;
    }
    if (width % 2 != 0)
        destination[width - 1] = source[width / 2] >> 4;
}

void convertRow(const BmpState& state, u8* destination, const u8* source)
{
    switch (state.bitsPerPixel) {
    case 32:
        bgraToRgba(destination, source, state.rowBytes);
        break;
    case 24:
        bgrToRgb(destination, source, state.rowBytes);
        break;
    case 4:
        nibblesToBytes(destination, source, state.width);
        break;
    default:
        for (u64 i = 0; i < state.rowBytes; i++)
            destination[i] = state.invert != 0 ? static_cast<u8>(~source[i]) : source[i];
    }
}

// Whether any of the pixels has an alpha other than 0.
bool holdsAlpha(const u8* pixels, u64 size)
{
    u32 all = 0;
    for (u64 i = 0; i < size; i += 4) {
        u32 pixel;
        memcpy(&pixel, pixels + i, sizeof pixel);
        all |= pixel;
    }
    return all >> 24 != 0;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    BmpState& state = threadState().raster.bmp;
    if (state.file == nullptr)
        return refuseUnopened();
    const u64 stored = storedRowBytes(state);
    const u64 delivered = state.bitsPerPixel == 4 ? state.width : state.rowBytes;
    const u32 wanted = std::min(count, state.height - state.rowsDelivered);
    const u64 rowsAtOnce = std::max<u64>(1, readAheadBytes / stored);

    Buffer block;
    Buffer narrowRow;
    if (!block.allocate(stored * rowsAtOnce) || (bytesPerRow < delivered && !narrowRow.allocate(delivered)))
        return refuseMemory();
    u32 row = 0;
    while (row < wanted) {
        u64 asked = std::min<u64>(rowsAtOnce, wanted - row);
        u64 complete = fread(block.bytes, 1, asked * stored, state.file) / stored;
        for (u64 i = 0; i < complete; i++, row++) {
            // The file begins with the bottom row.
            u8* destination = rows + static_cast<u64>(state.height - 1 - state.rowsDelivered - row) * bytesPerRow;
            const u8* source = block.bytes + i * stored;
            if (state.bitsPerPixel == 32 && !state.hasAlpha)
                state.hasAlpha = holdsAlpha(source, state.rowBytes);
            u8* converted = narrowRow.bytes != nullptr ? narrowRow.bytes : destination;
            convertRow(state, converted, source);
            if (converted != destination)
                deliverRow(destination, converted, delivered, bytesPerRow);
        }
        if (complete < asked)
            return refuseEarlyEnd(state.height - state.rowsDelivered - row);
    }
    state.rowsDelivered += wanted;
    // Without compression the fourth byte means nothing, and many programs leave it 0.
    if (state.bitsPerPixel == 32 && state.rowsDelivered == state.height && !state.hasAlpha)
        remark(Gravity::grave, "the alpha of all pixels is 0: an opaque picture is delivered as a transparent one");
    return wanted < count ? refuseRowsBehindPicture() : loadSuccess;
}

LoadStatus endLoad()
{
    closeSlot(threadState().raster.bmp.file);
    return loadSuccess;
}

} // namespace

void registerLoadBMP()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
