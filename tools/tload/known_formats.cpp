#include "known_formats.h"

#include <algorithm>
#include <iterator>
#include <sstream>

#include "output.h"

static constexpr KnownFormat knownFormats[] = {
    {"gif", true}, // 1
    {"png", true},
    {"pcx", true},
    {"jpg jpeg", true},
    {"tif tiff", true}, // 5
    {"", true},
    {"", true},
    {"ep", true},
    {"s01", true},
    {"", true}, // 10
    {"pbm pgm ppm", false},
    {"jc4", true},
    {"jc3", true},
    {"jc5", true},
    {"", true}, // 15
    {"jc4 dat", true},
    {"p s01", true},
    {"wea", false},
    {"", true},
    {"db1", true}, // 20
    {"wif", true},
    {"j1p", true},
    {"bmp", true},
    {"pun", true},
    {"qte", true}, // 25
    {"pat", true},
    {"pat", true},
    {"bbi", true},
    {"dat", true},
    {"dop", true}, // 30
    {"cop", true},
    {"", true},
    {"pid", true},
    {"piw", true},
    {"mot", true}, // 35
    {"dy", true},
    {"arm", true},
    {"uwf", true},
    {"drape", true},
    {"", true}, // 40
    {"upt", false},
    {"zc5", true},
    {"qtz", true},
    {"", true},
    {"arm", true}, // 45
    {"apf", false},
    {"", true},
    {"pat", true},
    {"des", true},
    {"cgs", true}, // 50
    {"nax", true},
    {"arm", true},
    {"pat", true},
    {"sti", true},
    {"d00 w00 a00", false}, // 55
    {"pat", true},
    {"mus", true},
    {"des", false},
    {"pdf eps svg svgz", true},
    {"oom", true}, // 60
    {"wbf", true},
    {"wb", true},
    {"pal gpl", true},
    {"dis", true},
    {"org", true}, // 65
    {"ep_", true},
    {"aco", true},
    {"acb", true},
    {"dp5", true},
    {"wjl", true}, // 70
};
static_assert(std::size(knownFormats) == formatCount);

static constexpr Helper helpers[] = {
    {42, llibGetGzipCommand, "package gzip"},
    {43, llibGetUnzipCommand, "package unzip"},
    {59, llibGetVectorPreviewCommand, "packages graphicsmagick and ghostscript"},
    {64, llibGetUnzipCommand, "package unzip"},
    {66, llibGetMsExpandCommand, "package mscompress"},
};

const Helper* helperOf(FormatId id)
{
    const Helper* found = std::find_if(std::begin(helpers), std::end(helpers),
                                       [id](const Helper& helper) { return helper.format == id; });
    return found != std::end(helpers) ? found : nullptr;
}

const KnownFormat& knownFormat(FormatId id)
{
    return knownFormats[id - 1];
}

static bool isNumber(const std::string& text)
{
    return text.size() >= 2 && text.find_first_not_of("0123456789") == std::string::npos;
}

static bool isAmong(const std::string& word, const char* words)
{
    std::istringstream stream(words);
    return std::find(std::istream_iterator<std::string>(stream), {}, word) != std::istream_iterator<std::string>();
}

// What follows the last dot, which is cut off the name; empty when there is none.
static std::string takeExtension(std::string& name)
{
    const size_t dot = name.rfind('.');
    if (dot == std::string::npos)
        return "";
    std::string extension = name.substr(dot + 1);
    name.resize(dot);
    stringToLower(extension.data());
    return extension;
}

bool hasNameOf(const std::string& path, FormatId id)
{
    std::string name = baseNameOf(path);
    const char* extensions = knownFormat(id).extensions;
    return extensions[0] == 0 || isAmong(takeExtension(name), extensions);
}

std::vector<FormatId> formatsOfName(const std::string& path)
{
    constexpr FormatId jc4Network = 15; // its extension is the width
    constexpr FormatId colorado = 47;   // as EAT, known by nothing but its contents
    std::string name = baseNameOf(path);
    std::string extension = takeExtension(name);
    const bool isNumbered = isNumber(extension);
    // The parts of a design are d.jc4.01, d.jc4.02 and so on.
    if (isNumbered)
        extension = takeExtension(name);
    // Or d.s01, d.s02 and so on.
    if (extension.size() == 3 && extension[0] == 's' && isNumber(extension.substr(1)))
        extension = "s01";
    std::vector<FormatId> formats;
    bool isKnown = false;
    for (FormatId id = 1; id <= formatCount; id++) {
        const KnownFormat& known = knownFormat(id);
        if (!isAmong(extension, known.extensions) && !(isNumbered && id == jc4Network))
            continue;
        isKnown = true;
        if (known.loads)
            formats.push_back(id);
    }
    return isKnown ? formats : std::vector<FormatId>{eatImage, colorado};
}
