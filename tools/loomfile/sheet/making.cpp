// A sheet while it is being made: what becomes of the files, one after the other.
#include "sheet/making.h"

#include <algorithm>

#include "messages.h"
#include "sheet/design.h"
#include "sheet/small_png.h"

static std::string pictureName(const char* folder, const std::string& id)
{
    return std::string(folder) + "/" + id + ".png";
}

// Keys are only once in a row, and quotes within its texts are never bare.
static bool hasKey(const std::string& row, const std::string& key)
{
    return row.find("\"" + key + "\":") != std::string::npos;
}

// What is not of the file but of the computer or the moment is found out again.
static bool isLasting(const Result& result)
{
    const bool wasOpened = result.reason.find("cannot be opened") == std::string::npos;
    const bool lacksHelper = result.reason.find("not installed") != std::string::npos;
    return result.exitCode != exitOutOfMemory && result.exitCode != exitCannotWrite && !result.isLost && wasOpened &&
           !lacksHelper && result.signal == 0;
}

SheetMaking::SheetMaking(const SheetRequest& theRequest, const OpenOptions& theOptions, const std::string& way)
    : place(theRequest), request(theRequest), options(theOptions)
{
    if (!place.folder.empty())
        cache.emplace(place.pathOf("cache.jsonl"), way + place.address, !request.batch.mayReplace);
}

bool SheetMaking::hasPictures(const std::string& id, const std::string& of) const
{
    return (!hasKey(of, "thumb") || place.hasPicture(pictureName("thumbs", id))) &&
           (!hasKey(of, "picture") || place.hasPicture(pictureName("pictures", id)));
}

std::optional<Result> SheetMaking::known(const Input& input)
{
    const std::optional<FileState> state = stateOf(input.path);
    if (!state)
        return {};
    Found& file = found[input.path];
    file = {*state, false};
    const Entry* entry = cache && !isAgain ? cache->find(state->id) : nullptr;
    const bool isShownNow = entry != nullptr && entry->row.empty() && !input.isFound;
    if (entry == nullptr || isShownNow || !hasPictures(state->id, entry->row))
        return {};
    file.isKnown = true;
    Result result = entry->result;
    result.text = entry->row;
    return result;
}

void SheetMaking::addPictures(Json& made, const std::string& id, const std::string& attachment)
{
    const size_t thumbBytes = made.value("thumbBytes", size_t{0});
    made.erase("thumbBytes");
    auto add = [&](const char* key, const char* folder, const std::string& png) {
        if (png.empty())
            return;
        const std::string name = pictureName(folder, id);
        if (cache)
            place.writePicture(name, png);
        made[key] = cache ? place.address + "/" + name : dataAddress(png);
    };
    add("thumb", "thumbs", attachment.substr(0, thumbBytes));
    add("picture", "pictures", attachment.substr(std::min(thumbBytes, attachment.size())));
}

std::string SheetMaking::makeRow(const Input& input, const Result& result, const FileState& state)
{
    Json made = {{"path", input.path},
                 {"name", baseNameOf(input.path)},
                 {"status", result.reason.empty() ? 0 : result.exitCode},
                 {"bytes", state.bytes},
                 {"modified", state.modified}};
    if (!result.reason.empty())
        made["reason"] = result.reason;
    const Json read = Json::parse(result.text, nullptr, false);
    if (read.is_object())
        made.update(read);
    addPictures(made, state.id, result.attachment);
    return lineOf(made);
}

// Every result, also of what is left out of the page.
void SheetMaking::see(const Input& input, const Result& result)
{
    const auto node = found.extract(input.path);
    const Found file = node ? node.mapped() : Found{stateOf(input.path).value_or(FileState()), false};
    const bool isShown = !result.isContinued && !result.isPassedOver;
    if (file.isKnown)
        row = result.text;
    else
        row = isShown ? makeRow(input, result, file.state) : "";
    if (result.isContinued && !file.isKnown)
        changedDesigns.insert(result.design);
    if (file.isKnown && isShown && !result.design.empty())
        knownFirsts[result.design] = input.path;
    ids.insert(file.state.id);
    if (cache && !file.isKnown && !file.state.id.empty() && isLasting(result))
        cache->add(file.state.id, result, row);
}

// Those that the page shows.
void SheetMaking::take(const Input& input, const Result& result)
{
    const auto [there, isNew] = places.emplace(input.path, data.rows.size());
    if (isNew) {
        data.rows.push_back(row);
        refused += result.reason.empty() ? 0 : 1;
    } else {
        data.rows[there->second] = row;
    }
}

int SheetMaking::read(const BatchOptions& batchOptions)
{
    Batch batch;
    batch.job = [this](const Input& input, OutputFile*) { return readDesign(input, request, options); };
    batch.refusedText = [](const Input&, const Failure& failure) { return refusedDesign(failure); };
    batch.targetOf = [](const Input&) { return ""; };
    batch.known = [this](const Input& input) { return known(input); };
    batch.see = [this](const Input& input, const Result& result) { see(input, result); };
    batch.take = [this](const Input& input, const Result& result) { take(input, result); };
    return runBatch(batch, batchOptions);
}

std::vector<std::string> SheetMaking::outdated() const
{
    std::set<std::string> designs = changedDesigns;
    if (cache)
        designs.merge(cache->designsOfGone(ids));
    std::vector<std::string> paths;
    for (const std::string& design : designs) {
        if (const auto first = knownFirsts.find(design); first != knownFirsts.end())
            paths.push_back(first->second);
    }
    return paths;
}

void SheetMaking::write()
{
    if (cache) {
        place.write(place.pathOf("files.js"), dataScript(data));
        cache->keepOnly(ids);
    }
    place.write(place.page, pageText(data, place.address));
    if (cache)
        place.removeOthers(ids);
}
