// Design pictures of Nedgraphics. Numbers are big-endian.
//
//   header   512 bytes       width, height, 0 1 0 1, width and height again, 0 0 at 16, resolution at 18
//   palette  3 x 256 bytes   all greens, all reds, all blues
//   free     256 bytes
//   rows     from 1536 on, first row first, one byte a pixel
#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/path.h"
#include "framework/thread_state.h"

constexpr i64 designHeaderBytes = 1536;
constexpr u32 largestSide = 65520;

// Offsets in the header.
constexpr size_t atHeight = 2;
constexpr size_t atMark = 4;
constexpr size_t atCopy = 8;
constexpr size_t atZeros = 16;
constexpr size_t atResolution = 18;
constexpr size_t atGreens = 512;
constexpr size_t atReds = 768;
constexpr size_t atBlues = 1024;

constexpr i64 probedBytes = atResolution;
constexpr u32 tenDotsPerInch = 10000;

static bool describesPicture(const u8* header, i64 fileSize)
{
    constexpr u8 mark[] = {0, 1, 0, 1};
    const u32 width = bigEndian16(header);
    const u32 height = bigEndian16(header + atHeight);
    return width >= 1 && width <= largestSide && height >= 1 && height <= largestSide &&
           memcmp(header + atMark, mark, sizeof mark) == 0 && memcmp(header + atCopy, header, 4) == 0 &&
           bigEndian16(header + atZeros) == 0 && fileSize >= i64{width} * height + designHeaderBytes;
}

// Tens of dots per inch, one digit each way; from 100 on the second direction has two.
static void setResolution(ImageInfo& image, u32 code)
{
    if (code <= 10)
        return;
    const u32 base = code < 100 ? 10 : 100;
    image.resX = code / base * tenDotsPerInch;
    image.resY = code % base * tenDotsPerInch;
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "pat"))
        return loadWrongFormat;
    const u8* probed = loadImgCheckHeader(request.path);
    const i64 size = loadImgLastFilesize();
    if (probed == nullptr || size < probedBytes || !describesPicture(probed, size))
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    u8 header[designHeaderBytes];
    if (!readExactly(file.stream, header, sizeof header) || !describesPicture(header, size))
        return loadWrongFormat;

    for (size_t i = 0; i < paletteColours; i++)
        setColour(image.palette, i, header[atReds + i], header[atGreens + i], header[atBlues + i]);
    reportImage(image, "Nedgraphics PAT", pictureOrientation);
    setResolution(image, bigEndian16(header + atResolution));
    image.kind = kindIndexed;
    image.width = bigEndian16(header);
    image.height = bigEndian16(header + atHeight);
    handOver(file, threadState().loom.nedgraphics, image.height, image.width);
    return loadSuccess;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.nedgraphics, rows, count, bytesPerRow, BitOrder::asStored);
}

static LoadStatus endLoad()
{
    release(threadState().loom.nedgraphics);
    return loadSuccess;
}

void registerLoadNedgraphicsPAT()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
