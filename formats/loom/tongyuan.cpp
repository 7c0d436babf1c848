// TongYuan dobby programs (DY), a text file: a line with the number of picks, then a line "a,b,c" for each.
//
// A pick is 32 pixels: 20 of a, then b and c in the last 12.
#include <cstdlib>

#include "formats/loom/card_file.h"
#include "framework/thread_state.h"

namespace
{

constexpr u32 width = 32;
constexpr u32 pickBytes = width / 8;
constexpr u32 leastPicks = 2;
constexpr i64 mostPicksTold = INT32_MAX; // to the host, of a file that is refused
constexpr int lineBytes = 100;
constexpr i64 mostA = 1048576;
constexpr i64 mostB = 128;
constexpr i64 mostC = 8;

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "dy", 4))
        return refuseName("dy");
    image.width = width;
    image.height = 0; // unless the file tells one
    File file;
    const LoadStatus status = openFile(request.path, file);
    if (status != loadSuccess)
        return status;
    char line[lineBytes];
    if (fgetsDosMac(line, lineBytes, file.stream) == nullptr)
        return refuse(loadWrongFormat, "the file is empty");
    if (!isDigit(line[0]))
        return refuse(loadWrongFormat, "its first line does not begin with the number of picks");
    image.height = static_cast<u32>(std::min<i64>(strtol(line, nullptr, 10), mostPicksTold));
    if (image.height < leastPicks || !isPictureSize(width, image.height))
        return refuse(loadWrongFormat, "its first line tells %u picks", image.height);
    reportBilevel(image, width, image.height, "JinagYin Tongyuan .DY", pictureOrientation);
    handOver(file, threadState().loom.tongYuan, image.height, pickBytes);
    return loadSuccess;
}

// Reads the number at place, which goes on behind it; -1 for one that is out of range.
i64 readNumber(char*& place, i64 most)
{
    char* end = nullptr;
    const i64 number = strtol(place, &end, 10);
    if (end == place || number > most)
        return -1;
    place = end;
    return number;
}

LoadStatus refusePick(const char* line)
{
    return refuse(loadBadData, "no pick is written \"%.40s\"", line);
}

LoadStatus readPick(RowFile& slot, u8* pick)
{
    char line[lineBytes + 1]; // one more character tells that the line is too long
    if (fgetsDosMac(line, sizeof line, slot.file) == nullptr)
        return refuseEarlyEnd(slot.rowsLeft);
    if (strlen(line) == lineBytes)
        return refuse(loadBadData, "a line has %d characters or more", lineBytes);
    char* place = line;
    const i64 a = readNumber(place, mostA);
    if (a < 0 || *place++ != ',')
        return refusePick(line);
    const i64 b = readNumber(place, mostB);
    if (b < 0 || *place++ != ',')
        return refusePick(line);
    const i64 c = readNumber(place, mostC);
    if (c < 0)
        return refusePick(line);
    const bool isHigh = b % 16 == 0; // then it stands before, else among the last 8 pixels
    pick[0] = static_cast<u8>(a >> 12);
    pick[1] = static_cast<u8>(a >> 4);
    pick[2] = static_cast<u8>(a << 4 | (isHigh ? b >> 4 : 0));
    pick[3] = static_cast<u8>(isHigh ? c : b << 4 | c);
    return loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    RowFile& slot = threadState().loom.tongYuan;
    if (slot.file == nullptr)
        return refuseUnopened();
    clearRows(rows, count, bytesPerRow);
    for (u64 i = 0; i < count; i++) {
        if (slot.rowsLeft == 0)
            return refuseRowsBehindPicture();
        u8 pick[pickBytes];
        const LoadStatus status = readPick(slot, pick);
        if (status != loadSuccess)
            return status;
        deliverRow(rows + i * bytesPerRow, pick, pickBytes, bytesPerRow);
        slot.rowsLeft--;
    }
    return loadSuccess;
}

LoadStatus endLoad()
{
    release(threadState().loom.tongYuan);
    return loadSuccess;
}

} // namespace

void registerLoadTongYuanDY()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
