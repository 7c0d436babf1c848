#pragma once

#include <string>

#include "samples/picture.h"

// Cards of bilevel pictures for the controllers JC III and JC4. An empty result says that picture and options do not
// fit.
struct CardOptions {
    uint32_t module = 1344;       // hooks, of which the width is a multiple: 1344, 1536, 3072; 0: hooks in order
    std::string name = "MOTIF";   // 16 characters are stored
    uint32_t picksPerPart = 1000; // as JC III tells it
};

// Where fields lie, for callers that patch them: 0 width, 2 name, 20 length of the picks, 34 to 36 limited bytes, 64
// picks. Those of the mail begin at 512, and its picks at 9216.
std::vector<uint8_t> encodeJc4(const Picture& picture, const CardOptions& options = {});
std::vector<uint8_t> encodeJc4Email(const Picture& picture, const CardOptions& options = {});
// The picks alone.
std::vector<uint8_t> encodeJc4Network(const Picture& picture, const CardOptions& options = {});
// The hooks stay in order.
std::vector<uint8_t> encodeJc4Loom(const Picture& picture, const CardOptions& options = {});
// 1 width, 5 name, 21 height, 66 picks of a part, 512 picks; the width is a multiple of 1344.
std::vector<uint8_t> encodeJc3(const Picture& picture, const CardOptions& options = {});

constexpr size_t jc4PicksStart = 64;
constexpr size_t jc4EmailPicksStart = 9216;
constexpr size_t jc3PicksStart = 512;

// Cuts cards into parts of so many bytes of picks, the last as long as the rest; each begins with the header of all.
std::vector<std::vector<uint8_t>> cutCards(const std::vector<uint8_t>& cards, size_t picksStart, size_t partBytes);
