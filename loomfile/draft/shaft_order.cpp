#include "loomfile/draft/shaft_order.h"

#include <algorithm>
#include <numeric>

namespace
{

// Kinds in the order of their numbers.
using Order = std::vector<u16>;

constexpr u64 mostWork = 1 << 22; // neighbours looked at while an order is improved
constexpr u32 drawShift = 25;     // more bits than the steps of all threads add up to

// Two kinds that lie side by side somewhere, and how often.
struct Neighbours {
    u16 one;
    u16 other;
    u32 times;
};

struct Draw {
    u32 count;
    std::vector<Neighbours> neighbours; // in the order in which they first appear
    std::vector<u64> stepCosts;         // by the difference of the numbers
};

Draw drawOf(const std::vector<u16>& kinds, u32 count)
{
    Draw draw{count, {}, {}};
    std::vector<u32> places(u64{count} * count); // in the list, from 1 on
    for (size_t i = 1; i < kinds.size(); i++) {
        const auto [low, high] = std::minmax(kinds[i - 1], kinds[i]);
        if (low == high)
            continue;
        u32& place = places[u64{low} * count + high];
        if (place == 0) {
            draw.neighbours.push_back({low, high, 0});
            place = static_cast<u32>(draw.neighbours.size());
        }
        draw.neighbours[place - 1].times++;
    }
    // A draw that begins anew is one step, from the last shaft to the first. Among orders that are rotations of each
    // other the one with the fewest new beginnings is best.
    for (u64 difference = 0; difference < count; difference++)
        draw.stepCosts.push_back(std::min(difference, count - difference) << drawShift | difference);
    return draw;
}

u64 costOf(const Draw& draw, const Order& order)
{
    std::vector<u32> numbers(draw.count);
    for (u32 i = 0; i < draw.count; i++)
        numbers[order[i]] = i;
    u64 cost = 0;
    for (const Neighbours& pair : draw.neighbours) {
        const auto [low, high] = std::minmax(numbers[pair.one], numbers[pair.other]);
        cost += pair.times * draw.stepCosts[high - low];
    }
    return cost;
}

// Joins the kinds that are neighbours most often, while each has two neighbours at most and none come full circle.
Order chainOf(const Draw& draw)
{
    std::vector<Neighbours> sorted = draw.neighbours;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const Neighbours& a, const Neighbours& b) { return a.times > b.times; });
    std::vector<Order> joined(draw.count);
    std::vector<u16> chains(draw.count); // by which a kind's chain is known
    std::iota(chains.begin(), chains.end(), u16{0});
    for (const Neighbours& pair : sorted) {
        const u16 kept = chains[pair.one];
        const u16 taken = chains[pair.other];
        if (kept == taken || joined[pair.one].size() == 2 || joined[pair.other].size() == 2)
            continue;
        joined[pair.one].push_back(pair.other);
        joined[pair.other].push_back(pair.one);
        std::replace(chains.begin(), chains.end(), taken, kept);
    }
    Order order;
    std::vector<bool> isTaken(draw.count);
    for (u32 first = 0; first < draw.count; first++) {
        if (isTaken[first] || joined[first].size() == 2)
            continue;
        for (u32 kind = first; kind < draw.count;) {
            isTaken[kind] = true;
            order.push_back(static_cast<u16>(kind));
            const auto next =
                std::find_if(joined[kind].begin(), joined[kind].end(), [&](u16 other) { return !isTaken[other]; });
            kind = next != joined[kind].end() ? *next : draw.count;
        }
    }
    return order;
}

// Turns parts round and moves single kinds while that makes the steps smaller and the work stays bearable.
Order improved(const Draw& draw, Order order)
{
    u64 best = costOf(draw, order);
    u64 work = 0;
    auto isBetter = [&](const Order& changed) {
        work += draw.neighbours.size() + draw.count;
        const u64 cost = costOf(draw, changed);
        if (cost >= best)
            return false;
        best = cost;
        order = changed;
        return true;
    };
    for (bool goesOn = true; goesOn && work < mostWork;) {
        goesOn = false;
        for (u32 i = 0; i < draw.count && work < mostWork; i++) {
            for (u32 j = i + 1; j < draw.count; j++) {
                const auto first = static_cast<std::ptrdiff_t>(i), last = static_cast<std::ptrdiff_t>(j) + 1;
                Order changed = order;
                std::reverse(changed.begin() + first, changed.begin() + last);
                goesOn = isBetter(changed) || goesOn;
                changed = order;
                std::rotate(changed.begin() + first, changed.begin() + first + 1, changed.begin() + last);
                goesOn = isBetter(changed) || goesOn;
                changed = order;
                std::rotate(changed.begin() + first, changed.begin() + last - 1, changed.begin() + last);
                goesOn = isBetter(changed) || goesOn;
            }
        }
    }
    return order;
}

bool beginsDownwards(const std::vector<u16>& kinds, const Order& order)
{
    const auto second = std::find_if(kinds.begin(), kinds.end(), [&](u16 kind) { return kind != kinds.front(); });
    return second != kinds.end() &&
           std::find(order.begin(), order.end(), *second) < std::find(order.begin(), order.end(), kinds.front());
}

} // namespace

std::vector<u16> weaversOrder(const std::vector<u16>& kinds, u32 count)
{
    const Draw draw = drawOf(kinds, count);
    Order best(count);
    std::iota(best.begin(), best.end(), u16{0});
    u64 least = costOf(draw, best);
    auto isStep = [](const Neighbours& pair) { return pair.other - pair.one == 1; };
    if (!std::all_of(draw.neighbours.begin(), draw.neighbours.end(), isStep)) {
        for (Order order : {improved(draw, chainOf(draw)), improved(draw, best)}) {
            for (u32 turn = 0; turn < count; turn++) {
                std::rotate(order.begin(), order.begin() + 1, order.end());
                const u64 cost = costOf(draw, order);
                if (cost < least) {
                    least = cost;
                    best = order;
                }
            }
        }
        if (beginsDownwards(kinds, best))
            std::reverse(best.begin(), best.end());
    }
    std::vector<u16> numbers(count);
    for (u32 i = 0; i < count; i++)
        numbers[best[i]] = static_cast<u16>(i + 1);
    return numbers;
}
