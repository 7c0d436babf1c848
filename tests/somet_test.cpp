#include "samples/somet_writer.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support.h"

static Bytes records(std::initializer_list<Bytes> list)
{
    Bytes all;
    for (const Bytes& record : list)
        all.insert(all.end(), record.begin(), record.end());
    return all;
}

TEST(Somet, ReadsRecords)
{
    TestDirectory directory;
    auto rowsOf = [&](const char* name, const Bytes& program) {
        return load(directory.write(name, withSometHeader(program, false))).pixels();
    };
    // Settings hold until they are replaced, what is nearly a setting or a repeat is a pick.
    EXPECT_EQ(rowsOf("x.dop", records({{1, 2, 0, 'P', 1},
                                       {1, 0, 0, '0', 0},
                                       {4, 8, 1, 'P', 0},
                                       {16, 32, 4, 'P', 0},
                                       {64, 128, 5, 'P', 0},
                                       {1, 2, 0, 'P', 2},
                                       {2, 0, 0, 'p', 0},
                                       {3, 1, 1, 'P', 1},
                                       {0, 0, 0, '0', 0}})),
              records({{0x80, 0, 0, 0x0C, 0, 0x80, 0x40, 0x80, 0, 0, 0, 0, 0, 0},
                       {0x80, 0x40, 0, 0x0A, 0x40, 0x80, 0x40, 0x80, 0x20, 0x10, 8, 4, 2, 1},
                       {0xC0, 0x80, 0x80, 0x0A, 0x80, 0x80, 0x40, 0x80, 0x20, 0x10, 8, 4, 2, 1},
                       {0xC0, 0x80, 0x80, 0x0A, 0x80, 0x80, 0x40, 0x80, 0x20, 0x10, 8, 4, 2, 1}}));
    EXPECT_EQ(rowsOf("x.cop", records({{'R', 0, '@'},
                                       {'R', 0, 'G'},
                                       {'D', 1, 2},
                                       {'R', 1, '@'},
                                       {'V', 4, 8},
                                       {'N', 0, 1},
                                       {'F', 2, 0},
                                       {0, 3, 0},
                                       {'N', 0, 0}})),
              records({{0, 0, 0, 0, 0, 0},
                       {0, 0xF0, 0, 0, 0, 0},
                       {0x80, 2, 0x80, 0x40, 0, 0},
                       {0, 0x80, 0x80, 0x40, 0x20, 0x10},
                       {0xC0, 0, 0x80, 0x40, 0x20, 0x10},
                       {0xC0, 0, 0x80, 0x40, 0x20, 0x10}}));
}

TEST(Somet, RefusesWhatIsNoProgram)
{
    TestDirectory directory;
    int number = 0;
    auto statusOf = [&](const char* name, const Bytes& file, u32 id) {
        return load(directory.write(std::to_string(number++) + name, file), {.id = id}).status;
    };
    for (bool isLong : {false, true}) {
        const Bytes dop = withSometHeader(Bytes(15, 1), isLong), cop = withSometHeader(Bytes(15, 1), isLong);
        EXPECT_EQ(statusOf(".DoP", dop, 30), loadSuccess);
        EXPECT_EQ(statusOf(".cOp", cop, 31), loadSuccess);
        EXPECT_EQ(statusOf(".cop", dop, 30), loadWrongFormat);
        EXPECT_EQ(statusOf(".dop", cop, 31), loadWrongFormat);
        // Every byte counts, those of the header that tell nothing too, and so does the size.
        for (size_t at = 0; at < dop.size(); at++) {
            Bytes damaged = dop;
            damaged[at]++;
            EXPECT_EQ(statusOf(".dop", damaged, 30), loadWrongFormat) << at;
            EXPECT_EQ(statusOf(".cop", damaged, 31), loadWrongFormat) << at;
        }
        Bytes longer = dop;
        longer.push_back(0);
        EXPECT_EQ(statusOf(".dop", longer, 30), loadWrongFormat);
        for (size_t length : {5, 14, 16})
            EXPECT_EQ(statusOf(".dop", withSometHeader(Bytes(length, 1), isLong), 30), loadWrongFormat);
        for (size_t length : {3, 7, 8})
            EXPECT_EQ(statusOf(".cop", withSometHeader(Bytes(length, 1), isLong), 31), loadWrongFormat);
        expectHarmless("h.dop", dop, 30);
        expectHarmless("h.cop", cop, 31);
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
    const Loaded loaded = load(path, {.id = 52, .bands = {7, 1500, 993}});
    EXPECT_EQ(std::vector<i64>({loaded.bandStatus, loaded.kind, loaded.width, loaded.height, loaded.resX, loaded.resY,
                                loaded.mulX, loaded.mulY, loaded.firstPart, loaded.orientationFlag}),
              std::vector<i64>({0, 0, 40, 2500, 0, 0, 1, 1, 1, 1}));
    EXPECT_EQ(loaded.description, "Somet ARM");
    EXPECT_EQ(std::pair(loaded.palette[0], loaded.palette[1]), std::pair(u8{0}, u8{0xA5}));
    EXPECT_EQ(loaded.pixels(), picture.rows);
    const Loaded wide = load(path, {.id = 52, .extraStride = 3, .fill = 0x0F});
    EXPECT_EQ(wide.pixels(), picture.rows);
    EXPECT_EQ(wide.rows.back(), 0xF0);
    EXPECT_EQ(load(path, {.id = 52, .bands = {1, 2500}}).bandStatus, loadBadData);

    // Upper halves show only where the lower byte of the two has them.
    Bytes cards(20);
    cards[0] = 0x01, cards[1] = 0x02, cards[2] = 0x30, cards[5] = 0xF1;
    EXPECT_EQ(load(directory.write("b.arm", cards), {.id = 52}).pixels(), (Bytes{0x84, 0x0C, 8, 0, 0, 0, 0, 0, 0, 0}));
    const std::pair<const char*, size_t> refused[] = {{"c.arm", 15}, {"d.arm", 10}, {"e.arm", 655210}, {"f.arn", 20}};
    for (const auto& [name, size] : refused)
        EXPECT_EQ(load(directory.write(name, Bytes(size)), {.id = 52}).status, loadWrongFormat) << name;
    // A file that is not there is judged by the size of the one before.
    load(directory.path + "/d.arm", {.id = 52});
    EXPECT_EQ(load(directory.path + "/none.arm", {.id = 52}).status, loadWrongFormat);
    load(path, {.id = 52});
    EXPECT_EQ(load(directory.path + "/none.arm", {.id = 52}).status, loadCannotRead);
    OpenPicture open(path, 52);
    ASSERT_EQ(truncate(path.c_str(), 9999), 0);
    EXPECT_EQ(getLoadBand()(Bytes(12500).data(), 2500, 5), loadBadData);
}
