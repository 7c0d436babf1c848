// What the library shows to the outside.
#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "tests/support.h"

extern "C" int formatByC(const char* path);

TEST(Interface, ExportsWhatTheHeaderDeclaresAndNothingElse)
{
    std::set<std::string> declared;
    std::ifstream header(TLOAD_HEADER);
    for (std::string text; std::getline(header, text);) {
        if (text.starts_with("TLOAD_API ")) {
            std::string upToName = text.substr(0, text.find('('));
            declared.insert(upToName.substr(upToName.find_last_of(" *") + 1));
        }
    }

    std::set<std::string> exported;
    FILE* pipe = popen("nm -D --defined-only --format=posix " TLOAD_LIBRARY, "r");
    ASSERT_NE(pipe, nullptr);
    char line[1000];
    while (fgets(line, sizeof line, pipe) != nullptr)
        exported.insert(std::string(line).substr(0, std::string(line).find(' ')));
    EXPECT_EQ(pclose(pipe), 0);
    EXPECT_EQ(exported, declared);
}

TEST(Interface, WorksFromC)
{
    TestDirectory directory;
    EXPECT_EQ(formatByC(directory.write("a.bmp", "12345678").c_str()), 23);
}
