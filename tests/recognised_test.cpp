// Formats that are recognised and not read.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support.h"

TEST(Recognised, TellsFilesOfTheFormatFromOthers)
{
    const std::string nothing = "nothing known", other = "GIF89a and so on", upt("\0\0ab cd\0", 8);
    const std::tuple<u32, const char*, std::string, bool> cases[] = {
        {formatNedgraphicsDes, "a.any", "NIFF and so on", true},
        {formatNedgraphicsDes, "a.des", nothing, false},
        {formatGrosse, "a.WEA", nothing, true},
        {formatGrosse, "a.wea", other, false},
        {formatGrosse, "a.we", nothing, false},
        {formatPanter, "a.d00", nothing, true},
        {formatPanter, "a.W00", nothing, true},
        {formatPanter, "a.a00", nothing, true},
        {formatPanter, "a.d01", nothing, false},
        {formatApf, "a.apf", nothing, true},
        {formatApf, "a.apf", "short", false},
        {formatUpt, "a.any", upt, true},
        {formatUpt, "a.upt", nothing, true},
        {formatUpt, "a.upt", other, false},
        {formatUpt, "a.any", nothing, false}};
    for (const auto& [id, name, text, isKnown] : cases) {
        TestDirectory directory;
        const std::string file = directory.write(name, text);
        EXPECT_EQ(load(file, {.id = id}).status, isKnown ? loadUnsupportedVariant : loadWrongFormat) << id << name;
        EXPECT_EQ(strstr(llibGetReason(), "layout of ") != nullptr, isKnown) << llibGetReason();
        EXPECT_EQ(load(file).format == static_cast<int>(id), isKnown);
    }
}
