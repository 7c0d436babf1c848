// tload seam: whether the repeats of a picture join.
#include <climits>
#include <cstdio>

#include "commands.h"
#include "output.h"

// Smaller pictures have not enough steps to compare the one at the edge with.
constexpr u32 smallestSize = 21;

static std::string seamText(u32 size, u16 percent)
{
    if (size < smallestSize)
        return "too small to tell, less than " + std::to_string(smallestSize) + " pixels";
    return percent == 0 ? "no seam" : "a seam, " + std::to_string(percent) + " % above the steps beside it";
}

static Json seamJson(u32 size, u16 percent)
{
    return size < smallestSize ? Json() : Json(percent);
}

ExitCode measureSeam(const SeamRequest& request)
{
    Picture picture(request.source, request.format);
    Pixels pixels = loadPixels(picture);
    const u64 stride = rowBytes(picture);
    if (stride > INT_MAX || picture.height > INT_MAX)
        throw Failure{exitBadData, picture.file, "the picture is too large (" + sizeText(picture) + " pixels)"};
    u16 across = 0;
    u16 along = 0;
    getRepeatBorder(pixels.get(), static_cast<i32>(picture.kind), static_cast<i32>(picture.width),
                    static_cast<i32>(picture.height), static_cast<i32>(stride), &across, &along);
    if (request.json) {
        printJson({{"file", picture.file},
                   {"status", exitSuccess},
                   {"format", picture.format},
                   {"formatName", returnLoaderString(picture.format)},
                   {"width", picture.width},
                   {"height", picture.height},
                   {"seamAcross", seamJson(picture.width, across)},
                   {"seamAlong", seamJson(picture.height, along)},
                   {"complaint", picture.complaint.empty() ? Json() : Json(picture.complaint)}});
    } else {
        printf("%s: %s, %s\n", printable(picture.file).c_str(), returnLoaderString(picture.format),
               sizeText(picture).c_str());
        printf("  across  %s\n", seamText(picture.width, across).c_str());
        printf("  along   %s\n", seamText(picture.height, along).c_str());
    }
    printComplaint(picture);
    return exitSuccess;
}
