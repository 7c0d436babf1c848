// Weaving Information Files: text in sections, of which these count.
//
//   [WIF]        opens the file; the line behind it is not looked at for sizes
//   [CONTENTS]   Threading, Tieup, Treadling, Liftplan = yes, on, true or 1 when the section is there
//   [WEAVING]    Shafts, Treadles, Rising Shed; Shafts is also the width unless [WARP] follows
//   [WARP]       Threads = ends
//   [WEFT]       Threads = picks
//   [THREADING]  end=shaft or end=shaft,shaft
//   [TIEUP]      treadle=shaft,shaft,...
//   [TREADLING]  pick=treadle
//   [LIFTPLAN]   pick=shaft,shaft,...
//
// Ends, picks, shafts and treadles count from 1, here as in the file: 0 is none. Capitals are the same as small
// letters.
#include <sys/mman.h>

#include <string_view>

#include "framework/loader.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/rows.h"
#include "framework/thread_state.h"

namespace
{

constexpr u32 mostThreads = mostSide; // ends, and picks
constexpr u32 mostShafts = 8192;      // and treadles
constexpr i32 leastOfEach = 2;
constexpr int lineBytes = 49152;
constexpr int mostOfLine = lineBytes - 1;
constexpr int mostWifLines = 10;

constexpr u32 wordBits = 64;
constexpr u32 wordsOfShafts = mostShafts / wordBits + 1;
constexpr u32 groupShafts = 4;
constexpr u32 groupLiftings = 1 << groupShafts;
constexpr u32 mostGroupedShafts = 256; // above, a table of groups costs more than it saves
constexpr u64 strideUnit = 64;         // bytes of a row that are put together at once

// On an end's shaft or a pick's treadle: the file names more of them than are drawn.
constexpr u16 hasMore = 0x8000;
static_assert(mostShafts < hasMore);

// For the largest draft there is. Fresh memory is all zero and only what a draft uses of it is ever touched, so the
// lifts of neighbouring picks lie side by side: first the first word of all picks, then the second.
struct Draft {
    u16 threading[mostThreads + 1];
    u16 secondShaft[mostThreads + 1];
    u16 treadling[mostThreads + 1];
    u32 firstPick[mostShafts + 1]; // of each treadle
    u64 tieup[wordsOfShafts * (mostShafts + 1)];
    u32 lastLift; // the last pick of the lift plan
    u64 liftplan[wordsOfShafts * (mostThreads + 1)];
};

struct DraftMemory {
    Draft* draft = nullptr;

    DraftMemory() = default;
    DraftMemory(const DraftMemory&) = delete;
    DraftMemory& operator=(const DraftMemory&) = delete;
    ~DraftMemory();
};

DraftMemory::~DraftMemory()
{
    if (draft != nullptr)
        munmap(draft, sizeof(Draft));
}

bool allocateDraft(DraftMemory& memory)
{
    void* pages = mmap(nullptr, sizeof(Draft), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED)
        return false;
    madvise(pages, sizeof(Draft), MADV_NOHUGEPAGE);
    memory.draft = static_cast<Draft*>(pages);
    return true;
}

// What the sections of keys tell.
struct Weaving {
    i32 shafts;
    i32 treadles;
    i32 width;
    i32 height;
    bool hasThreading;
    bool hasTieup;
    bool hasTreadling;
    bool hasLiftplan;
    bool hasSinkingShed;
    u32 found; // the sections of the file, a bit for each
};

enum class Section { other, contents, weaving, warp, weft, threading, tieup, treadling, liftplan, colours, spacing };

struct SectionHeader {
    std::string_view text;
    Section section;
};

constexpr SectionHeader sectionHeaders[] = {
    {"[contents]", Section::contents},
    {"[weaving]", Section::weaving},
    {"[warp]", Section::warp},
    {"[weft]", Section::weft},
    {"[threading]", Section::threading},
    {"[tieup]", Section::tieup},
    {"[treadling]", Section::treadling},
    {"[liftplan]", Section::liftplan},
    {"[color table]", Section::colours},
    {"[color palette]", Section::colours},
    {"[warp colors]", Section::colours},
    {"[weft colors]", Section::colours},
    {"[warp spacing]", Section::spacing},
    {"[weft spacing]", Section::spacing},
    {"[warp thickness]", Section::spacing},
    {"[weft thickness]", Section::spacing},
};

bool hasKeys(Section section)
{
    return section >= Section::contents && section <= Section::weft;
}

Section sectionOf(const char* line)
{
    for (const SectionHeader& header : sectionHeaders) {
        if (strncmp(line, header.text.data(), header.text.size()) == 0)
            return header.section;
    }
    return Section::other;
}

u32 digitOf(char c)
{
    return static_cast<u32>(c - '0'); // above 9 for all that is none
}

struct Number {
    const char* end; // what follows it; null = there is none
    i32 value;
};

// As scanf and atoi read numbers, cut to 32 bits.
Number readAnyNumber(const char* text)
{
    while (isBlank(*text))
        text++;
    const bool negative = *text == '-';
    if (*text == '-' || *text == '+')
        text++;
    if (digitOf(*text) > 9)
        return {nullptr, 0};
    const u64 limit = u64{INT64_MAX} + (negative ? 1 : 0);
    u64 value = 0;
    bool tooLarge = false;
    for (; digitOf(*text) <= 9; text++) {
        tooLarge |= __builtin_mul_overflow(value, 10u, &value);
        tooLarge |= __builtin_add_overflow(value, digitOf(*text), &value);
    }
    if (tooLarge || value > limit)
        value = limit;
    return {text, static_cast<i32>(negative ? 0 - value : value)};
}

// The same, quick for what a draft holds: few digits and nothing before them.
inline Number readNumber(const char* text)
{
    u32 value = 0;
    const char* end = text;
    for (; digitOf(*end) <= 9; end++)
        value = 10 * value + digitOf(*end);
    if (end == text || end - text > 9)
        return readAnyNumber(text);
    return {end, static_cast<i32>(value)};
}

bool isWithin(i32 number, u32 most)
{
    return number >= 1 && static_cast<u32>(number) <= most;
}

void readCount(char* line, i32& count)
{
    const Number number = readNumber(removeHead(line));
    if (number.end != nullptr)
        count = number.value;
}

void readFlag(char* line, const char* key, bool& flag)
{
    if (!startsWith(line, key))
        return;
    const char* value = removeHead(line);
    flag = startsWith(value, "yes") || startsWith(value, "on") || startsWith(value, "true") || startsWith(value, "1");
}

void readShed(char* line, bool& isSinking)
{
    const char* value = strchr(line, '=');
    if (value == nullptr)
        return;
    value += strspn(value, "= \t");
    isSinking = startsWith(value, "no") || startsWith(value, "off") || startsWith(value, "false") || *value == '0';
}

constexpr u32 bitOf(Section section)
{
    return 1u << static_cast<u32>(section);
}

// What is told of all ends or picks at once is no more read than what is told of each.
void noteYarns(const char* line, u32& found)
{
    if (startsWith(line, "color"))
        found |= bitOf(Section::colours);
    else if (startsWith(line, "spacing") || startsWith(line, "thickness"))
        found |= bitOf(Section::spacing);
}

void readKeys(Section section, char* line, Weaving& weaving)
{
    switch (section) {
    case Section::contents:
        readFlag(line, "threading=", weaving.hasThreading);
        readFlag(line, "tieup=", weaving.hasTieup);
        readFlag(line, "treadling=", weaving.hasTreadling);
        readFlag(line, "liftplan=", weaving.hasLiftplan);
        break;
    case Section::weaving:
        if (startsWith(line, "shafts=")) {
            readCount(line, weaving.shafts);
            weaving.width = weaving.shafts;
        } else if (startsWith(line, "treadles=")) {
            readCount(line, weaving.treadles);
        } else if (startsWith(line, "rising shed")) {
            readShed(line, weaving.hasSinkingShed);
        }
        break;
    case Section::warp:
        if (startsWith(line, "threads="))
            readCount(line, weaving.width);
        noteYarns(line, weaving.found);
        break;
    case Section::weft:
        if (startsWith(line, "threads="))
            readCount(line, weaving.height);
        noteYarns(line, weaving.found);
        break;
    default:
        break;
    }
}

// The two numbers around a "=". Returns what follows, null when they are not there.
static const char* readPair(const char* text, i32& left, i32& right)
{
    const Number first = readNumber(text);
    if (first.end == nullptr || *first.end != '=')
        return nullptr;
    const Number second = readNumber(first.end + 1);
    left = first.value;
    right = second.value;
    return second.end;
}

// The flag, when the rest of a line goes on with one number more.
u16 moreBehind(const char* text)
{
    text = *text != 0 ? strchr(text, ',') : nullptr;
    return text != nullptr && readNumber(text + 1).value >= 1 ? hasMore : 0;
}

void readThreading(const char* line, Draft& draft)
{
    i32 end, shaft;
    const char* text = readPair(line, end, shaft);
    if (text == nullptr || !isWithin(end, mostThreads))
        return;
    u16 more = 0;
    if (*text != 0 && strchr(text, ',') != nullptr) {
        if (*text != ',')
            return;
        const Number second = readNumber(text + 1);
        if (second.end == nullptr)
            return;
        if (isWithin(second.value, mostShafts))
            draft.secondShaft[end] = static_cast<u16>(second.value);
        more = moreBehind(second.end);
    }
    if (isWithin(shaft, mostShafts))
        draft.threading[end] = static_cast<u16>(shaft | more);
}

void readTreadling(const char* line, Draft& draft)
{
    i32 pick, treadle;
    const char* text = readPair(line, pick, treadle);
    if (text != nullptr && isWithin(pick, mostThreads) && isWithin(treadle, mostShafts))
        draft.treadling[pick] = static_cast<u16>(treadle | moreBehind(text));
}

// A table of lifts has rows 0 to last. Returns the row of the line, 0 when it has none.
u32 readLifts(const char* line, u64* lifts, u32 last)
{
    const Number row = readNumber(line);
    if (row.end == nullptr || !isWithin(row.value, last))
        return 0;
    lifts += row.value;
    // The value is split at its commas, whatever stands between them. Neighbours mostly share a word.
    u32 word = 0;
    u64 bits = 0;
    const char* text = strchr(row.end, '=');
    while (text != nullptr) {
        text++;
        const Number shaft = readNumber(text);
        if (shaft.end != nullptr) {
            text = shaft.end;
            if (isWithin(shaft.value, mostShafts)) {
                const u32 shaftWord = static_cast<u32>(shaft.value) / wordBits;
                if (shaftWord != word) {
                    lifts[u64{word} * (last + 1)] |= bits;
                    word = shaftWord;
                    bits = 0;
                }
                bits |= u64{1} << shaft.value % wordBits;
            }
        }
        if (*text != ',')
            text = *text != 0 ? strchr(text, ',') : nullptr;
    }
    lifts[u64{word} * (last + 1)] |= bits;
    return static_cast<u32>(row.value);
}

void readNumbers(Section section, const char* line, Draft& draft)
{
    switch (section) {
    case Section::threading:
        readThreading(line, draft);
        break;
    case Section::treadling:
        readTreadling(line, draft);
        break;
    case Section::liftplan:
        draft.lastLift = std::max(draft.lastLift, readLifts(line, draft.liftplan, mostThreads));
        break;
    case Section::tieup:
        readLifts(line, draft.tieup, mostShafts);
        break;
    default:
        break;
    }
}

struct Reading {
    Section section;
    bool behindHeader;
    u32 found; // as a weaving has it
};

// Whether a line belongs to the section. The one behind a header always does, and is never a header itself.
bool isContent(Reading& reading, const char* line)
{
    reading.behindHeader = line[0] == '[' && !reading.behindHeader;
    if (reading.behindHeader) {
        reading.section = sectionOf(line);
        reading.found |= bitOf(reading.section);
    }
    return !reading.behindHeader;
}

// What the file has, but the drawdown does not show; and what it declares, but does not have.
void remarkOmissions(const Weaving& weaving)
{
    auto isFound = [&weaving](Section section) { return (weaving.found & bitOf(section)) != 0; };
    const struct {
        Section section;
        bool isDeclared;
        const char* name;
    } parts[] = {{Section::threading, weaving.hasThreading, "[THREADING]"},
                 {Section::tieup, weaving.hasTieup, "[TIEUP]"},
                 {Section::treadling, weaving.hasTreadling, "[TREADLING]"},
                 {Section::liftplan, weaving.hasLiftplan, "[LIFTPLAN]"}};
    bool isDrawn = false;
    for (const auto& part : parts) {
        isDrawn = isDrawn || part.isDeclared;
        if (part.isDeclared && !isFound(part.section))
            remark(Gravity::grave, "the section %s that is declared is missing", part.name);
    }
    if (!isFound(Section::contents))
        remark(Gravity::grave, "there is no [CONTENTS], without which nothing is drawn");
    else if (!isDrawn)
        remark(Gravity::grave, "[CONTENTS] declares nothing that is drawn");
    else if (!weaving.hasLiftplan && isFound(Section::liftplan))
        remark(Gravity::grave, "the lift plan is not declared in [CONTENTS] and left out");
    if (isDrawn && !weaving.hasLiftplan && !weaving.hasTieup)
        remark(Gravity::grave, "no tie-up is declared, each treadle lifts the shaft of its own number");
    if (weaving.shafts > i32{mostShafts} || (weaving.treadles > i32{mostShafts} && !weaving.hasLiftplan))
        remark(Gravity::grave, "shafts and treadles above %u are left out", mostShafts);
    if (weaving.hasSinkingShed)
        remark(Gravity::grave, "it is for a sinking shed, whose lowered ends are drawn as raised");
    if (isFound(Section::colours))
        remark(Gravity::harmless, "colours are not read");
    if (isFound(Section::spacing))
        remark(Gravity::harmless, "the spacing and thickness of threads are not read");
}

// Leaves the last line, empty when the file ends with a line end, in line. The draft may be null. Keys count behind the
// line that ends the leading [WIF] lines, numbers from the first line on: two readings, done side by side.
LoadStatus readWif(FILE* stream, char* line, Weaving& weaving, Draft* draft)
{
    Reading keys{};
    Reading numbers{};
    int wifLines = 0;
    bool leading = true;
    while (feof(stream) == 0) {
        // Null is an empty line here, unless the file has ended.
        if (fgetsDosMac(line, lineBytes, stream) == nullptr && ferror(stream) != 0)
            break;
        // Numbers have no capitals.
        if (line[0] == '[' || hasKeys(keys.section))
            stringToLower(line);
        if (draft != nullptr && isContent(numbers, line))
            readNumbers(numbers.section, line, *draft);
        if (leading) {
            leading = startsWith(line, "[wif]");
            if (leading && ++wifLines > mostWifLines)
                return refuse(loadWrongFormat, "it begins with more than %d lines of [WIF]", mostWifLines);
        } else if (isContent(keys, line)) {
            readKeys(keys.section, line, weaving);
        }
    }
    weaving.found |= keys.found | numbers.found;
    return loadSuccess;
}

// Ends that the file does not name hang on the shaft of their own number. Returns the highest shaft in use.
u32 completeThreading(Draft& draft, u32 width)
{
    u32 highest = 0;
    u32 unnamed = 0;
    u32 shortened = 0;
    for (u32 end = 1; end <= width; end++) {
        u16& shaft = draft.threading[end];
        if (shaft == 0) {
            unnamed++;
            if (end <= mostShafts)
                shaft = static_cast<u16>(end);
        } else if (shaft >= hasMore) {
            shortened++;
            shaft -= hasMore;
        }
        highest = std::max<u32>({highest, shaft, draft.secondShaft[end]});
    }
    remarkCount(Gravity::grave, unnamed, "ends without a shaft are threaded straight");
    remarkCount(Gravity::grave, shortened, "ends on more than two shafts are threaded on the first two");
    return highest;
}

void addRow(u64* __restrict row, const u64* __restrict other, u64 words)
{
    for (u64 i = 0; i < words; i++)
        row[i] |= other[i];
}

// For every group of four neighbouring shafts and each of its sixteen liftings the row of ends that it raises: a pick
// is then put together from one row a group.
struct GroupTable {
    Buffer memory;
    u64 rowWords;
    u32 groups;
};

u64* groupRow(const GroupTable& table, u32 group, u32 lifting)
{
    return reinterpret_cast<u64*>(table.memory.bytes) + (u64{group} * groupLiftings + lifting) * table.rowWords;
}

bool makeGroupTable(GroupTable& table, const Draft& draft, u32 width, u32 highestShaft)
{
    table.groups = highestShaft / groupShafts + 1;
    table.rowWords = ((u64{width} + 7) / 8 + strideUnit - 1) / strideUnit * (strideUnit / sizeof(u64));
    if (!table.memory.allocate(table.groups * groupLiftings * table.rowWords * sizeof(u64)))
        return false;
    for (u32 end = 1; end <= width; end++) {
        for (u32 shaft : {draft.threading[end], draft.secondShaft[end]}) {
            auto* row = reinterpret_cast<u8*>(groupRow(table, shaft / groupShafts, 1u << shaft % groupShafts));
            row[(end - 1) / 8] |= static_cast<u8>(0x80 >> (end - 1) % 8);
        }
    }
    for (u32 group = 0; group < table.groups; group++) {
        for (u32 lifting = 1; lifting < groupLiftings; lifting++) {
            const u32 others = lifting & (lifting - 1);
            if (others == 0)
                continue;
            addRow(groupRow(table, group, lifting), groupRow(table, group, others), table.rowWords);
            addRow(groupRow(table, group, lifting), groupRow(table, group, lifting - others), table.rowWords);
        }
    }
    return true;
}

// Clears what follows the row up to a whole unit: rows are drawn downwards, and behind the last one there is room.
void drawByGroups(const GroupTable& table, const u64* lifted, u8* row, u64 rowBytes)
{
    const u64* raised[mostGroupedShafts / groupShafts + 1];
    u32 count = 0;
    for (u32 group = 0; group < table.groups; group++) {
        constexpr u32 groupsOfWord = wordBits / groupShafts;
        const u32 lifting = lifted[group / groupsOfWord] >> group % groupsOfWord * groupShafts & (groupLiftings - 1);
        raised[count] = groupRow(table, group, lifting);
        count += lifting != 0 ? 1 : 0;
    }
    for (u64 done = 0; done < rowBytes; done += strideUnit) {
        u64 pixels[strideUnit / sizeof(u64)] = {};
        for (u32 i = 0; i < count; i++)
            addRow(pixels, raised[i] + done / sizeof(u64), strideUnit / sizeof(u64));
        memcpy(row + done, pixels, sizeof pixels);
    }
}

void drawByEnds(const Draft& draft, const u64* lifted, u32 width, u8* row)
{
    for (u32 end = 1; end <= width; row++) {
        u32 pixels = 0;
        for (u32 mask = 0x80; mask != 0 && end <= width; mask >>= 1, end++) {
            const u32 first = draft.threading[end];
            const u32 second = draft.secondShaft[end];
            const u64 raised =
                lifted[first / wordBits] >> first % wordBits | lifted[second / wordBits] >> second % wordBits;
            pixels |= (raised & 1) != 0 ? mask : 0;
        }
        *row = static_cast<u8>(pixels);
    }
}

// Rows are too short for the way compilers copy blocks of unknown size.
void copyRow(u8* row, const u8* source, u64 rowBytes)
{
    if (rowBytes < strideUnit) {
        memcpy(row, source, rowBytes);
        return;
    }
    const u64 last = rowBytes - strideUnit;
    for (u64 done = 0; done < last; done += strideUnit)
        memcpy(row + done, source + done, strideUnit);
    memcpy(row + last, source + last, strideUnit);
}

void copyLifts(u64* lifted, const u64* lifts, u32 last, u32 row, u32 words)
{
    for (u32 i = 0; i < words; i++)
        lifted[i] = lifts[u64{i} * (last + 1) + row];
}

// Draws into an empty image that has room for strideUnit more bytes. False when memory does not suffice.
bool drawDrawdown(const Weaving& weaving, Draft& draft, u8* image, u64 rowBytes)
{
    if (!weaving.hasLiftplan && !weaving.hasTreadling && !weaving.hasTieup && !weaving.hasThreading)
        return true;
    const auto width = static_cast<u32>(weaving.width);
    const auto height = static_cast<u32>(weaving.height);
    const u32 highestShaft = completeThreading(draft, width);
    const u32 words = highestShaft / wordBits + 1;
    const bool byGroups = highestShaft <= mostGroupedShafts;
    GroupTable table{};
    if (byGroups && !makeGroupTable(table, draft, width, highestShaft))
        return false;

    u32 unnamed = 0;
    u32 shortened = 0;
    u8* row = image;
    for (u32 pick = 1; pick <= height; pick++, row += rowBytes) {
        u64 lifted[wordsOfShafts];
        if (weaving.hasLiftplan) {
            copyLifts(lifted, draft.liftplan, mostThreads, pick, words);
        } else {
            u32 treadle = draft.treadling[pick] % hasMore;
            shortened += draft.treadling[pick] / hasMore;
            if (treadle == 0) {
                treadle = pick;
                unnamed++;
            }
            if (treadle > mostShafts)
                continue;
            u32& firstPick = draft.firstPick[treadle];
            if (firstPick != 0) {
                copyRow(row, image + (firstPick - 1) * rowBytes, rowBytes);
                continue;
            }
            firstPick = pick;
            copyLifts(lifted, draft.tieup, mostShafts, treadle, words);
            // Without a tie-up a treadle lifts the shaft of its own number, as far as the draft has threads.
            if (!weaving.hasTieup && treadle <= highestShaft && treadle <= std::max(width, height) + 1)
                lifted[treadle / wordBits] |= u64{1} << treadle % wordBits;
        }
        if (std::all_of(lifted, lifted + words, [](u64 word) { return word == 0; }))
            continue;
        if (byGroups)
            drawByGroups(table, lifted, row, rowBytes);
        else
            drawByEnds(draft, lifted, width, row);
    }
    if (weaving.hasLiftplan && draft.lastLift < height)
        remarkCount(Gravity::grave, height - draft.lastLift, "picks behind the last one of the lift plan are clear");
    remarkCount(Gravity::grave, unnamed, "picks without a treadle are treadled straight");
    remarkCount(Gravity::grave, shortened, "picks with more than one treadle are treadled with the first");
    return true;
}

// Tells the sizes, also those that it refuses.
LoadStatus judgeSizes(Weaving& weaving, const char* lastLine, ImageInfo& image)
{
    image.width = static_cast<u32>(weaving.width);
    image.height = static_cast<u32>(weaving.height);
    if (weaving.shafts < leastOfEach || weaving.treadles < leastOfEach)
        return refuse(loadWrongFormat, "[WEAVING] tells %d shafts and %d treadles", weaving.shafts, weaving.treadles);
    if (weaving.width < leastOfEach || weaving.height < leastOfEach)
        return refuse(loadWrongFormat, "[WARP] and [WEFT] tell %d ends and %d picks", weaving.width, weaving.height);

    // A last line without a line end that holds two numbers tells the size once more.
    const Number width = readNumber(lastLine);
    const Number height = width.end != nullptr ? readNumber(width.end) : width;
    if (height.end != nullptr) {
        weaving.width = width.value;
        weaving.height = height.value;
    }
    image.width = static_cast<u32>(weaving.width);
    image.height = static_cast<u32>(weaving.height);
    if (!isWithin(weaving.width, mostThreads) || !isWithin(weaving.height, mostThreads))
        return refuse(loadWrongFormat, "it tells %d ends and %d picks", weaving.width, weaving.height);
    return loadSuccess;
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "wif"))
        return refuseName("wif");
    image.width = image.height = 0;
    release(threadState().loom.wif);

    File file;
    LoadStatus status = openFile(request.path, file);
    if (status != loadSuccess)
        return status;
    Buffer line;
    if (!line.allocate(lineBytes + 1))
        return refuseMemory();
    char* text = reinterpret_cast<char*>(line.bytes);
    const bool wantsPicture = request.wantPalette != 0;
    // The sizes are judged first even when there is no room for the draft.
    DraftMemory memory;
    const bool hasRoom = !wantsPicture || allocateDraft(memory);
    Weaving weaving{};
    // Locked once, or every line would pay for it.
    flockfile(file.stream);
    status = readWif(file.stream, text, weaving, memory.draft);
    funlockfile(file.stream);
    if (status == loadSuccess)
        status = judgeSizes(weaving, text, image);
    if (status != loadSuccess)
        return status;
    if (text[mostOfLine - 1] != 0)
        remark(Gravity::grave, "lines are cut behind %d characters", mostOfLine);
    remarkOmissions(weaving);

    const u32 rowBytes = bilevelRowBytes(image.width);
    Buffer rows;
    if (wantsPicture) {
        if (!hasRoom || !rows.allocate(u64{rowBytes} * image.height + strideUnit) ||
            !drawDrawdown(weaving, *memory.draft, rows.bytes, rowBytes))
            return refuseMemory();
    }
    reportBilevel(image, image.width, image.height, "WIF weave", loomOrientation);
    handOver(rows, threadState().loom.wif, image.height, rowBytes);
    return loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.wif, rows, count, bytesPerRow, BitOrder::asStored);
}

LoadStatus endLoad()
{
    release(threadState().loom.wif);
    return loadSuccess;
}

} // namespace

void registerLoadWIF()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
