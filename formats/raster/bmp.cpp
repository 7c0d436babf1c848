// Uncompressed Windows bitmaps of 1, 4, 8, 24 and 32 bits a pixel.
//
//   file header   14 bytes   "BM", sizes and the data offset, which is not used
//   info header   40 or 124  see the offsets below
//   palette       4 bytes an entry: B, G, R, reserved (1, 4 and 8 bits only)
//   rows          from the bottom row to the top one, each padded to a multiple of 4 bytes
#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/path.h"
#include "framework/thread_state.h"

#if defined(__x86_64__)
#include <tmmintrin.h>
#endif

constexpr i64 probedBytes = 28; // what the tests on the cached header look at
constexpr size_t fileHeaderBytes = 14;
constexpr size_t largestInfoHeader = 124;
constexpr size_t paletteEntryBytes = 4;

// Offsets in the info header.
constexpr size_t atWidth = 4;
constexpr size_t atHeight = 8;
constexpr size_t atBitsPerPixel = 14;
constexpr size_t atCompression = 16;
constexpr size_t atResolutionX = 24;
constexpr size_t atResolutionY = 28;
constexpr size_t atColoursUsed = 32;

constexpr i32 largestSide = 65520;
constexpr u64 readAheadBytes = 1 << 18; // rows are read in blocks that stay in the cache until they are converted

static bool isBmp(const u8* header)
{
    return header[0] == 'B' && header[1] == 'M' && (header[14] == 40 || header[14] == 124) && header[15] == 0 &&
           header[16] == 0 && header[17] == 0 && header[26] == 1 && header[27] == 0;
}

static u32 thousandthsOfDpi(const u8* pixelsPerMetre)
{
    auto value = static_cast<i32>(littleEndian32(pixelsPerMetre));
    return static_cast<u32>(static_cast<i64>(value * 25.4));
}

// Resolutions that differ by a factor of more than 50 are taken for rubbish.
static bool isImplausible(u32 resX, u32 resY)
{
    return resX >= 11 && resY >= 2 && std::max(resX, resY) / std::min(resX, resY) >= 51;
}

// Entries that no palette has room for are skipped. A palette that the file's end cuts short is left as it is.
static void readPalette(FILE* stream, u32 count, u8* palette)
{
    u8 entry[paletteEntryBytes];
    u32 stored = std::min(count, paletteColours);
    for (u32 i = 0; i < stored && readExactly(stream, entry, sizeof entry); i++)
        setColour(palette, i, entry[2], entry[1], entry[0]);
    if (count > stored)
        fseeko(stream, static_cast<off_t>(count - stored) * static_cast<off_t>(paletteEntryBytes), SEEK_CUR);
}

static u32 brightness(const u8* colour)
{
    return colour[0] + colour[1] + colour[2];
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = loadImgCheckHeader(request.path);
    if (header == nullptr || loadImgLastFilesize() < probedBytes || !isBmp(header))
        return loadWrongFormat;
    size_t infoBytes = header[fileHeaderBytes];

    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    u8 fileHeader[fileHeaderBytes];
    u8 info[largestInfoHeader];
    if (!readExactly(file.stream, fileHeader, sizeof fileHeader) || !readExactly(file.stream, info, infoBytes))
        return loadWrongFormat;

    BmpState loaded{};
    auto width = static_cast<i32>(littleEndian32(info + atWidth));
    auto height = static_cast<i32>(littleEndian32(info + atHeight));
    loaded.width = image.width = static_cast<u32>(width);
    loaded.height = image.height = static_cast<u32>(height);
    if (littleEndian32(info + atCompression) != 0)
        return loadWrongFormat;
    loaded.bitsPerPixel = littleEndian16(info + atBitsPerPixel);
    switch (loaded.bitsPerPixel) {
    case 1:
        image.kind = kindBilevel;
        loaded.rowBytes = (loaded.width + 7) / 8;
        break;
    case 4:
        image.kind = kindIndexed;
        loaded.rowBytes = (loaded.width + 1) / 2;
        break;
    case 8:
        image.kind = kindIndexed;
        loaded.rowBytes = loaded.width;
        break;
    case 24:
        image.kind = kindRGB;
        loaded.rowBytes = 3 * loaded.width;
        break;
    case 32:
        image.kind = kindRGBA;
        loaded.rowBytes = 4 * loaded.width;
        break;
    default:
        return loadWrongFormat;
    }
    if (width < 1 || width > largestSide || height < 1 || height > largestSide)
        return loadBadData;

    BmpState& state = threadState().raster.bmp;
    loaded.invert = state.invert;
    if (request.wantPalette != 0) {
        if (loaded.bitsPerPixel < 24) {
            u32 colours = littleEndian32(info + atColoursUsed);
            readPalette(file.stream, colours != 0 ? colours : 1u << loaded.bitsPerPixel, image.palette);
        }
        // A set bit has to be the dark colour.
        loaded.invert = loaded.bitsPerPixel == 1 && brightness(image.palette) < brightness(image.palette + 3);
    }

    reportImage(image, "PBM plus", pictureOrientation);
    image.resX = thousandthsOfDpi(info + atResolutionX);
    image.resY = thousandthsOfDpi(info + atResolutionY);
    if (isImplausible(image.resX, image.resY))
        image.resX = image.resY = 0;
    if (hasExtension(request.path, "dsn", 6))
        std::swap(image.resX, image.resY);

    loaded.file = state.file;
    handOver(file, loaded.file);
    state = loaded;
    return loadSuccess;
}

#if defined(__x86_64__)
// Swaps the pixels of as many whole blocks as the row has and returns how many bytes that were.
__attribute__((target("ssse3"))) static u64 swapBlocks(u8* destination, const u8* source, u64 size)
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

static void bgrToRgb(u8* destination, const u8* source, u64 size)
{
    u64 done = 0;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("ssse3"))
        done = swapBlocks(destination, source, size);
#endif
    for (; done < size; done += 3) {
        destination[done] = source[done + 2];
        destination[done + 1] = source[done + 1];
        destination[done + 2] = source[done];
    }
}

static void bgraToRgba(u8* destination, const u8* source, u64 size)
{
    for (u64 i = 0; i < size; i += 4) {
        u32 pixel;
        memcpy(&pixel, source + i, sizeof pixel);
        pixel = (pixel & 0xFF00FF00) | (pixel & 0xFF) << 16 | (pixel >> 16 & 0xFF);
        memcpy(destination + i, &pixel, sizeof pixel);
    }
}

static void nibblesToBytes(u8* destination, const u8* source, u64 width)
{
    for (u64 i = 0; i < width / 2; i++) {
        destination[2 * i] = source[i] >> 4;
        destination[2 * i + 1] = source[i] & 15;
    }
    if (width % 2 != 0)
        destination[width - 1] = source[width / 2] >> 4;
}

static void convertRow(const BmpState& state, u8* destination, const u8* source)
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

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    BmpState& state = threadState().raster.bmp;
    if (state.file == nullptr)
        return loadBadData;
    const u64 stored = (static_cast<u64>(state.rowBytes) + 3) / 4 * 4;
    const u64 delivered = state.bitsPerPixel == 4 ? state.width : state.rowBytes;
    const u32 wanted = std::min(count, state.height - state.rowsDelivered);
    const u64 rowsAtOnce = std::max<u64>(1, readAheadBytes / stored);

    Buffer block;
    Buffer narrowRow;
    if (!block.allocate(stored * rowsAtOnce) || (bytesPerRow < delivered && !narrowRow.allocate(delivered)))
        return loadOutOfMemory;
    u32 row = 0;
    while (row < wanted) {
        u64 asked = std::min<u64>(rowsAtOnce, wanted - row);
        u64 complete = fread(block.bytes, 1, asked * stored, state.file) / stored;
        for (u64 i = 0; i < complete; i++, row++) {
            // The file begins with the bottom row.
            u8* destination = rows + static_cast<u64>(state.height - 1 - state.rowsDelivered - row) * bytesPerRow;
            u8* converted = narrowRow.bytes != nullptr ? narrowRow.bytes : destination;
            convertRow(state, converted, block.bytes + i * stored);
            if (converted != destination)
                deliverRow(destination, converted, delivered, bytesPerRow);
        }
        if (complete < asked)
            return loadBadData;
    }
    state.rowsDelivered += wanted;
    return wanted < count ? loadBadData : loadSuccess;
}

static LoadStatus endLoad()
{
    closeSlot(threadState().raster.bmp.file);
    return loadSuccess;
}

void registerLoadBMP()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
