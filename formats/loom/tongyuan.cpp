// TongYuan dobby programs (DY), a text file: a line with the number of picks, then a line "a,b,c" for each.
//
// A pick is 32 pixels: 20 of a, then b and c in the last 12.
#include <cstdlib>

#include "formats/loom/card_file.h"
#include "framework/path.h"
#include "framework/thread_state.h"

constexpr u32 width = 32;
constexpr u32 pickBytes = width / 8;
constexpr u32 leastPicks = 2;
constexpr i64 mostHeight = INT32_MAX; // that is told of a file, which is refused
constexpr int lineBytes = 100;
constexpr i64 mostA = 1048576;
constexpr i64 mostB = 128;
constexpr i64 mostC = 8;

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "dy", 4))
        return loadWrongFormat;
    image.width = width;
    image.height = 0; // unless the file tells one
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    char line[lineBytes];
    if (fgetsDosMac(line, lineBytes, file.stream) == nullptr || line[0] < '0' || line[0] > '9')
        return loadWrongFormat;
    image.height = static_cast<u32>(std::min(strtol(line, nullptr, 10), mostHeight));
    if (image.height < leastPicks || !isPictureSize(width, image.height))
        return loadWrongFormat;
    reportBilevel(image, width, image.height, "JinagYin Tongyuan .DY", pictureOrientation);
    handOver(file, threadState().loom.tongYuan, image.height, pickBytes);
    return loadSuccess;
}

// Reads the number at place, which goes on behind it; -1 for one that is out of range.
static i64 readNumber(char*& place, i64 most)
{
    char* end = nullptr;
    const i64 number = strtol(place, &end, 10);
    if (end == place || number > most)
        return -1;
    place = end;
    return number;
}

static bool readPick(FILE* stream, u8* pick)
{
    char line[lineBytes + 1]; // one more character tells that the line is too long
    if (fgetsDosMac(line, sizeof line, stream) == nullptr || strlen(line) == lineBytes)
        return false;
    char* place = line;
    const i64 a = readNumber(place, mostA);
    if (a < 0 || *place++ != ',')
        return false;
    const i64 b = readNumber(place, mostB);
    if (b < 0 || *place++ != ',')
        return false;
    const i64 c = readNumber(place, mostC);
    if (c < 0)
        return false;
    const bool isHigh = b % 16 == 0; // then it stands before, else among the last 8 pixels
    pick[0] = static_cast<u8>(a >> 12);
    pick[1] = static_cast<u8>(a >> 4);
    pick[2] = static_cast<u8>(a << 4 | (isHigh ? b >> 4 : 0));
    pick[3] = static_cast<u8>(isHigh ? c : b << 4 | c);
    return true;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    RowFile& slot = threadState().loom.tongYuan;
    if (slot.file == nullptr)
        return loadBadData;
    clearRows(rows, count, bytesPerRow);
    for (u64 i = 0; i < count; i++) {
        u8 pick[pickBytes];
        if (slot.rowsLeft == 0 || !readPick(slot.file, pick))
            return loadBadData;
        deliverRow(rows + i * bytesPerRow, pick, pickBytes, bytesPerRow);
        slot.rowsLeft--;
    }
    return loadSuccess;
}

static LoadStatus endLoad()
{
    release(threadState().loom.tongYuan);
    return loadSuccess;
}

void registerLoadTongYuanDY()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
