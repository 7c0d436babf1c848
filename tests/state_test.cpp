// States, messages, reasons and remarks, with what is behind the library's interface.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <thread>

#include "framework/reason.h"
#include "framework/thread_state.h"
#include "samples/bonas_writer.h"
#include "samples/drape_writer.h"
#include "samples/jc5_writer.h"
#include "samples/weave_writer.h"
#include "tests/support.h"

using std::string;

// Picks of a picture that is open in a state.
static Bytes picksOf(LoaderState* state, u32 count)
{
    llibUseState(state);
    Bytes picks(count * 5);
    EXPECT_EQ(getLoadBand()(picks.data(), count, 5), loadSuccess) << llibGetReason();
    return picks;
}

TEST(State, HoldsAnOpenPictureThatAnyThreadReads)
{
    TestDirectory directory;
    llibUseState(nullptr);
    returnLoaderFunctions(formatGif, "own");
    const TryLoadFn own = getTryLoad();
    const int descriptors = openDescriptors();
    std::array<Picture, 2> pictures;
    std::array<LoaderState*, 2> states;
    for (u32 i = 0; i < 2; i++) {
        pictures[i] = noisePicture(kindBilevel, 40, 9, 0, i);
        llibUseState(states[i] = llibNewState());
        OpenPicture open(directory.write(std::to_string(i) + ".ep", encodeBonas(pictures[i])), formatBonas);
        EXPECT_EQ(open.status, loadSuccess);
        open.isEnded = false;
    }
    std::array<Bytes, 2> rows;
    auto deliver = [&](u32 count) {
        for (u32 i = 0; i < 2; i++) {
            const Bytes picks = picksOf(states[i], count);
            rows[i].insert(rows[i].end(), picks.begin(), picks.end());
        }
    };
    for (u32 count : {1, 3})
        deliver(count);
    std::thread(deliver, 5).join();
    for (u32 i = 0; i < 2; i++)
        EXPECT_TRUE(rows[i] == pictures[i].rows) << i;
    llibUseState(nullptr);
    EXPECT_EQ(getTryLoad(), own);
    for (LoaderState* state : states)
        llibFreeState(state);
    EXPECT_EQ(getTryLoad(), own);
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(State, BeginsAnewAndTakesAllWithItThatIsOpen)
{
    TestDirectory directory, temporary;
    const string card = directory.write("a.ep", encodeBonas(noisePicture(kindBilevel, 40, 9, 0, 1)));
    const string packed = directory.write("a.zc5", encodeZc5(noisePicture(kindBilevel, 40, 9, 0, 1)));
    llibSetTmpDir("own");
    EXPECT_EQ(load(card, {.id = formatGif}).status, loadWrongFormat);
    const int descriptors = openDescriptors();

    LoaderState* state = llibNewState();
    llibUseState(state);
    EXPECT_TRUE(getTryLoad() == nullptr && llibGetTmpDir() == nullptr && llibGetReason()[0] == 0);
    EXPECT_EQ(loadImgLastFilesize(), 0);
    llibSetTmpDir(temporary.path.c_str());
    llibSetGzipCommand("gzip");
    for (const auto& [path, format] : {std::pair(packed, formatStaubliZc5), std::pair(card, formatBonas)}) {
        OpenPicture open(path, format);
        EXPECT_EQ(open.status, loadSuccess) << llibGetReason();
        open.isEnded = false;
    }
    EXPECT_GT(openDescriptors(), descriptors);
    EXPECT_FALSE(std::filesystem::is_empty(temporary.path));

    llibFreeState(state); // the one in use
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_TRUE(std::filesystem::is_empty(temporary.path));
    EXPECT_STREQ(llibGetTmpDir(), "own");
    EXPECT_STRNE(llibGetReason(), "");
    llibFreeState(nullptr);
    llibSetTmpDir(nullptr);
}

TEST(Messages, GoToTheHandlerOfTheStateLineByLine)
{
    TestDirectory directory;
    const string weave = directory.write("a.weave", "#BINDING\n#DIM=2\n#BATMAP=\n\x80\x40" +
                                                        packedRecord("LINES_REPEAT", {0, 0, 9, 0}) + "#END\n");
    const string drape = directory.write("a.drape", encodeDrape(Bytes(40, 'x')));
    std::vector<string> messages;
    auto loadBoth = [&] {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_EQ(load(weave).status, loadSuccess);
        EXPECT_EQ(load(drape).status, loadWrongFormat);
        fflush(stdout);
        return testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    };
    llibSetMessageHandler(
        [](void* context, const char* message) { static_cast<std::vector<string>*>(context)->push_back(message); },
        &messages);
    EXPECT_EQ(loadBoth(), "");
    const std::vector<string> expected = {"copyTableEqualY: wrong repeat table!", "llib drape load error 6"};
    EXPECT_EQ(messages, expected);
    llibSetMessageHandler(nullptr, nullptr);
    EXPECT_EQ(loadBoth(), expected[0] + "\n" + expected[1] + "\n");
    EXPECT_EQ(messages, expected);
}

TEST(Reasons, ArePrintableAndCut)
{
    EXPECT_EQ(refuse(loadBadData, "a %s", "\n\x7F\x80 \xE4~"), loadBadData);
    EXPECT_STREQ(llibGetReason(), "a ??? ?~");
    refuse(loadBadData, "%s", string(1000, 'a').c_str());
    EXPECT_EQ(llibGetReason(), string(255, 'a'));
    beginLoad(threadState().reasons);
    EXPECT_STREQ(llibGetReason(), "");
    remark(Gravity::harmless, "%s\t", string(190, 'b').c_str());
    remark(Gravity::harmless, "%s", string(1000, 'b').c_str());
    EXPECT_EQ(llibGetRemark(0, nullptr), string(190, 'b') + "?");
    EXPECT_EQ(llibGetRemark(1, nullptr), string(191, 'b'));
    for (i32 index : {-1, 2})
        EXPECT_STREQ(llibGetRemark(index, nullptr), "");
}

TEST(Remarks, KeepTheGraveOnes)
{
    beginLoad(threadState().reasons);
    for (i32 i = 0; i < 20; i++)
        remark(Gravity::harmless, "harmless %d", i % 18);
    auto counts = [] {
        std::array<i32, 3> all = {0, 0, llibGetRemarkCount()};
        for (i32 i = 0; i < all[2]; i++) {
            i32 grave = 7;
            llibGetRemark(i, &grave);
            all[static_cast<size_t>(grave)]++;
        }
        return all;
    };
    EXPECT_EQ(counts(), (std::array{16, 0, 16}));
    for (u64 more : {2, 0, 3})
        remarkCount(Gravity::grave, more, "picks");
    remark(Gravity::grave, "grave");
    remark(Gravity::grave, "grave");
    EXPECT_EQ(counts(), (std::array{14, 2, 16}));
    EXPECT_STREQ(llibGetRemark(0, nullptr), "picks: 5");
    for (i32 i = 0; i < 20; i++)
        remark(Gravity::grave, "grave %d", i);
    EXPECT_EQ(counts(), (std::array{0, 16, 16}));
    EXPECT_STREQ(llibGetRemark(1, nullptr), "grave");
    remarkCount(Gravity::grave, 1, "picks");
    EXPECT_STREQ(llibGetRemark(0, nullptr), "picks: 6");
}

TEST(State, ReadsWeavesOnceItIsPrepared)
{
    returnLoaderFunctions(formatWeave, "");
    WeaveState& weave = threadState().native.weave;
    weave.isWeaveReady = weave.isFabricReady = false;
    for (FormatName format : {formatWeave, formatFabric}) {
        EXPECT_EQ(load("any", {.id = format}).status, loadWrongFormat);
        EXPECT_TRUE(string(llibGetReason()).ends_with(" has not been called"));
    }
    weave.isWeaveReady = weave.isFabricReady = true;
}
