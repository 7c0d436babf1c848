// TIFF pictures in strips, decoded by libtiff.
//
//   header      8 bytes: "II" or "MM" for the byte order, 42, where the directory lies
//   directory   tags: size, depth, samples a pixel, photometric interpretation, resolution, colour map, ...
//   strips      rows, compressed or not: the samples of a pixel side by side, or a plane of strips for each sample
//
// Rows are delivered as 8-bit indices or colours. Samples of less than 8 bits are delivered as they stand; of samples
// of 3, 5, 6 or 7 bits the first byte of a row is all that is looked at. Resolutions are multiplied in double
// precision.
#include "formats/raster/tiff.h"

#include <tiffio.h>

#include <array>
#include <bit>
#include <cmath>

#include "framework/bits.h"
#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/probe.h"
#include "framework/thread_state.h"

namespace
{

constexpr u8 markMotorola[tiffMarkBytes] = {'M', 'M', 0, '*'};
constexpr u8 markIntel[tiffMarkBytes] = {'I', 'I', '*', 0};

constexpr u32 deepestSample = 16;
constexpr double unitless1000 = 10000; // files that tell no unit count in tenths of an inch
constexpr double perInch1000 = 1000;
constexpr double centimetresPerInch = 2.54;

// Where the most significant byte of a 16-bit sample lies: libtiff turns samples into the machine's order.
constexpr u32 highByte = std::endian::native == std::endian::little ? 1 : 0;

constexpr size_t messageBytes = 8192;
constexpr const char* harmlessWarning = "Old-style LZW codes"; // which are read all the same

// Some of libtiff's words begin with the name.
const char* withoutName(TIFF* file, const char* text)
{
    const char* name = TIFFFileName(file);
    if (name == nullptr || name[0] == 0 || !startsWith(text, name))
        return text;
    text += strlen(name);
    return text + strspn(text, ": ");
}

[[gnu::format(printf, 4, 0)]] void hear(TIFF* file, TiffState& state, bool isError, const char* format,
                                        va_list arguments)
{
    const TiffSubject subject = state.subject;
    if (subject == TiffSubject::nothing)
        return;
    char text[messageBytes];
    vsnprintf(text, sizeof text, format, arguments);
    if (file == nullptr) {
        refuseOpening();
    } else {
        const char* words = withoutName(file, text);
        // Of rows it also warns when it has made something up for them.
        const bool isGrave = isError || (subject == TiffSubject::rows && !startsWith(words, harmlessWarning));
        if (isError)
            refuse(loadWrongFormat, "%s", words);
        const bool isToldAlready = isGrave && subject == TiffSubject::rows && state.isDamageTold;
        state.isDamageTold |= isGrave && subject == TiffSubject::rows;
        if (subject != TiffSubject::request && !isToldAlready)
            remark(isGrave ? Gravity::grave : Gravity::harmless, "%s", words);
    }
    tell(stderr, "%s\n", text);
}

// Both return that libtiff has nothing to add.

[[gnu::format(printf, 4, 0)]] int hearError(TIFF* file, void* state, const char*, const char* format, va_list arguments)
{
    hear(file, *static_cast<TiffState*>(state), true, format, arguments);
    return 1;
}

[[gnu::format(printf, 4, 0)]] int hearWarning(TIFF* file, void* state, const char*, const char* format,
                                              va_list arguments)
{
    hear(file, *static_cast<TiffState*>(state), false, format, arguments);
    return 1;
}

// The handlers are the file's own, so that neither the host's nor those of another thread are touched. What fails has
// its reason from them.
TIFF* openDecoder(const char* path, TiffState& state)
{
    state.subject = TiffSubject::header;
    state.isDamageTold = false;
    refuse(loadWrongFormat, "it cannot be opened"); // in case that they are not called
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    if (options == nullptr)
        return nullptr;
    TIFFOpenOptionsSetErrorHandlerExtR(options, hearError, &state);
    TIFFOpenOptionsSetWarningHandlerExtR(options, hearWarning, &state);
    TIFF* file = TIFFOpenExt(path, "rb", options);
    TIFFOpenOptionsFree(options);
    return file;
}

void release(TiffState& state)
{
    if (state.file != nullptr)
        TIFFClose(state.file);
    state.file = nullptr;
    state.isReady = false;
    removeTemporary(state.folder);
}

u16 numberOr(TIFF* file, u32 tag, u16 absent)
{
    u16 value = absent;
    TIFFGetField(file, tag, &value);
    return value;
}

u32 thousandthsOfDpi(TIFF* file, u32 tag, u16 unit)
{
    float resolution = 0;
    TIFFGetField(file, tag, &resolution);
    double value = resolution;
    switch (unit) {
    case RESUNIT_NONE:
        value *= unitless1000;
        break;
    case RESUNIT_INCH:
        value *= perInch1000;
        break;
    case RESUNIT_CENTIMETER:
        value = value * perInch1000 * centimetresPerInch;
        break;
    default:
        return 0;
    }
    value += 0.5;
    if (!(value >= 0))
        return 0;
    return value < 4294967295.0 ? static_cast<u32>(value) : 0xFFFFFFFF;
}

// EXTRASAMPLE_UNSPECIFIED also without one.
u16 extraSampleOf(TIFF* file)
{
    u16 count = 0;
    const u16* meanings = nullptr;
    return TIFFGetField(file, TIFFTAG_EXTRASAMPLES, &count, &meanings) != 0 && count != 0 ? meanings[0]
                                                                                          : EXTRASAMPLE_UNSPECIFIED;
}

bool hasAssociatedAlpha(const TiffState& state)
{
    return extraSampleOf(state.file) == EXTRASAMPLE_ASSOCALPHA && state.samplesPerPixel == 4 &&
           state.photometric == PHOTOMETRIC_RGB;
}

void setGrey(u8* palette, u32 index, u32 level)
{
    const auto grey = static_cast<u8>(level);
    setColour(palette, index, grey, grey, grey);
}

void setRamp(u8* palette, u32 colours, bool blackFirst)
{
    const u32 entries = std::min(colours, paletteColours);
    const u32 maximum = colours - 1;
    for (u32 i = 0; i < entries; i++) {
        if (colours > paletteColours)
            setGrey(palette, i, blackFirst ? i : 255 - i);
        else
            setGrey(palette, i, (blackFirst ? i : maximum - i) * 255 / std::max(maximum, 1u));
    }
}

// False when a colour map is needed and missing.
bool chooseKind(TiffState& state, ImageInfo& image)
{
    const u32 colours = 1u << state.bitsPerSample;
    const bool blackFirst = state.photometric == PHOTOMETRIC_MINISBLACK;
    if (colours == 2 && state.samplesPerPixel == 1) {
        setGrey(image.palette, 0, blackFirst ? 0 : 255);
        setGrey(image.palette, 1, blackFirst ? 255 : 0);
        image.kind = kindIndexed;
        return true;
    }
    const u32 colourKind = state.withAlpha ? kindRGBA : kindRGB;
    switch (state.photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
        setRamp(image.palette, colours, blackFirst);
        image.kind = kindIndexed;
        break;
    case PHOTOMETRIC_PALETTE: {
        const u16 *red = nullptr, *green = nullptr, *blue = nullptr;
        if (TIFFGetField(state.file, TIFFTAG_COLORMAP, &red, &green, &blue) == 0)
            return false;
        image.kind = state.bitsPerSample == 16 ? kindRGB : kindIndexed;
        for (u32 i = 0; image.kind == kindIndexed && i < std::min(colours, paletteColours); i++)
            setColour(image.palette, i, static_cast<u8>(red[i] >> 8), static_cast<u8>(green[i] >> 8),
                      static_cast<u8>(blue[i] >> 8));
        break;
    }
    case PHOTOMETRIC_YCBCR:
        state.subject = TiffSubject::request; // of others than JPEG data
        TIFFSetField(state.file, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        state.subject = TiffSubject::header;
        image.kind = colourKind;
        break;
    case PHOTOMETRIC_RGB:
    case PHOTOMETRIC_SEPARATED:
    case PHOTOMETRIC_CIELAB:
        image.kind = colourKind;
        break;
    default:
        break; // the caller's kind stays
    }
    return true;
}

enum class Pixels {
    unread,        // of a photometric interpretation without rows
    indices,       // 1 byte a pixel
    deepIndices,   // 2 bytes a pixel, which its row has hardly room for
    mappedColours, // indices that go through the colour map
    colours,
    coloursAndIgnored, // a fourth sample is skipped
    coloursAndAlpha,
    colourPlanes,
    inks, // cyan, magenta, yellow, black
    lab
};

Pixels pixelsOf(const TiffState& state)
{
    switch (state.photometric) {
    case PHOTOMETRIC_PALETTE:
        if (state.bitsPerSample == 16)
            return Pixels::mappedColours;
        [[fallthrough]];
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
        return state.bitsPerSample > 8 && state.bitsPerSample < 16 ? Pixels::deepIndices : Pixels::indices;
    case PHOTOMETRIC_RGB:
        if (state.planarConfig == PLANARCONFIG_SEPARATE)
            return Pixels::colourPlanes;
        [[fallthrough]];
    case PHOTOMETRIC_YCBCR:
        if (state.samplesPerPixel == 4)
            return state.withAlpha ? Pixels::coloursAndAlpha : Pixels::coloursAndIgnored;
        return state.samplesPerPixel == 3 ? Pixels::colours : Pixels::unread;
    case PHOTOMETRIC_SEPARATED:
        return Pixels::inks;
    case PHOTOMETRIC_CIELAB:
        return state.bitsPerSample == 8 && state.samplesPerPixel >= 3 ? Pixels::lab : Pixels::unread;
    default:
        return Pixels::unread;
    }
}

LoadStatus refuseVariant(const TiffState& state)
{
    const u32 samples = state.samplesPerPixel;
    if (TIFFIsTiled(state.file) != 0)
        return refuse(loadWrongFormat, "tiled");
    if (samples != 1 && samples != 3 && samples != 4)
        return refuse(loadWrongFormat, "%u samples a pixel", samples);
    if (state.bitsPerSample > deepestSample)
        return refuse(loadWrongFormat, "%u bits a sample", state.bitsPerSample);
    if (state.photometric == PHOTOMETRIC_MASK)
        return refuse(loadWrongFormat, "a transparency mask, no picture");
    if (state.photometric == PHOTOMETRIC_SEPARATED && samples != 4)
        return refuse(loadWrongFormat, "%u ink%s instead of four", samples, samples == 1 ? "" : "s");
    return loadSuccess;
}

LoadStatus refuseStorage(TiffState& state, const char* path)
{
    if (state.planarConfig == PLANARCONFIG_SEPARATE && state.photometric != PHOTOMETRIC_RGB)
        return refuse(loadWrongFormat, "samples in planes that are not red, green and blue");
    state.compression = numberOr(state.file, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    if (state.compression == COMPRESSION_OJPEG) {
        tell(stdout, "llib: old style JPEG not supported in TIFF %s\n", path);
        return refuse(loadWrongFormat, "old-style JPEG compression");
    }
    return loadSuccess;
}

void remarkSamples(const TiffState& state, Pixels pixels)
{
    const u32 bits = state.bitsPerSample;
    const bool isFlat = pixels == Pixels::indices;
    const bool isCut = bits == 16 && (isFlat || pixels == Pixels::colours);
    if (pixels == Pixels::unread)
        remark(Gravity::grave, "rows of the photometric interpretation %u, %u samples of %u bits, are left as they are",
               state.photometric, state.samplesPerPixel, bits);
    else if (isCut)
        remark(Gravity::harmless, "of samples of 16 bits the upper half is delivered");
    else if (bits != 8 && !(isFlat && bits != 0 && 8 % bits == 0))
        remark(Gravity::grave, "samples of %u bits are not delivered as what they mean", bits);
    const u16 format = numberOr(state.file, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    if (format != SAMPLEFORMAT_UINT && format != SAMPLEFORMAT_VOID && state.photometric != PHOTOMETRIC_CIELAB)
        remark(Gravity::grave, "samples with a sign or a fraction are taken for whole numbers");
    if ((isFlat || pixels == Pixels::deepIndices || pixels == Pixels::mappedColours) && state.samplesPerPixel > 1)
        remark(Gravity::grave, "of %u samples a pixel each is taken for a pixel", state.samplesPerPixel);
    if (state.photometric == PHOTOMETRIC_YCBCR && state.compression != COMPRESSION_JPEG)
        remark(Gravity::grave, "luminance and chrominance are taken for red, green and blue");
}

// What of the colours is left out.
void remarkColours(const TiffState& state, Pixels pixels)
{
    const bool isColour =
        pixels == Pixels::coloursAndIgnored || pixels == Pixels::colourPlanes || pixels == Pixels::lab;
    if (isColour && state.samplesPerPixel == 4) {
        if (extraSampleOf(state.file) == EXTRASAMPLE_UNSPECIFIED)
            remark(Gravity::harmless, "the fourth sample of every pixel is left out");
        else
            remark(Gravity::grave, "the alpha channel is left out");
    }
    const u16* map[3] = {};
    if (state.bitsPerSample == 1 && state.photometric == PHOTOMETRIC_PALETTE &&
        TIFFGetField(state.file, TIFFTAG_COLORMAP, &map[0], &map[1], &map[2]) != 0) {
        for (const u16* channel : map) {
            if (channel[0] >> 8 != 255 || channel[1] >> 8 != 0)
                remark(Gravity::grave, "the colour map of a picture of 1 bit is taken for white and black");
        }
    }
    u32 stripRows = 1;
    TIFFGetFieldDefaulted(state.file, TIFFTAG_ROWSPERSTRIP, &stripRows);
    if (pixels == Pixels::colourPlanes && state.samplesPerPixel == 1)
        remark(Gravity::grave, "one plane is taken for red, green and blue");
    if (pixels == Pixels::colourPlanes && stripRows > 1)
        remark(Gravity::grave, "samples are in planes, of which every row of a strip shows the strip's first");
}

// Strips that the file does not hold whole. Of those that are not compressed the rows count, whatever their size says.
u32 missingStrips(const TiffState& state, u32 height)
{
    const u64 fileSize = TIFFGetSizeProc(state.file)(TIFFClientdata(state.file));
    const u32 strips = TIFFNumberOfStrips(state.file);
    const u32 planes = state.planarConfig == PLANARCONFIG_SEPARATE ? state.samplesPerPixel : 1;
    const u32 planeStrips = std::max(strips / planes, 1u);
    u32 stripRows = height;
    TIFFGetFieldDefaulted(state.file, TIFFTAG_ROWSPERSTRIP, &stripRows);
    u32 missing = 0;
    for (u32 strip = 0; strip < strips; strip++) {
        const u64 offset = TIFFGetStrileOffset(state.file, strip);
        u64 size = TIFFGetStrileByteCount(state.file, strip);
        if (offset < fileSize && size <= fileSize - offset)
            continue;
        const u64 before = u64{strip % planeStrips} * stripRows;
        if (state.compression == COMPRESSION_NONE && before < height)
            size = std::min(size,
                            TIFFVStripSize64(state.file, static_cast<u32>(std::min<u64>(stripRows, height - before))));
        missing += offset >= fileSize || size > fileSize - offset ? 1 : 0;
    }
    return missing;
}

// What libtiff says to these questions is no matter of the file's.
void remarkLosses(TiffState& state, u32 height, u16 orientation)
{
    state.subject = TiffSubject::nothing;
    const Pixels pixels = pixelsOf(state);
    remarkSamples(state, pixels);
    remarkColours(state, pixels);
    if (TIFFIsCODECConfigured(state.compression) == 0)
        remark(Gravity::grave, "its compression %u is not read", state.compression);
    remarkCount(Gravity::grave, missingStrips(state, height), "strips of its data lie behind the end of the file");
    if (orientation != ORIENTATION_TOPLEFT)
        remark(Gravity::harmless, "the picture is not turned as its orientation %u asks for", orientation);
    if (TIFFLastDirectory(state.file) == 0)
        remark(Gravity::harmless, "only the first of its pages is read");
    state.subject = TiffSubject::header;
}

} // namespace

bool isTiffMark(const u8* bytes)
{
    return memcmp(bytes, markMotorola, tiffMarkBytes) == 0 || memcmp(bytes, markIntel, tiffMarkBytes) == 0;
}

// A file that is refused stays open until the next call or endTiff.
LoadStatus openTiff(const char* path, ImageInfo& image)
{
    TiffState& state = threadState().raster.tiff;
    release(state);
    TIFF* file = openDecoder(path, state);
    if (file == nullptr)
        return loadWrongFormat;
    state.file = file;

    state.bitsPerSample = numberOr(file, TIFFTAG_BITSPERSAMPLE, 1);
    state.samplesPerPixel = numberOr(file, TIFFTAG_SAMPLESPERPIXEL, 1);
    if (TIFFGetField(file, TIFFTAG_PHOTOMETRIC, &state.photometric) == 0)
        return refuse(loadWrongFormat, "its header does not tell what the samples mean");
    LoadStatus status = refuseVariant(state);
    if (status != loadSuccess)
        return status;
    state.withAlpha = hasAssociatedAlpha(state);

    TIFFGetField(file, TIFFTAG_IMAGEWIDTH, &image.width);
    TIFFGetField(file, TIFFTAG_IMAGELENGTH, &image.height);
    TIFFGetFieldDefaulted(file, TIFFTAG_PLANARCONFIG, &state.planarConfig);
    const u16 unit = numberOr(file, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    image.resX = thousandthsOfDpi(file, TIFFTAG_XRESOLUTION, unit);
    image.resY = thousandthsOfDpi(file, TIFFTAG_YRESOLUTION, unit);
    status = refuseStorage(state, path);
    if (status != loadSuccess)
        return status;
    if (!chooseKind(state, image))
        return refuse(loadWrongFormat, "its colour map is missing");

    const u16 orientation = numberOr(file, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    image.orientationFlag = orientation == ORIENTATION_TOPRIGHT || orientation == ORIENTATION_BOTRIGHT ||
                            orientation == ORIENTATION_RIGHTTOP || orientation == ORIENTATION_RIGHTBOT;
    strcpy(image.description, "TIFF");
    image.mulX = image.mulY = image.firstPart = 1;
    state.width = image.width;
    state.rowCursor = 0;
    state.isReady = true;
    remarkLosses(state, image.height, orientation);
    return loadSuccess;
}

namespace
{

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = probedHeader(request.path, tiffMarkBytes);
    if (header == nullptr)
        return loadWrongFormat;
    return isTiffMark(header) ? openTiff(request.path, image) : refuseMark("TIFF");
}

u32 bytesOfPixel(Pixels pixels)
{
    switch (pixels) {
    case Pixels::unread:
        return 0;
    case Pixels::indices:
        return 1;
    case Pixels::deepIndices:
        return 2;
    case Pixels::coloursAndAlpha:
        return 4;
    default:
        return 3;
    }
}

struct WholeBytes {
    const u8* at;

    u32 next() { return *at++; }
};

struct HighBytes {
    const u8* at;

    u32 next()
    {
        const u32 sample = at[highByte];
        at += 2;
        return sample;
    }
};

// Goes on to the next byte when a sample ends with a byte, and only then: samples of 3 bits are all taken from the
// first byte. The processor counts shifts modulo 32.
struct PackedSamples {
    const u8* at;
    u32 bits;
    u32 shift = 8 - bits;

    u32 next()
    {
        const u32 sample = static_cast<u32>(*at) >> (shift & 31) & ((1u << bits) - 1);
        if (shift == 0) {
            at++;
            shift = 8;
        }
        shift -= bits;
        return sample;
    }
};

struct Lightness {
    float root; // of the luminance
    float luminance;
};

constexpr double darkLuminance = 0.008856; // up to here the curve is a straight line
constexpr double darkRoot = 0.206893;
constexpr double lineSlope = 7.787;
constexpr double lineStart = 16.0 / 116;

double cube(double value)
{
    return value * value * value;
}

Lightness lightnessOf(u32 sample)
{
    const u32 percent = sample * 100 >> 8;
    auto luminance = static_cast<float>(cube((16 + percent) / 116.0));
    if (luminance < darkLuminance)
        luminance = static_cast<float>(percent / 903.3);
    const double root =
        luminance > darkLuminance ? std::cbrt(static_cast<double>(luminance)) : lineSlope * luminance + lineStart;
    return {static_cast<float>(root), luminance};
}

float fromRoot(float root)
{
    return static_cast<float>(root > darkRoot ? cube(root) : (root - lineStart) / lineSlope);
}

u8 roundedLevel(double level)
{
    return static_cast<u8>(std::clamp(static_cast<i32>(level + 0.5), 0, 255));
}

// Every step is kept in single precision, as colours in hundredths are.
void writeLab(Lightness lightness, int8_t a, int8_t b, u8* rgb)
{
    const double x = fromRoot(static_cast<float>(lightness.root + a / 500.0)) * 242.36629F;
    const double y = lightness.luminance * 255.0F;
    const double z = fromRoot(static_cast<float>(lightness.root - b / 200.0)) * 277.63226F;
    rgb[0] = roundedLevel(3.240479 * x - 1.53715 * y - 0.498535 * z);
    rgb[1] = roundedLevel(-0.969256 * x + 1.875992 * y + 0.041556 * z);
    rgb[2] = roundedLevel(0.055648 * x - 0.204043 * y + 1.057311 * z);
}

// Reads rows in order and turns them into pixels.
struct RowReader {
    TIFF* file;
    Pixels pixels;
    u32 bits;
    u32 samplesPerPixel;
    u32 width;
    u64 storedBytes; // of a row or, in separate planes, of a strip
    Buffer work;
    const u8* planes[3]; // contiguous rows are all in the first
    i64 heldStrip = -1;  // in planes
    const u16* colourMap[3];
    Lightness lightness[256];
};

// How many bytes the samples of a row are taken from; libtiff counts less for thinned out colours.
u64 sampleBytes(const RowReader& reader, u64 samples)
{
    return (samples * reader.width * reader.bits + 7) / 8;
}

LoadStatus prepare(RowReader& reader, const TiffState& state)
{
    reader.file = state.file;
    reader.pixels = pixelsOf(state);
    reader.bits = state.bitsPerSample;
    reader.samplesPerPixel = state.samplesPerPixel;
    reader.width = state.width;
    const bool separate = reader.pixels == Pixels::colourPlanes;
    const tmsize_t size = separate ? TIFFStripSize(state.file) : TIFFScanlineSize(state.file);
    constexpr tmsize_t mostBytes = tmsize_t{1} << 38;
    if (size <= 0 || size > mostBytes)
        return refuse(loadOutOfMemory, "its rows are of an impossible size");
    reader.storedBytes = static_cast<u64>(size);
    const u64 planeCount = separate ? 3 : 1;
    const u64 planeBytes =
        separate ? std::max(reader.storedBytes, sampleBytes(reader, 1))
                 : std::max({reader.storedBytes, sampleBytes(reader, state.samplesPerPixel), u64{3} * state.width});
    if (!reader.work.allocate(planeCount * planeBytes))
        return refuseMemory();
    for (u64 plane = 0; plane < 3; plane++)
        reader.planes[plane] = reader.work.bytes + plane % planeCount * planeBytes;

    if (reader.pixels == Pixels::mappedColours)
        TIFFGetField(state.file, TIFFTAG_COLORMAP, &reader.colourMap[0], &reader.colourMap[1], &reader.colourMap[2]);
    if (reader.pixels == Pixels::lab) {
        for (u32 i = 0; i < 256; i++)
            reader.lightness[i] = lightnessOf(i);
    }
    return loadSuccess;
}

// Every row of a strip shows the strip's first one.
bool readPlanes(RowReader& reader, u32 row, u32 height)
{
    if (row >= height)
        return false;
    bool isHeld = false;
    for (u16 plane = 0; plane < 3; plane++) {
        const u32 strip = TIFFComputeStrip(reader.file, row, plane);
        if (plane == 0) {
            isHeld = strip == reader.heldStrip;
            reader.heldStrip = strip;
        }
        u8* target = reader.work.bytes + (reader.planes[plane] - reader.planes[0]);
        if (!isHeld && TIFFReadEncodedStrip(reader.file, strip, target, static_cast<tmsize_t>(reader.storedBytes)) < 0)
            return false;
    }
    return true;
}

template <typename Samples>
void writeIndices(Samples samples, u32 width, u8* out)
{
    for (u32 x = 0; x < width; x++)
        out[x] = static_cast<u8>(samples.next());
}

template <typename Samples>
void writeDeepIndices(Samples samples, u32 width, u8* out)
{
    for (u32 x = 0; x < width; x++, out += 2) {
        const u16 index = static_cast<u16>(samples.next());
        memcpy(out, &index, sizeof index);
    }
}

template <typename Samples>
void writeMappedColours(Samples samples, u32 width, const u16* const (&map)[3], u8* out)
{
    for (u32 x = 0; x < width; x++, out += 3) {
        const u32 index = samples.next();
        for (u32 i = 0; i < 3; i++)
            out[i] = static_cast<u8>(map[i][index]);
    }
}

template <typename Samples>
void writeColours(Samples samples, u32 width, bool skipsFourth, u8* out)
{
    for (u32 x = 0; x < width; x++, out += 3) {
        for (u32 i = 0; i < 3; i++)
            out[i] = static_cast<u8>(samples.next());
        if (skipsFourth)
            samples.next();
    }
}

template <typename Samples>
void writePlanes(Samples reds, Samples greens, Samples blues, u32 width, u8* out)
{
    for (u32 x = 0; x < width; x++, out += 3) {
        out[0] = static_cast<u8>(reds.next());
        out[1] = static_cast<u8>(greens.next());
        out[2] = static_cast<u8>(blues.next());
    }
}

template <typename Samples>
void writeInks(Samples samples, u32 width, u8* out)
{
    for (u32 x = 0; x < width; x++, out += 3) {
        const u32 cyan = samples.next(), magenta = samples.next(), yellow = samples.next();
        const u32 light = 255 - samples.next();
        out[0] = static_cast<u8>((255 - cyan) * light / 255);
        out[1] = static_cast<u8>((255 - magenta) * light / 255);
        out[2] = static_cast<u8>((255 - yellow) * light / 255);
    }
}

template <typename Samples>
void writeLabs(Samples samples, const RowReader& reader, u8* out)
{
    for (u32 x = 0; x < reader.width; x++, out += 3) {
        const u32 lightness = samples.next(), a = samples.next(), b = samples.next();
        for (u32 i = 3; i < reader.samplesPerPixel; i++)
            samples.next();
        writeLab(reader.lightness[lightness], static_cast<int8_t>(a), static_cast<int8_t>(b), out);
    }
}

template <typename Samples>
void writePixels(const RowReader& reader, Samples samples, Samples second, Samples third, u8* out)
{
    const u32 width = reader.width;
    switch (reader.pixels) {
    case Pixels::unread:
        break;
    case Pixels::indices:
        writeIndices(samples, width, out);
        break;
    case Pixels::deepIndices:
        writeDeepIndices(samples, width, out);
        break;
    case Pixels::mappedColours:
        writeMappedColours(samples, width, reader.colourMap, out);
        break;
    case Pixels::colours:
    case Pixels::coloursAndIgnored:
        writeColours(samples, width, reader.pixels == Pixels::coloursAndIgnored, out);
        break;
    case Pixels::coloursAndAlpha:
        for (u64 i = 0; i < u64{4} * width; i++)
            out[i] = static_cast<u8>(samples.next());
        break;
    case Pixels::colourPlanes:
        writePlanes(samples, second, third, width, out);
        break;
    case Pixels::inks:
        writeInks(samples, width, out);
        break;
    case Pixels::lab:
        writeLabs(samples, reader, out);
        break;
    }
}

bool isAsStored(const RowReader& reader)
{
    return reader.bits == 8 && (reader.pixels == Pixels::indices || reader.pixels == Pixels::colours ||
                                reader.pixels == Pixels::coloursAndAlpha);
}

void writeRow(const RowReader& reader, u8* out)
{
    const auto& [first, second, third] = reader.planes;
    const u32 bits = reader.bits;
    if (isAsStored(reader))
        memcpy(out, first, u64{bytesOfPixel(reader.pixels)} * reader.width);
    else if (bits == 1 && reader.pixels == Pixels::indices)
        unpackBits(out, first, reader.width);
    else if (bits == 16 && (reader.pixels == Pixels::indices || reader.pixels == Pixels::colours))
        writePixels(reader, HighBytes{first}, HighBytes{second}, HighBytes{third}, out);
    else if (bits == 8)
        writePixels(reader, WholeBytes{first}, WholeBytes{second}, WholeBytes{third}, out);
    else
        writePixels(reader, PackedSamples{first, bits}, PackedSamples{second, bits}, PackedSamples{third, bits}, out);
}

} // namespace

LoadStatus loadTiffRows(u8* rows, u32 count, u32 bytesPerRow)
{
    TiffState& state = threadState().raster.tiff;
    if (!state.isReady)
        return refuseUnopened();
    RowReader reader;
    const LoadStatus status = prepare(reader, state);
    if (status != loadSuccess)
        return status;
    const u64 rowBytes = u64{bytesOfPixel(reader.pixels)} * state.width;
    // A row of uncompressed data is there or not; a damaged one of others must not reach the caller in pieces.
    const bool readsStraight = state.compression == COMPRESSION_NONE && isAsStored(reader) &&
                               reader.storedBytes == rowBytes && rowBytes <= bytesPerRow;
    Buffer narrow;
    if (rowBytes > bytesPerRow && !narrow.allocate(rowBytes))
        return refuseMemory();
    u32 height = 0;
    TIFFGetField(state.file, TIFFTAG_IMAGELENGTH, &height);

    const u32 wanted = std::min(count, UINT32_MAX - state.rowCursor);
    for (u32 i = 0; i < wanted; i++) {
        u8* out = rows + u64{i} * bytesPerRow;
        const u32 row = state.rowCursor + i;
        state.subject = row < height ? TiffSubject::rows : TiffSubject::request;
        const bool isRead = reader.pixels == Pixels::colourPlanes
                                ? readPlanes(reader, row, height)
                                : TIFFReadScanline(state.file, readsStraight ? out : reader.work.bytes, row, 0) >= 0;
        if (!isRead) {
            if (row < height)
                remarkCount(Gravity::grave, std::min(wanted - i, height - row),
                            "rows cannot be read and are left as they were");
            break;
        }
        if (readsStraight)
            continue;
        writeRow(reader, narrow.bytes != nullptr ? narrow.bytes : out);
        if (narrow.bytes != nullptr)
            deliverRow(out, narrow.bytes, rowBytes, bytesPerRow);
    }
    state.rowCursor += wanted;
    return loadSuccess;
}

LoadStatus endTiff()
{
    release(threadState().raster.tiff);
    return loadSuccess;
}

void registerLoadTIFF()
{
    registerEntries<tryLoad, loadTiffRows, endTiff>();
}
