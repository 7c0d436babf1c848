#include "samples/all_samples.h"

#include <algorithm>

#include "samples/bmp_writer.h"
#include "samples/bonas_writer.h"
#include "samples/chinese_writer.h"
#include "samples/colorado_writer.h"
#include "samples/dobby_1858_writer.h"
#include "samples/dornier_writer.h"
#include "samples/doweave_writer.h"
#include "samples/drape_writer.h"
#include "samples/eat_writer.h"
#include "samples/gif_writer.h"
#include "samples/iam_writer.h"
#include "samples/jc4_writer.h"
#include "samples/jc5_writer.h"
#include "samples/jpeg_writer.h"
#include "samples/motif.h"
#include "samples/nedgraphics_writer.h"
#include "samples/palette_writer.h"
#include "samples/pbm_writer.h"
#include "samples/pcx_writer.h"
#include "samples/png_writer.h"
#include "samples/qte_writer.h"
#include "samples/schleicher_writer.h"
#include "samples/small_dobby_writer.h"
#include "samples/smit_writer.h"
#include "samples/somet_writer.h"
#include "samples/sophis_writer.h"
#include "samples/takemura_writer.h"
#include "samples/tiff_writer.h"
#include "samples/tis_writer.h"
#include "samples/uwf_writer.h"
#include "samples/vamatex_writer.h"
#include "samples/vector_writer.h"
#include "samples/weave_writer.h"
#include "samples/wif_writer.h"
#include "samples/zip_writer.h"

static uint32_t size = 256;
static uint32_t weaveSize = 400;          // a binding needs more pixels to show the motif
static const uint32_t groupedHooks = 400; // those of jc5Options()

// Wide enough for padded picks, and in three files.
static std::vector<uint8_t> encodeBonasPart(uint32_t part)
{
    return encodeBonas(motifPicture(pictureBilevel, 1432, 1200), {.picksPerFile = 500}, part);
}

// A first part that lacks picks has to fill a disk: four repeats of the motif each way.
static std::vector<uint8_t> encodeJc4Part(size_t part)
{
    static const Picture motif = motifPicture(pictureBilevel, 1344, 1250);
    Picture cloth = blankPicture(pictureBilevel, 4 * motif.width, 4 * motif.height);
    const size_t rowBytes = pictureRowBytes(motif);
    for (size_t i = 0; i < cloth.rows.size(); ++i)
        cloth.rows[i] = motif.rows[i / (4 * rowBytes) % motif.height * rowBytes + i % rowBytes];
    return cutCards(encodeJc4(cloth), jc4PicksStart, 1457600).at(part);
}

static std::vector<uint8_t> encodeJc3Part(size_t part)
{
    const uint32_t picksPerPart = 500;
    static const Picture picture = motifPicture(pictureBilevel, 1344, 1250);
    return cutCards(encodeJc3(picture, {.picksPerPart = picksPerPart}), jc3PicksStart,
                    picksPerPart * pictureRowBytes(picture))
        .at(part);
}

// Groups of hooks that do not fill their last bytes.
static Jc5Options jc5Options()
{
    return {.name = "Bird on a branch",
            .groups = {{21, "left selvedge"}, {178, "ground"}, {182, "ground"}, {19, "right selvedge"}}};
}

static std::vector<uint8_t> encodeJc5Part(uint32_t firstPick, uint32_t pickCount)
{
    Jc5Options options = jc5Options();
    options.layout = {0x10101};
    options.firstPick = firstPick;
    options.pickCount = pickCount;
    return encodeJc5(motifPicture(pictureBilevel, groupedHooks, groupedHooks), options);
}

// 40 shafts leave no room for bindings: whatever is no ground is lifted.
static Picture motifShadow(uint32_t width, uint32_t height)
{
    const Picture motif = motifPicture(pictureIndexed, width, height);
    const uint32_t cream = 0, linen = 10;
    Picture shadow = blankPicture(pictureBilevel, width, height);
    for (uint32_t i = 0; i < width * height; ++i)
        if (motif.rows[i] != cream && motif.rows[i] != linen)
            shadow.rows[i / width * pictureRowBytes(shadow) + i % width / 8] |=
                static_cast<uint8_t>(0x80 >> i % width % 8);
    return shadow;
}

// The cloth that a draft with a tie-up weaves.
static Picture drawdown(const WifDraft& draft)
{
    Picture cloth = blankPicture(pictureBilevel, draft.ends, draft.picks);
    for (uint32_t i = 0; i < draft.ends * draft.picks; ++i) {
        const uint32_t end = i % draft.ends, pick = i / draft.ends;
        for (uint32_t shaft : draft.tieup[draft.treadling[pick] - 1])
            if (shaft == draft.threading[end][0])
                cloth.rows[pick * pictureRowBytes(cloth) + end / 8] |= static_cast<uint8_t>(0x80 >> end % 8);
    }
    return cloth;
}

static Picture vectorMotif()
{
    return motifPicture(pictureIndexed, size, size);
}

// The picture among what else belongs to a design.
static std::vector<uint8_t> encodeDis()
{
    const std::string text = "Bird on a branch\r\n";
    return encodeZip({{"design.txt", {text.begin(), text.end()}},
                      {"design.tif", encodeTiff(motifPicture(pictureIndexed, size, size))}});
}

// The motif on the shafts, and in the other columns, which are settings, a stripe for each of the colours that take
// turns.
static LoomProgram motifProgram(uint32_t shaftBytes, uint32_t settingBytes, uint32_t height)
{
    const Picture motif = motifShadow(8 * shaftBytes, height);
    const size_t rowBytes = shaftBytes + settingBytes;
    Picture cloth = blankPicture(pictureBilevel, static_cast<uint32_t>(8 * rowBytes), height);
    for (uint32_t y = 0; y < height; ++y) {
        auto row = cloth.rows.begin() + static_cast<ptrdiff_t>(y * rowBytes);
        std::copy_n(motif.rows.begin() + y * shaftBytes, shaftBytes, row);
        row[static_cast<ptrdiff_t>(shaftBytes) + y / 6 % settingBytes] = 0x80;
    }
    return hemmedProgram(cloth, shaftBytes);
}

static const uint32_t hemPicks = 16;

// Every pick twice; where the records keep how often, the picture is empty.
static std::vector<uint8_t> encodePiw()
{
    LoomProgram program = motifProgram(7, 1, 40);
    for (LoomStep& step : program) {
        if (step.kind != LoomStep::pick)
            continue;
        step.count = 2;
        step.row[3] = step.row[4] = 0;
    }
    return encodeVamatex(program, true);
}

// Rows that three numbers can tell: 20 pixels of the motif, and a diagonal in the 8 behind the next four.
static Picture motifOfNumbers()
{
    const Picture motif = motifShadow(20, 28);
    Picture picture = blankPicture(pictureBilevel, 32, motif.height);
    for (uint32_t y = 0; y < motif.height; ++y) {
        for (uint32_t x = 0; x < motif.width; x += 8)
            picture.rows[4 * y + x / 8] = motif.rows[pictureRowBytes(motif) * y + x / 8];
        picture.rows[4 * y + 3] = static_cast<uint8_t>(0x80 >> y % 8);
    }
    return picture;
}

static Picture bilevelMotif()
{
    return motifPicture(pictureBilevel, weaveSize, weaveSize);
}

static const Sample samples[] = {
    {"motif.bmp", 23, [] { return encodeBmp(motifPicture(pictureRgb, size, size)); }},
    {"motif-1bit.bmp", 23, [] { return encodeBmp(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif.gif", 1, [] { return encodeGif(motifPicture(pictureIndexed, size, size)); }},
    {"motif.png", 2, [] { return encodePng(motifPicture(pictureRgba, size, size)); }},
    {"motif.jpg", 4, [] { return encodeJpeg(motifPicture(pictureRgb, size, size)); }},
    {"motif.tif", 5,
     [] {
         return encodeTiff(motifPicture(pictureRgb, size, size), {.compression = 5, .resolution = {{300, 300, 2}}});
     }},
    {"motif-1bit.tif", 5,
     [] {
         return encodeTiff(motifPicture(pictureBilevel, weaveSize, weaveSize), {.bigEndian = true, .compression = 4});
     }},
    {"motif-indexed.tif", 5, [] { return encodeTiff(motifPicture(pictureIndexed, size, size)); }},
    {"motif-alpha.tif", 5, [] { return encodeTiff(motifPicture(pictureRgba, size, size)); }},
    {"motif-cmyk.tif", 5, [] { return encodeTiff(tiffInksOf(motifPicture(pictureRgb, size, size))); }},
    {"motif-lab.tif", 5, [] { return encodeTiff(tiffLabOf(motifPicture(pictureRgb, size, size))); }},
    {"motif.dis", 64, encodeDis},
    {"motif.pbm", 11, [] { return encodePbm(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif.pcx", 3, [] { return encodePcx(motifPicture(pictureRgb, size, size)); }},
    {"motif-8bit.pcx", 3, [] { return encodePcx(motifPicture(pictureIndexed, size, size, 64)); }},
    {"motif-planes.pcx", 3, [] { return encodePcx(motifPicture(pictureIndexed, size, size), {.planes = 4}); }},
    {"motif-1bit.pcx", 3, [] { return encodePcx(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif.pal", 63, [] { return encodeJascPalette(motifPalette(motifColours)); }},
    {"motif-list.pal", 63, [] { return encodeColourList(motifPalette(motifColours)); }},
    {"motif.gpl", 63, [] { return encodeGimpPalette(motifPalette(64), 16); }},
    {"motif.aco", 67, [] { return encodeAco(acoRecords(motifPalette(motifColours))); }},
    {"motif-names.aco", 67, [] { return encodeAco(acoRecords(motifPalette(256)), 2); }},
    {"motif.acb", 68, [] { return encodeAcb(motifPalette(64)); }},
    {"motif.ep", 8, [] { return encodeBonas(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif-parts.ep", 8, [] { return encodeBonasPart(0); }, "motif-parts.001"},
    {"motif-parts.001", 8, [] { return encodeBonasPart(1); }},
    {"motif-parts.002", 8, [] { return encodeBonasPart(2); }},
    {"motif.ep_", 66,
     [] { return compressForExpand(encodeBonas(motifPicture(pictureBilevel, weaveSize, weaveSize))); }},
    {"motif.jc4", 12, [] { return encodeJc4(motifPicture(pictureBilevel, 1344, 1000)); }},
    {"motif-parts.jc4.01", 12, [] { return encodeJc4Part(0); }, "motif-parts.jc4.02"},
    {"motif-parts.jc4.02", 12, [] { return encodeJc4Part(1); }},
    {"motif-parts.jc4.03", 12, [] { return encodeJc4Part(2); }},
    {"motif.jc3", 13, [] { return encodeJc3(motifPicture(pictureBilevel, 2688, 1250)); }},
    {"motif-parts.jc3.01", 13, [] { return encodeJc3Part(0); }, "motif-parts.jc3.02"},
    {"motif-parts.jc3.02", 13, [] { return encodeJc3Part(1); }},
    {"motif-parts.jc3.03", 13, [] { return encodeJc3Part(2); }},
    {"motif-network.1344", 15, [] { return encodeJc4Network(motifPicture(pictureBilevel, 1344, 1000)); }},
    {"motif-email.jc4", 16, [] { return encodeJc4Email(motifPicture(pictureBilevel, 1344, 1000)); }},
    {"motif-loom.oom", 60, [] { return encodeJc4Loom(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif.jc5", 14, [] { return encodeJc5(motifPicture(pictureBilevel, groupedHooks, groupedHooks), jc5Options()); }},
    {"motif-parts.j01", 14, [] { return encodeJc5Part(0, 250); }, "motif-parts.j02"},
    {"motif-parts.j02", 14, [] { return encodeJc5Part(250, 150); }},
    {"motif.zc5", 42, [] { return encodeZc5(motifPicture(pictureBilevel, groupedHooks, groupedHooks), jc5Options()); }},
    {"motif-draft.weave", 10, [] { return encodeWeaveDraft(drawdown(motifDraft()), {.packed = true}); }},
    {"motif-plain-draft.weave", 10,
     [] { return encodeWeaveDraft(drawdown(motifDraft()), {.threading = WeaveThreading::characters}); }},
    {"motif.weave", 10,
     [] { return encodeWeave(motifPicture(pictureBilevel, weaveSize, weaveSize), {.packed = true}); }},
    {"motif-repeats.weave", 10, [] { return encodeWeave(drawdown(motifDraft()), {.repeatsRows = true}); }},
    {"motif.fabric", 40,
     [] { return encodeFabric(encodeWeaveDraft(drawdown(motifDraft()), {.threading = WeaveThreading::bytes})); }},
    {"motif.drape", 39, [] { return encodeDrape(encodePng(motifPicture(pictureRgba, size, size))); }},
    {"motif.svg", 59, [] { return encodeSvg(vectorMotif()); }},
    {"motif.eps", 59, [] { return encodeEps(vectorMotif()); }},
    {"motif.pdf", 59, [] { return encodePdf(vectorMotif()); }},
    {"motif.wif", 21, [] { return encodeWif(motifDraft(), {.lineEnd = "\r\n"}); }},
    {"motif-liftplan.wif", 21, [] { return encodeWif(draftOfPicture(motifPicture(pictureBilevel, 240, 240))); }},
    {"motif.db1", 20, [] { return encodeDobby1858(motifShadow(40, 56)); }},
    {"motif-little-endian.db1", 20, [] { return encodeDobby1858(motifShadow(40, 56), {.littleEndian = true}); }},
    {"motif.dop", 30, [] { return encodeDop(motifProgram(5, 9, 56)); }},
    {"motif.cop", 31, [] { return encodeCop(motifProgram(2, 4, 24)); }},
    {"motif-somet.arm", 52, [] { return encodeSometArm(motifShadow(40, 56)); }},
    {"motif.pid", 33, [] { return encodeVamatex(motifProgram(7, 1, 72), false); }},
    {"motif.piw", 34, [] { return encodePiw(); }},
    {"motif-dostyle", 44, [] { return encodeDoStyle(motifShadow(64, 80)); }},
    {"motif-dotech.pat", 56, [] { return encodeDoTech(motifShadow(64, 80)); }},
    {"motif.mus", 57, [] { return encodeMuster(motifShadow(64, 80)); }},
    {"motif.des", 49, [] { return encodeDoWeave(motifProgram(7, 1, 80), 80 + 2 * hemPicks); }},
    {"motif.sophis-weave", 32, [] { return encodeSophisWeave(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif.sophis-card", 6, [] { return encodeSophisCard(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif.sophis-image", 7, [] { return encodeSophisImage(motifPicture(pictureIndexed, size, size)); }},
    {"motif.uwf", 38,
     [] {
         return encodeUwf(motifPicture(pictureBilevel, weaveSize, weaveSize),
                          {.widths = {weaveSize / 4 * 3, weaveSize / 4}});
     }},
    {"motif.s01", 9, [] { return encodeSchleicher(motifPicture(pictureBilevel, 448, 448), {.block = 4}); }},
    {"motif-smit.arm", 45, [] { return encodeSmit(motifShadow(48, 66)); }},
    {"motif-smit-terry.arm", 45, [] { return encodeSmit(motifShadow(96, 132)); }},
    {"motif-nedgraphics.pat", 48, [] { return encodeNedgraphics(motifPicture(pictureIndexed, size, size), 55); }},
    {"motif.qte", 25, [] { return encodeQte(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif.mot", 35, [] { return encodeQteMotif(motifPicture(pictureBilevel, weaveSize, weaveSize), 2); }},
    {"motif.qtz", 43, [] { return encodeQtz(motifPicture(pictureBilevel, weaveSize, weaveSize), "motif.qte"); }},
    {"motif-varitex.pat", 26, [] { return encodeVaritex(bilevelMotif()); }},
    {"motif-zhu.pat", 53, [] { return encodeZhuPat(motifPicture(pictureBilevel, 396, weaveSize)); }},
    {"motif.sti", 54, [] { return encodeZhuSti(bilevelMotif()); }},
    {"motif.wbf", 61, [] { return encodeWbf(bilevelMotif()); }},
    {"motif.wb", 62, [] { return encodeWb(bilevelMotif()); }},
    {"motif.org", 65, [] { return encodeOrg(bilevelMotif()); }},
    {"motif.dat", 29, [] { return encodeTakemuraDat(bilevelMotif()); }},
    {"motif.cgs", 50, [] { return encodeTakemuraCgs(bilevelMotif(), 64); }},
    {"motif.dp5", 69, [] { return encodeTsudakomaDp5(motifShadow(128, 180)); }},
    {"motif.wjl", 70, [] { return encodeActWjl(motifShadow(40, 56)); }},
    {"smotif.p", 17, [] { return encodeTisHeader(bilevelMotif(), 2); }, "dmotif.s01"},
    {"dmotif.s01", 17, [] { return encodeTisPart(bilevelMotif(), 0, weaveSize * 5 / 8); }, "smotif.p"},
    {"dmotif.s02", 17, [] { return encodeTisPart(bilevelMotif(), weaveSize * 5 / 8); }},
    {"motif.eat", 19, [] { return encodeEat(motifPicture(pictureIndexed, size, size)); }},
    {"motif-1bit.eat", 19, [] { return encodeEat(bilevelMotif()); }},
    // Of this width, no other reader of this extension takes it.
    {"motif-iam.pat", 27, [] { return encodeIamPat(motifPicture(pictureIndexed, 260, size)); }},
    {"motif.bbi", 28, [] { return encodeIamBbi(bilevelMotif()); }},
    {"motif.nax", 51, [] { return encodeNissan(motifShadow(40, 56)); }},
    {"motif.pun", 24, [] { return encodeViable(bilevelMotif()); }},
    {"motif.arm", 37, [] { return encodePignone(motifShadow(40, 56)); }},
    {"motif.dy", 36, [] { return encodeTongYuan(motifOfNumbers()); }},
    {"motif.j1p", 22, [] { return encodeAvl(motifShadow(24, 34)); }},
    {"motif.colorado", 47, [] { return encodeColorado(motifPicture(pictureIndexed, size, size)); }},
};

std::span<const Sample> allSamples()
{
    return samples;
}

void drawSmallSamples()
{
    size = 24;
    weaveSize = 144; // the header of a WB file is a row
}

bool needsCommand(const Sample& sample)
{
    constexpr uint32_t formats[] = {42, 43, 59, 64, 66}; // ZC5, QTZ, vector graphics, DIS, EP_
    return std::find(std::begin(formats), std::end(formats), sample.format) != std::end(formats);
}
