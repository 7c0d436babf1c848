// A draft as a weaver writes it: which shafts an end lies on, which are lifted for a pick, and the yarns.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "loomfile.h"

// Shafts or treadles, from 1 on, ascending and each once.
using NumberList = std::vector<u16>;

struct Colour {
    u8 red = 0, green = 0, blue = 0;

    bool operator==(const Colour&) const = default;
};

// The ends or the picks.
struct Threads {
    u32 count = 0;
    std::vector<Colour> colours; // one a thread; empty = the draft tells of no colours
    std::vector<double> spacing; // centimetres from a thread's middle to the next one's, one a thread; empty = unknown
    std::vector<double> thickness; // centimetres, one a thread; empty = unknown
};

struct Draft {
    u32 shafts = 0;
    u32 treadles = 0; // 0 when there is a lift plan only
    Threads warp, weft;
    std::vector<NumberList> threading;         // the shafts of each end; none = not threaded
    std::vector<NumberList> tieUp;             // the shafts of each treadle
    std::vector<NumberList> treadling;         // the treadles of each pick; empty altogether when liftPlan is used
    std::vector<NumberList> liftPlan;          // the shafts of each pick; empty altogether when the treadles are used
    bool isSinking = false;                    // the shafts named by tie-up or lift plan go down, all others up
    bool isExtracted = false;                  // found out from a picture
    std::string title, author, notes, program; // UTF-8; empty = unknown

    u32 ends() const { return warp.count; }
    u32 picks() const { return weft.count; }
    bool hasLiftPlan() const { return !liftPlan.empty(); }
    bool hasColours() const { return !warp.colours.empty() && !weft.colours.empty(); }
};

// Limits of what is read and made.
constexpr u32 mostDraftThreads = 65520;
constexpr u32 mostDraftShafts = 8192; // and treadles

// The shafts that are up for a pick, counted from 0: bit shaft - 1 of the words.
std::vector<u64> liftedShafts(const Draft& draft, u32 pick);

// Rows of the drawdown, a bit an end, the first end in the highest bit: 1 = the warp is up. Bits behind the last end
// are clear. An end is up when any shaft of it is up; one that is not threaded stays down.
void drawRows(const Draft& draft, u32 firstPick, u32 count, u8* rows, u32 stride);

// Threads a centimetre; 0 = unknown.
double threadsPerCentimetre(const Threads& threads);
