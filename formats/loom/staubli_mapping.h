// The hook order of the Staubli controllers, and how the module of a design is found.
#pragma once

#include "framework/turned_picks.h"

constexpr u32 smallModule = 1344;
constexpr u32 middleModule = 1536;
constexpr u32 largeModule = 3072;

// Column by column as the hooks are counted.
bool makeStraightMap(HookMap& map, u64 columns);
// The order of count modules that stand side by side or take turns. Both false when memory does not suffice.
bool makeModuleMap(HookMap& map, u32 module, u32 count, bool separateModules);

// The module of the thread's setting or of the picks themselves where the width allows several. False when memory does
// not suffice.
bool detectModule(const TurnedPicks& turned, u32 width, u32& module);
