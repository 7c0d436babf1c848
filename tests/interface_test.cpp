// What the library shows to the outside.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "tests/support.h"

extern "C" int formatByC(const char* path);

TEST(Interface, ExportsWhatTheHeaderDeclaresAndNothingElse)
{
    std::set<std::string> declared;
    std::stringstream header;
    header << std::ifstream(TLOAD_HEADER).rdbuf();
    std::string text = header.str();
    std::regex declaration(R"(TLOAD_API[^;(]*?(\w+)\()");
    for (std::sregex_iterator match(text.begin(), text.end(), declaration), end; match != end; ++match)
        declared.insert((*match)[1]);
    EXPECT_EQ(declared.size(), 128u);

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
