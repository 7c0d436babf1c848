// Staubli JC4 cards, and JC4 as it is sent by mail. Numbers are big-endian.
//
//   JC4     header   64 bytes   see the offsets below
//           picks    one after the other, the first hook in the lowest bit of a byte, a clear bit is a lift
//
//   email   envelope 512 bytes  "C", byte 33 is 1, byte 34 is 1..25
//           header   64 bytes   that of JC4
//           picks    from byte 9216 on
//
// A design that does not fit on one disk is named stem.jc4.01, stem.jc4.02 and so on, or when it was mailed d.jc4,
// dB.jc4. The picks run on from one part to the next, whose header is skipped; a pick may be split.
#include <unistd.h>

#include "formats/loom/staubli.h"
#include "framework/bytes.h"

constexpr size_t headerSize = 64;
constexpr size_t envelopeSize = 512;
constexpr i64 jc4Start = headerSize; // of the picks
constexpr i64 emailStart = 9216;

// Offsets in the header.
constexpr size_t atName = 2;
constexpr size_t atDataLength = 20;
constexpr size_t atLimited = 34; // three bytes
constexpr u8 limits[] = {80, 2, 18};

constexpr size_t atEnvelopeMark = 33;
constexpr size_t atEnvelopeNumber = 34;
constexpr u8 largestEnvelopeNumber = 25;

constexpr i64 diskBytes = 1450000; // a file below this size has all its picks
constexpr size_t extensionLength = 4;

static bool isAscii(const u8* text, size_t length)
{
    return std::all_of(text, text + length, [](u8 c) { return c < 0x80; });
}

// False for what is no header of JC4.
static bool readGeometry(const u8* header, StaubliState& loaded)
{
    const u32 width = bigEndian16(header);
    if (width == 0 || (width % smallModule != 0 && width % middleModule != 0))
        return false;
    for (size_t i = 0; i < sizeof limits; i++) {
        if (header[atLimited + i] > limits[i])
            return false;
    }
    // Designs of more than 2^32 bits wrap around.
    const i32 height = static_cast<i32>(bigEndian32(header + atDataLength) * 8) / static_cast<i32>(width);
    if (height <= 0)
        return false;
    loaded.width = width;
    loaded.rowsLeft = static_cast<u32>(height);
    loaded.rowBytes = (width + 7) / 8;
    return true;
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    u32 firstPart = 1;
    const bool isPart = turnToFirstPart(request.path, "jc4.", firstPart);
    image.firstPart = firstPart;

    File file;
    u8 header[headerSize];
    if (!file.open(request.path) || !readExactly(file.stream, header, sizeof header))
        return loadCannotRead;
    StaubliState loaded{};
    if (!isAscii(header + atName, designNameBytes) || !readGeometry(header, loaded))
        return loadWrongFormat;
    const i64 size = regularFileSize(file.stream);
    if (size<diskBytes&& static_cast<i64>(loaded.rowBytes) * loaded.rowsLeft> size)
        return loadWrongFormat;

    loaded.nameLength = static_cast<u32>(strlen(request.path));
    if (isPart)
        strcpy(loaded.partName, request.path); // the system opens no longer names
    loaded.partDataLength = size - jc4Start;
    reportCards(image, loaded.width, loaded.rowsLeft, "Staubli JC4\n", header + atName);
    image.firstPart = firstPart;
    startStaubli(StaubliFormat::jc4, file, loaded);
    return loadSuccess;
}

// Before every byte a part that is used up is left for the next, once: a part without picks ends the data.
static LoadStatus readAcrossParts(StaubliState& state, u8* bytes, u64 size, bool (*openNextPart)(StaubliState& state))
{
    for (u64 done = 0; done < size;) {
        if (state.partCounter == state.partDataLength && !openNextPart(state))
            return loadCannotRead;
        u64 run = size - done;
        if (state.partCounter < state.partDataLength)
            run = std::min(run, static_cast<u64>(state.partDataLength - state.partCounter));
        readFilled(state.file, bytes + done, run, endOfFile);
        state.partCounter += static_cast<i64>(run);
        done += run;
    }
    return loadSuccess;
}

static bool openNumberedPart(StaubliState& state)
{
    if (state.partName[0] != 0)
        nextPartName(state.partName, state.nameLength);
    return openPart(state, jc4Start);
}

static LoadStatus readPicks(StaubliState& state, u8* picks, u64 size)
{
    return readAcrossParts(state, picks, size, openNumberedPart);
}

static u32 countModules(const StaubliState& state, u32 module)
{
    return (state.width + module - 1) / module;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadMappedBand(StaubliFormat::jc4, rows, count, bytesPerRow, readPicks, countModules);
}

static bool isEmailName(const char* path, size_t length)
{
    if (length <= extensionLength)
        return false;
    char extension[extensionLength + 1];
    strcpy(extension, path + length - extensionLength);
    stringToLower(extension);
    return strcmp(extension, ".jc4") == 0 || strcmp(extension, ".dat") == 0;
}

static LoadStatus tryLoadEmail(const LoadRequest& request, ImageInfo& image)
{
    const size_t length = strlen(request.path);
    if (!isEmailName(request.path, length))
        return loadWrongFormat;
    File file;
    u8 envelope[envelopeSize];
    if (!file.open(request.path) || !readExactly(file.stream, envelope, sizeof envelope))
        return loadCannotRead;
    if (envelope[0] != 'C')
        return loadWrongFormat;
    if (envelope[atEnvelopeMark] != 1) {
        image.firstPart = 0;
        return loadWrongFormat;
    }
    if (envelope[atEnvelopeNumber] < 1 || envelope[atEnvelopeNumber] > largestEnvelopeNumber)
        return loadWrongFormat;
    u8 header[headerSize];
    if (!readExactly(file.stream, header, sizeof header))
        return loadCannotRead;
    StaubliState loaded{};
    if (!readGeometry(header, loaded))
        return loadWrongFormat;

    loaded.nameLength = static_cast<u32>(length);
    strcpy(loaded.partName, request.path); // the system opens no longer names
    loaded.partDataLength = regularFileSize(file.stream) - emailStart;
    fseeko(file.stream, emailStart, SEEK_SET);
    reportCards(image, loaded.width, loaded.rowsLeft, "Staubli JC4 email\n", header + atName);
    startStaubli(StaubliFormat::email, file, loaded);
    return loadSuccess;
}

// Puts a letter before the dot, or counts the character there up where no such file can be read. A name that has its
// letter stays.
static void nextMailedName(StaubliState& state)
{
    const size_t length = strlen(state.partName);
    if (length != state.nameLength)
        return;
    char* dot = state.partName + length - extensionLength;
    if (length + 2 <= partNameBytes) {
        memmove(dot + 1, dot, extensionLength + 1);
        for (char letter : {'B', 'b', 'A', 'a', '2', '1'}) {
            *dot = letter;
            if (access(state.partName, R_OK) == 0)
                return;
        }
        memmove(dot, dot + 1, extensionLength + 1);
    }
    dot[-1]++;
}

static bool openMailedPart(StaubliState& state)
{
    nextMailedName(state);
    return openPart(state, emailStart);
}

static LoadStatus readMailedPicks(StaubliState& state, u8* picks, u64 size)
{
    return readAcrossParts(state, picks, size, openMailedPart);
}

static LoadStatus loadBandEmail(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadMappedBand(StaubliFormat::email, rows, count, bytesPerRow, readMailedPicks, countModules);
}

void registerLoadStaubli()
{
    registerEntries<tryLoad, loadBand, endStaubli>();
}

void registerLoadStaubliJC4email()
{
    registerEntries<tryLoadEmail, loadBandEmail, endStaubli>();
}
