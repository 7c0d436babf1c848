// Dornier DoTech dobby programs, text.
//
//   a line with a word, a number and the picks
//   a line
//   a line that begins with byte 5
//   a line a pick
//
// Of each of the first three, what is behind 99 characters counts as the next line.
#include "formats/loom/dornier.h"
#include "framework/path.h"
#include "framework/probe.h"

namespace
{

constexpr int lineRoom = 99 + 1;
constexpr char thirdLineMark = 5;
constexpr int mostNumber = 32;
constexpr i64 leastFileBytes = 30;
constexpr i64 leastHeadBytes = 5;
constexpr i64 mostHeadBytes = 100;

LoadStatus readPickCount(FILE* stream, i64 fileBytes, u32& picks)
{
    char line[lineRoom];
    if (fgets(line, lineRoom, stream) == nullptr)
        return refuseHeader(loadCannotRead);
    char word[lineRoom];
    int number;
    int count;
    if (sscanf(line, "%99s %d %d", word, &number, &count) != 3)
        return refuse(loadWrongFormat, "its first line is no word with two numbers");
    if (number < 0 || number > mostNumber)
        return refuse(loadWrongFormat, "the number %d of its first line is to be 0 to %d", number, mostNumber);
    if (!isPictureSize(dornierShafts, static_cast<u64>(count)))
        return refuseSize(loadWrongFormat, dornierShafts, count);
    const i64 headBytes = fileBytes - pickLineBytes * count;
    if (headBytes < leastHeadBytes || headBytes > mostHeadBytes)
        return refuse(loadWrongFormat, "the header announces %u x %d, the file holds %s", dornierShafts, count,
                      amountOf(static_cast<u64>(fileBytes)).text);
    picks = static_cast<u32>(count);
    return loadSuccess;
}

LoadStatus skipHeadLines(FILE* stream)
{
    char line[lineRoom];
    if (fgets(line, lineRoom, stream) == nullptr || fgets(line, lineRoom, stream) == nullptr)
        return refuseHeader(loadCannotRead);
    if (line[0] != thirdLineMark)
        return refuse(loadCannotRead, "its third line does not begin with byte %d", thirdLineMark);
    return loadSuccess;
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (probedHeader(request.path, leastFileBytes) == nullptr)
        return loadWrongFormat;
    if (!hasExtension(request.path, "pat"))
        return refuseName("pat");
    const i64 size = loadImgLastFilesize();
    File file;
    LoadStatus status = openFile(request.path, file);
    if (status != loadSuccess)
        return status;
    u32 picks = 0;
    status = readPickCount(file.stream, size, picks);
    if (status != loadSuccess)
        return status;

    Buffer table;
    if (request.wantPalette != 0) {
        status = skipHeadLines(file.stream);
        if (status != loadSuccess)
            return status;
        if (!table.allocate(u64{picks} * dornierPickBytes))
            return refuseMemory();
        status = readPickLines(file.stream, table.bytes, 0, picks);
        if (status != loadSuccess)
            return status;
    }
    keepDornierPicks(image, "DoTech", table, picks);
    return loadSuccess;
}

} // namespace

void registerLoadDoTech()
{
    registerEntries<tryLoad, loadDornierBand, endDornierLoad>();
}
