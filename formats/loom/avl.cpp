// AVL dobby files (J1P).
//
//   header   256 bytes: "_", width at 9, height at 11, both big-endian
//   picks    the first shaft in a byte's lowest bit
#include "formats/loom/card_file.h"
#include "framework/path.h"
#include "framework/thread_state.h"

constexpr u32 headerSize = 256;
constexpr size_t atWidth = 9;
constexpr size_t atHeight = 11;

// A file of the right name and another content counts as damaged.
static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "j1p", 4))
        return loadWrongFormat;
    File file;
    u8 header[headerSize];
    if (!file.open(request.path) || !readExactly(file.stream, header, sizeof header))
        return loadCannotRead;
    const u32 width = bigEndian16(header + atWidth);
    const u32 height = bigEndian16(header + atHeight);
    if (header[0] != '_' || !isPictureSize(width, height))
        return loadBadData;
    reportBilevel(image, width, height, "AVL J1P", loomOrientation);
    handOver(file, threadState().loom.avl, height, bilevelRowBytes(width));
    return loadSuccess;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.avl, rows, count, bytesPerRow, BitOrder::reversed);
}

static LoadStatus endLoad()
{
    release(threadState().loom.avl);
    return loadSuccess;
}

void registerLoadAVLJ1P()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
