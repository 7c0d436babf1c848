// loomfile seam: whether the repeats of a picture join.
#include <cstdio>
#include <vector>

#include "batch/facts.h"
#include "commands.h"
#include "forms.h"
#include "messages.h"

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

// The library's seam of bilevel rows looks at their first byte alone.
static std::vector<u8> bytePixels(const LoomfileInfo& info, const u8* rows)
{
    std::vector<u8> bytes(u64{info.width} * info.height);
    u8* byte = bytes.data();
    for (u64 y = 0; y < info.height; y++) {
        const u8* row = rows + y * info.rowBytes;
        for (u32 x = 0; x < info.width; x++)
            *byte++ = (row[x / 8] << x % 8 & 0x80) != 0 ? 1 : 0;
    }
    return bytes;
}

static std::string seamLines(const Picture& picture, u16 across, u16 along)
{
    const LoomfileInfo& info = picture.info;
    return printable(picture.file) + ": " + info.formatName + ", " + sizeText(info) + "\n" + "  across  " +
           seamText(info.width, across) + "\n" + "  along   " + seamText(info.height, along) + "\n";
}

static Result measureSeam(const SeamRequest& request, const OpenOptions& options, const Input& input)
{
    Picture picture(input.path, options);
    const LoomfileInfo& info = picture.info;
    requireUsualSize(picture);
    const Pixels pixels = loadPixels(picture);
    const bool isBilevel = info.kind == kindBilevel;
    const std::vector<u8> bytes = isBilevel ? bytePixels(info, pixels.get()) : std::vector<u8>();
    u16 across = 0;
    u16 along = 0;
    getRepeatBorder(isBilevel ? bytes.data() : pixels.get(), static_cast<i32>(isBilevel ? u32{kindIndexed} : info.kind),
                    static_cast<i32>(info.width), static_cast<i32>(info.height),
                    static_cast<i32>(isBilevel ? info.width : info.rowBytes), &across, &along);
    Result result;
    result.text = request.form == Form::text ? seamLines(picture, across, along)
                                             : formed({{"file", picture.file},
                                                       {"status", exitSuccess},
                                                       {"format", info.format},
                                                       {"formatName", info.formatName},
                                                       {"width", info.width},
                                                       {"height", info.height},
                                                       {"seamAcross", seamJson(info.width, across)},
                                                       {"seamAlong", seamJson(info.height, along)},
                                                       {"remarks", remarksJson(picture)}},
                                                      request.form, request.batch, false);
    tellRemarks(result, picture);
    tellFacts(result, input, picture, !request.batch.report.empty());
    return result;
}

int measureSeams(const SeamRequest& request, const OpenOptions& options)
{
    Batch batch;
    tellForm(batch, request.form, request.batch, false);
    batch.job = [&](const Input& input, OutputFile*) { return measureSeam(request, options, input); };
    return runBatch(batch, request.batch);
}
