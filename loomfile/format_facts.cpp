#include "loomfile/format_facts.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace
{

using enum Evidence;
constexpr bool streamed = true;
constexpr bool whole = false;

constexpr FormatFacts facts[] = {
    {mark, whole, Helper::none},          // formatGif
    {mark, whole, Helper::none},          // formatPng
    {mark, whole, Helper::none},          // formatPcx
    {mark, streamed, Helper::none},       // formatJpeg
    {mark, whole, Helper::none},          // formatTiff
    {mark, streamed, Helper::none},       // formatSophisCard
    {mark, streamed, Helper::none},       // formatSophisImage
    {size, streamed, Helper::none},       // formatBonas
    {size, streamed, Helper::none},       // formatSchleicher
    {mark, whole, Helper::none},          // formatWeave
    {mark, whole, Helper::none},          // formatPbm
    {size, whole, Helper::none},          // formatStaubliJc4
    {size, whole, Helper::none},          // formatStaubliJc3
    {mark, whole, Helper::none},          // formatStaubliJc5
    {none, whole, Helper::none},          // formatStaubliJc4Network
    {size, whole, Helper::none},          // formatStaubliJc4Email
    {none, streamed, Helper::none},       // formatTis
    {none, whole, Helper::none},          // formatGrosse
    {mark, whole, Helper::none},          // formatEat
    {size, streamed, Helper::none},       // formatStaubli1858
    {mark, whole, Helper::none},          // formatWif
    {size, streamed, Helper::none},       // formatAvlJ1p
    {mark, whole, Helper::none},          // formatBmp
    {size, streamed, Helper::none},       // formatPun
    {size, streamed, Helper::none},       // formatQte
    {none, streamed, Helper::none},       // formatVaritexPat
    {size, streamed, Helper::none},       // formatIamPat
    {size, streamed, Helper::none},       // formatIamBbi
    {size, streamed, Helper::none},       // formatTakemuraDat
    {mark, whole, Helper::none},          // formatSometDop
    {mark, whole, Helper::none},          // formatSometCop
    {mark, streamed, Helper::none},       // formatSophisWeave
    {mark, whole, Helper::none},          // formatVamatexPid
    {mark, whole, Helper::none},          // formatVamatexPiw
    {size, streamed, Helper::none},       // formatQteMotif
    {size, whole, Helper::none},          // formatTongYuan
    {mark, whole, Helper::none},          // formatPignone
    {mark, streamed, Helper::none},       // formatUwf
    {mark, whole, Helper::none},          // formatDrape
    {mark, whole, Helper::none},          // formatFabric
    {none, whole, Helper::none},          // formatUpt
    {mark, whole, Helper::gzip},          // formatStaubliZc5
    {mark, streamed, Helper::unzip},      // formatQtz
    {mark, whole, Helper::none},          // formatDoStyle
    {mark, whole, Helper::none},          // formatSmit
    {none, whole, Helper::none},          // formatApf
    {mark, whole, Helper::none},          // formatColorado
    {size, streamed, Helper::none},       // formatNedgraphicsPat
    {mark, whole, Helper::none},          // formatDoWeave
    {mark, streamed, Helper::none},       // formatTakemuraCgs
    {mark, whole, Helper::none},          // formatNissan
    {none, whole, Helper::none},          // formatSometArm
    {mark, streamed, Helper::none},       // formatZhuPat
    {size, streamed, Helper::none},       // formatZhuSti
    {none, whole, Helper::none},          // formatPanter
    {size, whole, Helper::none},          // formatDoTech
    {size, whole, Helper::none},          // formatMuster
    {none, whole, Helper::none},          // formatNedgraphicsDes
    {mark, whole, Helper::vectorPreview}, // formatVectorPreview
    {size, streamed, Helper::none},       // formatStaubliJc4Loom
    {size, streamed, Helper::none},       // formatWbf
    {size, streamed, Helper::none},       // formatWb
    {mark, whole, Helper::none},          // formatPalette
    {mark, whole, Helper::unzip},         // formatDis
    {size, whole, Helper::none},          // formatOrg
    {mark, streamed, Helper::msExpand},   // formatBonasCompressed
    {size, whole, Helper::none},          // formatPhotoshopAco
    {mark, whole, Helper::none},          // formatPhotoshopAcb
    {size, streamed, Helper::none},       // formatTsudakomaDp5
    {mark, streamed, Helper::none},       // formatActWjl
};
static_assert(std::size(facts) == formatCount);

bool isAmong(std::string_view word, std::string_view words)
{
    while (!words.empty()) {
        const size_t end = std::min(words.find(' '), words.size());
        if (words.substr(0, end) == word)
            return true;
        words.remove_prefix(std::min(end + 1, words.size()));
    }
    return false;
}

bool isNumber(std::string_view text)
{
    return text.size() >= 2 && text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::string baseNameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

// What follows the last dot, which is cut off the name.
std::string takeExtension(std::string& name)
{
    const size_t dot = name.rfind('.');
    if (dot == std::string::npos)
        return "";
    std::string extension = name.substr(dot + 1);
    name.resize(dot);
    stringToLower(extension.data());
    return extension;
}

} // namespace

const FormatFacts& factsOf(FormatId format)
{
    return facts[format - 1];
}

const char* helperPackages(FormatId format)
{
    switch (format >= 1 && format <= formatCount ? factsOf(format).helper : Helper::none) {
    case Helper::gzip:
        return "gzip";
    case Helper::unzip:
        return "unzip";
    case Helper::msExpand:
        return "mscompress";
    case Helper::vectorPreview:
        return "graphicsmagick ghostscript";
    default:
        return "";
    }
}

std::string extensionOf(const std::string& path)
{
    std::string name = baseNameOf(path);
    return takeExtension(name);
}

bool hasNameOf(const std::string& path, FormatId format)
{
    const std::string_view extensions = returnLoaderExtensions(format);
    return extensions.empty() || isAmong(extensionOf(path), extensions);
}

std::string firstExtension(FormatId format)
{
    const std::string_view extensions = returnLoaderExtensions(format);
    return extensions.empty() ? "" : "." + std::string(extensions.substr(0, extensions.find(' ')));
}

std::vector<FormatId> formatsOfName(const std::string& path)
{
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
    for (FormatId format = 1; format <= formatCount; format++) {
        const bool isNamed = !extension.empty() && isAmong(extension, returnLoaderExtensions(format));
        if (returnLoaderReads(format) != 0 && (isNamed || (isNumbered && format == formatStaubliJc4Network)))
            formats.push_back(format);
    }
    return formats;
}

bool isPaletteFormat(FormatId format)
{
    return format == formatPalette || format == formatPhotoshopAco || format == formatPhotoshopAcb;
}
