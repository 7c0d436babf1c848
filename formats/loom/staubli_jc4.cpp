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
#include "framework/path.h"
#include "framework/probe.h"

namespace
{

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
constexpr u8 mostEnvelopeNumber = 25;

constexpr i64 diskBytes = 1450000; // a file below this size has all its picks
constexpr size_t extensionLength = 4;

bool isAscii(const u8* text, size_t length)
{
    return std::all_of(text, text + length, [](u8 c) { return c < 0x80; });
}

LoadStatus readGeometry(const u8* header, StaubliState& loaded)
{
    const u32 width = bigEndian16(header);
    if (width == 0 || (width % smallModule != 0 && width % middleModule != 0))
        return refuse(loadWrongFormat, "its width of %u is no multiple of %u or %u hooks", width, smallModule,
                      middleModule);
    for (size_t i = 0; i < sizeof limits; i++) {
        if (header[atLimited + i] > limits[i])
            return refuse(loadWrongFormat, "byte %zu of its header is %u and not at most %u", atLimited + i,
                          header[atLimited + i], limits[i]);
    }
    // Designs of more than 2^32 bits wrap around.
    const i32 height = static_cast<i32>(bigEndian32(header + atDataLength) * 8) / static_cast<i32>(width);
    if (height <= 0)
        return refuseSize(loadWrongFormat, width, height);
    loaded.width = width;
    loaded.rowsLeft = static_cast<u32>(height);
    loaded.rowBytes = bilevelRowBytes(width);
    return loadSuccess;
}

void remarkDesign(const u8* header, const StaubliState& loaded, FILE* stream)
{
    const u32 announced = bigEndian32(header + atDataLength) / loaded.rowBytes;
    if (announced != loaded.rowsLeft)
        remark(Gravity::grave, "the header announces %u picks, only %u can be read", announced, loaded.rowsLeft);
    remarkDesignSize(loaded, stream);
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    u32 firstPart = 1;
    const bool isPart = turnToFirstPart(request.path, "jc4.", firstPart);
    image.firstPart = firstPart;

    File file;
    u8 header[headerSize];
    LoadStatus status = openFile(request.path, file, header, sizeof header, loadCannotRead);
    if (status != loadSuccess)
        return status;
    if (!isAscii(header + atName, designNameBytes))
        return refuse(loadWrongFormat, "its design name is not ASCII");
    StaubliState loaded{};
    status = readGeometry(header, loaded);
    if (status != loadSuccess)
        return status;
    const i64 size = regularFileSize(file.stream);
    const i64 dataBytes = i64{loaded.rowBytes} * loaded.rowsLeft;
    if (size < diskBytes && dataBytes > size)
        return refuse(loadWrongFormat, "the header announces %u x %u, the file holds %s", loaded.width, loaded.rowsLeft,
                      amountOf(static_cast<u64>(std::max<i64>(size, 0))).text);

    loaded.nameLength = static_cast<u32>(strlen(request.path));
    if (isPart)
        strcpy(loaded.partName, request.path); // the system opens no longer names
    loaded.partDataLength = size - jc4Start;
    remarkDesign(header, loaded, file.stream);
    reportCards(image, loaded.width, loaded.rowsLeft, "Staubli JC4\n", header + atName);
    image.firstPart = firstPart;
    startStaubli(StaubliFormat::jc4, file, loaded);
    return loadSuccess;
}

using OpenNextPart = LoadStatus (*)(StaubliState& state);

// Before every byte a part that is used up is left for the next, once: a part without picks ends the data.
LoadStatus readAcrossParts(StaubliState& state, u8* bytes, u64 size, u64& lacking, OpenNextPart openNextPart)
{
    for (u64 done = 0; done < size;) {
        if (state.partCounter == state.partDataLength) {
            const LoadStatus status = openNextPart(state);
            if (status != loadSuccess)
                return status;
        }
        u64 run = size - done;
        if (state.partCounter < state.partDataLength)
            run = std::min(run, static_cast<u64>(state.partDataLength - state.partCounter));
        const u64 arrived = readFilled(state.file, bytes + done, run, endOfFile);
        state.partCounter += static_cast<i64>(run);
        done += run;
        if (arrived < run)
            lacking += (done - 1) / state.rowBytes - (done - run + arrived) / state.rowBytes + 1;
    }
    return loadSuccess;
}

LoadStatus openNumberedPart(StaubliState& state)
{
    if (state.partName[0] != 0)
        nextPartName(state.partName, state.nameLength);
    return openPart(state, jc4Start);
}

LoadStatus readPicks(StaubliState& state, u8* picks, u64 size, u64& lacking)
{
    return readAcrossParts(state, picks, size, lacking, openNumberedPart);
}

u32 countModules(const StaubliState& state, u32 module)
{
    return (state.width + module - 1) / module;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadMappedBand(StaubliFormat::jc4, rows, count, bytesPerRow, readPicks, countModules);
}

LoadStatus tryLoadEmail(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "jc4") && !hasExtension(request.path, "dat"))
        return refuse(loadWrongFormat, "the name does not end in .jc4 or .dat");
    File file;
    u8 envelope[envelopeSize];
    LoadStatus status = openFile(request.path, file, envelope, sizeof envelope, loadCannotRead);
    if (status != loadSuccess)
        return status;
    if (envelope[0] != 'C')
        return refuseMark("JC4 mail");
    if (envelope[atEnvelopeMark] != 1) {
        image.firstPart = 0;
        return refuse(loadWrongFormat, "byte %zu of its envelope is %u and not 1", atEnvelopeMark,
                      envelope[atEnvelopeMark]);
    }
    if (envelope[atEnvelopeNumber] < 1 || envelope[atEnvelopeNumber] > mostEnvelopeNumber)
        return refuse(loadWrongFormat, "byte %zu of its envelope is %u and not 1 to %u", atEnvelopeNumber,
                      envelope[atEnvelopeNumber], mostEnvelopeNumber);
    u8 header[headerSize];
    if (!readExactly(file.stream, header, sizeof header))
        return refuseHeader(loadCannotRead);
    StaubliState loaded{};
    status = readGeometry(header, loaded);
    if (status != loadSuccess)
        return status;

    loaded.nameLength = static_cast<u32>(strlen(request.path));
    strcpy(loaded.partName, request.path); // the system opens no longer names
    loaded.partDataLength = regularFileSize(file.stream) - emailStart;
    fseeko(file.stream, emailStart, SEEK_SET);
    remarkDesign(header, loaded, file.stream);
    reportCards(image, loaded.width, loaded.rowsLeft, "Staubli JC4 email\n", header + atName);
    startStaubli(StaubliFormat::email, file, loaded);
    return loadSuccess;
}

// Puts a letter before the dot, or counts the character there up where no such file can be read. A name that has its
// letter stays.
void nextMailedName(StaubliState& state)
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

LoadStatus openMailedPart(StaubliState& state)
{
    nextMailedName(state);
    return openPart(state, emailStart);
}

LoadStatus readMailedPicks(StaubliState& state, u8* picks, u64 size, u64& lacking)
{
    return readAcrossParts(state, picks, size, lacking, openMailedPart);
}

LoadStatus loadBandEmail(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadMappedBand(StaubliFormat::email, rows, count, bytesPerRow, readMailedPicks, countModules);
}

} // namespace

void registerLoadStaubli()
{
    registerEntries<tryLoad, loadBand, endStaubli>();
}

void registerLoadStaubliJC4email()
{
    registerEntries<tryLoadEmail, loadBandEmail, endStaubli>();
}
