// Numbers for shafts and treadles as a weaver would choose them.
#pragma once

#include <vector>

#include "loomfile.h"

// For threads of so many kinds, told from 0 on in the order in which they first appear: the number of each kind, from 1
// on. Neighbours get numbers side by side as far as that goes, so that straight draws come out straight and points as
// points wherever in the draw they begin.
std::vector<u16> weaversOrder(const std::vector<u16>& kinds, u32 count);
