// loomfile draft: a draft as it is written on paper.
#include <cerrno>
#include <cstdio>

#include "batch/facts.h"
#include "commands.h"
#include "messages.h"
#include "output_target.h"

// By the ending of the target; standard output takes PNG.
static u32 drawingKind(const std::string& target)
{
    return hasEnding(target, ".svg")   ? loomfileDrawingSvg
           : hasEnding(target, ".pdf") ? loomfileDrawingPdf
                                       : loomfileDrawingPng;
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

static std::string summary(const OutputFile& target, const Picture& picture, const LoomfileDraft* draft)
{
    LoomfileDraftInfo info = loomfileDraftInfo();
    loomfileGetDraftInfo(draft, &info);
    return picture.file + ": " + picture.info.formatName + ", " + countText(info.shafts, "shaft") + ", " +
           (info.treadles > 0 ? countText(info.treadles, "treadle") : "a lift plan") + ", " +
           countText(info.ends, "end") + ", " + countText(info.picks, "pick") + " -> " + target.target;
}

static Result drawDraft(const DraftRequest& request, const OpenOptions& options, const Input& input, OutputFile& target)
{
    Picture picture(input.path, options);
    keepSource(picture, target.target);
    const DraftHandle draft = openDraft(picture);
    LoomfileFailure failure = loomfileFailure();
    Sink sink = {target.stream};
    const i32 status =
        loomfileDraw(draft.get(), &request.drawing, drawingKind(target.target), writeBytes, &sink, &failure);
    if (sink.errorNumber != 0)
        failToWrite(target.target, sink.errorNumber);
    if (status != loadSuccess)
        throw Failure{failure.status, picture.file, failure.sentence};
    Result result;
    tellSummary(result, target, summary(target, picture, draft.get()));
    tellRemarks(result, picture);
    tellFacts(result, input, picture, !request.batch.report.empty());
    return result;
}

int drawDrafts(const DraftRequest& request, const OpenOptions& options)
{
    Batch batch;
    batch.endings = {".png", ".svg", ".pdf"};
    batch.target = request.target;
    if (request.target == standardStream)
        checkPictureTarget(request.target, request.batch.mayReplace || request.batch.skipExisting);
    else if (!request.target.empty())
        checkTarget(request.target, batch.endings, request.batch.mayReplace || request.batch.skipExisting);
    batch.job = [&](const Input& input, OutputFile* target) { return drawDraft(request, options, input, *target); };
    return runBatch(batch, request.batch);
}
