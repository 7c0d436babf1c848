// Formats that are recognised and not read.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support.h"

TEST(Recognised, TellsFilesOfTheFormatFromOthers)
{
    const std::string nothing = "nothing known", other = "GIF89a and so on", upt("\0\0ab cd\0", 8);
    const std::tuple<u32, const char*, std::string, bool> cases[] = {
        {58, "a.any", "NIFF and so on", true}, {58, "a.des", nothing, false}, {18, "a.WEA", nothing, true},
        {18, "a.wea", other, false},           {18, "a.we", nothing, false},  {55, "a.d00", nothing, true},
        {55, "a.W00", nothing, true},          {55, "a.a00", nothing, true},  {55, "a.d01", nothing, false},
        {46, "a.apf", nothing, true},          {46, "a.apf", "short", false}, {41, "a.any", upt, true},
        {41, "a.upt", nothing, true},          {41, "a.upt", other, false},   {41, "a.any", nothing, false}};
    for (const auto& [id, name, text, isKnown] : cases) {
        TestDirectory directory;
        const std::string file = directory.write(name, text);
        EXPECT_EQ(load(file, {.id = id}).status, isKnown ? loadUnsupportedVariant : loadWrongFormat) << id << name;
        EXPECT_EQ(strstr(llibGetReason(), "layout of ") != nullptr, isKnown) << llibGetReason();
        EXPECT_EQ(load(file).format == static_cast<int>(id), isKnown);
    }
}
