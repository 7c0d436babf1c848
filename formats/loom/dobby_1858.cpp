// Card files of the 1858III dobby.
//
//   picks     5 bytes each: 40 shafts, the first in a byte's lowest bit
//   trailer   10 bytes: 5 unknown, 3 zeros, and the number of picks, big-endian or in one make little-endian
#include "framework/loader.h"
#include "framework/path.h"
#include "framework/rows.h"
#include "framework/thread_state.h"

constexpr u32 shafts = 40;
constexpr u32 pickBytes = shafts / 8;
constexpr i64 trailerBytes = 10;
constexpr i64 mostBytesOfNoFile = 20;
constexpr size_t atZeros = 5;
constexpr size_t atPicks = 8;

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "db1") || loadImgCheckHeader(request.path) == nullptr)
        return loadWrongFormat;
    const i64 size = loadImgLastFilesize();
    if (size <= mostBytesOfNoFile)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    u8 trailer[trailerBytes];
    if (fseeko(file.stream, size - trailerBytes, SEEK_SET) != 0 || !readExactly(file.stream, trailer, sizeof trailer))
        return loadWrongFormat;

    auto fits = [size](u32 picks) { return i64{pickBytes} * picks + trailerBytes == size; };
    u32 picks = bigEndian16(trailer + atPicks);
    const bool isLittleEndian = !fits(picks);
    if (isLittleEndian)
        picks = littleEndian16(trailer + atPicks);
    if ((trailer[atZeros] | trailer[atZeros + 1] | trailer[atZeros + 2]) != 0 || !fits(picks))
        return loadWrongFormat;

    rewind(file.stream);
    image.kind = kindBilevel;
    image.width = shafts;
    image.height = picks;
    reportImage(image, isLittleEndian ? "Changsu 1858III dobby" : "Staubli 1858III dobby", loomOrientation);
    handOver(file, threadState().loom.dobby1858, picks, pickBytes);
    return loadSuccess;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.dobby1858, rows, count, bytesPerRow, BitOrder::reversed);
}

static LoadStatus endLoad()
{
    release(threadState().loom.dobby1858);
    return loadSuccess;
}

void registerLoad1858III()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
