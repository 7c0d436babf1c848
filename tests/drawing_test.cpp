// Drafts are drawn, and what was drawn is looked at.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "loomfile.hpp"
#include "tests/support.h"

using std::string;

namespace
{

struct Drawn {
    i32 status;
    string bytes;
    string sentence;
};

i32 append(void* context, const void* bytes, u64 count)
{
    static_cast<string*>(context)->append(static_cast<const char*>(bytes), count);
    return 0;
}

Drawn draw(const string& wif, u32 kind, LoomfileDrawing drawing = loomfileDrawing(), LoomfileWriter writer = append)
{
    loomfile::File file = loomfile::File::fromMemory(wif.data(), wif.size(), "draft.wif");
    const loomfile::Draft draft(file);
    LoomfileFailure failure = loomfileFailure();
    Drawn drawn;
    drawn.status = loomfileDraw(draft.get(), &drawing, kind, writer, &drawn.bytes, &failure);
    drawn.sentence = failure.sentence;
    return drawn;
}

// One end on two shafts, one on none; one pick with two treadles.
string smallDraft(const string& shed, const string& title = "Small")
{
    return "[WIF]\nVersion=1.1\n[TEXT]\nTitle=" + title + "\nAuthor=Somebody\n[WEAVING]\nShafts=3\nTreadles=3\n" +
           "Rising Shed=" + shed + "\n[WARP]\nThreads=4\nColor=1\nUnits=centimeters\nSpacing=0.125\n" +
           "[WEFT]\nThreads=3\nColor=3\n[COLOR PALETTE]\nForm=RGB\nRange=0,255\n" +
           "[COLOR TABLE]\n1=255,0,0\n2=0,255,0\n3=255,255,0\n4=0,0,255\n[WARP COLORS]\n2=2\n[WEFT COLORS]\n2=4\n" +
           "[THREADING]\n1=1\n2=2,3\n4=3\n[TIEUP]\n1=1\n2=2\n3=1,3\n[TREADLING]\n1=1\n2=1,2\n3=3\n";
}

// Straight on two shafts.
string plainDraft(u32 ends, u32 picks)
{
    string text =
        "[WIF]\n[TEXT]\nTitle=Plain\n[WEAVING]\nShafts=2\nTreadles=2\n[WARP]\nThreads=" + std::to_string(ends) +
        "\n[WEFT]\nThreads=" + std::to_string(picks) + "\n[TIEUP]\n1=1\n2=2\n";
    for (const char* section : {"[THREADING]\n", "[TREADLING]\n"}) {
        text += section;
        for (u32 i = 1; i <= (section[2] == 'H' ? ends : picks); i++)
            text += std::to_string(i) + "=" + (i % 2 != 0 ? "1\n" : "2\n");
    }
    return text;
}

// The middles of the cells of a small draft, with cells of 10 pixels: a letter a colour, '#' = ink, '.' = paper.
struct Cells {
    loomfile::File file;
    std::vector<u8> rows;

    explicit Cells(const string& png)
        : file(loomfile::File::fromMemory(png.data(), png.size(), "draft.png")), rows(file.readAll())
    {
    }

    u32 height() const { return file.info().height; }
    string line(u32 count, u32 x, u32 y) const
    {
        string letters;
        for (u32 i = 0; i < count; i++) {
            const u8* rgb = &rows[size_t{y + 5} * file.info().rowBytes + size_t{3} * (x + 10 * i + 5)];
            const u32 colour = u32{rgb[0]} << 16 | u32{rgb[1]} << 8 | rgb[2];
            letters += colour == 0xFF0000   ? 'R'
                       : colour == 0x00FF00 ? 'G'
                       : colour == 0xFFFF00 ? 'y'
                       : colour == 0x0000FF ? 'b'
                       : colour == 0xFFFFFF ? '.'
                                            : '#';
        }
        return letters + " ";
    }
    string block(u32 columns, u32 lines, u32 x, u32 y) const
    {
        string letters;
        for (u32 i = 0; i < lines; i++)
            letters += line(columns, x, y + 10 * i);
        return letters;
    }
};

constexpr u32 left = 24;                 // of the drawing
constexpr u32 side = left + 4 * 10 + 10; // of the treadling

} // namespace

TEST(Drawing, PutsEveryCellWhereAWeaverLooksForIt)
{
    LoomfileDrawing drawing = loomfileDrawing();
    drawing.cell = 10;
    const Cells above(draw(smallDraft("yes"), loomfileDrawingPng, drawing).bytes);
    const u32 cloth = above.height() - 24 - 30;
    EXPECT_EQ(above.block(4, 3, left, cloth), "Ryyy RGbb RGyR ");
    EXPECT_EQ(above.block(3, 3, side, cloth), "#.. ##. ..# ");
    EXPECT_EQ(above.block(4, 3, left, cloth - 40), ".#.# .#.. #... ");
    EXPECT_EQ(above.line(4, left, cloth - 40 - 13), "RGRR ");       // colours of the ends
    EXPECT_EQ(above.block(1, 3, side + 33, cloth), "y b y ");       // and of the picks
    EXPECT_EQ(above.block(3, 3, side, cloth - 40), "... ... ... "); // rings have white middles

    drawing.layout = loomfileThreadingBelow;
    drawing.blackAndWhite = 1;
    const Cells below(draw(smallDraft("no"), loomfileDrawingPng, drawing).bytes);
    const u32 threading = below.height() - 24 - 24 - 30; // numbers and colours are under it
    EXPECT_EQ(below.block(4, 3, left, threading - 40), ".#.. .#.# .#.# ");
    EXPECT_EQ(below.block(3, 3, side, threading - 40), "..# ##. #.. ");
    EXPECT_EQ(below.block(4, 3, left, threading), "#... .#.. .#.# ");
    EXPECT_EQ(below.block(3, 3, side, threading), "#.# .#. ..# "); // crosses

    drawing.layout = loomfileThreadingAbove;
    drawing.liftPlan = 1; // shows what is up, though the tie-up says what goes down
    const Cells lifted(draw(smallDraft("no"), loomfileDrawingPng, drawing).bytes);
    EXPECT_EQ(lifted.block(3, 3, side, lifted.height() - 24 - 30), ".## ..# .#. ");
}

TEST(Drawing, WritesTextAsText)
{
    const string title = "R\u00F6llakan <&> \u2013 \u7D21";
    const Drawn svg = draw(smallDraft("yes", title), loomfileDrawingSvg);
    for (const char* text : {">R\u00F6llakan &lt;&amp;&gt; \u2013 \u7D21</text>", ">Somebody</text>",
                             "3 shafts, 3 treadles", "4 ends, 3 picks", "8 ends/cm<", ">4</text>"})
        EXPECT_NE(svg.bytes.find(text), string::npos) << text;
    EXPECT_EQ(svg.bytes, draw(smallDraft("yes", title), loomfileDrawingSvg).bytes);
    auto rings = [](const string& text) {
        const size_t begin = text.find("<path fill=\"none\"");
        return std::count(&text[begin], &text[text.find("/>", begin)], 'z');
    };
    EXPECT_EQ(rings(svg.bytes), 4);
    EXPECT_EQ(rings(draw(smallDraft("no"), loomfileDrawingSvg).bytes), 0);
}

TEST(Drawing, DividesLongDraftsOverPages)
{
    LoomfileDrawing drawing = loomfileDrawing();
    drawing.page = loomfilePageLetter;
    drawing.cell = 16;
    const Drawn pdf = draw(plainDraft(64, 96), loomfileDrawingPdf, drawing);
    EXPECT_EQ(pdf.status, 0) << pdf.sentence;
    EXPECT_NE(pdf.bytes.find("/Count 4\n"), string::npos);
    EXPECT_NE(pdf.bytes.find("612 792"), string::npos);
    EXPECT_EQ(pdf.bytes, draw(plainDraft(64, 96), loomfileDrawingPdf, drawing).bytes);
    TestDirectory files;
    FILE* reader = popen(("pdftotext '" + files.write("draft.pdf", pdf.bytes) + "' -").c_str(), "r");
    string text(1 << 16, 0);
    text.resize(fread(text.data(), 1, text.size(), reader));
    pclose(reader);
    for (const char* part : {"Plain", "64 ends, 96 picks", "Page 1 of 4", "Ends 1\u201332, picks 1\u201348",
                             "Page 4 of 4", "Ends 33\u201364, picks 49\u201396"})
        EXPECT_NE(text.find(part), string::npos) << part;
    // What fits is on one page.
    EXPECT_NE(draw(plainDraft(64, 96), loomfileDrawingPdf).bytes.find("/Count 1\n"), string::npos);
}

TEST(Drawing, RefusesWhatCannotBeDrawn)
{
    LoomfileDrawing drawing = loomfileDrawing();
    drawing.cell = 200;
    Drawn refused = draw(plainDraft(300, 8), loomfileDrawingPng, drawing);
    EXPECT_EQ(refused.status, loadBadData);
    EXPECT_EQ(refused.sentence.find("a PNG of 60"), 0u) << refused.sentence;
    EXPECT_NE(refused.sentence.find("fit, and so does a PDF"), string::npos) << refused.sentence;
    EXPECT_EQ(draw(plainDraft(300, 8), loomfileDrawingSvg, drawing).status, 0);
    refused = draw(plainDraft(8, 65520), loomfileDrawingPdf, drawing);
    EXPECT_EQ(refused.status, loadBadData);
    EXPECT_NE(refused.sentence.find("pages is too long"), string::npos) << refused.sentence;
    EXPECT_EQ(draw(plainDraft(2, 2), 9).status, loadBadData);
    drawing.cell = 201;
    EXPECT_EQ(draw(plainDraft(2, 2), loomfileDrawingPng, drawing).status, loadBadData);
    auto full = [](void*, const void*, u64) -> i32 { return 1; };
    for (const u32 kind : {loomfileDrawingPng, loomfileDrawingSvg, loomfileDrawingPdf})
        EXPECT_EQ(draw(plainDraft(2, 2), kind, loomfileDrawing(), full).status, loomfileCannotWrite);
}
