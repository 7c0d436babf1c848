#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <tuple>

#include "samples/weave_writer.h"
#include "tests/support.h"

using std::string;

static const u32 weaveId = formatWeave, fabricId = formatFabric;

struct Variant {
    bool isDraft;
    WeaveOptions options;
    u8 orientationFlag = 0;
};

static const Variant variants[] = {
    {true, {.packed = true, .threading = WeaveThreading::numbers}},
    {true, {.threading = WeaveThreading::characters}},
    {true, {.packed = true, .threading = WeaveThreading::bytes}},
    {false, {}},
    {false, {.packed = true}, 1},
    {false, {.packed = true, .repeatsRows = true}, 1},
};

// Where picks are few, many ends are alike.
static const u32 sizes[][2] = {{1, 1}, {13, 7}, {3, 40}, {64, 64}, {1000, 5}, {200, 1100}};

static Bytes encode(const Variant& variant, const Picture& picture)
{
    return variant.isDraft ? encodeWeaveDraft(picture, variant.options) : encodeWeave(picture, variant.options);
}

TEST(Weave, LoadsDraftsAndPlanes)
{
    TestDirectory directory;
    for (const Variant& variant : variants) {
        for (const auto& [width, height] : sizes) {
            const Picture picture = noisePicture(kindBilevel, width, height, 0, 1);
            const string file = directory.write("a.weave", encode(variant, picture));
            Loaded loaded = load(file, {.kindOnEntry = 1});
            EXPECT_EQ(loaded.format, 10);
            EXPECT_EQ(loaded.numbers(), (std::vector<u32>{0, width, height, 0, 0, 1, 1, 1, variant.orientationFlag}));
            EXPECT_EQ(loaded.description, "Tevrin weave");
            EXPECT_EQ(loaded.palette[0], 0);
            EXPECT_TRUE(loaded.rows == picture.rows) << width;
            if (height > 4) {
                EXPECT_TRUE(load(file, {.bands = {3, 1, height - 4}}).rows == picture.rows);
            }
            // Behind the rows of a draft all is cleared, a plane goes on with its next bytes.
            const size_t rowBytes = pictureRowBytes(picture);
            const Loaded wide = load(file, {.extraStride = 2});
            EXPECT_TRUE(wide.pixels() == picture.rows);
            EXPECT_EQ(wide.rows[rowBytes], variant.isDraft || height == 1 ? 0 : picture.rows[rowBytes]);
            EXPECT_EQ(wide.rows.back(), 0);
            Loaded fabric = load(directory.write("a.fabric", encodeFabric(encode(variant, picture))));
            EXPECT_EQ(fabric.description, "Tevrin Fabric");
            EXPECT_TRUE(fabric.rows == picture.rows);
        }
    }
}

// The pixels of a small weave, a character each, and what else is told of it.
static string shown(const string& records)
{
    static u32 number = 0;
    TestDirectory directory; // with a new name, or the header cache would answer for the file before
    Loaded loaded = load(directory.write(std::to_string(number++) + ".weave", "#BINDING\n" + records), {.id = weaveId});
    if (loaded.status != 0)
        return std::to_string(loaded.status) + " " + llibGetReason();
    string text;
    for (u32 y = 0; y < loaded.height; y++) {
        for (u32 x = 0; x < loaded.width; x++)
            text += (loaded.rows[y * loaded.stride + x / 8] & 0x80 >> x % 8) != 0 ? '#' : '.';
        text += '/';
    }
    for (i32 i = 0; i < llibGetRemarkCount(); i++) {
        i32 grave = 0;
        text += string(" ") + llibGetRemark(i, &grave);
        text += grave != 0 ? "!" : "";
    }
    return text;
}

TEST(Weave, FollowsItsRecords)
{
    // Shaft 0 is up in pick 0, shaft 1 in pick 1.
    const string plan = "#BITMAP=\n\x09";
    const std::pair<string, string> cases[] = {
        {"#XDIM=2\n#NOTE=3\n" + plan + "#ENDING", "#./.#/"},
        {"#DIM=4 2,2\n#HARNANDS=1212\n" + plan + "#END\n", "#.#./.#.#/"},
        {"#DIM=4,2\n#HARNANDS=/112\n#YDIM=2\n" + plan + "#END\n", "###./...#/"}, // below '1' is shaft 0 as well
        {"#DIM=2\n#HARNENDS=\n1\n 0\n\n" + plan + "#END\n", ".#/#./"},
        {"#DIM=2\n#HARNUNDS=" + packedRecord("", {1, 9}).substr(2) + plan + "#END\n",
         "../#./ ends are on shafts that the plan lacks and are not lifted: 1!"}, // no shaft 9
        {"#DIM=2\n#BATMAP=\n\x80\x40#END\n", "#./.#/"},
        {"#DIM=3 2\n#SHAFTSNO=2\n" + plan + "#END\n", "#.#/.#./ ends without a shaft are on the first: 1!"},
        {"#DIM=2\n#SHAFTSNO=0\n#END\n", "7 its record #SHAFTSNO= is damaged: a size is no number from 1 to 65520"},
        {"#DIM=2\n" + packedRecord("BETMAP", {0x80}) + "#END\n", "#./../ picks that the file lacks are clear: 1!"},
        {"#DIM=2\n#BATMAP=\n\x80\x40#YDIM=3\n#END\n", "#./.#/../ picks that the file lacks are clear: 1!"},
        {"#DIM=2 4\n#BATMAP=\n\x80\x40\1\1" + packedRecord("LINES_REPEAT", {0, 0, 1, 0, 0, 0, 3, 0}) + "#END\n",
         "#./#./.#/.#/"},
        {"#DIM=2\n#BATMAP=\n\x80\x40#YDIM=3\n" + packedRecord("LINES_REPEAT", {0, 0, 0, 0, 0, 0}) + "#END\n",
         "7 its record #LINES_REPEAT= is damaged: the plane before it has fewer rows"},
        {"#DIM=2\n" + plan, "7 the file ends before its record #END"},
        {"#DIM=2\n#HARNENDS=\n0 2\n" + plan + "#END\n",
         "7 its record #HARNENDS= is damaged: an end is on a shaft that is none"},
        {packedRecord("HARNUNDS", {0, 0}) + "#END\n",
         "7 its record #HARNUNDS= is damaged: no record before it tells how many ends there are"},
        {"#DIM=2\n#BETMAP=4\nabcd#END\n", "7 its record #BETMAP= is damaged: its packed block cannot be read"},
        {"#YDIM=65521\n#END\n", "7 its record #YDIM= is damaged: a size is no number from 1 to 65520"},
    };
    for (const auto& [records, expected] : cases)
        EXPECT_EQ(shown(records), expected) << records;

    // Without a size of its own a file has that of the one before.
    EXPECT_EQ(shown("#DIM=3 1\n#END\n"), ".../ it holds no plane: no end is lifted!");
    EXPECT_EQ(shown("#BATMAP=\n\xA0#END\n"), "#.#/ a size that it does not tell is taken from the file before!");
}

TEST(Weave, RefusesWhatIsNoWeave)
{
    for (const Variant& variant : {variants[0], variants[1], variants[5]})
        expectHarmless(".weave", encode(variant, noisePicture(kindBilevel, 21, 2, 0, 1)), weaveId);
    expectHarmless(".fabric", encodeFabric(encode(variants[2], noisePicture(kindBilevel, 5, 3, 0, 1))), fabricId);
    TestDirectory directory;
    EXPECT_EQ(load(directory.write("a", string("#BINDING \n#DIM=2\n#END\n")), {.id = weaveId}).status, 6);
    EXPECT_EQ(load(directory.write("b", string("# Fabrik\n#BINDING\n#END\n")), {.id = fabricId}).status, 6);
    EXPECT_EQ(load(directory.write("c", string("# Fabric\n#DIM=2\n#END\n")), {.id = fabricId}).status, 7);

    for (const Variant& variant : {variants[0], variants[3]}) {
        const string file = directory.write("d", encode(variant, noisePicture(kindBilevel, 9, 4, 0, 1)));
        OpenPicture open(file, weaveId);
        Bytes rows(2 * 6, 0x55);
        EXPECT_EQ(getLoadBand()(rows.data(), 6, 2), 0);
        EXPECT_EQ(Bytes(rows.begin() + 8, rows.end()), Bytes(4)); // behind the last row
    }
}

struct Read {
    int result;
    i32 mode = -1, width = 4, height = 2;
    u8 flag = 9;
    i32* threading = static_cast<i32*>(malloc(4 * sizeof(i32)));
    u8* plane = static_cast<u8*>(malloc(2));

    explicit Read(string records)
    {
        std::fill_n(threading, 4, 9);
        plane[0] = 4;
        plane[1] = 5;
        FILE* file = fmemopen(records.data(), records.size(), "r");
        std::vector<char> line(100000);
        strcpy(line.data(), "#BINDING\n");
        result = readTevrinWeave(file, line.data(), &mode, &width, &height, &flag, &threading, &plane);
        fclose(file);
    }
    ~Read()
    {
        free(threading);
        free(plane);
    }
};

TEST(Weave, IsReadFromAnOpenStream)
{
    Read draft("#DIM=3 2,2\n#HARNENDS=\n1 0 1\n#BITMAP=\n\x09#END\n");
    EXPECT_EQ((std::array{draft.result, draft.mode, draft.width, draft.height, i32{draft.flag}}),
              (std::array{1, 0, 3, 2, 0}));
    EXPECT_EQ((std::array{draft.threading[0], draft.threading[1], draft.threading[2]}), (std::array{1, 0, 1}));
    EXPECT_EQ(draft.plane[0], 9);
    // The caller's blocks hold what the sizes at the start tell, whatever follows.
    const std::tuple<string, int, std::array<i32, 4>, u8> cases[] = {
        {"#HARNANDS=4321\n", 1, {3, 2, 1, 0}, 5},
        {"#HARNENDS=\n0 0 0 0\n", 1, {0, 0, 0, 0}, 5},
        {"#HARNENDS=\n0 0 1 0\n", 0, {0, 0, 9, 9}, 5}, // there is one shaft
        {packedRecord("HARNUNDS", {6, 5, 4, 3}), 1, {6, 5, 4, 3}, 5},
        {"#YDIM=2\n" + packedRecord("LINES_REPEAT", {0, 0, 1, 0}), 1, {9, 9, 9, 9}, 4},
        {"#YDIM=3\n" + packedRecord("LINES_REPEAT", {0, 0, 1, 0, 1, 0}), 0, {9, 9, 9, 9}, 5}};
    for (const auto& [record, result, shafts, second] : cases) {
        const Read read(record + "#END\n");
        EXPECT_EQ(read.result, result) << record;
        EXPECT_TRUE(std::equal(shafts.begin(), shafts.end(), read.threading)) << record;
        EXPECT_TRUE(read.plane[0] == 4 && read.plane[1] == second) << record;
    }
}
