#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

// Colours are R, G, B triples.

std::vector<uint8_t> encodeJascPalette(const std::vector<uint8_t>& colours);
// columns 0 writes no such line.
std::vector<uint8_t> encodeGimpPalette(const std::vector<uint8_t>& colours, uint32_t columns = 0);
std::vector<uint8_t> encodeColourList(const std::vector<uint8_t>& colours);

// A space and four components, as they are stored. Version 2 gives every colour a name.
using AcoRecord = std::array<uint16_t, 5>;
std::vector<uint8_t> encodeAco(const std::vector<AcoRecord>& records, uint16_t version = 1);
std::vector<AcoRecord> acoRecords(const std::vector<uint8_t>& colours);

// components: three bytes a colour, four in space 2.
std::vector<uint8_t> encodeAcb(const std::vector<uint8_t>& components, uint16_t space = 0, uint16_t columns = 7);
