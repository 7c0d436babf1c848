#include "loomfile/reader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "loomfile/format_facts.h"
#include "loomfile/helpers.h"

constexpr size_t paletteBytes = sizeof LoomfileInfo::palette;

// Bytes that no palette holds, to see which colours a loader sets.
static constexpr std::array<u8, paletteBytes> untouched = [] {
    std::array<u8, paletteBytes> bytes{};
    for (u32 i = 0; i < paletteBytes; i++) {
        const u32 mixed = (i + 1) * 2654435761U;
        bytes[i] = static_cast<u8>((mixed ^ mixed >> 13) >> 7);
    }
    return bytes;
}();

Loomfile::Loomfile(Settings given) : info(loomfileInfo()), settings(std::move(given)), state(llibNewState())
{
    if (state == nullptr)
        throw std::bad_alloc();
    const StateInUse use(state.get());
    llibSetMessageHandler([](void*, const char*) {}, nullptr);
    llibSetBonasLinePadding(settings.bonasUnpadded ? 0 : 1);
    setDefaultMappingJC4(settings.jc4Module);
}

// Opens a file with a format's loader; what was open before is ended.
Loomfile::Attempt Loomfile::tryFormat(FormatId format, const std::string& file)
{
    if (loader != 0)
        getEndLoad()();
    loader = 0;
    pixels.reset();
    isSpent = false;
    nextRow = 0;
    // The preview of a drape is taken out into a file.
    if (factsOf(format).helper != Command::none || format == formatDrape) {
        setHelpers(settings, work);
        forgetHelperEnd(work);
    }
    returnLoaderFunctions(static_cast<u32>(format), file.c_str());
    strcpy(loaderPath, file.c_str());
    description[0] = 0;
    info.kind = kindBilevel;
    if (format == formatEat) // leaves out the white
        memset(info.palette, 0, sizeof info.palette);
    else
        memcpy(info.palette, untouched.data(), untouched.size());
    u8 orientation = 0;
    errno = 0;
    const int status =
        getTryLoad()(loaderPath, &info.kind, &info.width, &info.height, &info.resX, &info.resY, &info.mulX, &info.mulY,
                     info.palette, description, &orientation, &info.isFirstPart, 1);
    info.orientation = orientation;
    const int errorNumber = status == loadCannotRead ? errno : 0;
    if (status == loadSuccess) {
        loader = format;
        opened = file;
    }
    Attempt refused = judge(format, status, errorNumber);
    if (refused.has_value() && loader != 0) {
        getEndLoad()();
        loader = 0;
    }
    return refused;
}

Loomfile::Attempt Loomfile::judge(FormatId format, int status, int errorNumber)
{
    HelperEnd end;
    if (factsOf(format).helper != Command::none)
        end = helperEnd(work);
    if (end.isDiskFull)
        return Refusal{loomfileCannotWrite,
                       "there is too little room for temporary files in " + settings.tmpDir + ", the disk is full", "",
                       format};
    // It may have been ended before it could note by what.
    const std::string_view said = status != loadSuccess ? llibGetReason() : "";
    const size_t killed = said.rfind("was killed by signal ");
    if (factsOf(format).helper != Command::none && killed != std::string_view::npos && !end.hasFailed) {
        end.hasFailed = true;
        end.signal = atoi(said.data() + killed + strlen("was killed by signal "));
    }
    // What it has unpacked or drawn may lack something, which the library cannot know.
    if (end.hasFailed) {
        const std::string message = end.message.empty() ? "" : " (" + end.message + ")";
        return Refusal{status == loadWrongFormat ? loadWrongFormat : loadBadData,
                       "the program that opens such files failed" + message, end.message, format, end.signal};
    }
    if (status != loadSuccess) {
        const std::string reason = llibGetReason();
        const bool lacksHelper = factsOf(format).helper != Command::none && !hasHelper(settings, format);
        return Refusal{status,
                       sentenceOf({format, status, reason, settings.format == 0, errorNumber, hasNameOf(path, format),
                                   lacksHelper}),
                       reason, format};
    }
    info.rowBytes = llibRowBytes(info.kind, info.width);
    takeRemarks();
    return limit();
}

Loomfile::Attempt Loomfile::limit() const
{
    const u64 pixelCount = u64{info.width} * info.height;
    if (info.rowBytes != 0 && pixelCount > 0 && pixelCount <= settings.mostPixels)
        return std::nullopt;
    const std::string size = std::to_string(info.width) + " x " + std::to_string(info.height) + " pixels";
    if (pixelCount == 0)
        return Refusal{loadBadData, "the picture is empty (" + size + ")", "", loader};
    if (info.rowBytes == 0)
        return Refusal{loadBadData, "the file holds no picture that can be shown", "", loader};
    return Refusal{loadOutOfMemory,
                   "the picture of " + size + " has more than the " + std::to_string(settings.mostPixels) +
                       " pixels that are allowed",
                   "", loader};
}

void Loomfile::takeRemarks()
{
    remarks = ownRemarks;
    const i32 count = llibGetRemarkCount();
    for (i32 i = 0; i < count; i++) {
        i32 isGrave = 0;
        const char* text = llibGetRemark(i, &isGrave);
        remarks.push_back({text, isGrave != 0});
    }
}

// What is known of the file once its format is decided.
void Loomfile::accept(FormatId refusedBy)
{
    info.format = loader;
    info.formatName = returnLoaderString(loader);
    info.refusedBy = refusedBy != loader ? refusedBy : 0;
    info.isPalette = isPaletteFormat(loader) ? 1 : 0;
    info.description = description;
    info.fileBytes = fileBytes;
    firstPart.clear();
    if (opened == path && path != loaderPath) {
        const bool isBare = isNamedBare && strncmp(loaderPath, "./", 2) == 0;
        firstPart = loaderPath + (isBare ? 2 : 0);
    }
    info.firstPartFile = firstPart.c_str();
    countPalette();
}

void Loomfile::countPalette()
{
    info.colourCount = 0;
    if (info.kind == kindBilevel) {
        memset(info.palette, 0, sizeof info.palette);
        memset(info.palette, 0xFF, 3);
        info.colourCount = 2;
    }
    if (info.kind != kindIndexed)
        return;
    size_t bytes = paletteBytes;
    while (bytes > 0 && info.palette[bytes - 1] == untouched[bytes - 1])
        bytes--;
    info.colourCount = static_cast<u32>((bytes + 2) / 3);
    std::fill(info.palette + 3 * info.colourCount, info.palette + paletteBytes, u8{0});
    // A palette's picture holds every number once, whenever it is asked for; the colours behind them are black.
    if (info.isPalette != 0) {
        std::vector<u8> numbers(u64{info.width} * info.height);
        if (getLoadBand()(numbers.data(), info.height, info.width) == loadSuccess)
            info.colourCount = *std::max_element(numbers.begin(), numbers.end()) + 1U;
    }
}

// From the first row again.
void Loomfile::reopen()
{
    const LoomfileInfo known = info;
    const FormatId format = loader;
    const Attempt refused = tryFormat(format, std::string(opened));
    if (refused.has_value())
        throw Refusal(*refused);
    info = known;
}

// Clear bits behind the last pixel of each row.
static void clearTails(u8* rows, u32 count, u32 stride, const LoomfileInfo& info)
{
    const u32 bits = info.width % 8;
    if (info.kind != kindBilevel || bits == 0)
        return;
    const auto mask = static_cast<u8>(0xFF00 >> bits);
    for (u32 y = 0; y < count; y++)
        rows[u64{y} * stride + info.rowBytes - 1] &= mask;
}

void Loomfile::loadBand(u8* rows, u32 count)
{
    // Their decoders leave out what is damaged.
    constexpr FormatId leavingGaps[] = {formatGif, formatTiff, formatDis, formatDrape};
    if (info.isDoubtful != 0 ||
        std::find(std::begin(leavingGaps), std::end(leavingGaps), loader) != std::end(leavingGaps))
        memset(rows, 0, u64{count} * info.rowBytes);
    isSpent = true;
    const int status = getLoadBand()(rows, count, info.rowBytes);
    takeRemarks();
    if (status == loadSuccess)
        return;
    const std::string reason = llibGetReason();
    // Nobody believes it anyway: what there is of it is shown.
    if (info.isDoubtful != 0) {
        ownRemarks.push_back({"what the file lacks is left light: " + reason, true});
        takeRemarks();
        return;
    }
    const bool isEarlyEnd = status == loadCannotRead;
    throw Refusal{status,
                  isEarlyEnd && info.kind == kindBilevel
                      ? "the file is damaged, its data end early, or a further file of the design is missing"
                  : isEarlyEnd ? "the file is damaged, its data end early"
                               : sentenceOf({loader, status, reason, true, 0, true, false}),
                  reason, info.format};
}

void Loomfile::loadWhole()
{
    if (pictureBytes() > settings.mostBytes)
        throw Refusal{loadOutOfMemory,
                      "the picture takes " + std::to_string(pictureBytes()) + " bytes, more than the " +
                          std::to_string(settings.mostBytes) + " that are allowed",
                      "", info.format};
    const u32 row = nextRow;
    if (isSpent)
        reopen();
    nextRow = row;
    // Memory that no row is written to costs nothing this way, however large a damaged header says the picture is.
    std::unique_ptr<u8, Freer> whole(static_cast<u8*>(calloc(info.height, info.rowBytes)));
    if (whole == nullptr)
        throw std::bad_alloc();
    loadBand(whole.get(), info.height);
    pixels = std::move(whole);
}

static void copyRows(u8* to, u32 toStride, const u8* from, u32 rowBytes, u32 count)
{
    for (u32 y = 0; y < count; y++)
        memcpy(to + u64{y} * toStride, from + u64{y} * rowBytes, rowBytes);
}

bool Loomfile::hasGraveRemark() const
{
    return std::any_of(remarks.begin(), remarks.end(), [](const Remark& remark) { return remark.isGrave; });
}

bool Loomfile::isStreamed() const
{
    const Bands bands = factsOf(loader).bands;
    return bands == Bands::inOrder || (bands == Bands::inOrderUnlessRemarked && !hasGraveRemark());
}

// Loads rows. False when the whole picture may have others here or behind.
bool Loomfile::loadAlike(u8* rows, u32 firstRow, u32 count)
{
    loadBand(rows, count);
    return isStreamed() || firstRow + count == info.height;
}

bool Loomfile::stream(u8* rows, u32 count, u32 stride)
{
    if (stride == info.rowBytes)
        return loadAlike(rows, nextRow, count);
    constexpr u32 scratchBytes = 1 << 18;
    const u32 most = std::max(scratchBytes / info.rowBytes, 1U);
    std::vector<u8> scratch(u64{std::min(most, count)} * info.rowBytes);
    for (u32 y = 0, part = 0; y < count; y += part) {
        part = std::min(most, count - y);
        if (!loadAlike(scratch.data(), nextRow + y, part))
            return false;
        copyRows(rows + u64{y} * stride, stride, scratch.data(), info.rowBytes, part);
    }
    return true;
}

void Loomfile::deliver(u8* rows, u32 count, u32 stride)
{
    if (pixels == nullptr && !isSpent && count == info.height && stride == info.rowBytes) {
        loadBand(rows, count);
        return;
    }
    if (pixels == nullptr && isStreamed() && stream(rows, count, stride))
        return;
    if (pixels == nullptr)
        loadWhole();
    copyRows(rows, stride, pixels.get() + u64{nextRow} * info.rowBytes, info.rowBytes, count);
}

void Loomfile::readRows(u8* rows, u32 count, u32 stride)
{
    const StateInUse use(state.get());
    if (stride < info.rowBytes)
        throw Refusal{loadBadData, "a row takes " + std::to_string(info.rowBytes) + " bytes, there is room for " +
                                       std::to_string(stride)};
    if (count > info.height - nextRow)
        throw Refusal{loadBadData, "rows are asked for that the picture does not have"};
    if (count == 0)
        return;
    if (shown != nullptr) {
        shown->draw(nextRow, count, rows, stride);
    } else {
        if (nextRow == 0 && isSpent && pixels == nullptr)
            reopen();
        deliver(rows, count, stride);
        clearTails(rows, count, stride, info);
    }
    nextRow += count;
}

const u8* Loomfile::nextRows(u32 count, std::vector<u8>& scratch)
{
    const bool isKept = shown == nullptr && (pixels != nullptr || !isStreamed());
    if (!isKept) {
        scratch.resize(u64{count} * info.rowBytes);
        readRows(scratch.data(), count, info.rowBytes);
        return scratch.data();
    }
    const StateInUse use(state.get());
    if (pixels == nullptr)
        loadWhole();
    u8* rows = pixels.get() + u64{nextRow} * info.rowBytes;
    clearTails(rows, count, info.rowBytes, info);
    nextRow += count;
    return rows;
}

void Loomfile::readAll(u8* rows, u32 stride)
{
    nextRow = 0;
    readRows(rows, info.height, stride);
    nextRow = 0;
}
