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

#include "framework/command.h"
#include "framework/loader.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/thread_state.h"

namespace
{

constexpr u32 qteHeaderBytes = 4;
constexpr size_t atHeight = 2;

constexpr i64 leastMotif = 22;
constexpr size_t fieldBytes = 5;
constexpr size_t fieldCount = 4;
constexpr u32 trailerBytes = fieldCount * fieldBytes;
constexpr i32 mostOffset = 7;

constexpr size_t leastArchiveName = 6;
constexpr std::string_view archiveMark = "PK\x03\x04";
constexpr size_t extensionLength = 3;
constexpr u32 memberNames = 3;

void release(QteState& state)
{
    release(state.rows);
    removeTemporary(state.unpacked);
}

void succeed(ImageInfo& image, const char* description, u32 width, u32 height, File& file, u32 rowBytes, u32 bitOffset)
{
    reportBilevel(image, width, height, description, loomOrientation);
    image.palette[0] = 0;
    QteState& state = threadState().loom.qte;
    release(state);
    handOver(file, state.rows, height, rowBytes);
    state.bitOffset = bitOffset;
    state.width = width;
}

// The header has a row of its own, which has to be long enough for it.
void remarkQte(FILE* stream, u32 width, u32 height)
{
    const u32 rowBytes = width / 8;
    if (width % 8 != 0)
        remark(Gravity::grave, "the last %u pixels of each row are not in the file", width % 8);
    if (rowBytes > 0 && rowBytes < qteHeaderBytes)
        remark(Gravity::grave, "the first row begins in the file's header");
    remarkFileSize(stream, std::max<u64>(qteHeaderBytes, rowBytes * (u64{height} + 1)), width, height);
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "qte"))
        return refuseName("qte");
    const u8* header = probedHeader(request.path, qteHeaderBytes);
    if (header == nullptr)
        return loadWrongFormat;
    const u32 width = littleEndian16(header);
    const u32 height = littleEndian16(header + atHeight);
    const u32 rowBytes = width / 8;
    if (!isPictureSize(width, height))
        return refuseSize(loadWrongFormat, width, height);
    File file;
    const LoadStatus opened = openFile(request.path, file);
    if (opened != loadSuccess)
        return opened;
    remarkQte(file.stream, width, height);
    if (request.wantPalette != 0 && fseeko(file.stream, rowBytes, SEEK_SET) != 0)
        return refuse(loadWrongFormat, "its first row cannot be reached");
    succeed(image, "QTE", width, height, file, rowBytes, 0);
    return loadSuccess;
}

bool isBlankOrDigit(u8 c)
{
    return isBlank(c) || isDigit(c);
}

LoadStatus tryLoadMotif(const LoadRequest& request, ImageInfo& image)
{
    if (probedHeader(request.path, leastMotif) == nullptr)
        return loadWrongFormat;
    if (!hasExtension(request.path, "mot"))
        return refuseName("mot");
    File file;
    const LoadStatus opened = openFile(request.path, file);
    if (opened != loadSuccess)
        return opened;
    u8 trailer[trailerBytes];
    if (fseeko(file.stream, -i64{trailerBytes}, SEEK_END) != 0 || !readExactly(file.stream, trailer, sizeof trailer))
        return refuse(loadWrongFormat, "its trailer cannot be read");
    if (!std::all_of(trailer, trailer + sizeof trailer, isBlankOrDigit))
        return refuse(loadWrongFormat, "its last %u characters are not the numbers of a motif", trailerBytes);
    auto field = [&trailer](size_t number) { return decimalNumber(trailer + number * fieldBytes, fieldBytes); };
    const i32 offset = field(0) - 1;
    const i32 width = field(1) - offset;
    const i32 rowBytes = field(2);
    const i32 height = field(3);
    if (offset < 0 || offset > mostOffset)
        return refuse(loadWrongFormat, "its trailer tells %d as the first bit of its rows", offset + 1);
    if (!isPictureSize(static_cast<u64>(width), static_cast<u64>(height)))
        return refuse(loadWrongFormat, "its trailer tells a size of %d x %d", width, height);
    if (8 * rowBytes < offset + width)
        return refuse(loadWrongFormat, "its trailer tells rows of %d bytes for %d bits", rowBytes, offset + width);
    rewind(file.stream);
    remarkFileSize(file.stream, static_cast<u64>(rowBytes) * static_cast<u64>(height) + trailerBytes,
                   static_cast<u64>(width), static_cast<u64>(height));
    succeed(image, "QTE Motif", static_cast<u32>(width), static_cast<u32>(height), file, static_cast<u32>(rowBytes),
            static_cast<u32>(offset));
    return loadSuccess;
}

// Whether somebody has put something else than a file where the archive will be unpacked.
bool isOccupied(const char* name)
{
    struct stat info;
    return lstat(name, &info) == 0 && !S_ISREG(info.st_mode);
}

// The names that the member of an archive may have, most likely first: the archive's own with a "Z" turned into an "E".
void nameMember(char* name, const char* archive, u32 number)
{
    static const char* const extensions[] = {"QTE", "qte"};
    char* end = name + strlen(name);
    if (number == 0)
        end[-1] = archive[strlen(archive) - 1] == 'Z' ? 'E' : 'e';
    else
        memcpy(end - extensionLength, extensions[number - 1], extensionLength);
}

LoadStatus checkArchive(const char* path, const char* folder, const char* unzip, TemporaryPath& member)
{
    if (folder == nullptr)
        return refuse(loadWrongFormat, "the temporary directory is not set");
    if (unzip == nullptr)
        return refuse(loadWrongFormat, "the command that unpacks archives is not set");
    if (!hasExtension(path, "qtz", leastArchiveName))
        return refuseName("qtz");
    if (probedMark(path, archiveMark, "zip") == nullptr)
        return loadWrongFormat;
    const int length = snprintf(member.name, sizeof member.name, "%s/%s", folder, baseName(path));
    if (length < 0 || length >= static_cast<int>(sizeof member.name))
        return refuse(loadWrongFormat, "its path in the temporary directory is too long");
    for (u32 i = 0; i < memberNames; i++) {
        nameMember(member.name, path, i);
        if (isOccupied(member.name))
            return refuse(loadWrongFormat, "the temporary directory already holds a %.40s, which is no file",
                          baseName(member.name));
    }
    return loadSuccess;
}

// Finds what the command has unpacked. A link out of the archive does not count, nor does somebody else's file.
bool findMember(const char* archive, TemporaryPath& member)
{
    for (u32 i = 0; i < memberNames; i++) {
        nameMember(member.name, archive, i);
        if (isOwnFile(member.name))
            return true;
        if (isOccupied(member.name)) // out of the archive; it would be in the way of the next one
            remove(member.name);
    }
    return false;
}

LoadStatus tryLoadArchive(const LoadRequest& request, ImageInfo& image)
{
    const char* folder = llibGetTmpDir();
    const char* unzip = llibGetUnzipCommand();
    TemporaryPath member{};
    LoadStatus status = checkArchive(request.path, folder, unzip, member);
    if (status != loadSuccess)
        return status;

    release(threadState().loom.qte); // what it has unpacked may lie under the same name
    const int result = runCommand(
        {commandText(unzip), commandText(" "), commandPath(request.path), commandText(" -d "), commandPath(folder)});
    snprintf(member.name, sizeof member.name, "%s/%s", folder, baseName(request.path));
    Temporary unpacked;
    const bool isFound = findMember(request.path, member);
    unpacked.path = member;
    if (!isFound)
        return result != 0 ? refuseCommand(loadWrongFormat, unzip, result)
                           : refuse(loadWrongFormat, "the archive holds no QTE file of its own name");
    status = tryLoad({unpacked.path.name, request.wantPalette}, image);
    // The open file is read on from when its name is gone.
    if (status == loadSuccess && request.wantPalette != 0)
        handOver(unpacked, threadState().loom.qte.unpacked);
    return status;
}

// Rows that the caller keeps as they are stored; the bits at the end of a row stay.
LoadStatus loadShifted(QteState& state, u8* rows, u32 count)
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
    return wanted < count ? refuseRowsBehindPicture() : loadSuccess;
}

void cutRow(u8* destination, const u8* row, u64 pixels, u32 bitOffset)
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
LoadStatus loadCut(QteState& state, u8* rows, u32 count, u32 bytesPerRow)
{
    constexpr u64 blockBytes = 1 << 16; // still in the cache when it is cut
    const u64 rowBytes = state.rows.rowBytes;
    const u64 rowsAtOnce = std::max<u64>(1, blockBytes / rowBytes);
    const u64 pixels = std::min<u64>(state.width, 8 * u64{bytesPerRow});
    Buffer stored;
    if (!stored.allocate(rowsAtOnce * rowBytes + 2)) // the last byte of a picture is made of two
        return refuseMemory();
    const u64 wanted = std::min(count, state.rows.rowsLeft);
    for (u64 row = 0; row < wanted; row += rowsAtOnce) {
        const u64 expected = std::min(rowsAtOnce, wanted - row);
        const u64 arrived = fread(stored.bytes, rowBytes, expected, state.rows.file);
        for (u64 i = 0; i < arrived; i++)
            cutRow(rows + (row + i) * bytesPerRow, stored.bytes + i * rowBytes, pixels, state.bitOffset);
        if (arrived < expected)
            return refuseEarlyEnd(state.rows.rowsLeft - row - arrived);
    }
    state.rows.rowsLeft -= static_cast<u32>(wanted);
    return wanted < count ? refuseRowsBehindPicture() : loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    QteState& state = threadState().loom.qte;
    if (state.rows.file == nullptr)
        return refuseUnopened();
    if (state.bitOffset == 0)
        return loadRows(state.rows, rows, count, bytesPerRow, BitOrder::asStored);
    return bytesPerRow == state.rows.rowBytes ? loadShifted(state, rows, count)
                                              : loadCut(state, rows, count, bytesPerRow);
}

LoadStatus endLoad()
{
    release(threadState().loom.qte);
    return loadSuccess;
}

} // namespace

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
