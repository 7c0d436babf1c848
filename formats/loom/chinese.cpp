// Chinese controllers of jacquards and dobbies: a header, then the picks as they are woven. Numbers are little-endian
// unless it is said otherwise.
//
//            header     width              height     row                    first end in
//   Varitex  8 bytes    8 x row            16 at 0    (size - 8) / height    lowest bit
//   Zhu PAT  58 bytes   16 at 6            16 at 8    of 16-bit units        highest bit
//   Zhu STI  34 bytes   16 at 32           16 at 3    of bytes               lowest bit
//   WBF      a row      16 at 6 x 8 at 4   16 at 0    width / 8 bytes        lowest bit
//   WB       a row      16 x big at 15     16 at 2    width / 8 bytes        lowest bit
//   ORG      8 bytes    32 at 0            32 at 4    none: end after end, a byte a pick, a lift is not zero
#include "formats/loom/card_file.h"
#include "framework/path.h"
#include "framework/thread_state.h"

constexpr u32 varitexHeaderBytes = 8;
constexpr u32 zhuPatHeaderBytes = 58;
constexpr u32 zhuStiHeaderBytes = 34;
constexpr u32 orgHeaderBytes = 8;
constexpr i64 stiPageBytes = 4096;
constexpr i64 stiFirstPageBytes = 1024;
constexpr i64 wbfProbedBytes = 8;
constexpr i64 wbProbedBytes = 17;

static LoadStatus tryLoadVaritex(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "pat"))
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    u8 header[varitexHeaderBytes];
    if (!readExactly(file.stream, header, sizeof header))
        return loadWrongFormat;
    const u32 height = littleEndian16(header);
    const i64 size = regularFileSize(file.stream) - varitexHeaderBytes;
    if (height == 0 || size < 0 || size % height != 0)
        return loadWrongFormat;
    const u64 rowBytes = static_cast<u64>(size) / height;
    if (!isPictureSize(8 * rowBytes, height))
        return loadWrongFormat;
    const auto bytes = static_cast<u32>(rowBytes);
    return keepCards(file, threadState().loom.chinese.rows, {"PAT", 8 * bytes, height, bytes}, image);
}

static LoadStatus tryLoadZhuPat(const LoadRequest& request, ImageInfo& image)
{
    const char mark[] = {'T', 'x', 'S', 'T'};
    const u8* cached = loadImgCheckHeader(request.path);
    if (!hasExtension(request.path, "pat") || cached == nullptr || loadImgLastFilesize() < zhuPatHeaderBytes ||
        memcmp(cached, mark, sizeof mark) != 0)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    u8 header[zhuPatHeaderBytes];
    if (!readExactly(file.stream, header, sizeof header))
        return loadWrongFormat;
    const u32 width = littleEndian16(header + 6);
    const u32 height = littleEndian16(header + 8);
    const u32 rowBytes = 2 * ((width + 15) / 16);
    if (!isPictureSize(width, height) || regularFileSize(file.stream) < zhuPatHeaderBytes + i64{rowBytes} * height)
        return loadWrongFormat;
    return keepCards(file, threadState().loom.chinese.rows, {"Motong PAT", width, height, rowBytes, pictureOrientation},
                     image);
}

static LoadStatus tryLoadZhuSti(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "sti"))
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    u8 header[zhuStiHeaderBytes];
    if (!readExactly(file.stream, header, sizeof header))
        return loadWrongFormat;
    const u32 width = littleEndian16(header + 32);
    const u32 height = littleEndian16(header + 3);
    if (!isPictureSize(width, height) ||
        regularFileSize(file.stream) != stiFirstPageBytes + stiPageBytes * littleEndian16(header))
        return loadWrongFormat;
    return keepCards(file, threadState().loom.chinese.rows, {"Motong STI", width, height, bilevelRowBytes(width)},
                     image);
}

// WBF and WB: the header takes the place of a row.
static LoadStatus keepRowsBehindRow(const LoadRequest& request, const char* description, u64 width, u32 height,
                                    ImageInfo& image)
{
    const u64 rowBytes = width / 8;
    if (!isPictureSize(width, height) || static_cast<u64>(loadImgLastFilesize()) != (u64{height} + 1) * rowBytes)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path) || fseeko(file.stream, static_cast<off_t>(rowBytes), SEEK_SET) != 0)
        return loadCannotRead;
    return keepCards(file, threadState().loom.chinese.rows,
                     {description, static_cast<u32>(width), height, static_cast<u32>(rowBytes), pictureOrientation},
                     image);
}

static LoadStatus tryLoadWbf(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = loadImgCheckHeader(request.path);
    if (!hasExtension(request.path, "wbf") || header == nullptr || loadImgLastFilesize() < wbfProbedBytes)
        return loadWrongFormat;
    const u64 width = u64{littleEndian16(header + 6)} * header[4];
    return keepRowsBehindRow(request, "WBF Chinese", width, littleEndian16(header), image);
}

static LoadStatus tryLoadWb(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = loadImgCheckHeader(request.path);
    if (!hasExtension(request.path, "wb", 4) || header == nullptr || loadImgLastFilesize() < wbProbedBytes)
        return loadWrongFormat;
    return keepRowsBehindRow(request, "WB Chinese", u64{16} * bigEndian16(header + 15), littleEndian16(header + 2),
                             image);
}

static LoadStatus tryLoadOrg(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = loadImgCheckHeader(request.path);
    const i64 size = loadImgLastFilesize();
    if (!hasExtension(request.path, "org") || header == nullptr || size < orgHeaderBytes)
        return loadWrongFormat;
    const u32 width = littleEndian32(header);
    const u32 height = littleEndian32(header + 4);
    if (!isPictureSize(width, height) || size != i64{width} * height + orgHeaderBytes)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path) || fseeko(file.stream, orgHeaderBytes, SEEK_SET) != 0)
        return loadCannotRead;
    threadState().loom.chinese.columns = width;
    return keepCards(file, threadState().loom.chinese.rows, {"Most Dobby weave", width, height, width}, image);
}

static LoadStatus loadVaritex(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.chinese.rows, rows, count, bytesPerRow, BitOrder::reversed);
}

// Of a row that the file cuts short nothing is delivered, unless the rows are read at once.
template <BitOrder order>
static LoadStatus loadWholeRows(u8* rows, u32 count, u32 bytesPerRow)
{
    RowFile& slot = threadState().loom.chinese.rows;
    if (bytesPerRow == slot.rowBytes)
        return loadRows(slot, rows, count, bytesPerRow, order);
    const LoadStatus status = loadRowStarts(slot, slot.rowBytes, slot.rowBytes, rows, count, bytesPerRow);
    if (status == loadSuccess && order == BitOrder::reversed)
        reverseBits(rows, u64{count} * bytesPerRow, false);
    return status;
}

// A tile of an ORG picture: 64 ends of 16 picks.
constexpr u64 tileColumns = 64;
constexpr u64 tilePicks = 16;
typedef u8 PicksOfEnd __attribute__((vector_size(16)));
typedef u16 Pairs __attribute__((vector_size(16)));
typedef u32 Fours __attribute__((vector_size(16)));

// The bits of 8 neighbouring ends: a byte a pick.
static PicksOfEnd eightEnds(const u8* columns, u64 height)
{
    PicksOfEnd bits = {};
    PicksOfEnd bit = bits + u8{0x80};
    for (u32 i = 0; i < 8; i++, bit >>= 1) {
        PicksOfEnd lifts;
        memcpy(&lifts, columns + i * height, sizeof lifts);
        const PicksOfEnd isLifted = (PicksOfEnd)(lifts != 0);
        bits |= isLifted & bit;
    }
    return bits;
}

// Reads 16 picks of each of 64 columns and leaves 8 bytes a pick, by merging neighbouring bytes, pairs and fours.
static void turnTile(const u8* columns, u64 height, u8* tile)
{
    Pairs pairs[8];
    for (u64 i = 0; i < 4; i++) {
        const PicksOfEnd left = eightEnds(columns + 16 * i * height, height);
        const PicksOfEnd right = eightEnds(columns + (16 * i + 8) * height, height);
        pairs[i] = (Pairs)__builtin_shufflevector(left, right, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
        pairs[i + 4] =
            (Pairs)__builtin_shufflevector(left, right, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
    }
    for (u64 half = 0; half < 2; half++) {
        const Pairs* of = pairs + 4 * half;
        Fours fours[4];
        for (u64 i = 0; i < 2; i++) {
            const Pairs left = of[2 * i];
            const Pairs right = of[2 * i + 1];
            fours[i] = (Fours)__builtin_shufflevector(left, right, 0, 8, 1, 9, 2, 10, 3, 11);
            fours[i + 2] = (Fours)__builtin_shufflevector(left, right, 4, 12, 5, 13, 6, 14, 7, 15);
        }
        for (u64 i = 0; i < 2; i++) {
            const Fours left = fours[2 * i];
            const Fours right = fours[2 * i + 1];
            const Fours rows[2] = {__builtin_shufflevector(left, right, 0, 4, 1, 5),
                                   __builtin_shufflevector(left, right, 2, 6, 3, 7)};
            memcpy(tile + 64 * half + 32 * i, rows, sizeof rows);
        }
    }
}

// Writes so many columns, the first of which stands at a multiple of 64 pixels.
static void turnColumns(const u8* columns, u64 count, u64 height, u8* rows, u64 firstColumn, u64 bytesPerRow)
{
    for (u64 pick = 0; pick < height; pick += tilePicks) {
        const u64 picks = std::min(tilePicks, height - pick);
        for (u64 column = 0; column < count; column += tileColumns) {
            u8 tile[tilePicks * tileColumns / 8];
            turnTile(columns + column * height + pick, height, tile);
            const u64 offset = (firstColumn + column) / 8;
            if (offset >= bytesPerRow)
                break;
            u8* row = rows + pick * bytesPerRow + offset;
            const u64 room = bytesPerRow - offset;
            for (u64 i = 0; i < picks; i++, row += bytesPerRow) {
                if (room >= 8)
                    memcpy(row, tile + 8 * i, 8);
                else
                    memcpy(row, tile + 8 * i, room);
            }
        }
    }
}

static LoadStatus loadOrg(u8* rows, u32 count, u32 bytesPerRow)
{
    constexpr u64 blockBytes = 1 << 20;
    ChineseState& state = threadState().loom.chinese;
    if (state.rows.file == nullptr)
        return loadBadData;
    clearRows(rows, count, bytesPerRow);
    const u64 height = state.rows.rowsLeft;
    if (count != height)
        return loadDecoderError;
    if (height == 0) // all rows of another loader's file were delivered
        return loadSuccess;
    // As many columns at once as stay in the cache; those behind the last one stay clear.
    const u64 tiles = (u64{state.columns} + tileColumns - 1) / tileColumns;
    const u64 columnsAtOnce = std::clamp<u64>(blockBytes / (height * tileColumns), 1, tiles) * tileColumns;
    Buffer block;
    if (!block.allocate(columnsAtOnce * height + tilePicks))
        return loadOutOfMemory;
    for (u64 column = 0; column < state.columns; column += columnsAtOnce) {
        const u64 columns = std::min<u64>(columnsAtOnce, state.columns - column);
        if (!readExactly(state.rows.file, block.bytes, columns * height))
            return loadBadData;
        memset(block.bytes + columns * height, 0, (columnsAtOnce - columns) * height);
        turnColumns(block.bytes, columns, height, rows, column, bytesPerRow);
    }
    return loadSuccess;
}

static LoadStatus endLoad()
{
    release(threadState().loom.chinese.rows);
    return loadSuccess;
}

void registerLoadVaritexPAT()
{
    registerEntries<tryLoadVaritex, loadVaritex, endLoad>();
}

void registerLoadMotongPAT()
{
    registerEntries<tryLoadZhuPat, loadWholeRows<BitOrder::asStored>, endLoad>();
}

void registerLoadMotongSTI()
{
    registerEntries<tryLoadZhuSti, loadWholeRows<BitOrder::reversed>, endLoad>();
}

void registerLoadWBF()
{
    registerEntries<tryLoadWbf, loadWholeRows<BitOrder::reversed>, endLoad>();
}

void registerLoadWB()
{
    registerEntries<tryLoadWb, loadWholeRows<BitOrder::reversed>, endLoad>();
}

void registerLoadORG()
{
    registerEntries<tryLoadOrg, loadOrg, endLoad>();
}
