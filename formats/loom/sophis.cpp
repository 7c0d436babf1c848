// The files of the Sophis design system: weaves, cards and images. Numbers are big-endian.
//
//   weave   header    72 bytes   mark of 16 characters, width at 66, height at 70
//   card    header  1088 bytes   mark, width at 194, height at 198
//   image   header  1024 bytes   mark, width at 66, height at 70, start of the rows at 89 (three bytes)
//           palette              4 bytes a colour: red, green, blue and a free one
//   rows    first row first, as they are delivered; of an image one byte a pixel
#include "framework/loader.h"
#include "framework/probe.h"
#include "framework/rows.h"
#include "framework/thread_state.h"

namespace
{

constexpr size_t mostHeaderBytes = 1088;
constexpr u32 imageHeaderBytes = 1024;
constexpr size_t atImageRows = 89;
constexpr size_t colourBytes = 4;

struct SophisFormat {
    std::string_view mark;
    size_t headerBytes;
    size_t atWidth;
    size_t atHeight;
    u32 kind;
    const char* description;
};

constexpr SophisFormat weaveFormat = {"@(#)BWEAVE..FILE", 72, 66, 70, kindBilevel, "Sophis weave"};
constexpr SophisFormat cardFormat = {"@(#)CARDIM..FILE", mostHeaderBytes, 194, 198, kindBilevel, "Sophis card"};
constexpr SophisFormat imageFormat = {"/*DESIGN..FILE*/", imageHeaderBytes, 66, 70, kindIndexed, "Sophis image"};

// Colours that the block is too short for are black.
LoadStatus readPalette(FILE* stream, u32 rowsStart, u8* palette)
{
    if (rowsStart < imageHeaderBytes)
        return refuse(loadWrongFormat, "its rows begin at byte %u, within the header", rowsStart);
    const size_t size = rowsStart - imageHeaderBytes;
    Buffer block;
    if (!block.allocate(size))
        return refuseMemory();
    if (!readExactly(stream, block.bytes, size))
        return refuse(loadWrongFormat, "the file ends in its palette");
    for (size_t i = 0; i < paletteColours; i++) {
        const u8 black[colourBytes] = {};
        const u8* colour = (i + 1) * colourBytes <= size ? block.bytes + i * colourBytes : black;
        setColour(palette, i, colour[0], colour[1], colour[2]);
    }
    const u64 colours = std::min<u64>(size / colourBytes, paletteColours);
    remarkCount(Gravity::harmless, paletteColours - colours, "colours that the file lacks are black");
    return loadSuccess;
}

template <const SophisFormat& format>
LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (probedMark(request.path, format.mark, format.description) == nullptr)
        return loadWrongFormat;
    File file;
    u8 header[mostHeaderBytes];
    const LoadStatus opened = openFile(request.path, file, header, format.headerBytes, loadWrongFormat);
    if (opened != loadSuccess)
        return opened;
    const u32 width = bigEndian16(header + format.atWidth);
    const u32 height = bigEndian16(header + format.atHeight);
    if (!isPictureSize(width, height))
        return refuseSize(loadWrongFormat, width, height);

    u32 rowBytes = bilevelRowBytes(width);
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
    remarkFileSize(file.stream, u64{rowBytes} * height, width, height);
    handOver(file, threadState().loom.sophis, height, rowBytes);
    return loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.sophis, rows, count, bytesPerRow, BitOrder::asStored);
}

LoadStatus endLoad()
{
    release(threadState().loom.sophis);
    return loadSuccess;
}

} // namespace

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
