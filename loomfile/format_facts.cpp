#include "loomfile/format_facts.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace
{

// Constants alone, without the functions of the catalogue's rows.
constexpr std::array<FormatFacts, formatCount> facts = [] {
    std::array<FormatFacts, formatCount> list{};
    for (size_t i = 0; i < list.size(); i++)
        list[i] = {catalogue[i].evidence, catalogue[i].bands, catalogue[i].command};
    return list;
}();

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
    return facts[static_cast<size_t>(format) - 1];
}

const char* helperPackages(FormatId format)
{
    switch (format >= 1 && format <= formatCount ? factsOf(format).helper : Command::none) {
    case Command::gzip:
        return "gzip";
    case Command::unzip:
        return "unzip";
    case Command::msExpand:
        return "mscompress";
    case Command::vectorPreview:
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

bool isPictureFormat(FormatId format)
{
    constexpr FormatId pictures[] = {formatGif, formatPng, formatPcx,   formatJpeg,         formatTiff,
                                     formatPbm, formatBmp, formatDrape, formatVectorPreview};
    return std::find(std::begin(pictures), std::end(pictures), format) != std::end(pictures);
}

bool isPaletteFormat(FormatId format)
{
    return format == formatPalette || format == formatPhotoshopAco || format == formatPhotoshopAcb;
}
