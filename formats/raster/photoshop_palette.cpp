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
#include <string_view>

#include "formats/raster/palette_file.h"
#include "framework/bytes.h"
#include "framework/probe.h"
#include "framework/thread_state.h"

namespace
{

constexpr i64 mostBytes = 1000000;
constexpr i64 probedBytes = 6;
constexpr std::string_view bookMark = "8BCB";
constexpr u32 atVersion = 1; // of swatches; the low bytes of their first numbers tell
constexpr u32 atCount = 2;
constexpr u32 atFirstSpace = 4;
constexpr u32 atBookVersion = 4;
constexpr u32 swatchColumns = 7;
constexpr off_t bookNames = 8;
constexpr int bookNameCount = 4;
constexpr size_t bookCodeBytes = 6;

constexpr i32 spaceRgb = 0;
constexpr i32 spaceHsb = 1;
constexpr i32 spaceCmyk = 2;
constexpr i32 spaceLab = 7;
constexpr i32 spaceGrey = 8;

constexpr i32 whiteGrey = 10000;

bool readNumber(FILE* stream, i32& value)
{
    u8 bytes[2];
    if (!readExactly(stream, bytes, sizeof bytes))
        return false;
    value = static_cast<int16_t>(bigEndian16(bytes));
    return true;
}

// A name that goes on behind the file ends there. Of a name of one character only the length is stored.
void skipName(FILE* stream)
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

constexpr const char* inksAreWrong = "colours in inks are not delivered as what they mean";

// A component of a colour in inks, as numbers that wrap around.
u8 ofInk(i32 ink, i32 black)
{
    return static_cast<u8>((ink - 1) * (1 - black));
}

// As levels of 8 bits are stored in 16.
bool isOfEqualHalves(i32 number)
{
    return (number >> 8 & 0xFF) == (number & 0xFF);
}

// Decodes the next record into three bytes; those of an unknown colour space stay as they are. False at the end of the
// file.
using ReadColour = bool (*)(FILE* stream, u32 variant, u8* colour);

bool readSwatch(FILE* stream, u32 version, u8* colour)
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
        if (!isOfEqualHalves(components[0]) || !isOfEqualHalves(components[1]) || !isOfEqualHalves(components[2]))
            remarkCount(Gravity::grave, 1, "colours of 16 bits are delivered by the lower half");
        break;
    case spaceHsb: {
        const i32 hsl[3] = {components[0] & 0xFF, components[1] & 0xFF, components[2] & 0xFF};
        u32 rgb[3];
        HSLtoRGB(hsl, rgb);
        remarkCount(Gravity::grave, 1, "colours told by their hue are not delivered as what they mean");
        for (int i = 0; i < 3; i++)
            colour[i] = static_cast<u8>(rgb[i]);
        break;
    }
    case spaceCmyk:
        remarkCount(Gravity::grave, 1, inksAreWrong);
        for (int i = 0; i < 3; i++)
            colour[i] = ofInk(components[i], components[3]);
        break;
    case spaceLab:
        Lab2RGB100(components[0] & 0xFFFF, components[1], components[2], &colour[0], &colour[1], &colour[2]);
        break;
    case spaceGrey:
        if (components[0] >= whiteGrey)
            remarkCount(Gravity::grave, 1, "white greys wrap around to black");
        colour[0] = colour[1] = colour[2] = static_cast<u8>(static_cast<i32>(components[0] / 39.0625));
        break;
    default:
        remarkCount(Gravity::grave, 1, "colours of unknown spaces are black");
        break;
    }
    if (version == 2)
        skipName(stream);
    return true;
}

bool readBookColour(FILE* stream, u32 space, u8* colour)
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
        remarkCount(Gravity::grave, 1, inksAreWrong);
        for (int i = 0; i < 3; i++)
            colour[i] = ofInk(components[i], components[3]);
    } else {
        Lab2RGB100(static_cast<i32>(components[0] / 255.0 * 10000.0), components[1] * 100 - 12800,
                   components[2] * 100 - 12800, &colour[0], &colour[1], &colour[2]);
    }
    return true;
}

// The name passes when a single one of the extension's characters stands in its place.
bool hasNameOfPalette(const char* path, char lastLetter)
{
    const size_t length = strlen(path);
    return length >= 5 && (path[length - 4] == '.' || tolowerAZ(path[length - 3]) == 'a' ||
                           tolowerAZ(path[length - 2]) == 'c' || tolowerAZ(path[length - 1]) == lastLetter);
}

LoadStatus refuseMissingColours(i64 read, i64 announced)
{
    return refuse(loadBadData, "the file ends behind %lld of its %lld colours", static_cast<long long>(read),
                  static_cast<long long>(announced));
}

// What both formats do once they know the number of colours: small palettes are read at once.
LoadStatus openPalette(File& file, ImageInfo& image, FormatId format, i32 colours, i32 width, u32 variant,
                       ReadColour readColour)
{
    memset(image.palette, 0, size_t{3} * paletteColours);
    reportPaletteSize(image, static_cast<u32>(colours), static_cast<u32>(width));
    image.kind = colours < i32{paletteColours} ? kindIndexed : kindRGB;
    for (i32 i = 0; image.kind == kindIndexed && i < colours; i++) {
        if (!readColour(file.stream, variant, image.palette + 3 * i))
            return refuseMissingColours(i, colours);
    }
    reportImage(image, format == formatPhotoshopAco ? "Photoshop .ACO" : "Photoshop .ACB", pictureOrientation);
    keepPaletteFile(file, format, static_cast<u32>(colours), variant);
    return loadSuccess;
}

// A file with a name and a size of these palettes; null, with the reason, when it is none.
const u8* probedPalette(const char* path, const char* extension)
{
    if (!hasNameOfPalette(path, extension[2])) {
        refuseName(extension);
        return nullptr;
    }
    const u8* header = probedHeader(path, probedBytes);
    if (header != nullptr && loadImgLastFilesize() > mostBytes) {
        refuse(loadWrongFormat, "the file is too large for a palette: %s",
               amountOf(static_cast<u64>(loadImgLastFilesize())).text);
        return nullptr;
    }
    return header;
}

LoadStatus checkSwatches(const u8* header)
{
    if (header[0] != 0 || (header[atVersion] != 1 && header[atVersion] != 2))
        return refuseMark("Photoshop swatch");
    if (bigEndian16(header + atCount) == 0)
        return refuse(loadWrongFormat, "it holds no colours");
    const u32 space = bigEndian16(header + atFirstSpace);
    return space <= spaceCmyk || space == spaceLab || space == spaceGrey
               ? loadSuccess
               : refuse(loadWrongFormat, "its first colour is of the unknown space %u", space);
}

LoadStatus tryLoadSwatches(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = probedPalette(request.path, "aco");
    LoadStatus status = header != nullptr ? checkSwatches(header) : loadWrongFormat;
    if (status != loadSuccess)
        return status;
    File file;
    status = openFile(request.path, file);
    if (status != loadSuccess)
        return status;
    i32 version;
    i32 colours;
    if (!readNumber(file.stream, version) || !readNumber(file.stream, colours))
        return refuseHeader(loadCannotRead);
    if (colours < 1)
        return refuse(loadWrongFormat, "it announces %d colours", colours);
    return openPalette(file, image, formatPhotoshopAco, colours, swatchColumns, static_cast<u32>(version), readSwatch);
}

LoadStatus tryLoadBook(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = probedPalette(request.path, "acb");
    if (header == nullptr)
        return loadWrongFormat;
    if (memcmp(header, bookMark.data(), bookMark.size()) != 0)
        return refuseMark("Photoshop colour book");
    if (bigEndian16(header + atBookVersion) != 1)
        return refuse(loadWrongFormat, "its version is %u", bigEndian16(header + atBookVersion));
    File file;
    const LoadStatus status = openFile(request.path, file);
    if (status != loadSuccess)
        return status;
    if (fseeko(file.stream, bookNames, SEEK_SET) != 0)
        return refuse(loadCannotRead, "it cannot be read from its names on");
    for (int i = 0; i < bookNameCount; i++)
        skipName(file.stream);
    i32 colours;
    i32 width;
    i32 selector;
    i32 space;
    for (i32* value : {&colours, &width, &selector, &space}) {
        if (!readNumber(file.stream, *value))
            return refuseHeader(loadCannotRead);
    }
    if (space != spaceRgb && space != spaceCmyk && space != spaceLab)
        return refuse(loadWrongFormat, "its colours are of the unknown space %d", space);
    if (colours < 1)
        return refuse(loadWrongFormat, "it announces %d colours", colours);
    if (width < 1)
        return refuse(loadWrongFormat, "its pages have %d colours", width);
    return openPalette(file, image, formatPhotoshopAcb, colours, width, static_cast<u32>(space), readBookColour);
}

template <FormatId format, ReadColour readColour>
LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    PaletteFileState& state = threadState().raster.palette;
    if (state.file == nullptr || state.format != format)
        return refuseUnopened();
    if (state.colours < paletteColours)
        return deliverColourNumbers(rows, count, bytesPerRow, state.colours);
    const u64 size = u64{count} * bytesPerRow;
    if (size > 0)
        memset(rows, 0, size);
    for (u64 row = 0; row < count; row++) {
        u8* colour = rows + row * bytesPerRow;
        for (u32 slot = 0; slot < bytesPerRow / 3 && state.coloursDecoded < state.colours; slot++, colour += 3) {
            if (!readColour(state.file, state.variant, colour))
                return refuseMissingColours(state.coloursDecoded, state.colours);
            state.coloursDecoded++;
        }
    }
    return loadSuccess;
}

} // namespace

void registerLoadPhotoshopACO()
{
    registerEntries<tryLoadSwatches, loadBand<formatPhotoshopAco, readSwatch>, endPaletteFile>();
}

void registerLoadPhotoshopACB()
{
    registerEntries<tryLoadBook, loadBand<formatPhotoshopAcb, readBookColour>, endPaletteFile>();
}
