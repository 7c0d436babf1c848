// loomfile info: what files say of themselves, without their pixels.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <sstream>

#include "commands.h"
#include "draft_facts.h"
#include "messages.h"
#include "weave_facts.h"

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

static void printLine(const char* label, const std::string& text)
{
    constexpr int labelWidth = 14;
    printf("  %-*s%s\n", labelWidth, label, printable(text).c_str());
}

struct KindNames {
    const char* name;
    const char* text;
};

static KindNames kindNames(u32 kind)
{
    switch (kind) {
    case kindBilevel:
        return {"bilevel", "bilevel, 1 bit a pixel"};
    case kindIndexed:
        return {"indexed", "indexed, a palette colour a pixel"};
    case kindRGB:
        return {"rgb", "RGB, 3 bytes a pixel"};
    case kindRGBA:
        return {"rgba", "RGBA, 4 bytes a pixel"};
    default:
        return {"unknown", "unknown"};
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

static void printDesign(const LoomfileInfo& info, bool isVerbose)
{
    const std::string first = info.firstPartFile;
    if (info.isFirstPart == 0)
        printLine("First part", first.empty() ? "no, the file continues a design of several files"
                                              : "no, the design begins with " + first);
    else if (!first.empty())
        printLine("First part", "the design begins with " + first);
    else if (isVerbose)
        printLine("First part", "yes");
}

static void printCandidates(const Picture& picture)
{
    std::string others;
    for (FormatId format : candidatesOf(picture)) {
        if (format != picture.info.format)
            others += (others.empty() ? "" : ", ") + numberedFormat(format);
    }
    if (!others.empty())
        printLine("Also taken by", others);
}

static void printInfoText(const Picture& picture, bool isVerbose)
{
    const LoomfileInfo& info = picture.info;
    printf("%s\n", printable(picture.file).c_str());
    printLine("Format", formatText(info));
    printCandidates(picture);
    printLine("File size", countText(info.fileBytes, "byte"));
    printLine("Kind", kindNames(info.kind).text);
    printLine("Size", sizeText(info) + " pixels");
    printLine("Colours", colourText(info));
    printLine("Resolution", bothResolutions(info));
    if (isVerbose || info.mulX != 1 || info.mulY != 1)
        printLine("Multipliers", std::to_string(info.mulX) + " x " + std::to_string(info.mulY));
    if (isVerbose)
        printLine("Orientation", std::to_string(info.orientation) +
                                     (info.orientation == 0 ? ", as in pictures" : ", as in loom files"));
    printDesign(info, isVerbose);
    for (const auto& [name, text] : draftLines(picture))
        printLine(name, text);
    std::istringstream lines(info.description);
    const char* label = "Description";
    for (std::string line; std::getline(lines, line); label = "")
        printLine(label, line);
    for (const Remark& remark : remarksOf(picture))
        printLine(remark.isGrave ? "Warning" : "Remark", remark.text);
}

static Json infoJson(const Picture& picture)
{
    auto resolution = [](u32 value) { return value == 0 ? Json() : Json(value / double{resolutionUnit}); };
    const LoomfileInfo& info = picture.info;
    return {{"file", picture.file},
            {"status", exitSuccess},
            {"format", info.format == 0 ? Json() : Json(info.format)},
            {"formatName", info.formatName},
            {"refusedBy", info.refusedBy == 0 ? Json() : Json(info.refusedBy)},
            {"candidates", candidatesOf(picture)},
            {"doubtful", info.isDoubtful != 0},
            {"secondReading", info.isSecondReading != 0},
            {"fileBytes", info.fileBytes},
            {"kind", kindNames(info.kind).name},
            {"width", info.width},
            {"height", info.height},
            {"resolutionX", resolution(info.resX)},
            {"resolutionY", resolution(info.resY)},
            {"multiplierX", info.mulX},
            {"multiplierY", info.mulY},
            {"orientation", info.orientation},
            {"firstPart", info.isFirstPart != 0},
            {"firstPartFile", info.firstPartFile[0] == 0 ? Json() : Json(info.firstPartFile)},
            {"colours", info.colourCount == 0 ? Json() : Json(info.colourCount)},
            {"description", info.description},
            {"draft", draftJson(picture)},
            {"remarks", remarksJson(picture)}};
}

int showInfo(const InfoRequest& request, const OpenOptions& options)
{
    int worst = exitSuccess;
    Json document = Json::array();
    for (const std::string& file : request.files) {
        try {
            const Picture picture(file, options);
            const WeaveFacts weave = request.weave ? weaveFacts(picture, request) : WeaveFacts();
            if (request.json) {
                document.push_back(infoJson(picture));
                if (request.weave)
                    document.back()["weave"] = weave.json;
                continue;
            }
            printInfoText(picture, request.isVerbose);
            for (const Fact& fact : weave.lines)
                printLine(fact.label.c_str(), fact.text);
        } catch (const Failure& failure) {
            if (failure.signal == SIGINT || failure.signal == SIGQUIT)
                throw;
            printSentence(failure.file, failure.reason);
            document.push_back({{"file", file}, {"status", failure.exitCode}, {"error", failure.reason}});
            worst = std::max(worst, failure.exitCode);
        }
    }
    if (request.json)
        printJson(document);
    return worst;
}
