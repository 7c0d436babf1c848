// One woven motif, drawn by code at any size: a bird on a flowering branch within a lattice border. No side of it
// resembles another and an F stands in its first corner, so that a flipped, shifted or miscoloured picture shows.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

constexpr uint32_t motifColours = 16;

// The palette of an indexed motif: first the 16 colours of the yarns, then, for every further 16, the same in lighter
// and darker shades.
std::vector<uint8_t> motifPalette(uint32_t colours);

// The pixel at (x, y) of a motif of width x height. With less than 16 colours each yarn is replaced by the nearest.
uint8_t motifIndex(uint32_t x, uint32_t y, uint32_t width, uint32_t height, uint32_t colours = motifColours);
// Smoothly shaded.
std::array<uint8_t, 3> motifRgb(uint32_t x, uint32_t y, uint32_t width, uint32_t height);
// The same without its ground.
std::array<uint8_t, 4> motifRgba(uint32_t x, uint32_t y, uint32_t width, uint32_t height);
// The motif as a weave, each yarn colour in a binding of its own: true is a lifted end, the dark pixel.
bool motifDark(uint32_t x, uint32_t y, uint32_t width, uint32_t height);
