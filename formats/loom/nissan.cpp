// Nissan dobby programs (NAX), a text file.
//
//   header   22 bytes: "patfil", and at 17 the number of picks in four hexadecimal digits
//   pick     ten hexadecimal digits and a line end: 40 shafts, the first in the first digit's lowest bit
//
// A blank is the digit 0.
#include "formats/loom/card_file.h"
#include "framework/thread_state.h"

constexpr char mark[] = {'p', 'a', 't', 'f', 'i', 'l'};
constexpr u32 headerSize = 22;
constexpr size_t atPicks = 17;
constexpr u32 lineBytes = 11;
constexpr u32 shafts = 40;
constexpr u32 pickBytes = shafts / 8;
constexpr u32 leastPicks = 2;

constexpr u8 noDigit = 0xFF;

// Digits as the left and as the right half of a byte of pixels, their lowest bit leftmost. Whatever is no digit sets
// the whole byte.
struct DigitTables {
    u8 values[256];
    u8 left[256];
    u8 right[256];
};

static constexpr DigitTables makeDigitTables()
{
    DigitTables tables{};
    for (u32 c = 0; c < 256; c++) {
        u32 digit = noDigit;
        if (c == ' ')
            digit = 0;
        else if (c >= '0' && c <= '9')
            digit = c - '0';
        else if ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'))
            digit = (c | 0x20) - 'a' + 10;
        tables.values[c] = static_cast<u8>(digit);
        const u32 mirrored = (digit & 1) << 3 | (digit & 2) << 1 | (digit & 4) >> 1 | (digit & 8) >> 3;
        tables.left[c] = static_cast<u8>(digit == noDigit ? noDigit : mirrored << 4);
        tables.right[c] = static_cast<u8>(digit == noDigit ? noDigit : mirrored);
    }
    return tables;
}

static constexpr DigitTables digits = makeDigitTables();

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* cached = loadImgCheckHeader(request.path);
    if (cached == nullptr || loadImgLastFilesize() < headerSize || memcmp(cached, mark, sizeof mark) != 0)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    u8 header[headerSize];
    if (!readExactly(file.stream, header, sizeof header) || memcmp(header, mark, sizeof mark) != 0)
        return loadWrongFormat;
    u32 height = 0;
    for (size_t i = atPicks; i < atPicks + 4; i++) {
        if (digits.values[header[i]] == noDigit)
            return loadWrongFormat;
        height = height << 4 | digits.values[header[i]];
    }
    if (height < leastPicks || !isPictureSize(shafts, height) ||
        regularFileSize(file.stream) != headerSize + i64{lineBytes} * height)
        return loadWrongFormat;
    return keepCards(file, threadState().loom.nissan, {"Nissan", shafts, height, lineBytes}, image);
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    RowFile& slot = threadState().loom.nissan;
    u64 delivered = 0;
    const LoadStatus status = convertRows(slot, count, lineBytes, [&](const u8* line, u64 i) {
        u8 pick[pickBytes];
        for (u32 byte = 0; byte < pickBytes; byte++)
            pick[byte] = digits.left[line[2 * byte]] | digits.right[line[2 * byte + 1]];
        u8* row = rows + i * bytesPerRow;
        deliverRow(row, pick, pickBytes, bytesPerRow);
        if (bytesPerRow > pickBytes)
            reverseBits(row + pickBytes, bytesPerRow - pickBytes, false);
        delivered = i + 1;
    });
    if (status != loadSuccess) // the bits of a band that is cut short stay as the file has them
        reverseBits(rows, delivered * bytesPerRow, false);
    return status;
}

static LoadStatus endLoad()
{
    release(threadState().loom.nissan);
    return loadSuccess;
}

void registerLoadNissan()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
