#include "loomfile/draft/draft_parts.h"

#include <algorithm>

#include "loomfile/draft/draft_text.h"
#include "loomfile/refusal.h"

std::string placeText(u32 line, std::string_view section)
{
    return "line " + std::to_string(line) + ", " + std::string(section) + ": ";
}

// "end 3"
static std::string itemText(const char* item, u32 index)
{
    return item + (" " + std::to_string(index));
}

static void tellIndex(NumberTable& table, u32 line, u32 index)
{
    if (index < table.lastTold)
        return;
    table.lastTold = index;
    table.lastLine = line;
}

void tellNumbers(NumberTable& table, u32 line, u32 index, std::string_view list)
{
    NumberList numbers;
    bool isEmpty = true;
    const bool isList = eachNumber(list, [&](u32 number) {
        isEmpty = isEmpty && number == 0;
        if (number > table.highest.number)
            table.highest = {line, index, number};
        if (number != 0 && number <= mostDraftShafts)
            numbers.push_back(static_cast<u16>(number));
    });
    if (!isList && table.damage.empty())
        table.damage = placeText(line, table.section) + quotation(list) + " where the " + table.member + "s of " +
                       itemText(table.item, index) + " are expected";
    tellIndex(table, line, index);
    if (!isEmpty)
        tellNumbers(table, line, index, std::move(numbers));
}

void tellNumbers(NumberTable& table, u32 line, u32 index, NumberList numbers)
{
    tellIndex(table, line, index);
    if (index > table.last.index)
        table.last = {line, index};
    if (index > table.mostItems)
        return;
    if (numbers.size() > 1) {
        std::sort(numbers.begin(), numbers.end());
        numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    }
    if (!numbers.empty() && numbers.back() > table.highest.number)
        table.highest = {line, index, numbers.back()};
    if (index > table.lists.size())
        table.lists.resize(index);
    NumberList& place = table.lists[index - 1];
    if (!place.empty() && place != numbers && table.doubt.empty())
        table.doubt = placeText(line, table.section) + itemText(table.item, index) +
                      " is told a second time and differently, the last line counts";
    place = std::move(numbers);
}

namespace
{

[[noreturn]] void refuse(const std::string& sentence)
{
    throw Refusal{loadBadData, sentence};
}

// As many as the file says, or as its lists need. 0 when neither tells any.
u32 countOf(const Count& count, std::initializer_list<Place> needed, const std::string& section)
{
    if (count.number > count.most)
        refuse(placeText(count.line, count.section) + std::to_string(count.number) + " " + count.name +
               ", but no more than " + std::to_string(count.most) + " can be read");
    if (count.number != 0)
        return count.number;
    const Place highest = std::max(needed, [](const Place& a, const Place& b) { return a.number < b.number; });
    if (highest.number > count.most)
        refuse(placeText(highest.line, section) + std::to_string(highest.number) + " " + count.name +
               ", but no more than " + std::to_string(count.most) + " can be read");
    return highest.number;
}

// As many items as the table has lines for.
Place itemsOf(const NumberTable& table)
{
    return {table.lastLine, 0, table.lastTold};
}

// What the table names must exist.
void check(const NumberTable& table, const Count& items, u32 itemCount, const Count& members, u32 memberCount,
           Remarks& remarks)
{
    if (!table.damage.empty())
        refuse(table.damage);
    if (table.highest.number > memberCount)
        refuse(placeText(table.highest.line, table.section) + itemText(table.member, table.highest.number) + " of " +
               itemText(table.item, table.highest.index) + ", but " + members.section + " has " +
               std::to_string(memberCount) + " " + members.name);
    if (table.last.index > itemCount)
        refuse(placeText(table.last.line, table.section) + itemText(table.item, table.last.index) + ", but " +
               items.section + " has " + std::to_string(itemCount) + " " + items.name);
    if (!table.doubt.empty())
        remarks.push_back({table.doubt, true});
}

// A file that was cut off has no lines for the last threads.
void remarkEarlyEnd(const NumberTable& table, u32 count, Remarks& remarks)
{
    if (table.isThere() && table.lastTold < count)
        remarks.push_back({placeText(table.lastLine, table.section) + "the last " + table.item + " is " +
                               std::to_string(table.lastTold) + " of " + std::to_string(count) +
                               ", those behind it are left empty",
                           true});
}

// The first on the first, the second on the second and so on.
std::vector<NumberList> straight(u32 count)
{
    std::vector<NumberList> lists(count);
    for (u32 i = 0; i < count; i++)
        lists[i] = {static_cast<u16>(i + 1)};
    return lists;
}

// Without the table every item takes the member of its number, where there are as many.
std::vector<NumberList> listsOf(NumberTable& table, u32 itemCount, u32 memberCount, Remarks& remarks)
{
    if (table.isThere()) {
        table.lists.resize(itemCount);
        return std::move(table.lists);
    }
    const std::string missing = table.section + " is missing";
    if (itemCount > memberCount)
        refuse(missing + ", without which the " + table.member + "s of " + std::to_string(itemCount) + " " +
               table.item + "s are unknown");
    remarks.push_back(
        {missing + ": each " + table.item + " is taken to have the " + table.member + " of its number", true});
    return straight(itemCount);
}

// What a colour's parts go from and to: as the file says, else as its colours need it.
std::pair<u32, u32> rangeOf(const DraftParts& parts)
{
    if (parts.colourRange.has_value())
        return *parts.colourRange;
    u32 highest = 0;
    for (const auto& [number, told] : parts.colourTable)
        highest = std::max(highest, *std::max_element(told.second.begin(), told.second.end()));
    return {0, highest <= 255 ? 255 : highest <= 999 ? 999 : 65535};
}

Colour colourIn(std::pair<u32, u32> range, const RawColour& raw)
{
    auto part = [range](u32 number) {
        const u64 above = std::clamp(number, range.first, range.second) - range.first;
        const u64 span = range.second - range.first;
        return static_cast<u8>((255 * above + span / 2) / span);
    };
    return {part(raw[0]), part(raw[1]), part(raw[2])};
}

void remarkRange(const DraftParts& parts, std::pair<u32, u32> range, Remarks& remarks)
{
    for (const auto& [number, told] : parts.colourTable) {
        const auto [lowest, highest] = std::minmax_element(told.second.begin(), told.second.end());
        if (*lowest >= range.first && *highest <= range.second)
            continue;
        remarks.push_back({placeText(told.first, parts.tableSection) + "colour " + std::to_string(number) +
                               " is outside of the range from " + std::to_string(range.first) + " to " +
                               std::to_string(range.second),
                           true});
        return;
    }
}

void setColours(const ThreadParts& told, const DraftParts& parts, Colour usual, Threads& threads, Remarks& remarks)
{
    const std::pair<u32, u32> range = rangeOf(parts);
    bool isRemarked = false;
    auto colourOf = [&](const ColourChoice& choice, u32 thread, Colour otherwise) {
        const u32 number = choice.number.value_or(0);
        const auto found = choice.number.has_value() ? parts.colourTable.find(number) : parts.colourTable.end();
        if (found != parts.colourTable.end())
            return colourIn(range, found->second.second);
        if (choice.own.has_value())
            return colourIn(range, *choice.own);
        if (number != 0 && !isRemarked) { // 0 is written for none
            isRemarked = true;
            remarks.push_back({placeText(choice.line, thread != 0 ? told.colourSection : told.count.section) +
                                   "colour " + std::to_string(number) +
                                   (thread != 0 ? " of " + itemText(told.item, thread) : "") + ", but " +
                                   parts.tableSection + " does not have it",
                               true});
        }
        return otherwise;
    };
    threads.colours.assign(threads.count, colourOf(told.colour, 0, usual));
    for (u32 i = 0; i < std::min<size_t>(told.colours.size(), threads.count); i++)
        threads.colours[i] = colourOf(told.colours[i], i + 1, threads.colours[i]);
}

bool tellsColour(const ThreadParts& told, const DraftParts& parts)
{
    auto isTold = [&parts](const ColourChoice& choice) {
        const bool isOfTable = choice.number.has_value() && !parts.colourTable.empty();
        return choice.own.has_value() || (isOfTable && (*choice.number != 0 || parts.colourTable.contains(0)));
    };
    return isTold(told.colour) || std::any_of(told.colours.begin(), told.colours.end(), isTold);
}

// Threads that are not told of have the usual length, or the mean of the others.
std::vector<double> lengthsOf(const Lengths& lengths, double unit, u32 count)
{
    double sum = 0;
    const auto tellingCount = std::count_if(lengths.told.begin(), lengths.told.end(), [](double l) { return l > 0; });
    for (const double length : lengths.told)
        sum += length;
    const double usual =
        lengths.usual > 0 || tellingCount == 0 ? lengths.usual : sum / static_cast<double>(tellingCount);
    if (!(usual > 0 && unit > 0))
        return {};
    std::vector<double> all(count, usual * unit);
    for (u32 i = 0; i < std::min<size_t>(lengths.told.size(), count); i++)
        if (lengths.told[i] > 0)
            all[i] = lengths.told[i] * unit;
    return all;
}

void setYarns(const DraftParts& parts, Draft& draft, Remarks& remarks)
{
    if (tellsColour(parts.warp, parts) || tellsColour(parts.weft, parts)) {
        remarkRange(parts, rangeOf(parts), remarks);
        setColours(parts.warp, parts, {0, 0, 0}, draft.warp, remarks);
        setColours(parts.weft, parts, {255, 255, 255}, draft.weft, remarks);
    }
    for (auto [told, threads] : {std::pair(&parts.warp, &draft.warp), std::pair(&parts.weft, &draft.weft)}) {
        threads->spacing = lengthsOf(told->spacing, told->unit, threads->count);
        threads->thickness = lengthsOf(told->thickness, told->unit, threads->count);
    }
}

} // namespace

Draft assembleDraft(DraftParts parts, Remarks& remarks)
{
    NumberTable& threading = parts.threading;
    NumberTable& picks = parts.usesLiftPlan ? parts.liftPlan : parts.treadling;
    Draft draft;
    draft.warp.count = countOf(parts.warp.count, {itemsOf(threading)}, threading.section);
    draft.weft.count = countOf(parts.weft.count, {itemsOf(picks)}, picks.section);
    if (draft.ends() == 0 || draft.picks() == 0) {
        const Count& missing = draft.ends() == 0 ? parts.warp.count : parts.weft.count;
        refuse((missing.line != 0 ? placeText(missing.line, missing.section) : missing.section + ": ") +
               "the number of " + missing.name + " is expected");
    }
    draft.shafts = countOf(parts.shafts, {threading.highest, parts.usesLiftPlan ? picks.highest : parts.tieUp.highest},
                           threading.section);
    if (draft.shafts == 0)
        refuse(parts.shafts.section + " tells no shafts, and " + threading.section + " threads no end");
    check(threading, parts.warp.count, draft.ends(), parts.shafts, draft.shafts, remarks);
    remarkEarlyEnd(threading, draft.ends(), remarks);
    draft.threading = listsOf(threading, draft.ends(), draft.shafts, remarks);
    if (parts.usesLiftPlan) {
        check(picks, parts.weft.count, draft.picks(), parts.shafts, draft.shafts, remarks);
        picks.lists.resize(draft.picks());
        draft.liftPlan = std::move(picks.lists);
    } else {
        NumberTable& tieUp = parts.tieUp;
        draft.treadles = countOf(parts.treadles, {picks.highest, itemsOf(tieUp)}, picks.section);
        check(picks, parts.weft.count, draft.picks(), parts.treadles, draft.treadles, remarks);
        check(tieUp, parts.treadles, draft.treadles, parts.shafts, draft.shafts, remarks);
        draft.treadling = listsOf(picks, draft.picks(), draft.treadles, remarks);
        draft.tieUp = listsOf(tieUp, draft.treadles, draft.shafts, remarks);
    }
    remarkEarlyEnd(picks, draft.picks(), remarks);
    draft.isSinking = parts.isSinking;
    setYarns(parts, draft, remarks);
    draft.title = std::move(parts.title);
    draft.author = std::move(parts.author);
    draft.notes = std::move(parts.notes);
    draft.program = std::move(parts.program);
    return draft;
}
