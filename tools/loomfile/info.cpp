// loomfile info: what files say of themselves, without their pixels.
#include <algorithm>

#include "batch/facts.h"
#include "batch/report.h"
#include "commands.h"
#include "draft_facts.h"
#include "forms.h"
#include "info_text.h"
#include "json_text.h"
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

static std::string candidatesText(const Picture& picture)
{
    std::string list;
    for (FormatId format : candidatesOf(picture))
        list += (list.empty() ? "" : ",") + std::to_string(format);
    return "[" + list + "]";
}

// In one line. Candidates, which may take a while, are left out when they are not wanted.
static std::string documentOf(const Picture& picture, bool withCandidates, const std::string& weave)
{
    const LoomfileInfo& info = picture.info;
    JsonText document;
    document.addText("file", picture.file);
    document.addNumber("status", exitSuccess);
    document.addKnown("format", static_cast<u64>(info.format));
    document.addText("formatName", info.formatName);
    document.addKnown("refusedBy", static_cast<u64>(info.refusedBy));
    if (withCandidates)
        document.add("candidates", candidatesText(picture));
    document.addTruth("doubtful", info.isDoubtful != 0);
    document.addTruth("secondReading", info.isSecondReading != 0);
    document.addNumber("fileBytes", info.fileBytes);
    document.addText("kind", kindName(info.kind));
    document.addNumber("width", info.width);
    document.addNumber("height", info.height);
    for (const auto& [key, resolution] : {std::pair("resolutionX", info.resX), {"resolutionY", info.resY}}) {
        constexpr double unit = 1000;
        if (resolution == 0)
            document.add(key, "null");
        else
            document.addReal(key, resolution / unit);
    }
    document.addNumber("multiplierX", info.mulX);
    document.addNumber("multiplierY", info.mulY);
    document.addNumber("orientation", info.orientation);
    document.addTruth("firstPart", info.isFirstPart != 0);
    document.add("firstPartFile", info.firstPartFile[0] == 0 ? "null" : jsonString(info.firstPartFile));
    document.addKnown("colours", info.colourCount);
    document.addText("description", info.description);
    document.add("draft", info.isDraft != 0 ? lineOf(draftJson(picture)) : "null");
    document.add("remarks", remarksText(picture));
    if (!weave.empty())
        document.add("weave", weave);
    return document.finished();
}

static bool isWanted(const Words& fields, const char* field)
{
    return fields.empty() || std::find(fields.begin(), fields.end(), field) != fields.end();
}

// name: as it is, which JSON cannot hold when it is not UTF-8.
static std::string printedAs(const std::string& document, const std::string& name, const InfoRequest& request)
{
    if (request.form == Form::jsonLines && request.fields.empty())
        return document + "\n";
    Json parsed = Json::parse(document);
    if (request.form == Form::csv) {
        parsed["file"] = name;
        return csvOf(parsed, request.fields.empty() ? tableFields : request.fields);
    }
    return formed(request.fields.empty() ? parsed : picked(parsed, request.fields), request.form, request.batch, true);
}

static Result tellFile(const InfoRequest& request, const OpenOptions& options, const Input& input)
{
    const Picture picture(input.path, options);
    const WeaveFacts weave = request.weave ? weaveFacts(picture, request) : WeaveFacts();
    Result result;
    tellFacts(result, input, picture, !request.batch.report.empty());
    if (request.form != Form::text) {
        const bool withCandidates = request.form != Form::csv && isWanted(request.fields, "candidates");
        result.text = printedAs(documentOf(picture, withCandidates, request.weave ? lineOf(weave.json) : ""),
                                picture.file, request);
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
            JsonText document;
            document.addText("file", input.path);
            document.addNumber("status", static_cast<u64>(failure.exitCode));
            document.addText("error", failure.reason);
            return printedAs(document.finished(), input.path, request);
        };
    if (request.form == Form::json)
        batch.listing = jsonArray;
    if (request.form == Form::csv) {
        const std::string head = csvLine(request.fields.empty() ? tableFields : request.fields);
        batch.listing = {head, "", "", head};
    }
    return runBatch(batch, request.batch);
}
