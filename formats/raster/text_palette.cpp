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
#include "framework/thread_state.h"

constexpr FormatId textPalette = 63;
constexpr i64 largestFile = 50000;
constexpr u32 usualColumns = 16;
constexpr u32 mostColumns = 256;
constexpr size_t shortestColour = 3; // characters of a line

struct Line {
    char text[100];
};

// At the end of the file the line is empty.
static void readLine(FILE* stream, Line& line)
{
    fgetsDosMac(line.text, sizeof line.text, stream);
}

static bool beginsWith(const Line& line, const char* beginning)
{
    return strncmp(line.text, beginning, strlen(beginning)) == 0;
}

static bool parseColour(const Line& line, u8* colour)
{
    return sscanf(line.text, "%hhu %hhu %hhu", &colour[0], &colour[1], &colour[2]) == 3;
}

// Each returns the number of colours, 0 when the file is no such palette.

static u32 readJasc(FILE* stream, u8* palette)
{
    Line line;
    readLine(stream, line);
    if (!beginsWith(line, "0100"))
        return 0;
    readLine(stream, line);
    const i64 colours = strtol(line.text, nullptr, 10);
    if (colours != 16 && colours != 256)
        return 0;
    for (i64 i = 0; i < colours; i++) {
        readLine(stream, line);
        if (!parseColour(line, palette + 3 * i))
            return 0;
    }
    return static_cast<u32>(colours);
}

// The colours up to the end of the file. Lines that begin with the mark are none; 0 marks no line.
static u32 readColours(FILE* stream, char mark, u8* palette)
{
    u32 colours = 0;
    while (feof(stream) == 0 && ferror(stream) == 0 && colours < paletteColours) {
        Line line;
        readLine(stream, line);
        if (strlen(line.text) < shortestColour || (mark != 0 && line.text[0] == mark))
            continue;
        if (!parseColour(line, palette + size_t{3} * colours))
            return 0;
        colours++;
    }
    return colours;
}

static u32 readGimp(FILE* stream, u8* palette, u32& columns)
{
    constexpr const char* columnsKey = "Columns:";
    Line line;
    readLine(stream, line);
    if (beginsWith(line, "Name:"))
        readLine(stream, line);
    if (beginsWith(line, columnsKey)) {
        if (line.text[strlen(columnsKey)] != 0) {
            const i64 number = strtol(line.text + strlen(columnsKey), nullptr, 10);
            columns = static_cast<u32>(number);
            if (number < 1 || number > mostColumns)
                return 0;
        }
        readLine(stream, line); // where the first comment stands
    }
    return readColours(stream, '#', palette);
}

static u32 readPlainList(FILE* stream, const Line& firstLine, u8* palette)
{
    int values[3];
    if (sscanf(firstLine.text, "%d %d %d", &values[0], &values[1], &values[2]) != 3)
        return 0;
    for (int value : values) {
        if (value < 0 || value > 255)
            return 0;
    }
    rewind(stream);
    return readColours(stream, 0, palette);
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const bool isPal = hasExtension(request.path, "pal");
    const bool isGpl = hasExtension(request.path, "gpl");
    if ((!isPal && !isGpl) || loadImgCheckHeader(request.path) == nullptr || loadImgLastFilesize() > largestFile)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    memset(image.palette, 0, size_t{3} * paletteColours);
    image.width = usualColumns;

    Line line;
    readLine(file.stream, line);
    const bool isGimp = isGpl && beginsWith(line, "GIMP Palette");
    u32 colours;
    if (isPal && beginsWith(line, "JASC-PAL"))
        colours = readJasc(file.stream, image.palette);
    else if (isGimp)
        colours = readGimp(file.stream, image.palette, image.width);
    else
        colours = readPlainList(file.stream, line, image.palette);
    if (colours == 0)
        return loadWrongFormat;

    image.kind = kindIndexed;
    reportPaletteSize(image, colours, image.width);
    reportImage(image, isGimp ? "Gimp .GPL" : isPal ? "Jasc .PAL" : "Palette", loomOrientation);
    keepPaletteFile(file, textPalette, colours);
    return loadSuccess;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    const PaletteFileState& state = threadState().raster.palette;
    if (state.file == nullptr || state.format != textPalette)
        return loadBadData;
    return deliverColourNumbers(rows, count, bytesPerRow, state.colours);
}

void registerLoadPAL()
{
    registerEntries<tryLoad, loadBand, endPaletteFile>();
}
