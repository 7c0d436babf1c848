#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "samples/jc4_writer.h"
#include "tests/support.h"

namespace fs = std::filesystem;

constexpr u32 jc4 = 12;
constexpr u32 jc3 = 13;
constexpr u32 network = 15;
constexpr u32 email = 16;
constexpr u32 loom = 60;

using Map = std::vector<u32>;

static Picture design(u32 width, u32 height)
{
    return noisePicture(pictureBilevel, width, height, 0, width * 7919ull + height);
}

// The header cache answers by name: each file of a test gets another one.
static std::string freshName()
{
    static int number = 0;
    return "d" + std::to_string(number++);
}

// The mapping as it is defined, one hook after the other.
static Map moduleOrder(u32 module)
{
    u32 stride = module / 12, step = stride / 8;
    Map order;
    for (u32 base = 0; order.size() < module; base = base + step < stride ? base + step : base % step + 1) {
        for (u32 i = 0; i < 12; i++)
            order.push_back(base + i * stride);
    }
    if (module != 3072)
        return order;
    Map halves(3072);
    for (u32 i = 0; i < 1536; i++) {
        u32 place = i + 96 * (i / 96);
        halves[place] = order[i];
        halves[place + 96] = order[i + 1536];
    }
    return halves;
}

static Map extended(u32 module, u32 count, bool separateModules)
{
    Map order = moduleOrder(module), all(module * count);
    for (u32 j = 0; j < count; j++) {
        for (u32 i = 0; i < module; i++)
            all[separateModules ? j * module + i : i / 12 * (12 * count) + 12 * j + i % 12] = j * module + order[i];
    }
    return all;
}

static Map hookOfColumn(u32 module, u32 count, bool separateModules = false)
{
    Map all = extended(module, count, separateModules), inverse(all.size());
    for (u32 k = 0; k < all.size(); k++)
        inverse[all[k]] = k;
    return inverse;
}

static bool isSet(const u8* pick, u64 bit)
{
    return (pick[bit >> 3] >> (bit & 7) & 1) != 0;
}

// Rows as they are defined, one pixel after the other.
static Bytes plainRows(const Bytes& picks, u64 pickBytes, const Map& map, u64 stride)
{
    u64 count = picks.size() / pickBytes;
    Bytes rows(count * stride);
    for (u64 y = 0; y < count; y++) {
        for (u64 x = 0; x < std::min<u64>(8 * stride, map.size()); x++) {
            if (map[x] < 8 * pickBytes && !isSet(picks.data() + y * pickBytes, map[x]))
                rows[y * stride + (x >> 3)] |= static_cast<u8>(0x80 >> (x & 7));
        }
    }
    return rows;
}

// The module that the picks speak for.
static u32 plainModule(const Bytes& picks, u32 width)
{
    const u32 pickBytes = (width + 7) / 8;
    const int count = static_cast<int>(picks.size() / pickBytes);
    std::vector<int> set(8 * pickBytes);
    for (size_t bit = 0; bit < 8 * picks.size(); bit++)
        set[bit % (8 * pickBytes)] += isSet(picks.data(), bit);
    u32 best = 1536;
    int bestScore = 0;
    for (u32 module : {1344u, 1536u, 3072u}) {
        if (width % module != 0)
            continue;
        Map map = hookOfColumn(module, width / module);
        int run = 1, score = 1;
        for (u32 x = 1; x < 8 * pickBytes; x++) {
            run = std::abs(set[map[x]] - set[map[x - 1]]) > count / 50 ? 1 : run + 1;
            score = std::max(score, run);
        }
        if (score > bestScore) {
            bestScore = score;
            best = module;
        }
    }
    return best;
}

static Bytes slice(const Bytes& bytes, size_t from, size_t size)
{
    return Bytes(bytes.begin() + static_cast<i64>(from), bytes.begin() + static_cast<i64>(from + size));
}

static void append(Bytes& bytes, const Bytes& more)
{
    const size_t size = bytes.size();
    bytes.resize(size + more.size());
    std::copy(more.begin(), more.end(), bytes.begin() + static_cast<i64>(size));
}

static void expectReport(const Loaded& loaded, const Picture& picture, const char* description)
{
    EXPECT_EQ(loaded.status, loadSuccess);
    EXPECT_EQ(loaded.bandStatus, loadSuccess);
    EXPECT_EQ(loaded.kind, kindBilevel);
    EXPECT_EQ(loaded.width, picture.width);
    EXPECT_EQ(loaded.height, picture.height);
    EXPECT_EQ(loaded.resX + loaded.resY, 0u);
    EXPECT_EQ(loaded.mulX, 1u);
    EXPECT_EQ(loaded.mulY, 1u);
    EXPECT_EQ(loaded.firstPart, 1u);
    EXPECT_EQ(loaded.orientationFlag, 1);
    EXPECT_EQ(loaded.palette[0], 0);
    EXPECT_EQ(loaded.palette[1], 0xA5);
    EXPECT_EQ(loaded.description, description);
}

// The whole picture, in bands, with a narrow stride, and a row too many.
static void expectPicture(const std::string& file, u32 id, const Picture& picture, const char* description)
{
    Loaded whole = load(file, {.id = id});
    expectReport(whole, picture, description);
    EXPECT_TRUE(whole.rows == picture.rows) << picture.width;
    EXPECT_TRUE(load(file, {.id = id, .bands = {1, 0, 64, picture.height - 65}}).rows == picture.rows);
    Loaded narrow = load(file, {.id = id, .extraStride = -5});
    Bytes cut;
    for (u64 y = 0; y < picture.height; y++)
        append(cut, slice(picture.rows, y * whole.rowBytes, whole.rowBytes - 5));
    EXPECT_TRUE(narrow.rows == cut);
    Loaded more = load(file, {.id = id, .bands = {picture.height, 0, 1}});
    EXPECT_TRUE(more.rows == picture.rows);
    EXPECT_NE(more.bandStatus, loadSuccess);
}

TEST(StaubliMapping, OrdersOneModuleAndSeveral)
{
    for (i32 module : {1344, 1536, 3072, 0, 12, -1}) {
        u32 hooks = module == 1344 || module == 1536 ? static_cast<u32>(module) : 3072;
        Map map(hooks + 1, 7);
        makeStaubliMapping(map.data(), module);
        EXPECT_EQ(map.back(), 7u);
        map.pop_back();
        EXPECT_EQ(map, moduleOrder(hooks));
        for (u32 count : {1u, 2u, 7u}) {
            for (bool separateModules : {false, true}) {
                Map order = map;
                order.resize(hooks * count);
                Map inverse = order;
                invertStaubliMapping(order.data(), static_cast<i32>(hooks), static_cast<i32>(count), 0,
                                     separateModules);
                invertStaubliMapping(inverse.data(), static_cast<i32>(hooks), static_cast<i32>(count), 5,
                                     separateModules ? 3 : 0);
                EXPECT_EQ(order, extended(hooks, count, separateModules));
                EXPECT_EQ(inverse, hookOfColumn(hooks, count, separateModules));
            }
        }
    }
}

TEST(StaubliMapping, StaysInsideTheArray)
{
    Map map(30, 9);
    for (u32 i = 0; i < 13; i++)
        map[i] = 12 - i;
    Map kept = map;
    for (i32 count : {0, -2})
        invertStaubliMapping(map.data(), 13, count, 1, 0);
    EXPECT_EQ(map, kept);
    invertStaubliMapping(map.data(), 13, 2, 1, 0);
    EXPECT_TRUE(std::all_of(map.begin() + 26, map.end(), [](u32 entry) { return entry == 9; }));
    Map wild(24, 0xFFFFFFF0);
    invertStaubliMapping(wild.data(), 12, 2, 1, 1);
}

TEST(Jc4, DeliversPicksOfEveryModule)
{
    TestDirectory directory;
    struct Case {
        u32 width, module, selector;
    };
    for (const Case& one : {Case{1344, 1344, 0},
                            {1344, 1344, 2},
                            {1536, 1536, 0},
                            {2688, 1344, 3},
                            {4032, 1344, 0},
                            {3072, 1536, 2},
                            {3072, 3072, 3},
                            {9216, 3072, 0x7FFFFFFF},
                            {10752, 1344, 1},
                            {10752, 1344, 0xFFFFFFFF},
                            {10752, 1344, 0x80000000},
                            {10752, 1536, 2}}) {
        setDefaultMappingJC4(one.selector);
        Picture picture = design(one.width, 130);
        CardOptions options{.module = one.module, .name = "A design of twenty"};
        expectPicture(directory.write(freshName() + ".jc4", encodeJc4(picture, options)), formatDetect, picture,
                      "Staubli JC4\nA design of twen");
        expectPicture(directory.write(freshName() + ".Dat", encodeJc4Email(picture, options)), email, picture,
                      "Staubli JC4 email\nA design of twen");
        expectPicture(
            directory.write(freshName() + "." + std::to_string(one.width), encodeJc4Network(picture, options)), network,
            picture, "Staubli JC4 network\n");
    }
    setDefaultMappingJC4(0);
}

TEST(Jc4, MapsTheColumnsOfTheWholeStride)
{
    TestDirectory directory;
    setDefaultMappingJC4(3);
    const Picture picture = design(10752, 3);
    const Bytes picks = encodeJc4Network(picture);
    // Three and a half modules: JC4 counts the half one too.
    struct Case {
        std::string file;
        u32 id, count;
    };
    for (const Case& one : {Case{directory.write("d.jc4", encodeJc4(picture)), jc4, 4},
                            Case{directory.write("d.10752", picks), network, 3}}) {
        for (i64 extra : {0, 7, 150, 500}) {
            Loaded loaded = load(one.file, {.id = one.id, .extraStride = extra});
            EXPECT_TRUE(loaded.rows == plainRows(picks, 1344, hookOfColumn(3072, one.count), loaded.stride)) << extra;
        }
    }
    setDefaultMappingJC4(0);
}

TEST(Jc4, FindsTheModuleInThePicksOfABand)
{
    TestDirectory directory;
    u64 seed = 3;
    int found[3]{};
    for (int round = 0; round < 24; round++) {
        const u32 widths[] = {10752, 3072, 9216, 21504};
        const u32 width = widths[round % 4];
        const u32 module = width % 1344 == 0 && round % 8 < 4 ? 1344 : round % 3 == 0 ? 3072 : 1536;
        // Columns that differ in how often they are dark, some a little, some much.
        Picture picture = blankPicture(pictureBilevel, width, 230);
        u32 level = 128;
        for (u32 x = 0; x < width; x++) {
            u32 change = nextRandom(seed) % 200;
            level = change == 0 ? nextRandom(seed) % 256 : level;
            for (u32 y = 0; y < 230; y++) {
                if ((y * 37 + x * (change % 3)) % 256 < level)
                    picture.rows[y * (width / 8) + x / 8] |= static_cast<u8>(0x80 >> x % 8);
            }
        }
        const Bytes picks = encodeJc4Network(picture, {.module = width % module == 0 ? module : 0});
        const u32 pickBytes = width / 8;
        std::string file = directory.write(freshName() + "." + std::to_string(width), picks);
        Bytes expected;
        size_t from = 0;
        for (u32 count : {49u, 51u, 130u}) {
            Bytes band = slice(picks, from * pickBytes, count * pickBytes);
            const u32 best = plainModule(band, width);
            found[best / 1536]++;
            append(expected, plainRows(band, pickBytes, hookOfColumn(best, width / best), pickBytes));
            from += count;
        }
        EXPECT_TRUE(load(file, {.id = network, .bands = {49, 51, 130}}).rows == expected) << width << " " << module;
    }
    EXPECT_TRUE(found[0] > 3 && found[1] > 3 && found[2] > 3);
    // One end alone speaks for several modules alike: the smallest.
    Bytes single(1344, 0xFF);
    single[0] = 0xFE;
    ASSERT_EQ(plainModule(single, 10752), 1344u);
    for (int i = 0; i < 6; i++)
        append(single, slice(single, 0, 1344));
    EXPECT_TRUE(
        load(directory.write("single.10752", single), {.id = network}).rows ==
        plainRows(single, 1344, hookOfColumn(plainModule(single, 10752), 10752 / plainModule(single, 10752)), 1344));
}

// Opens a file whose name the loader may write to, and returns the name.
static std::string openName(u32 id, const std::string& path, int& status, u32& firstPart)
{
    std::vector<char> name(path.begin(), path.end());
    name.push_back(0);
    u32 ignored;
    u8 palette[768], flag;
    char description[4096];
    returnLoaderFunctions(id, nullptr);
    status = getTryLoad()(name.data(), &ignored, &ignored, &ignored, &ignored, &ignored, &ignored, &ignored, palette,
                          description, &flag, &firstPart, 1);
    return name.data();
}

// What the byte-wise definition makes of a set: every byte may be preceded by one change of part. Empty when a part is
// missing.
static Bytes plainParts(const std::vector<Bytes>& parts, size_t headerSize, size_t size)
{
    Bytes bytes;
    size_t part = 0;
    i64 taken = 0;
    for (size_t i = 0; i < size; i++) {
        if (taken == static_cast<i64>(parts[part].size()) - static_cast<i64>(headerSize)) {
            taken = 0;
            if (++part == parts.size())
                return {};
        }
        size_t at = headerSize + static_cast<size_t>(taken++);
        bytes.push_back(at < parts[part].size() ? parts[part][at] : 0xFF);
    }
    return bytes;
}

TEST(Jc4, ReadsOnFromPartToPart)
{
    // As long as the file is as large as the picks, 64 bytes may be missing; from 1450000 on, any number.
    for (u32 height : {2u, 9000u}) {
        const Picture picture = design(1344, height);
        const Bytes all = encodeJc4(picture, {.name = "parts"});
        const size_t size = all.size() - 64, first = height == 2 ? size - 64 : 1450000 - 64 + 11;
        const std::vector<std::vector<size_t>> sets = {
            {first, 10, 1, size},                  // complete
            {first, size},                         // in two
            {first},                               // part 2 is missing
            {first, 10},                           // part 3 is missing
            {first, 0, size},                      // a part without picks ends the data
            {first, 5, 0},                         // the same behind another
            {first, 7, 7, 7, 7, 7, 7, 7, 7, size}, // "09" is followed by "0:"
        };
        for (const std::vector<size_t>& set : sets) {
            for (size_t cutHeader : {0, 20}) {
                if (height > 2 && (set.size() != 4 || cutHeader != 0))
                    continue;
                TestDirectory directory;
                std::vector<Bytes> parts;
                size_t done = 64;
                for (size_t partSize : set) {
                    partSize = std::min(partSize, all.size() - done);
                    Bytes part = slice(all, 0, 64);
                    append(part, slice(all, done, partSize));
                    done += partSize;
                    // A header that is not complete lets the data end as well.
                    if (cutHeader != 0 && parts.size() == 1)
                        part.resize(64 - cutHeader);
                    std::string number = {'0', static_cast<char>('1' + parts.size())};
                    directory.write("d.jc4." + number, part);
                    parts.push_back(part);
                }
                Bytes picks = plainParts(parts, 64, size);
                const std::string file = directory.path + "/d.jc4.01";
                for (const std::vector<u32>& bands : {std::vector<u32>{height}, std::vector<u32>{1, height - 1}}) {
                    Loaded loaded = load(file, {.id = jc4, .bands = bands, .extraStride = 3});
                    EXPECT_EQ(loaded.status, loadSuccess);
                    EXPECT_EQ(loaded.bandStatus, picks.empty() ? loadCannotRead : loadSuccess) << height << set.size();
                    Bytes expected = plainRows(picks, 168, hookOfColumn(1344, 1), 171);
                    // What cannot be read completely is light.
                    if (picks.empty())
                        expected.resize(height * 171);
                    if (!picks.empty() || bands.size() == 1) {
                        EXPECT_TRUE(loaded.rows == expected);
                    }
                }
            }
        }
    }
}

TEST(Jc4, OpensTheFirstPartAndSaysSo)
{
    TestDirectory directory;
    const std::string stem = directory.path + "/d.";
    const Picture picture = design(1344, 4);
    for (const char* kind : {"jc4", "jc3"}) {
        const bool isJc4 = strcmp(kind, "jc4") == 0;
        const u32 id = isJc4 ? jc4 : jc3;
        directory.write(std::string("d.") + kind + ".01", isJc4 ? encodeJc4(picture) : encodeJc3(picture));
        for (const char* number : {"03", "01", "10", "99"}) {
            int status;
            u32 firstPart = 7;
            EXPECT_EQ(openName(id, stem + kind + "." + number, status, firstPart), stem + kind + ".01");
            EXPECT_EQ(status, loadSuccess);
            EXPECT_EQ(firstPart, strcmp(number, "01") == 0 ? 1u : 0u);
            // The next load ends this one.
        }
        getEndLoad()();
        // Also where there is no such file; other names stay.
        int status;
        u32 firstPart = 7;
        EXPECT_EQ(openName(id, stem + "x" + kind + ".02", status, firstPart), stem + "x" + kind + ".01");
        EXPECT_EQ(status, loadCannotRead);
        EXPECT_EQ(firstPart, 0u);
        for (const std::string& name :
             {std::string(kind) + ".02", "x" + std::string(kind) + ".2x", std::string("x.JC4.02")}) {
            EXPECT_EQ(openName(id, name, status, firstPart), name);
            EXPECT_EQ(firstPart, 1u);
        }
    }
}

TEST(Jc4Email, FindsTheNextPartByItsLetter)
{
    const Picture picture = design(1344, 6);
    const Bytes all = encodeJc4Email(picture);
    const Bytes picks = slice(all, 9216, 6 * 168);
    auto part = [&](size_t from, size_t size) {
        Bytes bytes = slice(all, 0, 9216);
        append(bytes, slice(picks, from, size));
        return bytes;
    };
    struct Case {
        std::vector<std::string> others; // the first is the one that counts
    };
    for (const Case& one : {Case{{"dB.jc4", "db.jc4", "dA.jc4", "e.jc4"}}, Case{{"db.jc4", "dA.jc4", "da.jc4"}},
                            Case{{"dA.jc4", "da.jc4", "d2.jc4"}}, Case{{"da.jc4", "d2.jc4", "d1.jc4"}},
                            Case{{"d2.jc4", "d1.jc4", "e.jc4"}}, Case{{"d1.jc4", "e.jc4"}}, Case{{"e.jc4"}}}) {
        TestDirectory directory;
        std::string file = directory.write("d.jc4", part(0, 400));
        for (const std::string& other : one.others)
            directory.write(other, other == one.others[0] ? part(400, 608) : part(0, 1000));
        EXPECT_TRUE(load(file, {.id = email, .bands = {1, 5}}).rows == picture.rows) << one.others[0];
        for (const std::string& other : one.others)
            fs::remove(directory.path + "/" + other);
        EXPECT_EQ(load(file, {.id = email}).bandStatus, loadCannotRead);
    }

    // A part with its letter is read again and again; without a letter the count goes on.
    TestDirectory directory;
    std::string file = directory.write("d.jc4", part(0, 400));
    directory.write("dB.jc4", part(400, 304));
    Bytes again = slice(picks, 0, 704);
    append(again, slice(picks, 400, 304));
    EXPECT_TRUE(load(file, {.id = email}).rows == plainRows(again, 168, hookOfColumn(1344, 1), 168));
    file = directory.write("5.jc4", part(0, 400));
    directory.write("6.jc4", part(400, 300));
    directory.write("7.jc4", part(700, 308));
    EXPECT_TRUE(load(file, {.id = email}).rows == picture.rows);
    // The picks begin behind the end.
    Bytes early = slice(all, 0, 5000);
    EXPECT_TRUE(load(directory.write("early.jc4", early), {.id = email}).rows == Bytes(6 * 168));
}

TEST(Jc3, DeliversModulesSideBySideAndParts)
{
    TestDirectory directory;
    for (u32 width : {1344u, 2688u, 9408u}) {
        Picture picture = design(width, 131);
        Bytes all = encodeJc3(picture, {.name = "jc", .picksPerPart = 40});
        expectPicture(directory.write(freshName() + ".jc3", all), formatDetect, picture, "Staubli JC III\njc");
        std::vector<Bytes> parts = cutCards(all, jc3PicksStart, 40 * width / 8);
        std::string stem = freshName() + ".jc3.0";
        for (size_t i = 0; i < parts.size(); i++)
            directory.write(stem + static_cast<char>('1' + i), parts[i]);
        expectPicture(directory.path + "/" + stem + "1", jc3, picture, "Staubli JC III\njc");
        // A longer row takes more bytes of the file.
        Loaded wide = load(directory.path + "/" + stem + "1", {.id = jc3, .bands = {39}, .extraStride = 2});
        for (u64 y = 0; y < 39; y++) {
            Bytes pick = slice(all, 512 + y * wide.stride, width / 8);
            EXPECT_TRUE(slice(wide.rows, y * wide.stride, wide.stride) ==
                        plainRows(pick, width / 8, hookOfColumn(1344, width / 1344, true), wide.stride));
        }
        // Part 3 is missing: the picks before it are there.
        fs::remove(directory.path + "/" + stem + "3");
        Loaded cut = load(directory.path + "/" + stem + "1", {.id = jc3});
        EXPECT_EQ(cut.bandStatus, loadCannotRead);
        Bytes expected(picture.rows.begin(), picture.rows.begin() + 80 * width / 8);
        expected.resize(picture.rows.size(), 0xA5);
        EXPECT_TRUE(cut.rows == expected);
    }
    // What a part lacks is light.
    Picture picture = design(1344, 5);
    Bytes bytes = encodeJc3(picture);
    Bytes picks = slice(bytes, 512, 300);
    picks.resize(5 * 168, 0xFF);
    Loaded cut = load(directory.write("cut.jc3", slice(bytes, 0, 812)));
    EXPECT_EQ(cut.bandStatus, loadSuccess);
    EXPECT_TRUE(cut.rows == plainRows(picks, 168, hookOfColumn(1344, 1), 168));
}

TEST(Jc4Network, TakesTheWidthFromTheName)
{
    TestDirectory directory;
    const Bytes bytes = encodeJc4Network(design(2688, 100));
    struct Case {
        std::string name;
        int status;
        u32 width, height;
    };
    const std::string dot(".");
    for (const Case& one : {Case{"d.2688", 0, 2688, 100}, Case{"d+1344", 0, 1344, 200}, Case{"a.b+02688", 0, 2688, 100},
                            Case{"a+b.40", 0, 40, 6720}, Case{"d.47", 0, 47, 6720}, Case{"d.44800", 0, 44800, 6},
                            Case{"d.134400", 6, 0, 0}, Case{"d.39", 6, 0, 0}, Case{"d.8", 6, 0, 0},
                            Case{"d.4294969984", 6, 0, 0}, Case{"d.2688x", 6, 0, 0}, Case{"d.", 6, 0, 0},
                            Case{"d2688", 6, 0, 0}, Case{"d.88", 6, 0, 0}, Case{"e.2696", 6, 0, 0}}) {
        Loaded loaded = load(directory.write(one.name, bytes), {.id = network});
        EXPECT_EQ(loaded.status, one.status) << one.name;
        if (one.status == 0) {
            EXPECT_EQ(loaded.width, one.width);
            EXPECT_EQ(loaded.height, one.height);
        }
    }
    EXPECT_EQ(load(directory.write("one.2688", slice(bytes, 0, 336)), {.id = network}).status, loadWrongFormat);
    EXPECT_EQ(load(directory.write("none.2688", Bytes()), {.id = network}).status, loadWrongFormat);
    EXPECT_EQ(load(directory.path + "/missing.2688", {.id = network}).status, loadWrongFormat);

    // Narrow picks are in order; a width that is no multiple of 8 reads more than the file has, as zeros. 1337 hooks
    // have as many bytes as the smallest module.
    for (u32 width : {44u, 600u, 1329u, 1337u, 1401u}) {
        const u32 height = 70, pickBytes = (width + 7) / 8;
        Bytes picks = slice(bytes, 0, width / 8 * height);
        std::string file = directory.write("n." + std::to_string(width), picks);
        picks.resize(pickBytes * height);
        Map map = hookOfColumn(1536, 1);
        if (pickBytes < 168) {
            for (u32 x = 0; x < map.size(); x++)
                map[x] = x;
        }
        for (i64 extra : {0, 21}) {
            Loaded loaded = load(file, {.id = network, .extraStride = extra});
            EXPECT_TRUE(loaded.rows == plainRows(picks, pickBytes, map, loaded.stride)) << width;
        }
    }
}

TEST(Jc4Loom, DeliversTheHooksInOrder)
{
    TestDirectory directory;
    for (u32 width : {48u, 1344u, 1400u, 65520u}) {
        Picture picture = design(width, 71);
        Bytes bytes = encodeJc4Loom(picture);
        std::string name = freshName() + ".oom";
        std::string file = directory.write(name, bytes);
        expectPicture(file, formatDetect, picture, "Staubli JC4 loom\n");
        Loaded wide = load(file, {.bands = {3, 68}, .extraStride = 9, .fill = 0xA7});
        EXPECT_TRUE(wide.pixels() == picture.rows);
        EXPECT_EQ(wide.rows.back(), 0x1A); // turned with the row
        bytes.push_back(0);
        EXPECT_EQ(load(directory.write("1" + name, bytes)).status, loadWrongFormat);
    }
    // Some bytes of a further pick; then a file that gets shorter.
    Bytes bytes = encodeJc4Loom(design(48, 5));
    bytes[23] += 4;
    bytes.resize(bytes.size() + 4);
    std::string file = directory.write("a.oom", bytes);
    EXPECT_EQ(load(file).height, 5u);
    int status;
    u32 firstPart;
    openName(loom, file, status, firstPart);
    fs::resize_file(file, 64 + 2 * 6);
    u8 rows[5 * 6];
    EXPECT_EQ(getLoadBand()(rows, 5, 6), loadBadData);
    getEndLoad()();
}

// Changes one byte of a file that is loaded by the format's own loader.
static int statusWith(const TestDirectory& directory, const Bytes& good, const char* extension, u32 id, size_t at,
                      u8 value)
{
    Bytes bytes = good;
    bytes[at] = value;
    return load(directory.write(freshName() + extension, bytes), {.id = id}).status;
}

TEST(Staubli, RefusesWhatIsNoCard)
{
    TestDirectory directory;
    const int descriptors = openDescriptors();
    const Picture picture = design(1344, 4);
    const Bytes plain = encodeJc4(picture, {.name = "sixteen letters."});
    const Bytes mail = encodeJc4Email(picture), old = encodeJc3(picture), straight = encodeJc4Loom(picture);
    struct Case {
        size_t at;
        u8 value;
        int status;
    };
    // Both headers of JC4, but for the letters of the name and the size of the file.
    for (const Case& one :
         {Case{34, 80, 0}, Case{34, 81, 6}, Case{35, 2, 0}, Case{35, 3, 6}, Case{36, 18, 0}, Case{36, 19, 6},
          Case{0, 4, 6}, Case{1, 0x48, 6}, Case{22, 1, 0}, Case{22, 0, 6}, Case{20, 0x10, 6}, Case{18, 0xFF, 0}}) {
        EXPECT_EQ(statusWith(directory, plain, ".jc4", jc4, one.at, one.value), one.status) << one.at;
        if (one.at != 20) {
            EXPECT_EQ(statusWith(directory, mail, ".jc4", email, 512 + one.at, one.value), one.status) << one.at;
        }
    }
    EXPECT_EQ(statusWith(directory, plain, ".jc4", jc4, 17, 0x80), loadWrongFormat);
    EXPECT_EQ(statusWith(directory, mail, ".jc4", email, 512 + 17, 0x80), loadSuccess);
    EXPECT_EQ(statusWith(directory, plain, ".jc4", jc4, 22, 3), loadWrongFormat); // 5 picks in a file of 4
    EXPECT_EQ(statusWith(directory, mail, ".jc4", email, 512 + 22, 3), loadSuccess);
    Bytes none = plain;
    none[0] = none[1] = 0;
    EXPECT_EQ(load(directory.write("none.jc4", none), {.id = jc4}).status, loadWrongFormat);
    EXPECT_EQ(load(directory.write("none.oom", none), {.id = loom}).status, loadWrongFormat);

    for (const Case& one :
         {Case{0, 'D', 6}, Case{33, 0, 6}, Case{33, 2, 6}, Case{34, 0, 6}, Case{34, 25, 0}, Case{34, 26, 6}})
        EXPECT_EQ(statusWith(directory, mail, ".dAT", email, one.at, one.value), one.status) << one.at;
    Bytes second = mail;
    second[33] = 2;
    EXPECT_EQ(load(directory.write("second.jc4", second), {.id = email}).firstPart, 0u);
    for (const char* name : {".jc4", "x.jc5", "xjc4", "x.data", "dat"})
        EXPECT_EQ(load(name, {.id = email}).status, loadWrongFormat) << name;
    EXPECT_EQ(load(directory.write("short.jc4", slice(mail, 0, 575)), {.id = email}).status, loadCannotRead);
    EXPECT_EQ(load(directory.write("short2.jc4", slice(mail, 0, 511)), {.id = email}).status, loadCannotRead);
    EXPECT_EQ(load(directory.write("short3.jc4", slice(plain, 0, 63)), {.id = jc4}).status, loadCannotRead);

    for (const Case& one : {Case{0, 'b', 6}, Case{1, '0', 6}, Case{4, '5', 6}, Case{1, 'x', 6}, Case{26, '1', 6},
                            Case{26, '2', 0}, Case{22, '6', 0}, Case{22, '7', 6}, Case{21, '-', 6}, Case{66, 'x', 0}})
        EXPECT_EQ(statusWith(directory, old, ".jc3", jc3, one.at, one.value), one.status) << one.at;
    EXPECT_EQ(load(directory.write("short.jc3", slice(old, 0, 511)), {.id = jc3}).status, loadCannotRead);

    for (const Case& one : {Case{1, 0x41, 6}, Case{23, 0, 6}, Case{20, 1, 6}})
        EXPECT_EQ(statusWith(directory, straight, ".oom", loom, one.at, one.value), one.status) << one.at;
    EXPECT_EQ(load(directory.write("empty.oom", slice(straight, 0, 20)), {.id = loom}).status, loadWrongFormat);

    for (u32 id : {jc4, jc3, email})
        EXPECT_EQ(load(directory.path + "/missing.jc4", {.id = id}).status, loadCannotRead);
    EXPECT_EQ(load(directory.path + "/missing.jc4", {.id = loom}).status, loadWrongFormat);
    // A file that was probed and has vanished; a band without a file.
    for (u32 id : {network, loom}) {
        std::string file = directory.write(
            freshName() + ".1344", straight.size() % 168 == 0 ? straight : [&] {
                Bytes padded = straight;
                if (id == network)
                    padded.resize(168 * 5);
                return padded;
            }());
        EXPECT_EQ(load(file, {.id = id}).status, loadSuccess);
        fs::remove(file);
        EXPECT_EQ(load(file, {.id = id}).status, loadCannotRead);
        u8 row[168] = {0xA5};
        EXPECT_EQ(getLoadBand()(row, 1, 168), loadBadData);
        EXPECT_EQ(row[0], 0xA5);
        EXPECT_EQ(getEndLoad()(), loadSuccess);
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(Staubli, ReportsAMissingNextPickAsItReadsIt)
{
    TestDirectory directory;
    const Picture picture = design(1344, 4);
    Bytes longer = encodeJc4(picture);
    longer.push_back(0);
    struct Case {
        std::string file;
        u32 id;
        int status;
    };
    for (const Case& one :
         {Case{directory.write("d.jc4", encodeJc4(picture)), jc4, 3}, Case{directory.write("l.jc4", longer), jc4, 7},
          Case{directory.write("d.dat", encodeJc4Email(picture)), email, 3},
          Case{directory.write("d.jc3.01", encodeJc3(picture, {.picksPerPart = 4})), jc3, 3},
          Case{directory.write("d.jc3", encodeJc3(picture, {.picksPerPart = 4})), jc3, 7},
          Case{directory.write("d.1344", encodeJc4Network(picture)), network, 7},
          Case{directory.write("d.oom", encodeJc4Loom(picture)), loom, 7}}) {
        int status;
        u32 firstPart;
        openName(one.id, one.file, status, firstPart);
        Bytes rows(6 * 168, 0xA5), expected = picture.rows;
        expected.resize(6 * 168, 0xA5);
        EXPECT_EQ(getLoadBand()(rows.data(), 6, 168), one.status) << one.file;
        EXPECT_TRUE(rows == expected);
        getEndLoad()();
        EXPECT_EQ(getLoadBand()(rows.data(), 1, 168), loadBadData);
    }
}

TEST(Staubli, IsHarmlessWhenDamaged)
{
    const Picture picture = design(1344, 2);
    Bytes mail = encodeJc4Email(picture);
    mail.resize(9216 + 40);
    expectHarmless("d.jc4", encodeJc4(picture), jc4);
    expectHarmless("d.jc4.01", encodeJc4(picture), jc4);
    expectHarmless("d.jc3.02", slice(encodeJc3(picture, {.picksPerPart = 1}), 0, 700), jc3);
    expectHarmless("d.jc4", slice(mail, 0, 600), email);
    expectHarmless("d.40", slice(mail, 0, 100), network);
    expectHarmless("d.oom", encodeJc4Loom(design(48, 7)), loom);
}
