// Weaving Information Files, version 1.1: text in sections of "key=value", in any order, in capitals or small letters.
// A line that begins with a semicolon is a comment.
//
//   [WIF]            Version, Source Program, Source Version
//   [CONTENTS]       the name of each section that is there = yes, on, true or 1
//   [TEXT]           Title, Author
//   [NOTES]          1=a line, 2=a line ...
//   [WEAVING]        Shafts, Treadles, Rising Shed
//   [WARP]           Threads; Color, Units, Spacing, Thickness as threads have them that are not listed
//   [WEFT]           the same
//   [THREADING]      end=shaft,shaft ...
//   [TIEUP]          treadle=shaft,shaft ...
//   [TREADLING]      pick=treadle,treadle ...
//   [LIFTPLAN]       pick=shaft,shaft ...
//   [COLOR PALETTE]  Range=lowest,highest of what a colour is made of
//   [COLOR TABLE]    number=red,green,blue
//   [WARP COLORS]    end=number of the colour; and [WEFT COLORS]
//   [WARP SPACING]   end=length in Units, from its middle to the next one's; and [WEFT SPACING]
//   [WARP THICKNESS] end=length in Units; and [WEFT THICKNESS]
#include "loomfile/draft/wif_reader.h"

#include <algorithm>
#include <array>

#include "loomfile/draft/draft_text.h"
#include "loomfile/refusal.h"

namespace
{

enum Section {
    other,
    wif,
    contents,
    text,
    notes,
    weaving,
    warp,
    weft,
    threading,
    tieUp,
    treadling,
    liftPlan,
    palette,
    colourTable,
    warpColours,
    weftColours,
    warpSpacing,
    weftSpacing,
    warpThickness,
    weftThickness,
    sectionCount
};

constexpr const char* sectionNames[sectionCount] = {
    "",
    "[WIF]",
    "[CONTENTS]",
    "[TEXT]",
    "[NOTES]",
    "[WEAVING]",
    "[WARP]",
    "[WEFT]",
    "[THREADING]",
    "[TIEUP]",
    "[TREADLING]",
    "[LIFTPLAN]",
    "[COLOR PALETTE]",
    "[COLOR TABLE]",
    "[WARP COLORS]",
    "[WEFT COLORS]",
    "[WARP SPACING]",
    "[WEFT SPACING]",
    "[WARP THICKNESS]",
    "[WEFT THICKNESS]",
};

struct Units {
    std::string word;
    u32 line = 0; // 0 = taken over from the other threads
};

struct Wif {
    std::array<u32, sectionCount> lineOf{};               // of the section's header
    std::array<std::optional<bool>, sectionCount> said{}; // by [CONTENTS]
    Units warpUnits = {}, weftUnits = {};
    std::string program = {}, version = {};
    DraftParts parts;
    Remarks& remarks;
};

struct Entry {
    Section section;
    u32 line;
    std::string_view key, value;
    bool hasValue; // a "=" stands between them
};

std::string placeOf(const Entry& entry)
{
    return placeText(entry.line, sectionNames[entry.section]);
}

Section sectionCalled(const std::string& word)
{
    static const std::map<std::string, Section> sections = [] {
        std::map<std::string, Section> words;
        for (int i = other + 1; i < sectionCount; i++) {
            const std::string name = plainWord(sectionNames[i]);
            words[name.substr(1, name.size() - 2)] = static_cast<Section>(i);
        }
        words["tie-up"] = tieUp;
        words["lift-plan"] = liftPlan;
        return words;
    }();
    const auto found = sections.find(word);
    return found != sections.end() ? found->second : other;
}

// Of a line that opens a section.
Section sectionOf(std::string_view line)
{
    return line.starts_with('[') ? sectionCalled(plainWord(line.substr(1, line.find(']') - 1))) : other;
}

std::optional<bool> saidBy(std::string_view value)
{
    const std::string word = plainWord(value);
    if (word.empty())
        return std::nullopt;
    if (isDigit(word[0]))
        return word.find_first_not_of('0') != std::string::npos;
    if (word[0] == 'y' || word[0] == 't' || word == "on")
        return true;
    return word[0] == 'n' || word[0] == 'f' || word == "off" ? std::optional<bool>(false) : std::nullopt;
}

// Behind a semicolon numbers are commented.
std::string_view withoutComment(std::string_view value)
{
    return trimmed(value.substr(0, value.find(';')));
}

void takeCount(const Entry& entry, Count& count, Remarks& remarks)
{
    const std::string_view value = withoutComment(entry.value);
    const std::optional<u32> number = wholeNumber(value);
    if (!number.has_value() && !value.empty())
        throw Refusal{loadBadData,
                      placeOf(entry) + quotation(value) + " where the number of " + count.name + " is expected"};
    if (count.number != 0 && number.has_value() && *number != count.number)
        remarks.push_back({placeOf(entry) + std::to_string(*number) + " " + count.name + ", but line " +
                               std::to_string(count.line) + " tells " + std::to_string(count.number) +
                               ", the last line counts",
                           true});
    count.number = number.value_or(0);
    count.line = entry.line;
}

std::vector<u32> numbersOf(const Entry& entry)
{
    std::vector<u32> numbers;
    if (!eachNumber(withoutComment(entry.value), [&](u32 number) { numbers.push_back(number); }))
        return {};
    return numbers;
}

// A number of the table, a colour by itself, or both.
void takeColour(const Entry& entry, ColourChoice& choice, Remarks& remarks)
{
    const std::vector<u32> numbers = numbersOf(entry);
    const bool hasNumber = numbers.size() == 1 || numbers.size() == 4;
    const bool hasColour = numbers.size() == 3 || numbers.size() == 4;
    if (!hasNumber && !hasColour) {
        if (!entry.value.empty())
            remarks.push_back({placeOf(entry) + quotation(entry.value) + " where a colour is expected", true});
        return;
    }
    choice = {entry.line};
    if (hasNumber)
        choice.number = numbers.front();
    if (hasColour)
        choice.own = {numbers.end()[-3], numbers.end()[-2], numbers.end()[-1]};
}

void takeLength(const Entry& entry, double& length, Remarks& remarks)
{
    const std::string_view value = withoutComment(entry.value);
    length = positiveNumber(value).value_or(0);
    if (length == 0 && value.find_first_not_of("0.,") != std::string_view::npos)
        remarks.push_back({placeOf(entry) + quotation(value) + " where a length is expected", true});
}

void takeThreads(const Entry& entry, ThreadParts& threads, Units& units, Remarks& remarks)
{
    const std::string key = plainWord(entry.key);
    if (key == "threads")
        takeCount(entry, threads.count, remarks);
    else if (key == "color")
        takeColour(entry, threads.colour, remarks);
    else if (key == "spacing")
        takeLength(entry, threads.spacing.usual, remarks);
    else if (key == "thickness")
        takeLength(entry, threads.thickness.usual, remarks);
    else if (key == "units")
        units = {plainWord(withoutComment(entry.value)), entry.line};
}

void takeWeaving(const Entry& entry, DraftParts& parts, Remarks& remarks)
{
    const std::string key = plainWord(entry.key);
    if (key == "shafts")
        takeCount(entry, parts.shafts, remarks);
    else if (key == "treadles")
        takeCount(entry, parts.treadles, remarks);
    else if (key == "risingshed") {
        const std::optional<bool> isRising = saidBy(withoutComment(entry.value));
        parts.isSinking = !isRising.value_or(true);
        if (!isRising.has_value() && !entry.value.empty())
            remarks.push_back(
                {placeOf(entry) + quotation(entry.value) + " where yes or no is expected, the shed is taken to rise",
                 true});
    }
}

void takeRange(const Entry& entry, Wif& file)
{
    const std::vector<u32> numbers = numbersOf(entry);
    if (numbers.size() == 2 && numbers[0] < numbers[1])
        file.parts.colourRange = {numbers[0], numbers[1]};
    else
        file.remarks.push_back(
            {placeOf(entry) + quotation(entry.value) + " where the lowest and the highest number are expected", true});
}

void takeNote(const Entry& entry, std::string& notes)
{
    const bool isNumbered = wholeNumber(entry.key).has_value();
    std::string line = readableText(isNumbered ? entry.value : entry.key);
    if (!isNumbered && !entry.value.empty())
        line += '=' + readableText(entry.value);
    notes += (notes.empty() ? "" : "\n") + line;
}

void takeKey(const Entry& entry, Wif& file)
{
    const std::string key = plainWord(entry.key);
    DraftParts& parts = file.parts;
    switch (entry.section) {
    case wif:
        if (key == "sourceprogram")
            file.program = readableText(entry.value);
        else if (key == "sourceversion")
            file.version = readableText(entry.value);
        break;
    case contents:
        file.said[sectionCalled(key)] = saidBy(withoutComment(entry.value));
        break;
    case text:
        if (key == "title")
            parts.title = readableText(entry.value);
        else if (key == "author")
            parts.author = readableText(entry.value);
        break;
    case weaving:
        takeWeaving(entry, parts, file.remarks);
        break;
    case warp:
        takeThreads(entry, parts.warp, file.warpUnits, file.remarks);
        break;
    case weft:
        takeThreads(entry, parts.weft, file.weftUnits, file.remarks);
        break;
    case palette:
        if (key == "range")
            takeRange(entry, file);
        break;
    default:
        break;
    }
}

NumberTable* tableOf(Section section, DraftParts& parts)
{
    switch (section) {
    case threading:
        return &parts.threading;
    case tieUp:
        return &parts.tieUp;
    case treadling:
        return &parts.treadling;
    case liftPlan:
        return &parts.liftPlan;
    default:
        return nullptr;
    }
}

void takeTableColour(const Entry& entry, u32 index, Wif& file)
{
    constexpr u32 mostColours = 65535;
    const std::vector<u32> numbers = numbersOf(entry);
    if (numbers.size() == 3 && index <= mostColours)
        file.parts.colourTable[index] = {entry.line, {numbers[0], numbers[1], numbers[2]}};
    else if (!entry.value.empty())
        file.remarks.push_back(
            {placeOf(entry) + quotation(entry.value) + " where red, green and blue are expected", true});
}

// An entry of a section whose keys are numbers.
void takeNumbered(const Entry& entry, Wif& file)
{
    NumberTable* table = tableOf(entry.section, file.parts);
    const std::optional<u32> index = wholeNumber(entry.key);
    const bool isColour = entry.section == colourTable; // which some programs count from 0
    if (!index.has_value() || (*index == 0 && !isColour) || !entry.hasValue) {
        if (entry.hasValue && index.has_value() &&
            (entry.value.empty() || wholeNumber(entry.value) == std::optional<u32>(0)))
            return;
        const std::string what = quotation(entry.key) + " where a number from 1 on and \"=\" are expected";
        if (table != nullptr && table->damage.empty())
            table->damage = placeOf(entry) + what;
        else if (table == nullptr)
            file.remarks.push_back({placeOf(entry) + what, true});
        return;
    }
    if (table != nullptr) {
        tellNumbers(*table, entry.line, *index, withoutComment(entry.value));
        return;
    }
    ThreadParts &warpParts = file.parts.warp, &weftParts = file.parts.weft;
    auto takeColourOf = [&](ThreadParts& threads) {
        takeColour(entry, placeOfThread(threads.colours, *index), file.remarks);
    };
    auto takeLengthOf = [&](Lengths& lengths) { takeLength(entry, placeOfThread(lengths.told, *index), file.remarks); };
    switch (entry.section) {
    case colourTable:
        return takeTableColour(entry, *index, file);
    case warpColours:
        return takeColourOf(warpParts);
    case weftColours:
        return takeColourOf(weftParts);
    case warpSpacing:
        return takeLengthOf(warpParts.spacing);
    case weftSpacing:
        return takeLengthOf(weftParts.spacing);
    case warpThickness:
        return takeLengthOf(warpParts.thickness);
    case weftThickness:
        return takeLengthOf(weftParts.thickness);
    default:
        return;
    }
}

void takeEntry(const Entry& entry, Wif& file)
{
    if (entry.section == notes)
        takeNote(entry, file.parts.notes);
    else if (entry.section >= threading && entry.section != palette)
        takeNumbered(entry, file);
    else if (entry.section != other)
        takeKey(entry, file);
}

void takeLines(std::string_view content, Wif& file)
{
    TextLines lines{content};
    Entry entry{};
    // Damage is told of once a section.
    std::array<bool, sectionCount> isTold{};
    for (std::string_view line; lines.take(line);) {
        line = trimmed(line);
        if (line.empty() || line.front() == ';')
            continue;
        entry.line = lines.number;
        if (line.front() == '[') {
            entry.section = sectionOf(line);
            file.lineOf[entry.section] = entry.line;
            continue;
        }
        const size_t sign = line.find('=');
        entry.key = trimmed(line.substr(0, sign));
        entry.value = sign != std::string_view::npos ? trimmed(line.substr(sign + 1)) : std::string_view();
        entry.hasValue = sign != std::string_view::npos;
        const size_t before = file.remarks.size();
        takeEntry(entry, file);
        if (file.remarks.size() > before && isTold[entry.section])
            file.remarks.resize(before);
        isTold[entry.section] = isTold[entry.section] || file.remarks.size() > before;
    }
}

constexpr double inch = 2.54;
constexpr double decipoint = inch / 720;

// Whether one of the lengths can be no yarn's in centimetres.
bool isInPoints(const ThreadParts& threads)
{
    constexpr double longest = 5;
    auto isLong = [](double length) { return length > longest; };
    return std::any_of(threads.spacing.told.begin(), threads.spacing.told.end(), isLong) ||
           std::any_of(threads.thickness.told.begin(), threads.thickness.told.end(), isLong) ||
           isLong(threads.spacing.usual) || isLong(threads.thickness.usual);
}

// In centimetres. Without a unit the lengths stay unknown.
void setUnit(const Units& units, Section section, ThreadParts& threads, Remarks& remarks)
{
    auto begins = [&units](const char* word) { return units.word.starts_with(word); };
    if (begins("centi") || units.word == "cm")
        threads.unit = 1;
    else if (begins("inch") || units.word == "in" || units.word == "in.")
        threads.unit = inch;
    else if (begins("deci"))
        threads.unit = decipoint;
    else if (begins("milli") || units.word == "mm")
        threads.unit = 0.1;
    else if (units.word.empty())
        threads.unit = isInPoints(threads) ? decipoint : 1;
    else {
        threads.unit = 0;
        if (units.line != 0)
            remarks.push_back({placeText(units.line, sectionNames[section]) + quotation(units.word) +
                                   " where Decipoints, Inches or Centimeters are expected, lengths are left out",
                               false});
    }
}

// What is there although [CONTENTS] says that it is not.
void leaveOut(Wif& file)
{
    auto dropList = [&](Section section, auto& list) {
        if (!file.said[section].value_or(true))
            list.clear();
    };
    dropList(warpColours, file.parts.warp.colours);
    dropList(weftColours, file.parts.weft.colours);
    dropList(warpSpacing, file.parts.warp.spacing.told);
    dropList(weftSpacing, file.parts.weft.spacing.told);
    dropList(warpThickness, file.parts.warp.thickness.told);
    dropList(weftThickness, file.parts.weft.thickness.told);
}

// A lift plan wins when [CONTENTS] declares both, and when nothing is declared.
void choosePicks(Wif& file)
{
    DraftParts& parts = file.parts;
    const bool isSilent = file.lineOf[contents] == 0;
    auto isDeclared = [&](Section section) { return file.said[section].value_or(isSilent); };
    if (parts.liftPlan.hasNumbers() && isDeclared(liftPlan))
        parts.usesLiftPlan = true;
    else if (parts.treadling.hasNumbers() && isDeclared(treadling))
        parts.usesLiftPlan = false;
    else
        parts.usesLiftPlan = parts.liftPlan.hasNumbers() || (parts.liftPlan.isThere() && !parts.treadling.hasNumbers());
    if (!parts.usesLiftPlan && file.said[liftPlan].value_or(false) && !parts.liftPlan.isThere())
        file.remarks.push_back({"[CONTENTS] declares [LIFTPLAN], which is missing: the treadling is shown", true});
}

Wif emptyWif(Remarks& remarks)
{
    auto table = [](Section section, const char* item, const char* member, u32 most) {
        return NumberTable{sectionNames[section], item, member, most};
    };
    auto threads = [](Section section, const char* item, const char* items, Section colours) {
        return ThreadParts{{sectionNames[section], items, mostDraftThreads}, item, sectionNames[colours]};
    };
    return Wif{.parts = {.threading = table(threading, "end", "shaft", mostDraftThreads),
                         .tieUp = table(tieUp, "treadle", "shaft", mostDraftShafts),
                         .treadling = table(treadling, "pick", "treadle", mostDraftThreads),
                         .liftPlan = table(liftPlan, "pick", "shaft", mostDraftThreads),
                         .shafts = {sectionNames[weaving], "shafts", mostDraftShafts},
                         .treadles = {sectionNames[weaving], "treadles", mostDraftShafts},
                         .warp = threads(warp, "end", "ends", warpColours),
                         .weft = threads(weft, "pick", "picks", weftColours),
                         .tableSection = sectionNames[colourTable]},
               .remarks = remarks};
}

} // namespace

bool beginsAsWif(std::string_view content)
{
    TextLines lines{content};
    for (std::string_view line; lines.take(line);) {
        const std::string word = plainWord(line.substr(0, std::min<size_t>(line.size(), 16)));
        if (!word.empty() && word[0] != ';')
            return word.starts_with("[wif]");
    }
    return false;
}

bool hasWifSections(std::string_view content)
{
    TextLines lines{content};
    for (std::string_view line; lines.take(line);)
        if (sectionOf(trimmed(line)) >= weaving)
            return true;
    return false;
}

Draft readWif(std::string_view content, Remarks& remarks)
{
    Wif file = emptyWif(remarks);
    takeLines(content, file);
    file.parts.shafts.line = std::max(file.parts.shafts.line, file.lineOf[weaving]);
    for (const auto& [section, threads] : {std::pair(warp, &file.parts.warp), std::pair(weft, &file.parts.weft)})
        if (threads->count.line == 0)
            threads->count.line = file.lineOf[section];
    leaveOut(file);
    choosePicks(file);
    if (file.warpUnits.word.empty())
        file.warpUnits.word = file.weftUnits.word;
    else if (file.weftUnits.word.empty())
        file.weftUnits.word = file.warpUnits.word;
    setUnit(file.warpUnits, warp, file.parts.warp, remarks);
    setUnit(file.weftUnits, weft, file.parts.weft, remarks);
    file.parts.program = file.program + (file.program.empty() || file.version.empty() ? "" : " ") + file.version;
    return assembleDraft(std::move(file.parts), remarks);
}
