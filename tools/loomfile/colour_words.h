#pragma once

#include <array>
#include <optional>
#include <string>

#include "loomfile.h"

using Rgb = std::array<u8, 3>;

// "#2a3c68", "2a3c68" or a word such as "navy", in any case; none for others.
std::optional<Rgb> colourCalled(const std::string& text);
