// Card files of the 1858III dobby.
//
//   picks     5 bytes each: 40 shafts, the first in a byte's lowest bit
//   trailer   10 bytes: 5 unknown, 3 zeros, and the number of picks, big-endian or in one make little-endian
#include "framework/loader.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/rows.h"
#include "framework/thread_state.h"

namespace
{

constexpr u32 shafts = 40;
constexpr u32 pickBytes = shafts / 8;
constexpr i64 trailerBytes = 10;
constexpr i64 leastFile = 21;
constexpr size_t atZeros = 5;
constexpr size_t atPicks = 8;

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "db1"))
        return refuseName("db1");
    if (probedHeader(request.path, leastFile) == nullptr)
        return loadWrongFormat;
    const i64 size = loadImgLastFilesize();
    File file;
    const LoadStatus opened = openFile(request.path, file);
    if (opened != loadSuccess)
        return opened;
    u8 trailer[trailerBytes];
    if (fseeko(file.stream, size - trailerBytes, SEEK_SET) != 0 || !readExactly(file.stream, trailer, sizeof trailer))
        return refuse(loadWrongFormat, "its trailer cannot be read");

    auto fits = [size](u32 picks) { return i64{pickBytes} * picks + trailerBytes == size; };
    u32 picks = bigEndian16(trailer + atPicks);
    const bool isLittleEndian = !fits(picks);
    if (isLittleEndian)
        picks = littleEndian16(trailer + atPicks);
    if ((trailer[atZeros] | trailer[atZeros + 1] | trailer[atZeros + 2]) != 0)
        return refuse(loadWrongFormat, "its trailer is not that of an 1858III card file");
    if (!fits(picks))
        return refuse(loadWrongFormat, "its trailer tells %u picks, %lld bytes hold %lld",
                      bigEndian16(trailer + atPicks), static_cast<long long>(size),
                      static_cast<long long>((size - trailerBytes) / pickBytes));

    rewind(file.stream);
    reportBilevel(image, shafts, picks, isLittleEndian ? "Changsu 1858III dobby" : "Staubli 1858III dobby",
                  loomOrientation);
    handOver(file, threadState().loom.dobby1858, picks, pickBytes);
    return loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.dobby1858, rows, count, bytesPerRow, BitOrder::reversed);
}

LoadStatus endLoad()
{
    release(threadState().loom.dobby1858);
    return loadSuccess;
}

} // namespace

void registerLoad1858III()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
