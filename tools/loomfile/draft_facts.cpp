#include "draft_facts.h"

#include <cstdio>
#include <sstream>

static std::string perCentimetre(double threads, const char* noun)
{
    char text[64];
    snprintf(text, sizeof text, "%.4g %s", threads, noun);
    return threads > 0 ? text : std::string("unknown ") + noun;
}

std::vector<std::pair<const char*, std::string>> draftLines(const Picture& picture)
{
    if (picture.info.isDraft == 0)
        return {};
    const DraftHandle draft = openDraft(picture);
    LoomfileDraftInfo info = loomfileDraftInfo();
    loomfileGetDraftInfo(draft.get(), &info);
    std::vector<std::pair<const char*, std::string>> lines;
    lines.emplace_back("Shafts", std::to_string(info.shafts) + (info.isSinking != 0 ? ", sinking shed" : ""));
    lines.emplace_back("Treadles", info.hasLiftPlan != 0 ? "none, a lift plan" : std::to_string(info.treadles));
    if (info.endsPerCm > 0 || info.picksPerCm > 0)
        lines.emplace_back("Sett", perCentimetre(info.endsPerCm, "ends") + " and " +
                                       perCentimetre(info.picksPerCm, "picks") + " a cm");
    auto addText = [&lines](const char* label, const char* text) {
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line); label = "")
            lines.emplace_back(label, line);
    };
    addText("Title", info.title);
    addText("Author", info.author);
    addText("Notes", info.notes);
    addText("Written by", info.program);
    return lines;
}

Json draftJson(const Picture& picture)
{
    if (picture.info.isDraft == 0)
        return {};
    auto known = [](const auto& value, bool isKnown) { return isKnown ? Json(value) : Json(); };
    const DraftHandle draft = openDraft(picture);
    LoomfileDraftInfo info = loomfileDraftInfo();
    loomfileGetDraftInfo(draft.get(), &info);
    auto text = [&known](const char* value) { return known(value, value[0] != 0); };
    return {{"ends", info.ends},
            {"picks", info.picks},
            {"shafts", info.shafts},
            {"treadles", known(info.treadles, info.hasLiftPlan == 0)},
            {"liftPlan", info.hasLiftPlan != 0},
            {"sinkingShed", info.isSinking != 0},
            {"hasColours", info.hasColours != 0},
            {"endsPerCm", known(info.endsPerCm, info.endsPerCm > 0)},
            {"picksPerCm", known(info.picksPerCm, info.picksPerCm > 0)},
            {"title", text(info.title)},
            {"author", text(info.author)},
            {"notes", text(info.notes)},
            {"program", text(info.program)}};
}
