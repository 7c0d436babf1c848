#include "samples/wif_writer.h"

#include "samples/bytes.h"

struct WifText {
    const WifOptions& options;
    std::string text = {};
};

static void addLine(WifText& file, const std::string& line)
{
    file.text += line + file.options.lineEnd;
}

static void addSection(WifText& file, const std::string& name)
{
    if (file.options.blankLines && !file.text.empty())
        addLine(file, "");
    addLine(file, "[" + name + "]");
}

static void addKey(WifText& file, const std::string& key, uint32_t value)
{
    addLine(file, key + "=" + std::to_string(value));
}

static void addLists(WifText& file, const std::string& name, const std::vector<std::vector<uint32_t>>& lists)
{
    if (lists.empty())
        return;
    addSection(file, name);
    for (size_t i = 0; i < lists.size(); ++i) {
        std::string line = std::to_string(i + 1);
        char separator = '=';
        for (uint32_t shaft : lists[i]) {
            line += separator + std::to_string(shaft);
            separator = ',';
        }
        if (!lists[i].empty())
            addLine(file, line);
    }
}

static void addNumbers(WifText& file, const WifDraft& draft)
{
    addLists(file, "THREADING", draft.threading);
    addLists(file, "TIEUP", draft.tieup);
    if (!draft.treadling.empty())
        addSection(file, "TREADLING");
    for (size_t i = 0; i < draft.treadling.size(); ++i)
        if (draft.treadling[i] != 0)
            addKey(file, std::to_string(i + 1), draft.treadling[i]);
    addLists(file, "LIFTPLAN", draft.liftplan);
}

static void addSizes(WifText& file, const WifDraft& draft)
{
    addSection(file, "WEAVING");
    addKey(file, "Shafts", draft.shafts);
    addKey(file, "Treadles", draft.treadles);
    addLine(file, "Rising Shed=yes");
    addSection(file, "WARP");
    addKey(file, "Threads", draft.ends);
    addLine(file, "Units=centimeters");
    addSection(file, "WEFT");
    addKey(file, "Threads", draft.picks);
    addLine(file, "Units=centimeters");
}

std::vector<uint8_t> encodeWif(const WifDraft& draft, const WifOptions& options)
{
    WifText file{options};
    addSection(file, "WIF");
    addLine(file, "Version=1.1");
    addLine(file, "Source Program=make-samples");
    if (options.declareContents) {
        addSection(file, "CONTENTS");
        for (const char* name : {"WEAVING", "WARP", "WEFT"})
            addLine(file, std::string(name) + "=" + options.yes);
        auto declare = [&](const char* name, bool present) {
            addLine(file, std::string(name) + "=" + (present ? options.yes : "no"));
        };
        declare("THREADING", !draft.threading.empty());
        declare("TIEUP", !draft.tieup.empty());
        declare("TREADLING", !draft.treadling.empty());
        declare("LIFTPLAN", !draft.liftplan.empty());
    }
    if (options.numbersFirst)
        addNumbers(file, draft);
    addSizes(file, draft);
    if (!options.numbersFirst)
        addNumbers(file, draft);

    std::vector<uint8_t> bytes;
    addText(bytes, file.text);
    return bytes;
}

WifDraft motifDraft()
{
    WifDraft draft{.ends = 384, .picks = 384, .shafts = 24, .treadles = 24};
    // A line that walks up and down the shafts, in long and short waves, mirrored at the middle of the cloth.
    auto wave = [](uint32_t i, uint32_t count) {
        uint32_t place = i < count / 2 ? i : count - 1 - i;
        uint32_t around = place % 72;
        if (around < 24)
            return around + 1;
        if (around < 36)
            return 24 - (around - 24) - 1;
        if (around < 48)
            return 13 + (around - 36);
        return 24 - (around - 48);
    };
    for (uint32_t end = 0; end < draft.ends; ++end)
        draft.threading.push_back({wave(end, draft.ends)});
    for (uint32_t pick = 0; pick < draft.picks; ++pick)
        draft.treadling.push_back(wave(pick, draft.picks));
    // A twill line of 3/1, 1/3, 4/1, 1/3, 1/2, 3/1.
    static const bool ribs[] = {true,  true, true,  false, true,  false, false, false, true, true, true, true,
                                false, true, false, false, false, true,  false, false, true, true, true, false};
    for (uint32_t treadle = 0; treadle < draft.treadles; ++treadle) {
        std::vector<uint32_t> shafts;
        for (uint32_t shaft = 0; shaft < draft.shafts; ++shaft)
            if (ribs[(shaft + 24 - treadle) % 24])
                shafts.push_back(shaft + 1);
        draft.tieup.push_back(shafts);
    }
    return draft;
}

WifDraft withLiftplan(const WifDraft& draft)
{
    WifDraft lifted = draft;
    lifted.tieup.clear();
    lifted.treadling.clear();
    for (uint32_t treadle : draft.treadling)
        lifted.liftplan.push_back(draft.tieup.at(treadle - 1));
    return lifted;
}

WifDraft draftOfPicture(const Picture& picture)
{
    WifDraft draft{.ends = picture.width, .picks = picture.height, .shafts = picture.width, .treadles = picture.width};
    const size_t rowBytes = pictureRowBytes(picture);
    for (uint32_t end = 1; end <= picture.width; ++end)
        draft.threading.push_back({end});
    for (uint32_t pick = 0; pick < picture.height; ++pick) {
        draft.liftplan.emplace_back();
        for (uint32_t end = 0; end < picture.width; ++end)
            if ((picture.rows[pick * rowBytes + end / 8] << end % 8 & 0x80) != 0)
                draft.liftplan.back().push_back(end + 1);
    }
    return draft;
}
