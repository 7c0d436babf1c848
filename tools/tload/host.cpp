#include "host.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <string_view>

#include "known_formats.h"
#include "library_output.h"
#include "output.h"

constexpr size_t longestPath = 4095;
constexpr i64 smallestFile = 8;
constexpr FormatId bonas = 8; // what detection answers for a file that nothing identifies
constexpr FormatId vectorPreview = 59;

static void printSentence(const std::string& file, const std::string& text)
{
    fprintf(stderr, "tload: %s: %s.\n", printable(file).c_str(), printable(text).c_str());
}

void printFailure(const Failure& failure)
{
    printSentence(failure.file, failure.reason);
}

void printComplaint(const Picture& picture)
{
    if (picture.complaint.empty())
        return;
    printSentence(picture.file,
                  picture.complaintIsAboutRows
                      ? "the file may be damaged, parts of the picture may be missing (" + picture.complaint + ")"
                      : "the file was opened, its decoder remarked: " + picture.complaint);
}

std::string systemReason(int errorNumber)
{
    return std::string("(") + strerror(errorNumber) + ")";
}

static bool isInstalled(const std::string& command)
{
    const char* path = getenv("PATH");
    std::string_view rest = path != nullptr ? path : "";
    while (!rest.empty()) {
        size_t end = std::min(rest.find(':'), rest.size());
        std::string candidate = std::string(rest.substr(0, end)) + "/" + command;
        struct stat info;
        if (stat(candidate.c_str(), &info) == 0 && S_ISREG(info.st_mode) && access(candidate.c_str(), X_OK) == 0)
            return true;
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return false;
}

// ImageMagick is mostly set up not to open PDF and EPS, and draws some SVG wrongly.
static const char* installedPreviewCommand()
{
    return isInstalled("gm") ? "gm convert" : isInstalled("convert") ? "convert" : "";
}

LoaderSettings installedSettings()
{
    LoaderSettings settings;
    struct stat info;
    const char* tmpDir = getenv("TMPDIR");
    bool usable = tmpDir != nullptr && stat(tmpDir, &info) == 0 && S_ISDIR(info.st_mode);
    settings.tmpDir = usable ? tmpDir : "/tmp";
    // The library appends the archive and the directory, or the picture and the preview.
    if (isInstalled("gzip"))
        settings.gzipCommand = "gzip";
    if (isInstalled("unzip"))
        settings.unzipCommand = "unzip -o -qq";
    if (isInstalled("msexpand"))
        settings.msExpandCommand = "msexpand";
    settings.vectorPreviewCommand = installedPreviewCommand();
    return settings;
}

void applySettings(const LoaderSettings& settings)
{
    auto apply = [](void (*set)(const char*), const std::string& text) { set(text.empty() ? nullptr : text.c_str()); };
    std::string tmpDir = settings.tmpDir;
    while (tmpDir.size() > 1 && tmpDir.ends_with('/'))
        tmpDir.pop_back();
    setTemporaryDirectory(tmpDir);
    constexpr int gzipWarning = 2, unzipWarning = 1;
    apply(llibSetGzipCommand, guardedCommand(settings.gzipCommand, gzipWarning));
    apply(llibSetUnzipCommand, guardedCommand(settings.unzipCommand, unzipWarning));
    apply(llibSetMsExpandCommand, guardedCommand(settings.msExpandCommand, 0));
    apply(llibSetVectorPreviewCommand, guardedCommand(settings.vectorPreviewCommand, 0));
    llibSetBonasLinePadding(settings.bonasLinePadding);
    setDefaultMappingJC4(settings.mappingJC4);
}

// With its dot, in lower case; empty when the name has none.
static std::string extensionOf(const std::string& path)
{
    std::string name = baseNameOf(path);
    size_t dot = name.rfind('.');
    if (dot == std::string::npos)
        return "";
    std::string extension = name.substr(dot);
    stringToLower(extension.data());
    return extension;
}

// Detection has one answer for everything that keeps it from looking at a file; this finds the precise one.
static void checkSource(const std::string& path, bool willDetect)
{
    if (path.empty())
        throw Failure{exitNameTooShort, "\"\"", "the file name is empty"};
    if (path.size() > longestPath)
        throw Failure{exitCannotRead, path.substr(0, 50) + "...",
                      "the file name is longer than " + std::to_string(longestPath) + " characters"};
    struct stat info;
    if (stat(path.c_str(), &info) != 0)
        throw Failure{exitCannotRead, path, "the file cannot be opened " + systemReason(errno)};
    if (S_ISDIR(info.st_mode))
        throw Failure{exitCannotRead, path, "this is a directory, not a file"};
    if (!S_ISREG(info.st_mode))
        throw Failure{exitCannotRead, path, "this is a pipe or a device, not a file"};
    int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        throw Failure{exitCannotRead, path, "the file cannot be opened " + systemReason(errno)};
    close(descriptor);

    if (!willDetect)
        return;
    if (path.size() < 2)
        throw Failure{exitNameTooShort, path, "the name is too short to tell the format, write it as ./" + path};
    if (info.st_size == 0)
        throw Failure{exitNotAnImage, path, "the file is empty"};
    if (info.st_size < smallestFile)
        throw Failure{exitNotAnImage, path,
                      "the file has only " + std::to_string(info.st_size) + " bytes, too few for a picture"};
}

static FormatId chooseLoader(const std::string& path, u32 forcedFormat)
{
    if (forcedFormat != 0) {
        returnLoaderFunctions(forcedFormat, path.c_str());
        return static_cast<FormatId>(forcedFormat);
    }
    FormatId format = returnLoaderFunctions(formatDetect, path.c_str());
    if (format == formatNameTooShort)
        throw Failure{exitNameTooShort, path, "the name is too short to tell the format"};
    if (format == formatNotAnImage) {
        std::string extension = extensionOf(path);
        throw Failure{exitNotAnImage, path,
                      extension.empty() ? "this is not a picture or weaving file"
                                        : "this is not a picture or weaving file by its name (" + extension + ")"};
    }
    return format;
}

// Why a page was not drawn that needs more than the program that draws it; empty when that is not known.
static std::string previewRefusal(const Picture& picture)
{
    const std::string extension = extensionOf(picture.file);
    const char* command = llibGetVectorPreviewCommand();
    if (picture.format != vectorPreview || command == nullptr ||
        command != guardedCommand(installedPreviewCommand(), 0) || (extension != ".pdf" && extension != ".eps"))
        return "";
    if (!isInstalled("gs"))
        return "PDF and EPS files are drawn by Ghostscript, which is not installed (Debian package ghostscript)";
    if (!isInstalled("gm") && picture.complaint.find("policy") != std::string::npos)
        return "ImageMagick is set up on this computer not to open PDF and EPS files, install GraphicsMagick, which "
               "opens them (Debian package graphicsmagick)";
    return "";
}

// Some loaders insist on the name. " (.jpg .jpeg)", or nothing when the name is as it should be.
static std::string expectedName(const Picture& picture)
{
    if (hasNameOf(picture.file, picture.format))
        return "";
    std::string endings = knownFormat(picture.format).extensions;
    for (size_t blank = endings.find(' '); blank != std::string::npos; blank = endings.find(' ', blank + 1))
        endings.insert(blank + 1, ".");
    return " (." + endings + ")";
}

static std::string refusal(const Picture& picture, int status, bool detected)
{
    if (detected && picture.format == bonas && extensionOf(picture.file) != ".ep")
        return "the format is not recognised";
    std::string name = returnLoaderString(picture.format);
    if (!knownFormat(picture.format).loads)
        return detected ? "the format " + name + " is recognised but its files cannot be read"
                        : "files of the format " + name + " cannot be read";
    const Helper* helper = helperOf(picture.format);
    if (helper != nullptr && helper->setting() == nullptr)
        return "files of the format " + name + " are opened with a program that is not installed (Debian " +
               helper->packages + ")";
    return status == loadUnsupportedVariant ? "this " + name + " file is of a variant that cannot be loaded"
                                            : "this is not a " + name + " file" + expectedName(picture) +
                                                  ", or a damaged or unusual one that cannot be loaded";
}

static Failure statusFailure(const Picture& picture, int status, bool detected, int errorNumber)
{
    std::string why = !picture.complaint.empty() ? " (" + picture.complaint + ")"
                      : errorNumber != 0         ? " " + systemReason(errorNumber)
                                                 : "";
    if (const std::string reason = previewRefusal(picture); status == loadWrongFormat && !reason.empty())
        return {exitWrongFormat, picture.file, reason};
    if (picture.work.helperFailed())
        return {status == loadWrongFormat ? exitWrongFormat : exitBadData, picture.file,
                "the program that opens such files failed" + why};
    switch (status) {
    case loadOutOfMemory:
        return {exitOutOfMemory, picture.file, "there is not enough memory to load the file"};
    case loadCannotRead:
        return {exitCannotRead, picture.file, "the file cannot be opened or its header is incomplete" + why};
    case loadDecoderError:
        return {exitDecoderError, picture.file,
                std::string("the file is damaged, its ") + returnLoaderString(picture.format) +
                    " data cannot be decoded" + why};
    case loadUnsupportedVariant:
        return {exitUnsupportedVariant, picture.file, refusal(picture, status, detected)};
    case loadWrongFormat:
        return {exitWrongFormat, picture.file, refusal(picture, status, detected) + why};
    default:
        return {exitBadData, picture.file, "the file is damaged, its sizes are wrong or its data end early" + why};
    }
}

// Bytes that no palette holds, to see which colours a loader sets.
static u8 untouchedByte(u32 index)
{
    u32 mixed = (index + 1) * 2654435761U;
    return static_cast<u8>((mixed ^ mixed >> 13) >> 7);
}

static u32 countColours(u8* palette)
{
    u32 index = sizeof Picture::palette;
    while (index > 0 && palette[index - 1] == untouchedByte(index - 1))
        index--;
    u32 count = (index + 2) / 3;
    std::fill(palette + 3 * count, palette + sizeof Picture::palette, u8{0});
    return count;
}

// A palette's picture holds every number once, whenever it is asked for; the colours behind them are black.
static u32 countShownColours(const Picture& picture)
{
    std::vector<u8> numbers(u64{picture.width} * picture.height);
    if (numbers.empty() || getLoadBand()(numbers.data(), picture.height, picture.width) != loadSuccess)
        return 0;
    return *std::max_element(numbers.begin(), numbers.end()) + 1U;
}

struct Opening {
    int status;
    int errorNumber;
};

// Opens the picture with the loader that is installed.
static Opening openPicture(Picture& picture)
{
    constexpr size_t descriptionBytes = 8192;
    // The other files of a design are looked for in the folder that the name tells.
    const bool needsFolder = picture.format == tisDesign && picture.file.find('/') == std::string::npos;
    const std::string path = (needsFolder ? "./" : "") + picture.file;
    picture.loaderPath.assign(longestPath + 1, 0);
    std::copy(path.begin(), path.end(), picture.loaderPath.begin());
    for (u32 i = 0; i < sizeof picture.palette; i++)
        picture.palette[i] = picture.format == eatImage ? u8{0} : untouchedByte(i); // EAT files leave out the white
    picture.kind = kindBilevel;
    std::vector<char> text(descriptionBytes, 0);
    if (helperOf(picture.format) != nullptr)
        picture.work.make();

    LibraryOutput output;
    errno = 0;
    int status = getTryLoad()(picture.loaderPath.data(), &picture.kind, &picture.width, &picture.height, &picture.resX,
                              &picture.resY, &picture.mulX, &picture.mulY, picture.palette, text.data(),
                              &picture.orientationFlag, &picture.firstPart, 1);
    const int errorNumber = status == loadCannotRead ? errno : 0;
    picture.complaint = output.firstLine();
    // What it has unpacked or drawn may lack something, which the library cannot know.
    if (status == loadSuccess && picture.work.helperFailed()) {
        getEndLoad()();
        status = loadBadData;
    }
    if (status == loadSuccess) {
        picture.paletteColours = countColours(picture.palette);
        if (picture.kind == kindIndexed && isPalette(picture))
            picture.paletteColours = countShownColours(picture);
        picture.description = text.data();
        if (path != picture.loaderPath.data())
            picture.firstPartFile = picture.loaderPath.data();
    }
    return {status, errorNumber};
}

// Formats share extensions, and names of numbered parts have none that detection knows.
static bool openWithAnother(Picture& picture)
{
    const FormatId detected = picture.format;
    for (FormatId another : formatsOfName(picture.file)) {
        if (another == detected)
            continue;
        returnLoaderFunctions(static_cast<u32>(another), picture.file.c_str());
        picture.format = another;
        if (openPicture(picture).status == loadSuccess) {
            picture.refusedBy = detected != bonas ? detected : 0;
            return true;
        }
    }
    picture.format = detected;
    return false;
}

Picture::Picture(const std::string& path, u32 forcedFormat) : file(path)
{
    const bool detects = forcedFormat == 0;
    checkSource(path, detects);
    format = chooseLoader(path, forcedFormat);
    const Opening opening = openPicture(*this);
    if (opening.status == loadSuccess)
        return;
    const Failure failure = statusFailure(*this, opening.status, detects, opening.errorNumber);
    const bool isRefused =
        opening.status == loadUnsupportedVariant || opening.status == loadWrongFormat || opening.status == loadBadData;
    if (!detects || !isRefused || !openWithAnother(*this))
        throw work.helperFailed() ? statusFailure(*this, opening.status, detects, 0) : failure;
}

Picture::~Picture()
{
    LibraryOutput output; // a picture whose pixels nobody wanted is a reason to complain, too
    getEndLoad()();
}

u64 rowBytes(const Picture& picture)
{
    u64 width = picture.width;
    switch (picture.kind) {
    case kindBilevel:
        return (width + 7) / 8;
    case kindIndexed:
        return width;
    case kindRGB:
        return 3 * width;
    case kindRGBA:
        return 4 * width;
    default:
        throw Failure{exitBadData, picture.file, "the file holds no picture that can be shown"};
    }
}

Pixels loadPixels(Picture& picture)
{
    if (picture.width == 0 || picture.height == 0)
        throw Failure{exitBadData, picture.file, "the picture is empty (" + sizeText(picture) + " pixels)"};
    u64 bytesPerRow = rowBytes(picture);
    // Memory that no row is written to costs nothing this way, however large a damaged header says the picture is.
    Pixels pixels(bytesPerRow <= UINT32_MAX ? static_cast<u8*>(calloc(picture.height, bytesPerRow)) : nullptr);
    if (pixels == nullptr)
        throw Failure{exitOutOfMemory, picture.file,
                      "there is not enough memory for a picture of " + sizeText(picture) + " pixels"};
    int status;
    {
        LibraryOutput output;
        status = getLoadBand()(pixels.get(), picture.height, static_cast<u32>(bytesPerRow));
        const std::string complaint = output.firstLine();
        picture.complaintIsAboutRows = !complaint.empty();
        if (picture.complaintIsAboutRows)
            picture.complaint = complaint;
    }
    if (status == loadCannotRead)
        throw Failure{exitCannotRead, picture.file,
                      picture.kind == kindBilevel
                          ? "the file is damaged, its data end early, or a further file of the design is missing"
                          : "the file is damaged, its data end early"};
    if (status != loadSuccess)
        throw statusFailure(picture, status, true, 0);
    return pixels;
}

void layOnWhite(const u8* rgba, u8* rgb)
{
    const int alpha = rgba[3];
    for (int channel = 0; channel < 3; channel++)
        rgb[channel] = static_cast<u8>((rgba[channel] * alpha + 255 * (255 - alpha) + 127) / 255);
}

std::string sizeText(const Picture& picture)
{
    return std::to_string(picture.width) + " x " + std::to_string(picture.height);
}

bool isPalette(const Picture& picture)
{
    constexpr FormatId palettes[] = {63, 67, 68};
    return std::find(std::begin(palettes), std::end(palettes), picture.format) != std::end(palettes);
}

u32 colourCount(const Picture& picture)
{
    return picture.kind == kindBilevel ? 2 : picture.kind == kindIndexed ? picture.paletteColours : 0;
}

std::string colourText(const Picture& picture)
{
    switch (picture.kind) {
    case kindRGB:
        return "true colour";
    case kindRGBA:
        return "true colour with transparency";
    default:
        u32 count = colourCount(picture);
        return std::to_string(count) + (count == 1 ? " colour" : " colours");
    }
}
