// Viable cards (PUN).
//
//   header   512 bytes: height at 16, width less 64 at 18, both little-endian
//   picks    the leftmost end in a byte's lowest bit
#include "formats/loom/card_file.h"
#include "framework/thread_state.h"

namespace
{

constexpr u32 headerSize = 512;
constexpr size_t atHeight = 16;
constexpr size_t atWidth = 18;
constexpr u32 leastWidth = 64;

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    File file;
    u8 header[headerSize];
    const LoadStatus status = openNamed(request.path, "pun", file, header, sizeof header);
    if (status != loadSuccess)
        return status;
    const u32 width = leastWidth + littleEndian16(header + atWidth);
    const u32 height = littleEndian16(header + atHeight);
    if (!isPictureSize(width, height))
        return refuseSize(loadWrongFormat, width, height);
    return keepCards(file, threadState().loom.viable, {"Viable card", width, height, bilevelRowBytes(width)}, image);
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.viable, rows, count, bytesPerRow, BitOrder::reversed);
}

LoadStatus endLoad()
{
    release(threadState().loom.viable);
    return loadSuccess;
}

} // namespace

void registerLoadPUN()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
