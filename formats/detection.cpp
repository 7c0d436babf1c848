// Decides a file's format: by names that are no images, then by magic numbers in order, then by extension.
#include "formats/detection.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "formats/catalogue.h"
#include "framework/bytes.h"
#include "framework/thread_state.h"

using std::string_view;

namespace
{

constexpr i64 leastFileBytes = 8;

// The last characters of a name in one number, lowered: three letters, or four when a dot stands before them.
// A two-letter extension packs with its dot.
constexpr u32 packed(string_view text)
{
    u32 extension = 0;
    for (char c : text)
        extension = extension << 8 | static_cast<u8>(c);
    return extension;
}

// What the tests look at. Bytes behind the file's end match nothing.
struct Probe {
    string_view name;
    const u8* header;
    size_t headerSize;

    u8 nameAt(size_t fromEnd) const
    {
        return fromEnd <= name.size() ? static_cast<u8>(name[name.size() - fromEnd]) : 0;
    }

    bool has(size_t offset, string_view bytes) const
    {
        return offset + bytes.size() <= headerSize && memcmp(header + offset, bytes.data(), bytes.size()) == 0;
    }
};

bool isPcx(const Probe& probe)
{
    return probe.header[1] < 6 && probe.header[2] == 1;
}

bool isSchleicher(const Probe& probe)
{
    return probe.has(37, "S") && probe.has(40, "0");
}

bool isWif(const Probe& probe)
{
    return tolowerAZ(probe.header[1]) == 'w' && tolowerAZ(probe.header[2]) == 'i' &&
           tolowerAZ(probe.header[3]) == 'f' && probe.header[4] == ']';
}

bool isPignone(const Probe& probe)
{
    return probe.header[1] >= 6 && probe.header[2] == 0 && probe.header[3] == 0;
}

bool isNamedZ(const Probe& probe)
{
    return probe.nameAt(4) == '.' && tolowerAZ(probe.nameAt(3)) == 'z';
}

bool isUpt(const Probe& probe)
{
    return probe.header[4] == ' ' && probe.header[7] == 0;
}

bool isDoWeave(const Probe& probe)
{
    return isDigit(probe.header[5]) && isDigit(probe.header[6]) && probe.header[7] == '.' && probe.headerSize >= 13 &&
           isDigit(probe.header[11]) && isDigit(probe.header[12]);
}

struct Magic {
    string_view start;
    FormatId id;
    bool (*also)(const Probe&); // may rely on the first 8 bytes
};

using namespace std::string_view_literals;

constexpr Magic magics[] = {
    {"GIF87a", formatGif, nullptr},
    {"GIF89a", formatGif, nullptr},
    {"\x89PNG\r\n\x1A\n", formatPng, nullptr},
    {"\x0A", formatPcx, isPcx},
    {"\xFF\xD8", formatJpeg, nullptr},
    {"MM\0*"sv, formatTiff, nullptr},
    {"II*\0"sv, formatTiff, nullptr},
    {"@(#)CARDIM..FILE", formatSophisCard, nullptr},
    {"/*DESIGN..FILE*/", formatSophisImage, nullptr},
    {"", formatSchleicher, isSchleicher},
    {"#BINDING\n", formatWeave, nullptr},
    {"P4", formatPbm, nullptr},
    {"P5", formatPbm, nullptr},
    {"P6", formatPbm, nullptr},
    {"\x81\xFE", formatStaubliJc5, nullptr},
    {"[", formatWif, isWif},
    {"BM", formatBmp, nullptr},
    {"@(#)BWEAVE..FILE", formatSophisWeave, nullptr},
    {"\x01\0\0\x1C\x0C\x05"sv, formatVamatexPid, nullptr},
    {"\x02\0\0\x1C\x0C\x05"sv, formatVamatexPiw, nullptr},
    {"X", formatPignone, isPignone},
    {"UWFCR2", formatUwf, nullptr},
    {"#NEW_REGION", formatDrape, nullptr},
    {"# Fabric", formatFabric, nullptr},
    {"\x1F\x8B", formatStaubliZc5, isNamedZ},
    {"PK\x03\x04", formatQtz, nullptr},
    {"B#\0\0"sv, formatDoStyle, nullptr},
    {"\0\0"sv, formatUpt, isUpt},
    {"X\x15\0"sv, formatSmit, nullptr},
    {"0010", formatDoWeave, isDoWeave},
    {"CGSII1", formatTakemuraCgs, nullptr},
    {"patfil", formatNissan, nullptr},
    {"TxST", formatZhuPat, nullptr},
    {"NIFF", formatNedgraphicsDes, nullptr},
    {"JASC-PAL", formatPalette, nullptr},
    {"GIMP Palette", formatPalette, nullptr},
    {"8BCB", formatPhotoshopAcb, nullptr},
    {"wjl&sb", formatActWjl, nullptr},
};

// By the number of letters behind the dot.
constexpr string_view twoLetters[] = {".7z", ".ai", ".gz", ".ps", ".rm", ".sh", ".so", ".xz"};
constexpr string_view threeLetters[] = {"auf", "bak", "bat", "bin", "cgi", "com", "cpp", "css", "csv", "dll", "dmg",
                                        "doc", "dtd", "dwg", "exe", "flv", "htm", "ico", "iff", "ini", "iso", "jar",
                                        "lnk", "mov", "mp3", "mp4", "mpg", "msi", "odt", "pkg", "pps", "ppt", "psd",
                                        "rar", "rpm", "rtf", "sf2", "sql", "srt", "svi", "sys", "tar", "tex", "tga",
                                        "tmp", "ttf", "txt", "vcf", "vif", "wmv", "xls", "xml", "zip"};
constexpr string_view fourLetters[] = {"docx", "html", "part", "xlsx"};

u32 packExtension(const Probe& probe)
{
    if (probe.name.size() <= 3)
        return 0;
    // Characters count as signed, so that none outside ASCII can make up a known extension.
    auto lowered = [&](size_t fromEnd) {
        return static_cast<u32>(tolowerAZ(static_cast<signed char>(probe.nameAt(fromEnd))));
    };
    u32 extension = lowered(3) * 0x10000 + lowered(2) * 0x100 + lowered(1);
    if (probe.nameAt(5) == '.')
        extension += lowered(4) * 0x1000000;
    return extension;
}

// Whether the name ends in a dot and these lower-case letters, in any case.
bool endsIn(const Probe& probe, string_view letters)
{
    if (probe.nameAt(letters.size() + 1) != '.')
        return false;
    for (size_t i = 0; i < letters.size(); i++) {
        if (tolowerAZ(probe.nameAt(letters.size() - i)) != letters[i])
            return false;
    }
    return true;
}

bool isNoImageName(const Probe& probe, u32 extension)
{
    auto among = [&](const auto& list) {
        return std::any_of(std::begin(list), std::end(list),
                           [&](string_view text) { return packed(text) == extension; });
    };
    return endsIn(probe, "eatpc") || (probe.nameAt(3) == '.' && among(twoLetters)) ||
           (probe.nameAt(4) == '.' && among(threeLetters)) || (probe.nameAt(5) == '.' && among(fourLetters)) ||
           (probe.name.size() > 8 && probe.name.ends_with(".desktop"));
}

struct KnownExtension {
    u32 packed;
    FormatId id;
};

constexpr size_t mostExtensions = 64;
struct KnownExtensions {
    KnownExtension list[mostExtensions];
    size_t count;
};

// Longer ones do not fit into a number: those are asked for by name.
constexpr KnownExtensions knownExtensions = [] {
    KnownExtensions known{};
    for (const CatalogueRow& row : catalogue) {
        string_view words = row.ownership == Extensions::own ? row.extensions : "";
        while (!words.empty()) {
            const string_view word = words.substr(0, words.find(' '));
            const u32 dot = word.size() == 2 ? u32{'.'} << 16 : 0;
            known.list[known.count++] = {packed(word) + dot, row.id};
            words.remove_prefix(word.size() < words.size() ? word.size() + 1 : word.size());
        }
    }
    return known;
}();

// Bonas takes every file that nothing identifies.
FormatId formatOfExtension(u32 extension)
{
    for (size_t i = 0; i < knownExtensions.count; i++) {
        if (knownExtensions.list[i].packed == extension)
            return knownExtensions.list[i].id;
    }
    return formatBonas;
}

} // namespace

FormatId detectFormat(const char* path)
{
    Probe probe{path != nullptr ? path : "", nullptr, 0};
    if (probe.name.size() < 2)
        return formatNameTooShort;
    u32 extension = packExtension(probe);
    if (isNoImageName(probe, extension))
        return formatNotAnImage;

    probe.header = loadImgCheckHeader(path);
    i64 size = loadImgLastFilesize();
    if (probe.header == nullptr || size < leastFileBytes)
        return formatNotAnImage;
    probe.headerSize = static_cast<size_t>(std::min<i64>(size, headerBytes));

    for (const Magic& magic : magics) {
        if (probe.has(0, magic.start) && (magic.also == nullptr || magic.also(probe)))
            return magic.id;
    }
    if (endsIn(probe, "drape"))
        return formatDrape;
    return formatOfExtension(extension);
}

int returnLoaderFunctions(u32 id, const char* path)
{
    LoaderThreadState& state = threadState();
    if (state.needsInit != 0) {
        state.needsInit = 0;
        initLoadFabric();
        initLoadWeave();
    }

    if (id == formatDetect) {
        FormatId detected = detectFormat(path);
        if (const CatalogueRow* row = catalogueRow(detected))
            row->registerLoad();
        return detected;
    }
    if (const CatalogueRow* row = catalogueRow(id))
        row->registerLoad();
    return formatInstalled;
}
