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
    {"motif.bmp", formatBmp, [] { return encodeBmp(motifPicture(pictureRgb, size, size)); }},
    {"motif-1bit.bmp", formatBmp, [] { return encodeBmp(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif.gif", formatGif, [] { return encodeGif(motifPicture(pictureIndexed, size, size)); }},
    {"motif.png", formatPng, [] { return encodePng(motifPicture(pictureRgba, size, size)); }},
    {"motif.jpg", formatJpeg, [] { return encodeJpeg(motifPicture(pictureRgb, size, size)); }},
    {"motif.tif", formatTiff,
     [] {
         return encodeTiff(motifPicture(pictureRgb, size, size), {.compression = 5, .resolution = {{300, 300, 2}}});
     }},
    {"motif-1bit.tif", formatTiff,
     [] {
         return encodeTiff(motifPicture(pictureBilevel, weaveSize, weaveSize), {.bigEndian = true, .compression = 4});
     }},
    {"motif-indexed.tif", formatTiff, [] { return encodeTiff(motifPicture(pictureIndexed, size, size)); }},
    {"motif-alpha.tif", formatTiff, [] { return encodeTiff(motifPicture(pictureRgba, size, size)); }},
    {"motif-cmyk.tif", formatTiff, [] { return encodeTiff(tiffInksOf(motifPicture(pictureRgb, size, size))); }},
    {"motif-lab.tif", formatTiff, [] { return encodeTiff(tiffLabOf(motifPicture(pictureRgb, size, size))); }},
    {"motif.dis", formatDis, encodeDis},
    {"motif.pbm", formatPbm, [] { return encodePbm(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif.pcx", formatPcx, [] { return encodePcx(motifPicture(pictureRgb, size, size)); }},
    {"motif-8bit.pcx", formatPcx, [] { return encodePcx(motifPicture(pictureIndexed, size, size, 64)); }},
    {"motif-planes.pcx", formatPcx, [] { return encodePcx(motifPicture(pictureIndexed, size, size), {.planes = 4}); }},
    {"motif-1bit.pcx", formatPcx, [] { return encodePcx(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif.pal", formatPalette, [] { return encodeJascPalette(motifPalette(motifColours)); }},
    {"motif-list.pal", formatPalette, [] { return encodeColourList(motifPalette(motifColours)); }},
    {"motif.gpl", formatPalette, [] { return encodeGimpPalette(motifPalette(64), 16); }},
    {"motif.aco", formatPhotoshopAco, [] { return encodeAco(acoRecords(motifPalette(motifColours))); }},
    {"motif-names.aco", formatPhotoshopAco, [] { return encodeAco(acoRecords(motifPalette(256)), 2); }},
    {"motif.acb", formatPhotoshopAcb, [] { return encodeAcb(motifPalette(64)); }},
    {"motif.ep", formatBonas, [] { return encodeBonas(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif-parts.ep", formatBonas, [] { return encodeBonasPart(0); }, "motif-parts.001"},
    {"motif-parts.001", formatBonas, [] { return encodeBonasPart(1); }},
    {"motif-parts.002", formatBonas, [] { return encodeBonasPart(2); }},
    {"motif.ep_", formatBonasCompressed,
     [] { return compressForExpand(encodeBonas(motifPicture(pictureBilevel, weaveSize, weaveSize))); }},
    {"motif.jc4", formatStaubliJc4, [] { return encodeJc4(motifPicture(pictureBilevel, 1344, 1000)); }},
    {"motif-parts.jc4.01", formatStaubliJc4, [] { return encodeJc4Part(0); }, "motif-parts.jc4.02"},
    {"motif-parts.jc4.02", formatStaubliJc4, [] { return encodeJc4Part(1); }},
    {"motif-parts.jc4.03", formatStaubliJc4, [] { return encodeJc4Part(2); }},
    {"motif.jc3", formatStaubliJc3, [] { return encodeJc3(motifPicture(pictureBilevel, 2688, 1250)); }},
    {"motif-parts.jc3.01", formatStaubliJc3, [] { return encodeJc3Part(0); }, "motif-parts.jc3.02"},
    {"motif-parts.jc3.02", formatStaubliJc3, [] { return encodeJc3Part(1); }},
    {"motif-parts.jc3.03", formatStaubliJc3, [] { return encodeJc3Part(2); }},
    {"motif-network.1344", formatStaubliJc4Network,
     [] { return encodeJc4Network(motifPicture(pictureBilevel, 1344, 1000)); }},
    {"motif-email.jc4", formatStaubliJc4Email, [] { return encodeJc4Email(motifPicture(pictureBilevel, 1344, 1000)); }},
    {"motif-loom.oom", formatStaubliJc4Loom,
     [] { return encodeJc4Loom(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif.jc5", formatStaubliJc5,
     [] { return encodeJc5(motifPicture(pictureBilevel, groupedHooks, groupedHooks), jc5Options()); }},
    {"motif-parts.j01", formatStaubliJc5, [] { return encodeJc5Part(0, 250); }, "motif-parts.j02"},
    {"motif-parts.j02", formatStaubliJc5, [] { return encodeJc5Part(250, 150); }},
    {"motif.zc5", formatStaubliZc5,
     [] { return encodeZc5(motifPicture(pictureBilevel, groupedHooks, groupedHooks), jc5Options()); }},
    {"motif-draft.weave", formatWeave, [] { return encodeWeaveDraft(drawdown(motifDraft()), {.packed = true}); }},
    {"motif-plain-draft.weave", formatWeave,
     [] { return encodeWeaveDraft(drawdown(motifDraft()), {.threading = WeaveThreading::characters}); }},
    {"motif.weave", formatWeave,
     [] { return encodeWeave(motifPicture(pictureBilevel, weaveSize, weaveSize), {.packed = true}); }},
    {"motif-repeats.weave", formatWeave, [] { return encodeWeave(drawdown(motifDraft()), {.repeatsRows = true}); }},
    {"motif.fabric", formatFabric,
     [] { return encodeFabric(encodeWeaveDraft(drawdown(motifDraft()), {.threading = WeaveThreading::bytes})); }},
    {"motif.drape", formatDrape, [] { return encodeDrape(encodePng(motifPicture(pictureRgba, size, size))); }},
    {"motif.svg", formatVectorPreview, [] { return encodeSvg(vectorMotif()); }},
    {"motif.eps", formatVectorPreview, [] { return encodeEps(vectorMotif()); }},
    {"motif.pdf", formatVectorPreview, [] { return encodePdf(vectorMotif()); }},
    {"motif.wif", formatWif, [] { return encodeWif(motifDraft(), {.lineEnd = "\r\n"}); }},
    {"motif-liftplan.wif", formatWif, [] { return encodeWif(draftOfPicture(motifPicture(pictureBilevel, 240, 240))); }},
    {"motif.db1", formatStaubli1858, [] { return encodeDobby1858(motifShadow(40, 56)); }},
    {"motif-little-endian.db1", formatStaubli1858,
     [] { return encodeDobby1858(motifShadow(40, 56), {.littleEndian = true}); }},
    {"motif.dop", formatSometDop, [] { return encodeDop(motifProgram(5, 9, 56)); }},
    {"motif.cop", formatSometCop, [] { return encodeCop(motifProgram(2, 4, 24)); }},
    {"motif-somet.arm", formatSometArm, [] { return encodeSometArm(motifShadow(40, 56)); }},
    {"motif.pid", formatVamatexPid, [] { return encodeVamatex(motifProgram(7, 1, 72), false); }},
    {"motif.piw", formatVamatexPiw, [] { return encodePiw(); }},
    {"motif-dostyle", formatDoStyle, [] { return encodeDoStyle(motifShadow(64, 80)); }},
    {"motif-dotech.pat", formatDoTech, [] { return encodeDoTech(motifShadow(64, 80)); }},
    {"motif.mus", formatMuster, [] { return encodeMuster(motifShadow(64, 80)); }},
    {"motif.des", formatDoWeave, [] { return encodeDoWeave(motifProgram(7, 1, 80), 80 + 2 * hemPicks); }},
    {"motif.sophis-weave", formatSophisWeave,
     [] { return encodeSophisWeave(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif.sophis-card", formatSophisCard,
     [] { return encodeSophisCard(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif.sophis-image", formatSophisImage,
     [] { return encodeSophisImage(motifPicture(pictureIndexed, size, size)); }},
    {"motif.uwf", formatUwf,
     [] {
         return encodeUwf(motifPicture(pictureBilevel, weaveSize, weaveSize),
                          {.widths = {weaveSize / 4 * 3, weaveSize / 4}});
     }},
    {"motif.s01", formatSchleicher,
     [] { return encodeSchleicher(motifPicture(pictureBilevel, 448, 448), {.block = 4}); }},
    {"motif-smit.arm", formatSmit, [] { return encodeSmit(motifShadow(48, 66)); }},
    {"motif-smit-terry.arm", formatSmit, [] { return encodeSmit(motifShadow(96, 132)); }},
    {"motif-nedgraphics.pat", formatNedgraphicsPat,
     [] { return encodeNedgraphics(motifPicture(pictureIndexed, size, size), 55); }},
    {"motif.qte", formatQte, [] { return encodeQte(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif.mot", formatQteMotif, [] { return encodeQteMotif(motifPicture(pictureBilevel, weaveSize, weaveSize), 2); }},
    {"motif.qtz", formatQtz, [] { return encodeQtz(motifPicture(pictureBilevel, weaveSize, weaveSize), "motif.qte"); }},
    {"motif-varitex.pat", formatVaritexPat, [] { return encodeVaritex(bilevelMotif()); }},
    {"motif-zhu.pat", formatZhuPat, [] { return encodeZhuPat(motifPicture(pictureBilevel, 396, weaveSize)); }},
    {"motif.sti", formatZhuSti, [] { return encodeZhuSti(bilevelMotif()); }},
    {"motif.wbf", formatWbf, [] { return encodeWbf(bilevelMotif()); }},
    {"motif.wb", formatWb, [] { return encodeWb(bilevelMotif()); }},
    {"motif.org", formatOrg, [] { return encodeOrg(bilevelMotif()); }},
    {"motif.dat", formatTakemuraDat, [] { return encodeTakemuraDat(bilevelMotif()); }},
    {"motif.cgs", formatTakemuraCgs, [] { return encodeTakemuraCgs(bilevelMotif(), 64); }},
    {"motif.dp5", formatTsudakomaDp5, [] { return encodeTsudakomaDp5(motifShadow(128, 180)); }},
    {"motif.wjl", formatActWjl, [] { return encodeActWjl(motifShadow(40, 56)); }},
    {"smotif.p", formatTis, [] { return encodeTisHeader(bilevelMotif(), 2); }, "dmotif.s01"},
    {"dmotif.s01", formatTis, [] { return encodeTisPart(bilevelMotif(), 0, weaveSize * 5 / 8); }, "smotif.p"},
    {"dmotif.s02", formatTis, [] { return encodeTisPart(bilevelMotif(), weaveSize * 5 / 8); }},
    {"motif.eat", formatEat, [] { return encodeEat(motifPicture(pictureIndexed, size, size)); }},
    {"motif-1bit.eat", formatEat, [] { return encodeEat(bilevelMotif()); }},
    // Of this width, no other reader of this extension takes it.
    {"motif-iam.pat", formatIamPat, [] { return encodeIamPat(motifPicture(pictureIndexed, 260, size)); }},
    {"motif.bbi", formatIamBbi, [] { return encodeIamBbi(bilevelMotif()); }},
    {"motif.nax", formatNissan, [] { return encodeNissan(motifShadow(40, 56)); }},
    {"motif.pun", formatPun, [] { return encodeViable(bilevelMotif()); }},
    {"motif.arm", formatPignone, [] { return encodePignone(motifShadow(40, 56)); }},
    {"motif.dy", formatTongYuan, [] { return encodeTongYuan(motifOfNumbers()); }},
    {"motif.j1p", formatAvlJ1p, [] { return encodeAvl(motifShadow(24, 34)); }},
    {"motif.colorado", formatColorado, [] { return encodeColorado(motifPicture(pictureIndexed, size, size)); }},
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
