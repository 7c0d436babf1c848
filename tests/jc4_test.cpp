#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "samples/jc4_writer.h"
#include "tests/support.h"

namespace fs = std::filesystem;
using namespace std::string_literals;
using Numbers = std::vector<u32>;

constexpr u32 jc4 = 12, jc3 = 13, network = 15, email = 16, loom = 60;

static Picture design(u32 width, u32 height)
{
    return noisePicture(pictureBilevel, width, height, 0, width * 7919ull + height);
}

// The mapping as it is defined, one hook after the other.
static Numbers columnOfHook(u32 module, u32 count, bool separateModules)
{
    const u32 stride = module / 12, step = stride / 8;
    Numbers order, all(module * count);
    for (u32 base = 0; order.size() < module; base = base + step < stride ? base + step : base % step + 1) {
        for (u32 i = 0; i < 12; i++)
            order.push_back(base + i * stride);
    }
    for (u32 i = 0; i < module; i++) {
        const u32 at = module == 3072 ? i / 96 % 2 * 1536 + i / 192 * 96 + i % 96 : i;
        for (u32 j = 0; j < count; j++)
            all[separateModules ? j * module + i : i / 12 * (12 * count) + 12 * j + i % 12] = j * module + order[at];
    }
    return all;
}

static Numbers hookOfColumn(u32 module, u32 count, bool separateModules = false)
{
    const Numbers columns = columnOfHook(module, count, separateModules);
    Numbers hooks(columns.size());
    for (u32 hook = 0; hook < columns.size(); hook++)
        hooks[columns[hook]] = hook;
    return hooks;
}

static Numbers straightHooks(u32 count)
{
    Numbers hooks(count);
    std::generate(hooks.begin(), hooks.end(), [next = 0u]() mutable { return next++; });
    return hooks;
}

static bool isLift(const Bytes& picks, u64 bit)
{
    return bit / 8 < picks.size() && (picks[bit / 8] >> bit % 8 & 1) == 0;
}

// Rows as they are defined, one pixel after the other; a pick begins every step bytes, and what lacks is light.
static Bytes plainRows(const Bytes& picks, u64 pickBytes, const Numbers& hooks, u64 height, u64 stride, u64 step)
{
    Bytes rows(height * stride);
    for (u64 y = 0; y < height; y++) {
        for (u64 x = 0; x < std::min<u64>(8 * stride, hooks.size()); x++) {
            if (hooks[x] < 8 * pickBytes && isLift(picks, 8 * y * step + hooks[x]))
                rows[y * stride + x / 8] |= static_cast<u8>(0x80 >> x % 8);
        }
    }
    return rows;
}

// The module in whose order the longest run of neighbours is lifted about equally often.
static u32 plainModule(const Bytes& picks, u32 width)
{
    const int threshold = static_cast<int>(8 * picks.size() / width / 50);
    std::vector<int> lifts(width);
    for (u64 bit = 0; bit < 8 * picks.size(); bit++)
        lifts[bit % width] += isLift(picks, bit);
    u32 best = 0;
    int bestRun = 0;
    for (u32 module : {1344u, 1536u, 3072u}) {
        const Numbers hooks = hookOfColumn(module, width / module);
        for (u32 x = 1, run = 1; width % module == 0 && x < width; x++) {
            run = std::abs(lifts[hooks[x]] - lifts[hooks[x - 1]]) > threshold ? 1 : run + 1;
            best = static_cast<int>(run) > bestRun ? module : best;
            bestRun = std::max(bestRun, static_cast<int>(run));
        }
    }
    return best;
}

static Bytes slice(const Bytes& bytes, size_t from, size_t size = SIZE_MAX)
{
    const auto begin = bytes.begin() + static_cast<i64>(std::min(from, bytes.size()));
    return Bytes(begin, begin + static_cast<i64>(std::min<size_t>(size, static_cast<size_t>(bytes.end() - begin))));
}

// A header and some bytes of the picks.
static Bytes part(const Bytes& cards, size_t start, size_t from, size_t size)
{
    Bytes bytes = slice(cards, 0, start), picks = slice(cards, start + from, size);
    bytes.insert(bytes.end(), picks.begin(), picks.end());
    return bytes;
}

// A load that is not ended; the loader may change the path.
static int tryOnly(std::string& path, u32 id, u32& firstPart)
{
    u32 ignored = 0;
    u8 palette[768], flag;
    char description[4096];
    returnLoaderFunctions(id, nullptr);
    return getTryLoad()(path.data(), &ignored, &ignored, &ignored, &ignored, &ignored, &ignored, &ignored, palette,
                        description, &flag, &firstPart, 1);
}

struct Jc4 : testing::Test {
    TestDirectory directory;
    int descriptors = openDescriptors(), number = 0;

    ~Jc4() override
    {
        setDefaultMappingJC4(0);
        EXPECT_EQ(openDescriptors(), descriptors);
    }
    // The header cache answers by name: each file of a test gets another one.
    std::string write(const Bytes& bytes, const std::string& ending)
    {
        return directory.write(std::to_string(number++) + "d" + ending, bytes);
    }
};

// At once, and in bands of which the last wants more rows than there are.
static void expectPicture(const std::string& file, u32 id, const Picture& picture, const std::string& description,
                          int pastTheEnd)
{
    const Loaded got = load(file, {.id = id}), bands = load(file, {.id = id, .bands = {1, 0, 64, picture.height}});
    EXPECT_EQ(got.description, description);
    EXPECT_EQ(got.bandStatus, loadSuccess);
    EXPECT_EQ(Numbers({got.kind, got.width, got.height, got.resX, got.resY, got.mulX, got.mulY, got.firstPart,
                       got.orientationFlag, got.palette[0], got.palette[1]}),
              Numbers({kindBilevel, picture.width, picture.height, 0, 0, 1, 1, 1, 1, 0, 0xA5}));
    EXPECT_TRUE(got.rows == picture.rows) << file;
    EXPECT_TRUE(bands.rows == picture.rows) << file;
    EXPECT_EQ(bands.bandStatus, pastTheEnd) << file;
    EXPECT_EQ(getLoadBand()(nullptr, 1, 168), loadBadData);
}

TEST(StaubliMapping, OrdersModulesInsideTheArray)
{
    for (i32 module : {1344, 1536, 3072, 0}) {
        const u32 hooks = module == 0 ? 3072 : static_cast<u32>(module);
        for (u32 count : {1u, 7u}) {
            for (i32 separateModules : {0, 3}) {
                Numbers map(hooks * count + 1, 9);
                makeStaubliMapping(map.data(), module);
                Numbers inverse = map, expected = columnOfHook(hooks, count, separateModules != 0);
                invertStaubliMapping(map.data(), static_cast<i32>(hooks), static_cast<i32>(count), 0, separateModules);
                invertStaubliMapping(inverse.data(), static_cast<i32>(hooks), static_cast<i32>(count), 5,
                                     separateModules);
                expected.push_back(9);
                EXPECT_EQ(map, expected);
                expected = hookOfColumn(hooks, count, separateModules != 0);
                expected.push_back(9);
                EXPECT_EQ(inverse, expected);
            }
        }
    }
    Numbers wild(24, 0xFFFFFFF0);
    for (i32 count : {0, -2, 2})
        invertStaubliMapping(wild.data(), 12, count, 1, 1);
}

TEST_F(Jc4, DeliversPicksOfEveryModule)
{
    const Numbers cases[] = {{1344, 1344, 0},         {1344, 1344, 2}, {1536, 1536, 0},        {2688, 1344, 3},
                             {3072, 1536, 2},         {3072, 3072, 3}, {9216, 3072, 1u << 30}, {10752, 1344, 1},
                             {10752, 1344, 1u << 31}, {10752, 1536, 2}};
    for (const Numbers& one : cases) {
        setDefaultMappingJC4(one[2]);
        const Picture picture = design(one[0], 130);
        const CardOptions options{.module = one[1], .name = "A design of twenty"};
        Bytes more = encodeJc4(picture, options);
        expectPicture(write(more, ".jc4"), formatDetect, picture, "Staubli JC4\nA design of twen", loadCannotRead);
        more.push_back(0);
        expectPicture(write(more, ".jc4"), jc4, picture, "Staubli JC4\nA design of twen", loadBadData);
        expectPicture(write(encodeJc4Email(picture, options), ".Dat"), email, picture,
                      "Staubli JC4 email\nA design of twen", loadCannotRead);
        expectPicture(write(encodeJc4Network(picture, options), "." + std::to_string(one[0])), network, picture,
                      "Staubli JC4 network\n", loadBadData);
    }
}

TEST_F(Jc4, FindsTheModuleInThePicksOfABand)
{
    u64 seed = 3;
    int found[3]{};
    for (u32 round = 0; round < 12; round++) {
        const u32 width = Numbers{10752, 3072, 21504}[round % 3];
        Picture picture = blankPicture(pictureBilevel, width, 230);
        // Columns that differ in how often they are dark, some a little, some much.
        for (u32 x = 0, level = 128; x < width; x++) {
            const u32 change = nextRandom(seed) % 200;
            level = change == 0 ? nextRandom(seed) % 256 : level;
            for (u32 y = 0; y < 230; y++)
                picture.rows[(y * width + x) / 8] |= (y * 37 + x * (change % 3)) % 256 < level ? 0x80 >> x % 8 : 0;
        }
        const u32 module = width == 3072 ? 1536 << round / 3 % 2 : Numbers{1344, 1536}[round / 3 % 2];
        const Bytes picks = encodeJc4Network(picture, {.module = module});
        Bytes expected;
        for (u32 rows : {49u, 51u, 130u}) {
            const Bytes band = slice(picks, expected.size(), rows * width / 8);
            const u32 best = plainModule(band, width);
            found[best / 1536]++;
            const Bytes more = plainRows(band, width / 8, hookOfColumn(best, width / best), rows, width / 8, width / 8);
            expected.insert(expected.end(), more.begin(), more.end());
        }
        const std::string file = write(picks, "." + std::to_string(width));
        EXPECT_TRUE(load(file, {.id = network, .bands = {49, 51, 130}}).rows == expected) << width;
    }
    EXPECT_TRUE(found[0] > 3 && found[1] > 3 && found[2] > 3) << found[0] << " " << found[1] << " " << found[2];
    // One lift in fifty picks counts for nothing: all modules do alike, and the smallest it is.
    Picture single = blankPicture(pictureBilevel, 10752, 50);
    single.rows[99] = 1;
    EXPECT_TRUE(load(write(encodeJc4Network(single), ".10752"), {.id = network}).rows == single.rows);
}

TEST_F(Jc4, FillsRowsOfAnyStride)
{
    setDefaultMappingJC4(3);
    const Picture wide = design(10752, 3);
    const Bytes picks = encodeJc4Network(wide), old = slice(encodeJc3(design(2688, 9)), 0, 3000);
    struct Case {
        std::string file;
        u32 id, pickBytes;
        Bytes picks;
        Numbers hooks;
    };
    // Three and a half modules: JC4 counts the half one too.
    std::vector<Case> cases = {{write(encodeJc4(wide), ".jc4"), jc4, 1344, picks, hookOfColumn(3072, 4)},
                               {write(picks, ".10752"), network, 1344, picks, hookOfColumn(3072, 3)},
                               {write(old, ".jc3"), jc3, 336, slice(old, 512), hookOfColumn(1344, 2, true)}};
    // A width that is no multiple of 8 reads more than the file has, as zeros; 1337 hooks are as many bytes as a
    // module.
    for (u32 width : {44u, 600u, 1329u, 1337u}) {
        const u32 pickBytes = (width + 7) / 8;
        Bytes few = slice(picks, 0, width / 8 * 20);
        const std::string file = write(few, "." + std::to_string(width));
        few.resize(pickBytes * 20);
        cases.push_back({file, network, pickBytes, few, width < 1337 ? straightHooks(1536) : hookOfColumn(1536, 1)});
    }
    for (const Case& one : cases) {
        for (i64 extra : {0, 7, 500, -5}) {
            const Loaded got = load(one.file, {.id = one.id, .extraStride = extra});
            // JC III skips what a row is longer in the file, too.
            const u64 step = one.id == jc3 ? std::max<u64>(got.stride, one.pickBytes) : one.pickBytes;
            EXPECT_TRUE(got.rows == plainRows(one.picks, one.pickBytes, one.hooks, got.height, got.stride, step))
                << one.file << " " << extra;
        }
    }
}

TEST_F(Jc4, ReadsOnFromPartToPart)
{
    struct Case {
        std::vector<size_t> sizes; // of the picks in each part
        u64 read;                  // bytes before those that are light; 0: cannot be read
    };
    // Below 1450000 bytes only the header's size may be missing in the first part.
    const Case cases[] = {{{272, 10, 1, 53}, 336},
                          {{272, 64}, 336},
                          {{272}, 0},
                          {{272, 10}, 0},
                          {{272, 0, 64}, 272},
                          {{272, 5, 0}, 277},
                          {{272, 7, 7, 7, 7, 7, 7, 7, 7, 8}, 336}, // "09" is followed by "0:"
                          {{1449936, 11, 70000}, 1512000},
                          {{1449935, 70000}, 0}};
    for (const Case& one : cases) {
        const bool isLarge = one.sizes[0] > 272;
        const u32 height = isLarge ? 9000 : 2;
        const Bytes cards = encodeJc4(design(1344, height));
        const std::string stem = directory.path + "/" + std::to_string(number++) + ".jc4.0";
        size_t done = 0;
        for (size_t i = 0; i < one.sizes.size(); done += one.sizes[i++])
            writeFile(stem + static_cast<char>('1' + i), part(cards, 64, done, one.sizes[i]));
        for (const Numbers& bands : {Numbers{height}, Numbers{1, height - 1}}) {
            const Loaded got = load(stem + "1", {.id = jc4, .bands = bands});
            if (one.sizes[0] == 1449935) {
                EXPECT_EQ(got.status, loadWrongFormat);
                continue;
            }
            EXPECT_EQ(got.bandStatus, one.read == 0 ? loadCannotRead : loadSuccess) << stem;
            const Bytes picks = slice(cards, 64, one.read != 0 ? one.read : bands.size() == 1 ? 0 : 168);
            EXPECT_TRUE(got.rows == plainRows(picks, 168, hookOfColumn(1344, 1), height, 168, 168)) << stem;
        }
    }
}

TEST_F(Jc4, OpensTheFirstPartAndSaysSo)
{
    const Picture picture = design(1344, 4);
    const std::string stem = directory.path + "/d.";
    directory.write("d.jc4.01", encodeJc4(picture));
    directory.write("d.jc3.01", encodeJc3(picture));
    struct Case {
        u32 id;
        std::string path, opened;
        u32 firstPart;
        int status;
    };
    for (const Case& one :
         {Case{jc4, stem + "jc4.03", stem + "jc4.01", 0, loadSuccess},
          Case{jc4, stem + "jc4.01", stem + "jc4.01", 1, loadSuccess},
          Case{jc3, stem + "jc3.10", stem + "jc3.01", 0, loadSuccess},
          Case{jc3, stem + "jc3.01", stem + "jc3.01", 1, loadSuccess},
          Case{jc4, "no.jc4.99", "no.jc4.01", 0, loadCannotRead}, Case{jc4, "jc4.02", "jc4.02", 1, loadCannotRead},
          Case{jc4, "x.jc4.2x", "x.jc4.2x", 1, loadCannotRead}, Case{jc3, "x.JC3.02", "x.JC3.02", 1, loadCannotRead}}) {
        std::string path = one.path;
        u32 firstPart = 7;
        EXPECT_EQ(tryOnly(path, one.id, firstPart), one.status) << one.path;
        EXPECT_EQ(path, one.opened);
        EXPECT_EQ(firstPart, one.firstPart) << one.path;
    }
    getEndLoad()();
}

TEST_F(Jc4, FindsTheNextMailedPartByItsLetter)
{
    const Picture picture = design(1344, 6);
    const Bytes cards = encodeJc4Email(picture);
    const std::string file = directory.write("d.jc4", part(cards, 9216, 0, 400));
    EXPECT_EQ(load(file, {.id = email}).bandStatus, loadCannotRead);
    // The one that counts is written last, and is wrong when the next one is there.
    for (const char* name : {"e.jc4", "d1.jc4", "d2.jc4", "da.jc4", "dA.jc4", "db.jc4", "dB.jc4"}) {
        directory.write(name, part(cards, 9216, 400, 608));
        EXPECT_TRUE(load(file, {.id = email, .bands = {1, 5}}).rows == picture.rows) << name;
        directory.write(name, part(cards, 9216, 0, 1000));
    }
    // A part with its letter is read again and again; without a letter the count goes on.
    Bytes again = slice(cards, 9216, 704), rest = part(cards, 9216, 400, 304);
    directory.write("dB.jc4", rest);
    again.insert(again.end(), rest.begin() + 9216, rest.end());
    EXPECT_TRUE(load(file, {.id = email}).rows == plainRows(again, 168, hookOfColumn(1344, 1), 6, 168, 168));
    directory.write("6.jc4", part(cards, 9216, 400, 300));
    directory.write("7.jc4", part(cards, 9216, 700, 308));
    const std::string first = directory.write("5.jc4", part(cards, 9216, 0, 400));
    EXPECT_TRUE(load(first, {.id = email}).rows == picture.rows);
}

TEST_F(Jc4, DeliversJc3InParts)
{
    for (u32 width : {1344u, 9408u}) {
        const Picture picture = design(width, 120);
        const Bytes cards = encodeJc3(picture, {.name = "jc", .picksPerPart = 40});
        expectPicture(write(cards, ".jc3"), formatDetect, picture, "Staubli JC III\njc", loadBadData);
        const std::string stem = write({}, ".jc3.0");
        const std::vector<Bytes> parts = cutCards(cards, jc3PicksStart, 40 * width / 8);
        for (size_t i = 0; i < parts.size(); i++)
            writeFile(stem + static_cast<char>('1' + i), parts[i]);
        expectPicture(stem + "1", jc3, picture, "Staubli JC III\njc", loadCannotRead);
        // The picks before a missing part are there.
        fs::remove(stem + "3");
        const Loaded cut = load(stem + "1", {.id = jc3});
        EXPECT_EQ(cut.bandStatus, loadCannotRead);
        Bytes expected = picture.rows;
        std::fill(expected.begin() + 80 * width / 8, expected.end(), u8{0xA5});
        EXPECT_TRUE(cut.rows == expected);
    }
}

TEST_F(Jc4, TakesTheWidthFromTheName)
{
    const Bytes picks = encodeJc4Network(design(2688, 100));
    struct Case {
        const char* name;
        u32 width, height; // 0: refused
    };
    for (const Case& one : {Case{"d.2688", 2688, 100}, Case{"d+1344", 1344, 200}, Case{"a.b+02688", 2688, 100},
                            Case{"a+b.40", 40, 6720}, Case{"d.47", 47, 6720}, Case{"d.44800", 44800, 6},
                            Case{"d.134400", 0, 0}, Case{"d.39", 0, 0}, Case{"d.8", 0, 0}, Case{"d.4294969984", 0, 0},
                            Case{"d.2688x", 0, 0}, Case{"d.", 0, 0}, Case{"d2688", 0, 0}, Case{"e.2696", 0, 0}}) {
        const Loaded got = load(directory.write(one.name, picks), {.id = network});
        EXPECT_EQ(got.status, one.width == 0 ? loadWrongFormat : loadSuccess) << one.name;
        EXPECT_EQ(Numbers({got.width, got.height}), Numbers({one.width, one.height})) << one.name;
    }
    for (size_t size : {0, 336})
        EXPECT_EQ(load(write(slice(picks, 0, size), ".2688"), {.id = network}).status, loadWrongFormat);
}

TEST_F(Jc4, DeliversTheLoomsHooksInOrder)
{
    for (u32 width : {48u, 1400u, 65520u}) {
        const Picture picture = design(width, 71);
        const Bytes cards = encodeJc4Loom(picture);
        const std::string file = write(cards, ".oom");
        expectPicture(file, formatDetect, picture, "Staubli JC4 loom\n", loadBadData);
        const Loaded wide = load(file, {.extraStride = 9, .fill = 0xA7}), narrow = load(file, {.extraStride = -5});
        EXPECT_TRUE(wide.pixels() == picture.rows);
        EXPECT_EQ(wide.rows.back(), 0x1A); // turned with the row
        EXPECT_TRUE(narrow.rows ==
                    plainRows(slice(cards, 64), width / 8, straightHooks(width), 71, narrow.stride, width / 8));
    }
    // Some bytes of a further pick; then the file gets shorter.
    Bytes cards = encodeJc4Loom(design(48, 5)), rows(30);
    cards[23] += 4;
    cards.resize(cards.size() + 4);
    const std::string file = write(cards, ".oom");
    OpenPicture open(file, loom);
    EXPECT_EQ(open.height, 5u);
    fs::resize_file(file, 64 + 2 * 6);
    EXPECT_EQ(getLoadBand()(rows.data(), 5, 6), loadBadData);
}

TEST_F(Jc4, RefusesWhatIsNoCard)
{
    struct Patch {
        size_t at;
        std::string bytes;
        int status;
    };
    const Picture picture = design(1344, 4);
    const Bytes plain = encodeJc4(picture), mail = encodeJc4Email(picture), old = encodeJc3(picture);
    const Bytes straight = encodeJc4Loom(picture);
    auto expectStatus = [&](Bytes bytes, const char* ending, u32 id, size_t at, const Patch& patch) {
        std::copy(patch.bytes.begin(), patch.bytes.end(), bytes.begin() + static_cast<i64>(at + patch.at));
        const Loaded got = load(write(bytes, ending), {.id = id});
        EXPECT_EQ(got.status, patch.status) << id << " at " << patch.at << ": " << patch.bytes;
        EXPECT_EQ(got.firstPart, id == email && at + patch.at == 33 ? 0u : got.status == loadSuccess) << id;
    };
    for (const Patch& one : {Patch{34, "\x50\2\x12", 0}, Patch{34, "\x51", 6}, Patch{35, "\3", 6}, Patch{36, "\x13", 6},
                             Patch{0, "\0\0"s, 6}, Patch{0, "\4", 6}, Patch{1, "\x48", 6}, Patch{22, "\1", 0},
                             Patch{22, "\0"s, 6}, Patch{20, "\x10", 6}, Patch{20, "\x20", 0}, Patch{18, "\xFF", 0}}) {
        expectStatus(plain, ".jc4", jc4, 0, one);
        expectStatus(mail, ".jc4", email, 512, one);
    }
    // Only without an envelope the name is looked at, and the size.
    for (const Patch& one : {Patch{17, "\x80", 6}, Patch{22, "\3", 6}}) {
        expectStatus(plain, ".jc4", jc4, 0, one);
        expectStatus(mail, ".jc4", email, 512, {one.at, one.bytes, 0});
    }
    for (const Patch& one : {Patch{0, "D", 6}, Patch{33, "\0"s, 6}, Patch{33, "\2", 6}, Patch{34, "\0"s, 6},
                             Patch{34, "\x19", 0}, Patch{34, "\x1A", 6}})
        expectStatus(mail, ".dAT", email, 0, one);
    for (const Patch& one :
         {Patch{0, "b", 6}, Patch{1, "0000", 6}, Patch{1, "1345", 6}, Patch{1, "x", 6}, Patch{21, "000001", 6},
          Patch{21, "000002", 0}, Patch{21, "065520", 0}, Patch{21, "065521", 6}, Patch{21, "-", 6}, Patch{66, "x", 0}})
        expectStatus(old, ".jc3", jc3, 0, one);
    for (const Patch& one : {Patch{0, "\0\0"s, 6}, Patch{1, "\x41", 6}, Patch{23, "\0"s, 6}, Patch{20, "\1", 6}})
        expectStatus(straight, ".oom", loom, 0, one);
    expectStatus(encodeJc4Loom(design(8, 65520)), ".oom", loom, 0, {0, "", 0});
    expectStatus(encodeJc4Loom(design(8, 65521)), ".oom", loom, 0, {0, "", 6});
    for (const char* name : {".jc4", "x.jc5", "xjc4", "x.data", "dat"})
        EXPECT_EQ(load(name, {.id = email}).status, loadWrongFormat) << name;
    // A file that was probed and has vanished.
    for (u32 id : {network, loom}) {
        const std::string file = write(id == loom ? straight : slice(plain, 64), ".1344");
        EXPECT_EQ(load(file, {.id = id}).status, loadSuccess);
        fs::remove(file);
        EXPECT_EQ(load(file, {.id = id}).status, loadCannotRead);
    }
    for (size_t missing : {1, 64}) {
        EXPECT_EQ(load(write(slice(plain, 0, 64 - missing), ".jc4"), {.id = jc4}).status, loadCannotRead);
        EXPECT_EQ(load(write(slice(mail, 0, 576 - missing), ".jc4"), {.id = email}).status, loadCannotRead);
        EXPECT_EQ(load(write(slice(old, 0, 512 - missing), ".jc3"), {.id = jc3}).status, loadCannotRead);
        EXPECT_EQ(load(write(slice(straight, 0, 64 - missing), ".oom"), {.id = loom}).status, loadWrongFormat);
    }
}

TEST_F(Jc4, IsHarmlessWhenDamaged)
{
    const Picture picture = design(1344, 2);
    expectHarmless("d.jc4.01", encodeJc4(picture), jc4);
    expectHarmless("d.jc3.02", slice(encodeJc3(picture, {.picksPerPart = 1}), 0, 700), jc3);
    expectHarmless("d.jc4", slice(encodeJc4Email(picture), 0, 600), email);
    expectHarmless("d.oom", encodeJc4Loom(design(48, 7)), loom);
}
