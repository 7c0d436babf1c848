#include <gtest/gtest.h>

#include <algorithm>

#include "samples/jc4_writer.h"
#include "tests/card_support.h"

using Numbers = std::vector<u32>;

constexpr u32 jc4 = formatStaubliJc4, jc3 = formatStaubliJc3, network = formatStaubliJc4Network,
              email = formatStaubliJc4Email, loom = formatStaubliJc4Loom;

// The mapping as it is defined: twelve hooks lie one stride apart, and eight such groups share a stride.
static Numbers hookOfColumn(u32 module, u32 count, bool separateModules = false)
{
    Numbers hooks(module * count);
    for (u32 i = 0; i < module * count; i++) {
        const u32 hook = i % module, at = module == 3072 ? hook / 96 % 2 * 1536 + hook / 192 * 96 + hook % 96 : hook;
        const u32 column = i - hook + at / 12 % 8 * (module / 96) + at / 96 + at % 12 * (module / 12);
        hooks[column] = separateModules ? i : hook / 12 * (12 * count) + i / module * 12 + hook % 12;
    }
    return hooks;
}

// Rows as they are defined; a pick begins every step bytes, what lacks is light, and no hooks are those in order.
static Bytes plainRows(const Bytes& picks, u64 pickBytes, const Numbers& hooks, u64 height, u64 stride, u64 step)
{
    Bytes rows(height * stride);
    for (u64 i = 0; i < 8 * rows.size(); i++) {
        const u64 x = i % (8 * stride), hook = hooks.empty() ? x : x < hooks.size() ? hooks[x] : UINT64_MAX;
        const u64 at = i / (8 * stride) * step + hook / 8;
        if (hook < 8 * pickBytes && at < picks.size() && (picks[at] >> hook % 8 & 1) == 0)
            rows[i / 8] |= static_cast<u8>(0x80 >> i % 8);
    }
    return rows;
}

// The first bytes, and some of those behind them.
static Bytes part(const Bytes& all, size_t head, size_t from, size_t size)
{
    Bytes bytes(all.data(), all.data() + head);
    const size_t first = std::min(head + from, all.size()), end = std::min(first + size, all.size());
    bytes.insert(bytes.end(), all.data() + first, all.data() + end);
    return bytes;
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
    std::string write(const Bytes& b, const std::string& e) { return directory.write(std::to_string(number++) + e, b); }
    // At once, and in bands of which the last wants more rows than there are.
    void expectPicture(const Bytes& data, const std::string& end, u32 id, const Picture& picture, int past)
    {
        const std::string file = write(data, end);
        const u32 rest = id == loom ? picture.height - 65 : picture.height; // which leaves the bits of a failed band
        const Loaded got = load(file, {.id = id}), bands = load(file, {.id = id, .bands = {1, 0, 64, rest, 1}});
        EXPECT_EQ(Numbers({got.kind, got.width, got.height, got.firstPart, got.orientationFlag, got.palette[0]}),
                  Numbers({kindBilevel, picture.width, picture.height, 1, 1, 0}));
        EXPECT_EQ(got.description.back(), id == network || id == loom ? '\n' : 'n');
        EXPECT_TRUE(got.rows == picture.rows && bands.rows == picture.rows && bands.bandStatus == past) << file;
        EXPECT_EQ(getLoadBand()(nullptr, 1, 168), loadBadData);
    }
};

TEST_F(Jc4, OrdersModules)
{
    for (i32 module : {1344, 1536, 3072}) {
        Numbers map(7ull * module);
        makeStaubliMapping(map.data(), module);
        invertStaubliMapping(map.data(), module, 7, 5, 0);
        EXPECT_EQ(map, hookOfColumn(module, 7));
        Numbers columns(7ull * module); // the other way round
        makeStaubliMapping(columns.data(), module);
        invertStaubliMapping(columns.data(), module, 7, 0, 0);
        for (u32 hook = 0; hook < columns.size(); hook++)
            ASSERT_EQ(columns[map[hook]], hook);
    }
}

TEST_F(Jc4, DeliversPicksOfEveryModule)
{
    const Numbers widths = {1344, 1536, 9408, 3072, 3072, 10752, 10752, 10752},
                  settings = {2, 0, 3, 2, 3, 1, 1u << 31, 2};
    const Numbers modules = {1344, 1536, 1344, 1536, 3072, 1344, 1344, 1536};
    for (size_t i = 0; i < widths.size(); i++) {
        setDefaultMappingJC4(settings[i]);
        const Picture picture = noiseCards(widths[i], 130);
        const CardOptions options{.module = modules[i], .name = "A design of twenty"};
        expectPicture(encodeJc4(picture, options), "d.jc4", formatDetect, picture, 3);
        expectPicture(encodeJc4Email(picture, options), "d.Dat", email, picture, 3);
        expectPicture(encodeJc4Network(picture, options), "." + std::to_string(widths[i]), network, picture, 7);
        expectPicture(encodeJc4Loom(picture), ".oom", loom, picture, 7);
        if (modules[i] == 1344 && widths[i] < 9999)
            expectPicture(encodeJc3(picture, options), ".jc3", formatDetect, picture, 7);
    }
}

// In the order of the module that has the longest run of neighbours lifted about equally often.
TEST_F(Jc4, FindsTheModuleInThePicksOfABand)
{
    for (u32 i = 0; i < 24; i++) {
        const u32 width = Numbers{10752, 3072, 9216, 21504}[i % 4], height = 49 + i * 5, stride = width / 8;
        const Bytes all = noisePicture(pictureBilevel, width, 2 * height, 0, i).rows;
        const Bytes picks = part(all, 0, all.size() / 2, all.size());
        u32 longest = 0, best = 0;
        for (u32 module : {1344u, 1536u, 3072u}) {
            const Numbers hooks = hookOfColumn(module, width % module == 0 ? width / module : 0);
            for (u32 x = 0, run = 0, left = 0, lifts = 0; x < hooks.size(); x++, left = lifts, lifts = 0) {
                for (u32 y = 0; y < height; y++)
                    lifts += picks[(y * width + hooks[x]) / 8] >> hooks[x] % 8 & 1;
                run = std::max(left, lifts) - std::min(left, lifts) > height / 50 ? 1 : run + 1;
                best = run > longest ? module : best;
                longest = std::max(run, longest);
            }
        }
        const Bytes expected = plainRows(picks, stride, hookOfColumn(best, width / best), height, stride, stride);
        const std::string file = write(all, "." + std::to_string(width));
        const Bytes rows = load(file, {.id = network, .bands = {height, height}}).rows;
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), rows.data() + expected.size())) << i;
    }
}

TEST_F(Jc4, FillsRowsOfAnyStride)
{
    auto expectRows = [&](const Bytes& cards, size_t start, const char* end, u32 id, const Numbers& hooks) {
        for (i64 extra : {0, 7, 500, -5}) {
            const Loaded got = load(write(cards, end), {.id = id, .extraStride = extra, .fill = 0xFF});
            // JC III skips in the file what a row is longer.
            const u64 step = id == jc3 ? std::max(got.stride, got.rowBytes) : got.rowBytes;
            Bytes picks = part(cards, 0, start, cards.size());
            picks.resize(std::max<u64>(picks.size(), got.height * step), id == network ? 0 : 0xFF);
            EXPECT_EQ(got.rows, plainRows(picks, got.rowBytes, hooks, got.height, got.stride, step)) << end << extra;
        }
    };
    setDefaultMappingJC4(3);
    const Bytes cards = encodeJc4(noiseCards(10752, 3));
    // Three and a half modules: JC4 counts the half one too.
    expectRows(cards, 64, ".jc4", jc4, hookOfColumn(3072, 4));
    expectRows(part(cards, 0, 64, 4032), 0, ".10752", network, hookOfColumn(3072, 3));
    expectRows(part(encodeJc3(noiseCards(2688, 9)), 0, 0, 3000), 512, ".jc3", jc3, hookOfColumn(1344, 2, true));
    expectRows(encodeJc4Loom(noiseCards(600, 9)), 64, ".oom", loom, {});
    const CardFormat loomCards = {"a", loom, [](const Picture& picture) { return encodeJc4Loom(picture); }, ""};
    expectLimits(loomCards, {{8, 1, 8, 0}, {8, 65520, 8, 65521}, {65520, 1, 65528, 1}});
    expectStoredBits(loomCards, noiseCards(65520, 40), 64, CutRow::held, 0, 0xFF);
    // A width that is no multiple of 8 reads more than the file has; 1337 hooks have as many bytes as a module.
    expectRows(part(cards, 0, 64, 1670), 0, ".1337", network, hookOfColumn(1536, 1));
}

TEST_F(Jc4, ReadsOnFromPartToPart)
{
    // The picks in each part, and how many of their bytes are delivered. "09" is followed by "0:". What cannot be read
    // is light with JC4, and stays as it was with JC III.
    const std::pair<Numbers, u32> cases[] = {
        {{272, 7, 7, 7, 7, 7, 7, 7, 7, 8}, 336}, {{272, 5, 0}, 277},      {{272, 10}, 168},
        {{1449936, 11, 70000}, 1512000},         {{504, 504, 504}, 1512}, {{504, 504}, 1008}};
    for (const auto& [sizes, read] : cases) {
        const bool isJc3 = sizes[0] == 504;
        const u32 height = isJc3 ? 9 : sizes[0] > 504 ? 9000 : 2, start = isJc3 ? 512 : 64;
        const Bytes cards = (isJc3 ? encodeJc3 : encodeJc4)(noiseCards(1344, height), {.picksPerPart = 3});
        const std::string stem = write({}, isJc3 ? ".jc3.0" : ".jc4.0");
        for (u32 i = 0, done = 0; i < sizes.size(); done += sizes[i++])
            writeFile(stem + static_cast<char>('1' + i), part(cards, start, done, sizes[i]));
        const Loaded got =
            load(stem + "1", {.id = isJc3 ? jc3 : jc4, .bands = {1, height - 1}, .fill = u8(isJc3 ? 0 : 1)});
        const Bytes expected = plainRows(part(cards, 0, start, read), 168, hookOfColumn(1344, 1), height, 168, 168);
        EXPECT_TRUE(got.rows == expected && got.bandStatus == (read == 168 || read == 1008 ? 3 : 0)) << stem;
    }
}

TEST_F(Jc4, OpensTheFirstPartAndSaysSo)
{
    directory.write("d.jc4.01", encodeJc4(noiseCards(1344, 4)));
    directory.write("d.jc3.01", encodeJc3(noiseCards(1344, 4)));
    const std::string names[] = {"d.jc4.03", "d.jc4.01", "d.jc3.13", "d.jc3.01", "x.jc4.09", "x.JC4.02", "x.jc4.x2"};
    const std::string opened[] = {"d.jc4.01", "d.jc4.01", "d.jc3.01", "d.jc3.01", "x.jc4.01", "x.JC4.02", "x.jc4.x2"};
    for (size_t i = 0; i < std::size(names); i++) {
        std::string path = directory.path + "/" + names[i], text(4096, 0);
        u32 n, firstPart = 7;
        Bytes palette(768), flag(1);
        returnLoaderFunctions(names[i][4] == '3' ? jc3 : jc4, nullptr);
        getTryLoad()(path.data(), &n, &n, &n, &n, &n, &n, &n, palette.data(), text.data(), flag.data(), &firstPart, 1);
        EXPECT_TRUE(path == directory.path + "/" + opened[i] && firstPart == (names[i] == opened[i])) << names[i];
    }
    getEndLoad()();
}

TEST_F(Jc4, FindsTheNextMailedPartByItsLetter)
{
    const Picture picture = noiseCards(1344, 6);
    const Bytes cards = encodeJc4Email(picture);
    const std::string file = directory.write("d.jc4", part(cards, 9216, 0, 400));
    EXPECT_EQ(load(file, {.id = email}).bandStatus, loadCannotRead);
    // Each counts more than those before.
    for (const char* name : {"e.jc4", "d1.jc4", "d2.jc4", "da.jc4", "dA.jc4", "db.jc4", "dB.jc4"}) {
        directory.write(name, part(cards, 9216, 400, 608));
        EXPECT_TRUE(load(file, {.id = email, .bands = {1, 5}}).rows == picture.rows) << name;
        directory.write(name, part(cards, 9216, 0, 1000));
    }
    // Without a letter the count goes on.
    directory.write("6.jc4", part(cards, 9216, 400, 608));
    EXPECT_TRUE(load(directory.write("5.jc4", part(cards, 9216, 0, 400)), {.id = email}).rows == picture.rows);
}

TEST_F(Jc4, RefusesWhatIsNoCard)
{
    const Bytes plain = encodeJc4(noiseCards(1344, 4)), mail = encodeJc4Email(noiseCards(1344, 4));
    // Where, what, and the status.
    auto expectStatus = [&](u32 id, const char* end, const Bytes& cards, size_t header, const Numbers& patches) {
        for (size_t i = 0; i < patches.size(); i += 3) {
            Bytes bytes = cards;
            bytes[header + patches[i]] = static_cast<u8>(patches[i + 1]);
            EXPECT_EQ(load(write(bytes, end), {.id = id}).status, static_cast<int>(patches[i + 2])) << end << i;
        }
    };
    const Numbers both = {34, 80, 0,  34, 81, 6, 35, 2,  0, 35, 3,  6,  36, 18, 0,  36, 19, 6,   0, 4,
                          6,  1,  72, 6,  22, 1, 0,  22, 0, 6,  20, 16, 6,  20, 32, 0,  18, 255, 0};
    expectStatus(jc4, ".jc4", plain, 0, both);
    expectStatus(jc4, ".jc4", plain, 0, {17, 128, 6, 22, 3, 6});
    expectStatus(email, "d.dAT", mail, 512, both);
    expectStatus(email, "d.jc4", mail, 512, {17, 128, 0, 22, 3, 0});
    expectStatus(email, "d.jc4", mail, 0, {0, 'D', 6, 33, 0, 6, 33, 2, 6, 34, 0, 6, 34, 25, 0, 34, 26, 6});
    const Numbers old = {0, 'b', 6, 1, '0', 6, 4, '5', 6, 26, '1', 6, 26, '2', 0, 22, '6', 0, 22, '7', 6, 21, '-', 6};
    expectStatus(jc3, ".jc3", encodeJc3(noiseCards(1344, 4)), 0, old);
    const CardFormat jc3Cards = {"d.jc3", jc3, nullptr, ""};
    const Bytes oldCards = encodeJc3(noiseCards(1344, 4));
    expectStatuses(jc3Cards, oldCards, loadSuccess, {{21, '0', '6', '5', '5', '2', '0'}, {26, '2'}});
    expectStatuses(jc3Cards, oldCards, loadWrongFormat, {{21, '0', '6', '5', '5', '2', '1'}, {26, '1'}});
    expectStatus(loom, ".oom", plain, 0, {1, 65, 6, 23, 0, 6, 20, 1, 6});
    expectStatus(loom, ".oom", Bytes(64), 0, {0, 0, 6});
    const std::tuple<const char*, size_t, int> named[] = {
        {"d.39", 8, 6},  {"d+40", 10, 0},        {"d.65520", 16380, 0},  {"d.65521", 16380, 6},
        {"e.40", 5, 6},  {"f.40", 5 * 65520, 0}, {"g.40", 5 * 65521, 6}, {"h.40", 11, 6},
        {"d.4o", 10, 6}, {"d.8", 2, 6},          {"d40", 10, 6},         {"d.4294967336", 10, 6}};
    for (const auto& [name, size, status] : named)
        EXPECT_EQ(statusOf(name, Bytes(size), network), status) << name;
    expectStatus(jc4, ".jc4", Bytes(64), 0, {0, 0, 6});
    expectStatus(jc4, ".jc4", Bytes(63), 0, {0, 0, 3});
    expectStatus(email, "d.jc4", part(mail, 0, 0, 575), 0, {0, 'C', 3});
}

TEST_F(Jc4, TellsWhatIsTheMatter)
{
    const Bytes plain = encodeJc4(noiseCards(1344, 4)), mail = encodeJc4Email(noiseCards(1344, 4)),
                old = encodeJc3(noiseCards(1344, 4), {.picksPerPart = 2});
    // The first bytes of a file, and what is told of them. What lacks in a part may be in the next one.
    const std::tuple<const char*, u32, Bytes, const char*> cases[] = {
        {"d.jc3", jc3, part(old, 513, 0, 336),
         "!the header announces 1344 x 4, the file lacks 335 bytes of its 672 bytes!picks that the file lacks are made "
         "up: 2"},
        {"d.jc3.01", jc3, part(old, 848, 0, 0), "its picks end before the picture does, and there is no part d.jc3.02"},
        {"d.jc3.01", jc3, part(old, 849, 0, 0),
         "its picks end before the picture does, and there is no part d.jc3.02+behind the picture the file goes on for "
         "1 byte"},
        {"d.jc4", jc4, part(plain, 735, 0, 0),
         "the file ends before the picture does!the header announces 1344 x 4, the file lacks 1 byte of its 672 bytes"},
        {"d.jc4", jc4, part(plain, 671, 0, 0), "the header announces 1344 x 4, the file holds 671 bytes"},
        {"d.jc4.01", jc4, part(plain, 735, 0, 0),
         "its picks end before the picture does, and there is no part d.jc4.02"},
        {"d.jc4.01", jc4, patched(plain, 35, {3}), "byte 35 of its header is 3 and not at most 2"},
        {"d.dat", email, part(mail, 9215, 0, 0),
         "!the header announces 1344 x 4, the file lacks 672 bytes of its 672 bytes!picks that the file lacks are made "
         "up: 4"},
        {"d.41", network, Bytes(50),
         "!its width of 41 is no multiple of 8: picks begin where the one before has not ended!picks that the file "
         "lacks are made up: 2"},
        {"d.oom", loom, patched(plain, 0, {0, 80}), "+behind the picture the file goes on for 2 bytes"}};
    for (const auto& [name, id, bytes, told] : cases)
        EXPECT_EQ(toldOf({name, id, nullptr, ""}, bytes), told) << name;
}
