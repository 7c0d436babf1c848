// What the library shows to the outside.
#include <gtest/gtest.h>

#include "tests/support.h"

TEST(Interface, ExportsWhatTheHeaderDeclaresAndNothingElse)
{
    EXPECT_EQ(exportedNames(TLOAD_LIBRARY), declaredNames(TLOAD_HEADER, "TLOAD_API "));
}
