#pragma once

#include "samples/picture.h"

// Bilevel pictures for Chinese controllers. What a header holds besides the sizes is zeros. An empty result says that
// the format has no such size: Varitex, WBF and WB want whole bytes a row, WB rows of 16 pixels.
std::vector<uint8_t> encodeVaritex(const Picture& picture);
std::vector<uint8_t> encodeZhuPat(const Picture& picture);
// The file is filled up to whole pages.
std::vector<uint8_t> encodeZhuSti(const Picture& picture);
// The header tells the width as so many times a number, 1 to 255, and is a row long.
std::vector<uint8_t> encodeWbf(const Picture& picture, uint8_t times = 8);
std::vector<uint8_t> encodeWb(const Picture& picture);
// A lift is stored as this byte.
std::vector<uint8_t> encodeOrg(const Picture& picture, uint8_t lift = 1);
