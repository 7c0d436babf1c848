// What the library shows to the outside.
#include <gtest/gtest.h>

#include "tests/support.h"

extern "C" int formatByC(const char* path);

TEST(Interface, ExportsWhatTheHeaderDeclaresAndNothingElse)
{
    EXPECT_EQ(exportedNames(TLOAD_LIBRARY), declaredNames(TLOAD_HEADER, "TLOAD_API "));
}

TEST(Interface, WorksFromC)
{
    TestDirectory directory;
    EXPECT_EQ(formatByC(directory.write("a.bmp", "12345678").c_str()), 23);
}
