// Photoshop's colour swatches and colour books. All numbers are big-endian, those of 16 bits have a sign; a name is a
// number of characters in 32 bits and as many characters of 16 bits.
//
//   swatches (.aco)  version (16 bits, 1 or 2), count (16), then a record a colour: its space and four components
//                    (16 each), in version 2 followed by its name. What a file of version 1 appends is not read.
//   books (.acb)     "8BCB", version (16, always 1), identifier (16), four names, then count, colours of a page,
//                    selector, colour space (16 each), then a record a colour: its name, a code of 6 bytes and a byte
//                    for each component
//
// Up to 255 colours become a palette, more are decoded into RGB pixels while the rows are delivered.
#include "formats/raster/palette_file.h"
#include "framework/bytes.h"
#include "framework/thread_state.h"

constexpr FormatId swatches = 67;
constexpr FormatId book = 68;
constexpr i64 largestFile = 1000000;
constexpr i64 probedBytes = 6;
constexpr u32 swatchColumns = 7;
constexpr off_t bookNames = 8;
constexpr int bookNameCount = 4;
constexpr size_t bookCodeBytes = 6;

constexpr i32 spaceRgb = 0;
constexpr i32 spaceHsb = 1;
constexpr i32 spaceCmyk = 2;
constexpr i32 spaceLab = 7;
constexpr i32 spaceGrey = 8;

static bool readNumber(FILE* stream, i32& value)
{
    u8 bytes[2];
    if (!readExactly(stream, bytes, sizeof bytes))
        return false;
    value = static_cast<int16_t>(bigEndian16(bytes));
    return true;
}

// A name that goes on behind the file ends there. Of a name of one character only the length is stored.
static void skipName(FILE* stream)
{
    u8 bytes[512];
    if (!readExactly(stream, bytes, 4))
        return;
    const u64 characters = bigEndian32(bytes);
    u64 left = characters > 1 ? 2 * characters : 0;
    while (left > 0) {
        const u64 size = std::min<u64>(left, sizeof bytes);
        if (!readExactly(stream, bytes, size))
            return;
        left -= size;
    }
}

// A component of a colour in inks, as numbers that wrap around.
static u8 ofInk(i32 ink, i32 black)
{
    return static_cast<u8>((ink - 1) * (1 - black));
}

// Decodes the next record into three bytes; those of an unknown colour space stay as they are. False at the end of the
// file.
using ReadColour = bool (*)(FILE* stream, u32 variant, u8* colour);

static bool readSwatch(FILE* stream, u32 version, u8* colour)
{
    i32 space;
    i32 components[4];
    if (!readNumber(stream, space))
        return false;
    for (i32& component : components) {
        if (!readNumber(stream, component))
            return false;
    }
    switch (space) {
    case spaceRgb:
        for (int i = 0; i < 3; i++)
            colour[i] = static_cast<u8>(components[i]);
        break;
    case spaceHsb: {
        const i32 hsl[3] = {components[0] & 0xFF, components[1] & 0xFF, components[2] & 0xFF};
        u32 rgb[3];
        HSLtoRGB(hsl, rgb);
        for (int i = 0; i < 3; i++)
            colour[i] = static_cast<u8>(rgb[i]);
        break;
    }
    case spaceCmyk:
        for (int i = 0; i < 3; i++)
            colour[i] = ofInk(components[i], components[3]);
        break;
    case spaceLab:
        Lab2RGB100(components[0] & 0xFFFF, components[1], components[2], &colour[0], &colour[1], &colour[2]);
        break;
    case spaceGrey:
        colour[0] = colour[1] = colour[2] = static_cast<u8>(static_cast<i32>(components[0] / 39.0625));
        break;
    default:
        break;
    }
    if (version == 2)
        skipName(stream);
    return true;
}

static bool readBookColour(FILE* stream, u32 space, u8* colour)
{
    u8 code[bookCodeBytes];
    u8 components[4];
    const size_t size = space == spaceCmyk ? 4 : 3;
    skipName(stream);
    if (!readExactly(stream, code, sizeof code) || !readExactly(stream, components, size))
        return false;
    if (space == spaceRgb) {
        memcpy(colour, components, size);
    } else if (space == spaceCmyk) {
        for (int i = 0; i < 3; i++)
            colour[i] = ofInk(components[i], components[3]);
    } else {
        Lab2RGB100(static_cast<i32>(components[0] / 255.0 * 10000.0), components[1] * 100 - 12800,
                   components[2] * 100 - 12800, &colour[0], &colour[1], &colour[2]);
    }
    return true;
}

// The name passes when a single one of the extension's characters stands in its place.
static bool hasNameOfPalette(const char* path, char lastLetter)
{
    const size_t length = strlen(path);
    return length >= 5 && (path[length - 4] == '.' || tolowerAZ(path[length - 3]) == 'a' ||
                           tolowerAZ(path[length - 2]) == 'c' || tolowerAZ(path[length - 1]) == lastLetter);
}

// What both formats do once they know the number of colours: small palettes are read at once.
static LoadStatus openPalette(File& file, ImageInfo& image, FormatId format, i32 colours, i32 width, u32 variant,
                              ReadColour readColour)
{
    memset(image.palette, 0, size_t{3} * paletteColours);
    reportPaletteSize(image, static_cast<u32>(colours), static_cast<u32>(width));
    image.kind = colours < i32{paletteColours} ? kindIndexed : kindRGB;
    for (i32 i = 0; image.kind == kindIndexed && i < colours; i++) {
        if (!readColour(file.stream, variant, image.palette + 3 * i))
            return loadBadData;
    }
    reportImage(image, format == swatches ? "Photoshop .ACO" : "Photoshop .ACB", pictureOrientation);
    keepPaletteFile(file, format, static_cast<u32>(colours), variant);
    return loadSuccess;
}

static bool beginsLikeSwatches(const u8* header)
{
    return header[0] == 0 && (header[1] == 1 || header[1] == 2) && (header[2] != 0 || header[3] != 0) &&
           header[4] == 0 && (header[5] <= spaceCmyk || header[5] == spaceLab || header[5] == spaceGrey);
}

static LoadStatus tryLoadSwatches(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = hasNameOfPalette(request.path, 'o') ? loadImgCheckHeader(request.path) : nullptr;
    if (header == nullptr || loadImgLastFilesize() > largestFile || loadImgLastFilesize() < probedBytes ||
        !beginsLikeSwatches(header))
        return loadWrongFormat;
    File file;
    i32 version;
    i32 colours;
    if (!file.open(request.path) || !readNumber(file.stream, version) || !readNumber(file.stream, colours))
        return loadCannotRead;
    if (colours < 1)
        return loadWrongFormat;
    return openPalette(file, image, swatches, colours, swatchColumns, static_cast<u32>(version), readSwatch);
}

static LoadStatus tryLoadBook(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = hasNameOfPalette(request.path, 'b') ? loadImgCheckHeader(request.path) : nullptr;
    if (header == nullptr || loadImgLastFilesize() > largestFile || loadImgLastFilesize() < probedBytes ||
        memcmp(header, "8BCB\0\1", probedBytes) != 0)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path) || fseeko(file.stream, bookNames, SEEK_SET) != 0)
        return loadCannotRead;
    for (int i = 0; i < bookNameCount; i++)
        skipName(file.stream);
    i32 colours;
    i32 width;
    i32 selector;
    i32 space;
    for (i32* value : {&colours, &width, &selector, &space}) {
        if (!readNumber(file.stream, *value))
            return loadCannotRead;
    }
    if ((space != spaceRgb && space != spaceCmyk && space != spaceLab) || colours < 1 || width < 1)
        return loadWrongFormat;
    return openPalette(file, image, book, colours, width, static_cast<u32>(space), readBookColour);
}

template <FormatId format, ReadColour readColour>
static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    PaletteFileState& state = threadState().raster.palette;
    if (state.file == nullptr || state.format != format)
        return loadBadData;
    if (state.colours < paletteColours)
        return deliverColourNumbers(rows, count, bytesPerRow, state.colours);
    const u64 size = u64{count} * bytesPerRow;
    if (size > 0)
        memset(rows, 0, size);
    for (u64 row = 0; row < count; row++) {
        u8* colour = rows + row * bytesPerRow;
        for (u32 slot = 0; slot < bytesPerRow / 3 && state.coloursDecoded < state.colours; slot++, colour += 3) {
            if (!readColour(state.file, state.variant, colour))
                return loadBadData;
            state.coloursDecoded++;
        }
    }
    return loadSuccess;
}

void registerLoadPhotoshopACO()
{
    registerEntries<tryLoadSwatches, loadBand<swatches, readSwatch>, endPaletteFile>();
}

void registerLoadPhotoshopACB()
{
    registerEntries<tryLoadBook, loadBand<book, readBookColour>, endPaletteFile>();
}
