#include "formats/raster/palette_file.h"

#include "framework/bytes.h"
#include "framework/thread_state.h"

void keepPaletteFile(File& file, FormatId format, u32 colours, u32 variant)
{
    PaletteFileState& state = threadState().raster.palette;
    handOver(file, state.file);
    state.format = format;
    state.colours = colours;
    state.coloursDecoded = 0;
    state.variant = variant;
}

void reportPaletteSize(ImageInfo& image, u32 colours, u32 width)
{
    image.height = (colours + width - 1) / width;
    image.width = image.height == 1 ? colours : width;
}

LoadStatus deliverColourNumbers(u8* rows, u32 count, u32 bytesPerRow, u32 colours)
{
    const u64 size = u64{count} * bytesPerRow;
    if (size > 0)
        memset(rows, 0, size);
    for (u32 i = 0; i < std::min<u64>(size, colours); i++)
        rows[i] = static_cast<u8>(i);
    return loadSuccess;
}

LoadStatus endPaletteFile()
{
    closeSlot(threadState().raster.palette.file);
    return loadSuccess;
}
