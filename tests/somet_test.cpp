#include "samples/somet_writer.h"

#include <gtest/gtest.h>

#include "tests/card_support.h"

static Bytes bytesOf(const std::string& hex)
{
    Bytes bytes;
    for (size_t i = 0; i < hex.size(); i += hex[i] == ' ' ? 1 : 2)
        if (hex[i] != ' ')
            bytes.push_back(static_cast<u8>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return bytes;
}

TEST(Somet, ReadsRecords)
{
    TestDirectory directory;
    // Settings hold until they are replaced, what is nearly a setting or a repeat is a pick.
    const Bytes dop =
        bytesOf("0102005001 0100003000 0408015000 1020045000 4080055000 0102005002 0200007000 0301015001 0000003000");
    EXPECT_EQ(load(directory.write("x.dop", withSometHeader(dop, false))).pixels(),
              bytesOf("8000000C00 804080000000000000 8040000A40 804080201008040201 C080800A80 804080201008040201 "
                      "C080800A80 804080201008040201"));
    const Bytes cop = bytesOf("520040 520047 440102 520140 560408 4E0001 460200 000300 4E0000");
    EXPECT_EQ(load(directory.write("x.cop", withSometHeader(cop, false))).pixels(),
              bytesOf("000000000000 00F000000000 800280400000 008080402010 C00080402010 C00080402010"));
}

TEST(Somet, RefusesWhatIsNoProgram)
{
    TestDirectory directory;
    int number = 0;
    auto statusOf = [&](const char* extension, u32 id, const Bytes& file) {
        return load(directory.write(std::to_string(number++) + extension, file), {.id = id}).status;
    };
    const std::tuple<const char*, u32, bool> formats[] = {{".dop", 30, false}, {".cop", 31, true}};
    for (const auto& [extension, id, isLong] : formats) {
        const Bytes good = withSometHeader(Bytes(15, 1), isLong);
        EXPECT_EQ(statusOf(extension, id, good), loadSuccess);
        EXPECT_EQ(statusOf(extension, 61 - id, good), loadWrongFormat);
        // Every byte counts, those of the header that tell nothing too.
        for (size_t at = 0; at < good.size(); at++) {
            Bytes damaged = good;
            damaged[at]++;
            EXPECT_EQ(statusOf(extension, id, damaged), loadWrongFormat) << at;
        }
        EXPECT_EQ(statusOf(extension, id, withSometHeader(Bytes(16, 1), isLong)), loadWrongFormat);
        expectHarmless(std::string("h") + extension, good, id);
    }
    for (const auto& [extension, id, most] : {std::tuple(".dop", 30u, 65541u), {".cop", 31u, 196566u}})
        for (u32 more : {0u, 1u}) {
            EXPECT_EQ(statusOf(extension, id, Bytes(most + more)), loadWrongFormat);
            EXPECT_EQ(std::string(llibGetReason()).starts_with("the file is too large"), more == 1) << most;
        }
    // A band of the other program, without a load of its own.
    OpenPicture open(directory.write("o.cop", withSometHeader(Bytes(15, 1), false)), 31);
    returnLoaderFunctions(30, "");
    EXPECT_EQ(getLoadBand()(Bytes(70).data(), 5, 14), loadBadData);
}

TEST(Somet, ReadsCards)
{
    TestDirectory directory;
    const Picture picture = noisePicture(pictureBilevel, 40, 2500, 0, 1);
    const std::string path = directory.write("a.ARM", encodeSometArm(picture));
    const Loaded loaded =
        load(path, {.id = formatSometArm, .bands = {7, 1500, 993, 1}, .extraStride = 3, .fill = 0x0F});
    EXPECT_EQ(loaded.bandStatus, loadBadData);
    EXPECT_EQ(loaded.numbers(), (std::vector<u32>{0, 40, 2500, 0, 0, 1, 1, 1, 1}));
    EXPECT_EQ(loaded.description, "Somet ARM");
    EXPECT_EQ(std::pair(loaded.palette[0], loaded.palette[1]), std::pair(u8{0}, u8{0x0F}));
    EXPECT_EQ(loaded.pixels(), picture.rows);
    EXPECT_EQ(loaded.rows.back(), 0xF0);

    // Upper halves show only where the lower byte of the two has them.
    Bytes cards(20);
    cards[0] = 0x01, cards[1] = 0x02, cards[2] = 0x30, cards[5] = 0xF1;
    EXPECT_EQ(load(directory.write("b.arm", cards), {.id = formatSometArm}).pixels(),
              (Bytes{0x84, 0x0C, 8, 0, 0, 0, 0, 0, 0, 0}));
    // A file that is not there is judged by the size of the one before.
    for (size_t size : {15, 10, 655210}) {
        EXPECT_EQ(load(directory.write(std::to_string(size) + ".arm", Bytes(size)), {.id = formatSometArm}).status,
                  loadWrongFormat);
        EXPECT_EQ(load(directory.path + "/none.arm", {.id = formatSometArm}).status, loadWrongFormat);
    }
    load(path, {.id = formatSometArm});
    EXPECT_EQ(load(directory.path + "/none.arm", {.id = formatSometArm}).status, loadCannotRead);
    const CardFormat arm = {"c.arm", 52, encodeSometArm, ""};
    expectLimits(arm, {{40, 2, 40, 1}, {40, 65520, 40, 65521}});
    expectStoredBits(arm, noiseCards(40, 10000), 0, CutRow::none, 10);
}
