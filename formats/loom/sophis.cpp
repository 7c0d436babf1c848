// The files of the Sophis design system: weaves, cards and images. Numbers are big-endian.
//
//   weave   header    72 bytes   mark of 16 characters, width at 66, height at 70
//   card    header  1088 bytes   mark, width at 194, height at 198
//   image   header  1024 bytes   mark, width at 66, height at 70, start of the rows at 89 (three bytes)
//           palette              4 bytes a colour: red, green, blue and a free one
//   rows    first row first, as they are delivered; of an image one byte a pixel
#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/thread_state.h"

constexpr size_t markBytes = 16;
constexpr u32 largestSide = 65520;
constexpr size_t largestHeader = 1088;
constexpr u32 imageHeaderBytes = 1024;
constexpr size_t atImageRows = 89;
constexpr size_t colourBytes = 4;

struct SophisFormat {
    const char* mark;
    size_t headerBytes;
    size_t atWidth;
    size_t atHeight;
    u32 kind;
    const char* description;
};

constexpr SophisFormat weaveFormat = {"@(#)BWEAVE..FILE", 72, 66, 70, kindBilevel, "Sophis weave"};
constexpr SophisFormat cardFormat = {"@(#)CARDIM..FILE", largestHeader, 194, 198, kindBilevel, "Sophis card"};
constexpr SophisFormat imageFormat = {"/*DESIGN..FILE*/", imageHeaderBytes, 66, 70, kindIndexed, "Sophis image"};

// Colours that the block is too short for are black.
static LoadStatus readPalette(FILE* stream, u32 rowsStart, u8* palette)
{
    if (rowsStart < imageHeaderBytes)
        return loadWrongFormat;
    const size_t size = rowsStart - imageHeaderBytes;
    Buffer block;
    if (!block.allocate(size))
        return loadOutOfMemory;
    if (!readExactly(stream, block.bytes, size))
        return loadWrongFormat;
    for (size_t i = 0; i < paletteColours; i++) {
        const u8 black[colourBytes] = {};
        const u8* colour = (i + 1) * colourBytes <= size ? block.bytes + i * colourBytes : black;
        setColour(palette, i, colour[0], colour[1], colour[2]);
    }
    return loadSuccess;
}

template <const SophisFormat& format>
static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* probed = loadImgCheckHeader(request.path);
    if (probed == nullptr || loadImgLastFilesize() < i64{markBytes} || memcmp(probed, format.mark, markBytes) != 0)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    u8 header[largestHeader];
    if (!readExactly(file.stream, header, format.headerBytes))
        return loadWrongFormat;
    const u32 width = bigEndian16(header + format.atWidth);
    const u32 height = bigEndian16(header + format.atHeight);
    if (width < 1 || width > largestSide || height < 1 || height > largestSide)
        return loadWrongFormat;

    u32 rowBytes = (width + 7) / 8;
    if (format.kind == kindIndexed) {
        rowBytes = width;
        const u32 rowsStart = u32{header[atImageRows]} << 16 | bigEndian16(header + atImageRows + 1);
        const LoadStatus status = readPalette(file.stream, rowsStart, image.palette);
        if (status != loadSuccess)
            return status;
    } else {
        image.palette[0] = 0;
    }
    reportImage(image, format.description, loomOrientation);
    image.kind = format.kind;
    image.width = width;
    image.height = height;
    handOver(file, threadState().loom.sophis, height, rowBytes);
    return loadSuccess;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.sophis, rows, count, bytesPerRow, BitOrder::asStored);
}

static LoadStatus endLoad()
{
    release(threadState().loom.sophis);
    return loadSuccess;
}

void registerLoadSophisW()
{
    registerEntries<tryLoad<weaveFormat>, loadBand, endLoad>();
}

void registerLoadSophisC()
{
    registerEntries<tryLoad<cardFormat>, loadBand, endLoad>();
}

void registerLoadSophisI()
{
    registerEntries<tryLoad<imageFormat>, loadBand, endLoad>();
}
