#include "weave_facts.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>

[[gnu::format(printf, 1, 2)]] static std::string textOf(const char* format, ...)
{
    char text[200];
    va_list values;
    va_start(values, format);
    vsnprintf(text, sizeof text, format, values);
    va_end(values);
    return text;
}

static std::string floatText(const LoomfileFloat& one, const char* side)
{
    if (one.length == 0)
        return std::string("none ") + side;
    return textOf("%u %s from end %u, pick %u on%s", one.length, side, one.end, one.pick,
                  one.isEndless != 0 ? ", without an end" : "");
}

static Json floatJson(const LoomfileFloat& one)
{
    if (one.length == 0)
        return {};
    return {{"length", one.length}, {"end", one.end}, {"pick", one.pick}, {"endless", one.isEndless != 0}};
}

static void addUses(WeaveFacts& facts, const LoomfileDraft* draft, u32 list, const char* label, const char* key,
                    const char* unit)
{
    std::vector<u32> counts(loomfileDraftUses(draft, list, nullptr));
    if (counts.empty())
        return;
    loomfileDraftUses(draft, list, counts.data());
    std::string text;
    constexpr size_t mostInText = 40;
    for (size_t i = 0; i < counts.size() && i < mostInText; i++)
        text += (i == 0 ? "" : " ") + std::to_string(counts[i]);
    facts.lines.push_back({label, text + (counts.size() > mostInText ? " ..." : "") + unit});
    facts.json[key] = counts;
}

// Of a cloth as long and wide as asked for; take-up is what yarn loses by its bending.
static void addYarn(WeaveFacts& facts, const Picture& picture, const InfoRequest& request)
{
    constexpr double resolutionUnit = 1000, centimetresPerInch = 2.54, centimetresPerMetre = 100;
    auto sett = [](u32 resolution, double given) {
        return resolution != 0 ? resolution / resolutionUnit / centimetresPerInch : given;
    };
    const double endsPerCm = sett(picture.info.resX, request.sett.x),
                 picksPerCm = sett(picture.info.resY, request.sett.y);
    if (!(request.length > 0) || !(request.width > 0))
        throw Failure{exitUsage, picture.file, "the yarn takes both, --length and --width"};
    if (!(endsPerCm > 0) || !(picksPerCm > 0))
        throw Failure{exitUsage, picture.file, "the file does not tell its sett, give --sett for the yarn"};
    const double longer = (1 + request.takeUp / 100) / centimetresPerMetre;
    const double ends = std::ceil(endsPerCm * request.width), picks = std::ceil(picksPerCm * request.length);
    const double warp = ends * request.length * longer, weft = picks * request.width * longer;
    facts.lines.push_back({"Yarn", textOf("for %g x %g cm of %.4g x %.4g threads per cm, take-up %g %%:",
                                          request.length, request.width, endsPerCm, picksPerCm, request.takeUp)});
    facts.lines.push_back({"", textOf("warp %.1f m (%.0f ends), weft %.1f m (%.0f picks)", warp, ends, weft, picks)});
    facts.json["yarn"] = {{"lengthCm", request.length},
                          {"widthCm", request.width},
                          {"endsPerCm", endsPerCm},
                          {"picksPerCm", picksPerCm},
                          {"takeUp", request.takeUp},
                          {"ends", ends},
                          {"picks", picks},
                          {"warpMetres", warp},
                          {"weftMetres", weft}};
}

WeaveFacts weaveFacts(const Picture& picture, const InfoRequest& request)
{
    const DraftHandle draft = writtenDraft(picture);
    LoomfileWeave weave = loomfileWeave();
    LoomfileFailure failure = loomfileFailure();
    if (loomfileGetWeave(picture.handle.get(), draft.get(), &weave, &failure) != loadSuccess)
        throw Failure{failure.status, picture.file, failure.sentence, failure.signal};
    WeaveFacts facts;
    facts.lines = {
        {"Warp up", textOf("%.1f %% of %u ends x %u picks", weave.warpUp * 100, weave.ends, weave.picks)},
        {"Warp floats", floatText(weave.warpOver, "over") + "; " + floatText(weave.warpUnder, "under")},
        {"Weft floats", floatText(weave.weftOver, "over") + "; " + floatText(weave.weftUnder, "under")},
        {"Interlacings", textOf("%.4g an end, %.4g a pick", weave.interlacingsAnEnd, weave.interlacingsAPick)}};
    facts.json = {{"ends", weave.ends},
                  {"picks", weave.picks},
                  {"warpUp", weave.warpUp},
                  {"warpOver", floatJson(weave.warpOver)},
                  {"warpUnder", floatJson(weave.warpUnder)},
                  {"weftOver", floatJson(weave.weftOver)},
                  {"weftUnder", floatJson(weave.weftUnder)},
                  {"interlacingsAnEnd", weave.interlacingsAnEnd},
                  {"interlacingsAPick", weave.interlacingsAPick}};
    if (draft != nullptr) {
        LoomfileDraftInfo info = loomfileDraftInfo();
        loomfileGetDraftInfo(draft.get(), &info);
        addUses(facts, draft.get(), loomfileThreading, "Heddles", "endsAShaft", " ends a shaft");
        if (info.hasLiftPlan == 0)
            addUses(facts, draft.get(), loomfileTreadling, "Treadled", "picksATreadle", " picks a treadle");
    }
    if (request.length > 0 || request.width > 0)
        addYarn(facts, picture, request);
    return facts;
}
