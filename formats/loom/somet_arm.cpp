// Cards of Somet machines (ARM): picks of 10 bytes without a header. Each byte has four columns in its lower half, the
// leftmost in the lowest bit.
#include <algorithm>

#include "framework/loader.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/processor.h"
#include "framework/rows.h"
#include "framework/thread_state.h"

namespace
{

constexpr u32 recordBytes = 10;
constexpr u32 rowBytes = 5;
constexpr u32 columns = 8 * rowBytes;
constexpr u32 leastPicks = 2;

// The upper half of an even byte shows through in the columns of the odd one.
inline void packPairs(u8* __restrict packed, const u8* __restrict halves, size_t packedBytes)
{
    for (size_t i = 0; i < packedBytes; i++)
        packed[i] = static_cast<u8>(halves[2 * i + 1] << 4 | halves[2 * i]);
}

#if defined(__x86_64__)
// The same, which the compiler makes of longer words.
__attribute__((target("avx2"))) void packLongPairs(u8* __restrict packed, const u8* __restrict halves,
                                                   size_t packedBytes)
{
    packPairs(packed, halves, packedBytes);
}
#endif

void packHalves(u8* packed, const u8* halves, size_t packedBytes)
{
#if defined(__x86_64__)
    if (processorHas(processorAvx2)) {
        packLongPairs(packed, halves, packedBytes);
        return;
    }
#endif
    packPairs(packed, halves, packedBytes);
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    // A file that cannot be looked at is judged by the size of the one before.
    const u8* probed = loadImgCheckHeader(request.path);
    const bool isProbed = probed != nullptr;
    const i64 size = loadImgLastFilesize();
    if (isProbed && size % recordBytes != 0)
        return refuse(loadWrongFormat, "its size, %lld, is no multiple of %u", static_cast<long long>(size),
                      recordBytes);
    if (!hasExtension(request.path, "arm"))
        return refuseName("arm");
    const i64 picks = size / recordBytes;
    if (picks < leastPicks || picks > mostSide)
        return refuse(loadWrongFormat, "its size is that of %lld picks, which are to be %u to %u",
                      static_cast<long long>(picks), leastPicks, mostSide);
    File file;
    const LoadStatus status = openFile(request.path, file);
    if (status != loadSuccess)
        return status;

    // Nothing else tells a program from any other file of such a size.
    constexpr i64 probedBytes = 256;
    if (isProbed && std::any_of(probed, probed + std::min(size, probedBytes), [](u8 byte) { return byte > 0x0F; }))
        remark(Gravity::grave, "bytes of its picks hold more than four columns");
    image.palette[0] = 0;
    reportBilevel(image, columns, static_cast<u32>(picks), "Somet ARM", loomOrientation);
    handOver(file, threadState().loom.sometArm, image.height, recordBytes);
    return loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    constexpr u32 picksAtOnce = 4096; // a whole number of pages
    RowFile& slot = threadState().loom.sometArm;
    if (slot.file == nullptr)
        return refuseUnopened();
    const u32 wanted = std::min(count, slot.rowsLeft);
    u8 records[picksAtOnce * recordBytes];
    u8 packed[picksAtOnce * rowBytes];
    u32 done = 0;
    LoadStatus status = wanted < count ? refuseRowsBehindPicture() : loadSuccess;
    while (done < wanted) {
        const size_t asked = std::min(picksAtOnce, wanted - done);
        const size_t picks = fread(records, recordBytes, asked, slot.file);
        u8* destination = rows + u64{done} * bytesPerRow;
        if (bytesPerRow == rowBytes) {
            packHalves(destination, records, picks * rowBytes);
        } else {
            packHalves(packed, records, picks * rowBytes);
            for (size_t i = 0; i < picks; i++)
                deliverRow(destination + i * bytesPerRow, packed + i * rowBytes, rowBytes, bytesPerRow);
        }
        reverseBits(destination, picks * bytesPerRow, false);
        done += static_cast<u32>(picks);
        slot.rowsLeft -= static_cast<u32>(picks);
        if (picks < asked) {
            status = refuseEarlyEnd(slot.rowsLeft);
            break;
        }
    }
    if (status != loadSuccess) // the bits stay as the file has them
        reverseBits(rows, u64{done} * bytesPerRow, false);
    return status;
}

LoadStatus endLoad()
{
    release(threadState().loom.sometArm);
    return loadSuccess;
}

} // namespace

void registerLoadSometARM()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
