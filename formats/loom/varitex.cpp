// Varitex jacquard cards (PAT). Numbers are little-endian.
//
//   0   height (16 bits), 6 free bytes
//   8   the picks as they are woven, as long as the file's size makes them; the first end in a byte's lowest bit
#include "formats/loom/card_file.h"
#include "framework/thread_state.h"

namespace
{

constexpr u32 headerBytes = 8;

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    File file;
    u8 header[headerBytes];
    const LoadStatus status = openNamed(request.path, "pat", file, header, sizeof header);
    if (status != loadSuccess)
        return status;
    const u32 height = littleEndian16(header);
    if (height == 0)
        return refuse(loadWrongFormat, "its header tells a height of 0");
    const i64 size = regularFileSize(file.stream) - headerBytes;
    if (size < 0)
        return refuse(loadWrongFormat, "it is no regular file");
    if (size % height != 0)
        return refuse(loadWrongFormat, "its picks take %lld bytes, no multiple of its height of %u",
                      static_cast<long long>(size), height);
    const i64 rowBytes = size / height;
    if (!isPictureSize(8 * static_cast<u64>(rowBytes), height))
        return refuseSize(loadWrongFormat, 8 * rowBytes, height);
    const auto bytes = static_cast<u32>(rowBytes);
    return keepCards(file, threadState().loom.chinese.rows, {"PAT", 8 * bytes, height, bytes}, image);
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.chinese.rows, rows, count, bytesPerRow, BitOrder::reversed);
}

LoadStatus endLoad()
{
    release(threadState().loom.chinese.rows);
    return loadSuccess;
}

} // namespace

void registerLoadVaritexPAT()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
