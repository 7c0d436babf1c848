// A module has groups of 12 hooks. The hooks of a group lie one stride apart, its base says where it begins. Bases go
// up by one step until the stride is reached and begin again one hook further:
//
//   module   stride   step
//   1344     112      14      0, 112, 224 .. 1232, 14, 126 .. 1246, 28 .. 1330, 1, 113 ..
//   1536     128      16
//   3072     256      32      and then its halves take turns, 96 hooks at a time
#include "formats/loom/staubli_mapping.h"

#include <algorithm>
#include <cstring>

#include "framework/thread_state.h"

namespace
{

constexpr u32 groupHooks = 12;
constexpr u32 halfBlockHooks = 96;

u32* entriesOf(HookMap& map)
{
    return reinterpret_cast<u32*>(map.buffer.bytes);
}

// Entries that would lie outside the map are left out, and what they would have set keeps its value.
bool extendMapping(u32* map, u64 module, u64 count, bool invert, bool separateModules)
{
    const u64 total = module * count;
    Buffer buffer;
    if (total >= noHook || !buffer.allocate(total * sizeof(u32)))
        return false;
    auto* extended = reinterpret_cast<u32*>(buffer.bytes);
    std::fill_n(extended, total, noHook);
    for (u64 copy = 0; copy < count; copy++) {
        for (u64 i = 0; i < module; i++) {
            const u64 place = separateModules
                                  ? copy * module + i
                                  : i / groupHooks * (groupHooks * count) + groupHooks * copy + i % groupHooks;
            if (place < total)
                extended[place] = static_cast<u32>(copy * module + map[i]);
        }
    }
    for (u64 place = total; place-- > 0;) {
        const u32 hook = extended[place];
        if (invert && hook < total)
            map[hook] = static_cast<u32>(place);
        else if (!invert && hook != noHook)
            map[place] = hook;
    }
    return true;
}

// With the right order neighbouring ends are lifted about equally often: the longest run of such neighbours.
u64 longestRun(const HookMap& map, const u64* counts, u64 hooks, u64 threshold)
{
    u64 run = 1;
    u64 longest = 1;
    u64 left = counts[wordOfHook(hooksOf(map)[0])];
    for (u64 x = 1; x < std::min(hooks, map.columns); x++) {
        const u64 right = counts[wordOfHook(hooksOf(map)[x])];
        const u64 difference = left > right ? left - right : right - left;
        run = difference > threshold ? 1 : run + 1;
        longest = std::max(longest, run);
        left = right;
    }
    return longest;
}

u32 moduleOfSelector(i32 selector)
{
    if (selector < 2)
        return smallModule;
    return selector == 2 ? middleModule : largeModule;
}

} // namespace

void makeStaubliMapping(u32* map, i32 module)
{
    u32 hooks = largeModule;
    u32 stride = 256;
    u32 step = 32;
    if (module == smallModule) {
        hooks = smallModule;
        stride = 112;
        step = 14;
    } else if (module == middleModule) {
        hooks = middleModule;
        stride = 128;
        step = 16;
    }

    u32 hook = 0;
    u32 nextBase = 0;
    u32 column = 0;
    for (u32 x = 0; x < hooks; x++) {
        if (x % groupHooks == 0) {
            hook = nextBase;
            nextBase += step;
            if (nextBase >= stride)
                nextBase = ++column;
        }
        map[x] = hook;
        hook += stride;
    }

    if (hooks == largeModule) {
        u32 order[largeModule];
        memcpy(order, map, sizeof order);
        for (u32 i = 0; i < largeModule / 2; i++) {
            const u32 place = i + i / halfBlockHooks * halfBlockHooks;
            map[place] = order[i];
            map[place + halfBlockHooks] = order[i + largeModule / 2];
        }
    }
}

void invertStaubliMapping(u32* map, i32 module, i32 count, i32 invert, i32 separateModules)
{
    if (module > 0 && count > 0)
        extendMapping(map, static_cast<u64>(module), static_cast<u64>(count), invert != 0, separateModules != 0);
}

bool makeStraightMap(HookMap& map, u64 columns)
{
    map.columns = columns;
    if (!map.buffer.allocate(columns * sizeof(u32)))
        return false;
    for (u64 x = 0; x < columns; x++)
        entriesOf(map)[x] = static_cast<u32>(x);
    return true;
}

bool makeModuleMap(HookMap& map, u32 module, u32 count, bool separateModules)
{
    map.columns = static_cast<u64>(module) * count;
    // One module is laid out even where none is asked for.
    if (!map.buffer.allocate(std::max<u64>(map.columns, module) * sizeof(u32)))
        return false;
    makeStaubliMapping(entriesOf(map), static_cast<i32>(module));
    return extendMapping(entriesOf(map), module, count, true, separateModules);
}

bool detectModule(const TurnedPicks& turned, u32 width, u32& module)
{
    constexpr u64 picksOfDifference = 50; // one pick in so many may differ
    constexpr u32 modules[] = {smallModule, middleModule, largeModule};
    u32 qualified = 0;
    module = middleModule;
    for (u32 candidate : modules) {
        if (width % candidate == 0 && qualified++ == 0)
            module = candidate;
    }
    if (qualified < 2)
        return true;
    const auto selector = static_cast<i32>(threadState().defaultMappingJC4);
    if (selector != 0) {
        module = moduleOfSelector(selector);
        return true;
    }

    Buffer buffer;
    if (!buffer.allocate(turned.blockWords * sizeof(u64)))
        return false;
    auto* counts = reinterpret_cast<u64*>(buffer.bytes);
    countSetBits(turned, counts);
    u64 best = 0;
    for (u32 candidate : modules) {
        if (width % candidate != 0)
            continue;
        HookMap map;
        if (!makeModuleMap(map, candidate, width / candidate, false))
            return false;
        const u64 score = longestRun(map, counts, 8ull * turned.pickBytes, turned.picks / picksOfDifference);
        if (score > best) {
            best = score;
            module = candidate;
        }
    }
    return true;
}
