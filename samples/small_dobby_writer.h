// Bilevel pictures for dobbies and card machines. What a header holds besides the sizes is zeros. An empty result says
// that the format has no such size.
#pragma once

#include "samples/picture.h"

// 40 shafts; the digits above 9 are letters.
std::vector<uint8_t> encodeNissan(const Picture& picture, bool capitals = true);
// 64 pixels wide or more.
std::vector<uint8_t> encodeViable(const Picture& picture);
// 40 shafts, in blocks of up to 32 picks, the last block first if asked.
std::vector<uint8_t> encodePignone(const Picture& picture, uint32_t picksOfBlock = 32, bool lastFirst = false);
// 32 pixels wide, of which the last 12 hold two numbers: of these rows only those that such numbers make can be told.
std::vector<uint8_t> encodeTongYuan(const Picture& picture);
std::vector<uint8_t> encodeAvl(const Picture& picture);
