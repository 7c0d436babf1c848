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
    {"", false},
    {"wea", false},
    {"", false},
    {"db1", true}, // 20
    {"wif", true},
    {"j1p", false},
    {"bmp", true},
    {"pun", false},
    {"qte", true}, // 25
    {"pat", false},
    {"pat", false},
    {"bbi", false},
    {"dat", false},
    {"dop", true}, // 30
    {"cop", true},
    {"", true},
    {"pid", true},
    {"piw", true},
    {"mot", true}, // 35
    {"dy", false},
    {"arm", false},
    {"uwf", true},
    {"drape", true},
    {"", true}, // 40
    {"upt", false},
    {"zc5", true},
    {"qtz", true},
    {"", true},
    {"arm", true}, // 45
    {"apf", false},
    {"", false},
    {"pat", true},
    {"des", true},
    {"cgs", false}, // 50
    {"", false},
    {"arm", true},
    {"pat", false},
    {"sti", false},
    {"d00 w00 a00", false}, // 55
    {"pat", true},
    {"mus", true},
    {"des", false},
    {"pdf eps svg svgz", true},
    {"oom", true}, // 60
    {"wbf", false},
    {"wb", false},
    {"pal gpl", true},
    {"dis", true},
    {"org", false}, // 65
    {"ep_", true},
    {"aco", true},
    {"acb", true},
    {"dp5", false},
    {"wjl", false}, // 70
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

std::vector<FormatId> formatsOfName(const std::string& path)
{
    constexpr FormatId jc4Network = 15; // its extension is the width
    std::string name = baseNameOf(path);
    std::string extension = takeExtension(name);
    const bool isNumbered = isNumber(extension);
    // The parts of a design are d.jc4.01, d.jc4.02 and so on.
    if (isNumbered)
        extension = takeExtension(name);
    std::vector<FormatId> formats;
    for (FormatId id = 1; id <= formatCount; id++) {
        std::istringstream words(knownFormat(id).extensions);
        const bool isNamed =
            std::find(std::istream_iterator<std::string>(words), {}, extension) != std::istream_iterator<std::string>();
        if (knownFormat(id).loads && ((isNamed && !extension.empty()) || (isNumbered && id == jc4Network)))
            formats.push_back(id);
    }
    return formats;
}
