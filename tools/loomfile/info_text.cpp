#include "info_text.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "draft_facts.h"
#include "messages.h"

constexpr u32 resolutionUnit = 1000;

static std::string resolutionText(u32 resolution)
{
    if (resolution == 0)
        return "unknown";
    std::string decimals = std::to_string(resolutionUnit + resolution % resolutionUnit).substr(1);
    decimals.erase(decimals.find_last_not_of('0') + 1);
    return std::to_string(resolution / resolutionUnit) + (decimals.empty() ? "" : "." + decimals);
}

static std::string bothResolutions(const LoomfileInfo& info)
{
    if (info.resX == 0 && info.resY == 0)
        return "unknown";
    return resolutionText(info.resX) + " x " + resolutionText(info.resY) + " dots per inch";
}

static std::string labelled(const char* label, const std::string& text)
{
    constexpr size_t labelWidth = 14;
    std::string line = std::string("  ") + label;
    line.resize(std::max(line.size(), labelWidth + 2), ' ');
    return line + printable(text) + "\n";
}

static const char* kindText(u32 kind)
{
    switch (kind) {
    case kindBilevel:
        return "bilevel, 1 bit a pixel";
    case kindIndexed:
        return "indexed, a palette colour a pixel";
    case kindRGB:
        return "RGB, 3 bytes a pixel";
    case kindRGBA:
        return "RGBA, 4 bytes a pixel";
    default:
        return "unknown";
    }
}

static std::string numberedFormat(FormatId format)
{
    return std::string(returnLoaderString(format)) + " (" + std::to_string(format) + ")";
}

static std::string formatText(const LoomfileInfo& info)
{
    return (info.format == 0 ? std::string(info.formatName) : numberedFormat(info.format)) +
           (info.refusedBy == 0 ? "" : ", refused as " + numberedFormat(info.refusedBy)) +
           (info.isDoubtful != 0 ? ", doubtful" : "");
}

static std::string designLine(const LoomfileInfo& info, bool isVerbose)
{
    const std::string first = info.firstPartFile;
    if (info.isFirstPart == 0)
        return labelled("First part", first.empty() ? "no, the file continues a design of several files"
                                                    : "no, the design begins with " + first);
    if (!first.empty())
        return labelled("First part", "the design begins with " + first);
    return isVerbose ? labelled("First part", "yes") : "";
}

static std::string candidatesLine(const Picture& picture)
{
    std::string others;
    for (FormatId format : candidatesOf(picture)) {
        if (format != picture.info.format)
            others += (others.empty() ? "" : ", ") + numberedFormat(format);
    }
    return others.empty() ? "" : labelled("Also taken by", others);
}

std::string infoText(const Picture& picture, bool isVerbose)
{
    const LoomfileInfo& info = picture.info;
    std::string text = printable(picture.file) + "\n" + labelled("Format", formatText(info)) + candidatesLine(picture) +
                       labelled("File size", countText(info.fileBytes, "byte")) +
                       labelled("Kind", kindText(info.kind)) + labelled("Size", sizeText(info) + " pixels") +
                       labelled("Colours", colourText(info)) + labelled("Resolution", bothResolutions(info));
    if (isVerbose || info.mulX != 1 || info.mulY != 1)
        text += labelled("Multipliers", std::to_string(info.mulX) + " x " + std::to_string(info.mulY));
    if (isVerbose)
        text += labelled("Orientation", std::to_string(info.orientation) +
                                            (info.orientation == 0 ? ", as in pictures" : ", as in loom files"));
    text += designLine(info, isVerbose);
    for (const auto& [name, fact] : draftLines(picture))
        text += labelled(name, fact);
    std::istringstream lines(info.description);
    const char* label = "Description";
    for (std::string line; std::getline(lines, line); label = "")
        text += labelled(label, line);
    for (const Remark& remark : remarksOf(picture))
        text += labelled(remark.isGrave ? "Warning" : "Remark", remark.text);
    return text;
}

std::string factLines(const std::vector<Fact>& facts)
{
    std::string lines;
    for (const Fact& fact : facts)
        lines += labelled(fact.label.c_str(), fact.text);
    return lines;
}

static size_t longestFormatName()
{
    size_t longest = 0;
    for (FormatId format = 1; format <= formatCount; format++)
        longest = std::max(longest, std::string(returnLoaderString(format)).size());
    return longest;
}

std::string infoLine(const Picture& picture)
{
    static const auto nameWidth = static_cast<int>(longestFormatName());
    const LoomfileInfo& info = picture.info;
    const std::string colours = info.kind == kindRGBA ? "transparent" : colourText(info);
    char text[200];
    snprintf(text, sizeof text, "%-*s  %13s  %-11s  ", nameWidth, info.formatName, sizeText(info).c_str(),
             colours.c_str());
    std::string remarks;
    for (const Remark& remark : remarksOf(picture))
        remarks += (remarks.empty() ? "  (" : "; ") + std::string(remark.isGrave ? "warning: " : "") + remark.text;
    return text + printable(picture.file + remarks) + (remarks.empty() ? "\n" : ")\n");
}
