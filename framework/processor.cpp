#include "framework/processor.h"

static u32 findFeatures()
{
    u32 features = 0;
#if defined(__x86_64__)
    __builtin_cpu_init();
    features |= __builtin_cpu_supports("ssse3") ? processorSsse3 : 0U;
    features |= __builtin_cpu_supports("avx2") ? processorAvx2 : 0U;
    features |= __builtin_cpu_supports("gfni") ? processorGfni : 0U;
    features |= __builtin_cpu_supports("pclmul") ? processorPclmul : 0U;
#endif
    return features;
}

u32 processorFeatures = findFeatures();
