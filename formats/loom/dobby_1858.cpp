// Card files of the 1858III dobby.
//
//   picks     5 bytes each: 40 shafts, the first in a byte's lowest bit
//   trailer   10 bytes: 5 unknown, 3 zeros, and the number of picks, big-endian or in one make little-endian
#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/thread_state.h"

constexpr u32 shafts = 40;
constexpr u32 pickBytes = shafts / 8;
constexpr i64 trailerBytes = 10;
constexpr i64 mostBytesOfNoFile = 20;
constexpr size_t atZeros = 5;
constexpr size_t atPicks = 8;

static bool isDb1Name(const char* path)
{
    const size_t length = strlen(path);
    return length >= 5 && path[length - 4] == '.' && tolowerAZ(path[length - 3]) == 'd' &&
           tolowerAZ(path[length - 2]) == 'b' && path[length - 1] == '1';
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!isDb1Name(request.path) || loadImgCheckHeader(request.path) == nullptr)
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
    Dobby1858State& state = threadState().loom.dobby1858;
    handOver(file, state.file);
    state.rowsLeft = picks;
    return loadSuccess;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    Dobby1858State& state = threadState().loom.dobby1858;
    if (state.file == nullptr)
        return loadBadData;
    return readStoredRows(state.file, state.rowsLeft, rows, count, pickBytes, bytesPerRow, BitOrder::reversed);
}

static LoadStatus endLoad()
{
    closeSlot(threadState().loom.dobby1858.file);
    return loadSuccess;
}

void registerLoad1858III()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
