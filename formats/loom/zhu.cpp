// Zhu jacquard cards: a header, then the picks as they are woven. Numbers are little-endian, of 16 bits.
//
//         header     begins with   width   height   row of            first end in   file
//   PAT   58 bytes   "TxST"        at 6    at 8     units of 16 bits  highest bit    as long as it has to be, or longer
//   STI   34 bytes   its pages     at 32   at 3     bytes             lowest bit     1024 bytes and 4096 for each page
#include "formats/loom/card_file.h"
#include "framework/thread_state.h"

namespace
{

constexpr std::string_view patMark = "TxST";
constexpr u32 patHeaderBytes = 58;
constexpr size_t atPatWidth = 6;
constexpr size_t atPatHeight = 8;

constexpr u32 stiHeaderBytes = 34;
constexpr size_t atStiHeight = 3;
constexpr size_t atStiWidth = 32;
constexpr i64 stiPageBytes = 4096;
constexpr i64 stiFirstPageBytes = 1024;

LoadStatus tryLoadPat(const LoadRequest& request, ImageInfo& image)
{
    if (cardHeader(request.path, "pat", patHeaderBytes, patMark) == nullptr)
        return loadWrongFormat;
    File file;
    u8 header[patHeaderBytes];
    const LoadStatus status = openFile(request.path, file, header, sizeof header, loadWrongFormat);
    if (status != loadSuccess)
        return status;
    const u32 width = littleEndian16(header + atPatWidth);
    const u32 height = littleEndian16(header + atPatHeight);
    if (!isPictureSize(width, height))
        return refuseSize(loadWrongFormat, width, height);
    const u32 rowBytes = 2 * ((width + 15) / 16);
    const i64 size = regularFileSize(file.stream);
    if (size < patHeaderBytes + i64{rowBytes} * height)
        return refuseFileSize(loadWrongFormat, width, height, size);
    return keepCards(file, threadState().loom.chinese.rows, {"Motong PAT", width, height, rowBytes, pictureOrientation},
                     image);
}

LoadStatus tryLoadSti(const LoadRequest& request, ImageInfo& image)
{
    File file;
    u8 header[stiHeaderBytes];
    const LoadStatus status = openNamed(request.path, "sti", file, header, sizeof header);
    if (status != loadSuccess)
        return status;
    const u32 width = littleEndian16(header + atStiWidth);
    const u32 height = littleEndian16(header + atStiHeight);
    if (!isPictureSize(width, height))
        return refuseSize(loadWrongFormat, width, height);
    const u32 pages = littleEndian16(header);
    const i64 size = regularFileSize(file.stream);
    if (size != stiFirstPageBytes + stiPageBytes * pages)
        return refuse(loadWrongFormat, "its header tells %u pages, the file holds %lld bytes", pages,
                      static_cast<long long>(size));
    return keepCards(file, threadState().loom.chinese.rows,
                     {.description = "Motong STI",
                      .width = width,
                      .height = height,
                      .rowBytes = bilevelRowBytes(width),
                      .isPadded = true},
                     image);
}

template <BitOrder order>
LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadWholeRows(threadState().loom.chinese.rows, rows, count, bytesPerRow, order);
}

LoadStatus endLoad()
{
    release(threadState().loom.chinese.rows);
    return loadSuccess;
}

} // namespace

void registerLoadMotongPAT()
{
    registerEntries<tryLoadPat, loadBand<BitOrder::asStored>, endLoad>();
}

void registerLoadMotongSTI()
{
    registerEntries<tryLoadSti, loadBand<BitOrder::reversed>, endLoad>();
}
