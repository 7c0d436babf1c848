#include "formats/loom/dornier.h"

#include <cstring>

#include "framework/rows.h"
#include "framework/thread_state.h"

namespace
{

constexpr size_t leastLineLength = 24;
constexpr int lineRoom = 26 + 1;

// -1 for what is no digit
int hexDigit(char c)
{
    const int lower = tolowerAZ(c);
    if (isDigit(lower))
        return lower - '0';
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

bool parsePick(const char* line, u8* pick)
{
    if (strlen(line) < leastLineLength)
        return false;
    for (u32 i = 0; i < dornierPickBytes; i++, line += 3) {
        const int high = hexDigit(line[0]);
        const int low = hexDigit(line[1]);
        if (high < 0 || low < 0 || (i + 1 < dornierPickBytes && !isBlank(line[2])))
            return false;
        pick[i] = static_cast<u8>(high << 4 | low);
    }
    return true;
}

} // namespace

LoadStatus readPickLine(FILE* stream, u8* pick)
{
    char line[lineRoom];
    if (fgets(line, lineRoom, stream) == nullptr)
        return refuse(loadCannotRead, "the line of a pick is missing");
    if (!parsePick(line, pick)) {
        line[strcspn(line, "\r\n")] = 0;
        return refuse(loadWrongFormat, "the line of a pick does not hold eight hexadecimal numbers: \"%s\"", line);
    }
    return loadSuccess;
}

LoadStatus readPickLines(FILE* stream, u8* table, u32 first, u32 picks)
{
    u32 pick = first;
    for (; pick < picks && feof(stream) == 0; pick++) {
        const LoadStatus status = readPickLine(stream, table + u64{pick} * dornierPickBytes);
        if (status != loadSuccess)
            return status;
    }
    remarkCount(Gravity::grave, picks - pick, "picks that the file lacks are clear");
    remarkFileSize(stream, 0, dornierShafts, picks); // what is behind the picks
    return loadSuccess;
}

void keepDornierPicks(ImageInfo& image, const char* description, Buffer& table, u32 picks)
{
    reportBilevel(image, dornierShafts, picks, description, loomOrientation);
    handOver(table, threadState().loom.dornier, picks, dornierPickBytes);
}

LoadStatus loadDornierBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.dornier, rows, count, bytesPerRow, BitOrder::reversed);
}

LoadStatus endDornierLoad()
{
    release(threadState().loom.dornier);
    return loadSuccess;
}
