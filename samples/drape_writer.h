#pragma once

#include "samples/picture.h"

// A project with a region, a texture and, as its preview, this picture file.
std::vector<uint8_t> encodeDrape(const std::vector<uint8_t>& pictureFile);
