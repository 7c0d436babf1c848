// Palettes as text, a colour a line: red, green and blue in decimal numbers. Numbers above 255 wrap around.
//
//   JASC-PAL       "JASC-PAL", "0100", the number of colours (16 or 256), the colours
//   GIMP Palette   "GIMP Palette", "Name: ..." and "Columns: n" or neither, a line that does not count, the colours;
//                  lines that begin with '#' and those of less than three characters are skipped
//   a plain list   the colours alone; lines of less than three characters are skipped
#include <cstdlib>

#include "formats/raster/palette_file.h"
#include "framework/bytes.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/thread_state.h"

namespace
{

constexpr i64 mostBytes = 50000;
constexpr u32 usualColumns = 16;
constexpr u32 mostColumns = 256;
constexpr size_t leastCharacters = 3; // of a colour's line

struct Line {
    char text[100];
};

// At the end of the file the line is empty.
void readLine(FILE* stream, Line& line)
{
    fgetsDosMac(line.text, sizeof line.text, stream);
}

bool parseColour(const Line& line, u8* colour)
{
    return sscanf(line.text, "%hhu %hhu %hhu", &colour[0], &colour[1], &colour[2]) == 3;
}

void remarkWrappedNumbers(const Line& line)
{
    long values[3];
    if (sscanf(line.text, "%ld %ld %ld", &values[0], &values[1], &values[2]) != 3)
        return;
    for (long value : values) {
        if (value < 0 || value > 255) {
            remarkCount(Gravity::grave, 1, "colours have numbers outside 0 to 255, which wrap around");
            return;
        }
    }
}

LoadStatus readColour(const Line& line, u32 index, u8* palette)
{
    if (!parseColour(line, palette + size_t{3} * index))
        return refuse(loadWrongFormat, "the line of its colour %u holds no three numbers", index + 1);
    remarkWrappedNumbers(line);
    return loadSuccess;
}

LoadStatus readJasc(FILE* stream, u8* palette, u32& colours)
{
    Line line;
    readLine(stream, line);
    if (!startsWith(line.text, "0100"))
        return refuse(loadWrongFormat, "its second line is not 0100");
    readLine(stream, line);
    const i64 announced = strtol(line.text, nullptr, 10);
    if (announced != 16 && announced != 256)
        return refuse(loadWrongFormat, "it announces %lld colours instead of 16 or 256",
                      static_cast<long long>(announced));
    for (colours = 0; colours < announced; colours++) {
        readLine(stream, line);
        const LoadStatus status = readColour(line, colours, palette);
        if (status != loadSuccess)
            return status;
    }
    return loadSuccess;
}

// The colours up to the end of the file. Lines that begin with the mark are none; 0 marks no line.
LoadStatus readColours(FILE* stream, char mark, u8* palette, u32& colours)
{
    colours = 0;
    while (feof(stream) == 0 && ferror(stream) == 0) {
        Line line;
        readLine(stream, line);
        if (strlen(line.text) < leastCharacters || (mark != 0 && line.text[0] == mark))
            continue;
        u8 ignored[3];
        if (colours == paletteColours) {
            remarkCount(Gravity::grave, parseColour(line, ignored) ? 1 : 0, "colours behind the 256th are not read");
            continue;
        }
        const LoadStatus status = readColour(line, colours, palette);
        if (status != loadSuccess)
            return status;
        colours++;
    }
    return colours > 0 ? loadSuccess : refuse(loadWrongFormat, "it holds no colours");
}

LoadStatus readGimp(FILE* stream, u8* palette, u32& columns, u32& colours)
{
    constexpr const char* columnsKey = "Columns:";
    Line line;
    readLine(stream, line);
    if (startsWith(line.text, "Name:"))
        readLine(stream, line);
    if (startsWith(line.text, columnsKey)) {
        if (line.text[strlen(columnsKey)] != 0) {
            const i64 number = strtol(line.text + strlen(columnsKey), nullptr, 10);
            columns = static_cast<u32>(number);
            if (number < 1 || number > mostColumns)
                return refuse(loadWrongFormat, "it has %lld columns", static_cast<long long>(number));
        }
        readLine(stream, line); // where the first comment stands
    }
    u8 ignored[3];
    if (parseColour(line, ignored))
        remark(Gravity::grave, "the first colour is not read: it stands where a comment does");
    return readColours(stream, '#', palette, colours);
}

LoadStatus readPlainList(FILE* stream, const Line& firstLine, u8* palette, u32& colours)
{
    constexpr const char* otherBeginning = "it begins neither as a palette of its name nor with three numbers to 255";
    int values[3];
    if (sscanf(firstLine.text, "%d %d %d", &values[0], &values[1], &values[2]) != 3)
        return refuse(loadWrongFormat, otherBeginning);
    for (int value : values) {
        if (value < 0 || value > 255)
            return refuse(loadWrongFormat, otherBeginning);
    }
    rewind(stream);
    return readColours(stream, 0, palette, colours);
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const bool isPal = hasExtension(request.path, "pal");
    const bool isGpl = hasExtension(request.path, "gpl");
    if (!isPal && !isGpl)
        return refuse(loadWrongFormat, "the name ends neither in .pal nor in .gpl");
    if (probedHeader(request.path, 0) == nullptr)
        return loadWrongFormat;
    if (loadImgLastFilesize() > mostBytes)
        return refuse(loadWrongFormat, "the file is too large for a palette: %s",
                      amountOf(static_cast<u64>(loadImgLastFilesize())).text);
    File file;
    LoadStatus status = openFile(request.path, file);
    if (status != loadSuccess)
        return status;
    memset(image.palette, 0, size_t{3} * paletteColours);
    image.width = usualColumns;

    Line line;
    readLine(file.stream, line);
    const bool isGimp = isGpl && startsWith(line.text, "GIMP Palette");
    u32 colours = 0;
    if (isPal && startsWith(line.text, "JASC-PAL"))
        status = readJasc(file.stream, image.palette, colours);
    else if (isGimp)
        status = readGimp(file.stream, image.palette, image.width, colours);
    else
        status = readPlainList(file.stream, line, image.palette, colours);
    if (status != loadSuccess)
        return status;

    image.kind = kindIndexed;
    reportPaletteSize(image, colours, image.width);
    reportImage(image, isGimp ? "Gimp .GPL" : isPal ? "Jasc .PAL" : "Palette", loomOrientation);
    keepPaletteFile(file, formatPalette, colours);
    return loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    const PaletteFileState& state = threadState().raster.palette;
    if (state.file == nullptr || state.format != formatPalette)
        return refuseUnopened();
    return deliverColourNumbers(rows, count, bytesPerRow, state.colours);
}

} // namespace

void registerLoadPAL()
{
    registerEntries<tryLoad, loadBand, endPaletteFile>();
}
