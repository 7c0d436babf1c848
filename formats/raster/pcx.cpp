// Run-length-encoded PCX pictures: bilevel, bit planes of 16 colours, 8 bits and 24 bits.
//
//   header    128 bytes, see the offsets below; numbers are little-endian
//   data      scanlines of planes x bytes-per-line bytes, a plane after the other. A byte with its two highest bits set
//             is the length of a run of the byte that follows, every other byte stands for itself. Runs may go on in
//             the next scanline.
//   palette   in version 5 the last 769 bytes may be 12 and 256 triples of R, G, B
#include <cstdlib>
#include <utility>

#include "color/levels.h"
#include "framework/bits.h"
#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/probe.h"
#include "framework/processor.h"
#include "framework/thread_state.h"

#if defined(__x86_64__)
#include <tmmintrin.h>
#endif

namespace
{

constexpr i64 probedBytes = 3;
constexpr size_t headerSize = 128;
constexpr u8 manufacturer = 0x0A;
constexpr u8 newestVersion = 5;
constexpr u8 runLengthEncoding = 1;

// Offsets in the header.
constexpr size_t atVersion = 1;
constexpr size_t atEncoding = 2;
constexpr size_t atBitsPerPlane = 3;
constexpr size_t atLeft = 4;
constexpr size_t atTop = 6;
constexpr size_t atRight = 8;
constexpr size_t atBottom = 10;
constexpr size_t atPalette = 16;
constexpr size_t atPlanes = 65;
constexpr size_t atBytesPerLine = 66;

constexpr u32 headerColours = 16;
constexpr i64 paletteFromEnd = 769;
constexpr u8 paletteMark = 12;

constexpr u32 mostDepth = 30; // a number of colours that has a sign
constexpr u8 runMark = 0xC0;
constexpr u32 mostRunLength = 63;
constexpr u32 trueColourPlanes = 3;
constexpr u32 mostBitPlanes = 7; // eight of them would be taken for bytes
constexpr u8 byteAtEnd = 0xFF;   // what indexed pictures read behind the file's end

} // namespace

struct PcxReader {
    size_t next;
    size_t end;
    bool isEnded; // the file has no further bytes
    u8 runValue;
    u8 runCount;
    u8 largest; // of all values of runs and single bytes
    u8 block[1 << 16];
};

namespace
{

enum class AtEnd { stops, goesOn };

// False at the end of the file when the reader stops there.
bool nextByte(PcxReader& reader, FILE* stream, AtEnd atEnd, u8& byte)
{
    if (reader.next == reader.end && !reader.isEnded) {
        reader.next = 0;
        reader.end = fread(reader.block, 1, sizeof reader.block, stream);
        reader.isEnded = reader.end == 0;
    }
    if (reader.isEnded) {
        byte = byteAtEnd;
        return atEnd == AtEnd::goesOn;
    }
    byte = reader.block[reader.next++];
    return true;
}

bool readRun(PcxReader& reader, FILE* stream, AtEnd atEnd)
{
    u8 byte;
    u8 count = 1;
    if (!nextByte(reader, stream, atEnd, byte))
        return false;
    if (byte >= runMark) {
        count = byte & mostRunLength;
        if (!nextByte(reader, stream, atEnd, byte))
            return false;
    }
    reader.runValue = byte;
    reader.runCount = count;
    reader.largest = std::max(reader.largest, byte);
    return true;
}

// Decodes the runs that stand in the block already, to behind count samples where a last run is longer: samples has
// room for one more run.
u64 decodeBlock(PcxReader& reader, u8* samples, u64 count)
{
    const u8* next = reader.block + reader.next;
    const u8* const end = reader.block + reader.end;
    u8* sample = samples;
    u8* const lastSample = samples + count;
    u8 largest = reader.largest;
    while (sample < lastSample && end - next >= 2) {
        const u8 byte = *next;
        if (byte < runMark) {
            *sample++ = byte;
            largest = std::max(largest, byte);
            next++;
            continue;
        }
        const u8 value = next[1];
        memset(sample, value, mostRunLength);
        sample += byte & mostRunLength;
        largest = std::max(largest, value);
        reader.runValue = value;
        next += 2;
    }
    reader.largest = largest;
    reader.next = static_cast<size_t>(next - reader.block);
    if (sample > lastSample) {
        reader.runCount = static_cast<u8>(sample - lastSample);
        return count;
    }
    return static_cast<u64>(sample - samples);
}

// Returns how many of count samples there were. samples has room for one run more.
u64 decodeSamples(PcxReader& reader, FILE* stream, AtEnd atEnd, u8* samples, u64 count)
{
    u64 done = 0;
    while (done < count) {
        if (reader.runCount == 0)
            done += decodeBlock(reader, samples + done, count - done);
        if (done == count || (reader.runCount == 0 && !readRun(reader, stream, atEnd)))
            break;
        const auto size = static_cast<u8>(std::min<u64>(reader.runCount, count - done));
        memset(samples + done, reader.runValue, size);
        reader.runCount -= size;
        done += size;
    }
    return done;
}

#if defined(__x86_64__)
// The whole blocks of 16 pixels; returns how many pixels that were.
__attribute__((target("ssse3"))) u64 interleaveBlocks(u8* row, const u8* const planes[3], u64 width)
{
    // Which byte of its plane each byte of three blocks is; 0x80 marks those of other planes.
    alignas(16) u8 order[3][3][16];
    for (u32 i = 0; i < 48; i++) {
        for (u32 plane = 0; plane < 3; plane++)
            order[i / 16][plane][i % 16] = i % 3 == plane ? static_cast<u8>(i / 3) : 0x80;
    }
    u64 x = 0;
    for (; x + 16 <= width; x += 16) {
        for (u32 part = 0; part < 3; part++) {
            __m128i pixels = _mm_setzero_si128();
            for (u32 plane = 0; plane < 3; plane++) {
                const __m128i samples = _mm_loadu_si128(reinterpret_cast<const __m128i*>(planes[plane] + x));
                const __m128i places = _mm_load_si128(reinterpret_cast<const __m128i*>(order[part][plane]));
                pixels = _mm_or_si128(pixels, _mm_shuffle_epi8(samples, places));
            }
            _mm_storeu_si128(reinterpret_cast<__m128i*>(row + 3 * x + u64{16} * part), pixels);
        }
    }
    return x;
}
#endif

void interleave(u8* row, const u8* scanline, u64 bytesPerLine, u64 width)
{
    const u8* const planes[3] = {scanline, scanline + bytesPerLine, scanline + 2 * bytesPerLine};
    const u64 stored = std::min(width, bytesPerLine);
    u64 x = 0;
#if defined(__x86_64__)
    if (processorHas(processorSsse3))
        x = interleaveBlocks(row, planes, stored);
#endif
    for (; x < stored; x++) {
        for (u32 plane = 0; plane < 3; plane++)
            row[3 * x + plane] = planes[plane][x];
    }
}

// The picture of a 24-bit file, as far as there are data, with its brightest sample raised to 255; false when memory
// does not suffice.
bool decodePicture(const PcxState& state, FILE* stream, PcxReader& reader, Buffer& picture)
{
    const u64 rowBytes = u64{trueColourPlanes} * state.width;
    Buffer scanline;
    if (!picture.allocate(rowBytes * state.height) || !scanline.allocate(state.scanlineBytes + mostRunLength))
        return false;
    u64 rows = 0;
    u64 complete = 0;
    for (u64 decoded = state.scanlineBytes; decoded > 0 && decoded == state.scanlineBytes && rows < state.height;) {
        decoded = decodeSamples(reader, stream, AtEnd::stops, scanline.bytes, state.scanlineBytes);
        memset(scanline.bytes + decoded, 0, state.scanlineBytes - decoded);
        if (decoded > 0)
            interleave(picture.bytes + rowBytes * rows++, scanline.bytes, state.scanlineBytes / trueColourPlanes,
                       state.width);
        complete += decoded == state.scanlineBytes ? 1 : 0;
    }
    remarkCount(Gravity::grave, state.height - complete, "rows that the file lacks, in full or in part, are black");
    if (reader.largest > 0 && reader.largest < 255) {
        const u8 largest = reader.largest;
        const Levels levels = {{}, {largest, largest, largest}};
        stretchLevels(picture.bytes, 0, rowBytes * rows, 1, trueColourPlanes, levels);
        remark(Gravity::grave, "true colour is spread over all levels: the brightest, %u, is delivered as 255",
               largest);
    }
    return true;
}

// From the end of the file or, as many colours as the pixels can name, from the header, behind which all is zero.
void readPalette(FILE* stream, const u8* header, u32 colours, u8* palette)
{
    const i64 size = loadImgLastFilesize();
    if (header[atVersion] == newestVersion && size >= paletteFromEnd) {
        u8 mark = 0;
        const bool isMarked =
            fseeko(stream, size - paletteFromEnd, SEEK_SET) == 0 && readByte(stream, mark) && mark == paletteMark;
        const bool isRead = isMarked && readExactly(stream, palette, size_t{3} * paletteColours);
        fseeko(stream, headerSize, SEEK_SET);
        if (isRead)
            return;
    }
    if (colours <= paletteColours) {
        const size_t wanted = size_t{3} * colours;
        const size_t stored = std::min(wanted, headerSize - atPalette);
        memcpy(palette, header + atPalette, stored);
        memset(palette + stored, 0, wanted - stored);
        if (colours > headerColours)
            remark(Gravity::grave, "no palette stands behind its rows: %u of its %u colours are made up",
                   colours - headerColours, colours);
    }
}

void release(PcxState& state)
{
    closeSlot(state.file);
    free(state.reader);
    free(state.picture);
    free(state.rowWork);
    state = {};
}

u8* taken(Buffer& buffer)
{
    return std::exchange(buffer.bytes, nullptr);
}

LoadStatus refuseLayout(const u8* header)
{
    return refuse(loadWrongFormat, "pixels of %u bits in %u planes", header[atBitsPerPlane], header[atPlanes]);
}

LoadStatus checkProbed(const char* path)
{
    const u8* probed = probedHeader(path, probedBytes);
    if (probed == nullptr)
        return loadWrongFormat;
    if (probed[0] != manufacturer)
        return refuseMark("PCX");
    if (probed[atVersion] > newestVersion)
        return refuse(loadWrongFormat, "version %u, newer than %u", probed[atVersion], newestVersion);
    if (probed[atEncoding] != runLengthEncoding)
        return refuse(loadWrongFormat, "not run-length encoded");
    return loadSuccess;
}

LoadStatus readLayout(const u8* header, PcxState& loaded)
{
    loaded.width = littleEndian16(header + atRight) - littleEndian16(header + atLeft) + 1;
    loaded.height = littleEndian16(header + atBottom) - littleEndian16(header + atTop) + 1;
    loaded.planes = header[atPlanes];
    const u32 depth = header[atBitsPerPlane] * loaded.planes % 32;
    if (header[0] != manufacturer || header[atVersion] > newestVersion)
        return refuseMark("PCX");
    if (!isPictureSize(loaded.width, loaded.height))
        return refuseSize(loadWrongFormat, static_cast<i32>(loaded.width), static_cast<i32>(loaded.height));
    if (depth > mostDepth)
        return refuseLayout(header);
    loaded.colours = 1U << depth;
    loaded.scanlineBytes = loaded.planes * littleEndian16(header + atBytesPerLine);
    return loadSuccess;
}

void remarkLayout(const u8* header, const PcxState& loaded)
{
    const u32 bits = header[atBitsPerPlane];
    const u32 bytesPerLine = littleEndian16(header + atBytesPerLine);
    const bool isOfBytes = bits == 8 && (loaded.planes == 1 || loaded.planes == trueColourPlanes);
    const bool isOfBits = bits == 1 && loaded.planes >= 1 && loaded.planes <= mostBitPlanes;
    if (!isOfBytes && !isOfBits)
        remark(Gravity::grave, "pixels of %u bits in %u planes are read as if they were of %s", bits, loaded.planes,
               loaded.colours == paletteColours ? "bytes" : "single bits");
    else if (u64{bytesPerLine} * 8 < u64{loaded.width} * bits)
        remark(Gravity::grave, "lines of %u bytes hold less than the width of %u", bytesPerLine, loaded.width);
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    LoadStatus status = checkProbed(request.path);
    if (status != loadSuccess)
        return status;
    File file;
    u8 header[headerSize];
    status = openFile(request.path, file, header, sizeof header, loadCannotRead);
    if (status != loadSuccess)
        return status;
    PcxState loaded{};
    status = readLayout(header, loaded);
    if (status != loadSuccess)
        return status;

    const bool isIndexed = loaded.colours <= paletteColours;
    readPalette(file.stream, header, loaded.colours, image.palette);
    if (!isIndexed && (header[atBitsPerPlane] != 8 || loaded.planes != trueColourPlanes))
        return refuseLayout(header);
    remarkLayout(header, loaded);
    image.kind = isIndexed ? kindIndexed : kindRGB;
    image.width = loaded.width;
    image.height = loaded.height;
    reportImage(image, "PCX", pictureOrientation);

    Buffer reader;
    Buffer picture;
    status = reader.allocate(sizeof(PcxReader)) ? loadSuccess : refuseMemory();
    if (status == loadSuccess && !isIndexed && request.wantPalette != 0 &&
        !decodePicture(loaded, file.stream, *reinterpret_cast<PcxReader*>(reader.bytes), picture))
        status = refuseMemory();
    PcxState& state = threadState().raster.pcx;
    release(state);
    handOver(file, loaded.file); // also where memory did not suffice: the next load or endLoad closes it
    if (status == loadSuccess) {
        loaded.reader = reinterpret_cast<PcxReader*>(taken(reader));
        loaded.picture = taken(picture);
    }
    state = loaded;
    return status;
}

// Writes whole bytes of pixels, up to seven more than the row has.
void unpackPlanes(u8* row, const u8* scanline, u64 planeBytes, u32 planes, u64 width)
{
    for (u64 i = 0; i < (width + 7) / 8; i++) {
        u64 pixels = 0;
        for (u32 plane = 0; plane < planes; plane++) {
            u64 bits;
            memcpy(&bits, unpackedBits[scanline[plane * planeBytes + i]].data(), sizeof bits);
            pixels |= bits << plane;
        }
        memcpy(row + 8 * i, &pixels, sizeof pixels);
    }
}

LoadStatus loadIndexedRows(PcxState& state, u8* rows, u32 count, u32 bytesPerRow)
{
    constexpr u32 planesOfByte = 8; // higher ones leave the byte
    // What a line lacks of the width is zero.
    const u64 lineEnd = u64{state.scanlineBytes} + state.width + mostRunLength;
    if (state.rowWork == nullptr)
        state.rowWork = static_cast<u8*>(calloc(lineEnd + state.width + 7, 1));
    if (state.rowWork == nullptr)
        return refuseMemory();
    u8* scanline = state.rowWork;
    u8* row = state.rowWork + lineEnd;
    const u64 planeBytes = state.planes > 0 ? state.scanlineBytes / state.planes : 0;
    const u32 planes = state.colours == 2 ? 1 : std::min(state.planes, planesOfByte);

    const u32 wanted = std::min(count, state.height - state.rowsDelivered);
    u32 rowsMadeUp = 0;
    for (u32 i = 0; i < wanted; i++) {
        PcxReader& reader = *state.reader;
        // A file of few bytes may claim rows of gigabytes: behind its end they are all the same.
        const bool isBehindEnd = reader.isEnded && (reader.runCount == 0 || reader.runValue == byteAtEnd);
        if (!isBehindEnd || !state.isRowOfEnd)
            decodeSamples(reader, state.file, AtEnd::goesOn, scanline, state.scanlineBytes);
        state.isRowOfEnd = isBehindEnd;
        rowsMadeUp += reader.isEnded ? 1 : 0;
        memset(scanline + state.scanlineBytes, 0, mostRunLength);
        if (reader.runCount == 0)
            readRun(reader, state.file, AtEnd::goesOn);
        if (ferror(state.file) != 0)
            return refuse(loadBadData, "the file cannot be read on");
        if (state.colours != paletteColours)
            unpackPlanes(row, scanline, planeBytes, planes, state.width);
        deliverRow(rows + u64{i} * bytesPerRow, state.colours == paletteColours ? scanline : row, state.width,
                   bytesPerRow);
        state.rowsDelivered++;
    }
    remarkCount(Gravity::grave, rowsMadeUp, "rows that the file lacks, in full or in part, are filled with set bits");
    return wanted < count ? refuseRowsBehindPicture() : loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    PcxState& state = threadState().raster.pcx;
    if (state.reader == nullptr)
        return refuseUnopened();
    if (state.colours <= paletteColours)
        return loadIndexedRows(state, rows, count, bytesPerRow);
    if (state.picture == nullptr)
        return refuse(loadBadData, "it was opened without its picture");
    const u64 rowBytes = u64{trueColourPlanes} * state.width;
    const u32 wanted = std::min(count, state.height - state.rowsDelivered);
    const u8* source = state.picture + rowBytes * state.rowsDelivered;
    // Rows without a gap go to their place in the whole picture, of which rows is then the beginning; others follow
    // each other from rows on.
    if (bytesPerRow == rowBytes) {
        if (wanted > 0)
            memcpy(rows + rowBytes * state.rowsDelivered, source, rowBytes * wanted);
    } else {
        for (u64 i = 0; i < wanted; i++)
            deliverRow(rows + i * bytesPerRow, source + i * rowBytes, rowBytes, bytesPerRow);
    }
    state.rowsDelivered += wanted;
    return wanted < count ? refuseRowsBehindPicture() : loadSuccess;
}

LoadStatus endLoad()
{
    release(threadState().raster.pcx);
    return loadSuccess;
}

} // namespace

void registerLoadPCX()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
