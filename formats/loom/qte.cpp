// Raw jacquard pictures: QTE, a strip of such rows named Motif, and QTZ, an archive that holds a QTE file.
//
//   QTE     width (2) and height (2), little-endian, in a first row of their own; a row has width / 8 bytes, so that
//           the pixels of a started byte are missing
//   Motif   rows, then 20 characters: first bit and last bit of a row that belong to the picture, counted from 1, bytes
//           of a row, height, in decimal
//
// Rows are stored as they are delivered, first row first.
#include <sys/stat.h>
#include <unistd.h>

#include "framework/bytes.h"
#include "framework/command.h"
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/path.h"
#include "framework/thread_state.h"

constexpr u32 largestSide = 65520;
constexpr i64 qteHeaderBytes = 4;
constexpr size_t leastArchiveName = 6;
constexpr u8 archiveMark[] = {'P', 'K', 3, 4};
constexpr size_t extensionLength = 3;

constexpr i64 smallestMotif = 22;
constexpr size_t fieldBytes = 5;
constexpr size_t fieldCount = 4;
constexpr i32 largestOffset = 7;

static bool isSide(i64 pixels)
{
    return pixels >= 1 && pixels <= largestSide;
}

static void removeUnpacked(char* name)
{
    if (name[0] != 0)
        unlink(name);
    name[0] = 0;
}

static void release(QteState& state)
{
    release(state.rows);
    removeUnpacked(state.tempName);
}

// The file that an archive was unpacked to, until the load has succeeded.
struct UnpackedMember {
    char name[partNameBytes] = "";

    UnpackedMember() = default;
    UnpackedMember(const UnpackedMember&) = delete;
    UnpackedMember& operator=(const UnpackedMember&) = delete;
    ~UnpackedMember() { removeUnpacked(name); }
};

static void succeed(ImageInfo& image, const char* description, u32 width, u32 height, File& file, u32 rowBytes,
                    u32 bitOffset)
{
    reportImage(image, description, loomOrientation);
    image.kind = kindBilevel;
    image.width = width;
    image.height = height;
    image.palette[0] = 0;
    QteState& state = threadState().loom.qte;
    release(state);
    handOver(file, state.rows, height, rowBytes);
    state.bitOffset = bitOffset;
    state.width = width;
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "qte"))
        return loadWrongFormat;
    const u8* header = loadImgCheckHeader(request.path);
    if (header == nullptr || loadImgLastFilesize() < qteHeaderBytes)
        return loadWrongFormat;
    const u32 width = littleEndian16(header);
    const u32 height = littleEndian16(header + 2);
    const u32 rowBytes = width / 8;
    if (!isSide(width) || !isSide(height))
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    if (request.wantPalette != 0 && fseeko(file.stream, rowBytes, SEEK_SET) != 0)
        return loadWrongFormat;
    succeed(image, "QTE", width, height, file, rowBytes, 0);
    return loadSuccess;
}

static bool isBlankOrDigit(u8 c)
{
    return c == ' ' || (c >= '\t' && c <= '\r') || (c >= '0' && c <= '9');
}

static LoadStatus tryLoadMotif(const LoadRequest& request, ImageInfo& image)
{
    if (loadImgCheckHeader(request.path) == nullptr || loadImgLastFilesize() < smallestMotif ||
        !hasExtension(request.path, "mot"))
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    u8 trailer[fieldCount * fieldBytes];
    if (fseeko(file.stream, -static_cast<i64>(sizeof trailer), SEEK_END) != 0 ||
        !readExactly(file.stream, trailer, sizeof trailer) ||
        !std::all_of(trailer, trailer + sizeof trailer, isBlankOrDigit))
        return loadWrongFormat;
    auto field = [&trailer](size_t number) { return decimalNumber(trailer + number * fieldBytes, fieldBytes); };
    const i32 offset = field(0) - 1;
    const i32 width = field(1) - offset;
    const i32 rowBytes = field(2);
    const i32 height = field(3);
    if (offset < 0 || offset > largestOffset || !isSide(width) || !isSide(height) || 8 * rowBytes < offset + width)
        return loadWrongFormat;
    rewind(file.stream);
    succeed(image, "QTE Motif", static_cast<u32>(width), static_cast<u32>(height), file, static_cast<u32>(rowBytes),
            static_cast<u32>(offset));
    return loadSuccess;
}

// A link out of the archive does not count, nor does somebody else's file.
static bool isUnpacked(const char* name)
{
    struct stat info;
    return lstat(name, &info) == 0 && S_ISREG(info.st_mode) && info.st_uid == geteuid() && access(name, R_OK) == 0;
}

// Whether somebody has put something else than a file where the archive will be unpacked.
static bool isOccupied(const char* name)
{
    struct stat info;
    return lstat(name, &info) == 0 && !S_ISREG(info.st_mode);
}

// The names that the member of an archive may have, most likely first: the archive's own with a "Z" turned into an "E".
static void nameMember(char* name, const char* archive, u32 number)
{
    static const char* const extensions[] = {"QTE", "qte"};
    char* end = name + strlen(name);
    if (number == 0)
        end[-1] = archive[strlen(archive) - 1] == 'Z' ? 'E' : 'e';
    else
        memcpy(end - extensionLength, extensions[number - 1], extensionLength);
}

static LoadStatus tryLoadArchive(const LoadRequest& request, ImageInfo& image)
{
    constexpr u32 nameCount = 3;
    const char* folder = llibGetTmpDir();
    const char* unzip = llibGetUnzipCommand();
    if (folder == nullptr || unzip == nullptr || !hasExtension(request.path, "qtz", leastArchiveName))
        return loadWrongFormat;
    const u8* header = loadImgCheckHeader(request.path);
    char name[partNameBytes];
    const int length = snprintf(name, sizeof name, "%s/%s", folder, baseName(request.path));
    if (header == nullptr || loadImgLastFilesize() < static_cast<i64>(sizeof archiveMark) ||
        memcmp(header, archiveMark, sizeof archiveMark) != 0 || length < 0 || length >= static_cast<int>(sizeof name))
        return loadWrongFormat;
    for (u32 i = 0; i < nameCount; i++) {
        nameMember(name, request.path, i);
        if (isOccupied(name))
            return loadWrongFormat;
    }

    release(threadState().loom.qte); // what it has unpacked may lie under the same name
    runCommand(
        {commandText(unzip), commandText(" "), commandPath(request.path), commandText(" -d "), commandPath(folder)});
    UnpackedMember unpacked;
    snprintf(unpacked.name, sizeof unpacked.name, "%s/%s", folder, baseName(request.path));
    for (u32 i = 0; i < nameCount; i++) {
        nameMember(unpacked.name, request.path, i);
        if (isUnpacked(unpacked.name))
            break;
        if (isOccupied(unpacked.name)) // out of the archive; it would be in the way of the next one
            remove(unpacked.name);
    }
    if (!isUnpacked(unpacked.name))
        return loadWrongFormat;
    LoadStatus status = tryLoad({unpacked.name, request.wantPalette}, image);
    // The open file is read on from when its name is gone.
    if (status == loadSuccess && request.wantPalette != 0) {
        memcpy(threadState().loom.qte.tempName, unpacked.name, sizeof unpacked.name);
        unpacked.name[0] = 0;
    }
    return status;
}

// Rows that the caller keeps as they are stored; the bits at the end of a row stay.
static LoadStatus loadShifted(QteState& state, u8* rows, u32 count)
{
    const u32 wanted = std::min(count, state.rows.rowsLeft);
    const u64 rowBytes = state.rows.rowBytes;
    const LoadStatus status = loadRows(state.rows, rows, wanted, state.rows.rowBytes, BitOrder::asStored);
    if (status != loadSuccess)
        return status;
    for (u64 row = 0; row < wanted; row++) {
        u8* first = rows + row * rowBytes;
        u8* last = first + rowBytes - 1;
        shiftBits(first, first, rowBytes - 1, state.bitOffset);
        *last = static_cast<u8>(*last << state.bitOffset | (*last & ((1 << state.bitOffset) - 1)));
    }
    return wanted < count ? loadBadData : loadSuccess;
}

static void cutRow(u8* destination, const u8* row, u64 pixels, u32 bitOffset)
{
    const u64 wholeBytes = pixels / 8;
    const auto mask = static_cast<u8>(0xFF00 >> pixels % 8);
    shiftBits(destination, row, wholeBytes, bitOffset);
    if (mask == 0)
        return;
    u8 last;
    shiftBits(&last, row + wholeBytes, 1, bitOffset);
    destination[wholeBytes] = static_cast<u8>((destination[wholeBytes] & ~mask) | (last & mask));
}

// Only the pixels of the picture are written; the bits behind them stay as the caller had them.
static LoadStatus loadCut(QteState& state, u8* rows, u32 count, u32 bytesPerRow)
{
    constexpr u64 blockBytes = 1 << 16; // still in the cache when it is cut
    const u64 rowBytes = state.rows.rowBytes;
    const u64 rowsAtOnce = std::max<u64>(1, blockBytes / rowBytes);
    const u64 pixels = std::min<u64>(state.width, 8 * u64{bytesPerRow});
    Buffer stored;
    if (!stored.allocate(rowsAtOnce * rowBytes + 2)) // the last byte of a picture is made of two
        return loadOutOfMemory;
    const u64 wanted = std::min(count, state.rows.rowsLeft);
    for (u64 row = 0; row < wanted; row += rowsAtOnce) {
        const u64 expected = std::min(rowsAtOnce, wanted - row);
        const u64 arrived = fread(stored.bytes, rowBytes, expected, state.rows.file);
        for (u64 i = 0; i < arrived; i++)
            cutRow(rows + (row + i) * bytesPerRow, stored.bytes + i * rowBytes, pixels, state.bitOffset);
        if (arrived < expected)
            return loadBadData;
    }
    state.rows.rowsLeft -= static_cast<u32>(wanted);
    return wanted < count ? loadBadData : loadSuccess;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    QteState& state = threadState().loom.qte;
    if (state.rows.file == nullptr)
        return loadBadData;
    if (state.bitOffset == 0)
        return loadRows(state.rows, rows, count, bytesPerRow, BitOrder::asStored);
    return bytesPerRow == state.rows.rowBytes ? loadShifted(state, rows, count)
                                              : loadCut(state, rows, count, bytesPerRow);
}

static LoadStatus endLoad()
{
    release(threadState().loom.qte);
    return loadSuccess;
}

void registerLoadQTE()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}

void registerLoadQTEMOT()
{
    registerEntries<tryLoadMotif, loadBand, endLoad>();
}

void registerLoadQTZ()
{
    registerEntries<tryLoadArchive, loadBand, endLoad>();
}
