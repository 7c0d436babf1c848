// Design pictures of Nedgraphics. Numbers are big-endian.
//
//   header   512 bytes       width, height, 0 1 0 1, width and height again, 0 0 at 16, resolution at 18
//   palette  3 x 256 bytes   all greens, all reds, all blues
//   free     256 bytes
//   rows     from 1536 on, first row first, one byte a pixel
#include "framework/loader.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/rows.h"
#include "framework/thread_state.h"

namespace
{

constexpr i64 designHeaderBytes = 1536;

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

LoadStatus checkHeader(const u8* header, i64 fileSize)
{
    constexpr u8 mark[] = {0, 1, 0, 1};
    if (memcmp(header + atMark, mark, sizeof mark) != 0 || memcmp(header + atCopy, header, 4) != 0 ||
        bigEndian16(header + atZeros) != 0)
        return refuseMark("Nedgraphics");
    const u32 width = bigEndian16(header);
    const u32 height = bigEndian16(header + atHeight);
    if (!isPictureSize(width, height))
        return refuseSize(loadWrongFormat, width, height);
    if (fileSize < i64{width} * height + designHeaderBytes)
        return refuseFileSize(loadWrongFormat, width, height, fileSize);
    return loadSuccess;
}

// Tens of dots per inch, one digit each way; from 100 on the second direction has two.
void setResolution(ImageInfo& image, u32 code)
{
    if (code <= 10)
        return;
    const u32 base = code < 100 ? 10 : 100;
    image.resX = code / base * tenDotsPerInch;
    image.resY = code % base * tenDotsPerInch;
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "pat"))
        return refuseName("pat");
    const u8* probed = probedHeader(request.path, probedBytes);
    if (probed == nullptr)
        return loadWrongFormat;
    const i64 size = loadImgLastFilesize();
    LoadStatus status = checkHeader(probed, size);
    if (status != loadSuccess)
        return status;
    File file;
    u8 header[designHeaderBytes];
    status = openFile(request.path, file, header, sizeof header, loadWrongFormat);
    if (status == loadSuccess)
        status = checkHeader(header, size);
    if (status != loadSuccess)
        return status;

    for (size_t i = 0; i < paletteColours; i++)
        setColour(image.palette, i, header[atReds + i], header[atGreens + i], header[atBlues + i]);
    reportImage(image, "Nedgraphics PAT", pictureOrientation);
    setResolution(image, bigEndian16(header + atResolution));
    image.kind = kindIndexed;
    image.width = bigEndian16(header);
    image.height = bigEndian16(header + atHeight);
    remarkFileSize(file.stream, u64{image.width} * image.height, image.width, image.height);
    handOver(file, threadState().loom.nedgraphics, image.height, image.width);
    return loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.nedgraphics, rows, count, bytesPerRow, BitOrder::asStored);
}

LoadStatus endLoad()
{
    release(threadState().loom.nedgraphics);
    return loadSuccess;
}

} // namespace

void registerLoadNedgraphicsPAT()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
