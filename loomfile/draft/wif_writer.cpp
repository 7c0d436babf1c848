// A WIF text as it is written here:
//
//   [WIF]                        version, program
//   [CONTENTS]                   the sections that follow = yes
//   [TEXT] [NOTES]               title, author; notes line by line
//   [WEAVING]                    shafts, treadles; the shed always rises
//   [WARP] [WEFT]                threads, and what is the same for all of them
//   [COLOR PALETTE]              how many colours, 0 to 255 a channel
//   [COLOR TABLE]                number=red,green,blue
//   [THREADING]                  end=shaft,shaft     0 = none, as below
//   [TIEUP]                      treadle=shaft,shaft
//   [TREADLING]                  pick=treadle,treadle
//   [LIFTPLAN]                   pick=shaft,shaft
//   [WARP COLORS] ...            thread=number of a colour, spacing and thickness of single threads
//
// Sinking sheds are written as the rising ones that lift all other shafts. A pick with several treadles, or none, has
// its lifts told by a lift plan, which counts before the treadles. An end without a shaft goes on one that is never up
// when the shaft of its own number is.
#include "loomfile/draft/wif_writer.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <tuple>

#include "loomfile/refusal.h"

namespace
{

constexpr const char* lineEnd = "\r\n";
constexpr u32 leastOfEach = 2;          // shafts and treadles that readers want
constexpr size_t mostTextBytes = 40000; // of a line, which readers cut

using Lists = std::vector<NumberList>;

struct ColourLess {
    bool operator()(const Colour& a, const Colour& b) const
    {
        return std::tie(a.red, a.green, a.blue) < std::tie(b.red, b.green, b.blue);
    }
};

// The numbers of a draft as they are written.
struct Weaving {
    u32 shafts;
    u32 treadles;
    Lists threading, tieUp, treadling, liftPlan;
};

Lists complement(const Lists& lists, u32 shafts)
{
    Lists others(lists.size());
    for (size_t i = 0; i < lists.size(); i++)
        for (u32 shaft = 1; shaft <= shafts; shaft++)
            if (!std::binary_search(lists[i].begin(), lists[i].end(), shaft))
                others[i].push_back(static_cast<u16>(shaft));
    return others;
}

bool isLifted(const std::vector<u64>& lifted, u32 shaft)
{
    return (lifted[(shaft - 1) / 64] >> (shaft - 1) % 64 & 1) != 0;
}

Lists liftPlanOf(const Draft& draft)
{
    Lists plan(draft.picks());
    for (u32 pick = 0; pick < draft.picks(); pick++) {
        const std::vector<u64> lifted = liftedShafts(draft, pick);
        for (u32 shaft = 1; shaft <= draft.shafts; shaft++)
            if (isLifted(lifted, shaft))
                plan[pick].push_back(static_cast<u16>(shaft));
    }
    return plan;
}

// A pick without a treadle may be taken for one with the treadle of its own number, which has to lift nothing then.
bool isTreadledPlainly(const Draft& draft, u32 pick)
{
    const size_t count = draft.treadling[pick].size();
    const bool liftsNothing = pick >= draft.tieUp.size() || draft.tieUp[pick].empty();
    return count == 1 || (count == 0 && !draft.isSinking && liftsNothing);
}

bool isTreadledPlainly(const Draft& draft)
{
    for (u32 pick = 0; pick < draft.picks(); pick++)
        if (draft.hasLiftPlan() || !isTreadledPlainly(draft, pick))
            return false;
    return true;
}

// Which shafts a treadle or a pick lifts.
std::vector<bool> movingShafts(const Weaving& weaving)
{
    std::vector<bool> isMoving(weaving.shafts + size_t{1});
    for (const NumberList& shafts : weaving.liftPlan.empty() ? weaving.tieUp : weaving.liftPlan)
        for (const u16 shaft : shafts)
            isMoving[shaft] = true;
    return isMoving;
}

void threadAll(Weaving& weaving)
{
    const std::vector<bool> isMoving = movingShafts(weaving);
    auto isMistaken = [&](u32 end) {
        return end < isMoving.size() && isMoving[end] && weaving.threading[end - 1].empty();
    };
    u32 end = 1;
    while (end <= weaving.threading.size() && !isMistaken(end))
        end++;
    if (end > weaving.threading.size())
        return;
    u32 idle = 1;
    while (idle < isMoving.size() && isMoving[idle])
        idle++;
    weaving.shafts = std::max(weaving.shafts, idle);
    for (NumberList& shafts : weaving.threading)
        if (shafts.empty())
            shafts.push_back(static_cast<u16>(idle));
}

Weaving weavingOf(const Draft& draft)
{
    Weaving weaving{draft.shafts, draft.treadles, draft.threading, {}, {}, {}};
    const bool isPlain = isTreadledPlainly(draft);
    if (!isPlain)
        weaving.liftPlan = liftPlanOf(draft);
    if (isPlain || !draft.isSinking) {
        weaving.tieUp = draft.isSinking ? complement(draft.tieUp, draft.shafts) : draft.tieUp;
        weaving.treadling = draft.treadling;
    }
    threadAll(weaving);
    weaving.shafts = std::max(weaving.shafts, leastOfEach);
    // A loom that is lifted by a plan has a treadle for each shaft.
    weaving.treadles = std::max(weaving.treadles != 0 ? weaving.treadles : weaving.shafts, leastOfEach);
    return weaving;
}

// In one line.
std::string lineOf(const std::string& text)
{
    std::string line = text.substr(0, mostTextBytes);
    while (line.size() < text.size() && !line.empty() && (static_cast<u8>(text[line.size()]) & 0xC0) == 0x80)
        line.pop_back();
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<u8>(c) < ' ' || c == 0x7F; }, ' ');
    return line;
}

std::string numberText(double number)
{
    char digits[400];
    const auto written = std::to_chars(digits, digits + sizeof digits, number, std::chars_format::fixed);
    return {digits, written.ptr};
}

bool areAllTheSame(const std::vector<double>& numbers)
{
    return std::equal(numbers.begin() + 1, numbers.end(), numbers.begin());
}

struct Text {
    std::string contents = {}; // what [CONTENTS] declares
    std::string sections = {};

    void add(const std::string& key, const std::string& value) { sections += key + "=" + value + lineEnd; }
    void add(const std::string& key, u64 value) { add(key, std::to_string(value)); }
    // Some readers take the line behind a header for content whatever it is, so a blank one is before each header.
    void begin(const std::string& name)
    {
        contents += name + "=yes" + lineEnd;
        sections += lineEnd + ("[" + name + "]") + lineEnd;
    }
};

void addTexts(Text& text, const Draft& draft)
{
    if (!draft.title.empty() || !draft.author.empty())
        text.begin("TEXT");
    if (!draft.title.empty())
        text.add("Title", lineOf(draft.title));
    if (!draft.author.empty())
        text.add("Author", lineOf(draft.author));
    if (draft.notes.empty())
        return;
    text.begin("NOTES");
    u32 number = 1;
    for (size_t at = 0; at <= draft.notes.size(); number++) {
        const size_t end = std::min(draft.notes.find('\n', at), draft.notes.size());
        std::string line = draft.notes.substr(at, end - at);
        if (line.ends_with('\r'))
            line.pop_back();
        text.add(std::to_string(number), lineOf(line));
        at = end + 1;
    }
}

using ColourNumbers = std::map<Colour, u32, ColourLess>;

ColourNumbers addColours(Text& text, const Draft& draft)
{
    ColourNumbers numbers;
    if (!draft.hasColours())
        return numbers;
    std::string table;
    for (const Threads* threads : {&draft.warp, &draft.weft}) {
        for (const Colour& colour : threads->colours) {
            const auto [place, isNew] = numbers.emplace(colour, static_cast<u32>(numbers.size()) + 1);
            if (isNew)
                table += std::to_string(place->second) + "=" + std::to_string(colour.red) + "," +
                         std::to_string(colour.green) + "," + std::to_string(colour.blue) + lineEnd;
        }
    }
    text.begin("COLOR PALETTE");
    text.add("Entries", numbers.size());
    text.add("Form", "RGB");
    text.add("Range", "0,255");
    text.begin("COLOR TABLE");
    text.sections += table;
    return numbers;
}

// What holds for all ends or all picks.
void addThreads(Text& text, const std::string& name, const Threads& threads, const ColourNumbers& numbers)
{
    text.begin(name);
    text.add("Threads", threads.count);
    if (!numbers.empty())
        text.add("Color", numbers.at(threads.colours.front()));
    text.add("Units", "centimeters");
    if (!threads.spacing.empty() && areAllTheSame(threads.spacing))
        text.add("Spacing", numberText(threads.spacing.front()));
    if (!threads.thickness.empty() && areAllTheSame(threads.thickness))
        text.add("Thickness", numberText(threads.thickness.front()));
}

void addLengths(Text& text, const std::string& name, const std::vector<double>& lengths)
{
    if (lengths.empty() || areAllTheSame(lengths))
        return;
    text.begin(name);
    for (size_t i = 0; i < lengths.size(); i++)
        text.add(std::to_string(i + 1), numberText(lengths[i]));
}

// What differs from thread to thread.
void addSingleThreads(Text& text, const std::string& name, const Threads& threads, const ColourNumbers& numbers)
{
    const std::vector<Colour>& colours = threads.colours;
    if (!numbers.empty() && !std::equal(colours.begin() + 1, colours.end(), colours.begin())) {
        text.begin(name + " COLORS");
        for (size_t i = 0; i < colours.size(); i++)
            text.add(std::to_string(i + 1), numbers.at(colours[i]));
    }
    addLengths(text, name + " SPACING", threads.spacing);
    addLengths(text, name + " THICKNESS", threads.thickness);
}

void addLists(Text& text, const std::string& name, const Lists& lists)
{
    if (lists.empty())
        return;
    text.begin(name);
    for (size_t i = 0; i < lists.size(); i++) {
        std::string numbers;
        for (const u16 number : lists[i])
            numbers += (numbers.empty() ? "" : ",") + std::to_string(number);
        text.add(std::to_string(i + 1), numbers.empty() ? "0" : numbers);
    }
}

} // namespace

std::string wifOf(const Draft& draft)
{
    if (draft.shafts > mostWrittenShafts)
        throw Refusal{loadUnsupportedVariant, "the draft needs " + std::to_string(draft.shafts) +
                                                  " shafts, one that is written has at most " +
                                                  std::to_string(mostWrittenShafts)};
    const Weaving weaving = weavingOf(draft);
    Text text;
    addTexts(text, draft);
    text.begin("WEAVING");
    text.add("Shafts", weaving.shafts);
    text.add("Treadles", weaving.treadles);
    text.add("Rising Shed", "yes");
    const ColourNumbers numbers = addColours(text, draft);
    addThreads(text, "WARP", draft.warp, numbers);
    addThreads(text, "WEFT", draft.weft, numbers);
    addLists(text, "THREADING", weaving.threading);
    addLists(text, "TIEUP", weaving.tieUp);
    addLists(text, "TREADLING", weaving.treadling);
    addLists(text, "LIFTPLAN", weaving.liftPlan);
    addSingleThreads(text, "WARP", draft.warp, numbers);
    addSingleThreads(text, "WEFT", draft.weft, numbers);

    Text head;
    head.sections = std::string("[WIF]") + lineEnd;
    head.add("Version", "1.1");
    head.add("Date", "April 20, 1997");
    head.add("Developers", "wif@mhsoft.com");
    head.add("Source Program", draft.program.empty() ? "loomfile" : lineOf(draft.program));
    if (draft.program.empty())
        head.add("Source Version", LOOMFILE_VERSION);
    return head.sections + lineEnd + "[CONTENTS]" + lineEnd + text.contents + text.sections;
}
