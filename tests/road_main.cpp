// Runs tests as on a processor that has fewer instructions: "gfni" or "everything" is taken away.
#include <cstring>

#include <gtest/gtest.h>

#include "framework/processor.h"

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    processorFeatures &= argc > 1 && strcmp(argv[1], "gfni") == 0 ? ~u32{processorGfni} : 0;
    return RUN_ALL_TESTS();
}
