// What the file of a draft tells, as it stands there: the sizes may come behind the lists, so that what contradicts is
// found when all is known.
#pragma once

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "loomfile/draft/draft.h"
#include "loomfile/remark.h"

using Remarks = std::vector<Remark>;

// Where something stands: "line 12, [THREADING]: "
std::string placeText(u32 line, std::string_view section);

struct Place {
    u32 line = 0;
    u32 index = 0;  // of the end, pick or treadle
    u32 number = 0; // told of it
};

// The shafts or treadles of each thread or treadle.
struct NumberTable {
    std::string section; // as the file calls it
    const char* item;    // "end"
    const char* member;  // "shaft"
    u32 mostItems;
    std::vector<NumberList> lists = {};
    u32 lastTold = 0;        // the highest index, also of an empty list; 0 = the table is not there
    u32 lastLine = 0;        // in which it stands
    Place last = {};         // the highest index of a list that is not empty
    Place highest = {};      // the highest number
    std::string doubt = {};  // what is told twice, differently
    std::string damage = {}; // what is no list

    bool isThere() const { return lastTold != 0; }
    bool hasNumbers() const { return last.index != 0; }
};

// Takes a list such as "3,4" of an index from 1 on. Zeros stand for nothing.
void tellNumbers(NumberTable& table, u32 line, u32 index, std::string_view list);
// The same of numbers in any order.
void tellNumbers(NumberTable& table, u32 line, u32 index, NumberList numbers);

struct Count {
    std::string section; // that tells it
    const char* name;    // "shafts"
    u32 most;
    u32 number = 0; // 0 = not told
    u32 line = 0;
};

// Red, green and blue in a range of the file's.
using RawColour = std::array<u32, 3>;

// A colour of the table, or by itself where the table does not have it.
struct ColourChoice {
    u32 line = 0; // 0 = not told
    std::optional<u32> number = {};
    std::optional<RawColour> own = {};
};

// In one unit, 0 = not told.
struct Lengths {
    double usual = 0; // of threads that are not in the list
    std::vector<double> told = {};
};

// What is told of the ends or picks. Lists have no more places than the threads that are told of.
struct ThreadParts {
    Count count;
    const char* item; // "end"
    std::string colourSection;
    ColourChoice colour = {}; // of threads that are not in the list
    std::vector<ColourChoice> colours = {};
    Lengths spacing = {}, thickness = {};
    double unit = 1; // centimetres
};

// The place of a thread, from 1 on, in one of the lists above. Those that no draft has share one place.
template <typename Value>
Value& placeOfThread(std::vector<Value>& list, u32 thread)
{
    const u32 place = std::min(thread, mostDraftThreads + 1);
    if (place > list.size())
        list.resize(place);
    return list[place - 1];
}

struct DraftParts {
    NumberTable threading, tieUp, treadling, liftPlan;
    Count shafts, treadles;
    ThreadParts warp, weft;
    std::string tableSection;                                  // of the colours
    std::map<u32, std::pair<u32, RawColour>> colourTable = {}; // with the line of each
    std::optional<std::pair<u32, u32>> colourRange = {};       // from dark to light
    bool usesLiftPlan = false;
    bool isSinking = false;
    std::string title = {}, author = {}, notes = {}, program = {};
};

// The draft. Throws Refusal when it cannot be known.
Draft assembleDraft(DraftParts parts, Remarks& remarks);
