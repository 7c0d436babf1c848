// Nissan dobby programs (NAX), a text file.
//
//   header   22 bytes: "patfil", and at 17 the number of picks in four hexadecimal digits
//   pick     ten hexadecimal digits and a line end: 40 shafts, the first in the first digit's lowest bit
//
// A blank is the digit 0.
#include <string_view>

#include "formats/loom/card_file.h"
#include "framework/probe.h"
#include "framework/thread_state.h"

namespace
{

constexpr std::string_view mark = "patfil";
constexpr u32 headerSize = 22;
constexpr size_t atPicks = 17;
constexpr size_t picksDigits = 4;
constexpr u32 lineBytes = 11;
constexpr u32 shafts = 40;
constexpr u32 pickBytes = shafts / 8;
constexpr u32 leastPicks = 2;

constexpr u8 noDigit = 0xFF;

// Digits as the left and as the right half of a byte of pixels, their lowest bit leftmost. Whatever is no digit sets
// the whole byte, and a bit above it.
constexpr u32 noDigitPixels = 0x1FF;

struct DigitTables {
    u8 values[256];
    u16 left[256];
    u16 right[256];
};

constexpr DigitTables makeDigitTables()
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
        tables.left[c] = static_cast<u16>(digit == noDigit ? noDigitPixels : mirrored << 4);
        tables.right[c] = static_cast<u16>(digit == noDigit ? noDigitPixels : mirrored);
    }
    return tables;
}

constexpr DigitTables digits = makeDigitTables();

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (probedMark(request.path, mark, "Nissan", headerSize) == nullptr)
        return loadWrongFormat;
    File file;
    u8 header[headerSize];
    const LoadStatus status = openFile(request.path, file, header, sizeof header, loadWrongFormat);
    if (status != loadSuccess)
        return status;
    if (memcmp(header, mark.data(), mark.size()) != 0)
        return refuseMark("Nissan");
    u32 height = 0;
    for (size_t i = atPicks; i < atPicks + picksDigits; i++) {
        if (digits.values[header[i]] == noDigit)
            return refuse(loadWrongFormat, "its number of picks is no hexadecimal number: %.4s",
                          reinterpret_cast<const char*>(header + atPicks));
        height = height << 4 | digits.values[header[i]];
    }
    if (height < leastPicks || !isPictureSize(shafts, height))
        return refuseSize(loadWrongFormat, shafts, height);
    const i64 size = regularFileSize(file.stream);
    if (size != headerSize + i64{lineBytes} * height)
        return refuseFileSize(loadWrongFormat, shafts, height, size);
    return keepCards(file, threadState().loom.nissan, {"Nissan", shafts, height, lineBytes}, image);
}

// How many bytes of a pick have a digit that is none.
u32 countNoDigits(const u8* line)
{
    u32 count = 0;
    for (u32 byte = 0; byte < pickBytes; byte++)
        count += digits.values[line[2 * byte]] == noDigit || digits.values[line[2 * byte + 1]] == noDigit;
    return count;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    RowFile& slot = threadState().loom.nissan;
    u64 delivered = 0;
    u64 noDigits = 0;
    const LoadStatus status = convertRows(slot, count, lineBytes, [&](const u8* line, u64 i) {
        u8* row = rows + i * bytesPerRow;
        u8 narrow[pickBytes];
        u8* pick = bytesPerRow < pickBytes ? narrow : row;
        u32 seen = 0;
        for (u32 byte = 0; byte < pickBytes; byte++) {
            const u32 pixels = digits.left[line[2 * byte]] | digits.right[line[2 * byte + 1]];
            pick[byte] = static_cast<u8>(pixels);
            seen |= pixels;
        }
        if (seen > UINT8_MAX)
            noDigits += countNoDigits(line);
        if (pick == narrow)
            deliverRow(row, narrow, pickBytes, bytesPerRow);
        else if (bytesPerRow > pickBytes)
            reverseBits(row + pickBytes, bytesPerRow - pickBytes, false);
        delivered = i + 1;
    });
    remarkCount(Gravity::grave, noDigits, "bytes of picks are no hexadecimal digits and lift all of their shafts");
    if (status != loadSuccess) // the bits of a band that is cut short stay as the file has them
        reverseBits(rows, delivered * bytesPerRow, false);
    return status;
}

LoadStatus endLoad()
{
    release(threadState().loom.nissan);
    return loadSuccess;
}

} // namespace

void registerLoadNissan()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
