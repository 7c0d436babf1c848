// AVL dobby files (J1P).
//
//   header   256 bytes: "_", width at 9, height at 11, both big-endian
//   picks    the first shaft in a byte's lowest bit
#include "framework/loader.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/rows.h"
#include "framework/thread_state.h"

namespace
{

constexpr u8 mark = '_';
constexpr u32 headerSize = 256;
constexpr size_t atWidth = 9;
constexpr size_t atHeight = 11;

// A file of the right name and another content counts as damaged.
LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "j1p", 4))
        return refuseName("j1p");
    File file;
    u8 header[headerSize];
    const LoadStatus status = openFile(request.path, file, header, sizeof header, loadCannotRead);
    if (status != loadSuccess)
        return status;
    if (header[0] != mark)
        return refuse(loadBadData, "it does not begin with an underscore as AVL files do");
    const u32 width = bigEndian16(header + atWidth);
    const u32 height = bigEndian16(header + atHeight);
    if (!isPictureSize(width, height))
        return refuseSize(loadBadData, width, height);
    remarkFileSize(file.stream, u64{bilevelRowBytes(width)} * height, width, height);
    reportBilevel(image, width, height, "AVL J1P", loomOrientation);
    handOver(file, threadState().loom.avl, height, bilevelRowBytes(width));
    return loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.avl, rows, count, bytesPerRow, BitOrder::reversed);
}

LoadStatus endLoad()
{
    release(threadState().loom.avl);
    return loadSuccess;
}

} // namespace

void registerLoadAVLJ1P()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
