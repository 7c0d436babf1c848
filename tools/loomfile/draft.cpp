// loomfile draft: a draft as it is written on paper.
#include <cerrno>
#include <cstdio>

#include "commands.h"
#include "messages.h"
#include "output_file.h"

// By the ending of the target; standard output takes PNG.
static u32 drawingKind(const DraftRequest& request)
{
    if (request.target == standardStream) {
        checkPictureTarget(request.target, request.mayReplace);
        return loomfileDrawingPng;
    }
    checkTarget(request.target, {".png", ".svg", ".pdf"}, request.mayReplace);
    if (hasEnding(request.target, ".png"))
        return loomfileDrawingPng;
    return hasEnding(request.target, ".svg") ? loomfileDrawingSvg : loomfileDrawingPdf;
}

// What the library is to write to: a file, and the error that it met with.
struct Sink {
    FILE* stream;
    int errorNumber = 0;
};

static i32 writeBytes(void* context, const void* bytes, u64 count)
{
    auto* sink = static_cast<Sink*>(context);
    if (fwrite(bytes, 1, count, sink->stream) != count)
        sink->errorNumber = errno;
    return sink->errorNumber;
}

static std::string summary(const DraftRequest& request, const Picture& picture, const LoomfileDraft* draft)
{
    LoomfileDraftInfo info = loomfileDraftInfo();
    loomfileGetDraftInfo(draft, &info);
    return picture.file + ": " + picture.info.formatName + ", " + countText(info.shafts, "shaft") + ", " +
           (info.treadles > 0 ? countText(info.treadles, "treadle") : "a lift plan") + ", " +
           countText(info.ends, "end") + ", " + countText(info.picks, "pick") + " -> " + request.target;
}

ExitCode drawDraft(const DraftRequest& request, const OpenOptions& options)
{
    const u32 kind = drawingKind(request);
    Picture picture(request.source, options);
    keepSource(picture, request.target);
    const DraftHandle draft = openDraft(picture);
    LoomfileFailure failure = loomfileFailure();
    OutputFile file(request.target, request.mayReplace);
    Sink sink = {file.stream};
    const i32 status = loomfileDraw(draft.get(), &request.drawing, kind, writeBytes, &sink, &failure);
    if (sink.errorNumber != 0)
        failToWrite(request.target, sink.errorNumber);
    if (status != loadSuccess)
        throw Failure{failure.status, picture.file, failure.sentence};
    file.moveToTarget();
    printSummary(request.target, summary(request, picture, draft.get()));
    return printRemarks(picture);
}
