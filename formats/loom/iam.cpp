// IAM design files. Numbers are little-endian.
//
//   PAT   width at 0, height at 2, from 8 on 256 colours of blue, green, red and a zero; from 1032 on a byte a pixel
//   BBI   'U' at 0, 'B' at 4, width at 16, height at 20; from 24 on four bytes a pixel, the first not zero: it is dark;
//         pixels that the file lacks are light
#include "formats/loom/card_file.h"
#include "framework/thread_state.h"

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

namespace
{

constexpr size_t atPatWidth = 0;
constexpr size_t atPatHeight = 2;
constexpr size_t atPatPalette = 8;
constexpr u32 patHeaderBytes = atPatPalette + 4 * paletteColours;

constexpr size_t atBbiU = 0;
constexpr size_t atBbiB = 4;
constexpr size_t atBbiWidth = 16;
constexpr size_t atBbiHeight = 20;
constexpr u32 bbiHeaderBytes = 24;
constexpr u32 bbiPixelBytes = 4;

LoadStatus tryLoadPat(const LoadRequest& request, ImageInfo& image)
{
    File file;
    u8 header[patHeaderBytes];
    const LoadStatus status = openNamed(request.path, "pat", file, header, sizeof header);
    if (status != loadSuccess)
        return status;
    const u32 width = littleEndian16(header + atPatWidth);
    const u32 height = littleEndian16(header + atPatHeight);
    if (!isPictureSize(width, height))
        return refuseSize(loadWrongFormat, width, height);
    u8 fourth = 0;
    for (u32 i = 0; i < paletteColours; i++) {
        const u8* colour = header + atPatPalette + 4 * i;
        setColour(image.palette, i, colour[2], colour[1], colour[0]);
        fourth |= colour[3];
    }
    if (fourth != 0)
        return refuse(loadWrongFormat, "the fourth bytes of its colours are not all zero");
    image.kind = kindIndexed;
    image.width = width;
    image.height = height;
    reportImage(image, "IAM PAT", loomOrientation);
    remarkFileSize(file.stream, u64{width} * height, width, height);
    handOver(file, threadState().loom.iam, height, width);
    return loadSuccess;
}

LoadStatus tryLoadBbi(const LoadRequest& request, ImageInfo& image)
{
    File file;
    u8 header[bbiHeaderBytes];
    const LoadStatus status = openNamed(request.path, "bbi", file, header, sizeof header);
    if (status != loadSuccess)
        return status;
    if (header[atBbiU] != 'U' || header[atBbiB] != 'B')
        return refuseMark("IAM BBI");
    const u32 width = littleEndian16(header + atBbiWidth);
    const u32 height = littleEndian16(header + atBbiHeight);
    if (!isPictureSize(width, height))
        return refuseSize(loadWrongFormat, width, height);
    const u32 rowBytes = bbiPixelBytes * width;
    reportBilevel(image, width, height, "IAM BBI", loomOrientation);
    remarkFileSize(file.stream, u64{rowBytes} * height, width, height);
    handOver(file, threadState().loom.iam, height, rowBytes);
    return loadSuccess;
}

LoadStatus loadPat(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.iam, rows, count, bytesPerRow, BitOrder::asStored);
}

#if defined(__x86_64__)
// As many times 16 pixels as there are. Returns the pixels done.
u64 deliverBlocks(u8* row, const u8* stored, u64 size)
{
    const __m128i firstByte = _mm_set1_epi32(0xFF);
    u64 done = 0;
    for (; done + 16 <= size; done += 16) {
        const auto* block = reinterpret_cast<const __m128i*>(stored + bbiPixelBytes * done);
        auto firstBytes = [&](u32 i) { return _mm_and_si128(_mm_loadu_si128(block + i), firstByte); };
        const __m128i pixels = _mm_packus_epi16(_mm_packs_epi32(firstBytes(0), firstBytes(1)),
                                                _mm_packs_epi32(firstBytes(2), firstBytes(3)));
        const int light = _mm_movemask_epi8(_mm_cmpeq_epi8(pixels, _mm_setzero_si128()));
        row[done / 8] = static_cast<u8>(light);
        row[done / 8 + 1] = static_cast<u8>(light >> 8);
    }
    reverseBits(row, done / 8, true);
    return done;
}
#else
u64 deliverBlocks(u8*, const u8*, u64)
{
    return 0;
}
#endif

void deliverDarkRow(u8* row, const u8* stored, u64 width, u64 bytesPerRow)
{
    const u64 size = std::min(width, 8 * bytesPerRow);
    for (u64 pixel = deliverBlocks(row, stored, size); pixel < size; pixel++)
        row[pixel / 8] |= static_cast<u8>(stored[bbiPixelBytes * pixel] != 0 ? 0x80 >> pixel % 8 : 0);
}

LoadStatus loadBbi(u8* rows, u32 count, u32 bytesPerRow)
{
    RowFile& slot = threadState().loom.iam;
    if (slot.file == nullptr)
        return refuseUnopened();
    clearRows(rows, count, bytesPerRow);
    const u64 wanted = std::min(count, slot.rowsLeft);
    u64 delivered = 0;
    const LoadStatus status = convertRows(slot, count, 1, [&](const u8* stored, u64 row) {
        deliverDarkRow(rows + row * bytesPerRow, stored, slot.rowBytes / bbiPixelBytes, bytesPerRow);
        delivered = row + 1;
    });
    if (status != loadBadData)
        return status;
    remarkCount(Gravity::grave, wanted - delivered, "picks that the file lacks are clear");
    return loadSuccess;
}

LoadStatus endLoad()
{
    release(threadState().loom.iam);
    return loadSuccess;
}

} // namespace

void registerLoadIAMPAT()
{
    registerEntries<tryLoadPat, loadPat, endLoad>();
}

void registerLoadIAMBBI()
{
    registerEntries<tryLoadBbi, loadBbi, endLoad>();
}
