// Instructions that not every processor has, for loops over many bytes. Each such loop has a plain one beside it with
// the same results, and what it can do is looked up here alone, so that tests can take instructions away and run both.
#pragma once

#include "tload.h"

enum ProcessorFeature : u32 {
    processorSsse3 = 1U << 0,
    processorAvx2 = 1U << 1,
    processorGfni = 1U << 2,
    processorPclmul = 1U << 3,
};

// What the processor has, a bit for each: set when the library is loaded, and never changed by it.
extern u32 processorFeatures;

inline bool processorHas(ProcessorFeature feature)
{
    return (processorFeatures & feature) != 0;
}
