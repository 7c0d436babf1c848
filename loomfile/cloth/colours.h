// The yarns of lifts that tell no colours.
#pragma once

#include <array>

#include "tload.h"

constexpr std::array<u8, 3> usualWarp = {38, 52, 104};   // indigo
constexpr std::array<u8, 3> usualWeft = {243, 231, 206}; // cream
