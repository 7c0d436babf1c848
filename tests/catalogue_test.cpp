// What the catalogue says of each format, and the places that a new format has to be put into.
#include "formats/catalogue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "samples/all_samples.h"
#include "tests/support.h"

using std::string;

static const Sample* sampleOf(FormatId format)
{
    const auto samples = allSamples();
    const auto found =
        std::find_if(samples.begin(), samples.end(), [&](const Sample& sample) { return sample.format == format; });
    return found != samples.end() ? &*found : nullptr;
}

static string textOf(const std::filesystem::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

TEST(Catalogue, HasATestAReadmeRowASampleAndItsPictureOfEveryFormat)
{
    const std::filesystem::path source = SOURCE_DIRECTORY;
    const string built = textOf(source / "tests/CMakeLists.txt");
    string tests;
    for (const auto& entry : std::filesystem::directory_iterator(source / "tests")) {
        const string name = entry.path().filename();
        if (name != "catalogue_test.cpp")
            tests += textOf(entry.path());
        if (name.ends_with("_test.cpp")) {
            EXPECT_NE(built.find(name), string::npos) << "tests/CMakeLists.txt lacks " << name;
        }
    }
    const string header = textOf(source / "include/tload.h");
    const string readme = textOf(source / "README.md");
    for (const CatalogueRow& row : catalogue) {
        const string line = "| " + std::to_string(row.id) + " | " + row.fullName + " | ";
        EXPECT_NE(readme.find(line), string::npos) << "README.md lacks " << line << ": run scripts/formats";
        if (!row.isRead)
            continue;
        const Sample* sample = sampleOf(row.id);
        ASSERT_NE(sample, nullptr) << "samples/all_samples.cpp has no sample of " << row.fullName;
        EXPECT_TRUE(exists(source / "docs/gallery" / (string(sample->name) + ".png")))
            << "docs/gallery lacks " << sample->name << ": run scripts/demo --gallery";
        const size_t end = header.find(" = " + std::to_string(row.id) + ",");
        ASSERT_NE(end, string::npos) << "include/tload.h has no enumerator for " << row.fullName;
        const size_t start = header.find_last_of(" \n", end - 1) + 1;
        const string enumerator = header.substr(start, end - start);
        std::istringstream extensions(row.extensions);
        bool isTested = tests.find(enumerator) != string::npos;
        for (string extension; extensions >> extension;)
            isTested |= tests.find("." + extension + "\"") != string::npos;
        EXPECT_TRUE(isTested) << "no file in tests/ loads " << enumerator;
    }
}

TEST(Catalogue, TellsWhatHostsShow)
{
    for (const CatalogueRow& row : catalogue) {
        const string name = row.fullName, shortName = row.nameWithoutLogo;
        EXPECT_EQ(returnLoaderString(row.id), name);
        EXPECT_EQ(returnLoaderStringNoLogo(row.id), shortName);
        EXPECT_EQ(returnLoaderStringJustLogo(row.id), string(row.iconName));
        EXPECT_EQ(returnLoaderExtensions(row.id), string(row.extensions));
        EXPECT_EQ(returnLoaderReads(row.id), row.isRead ? 1 : 0);
        EXPECT_FALSE(name.empty());
        EXPECT_EQ(isDrapeProject(row.id), name == "Tevrin Drape" ? 1 : 0);
    }
    // The dobbies, whose pictures are lifts of shafts.
    std::set<FormatId> dobbies;
    for (int id = -1; id <= formatCount + 1; id++) {
        if (validForDobbyExtraction(id) != 0)
            dobbies.insert(id);
    }
    EXPECT_EQ(dobbies, (std::set<FormatId>{20, 30, 31, 33, 34, 37, 44, 45, 49, 51, 52, 55, 56, 57, 69, 70}));
    for (int id : {-1, 0, formatCount + 1}) {
        EXPECT_EQ(string(returnLoaderString(id)) + returnLoaderStringNoLogo(id) + returnLoaderStringJustLogo(id) +
                      returnLoaderExtensions(id),
                  "");
        EXPECT_EQ(returnLoaderReads(id) + isDrapeProject(id), 0);
    }
    EXPECT_STREQ(returnLoaderStringNoLogo(formatWif), "WIF");
    EXPECT_STREQ(returnLoaderStringNoLogo(formatTongYuan), " JinagYin TongYuan .DY");
    EXPECT_STREQ(returnLoaderStringJustLogo(formatStaubliZc5), "staubli");
}

// Names and first bytes do not tell these from what detection takes them for.
static const std::map<string, FormatId> detectedOtherwise = {
    {"motif.dis", formatQtz},
    {"motif-email.jc4", formatStaubliJc4},
    {"motif-somet.arm", formatPignone},
    {"dmotif.s01", formatSchleicher},
    {"motif-iam.pat", formatNedgraphicsPat},
    {"motif-varitex.pat", formatNedgraphicsPat},
    {"motif-dotech.pat", formatNedgraphicsPat},
    {"motif.mus", formatBonas},
    {"smotif.p", formatBonas},
    {"dmotif.s02", formatBonas},
    {"motif.eat", formatBonas},
    {"motif-1bit.eat", formatBonas},
    {"motif.colorado", formatBonas},
    {"motif-network.1344", formatBonas},
};

TEST(Catalogue, DetectsEverySampleAsItsOwnFormat)
{
    TestDirectory directory;
    drawSmallSamples();
    for (const Sample& sample : allSamples()) {
        const string name = sample.name;
        const bool isNumberedCard = name.starts_with("motif-parts.jc");
        const auto other = detectedOtherwise.find(name);
        const FormatId expected = isNumberedCard                     ? FormatId{formatBonas}
                                  : other != detectedOtherwise.end() ? other->second
                                                                     : static_cast<FormatId>(sample.format);
        EXPECT_EQ(returnLoaderFunctions(formatDetect, directory.write(name, sample.encode()).c_str()), expected)
            << name;
    }
}
