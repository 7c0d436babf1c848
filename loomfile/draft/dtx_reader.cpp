// DTX: text in sections. Blank lines and blanks at either end of a line mean nothing, capitals are the same as small
// letters. A line "%%key value" tells something of its section, the others are its contents.
//
//   @@StartDTX
//   @@Description    the title
//   @@Imprint        the program, the date
//   @@Info           %%shafts 4, %%treadles 6, %%ends 40, %%picks 40
//   @@Threading      1 2 3 4 ...      the shaft of each end, 0 = not threaded; as all lists on one line or several
//   @@Tieup          000111           a line a shaft, the highest first; 0 or 1 a treadle
//   @@Treadling      1 2 3 4 ...      the treadle of each pick; behind a line "%%compound" also several, 1,3
//   @@Liftplan       0101             a line a pick; 0 or 1 a shaft
//   @@Color Palette  255,255,255      a line a colour, which count from 0
//   @@Warp Colors    0 0 1 1 ...      the colour of each end; and @@Weft Colors
//   @@Warp Spacing   4 4 4 ...        of each end, in units of 0.053 cm; and @@Weft Spacing
//   @@EndDTX
//
// The shed rises.
#include "loomfile/draft/dtx_reader.h"

#include <algorithm>

#include "loomfile/draft/draft_text.h"
#include "loomfile/refusal.h"

namespace
{

constexpr double unit = 0.053;
constexpr const char* infoName = "@@Info";

enum class Section {
    other,
    start,
    end,
    description,
    imprint,
    info,
    threading,
    tieUp,
    treadling,
    liftPlan,
    palette,
    warpColours,
    weftColours,
    warpSpacing,
    weftSpacing
};

struct SectionName {
    std::string_view word;
    Section section;
};

constexpr SectionName sectionNames[] = {
    {"@@startdtx", Section::start},
    {"@@enddtx", Section::end},
    {"@@description", Section::description},
    {"@@imprint", Section::imprint},
    {"@@info", Section::info},
    {"@@threading", Section::threading},
    {"@@tieup", Section::tieUp},
    {"@@treadling", Section::treadling},
    {"@@liftplan", Section::liftPlan},
    {"@@colorpalette", Section::palette},
    {"@@colorpalet", Section::palette},
    {"@@warpcolors", Section::warpColours},
    {"@@weftcolors", Section::weftColours},
    {"@@warpspacing", Section::warpSpacing},
    {"@@weftspacing", Section::weftSpacing},
};

Section sectionOf(std::string_view line)
{
    const std::string word = plainWord(line);
    for (const SectionName& name : sectionNames)
        if (word == name.word)
            return name.section;
    return Section::other;
}

struct TieUpRow {
    u32 line;
    u32 width;
    NumberList treadles;
};

struct Dtx {
    Section section = Section::other;
    std::string sectionName = {};
    u32 line = 0;
    u32 counted = 0; // things of the section so far
    u32 width = 0;   // of the lines of 0 and 1
    bool isCompound = false;
    bool isEnded = false;
    std::vector<TieUpRow> tieUp = {};
    DraftParts parts;
    Remarks& remarks;
};

[[noreturn]] void refuse(const Dtx& file, const std::string& what)
{
    throw Refusal{loadBadData, placeText(file.line, file.sectionName) + what};
}

bool isBlank(char letter)
{
    return static_cast<unsigned char>(letter) <= ' ';
}

// Gives action the words between blanks; a comma parts them too, or else joins them.
template <typename Action>
void eachWord(std::string_view line, bool doCommasJoin, const Action& action)
{
    auto isGap = [doCommasJoin](char letter) { return isBlank(letter) || (letter == ',' && !doCommasJoin); };
    for (size_t at = 0; at < line.size();) {
        if (isGap(line[at])) {
            at++;
            continue;
        }
        const size_t start = at;
        for (;;) {
            while (at < line.size() && !isGap(line[at]))
                at++;
            size_t next = at;
            while (next < line.size() && isBlank(line[next]))
                next++;
            const bool isJoined = doCommasJoin && next < line.size() && (line[at - 1] == ',' || line[next] == ',');
            if (!isJoined)
                break;
            at = next;
        }
        action(line.substr(start, at - start));
    }
}

// The places of the ones of "0110", from 1 on.
NumberList onesOf(std::string_view line, Dtx& file)
{
    NumberList ones;
    u32 place = 0;
    for (const char letter : line) {
        if (isBlank(letter))
            continue;
        place++;
        if (letter != '0' && letter != '1')
            refuse(file, quotation(line) + " where only 0 and 1 are expected");
        if (place > mostDraftShafts)
            refuse(file, "more than " + std::to_string(mostDraftShafts) + " characters in a line");
        if (letter == '1')
            ones.push_back(static_cast<u16>(place));
    }
    if (file.counted > 0 && place != file.width)
        refuse(file, std::to_string(place) + " characters where " + std::to_string(file.width) + " are expected");
    file.width = place;
    return ones;
}

void takeNumberList(std::string_view line, NumberTable& table, bool doCommasJoin, Dtx& file)
{
    eachWord(line, doCommasJoin, [&](std::string_view word) { tellNumbers(table, file.line, ++file.counted, word); });
}

void takePaletteLine(std::string_view line, Dtx& file)
{
    constexpr u32 mostColours = 65535;
    std::vector<u32> numbers;
    if (!eachNumber(line, [&](u32 number) { numbers.push_back(number); }) || numbers.size() != 3 ||
        *std::max_element(numbers.begin(), numbers.end()) > 255)
        refuse(file, quotation(line) + " where red, green and blue from 0 to 255 are expected");
    if (file.counted <= mostColours)
        file.parts.colourTable[file.counted] = {file.line, {numbers[0], numbers[1], numbers[2]}};
    file.counted++;
}

void takeColours(std::string_view line, ThreadParts& threads, Dtx& file)
{
    eachWord(line, false, [&](std::string_view word) {
        const std::optional<u32> number = wholeNumber(word);
        if (!number.has_value())
            refuse(file, quotation(word) + " where the number of a colour is expected");
        placeOfThread(threads.colours, ++file.counted) = {file.line, number};
    });
}

void takeSpacing(std::string_view line, ThreadParts& threads, Dtx& file)
{
    threads.unit = unit;
    eachWord(line, false, [&](std::string_view word) {
        const double length = positiveNumber(word).value_or(0);
        if (length == 0 && word.find_first_not_of("0.") != std::string_view::npos)
            refuse(file, quotation(word) + " where a spacing is expected");
        placeOfThread(threads.spacing.told, ++file.counted) = length;
    });
}

void takeTieUpLine(std::string_view line, Dtx& file)
{
    if (file.tieUp.size() == mostDraftShafts)
        refuse(file, "more than " + std::to_string(mostDraftShafts) + " shafts");
    NumberList ones = onesOf(line, file);
    file.tieUp.push_back({file.line, file.width, std::move(ones)});
    file.counted++;
}

void takeLiftPlanLine(std::string_view line, Dtx& file)
{
    NumberList ones = onesOf(line, file);
    file.counted++;
    if (ones.empty())
        tellNumbers(file.parts.liftPlan, file.line, file.counted, std::string_view());
    else
        tellNumbers(file.parts.liftPlan, file.line, file.counted, std::move(ones));
}

void takeContents(std::string_view line, Dtx& file)
{
    DraftParts& parts = file.parts;
    switch (file.section) {
    case Section::description:
        if (file.counted++ == 0)
            parts.title = readableText(line);
        else
            parts.notes += (parts.notes.empty() ? "" : "\n") + readableText(line);
        return;
    case Section::imprint:
        if (file.counted++ == 0)
            parts.program = readableText(line);
        return;
    case Section::threading:
        return takeNumberList(line, parts.threading, false, file);
    case Section::treadling:
        return takeNumberList(line, parts.treadling, file.isCompound, file);
    case Section::tieUp:
        return takeTieUpLine(line, file);
    case Section::liftPlan:
        return takeLiftPlanLine(line, file);
    case Section::palette:
        return takePaletteLine(line, file);
    case Section::warpColours:
        return takeColours(line, parts.warp, file);
    case Section::weftColours:
        return takeColours(line, parts.weft, file);
    case Section::warpSpacing:
        return takeSpacing(line, parts.warp, file);
    case Section::weftSpacing:
        return takeSpacing(line, parts.weft, file);
    default:
        return;
    }
}

// Behind "%%".
void takeKey(std::string_view line, Dtx& file)
{
    size_t end = 0;
    while (end < line.size() && !isBlank(line[end]) && line[end] != '=')
        end++;
    const std::string key = plainWord(line.substr(0, end));
    const std::string_view value = trimmed(line.substr(std::min(end + 1, line.size())));
    if (file.section == Section::treadling && key == "compound")
        file.isCompound = value != "0" && plainWord(value) != "no";
    if (file.section == Section::imprint && key == "program")
        file.parts.program = readableText(value);
    if (file.section != Section::info)
        return;
    for (auto [name, count] : {std::pair("shafts", &file.parts.shafts), std::pair("treadles", &file.parts.treadles),
                               std::pair("ends", &file.parts.warp.count), std::pair("picks", &file.parts.weft.count)}) {
        if (key != name)
            continue;
        const std::optional<u32> number = wholeNumber(value);
        if (!number.has_value())
            refuse(file, quotation(value) + " where the number of " + name + " is expected");
        count->number = *number;
        count->line = file.line;
    }
}

void enterSection(std::string_view line, Dtx& file)
{
    constexpr size_t longestName = 24;
    file.section = sectionOf(line);
    file.sectionName = readableText(line.substr(0, longestName));
    file.counted = file.width = 0;
    file.isEnded = file.section == Section::end;
}

// A line a shaft becomes a list a treadle.
void turnTieUp(Dtx& file)
{
    const auto rows = static_cast<u32>(file.tieUp.size());
    if (rows == 0)
        return;
    NumberTable& table = file.parts.tieUp;
    const u32 shafts = file.parts.shafts.number;
    if (shafts != 0 && shafts != rows)
        throw Refusal{loadBadData, placeText(file.tieUp.back().line, table.section) + std::to_string(rows) +
                                       " lines, but " + infoName + " has " + std::to_string(shafts) + " shafts"};
    std::vector<NumberList> treadles;
    std::vector<u32> lines;
    for (u32 shaft = 1; shaft <= rows; shaft++) {
        const TieUpRow& row = file.tieUp[rows - shaft];
        for (const u16 treadle : row.treadles) {
            if (treadle > treadles.size()) {
                treadles.resize(treadle);
                lines.resize(treadle);
            }
            treadles[treadle - 1].push_back(static_cast<u16>(shaft));
            lines[treadle - 1] = row.line;
        }
    }
    tellNumbers(table, file.tieUp.front().line, file.tieUp.front().width, std::string_view());
    for (u32 i = 0; i < treadles.size(); i++)
        if (!treadles[i].empty())
            tellNumbers(table, lines[i], i + 1, std::move(treadles[i]));
}

Dtx emptyDtx(Remarks& remarks)
{
    return Dtx{.parts = {.threading = {"@@Threading", "end", "shaft", mostDraftThreads},
                         .tieUp = {"@@Tieup", "treadle", "shaft", mostDraftShafts},
                         .treadling = {"@@Treadling", "pick", "treadle", mostDraftThreads},
                         .liftPlan = {"@@Liftplan", "pick", "shaft", mostDraftThreads},
                         .shafts = {infoName, "shafts", mostDraftShafts},
                         .treadles = {infoName, "treadles", mostDraftShafts},
                         .warp = {{infoName, "ends", mostDraftThreads}, "end", "@@Warp Colors"},
                         .weft = {{infoName, "picks", mostDraftThreads}, "pick", "@@Weft Colors"},
                         .tableSection = "@@Color Palette"},
               .remarks = remarks};
}

} // namespace

bool beginsAsDtx(std::string_view text)
{
    TextLines lines{text};
    for (std::string_view line; lines.take(line);)
        if (!trimmed(line).empty())
            return sectionOf(line.substr(0, std::min<size_t>(line.size(), 64))) == Section::start;
    return false;
}

bool hasDtxSections(std::string_view text)
{
    TextLines lines{text};
    for (std::string_view line; lines.take(line);)
        if (trimmed(line).starts_with("@@") && sectionOf(line) != Section::other)
            return true;
    return false;
}

Draft readDtx(std::string_view text, Remarks& remarks)
{
    Dtx file = emptyDtx(remarks);
    TextLines lines{text};
    for (std::string_view line; !file.isEnded && lines.take(line);) {
        line = trimmed(line);
        file.line = lines.number;
        if (line.starts_with("@@"))
            enterSection(line, file);
        else if (line.starts_with("%%"))
            takeKey(line.substr(2), file);
        else if (!line.empty())
            takeContents(line, file);
    }
    if (!file.isEnded)
        remarks.push_back({"the file ends without @@EndDTX, it may have been cut off", false});
    turnTieUp(file);
    DraftParts& parts = file.parts;
    parts.usesLiftPlan = parts.liftPlan.hasNumbers() || (parts.liftPlan.isThere() && !parts.treadling.hasNumbers());
    return assembleDraft(std::move(parts), remarks);
}
