// The readers of drafts: the first byte of the input chooses one, the rest is the file. What is taken is drawn, and
// compared with the drawdown by its definition.
#include <algorithm>
#include <cstdlib>

#include "fuzz/input.h"
#include "loomfile/draft/draft_picture.h"
#include "loomfile/draft/draft_text.h"
#include "loomfile/draft/dtx_reader.h"
#include "loomfile/draft/wif_reader.h"
#include "loomfile/refusal.h"

static void require(bool isSo)
{
    if (!isSo)
        abort();
}

static void checkLists(const std::vector<NumberList>& lists, u32 count, u32 most)
{
    require(lists.size() == count);
    for (const NumberList& list : lists) {
        require(std::is_sorted(list.begin(), list.end(), std::less_equal<>()));
        require(list.empty() || (list.front() >= 1 && list.back() <= most));
    }
}

static void checkDraft(const Draft& draft)
{
    require(draft.ends() >= 1 && draft.ends() <= mostDraftThreads);
    require(draft.picks() >= 1 && draft.picks() <= mostDraftThreads);
    require(draft.shafts >= 1 && draft.shafts <= mostDraftShafts && draft.treadles <= mostDraftShafts);
    checkLists(draft.threading, draft.ends(), draft.shafts);
    if (draft.hasLiftPlan()) {
        checkLists(draft.liftPlan, draft.picks(), draft.shafts);
        require(draft.tieUp.empty() && draft.treadling.empty() && draft.treadles == 0);
    } else {
        checkLists(draft.treadling, draft.picks(), draft.treadles);
        checkLists(draft.tieUp, draft.treadles, draft.shafts);
    }
    for (const Threads* threads : {&draft.warp, &draft.weft}) {
        require(threads->colours.empty() || threads->colours.size() == threads->count);
        for (const auto& lengths : {threads->spacing, threads->thickness})
            require(lengths.empty() || (lengths.size() == threads->count && lengths.front() > 0));
        require(threadsPerCentimetre(*threads) >= 0);
    }
}

static bool isUp(const Draft& draft, const std::vector<u64>& lifted, u32 end)
{
    const NumberList& shafts = draft.threading[end];
    return std::any_of(shafts.begin(), shafts.end(),
                       [&](u32 shaft) { return (lifted[(shaft - 1) / 64] >> (shaft - 1) % 64 & 1) != 0; });
}

// The first rows and the last, into exactly as many bytes.
static void checkPicture(DraftPicture& picture)
{
    constexpr u32 mostRows = 8;
    const Draft& draft = picture.draft;
    LoomfileInfo info = loomfileInfo();
    picture.describe(info);
    const u32 count = std::min(mostRows, info.height);
    std::vector<u8> rows(u64{count} * info.rowBytes), bits((draft.ends() + 7) / 8);
    for (const u32 first : {0U, info.height - count}) {
        picture.draw(first, count, rows.data(), info.rowBytes);
        drawRows(draft, first, 1, bits.data(), 0);
        const std::vector<u64> lifted = liftedShafts(draft, first);
        for (u32 end = 0; end < draft.ends(); end++)
            require(((bits[end / 8] << end % 8 & 0x80) != 0) == isUp(draft, lifted, end));
    }
}

extern "C" int LLVMFuzzerTestOneInput(const u8* data, size_t size)
{
    Input input{data, size};
    const bool isDtx = takeByte(input) % 2 != 0;
    const std::vector<u8> bytes = takeBytes(input, input.left);
    const std::string text = textOf(std::string(bytes.begin(), bytes.end()));
    Remarks remarks;
    beginsAsWif(text);
    beginsAsDtx(text);
    hasWifSections(text);
    hasDtxSections(text);
    try {
        DraftPicture picture(isDtx ? readDtx(text, remarks) : readWif(text, remarks));
        checkDraft(picture.draft);
        checkPicture(picture);
    } catch (const Refusal& refusal) {
        require(refusal.status == loadBadData && !refusal.sentence.empty());
    }
    require(remarks.size() < 40);
    return 0;
}
