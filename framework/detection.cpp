// Decides a file's format: by names that are no images, then by magic numbers in order, then by extension.
#include "framework/detection.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "framework/bytes.h"
#include "framework/catalogue.h"
#include "framework/thread_state.h"

using std::string_view;

constexpr i64 smallestFile = 8;

// The last characters of a name in one number, lowered: three letters, or four when a dot stands before them.
// A two-letter extension packs with its dot.
static constexpr u32 packed(string_view text)
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

static bool isPcx(const Probe& probe)
{
    return probe.header[1] < 6 && probe.header[2] == 1;
}

static bool isSchleicher(const Probe& probe)
{
    return probe.has(37, "S") && probe.has(40, "0");
}

static bool isWif(const Probe& probe)
{
    return tolowerAZ(probe.header[1]) == 'w' && tolowerAZ(probe.header[2]) == 'i' &&
           tolowerAZ(probe.header[3]) == 'f' && probe.header[4] == ']';
}

static bool isPignone(const Probe& probe)
{
    return probe.header[1] >= 6 && probe.header[2] == 0 && probe.header[3] == 0;
}

static bool isNamedZ(const Probe& probe)
{
    return probe.nameAt(4) == '.' && tolowerAZ(probe.nameAt(3)) == 'z';
}

static bool isUpt(const Probe& probe)
{
    return probe.header[4] == ' ' && probe.header[7] == 0;
}

static bool isDoWeave(const Probe& probe)
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

static constexpr Magic magics[] = {
    {"GIF87a", 1, nullptr},
    {"GIF89a", 1, nullptr},
    {"\x89PNG\r\n\x1A\n", 2, nullptr},
    {"\x0A", 3, isPcx},
    {"\xFF\xD8", 4, nullptr},
    {"MM\0*"sv, 5, nullptr},
    {"II*\0"sv, 5, nullptr},
    {"@(#)CARDIM..FILE", 6, nullptr},
    {"/*DESIGN..FILE*/", 7, nullptr},
    {"", 9, isSchleicher},
    {"#BINDING\n", 10, nullptr},
    {"P4", 11, nullptr},
    {"P5", 11, nullptr},
    {"P6", 11, nullptr},
    {"\x81\xFE", 14, nullptr},
    {"[", 21, isWif},
    {"BM", 23, nullptr},
    {"@(#)BWEAVE..FILE", 32, nullptr},
    {"\x01\0\0\x1C\x0C\x05"sv, 33, nullptr},
    {"\x02\0\0\x1C\x0C\x05"sv, 34, nullptr},
    {"X", 37, isPignone},
    {"UWFCR2", 38, nullptr},
    {"#NEW_REGION", 39, nullptr},
    {"# Fabric", 40, nullptr},
    {"\x1F\x8B", 42, isNamedZ},
    {"PK\x03\x04", 43, nullptr},
    {"B#\0\0"sv, 44, nullptr},
    {"\0\0"sv, 41, isUpt},
    {"X\x15\0"sv, 45, nullptr},
    {"0010", 49, isDoWeave},
    {"CGSII1", 50, nullptr},
    {"patfil", 51, nullptr},
    {"TxST", 53, nullptr},
    {"NIFF", 58, nullptr},
    {"JASC-PAL", 63, nullptr},
    {"GIMP Palette", 63, nullptr},
    {"8BCB", 68, nullptr},
    {"wjl&sb", 70, nullptr},
};

struct Extension {
    string_view text;
    FormatId id;
};

static constexpr Extension extensions[] = {
    {"ep_", 66}, {"des", 49}, {"pid", 33}, {".dy", 36}, {"dis", 64},  {"piw", 34}, {".wb", 62}, {"dp5", 69},
    {"png", 2},  {"acb", 68}, {"dop", 30}, {"pun", 24}, {"aco", 67},  {"d00", 55}, {"qte", 25}, {"apf", 46},
    {"gif", 1},  {"qtz", 43}, {"arm", 37}, {"jpg", 4},  {"jpeg", 4},  {"s01", 9},  {"a00", 55}, {"jc3", 13},
    {"sti", 54}, {"bbi", 28}, {"jc4", 12}, {"tif", 5},  {"tiff", 5},  {"bmp", 23}, {"jc5", 14}, {"upt", 41},
    {"cgs", 50}, {"oom", 60}, {"uwf", 38}, {"cop", 31}, {"j1p", 22},  {"wbf", 61}, {"dat", 29}, {"mot", 35},
    {"wea", 18}, {"db1", 20}, {"org", 65}, {"wif", 21}, {"pat", 48},  {"pcx", 3},  {"wjl", 70}, {"w00", 55},
    {"zc5", 42}, {"eps", 59}, {"pdf", 59}, {"svg", 59}, {"svgz", 59}, {"gpl", 63}, {"pal", 63},
};

constexpr FormatId drapeProject = 39;
constexpr FormatId bonas = 8; // takes every file that nothing identifies

// By the number of letters behind the dot.
static constexpr string_view twoLetters[] = {".7z", ".ai", ".gz", ".ps", ".rm", ".sh", ".so", ".xz"};
static constexpr string_view threeLetters[] = {
    "auf", "bak", "bat", "bin", "cgi", "com", "cpp", "css", "csv", "dll", "dmg", "doc", "dtd", "dwg",
    "exe", "flv", "htm", "ico", "iff", "ini", "iso", "jar", "lnk", "mov", "mp3", "mp4", "mpg", "msi",
    "odt", "pkg", "pps", "ppt", "psd", "rar", "rpm", "rtf", "sf2", "sql", "srt", "svi", "sys", "tar",
    "tex", "tga", "tmp", "ttf", "txt", "vcf", "vif", "wmv", "xls", "xml", "zip"};
static constexpr string_view fourLetters[] = {"docx", "html", "part", "xlsx"};

static u32 packExtension(const Probe& probe)
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
static bool endsIn(const Probe& probe, string_view letters)
{
    if (probe.nameAt(letters.size() + 1) != '.')
        return false;
    for (size_t i = 0; i < letters.size(); i++) {
        if (tolowerAZ(probe.nameAt(letters.size() - i)) != letters[i])
            return false;
    }
    return true;
}

static bool isNoImageName(const Probe& probe, u32 extension)
{
    auto among = [&](const auto& list) {
        return std::any_of(std::begin(list), std::end(list),
                           [&](string_view text) { return packed(text) == extension; });
    };
    return endsIn(probe, "eatpc") || (probe.nameAt(3) == '.' && among(twoLetters)) ||
           (probe.nameAt(4) == '.' && among(threeLetters)) || (probe.nameAt(5) == '.' && among(fourLetters)) ||
           (probe.name.size() > 8 && probe.name.ends_with(".desktop"));
}

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
    if (probe.header == nullptr || size < smallestFile)
        return formatNotAnImage;
    probe.headerSize = static_cast<size_t>(std::min<i64>(size, headerBytes));

    for (const Magic& magic : magics) {
        if (probe.has(0, magic.start) && (magic.also == nullptr || magic.also(probe)))
            return magic.id;
    }
    if (endsIn(probe, "drape"))
        return drapeProject;
    for (const Extension& known : extensions) {
        if (packed(known.text) == extension)
            return known.id;
    }
    return bonas;
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
