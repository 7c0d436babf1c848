// tload info: what files say of themselves, without their pixels.
#include <cstdio>
#include <sstream>

#include "commands.h"
#include "output.h"

constexpr u32 resolutionUnit = 1000;

static std::string resolutionText(u32 resolution)
{
    if (resolution == 0)
        return "unknown";
    std::string decimals = std::to_string(resolutionUnit + resolution % resolutionUnit).substr(1);
    decimals.erase(decimals.find_last_not_of('0') + 1);
    return std::to_string(resolution / resolutionUnit) + (decimals.empty() ? "" : "." + decimals);
}

static std::string bothResolutions(const Picture& picture)
{
    if (picture.resX == 0 && picture.resY == 0)
        return "unknown";
    return resolutionText(picture.resX) + " x " + resolutionText(picture.resY) + " dots per inch";
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

static std::string formatText(FormatId format)
{
    return std::string(returnLoaderString(format)) + " (" + std::to_string(format) + ")";
}

static void printInfoText(const Picture& picture)
{
    printf("%s\n", printable(picture.file).c_str());
    printLine("Format", formatText(picture.format) +
                            (picture.refusedBy == 0 ? "" : ", refused as " + formatText(picture.refusedBy)));
    printLine("Kind", kindNames(picture.kind).text);
    printLine("Size", sizeText(picture) + " pixels");
    printLine("Colours", colourText(picture));
    printLine("Resolution", bothResolutions(picture));
    printLine("Multipliers", std::to_string(picture.mulX) + " x " + std::to_string(picture.mulY));
    printLine("Orientation", std::to_string(picture.orientationFlag) +
                                 (picture.orientationFlag == 0 ? ", as in pictures" : ", as in loom files"));
    printLine("First part", picture.firstPart != 0          ? "yes"
                            : picture.firstPartFile.empty() ? "no, the file continues a design of several files"
                                                            : "no, the design begins with " + picture.firstPartFile);
    std::istringstream lines(picture.description);
    const char* label = "Description";
    for (std::string line; std::getline(lines, line); label = "")
        printLine(label, line);
}

static Json infoJson(const Picture& picture)
{
    auto resolution = [](u32 value) { return value == 0 ? Json() : Json(value / double{resolutionUnit}); };
    u32 colours = colourCount(picture);
    return {{"file", picture.file},
            {"status", exitSuccess},
            {"format", picture.format},
            {"formatName", returnLoaderString(picture.format)},
            {"refusedBy", picture.refusedBy == 0 ? Json() : Json(picture.refusedBy)},
            {"kind", kindNames(picture.kind).name},
            {"width", picture.width},
            {"height", picture.height},
            {"resolutionX", resolution(picture.resX)},
            {"resolutionY", resolution(picture.resY)},
            {"multiplierX", picture.mulX},
            {"multiplierY", picture.mulY},
            {"orientation", picture.orientationFlag},
            {"firstPart", picture.firstPart != 0},
            {"colours", colours == 0 ? Json() : Json(colours)},
            {"description", picture.description},
            {"complaint", picture.complaint.empty() ? Json() : Json(picture.complaint)}};
}

ExitCode showInfo(const InfoRequest& request)
{
    ExitCode firstFailure = exitSuccess;
    Json document = Json::array();
    for (const std::string& file : request.files) {
        try {
            Picture picture(file, request.format);
            printComplaint(picture);
            if (request.json)
                document.push_back(infoJson(picture));
            else
                printInfoText(picture);
        } catch (const Failure& failure) {
            printFailure(failure);
            document.push_back({{"file", file}, {"status", failure.exitCode}, {"error", failure.reason}});
            if (firstFailure == exitSuccess)
                firstFailure = failure.exitCode;
        }
    }
    if (request.json)
        printJson(document);
    return firstFailure;
}
