// loomfile info: what files say of themselves, without their pixels.
#include <algorithm>

#include "batch/facts.h"
#include "batch/report.h"
#include "commands.h"
#include "draft_facts.h"
#include "forms.h"
#include "info_text.h"
#include "messages.h"

using Words = std::vector<std::string>;

// Of the documents. The last two are known of some files only.
static const Words allFields = {"file",        "status",      "format",        "formatName",    "refusedBy",
                                "candidates",  "doubtful",    "secondReading", "fileBytes",     "kind",
                                "width",       "height",      "resolutionX",   "resolutionY",   "multiplierX",
                                "multiplierY", "orientation", "firstPart",     "firstPartFile", "colours",
                                "description", "draft",       "remarks",       "weave",         "error"};
static const Words tableFields = {"file",        "status",      "formatName", "kind",      "width",   "height",
                                  "resolutionX", "resolutionY", "colours",    "fileBytes", "remarks", "error"};

static Json infoJson(const Picture& picture, bool withCandidates)
{
    constexpr double resolutionUnit = 1000;
    auto resolution = [](u32 value) { return value == 0 ? Json() : Json(value / resolutionUnit); };
    const LoomfileInfo& info = picture.info;
    return {{"file", picture.file},
            {"status", exitSuccess},
            {"format", info.format == 0 ? Json() : Json(info.format)},
            {"formatName", info.formatName},
            {"refusedBy", info.refusedBy == 0 ? Json() : Json(info.refusedBy)},
            {"candidates", withCandidates ? Json(candidatesOf(picture)) : Json()},
            {"doubtful", info.isDoubtful != 0},
            {"secondReading", info.isSecondReading != 0},
            {"fileBytes", info.fileBytes},
            {"kind", kindName(info.kind)},
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

static bool isWanted(const Words& fields, const char* field)
{
    return fields.empty() || std::find(fields.begin(), fields.end(), field) != fields.end();
}

static std::string documentText(const Json& document, const InfoRequest& request)
{
    if (request.form == Form::csv)
        return csvOf(document, request.fields.empty() ? tableFields : request.fields);
    return formed(request.fields.empty() ? document : picked(document, request.fields), request.form, request.batch,
                  true);
}

static Result tellFile(const InfoRequest& request, const OpenOptions& options, const Input& input)
{
    const Picture picture(input.path, options);
    const WeaveFacts weave = request.weave ? weaveFacts(picture, request) : WeaveFacts();
    Result result;
    tellFacts(result, input, picture, !request.batch.report.empty());
    if (request.form != Form::text) {
        Json document = infoJson(picture, request.form != Form::csv && isWanted(request.fields, "candidates"));
        if (request.weave)
            document["weave"] = weave.json;
        result.text = documentText(document, request);
    } else if (isOneFile(request.batch) || request.batch.isVerbose || request.weave) {
        result.text = infoText(picture, request.batch.isVerbose) + factLines(weave.lines);
    } else {
        result.text = infoLine(picture);
    }
    return result;
}

int showInfo(const InfoRequest& request, const OpenOptions& options)
{
    checkFields(request.fields, allFields);
    if (!request.fields.empty() && request.form == Form::text)
        throw Failure{exitUsage, "--fields", "it needs --json, --jsonl or --csv"};
    Batch batch;
    batch.job = [&](const Input& input, OutputFile*) { return tellFile(request, options, input); };
    if (request.form != Form::text)
        batch.refusedText = [&](const Input& input, const Failure& failure) {
            return documentText({{"file", input.path}, {"status", failure.exitCode}, {"error", failure.reason}},
                                request);
        };
    if (request.form == Form::json)
        batch.listing = jsonArray;
    if (request.form == Form::csv) {
        const std::string head = csvLine(request.fields.empty() ? tableFields : request.fields);
        batch.listing = {head, "", "", head};
    }
    return runBatch(batch, request.batch);
}
