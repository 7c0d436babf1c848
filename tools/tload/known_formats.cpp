#include "known_formats.h"

#include <algorithm>
#include <iterator>

static constexpr KnownFormat knownFormats[] = {
    {"gif", true}, // 1
    {"png", true},
    {"pcx", false},
    {"jpg jpeg", true},
    {"tif tiff", false}, // 5
    {"", false},
    {"", false},
    {"ep", false},
    {"s01", false},
    {"", false}, // 10
    {"pbm pgm ppm", false},
    {"jc4", false},
    {"jc3", false},
    {"jc5", false},
    {"jc4", false}, // 15
    {"jc4", false},
    {"", false},
    {"wea", false},
    {"", false},
    {"db1", false}, // 20
    {"wif", false},
    {"j1p", false},
    {"bmp", true},
    {"pun", false},
    {"qte", false}, // 25
    {"pat", false},
    {"pat", false},
    {"bbi", false},
    {"dat", false},
    {"dop", false}, // 30
    {"cop", false},
    {"", false},
    {"pid", false},
    {"piw", false},
    {"mot", false}, // 35
    {"dy", false},
    {"arm", false},
    {"uwf", false},
    {"drape", false},
    {"", false}, // 40
    {"upt", false},
    {"zc5", false},
    {"qtz", false},
    {"", false},
    {"arm", false}, // 45
    {"apf", false},
    {"", false},
    {"pat", false},
    {"des", false},
    {"cgs", false}, // 50
    {"", false},
    {"arm", false},
    {"pat", false},
    {"sti", false},
    {"d00 w00 a00", false}, // 55
    {"", false},
    {"", false},
    {"des", false},
    {"pdf eps svg svgz", false},
    {"jc4loom", false}, // 60
    {"wbf", false},
    {"wb", false},
    {"pal gpl", false},
    {"dis des", false},
    {"org", false}, // 65
    {"ep_", false},
    {"aco", false},
    {"acb", false},
    {"dp5", false},
    {"wjl", false}, // 70
};
static_assert(std::size(knownFormats) == formatCount);

static constexpr Helper helpers[] = {
    {42, llibGetGzipCommand, "gzip"},
    {43, llibGetUnzipCommand, "unzip"},
    {59, llibGetVectorPreviewCommand, "imagemagick"},
    {64, llibGetUnzipCommand, "unzip"},
    {66, llibGetMsExpandCommand, "mscompress"},
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
