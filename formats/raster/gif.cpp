// The first picture of a GIF file, in the colours of the file's global colour table.
//
//   signature           "GIF87a" or "GIF89a"
//   screen descriptor   width, height (2 bytes each), packed byte, background, pixel aspect
//   global colours      3 bytes an entry: R, G, B
//   extensions          0x21, label, data
//   image descriptor    0x2C, left, top, width, height (2 bytes each), packed byte
//   image data          minimum code size, then LZW codes in sub-blocks: a length byte and that many bytes;
//                       a length of 0 terminates
//
// A file that ends before the image data is one that cannot be read, status 3, and no damaged one.
//
// The decoder keeps its place between two bands, in the middle of a code's expansion if need be.
#include <cstdlib>

#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/probe.h"
#include "framework/thread_state.h"

namespace
{

constexpr size_t signatureBytes = 6;
constexpr u8 globalColourTable = 0x80;
constexpr u8 colourTableSize = 0x07;
constexpr u8 localColourTable = 0x80;
constexpr u8 interlaced = 0x40;

constexpr u8 extensionBlock = 0x21;
constexpr u8 imageBlock = 0x2C;
constexpr u8 trailer = 0x3B;
constexpr u8 plainTextLabel = 0x01;
constexpr u8 graphicControlLabel = 0xF9;
constexpr u8 commentLabel = 0xFE;
constexpr u8 applicationLabel = 0xFF;
constexpr u8 mostBlockBytes = 255;

// The data of a graphic control extension.
constexpr u8 graphicControlBytes = 4;
constexpr size_t atControlFlags = 0;
constexpr size_t atTransparentColour = 3;
constexpr u8 isTransparent = 0x01;

constexpr u32 mostCodes = 4096;
constexpr int mostCodeBits = 12;
constexpr u32 ringBytes = 512;
constexpr u32 mostExpansion = 5001;
constexpr u32 storeBytes = 8; // pixels are moved eight at a time

// A string of pixels that a code stands for: the string of another code and one pixel more. So that a string is not
// walked pixel by pixel, an entry also holds its tail, the last one to eight pixels, as many as are over a multiple of
// eight, and the code of the string before them. A string of 19 pixels is put together from three entries:
//
//   pixels      0 ..... 7   8 .... 15   16 17 18
//   its entry                             tail      code before the tail: B
//   B's entry                 tail                  code before the tail: A
//   A's entry     tail
//
// Decoding writes an entry a code, so the small numbers share one word:
//
//   bits 0-15 length   16-31 code before the tail   32-47 code before the last pixel   56-63 first pixel
//
// Length 0 stands for a string that has to be walked; its tail is its last pixel.
struct GifString {
    u64 tail;
    u64 numbers;

    u32 length() const { return numbers & 0xFFFF; }
    u32 beforeTail() const { return numbers >> 16 & 0xFFFF; }
    u32 beforeLast() const { return numbers >> 32 & 0xFFFF; }
    u8 first() const { return static_cast<u8>(numbers >> 56); }
    u8 last() const { return static_cast<u8>(length() == 0 ? tail : tail >> 8 * ((length() - 1) % storeBytes)); }
};

// What changes with every code. Decoding works on a copy of its own, that the compiler can keep in registers.
struct GifCursor {
    i64 bitPosition; // of the next code, since the first
    int codeSize;
    u32 nextCode;
    u32 oldCode;
    u32 code;
    u32 lineLength;
    u8 firstPixel;
};

} // namespace

struct GifDecoder {
    GifString strings[mostCodes];
    u8 expansion[mostExpansion];
    u8 ring[ringBytes + 4]; // code bytes; the first four are repeated behind the end, to be read in one piece
    i64 bytesWritten;       // into the ring, since the first
    int initialCodeSize;
    u32 clearCode;
    GifCursor cursor;
    bool terminated; // the sub-block of length 0 was read
    u64 codesMadeUp; // since the last remark: read behind the data's end, or cut short by it
    i64 madeUpUntil; // the bit position behind the last of them
    bool pending;    // the pixels on the line do not all belong to rows that were asked for
    u8* line;        // pixels that are not delivered yet: less than a row and one expansion
};

namespace
{

LoadStatus skipSubBlocks(FILE* stream)
{
    u8 skipped[mostBlockBytes];
    u8 length;
    do {
        if (!readByte(stream, length) || !readExactly(stream, skipped, length))
            return refuseHeader(loadCannotRead);
    } while (length != 0);
    return loadSuccess;
}

LoadStatus skipExtension(FILE* stream)
{
    u8 data[mostBlockBytes];
    u8 label;
    if (!readByte(stream, label))
        return refuseHeader(loadCannotRead);
    if (label == plainTextLabel || label == graphicControlLabel || label == applicationLabel) {
        u8 length;
        if (!readByte(stream, length) || !readExactly(stream, data, length))
            return refuseHeader(loadCannotRead);
        if (label == plainTextLabel)
            remark(Gravity::harmless, "the text over the picture is not drawn");
        if (label == graphicControlLabel && length >= graphicControlBytes &&
            (data[atControlFlags] & isTransparent) != 0)
            remark(Gravity::harmless, "the transparent colour %u is delivered as an opaque one",
                   data[atTransparentColour]);
    } else if (label != commentLabel) {
        return refuse(loadBadData, "an extension of the unknown kind 0x%02X", label);
    }
    return skipSubBlocks(stream);
}

struct GifScreen {
    u32 width;
    u32 height;
    u32 colours;
};

// Up to and with the global colours.
LoadStatus readScreen(FILE* stream, ImageInfo& image, GifScreen& screen)
{
    u8 signature[signatureBytes];
    u8 packed;
    if (!readExactly(stream, signature, sizeof signature) || !readLittleEndian16(stream, screen.width) ||
        !readLittleEndian16(stream, screen.height) || !readByte(stream, packed))
        return refuseHeader(loadCannotRead);
    if ((packed & globalColourTable) == 0)
        return refuse(loadUnsupportedVariant, "without a global colour table");
    screen.colours = 2u << (packed & colourTableSize);
    image.kind = kindIndexed;

    u8 background;
    u8 aspect;
    if (!readByte(stream, background) || !readByte(stream, aspect))
        return refuseHeader(loadCannotRead);
    image.resX = aspect != 0 ? (aspect + 15u) / 64 * 100000 : 0;
    image.resY = aspect != 0 ? 100000 : 0;
    return readExactly(stream, image.palette, 3 * screen.colours) ? loadSuccess : refuseHeader(loadCannotRead);
}

// Skips what stands before the first picture, and its introducer.
LoadStatus findPicture(FILE* stream)
{
    while (true) {
        u8 introducer;
        if (!readByte(stream, introducer))
            return refuseHeader(loadCannotRead);
        if (introducer == imageBlock)
            return loadSuccess;
        if (introducer == trailer)
            return refuse(loadUnsupportedVariant, "the file holds no picture");
        if (introducer != extensionBlock)
            return refuse(loadUnsupportedVariant, "a block of the unknown kind 0x%02X", introducer);
        const LoadStatus status = skipExtension(stream);
        if (status != loadSuccess)
            return status;
    }
}

LoadStatus readDescriptor(FILE* stream, ImageInfo& image, const GifScreen& screen)
{
    u32 left;
    u32 top;
    if (!readLittleEndian16(stream, left) || !readLittleEndian16(stream, top) ||
        !readLittleEndian16(stream, image.width) || !readLittleEndian16(stream, image.height))
        return refuseHeader(loadCannotRead);
    if (image.width < 1 || image.height < 1)
        return refuseSize(loadUnsupportedVariant, image.width, image.height);
    u8 packed;
    if (!readByte(stream, packed))
        return refuseHeader(loadCannotRead);
    if ((packed & interlaced) != 0)
        return refuse(loadUnsupportedVariant, "interlaced");
    if ((packed & localColourTable) != 0)
        return refuse(loadUnsupportedVariant, "colours of the picture's own beside the global ones");
    if (screen.width > image.width || screen.height > image.height)
        remark(Gravity::harmless, "the background around the picture, a screen of %u x %u, is left out", screen.width,
               screen.height);
    return loadSuccess;
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = probedHeader(request.path, signatureBytes);
    if (header == nullptr)
        return loadWrongFormat;
    if (memcmp(header, "GIF87a", signatureBytes) != 0 && memcmp(header, "GIF89a", signatureBytes) != 0)
        return refuseMark("GIF");

    File file;
    GifScreen screen{};
    LoadStatus status = openFile(request.path, file);
    if (status == loadSuccess)
        status = readScreen(file.stream, image, screen);
    if (status == loadSuccess)
        status = findPicture(file.stream);
    if (status == loadSuccess)
        status = readDescriptor(file.stream, image, screen);
    if (status != loadSuccess)
        return status;

    const u32 resX = image.resX;
    const u32 resY = image.resY;
    reportImage(image, "GIF", pictureOrientation);
    image.resX = resX;
    image.resY = resY;

    GifState& state = threadState().raster.gif;
    free(state.decoder);
    handOver(file, state.file);
    state.decoder = nullptr;
    state.colourMask = screen.colours - 1;
    state.width = image.width;
    state.rowsLeft = image.height;
    state.decodeStatus = loadSuccess;
    return loadSuccess;
}

// Appends one sub-block to the ring. The stream is the loader's own, no other thread can hold its lock.
void readSubBlock(GifDecoder& decoder, GifState& state)
{
    const int length = getc_unlocked(state.file);
    const size_t wanted = length > 0 ? static_cast<size_t>(length) : 0;
    const size_t start = static_cast<size_t>(decoder.bytesWritten) % ringBytes;
    const size_t untilEnd = std::min(wanted, ringBytes - start);
    size_t count = fread_unlocked(decoder.ring + start, 1, untilEnd, state.file);
    if (wanted > untilEnd)
        count += fread_unlocked(decoder.ring, 1, wanted - untilEnd, state.file);
    memcpy(decoder.ring + ringBytes, decoder.ring, sizeof decoder.ring - ringBytes);
    if (length == EOF || count < wanted)
        state.decodeStatus = loadCannotRead;
    decoder.terminated = count == 0;
    decoder.bytesWritten += static_cast<i64>(count);
}

[[gnu::noinline]] void countMadeUp(GifDecoder& decoder, i64 bitPosition)
{
    decoder.codesMadeUp++;
    decoder.madeUpUntil = bitPosition;
}

// The next code. Once the terminator has been read every code is 0, also the last ones before it.
inline u32 readCode(GifDecoder& decoder, GifState& state, GifCursor& cursor)
{
    i64 byteIndex = cursor.bitPosition >> 3;
    u32 usable = 0xFFFFFF;
    bool isCut = false;
    if (decoder.bytesWritten - byteIndex < 3) [[unlikely]] {
        if (decoder.terminated) {
            countMadeUp(decoder, cursor.bitPosition);
            return 0;
        }
        readSubBlock(decoder, state);
        i64 available = decoder.bytesWritten - byteIndex;
        usable = available < 2 ? 0xFF : available < 3 ? 0xFFFF : 0xFFFFFF;
        isCut = available * 8 < (cursor.bitPosition & 7) + cursor.codeSize;
    }
    u32 bits = littleEndian32(decoder.ring + static_cast<size_t>(byteIndex) % ringBytes) & usable;
    u32 code = bits >> (cursor.bitPosition & 7) & ((1u << cursor.codeSize) - 1);
    cursor.bitPosition += cursor.codeSize;
    if (isCut) [[unlikely]]
        countMadeUp(decoder, cursor.bitPosition);
    return code;
}

inline void clearTable(const GifDecoder& decoder, GifCursor& cursor)
{
    cursor.codeSize = decoder.initialCodeSize;
    cursor.nextCode = decoder.clearCode + 2;
}

LoadStatus refuseData(u32 rowsMissing)
{
    if (rowsMissing == 0)
        return refuse(loadCannotRead, "the file ends before the picture's data do");
    refuseEarlyEnd(rowsMissing);
    return loadCannotRead;
}

LoadStatus startDecoder(GifState& state)
{
    size_t lineBytes = state.width + mostExpansion + storeBytes;
    Buffer memory;
    if (!memory.allocate(sizeof(GifDecoder) + lineBytes))
        return refuseMemory();
    auto& decoder = *reinterpret_cast<GifDecoder*>(memory.bytes);
    decoder.line = memory.bytes + sizeof(GifDecoder);
    u8 minimumCodeSize;
    if (!readByte(state.file, minimumCodeSize))
        return refuseData(state.rowsLeft);
    if (minimumCodeSize >= mostCodeBits)
        return refuse(loadBadData, "codes of %d bits, more than %d", minimumCodeSize + 1, mostCodeBits);

    for (u32 colour = 0; colour <= state.colourMask; colour++)
        decoder.strings[colour] = {colour, 1 | static_cast<u64>(colour) << 56};
    decoder.clearCode = 1u << minimumCodeSize;
    decoder.strings[decoder.clearCode] = {};
    decoder.strings[decoder.clearCode + 1] = {};
    decoder.initialCodeSize = minimumCodeSize + 1;
    clearTable(decoder, decoder.cursor);
    decoder.cursor.code = readCode(decoder, state, decoder.cursor);
    if (state.decodeStatus != loadSuccess)
        return refuseData(state.rowsLeft);

    state.decoder = &decoder;
    memory.bytes = nullptr;
    return loadSuccess;
}

// Whether the string of a code was put together since the table was last cleared, from others of that kind.
inline bool isWhole(const GifDecoder& decoder, u32 colourMask, u32 nextCode, u32 code)
{
    return (code < nextCode || code <= colourMask) && decoder.strings[code].length() != 0;
}

inline void putString(const GifDecoder& decoder, GifString string, u8* pixels)
{
    u32 position = (string.length() - 1) / storeBytes * storeBytes;
    memcpy(pixels + position, &string.tail, storeBytes);
    while (position > 0)
        [[unlikely]]
        {
            string = decoder.strings[string.beforeTail()];
            position -= storeBytes;
            memcpy(pixels + position, &string.tail, storeBytes);
        }
}

// The string of a code and one pixel more.
inline GifString extend(const GifString& string, u32 code, u8 pixel)
{
    constexpr u64 lengthAndFirst = 0xFF0000000000FFFF;
    constexpr u64 codeBeforeTail = 0xFFFF0000;
    const u64 filled = string.numbers % storeBytes;
    const u64 tail = filled != 0 ? string.tail : 0;
    const u64 before = filled != 0 ? string.numbers & codeBeforeTail : static_cast<u64>(code) << 16;
    return {tail | static_cast<u64>(pixel) << 8 * filled,
            ((string.numbers & lengthAndFirst) + 1) | before | static_cast<u64>(code) << 32};
}

// Expands a code pixel by pixel along whatever chain the table holds, a circular one included. Returns the number of
// pixels, 0 when the chain has no end.
[[gnu::noinline]] u32 walkString(GifDecoder& decoder, u32 colourMask, u32 code, bool undefined, u8 firstPixel,
                                 u8* pixels)
{
    u32 count = 0;
    if (undefined)
        decoder.expansion[count++] = firstPixel;
    for (; code > colourMask; code = decoder.strings[code].beforeLast()) {
        if (count == mostExpansion - 1)
            return 0;
        decoder.expansion[count++] = decoder.strings[code].last();
    }
    decoder.expansion[count++] = static_cast<u8>(code);
    for (u32 i = 0; i < count; i++)
        pixels[i] = decoder.expansion[count - 1 - i];
    return count;
}

// Appends the pixels of the current code to the line; false when they have no end.
inline bool expandCode(GifDecoder& decoder, u32 colourMask, GifCursor& cursor)
{
    u8* pixels = decoder.line + cursor.lineLength;
    // A code that is about to be defined stands for the old string and that string's first pixel.
    const bool undefined = cursor.code >= cursor.nextCode;
    const u32 known = undefined ? cursor.oldCode : cursor.code;
    u32 length;
    if (isWhole(decoder, colourMask, cursor.nextCode, known)) [[likely]] {
        const GifString& string = decoder.strings[known];
        putString(decoder, string, pixels);
        length = string.length();
        if (undefined)
            pixels[length++] = cursor.firstPixel;
        cursor.firstPixel = string.first();
    } else {
        length = walkString(decoder, colourMask, known, undefined, cursor.firstPixel, pixels);
        if (length == 0)
            return false;
        cursor.firstPixel = pixels[0];
    }
    cursor.lineLength += length;
    return true;
}

// The next free code becomes the old string and the first pixel of the current one.
inline void defineCode(GifDecoder& decoder, u32 colourMask, GifCursor& cursor)
{
    const u32 old = cursor.oldCode;
    cursor.oldCode = cursor.code;
    if (cursor.nextCode >= mostCodes)
        return;
    // A code among the colours stands for its colour whatever is defined.
    if (cursor.nextCode > colourMask) {
        const bool whole = isWhole(decoder, colourMask, cursor.nextCode, old);
        decoder.strings[cursor.nextCode] = whole ? extend(decoder.strings[old], old, cursor.firstPixel)
                                                 : GifString{cursor.firstPixel, static_cast<u64>(old) << 32};
    }
    cursor.nextCode++;
    if (cursor.nextCode >= 1u << cursor.codeSize && cursor.codeSize < mostCodeBits)
        cursor.codeSize++;
}

// Decodes ordinary codes as long as nothing else is due: no code that is special or not yet defined, no end of a row,
// no new sub-block, no larger code size. What it leaves is decoded step by step.
inline void decodeOrdinaryCodes(GifDecoder& decoder, u32 colourMask, u32 width, GifCursor& cursor)
{
    const u32 codeMask = (1u << cursor.codeSize) - 1;
    const i64 lastPosition = (decoder.bytesWritten - 3) * 8 + 7;
    // The code size grows with the last code that fits it.
    if (cursor.nextCode <= colourMask || cursor.nextCode >= codeMask || cursor.bitPosition > lastPosition ||
        !isWhole(decoder, colourMask, cursor.nextCode, cursor.oldCode))
        return;
    // Counted as if all codes were of the largest size.
    const i64 codesAvailable = (lastPosition - cursor.bitPosition) / mostCodeBits + 1;
    const u32 stopCode = cursor.nextCode + static_cast<u32>(std::min<i64>(codesAvailable, codeMask - cursor.nextCode));

    const u8* const ring = decoder.ring;
    const u32 codeSize = static_cast<u32>(cursor.codeSize);
    // The ring is as long as the position is kept: positions only wrap with it.
    u32 bitPosition = static_cast<u32>(cursor.bitPosition);
    const u8* const lineEnd = decoder.line + width;
    u8* pixels = decoder.line + cursor.lineLength;
    u32 nextCode = cursor.nextCode;
    u32 oldCode = cursor.oldCode;
    u32 code = cursor.code;
    GifString old = decoder.strings[oldCode];
    while (nextCode < stopCode && code < nextCode) {
        const GifString string = decoder.strings[code];
        const u32 length = string.length();
        if (length == 0 || pixels + length >= lineEnd)
            break;
        if (length <= storeBytes) [[likely]]
            memcpy(pixels, &string.tail, storeBytes);
        else
            putString(decoder, string, pixels);
        pixels += length;
        decoder.strings[nextCode++] = extend(old, oldCode, string.first());
        old = string;
        oldCode = code;
        code = littleEndian32(ring + bitPosition / 8 % ringBytes) >> bitPosition % 8 & codeMask;
        bitPosition += codeSize;
    }
    if (nextCode != cursor.nextCode)
        cursor.firstPixel = old.first();
    cursor.bitPosition += bitPosition - static_cast<u32>(cursor.bitPosition);
    cursor.nextCode = nextCode;
    cursor.oldCode = oldCode;
    cursor.code = code;
    cursor.lineLength = static_cast<u32>(pixels - decoder.line);
}

// The rows that are asked for, and how many of them are complete.
struct GifBand {
    u8* rows;
    u32 count;
    u32 complete;
    u32 bytesPerRow;
};

// Moves the complete rows from the line to the band and returns how many pixels stay on the line.
[[gnu::noinline]] u32 deliverRows(GifDecoder& decoder, u32 width, u32 lineLength, GifBand& band)
{
    u32 delivered = 0;
    while (lineLength - delivered >= width && band.complete < band.count) {
        deliverRow(band.rows + static_cast<u64>(band.complete) * band.bytesPerRow, decoder.line + delivered, width,
                   band.bytesPerRow);
        delivered += width;
        band.complete++;
    }
    memmove(decoder.line, decoder.line + delivered, lineLength - delivered);
    return lineLength - delivered;
}

LoadStatus decodeRows(GifDecoder& decoder, GifState& state, GifCursor& cursor, GifBand& band)
{
    const u32 clearCode = decoder.clearCode;
    const u32 endCode = clearCode + 1;
    const u32 colourMask = state.colourMask;
    const u32 width = state.width;
    bool resumes = decoder.pending;
    while (true) {
        if (band.complete == band.count)
            return loadSuccess;
        decoder.pending = false;
        if (!resumes) {
            // Once the data have come to their end, every call delivers one code more.
            if (state.decodeStatus == loadSuccess)
                decodeOrdinaryCodes(decoder, colourMask, width, cursor);
            if (cursor.code == endCode)
                return loadSuccess;
        }
        const bool clears = !resumes && cursor.code == clearCode;
        if (clears) {
            clearTable(decoder, cursor);
            cursor.oldCode = readCode(decoder, state, cursor);
            cursor.firstPixel = static_cast<u8>(cursor.oldCode & colourMask);
            decoder.line[cursor.lineLength++] = cursor.firstPixel;
        } else if (!resumes && !expandCode(decoder, colourMask, cursor)) {
            return refuse(loadBadData, "a code that stands for more than %u pixels", mostExpansion - 1);
        }
        resumes = false;

        if (cursor.lineLength >= width) {
            cursor.lineLength = deliverRows(decoder, width, cursor.lineLength, band);
            decoder.pending = band.complete == band.count && cursor.lineLength > 0;
            if (decoder.pending)
                return loadSuccess;
        }
        if (!clears)
            defineCode(decoder, colourMask, cursor);
        cursor.code = readCode(decoder, state, cursor);
        if (state.decodeStatus != loadSuccess)
            return refuseData(state.rowsLeft - band.complete);
    }
}

// Whether a further picture follows, with or without a graphic control before it.
bool isPictureNext(FILE* stream)
{
    u8 introducer = 0;
    u8 label = 0;
    return readByte(stream, introducer) &&
           (introducer == imageBlock ||
            (introducer == extensionBlock && readByte(stream, label) && label == graphicControlLabel));
}

// Nothing of the picture is read any more. Codes may end with an emptied table, too.
void remarkRest(GifDecoder& decoder, GifState& state)
{
    u32 code = decoder.cursor.code;
    if (!decoder.pending && code == decoder.clearCode) {
        clearTable(decoder, decoder.cursor);
        code = readCode(decoder, state, decoder.cursor);
    }
    const bool isLeft = decoder.pending || (code != decoder.clearCode + 1 && decoder.codesMadeUp == 0);
    u8 length = 0;
    if (!decoder.terminated && readByte(state.file, length))
        decoder.terminated = length == 0;
    if (isLeft || length != 0)
        remark(Gravity::harmless, "the data go on behind the picture's last row");
    if (decoder.terminated && isPictureNext(state.file))
        remark(Gravity::harmless, "further pictures are not read");
}

// What was made up of the band, and what is left out behind the picture's last row: a look at the next few bytes.
void remarkBand(GifDecoder& decoder, GifState& state, const GifBand& band)
{
    remarkCount(Gravity::grave, band.count - band.complete,
                "rows that the data lack, in full or in part, are left as they were");
    // A code that was read last is still to come.
    const u64 toCome = decoder.codesMadeUp > 0 && decoder.cursor.bitPosition == decoder.madeUpUntil ? 1 : 0;
    remarkCount(Gravity::grave, decoder.codesMadeUp - toCome, "codes behind the end of the data are made up");
    decoder.codesMadeUp = toCome;
    if (state.rowsLeft == 0 && band.complete > 0)
        remarkRest(decoder, state);
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    GifState& state = threadState().raster.gif;
    if (state.file == nullptr)
        return refuseUnopened();
    if (state.decoder == nullptr) {
        LoadStatus status = startDecoder(state);
        if (status != loadSuccess || state.decoder == nullptr)
            return status;
    }

    GifDecoder& decoder = *state.decoder;
    GifBand band{rows, std::min(count, state.rowsLeft), 0, bytesPerRow};
    GifCursor cursor = decoder.cursor;
    LoadStatus status = decodeRows(decoder, state, cursor, band);
    state.rowsLeft -= band.complete;
    // What was decoded of a row before the data came to their end is delivered too.
    if (!decoder.pending && cursor.lineLength > 0) {
        deliverRow(band.rows + static_cast<u64>(band.complete) * bytesPerRow, decoder.line, cursor.lineLength,
                   bytesPerRow);
        cursor.lineLength = 0;
    }
    decoder.cursor = cursor;
    if (status == loadSuccess)
        remarkBand(decoder, state, band);
    return status;
}

LoadStatus endLoad()
{
    GifState& state = threadState().raster.gif;
    free(state.decoder);
    state.decoder = nullptr;
    closeSlot(state.file);
    return loadSuccess;
}

} // namespace

void registerLoadGIF()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
