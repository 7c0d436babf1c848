// Everything that is particular to a format and not its decoding: one row a format, in the order of the ids. Detection,
// the exported questions, the host layer, the page of formats and the tests all take it from here.
#pragma once

#include <iterator>

#include "tload.h"

// Whether detection may tell the format by its extensions. Of formats that share one the first owns it.
enum class Extensions { own, shared };

// A command of the host's without which the format's files are not opened.
enum class Command { none, gzip, unzip, msExpand, vectorPreview };

// How well the contents tell that a file is of the format: by a mark or a check that no other file passes, by a size
// that the header announces, or not at all.
enum class Evidence { mark, size, none };

// Whether bands in order give the same rows as the whole picture in one call: always, unless a grave remark on a band
// tells of damage or of rows in another order, or not.
enum class Bands { inOrder, inOrderUnlessRemarked, whole };

struct CatalogueRow {
    FormatId id;
    void (*registerLoad)();
    const char* fullName;
    const char* nameWithoutLogo;
    const char* iconName;
    bool validForDobby;
    const char* extensions; // in lower case, separated by blanks; empty when only the contents tell
    Extensions ownership;
    bool isRead; // else its files are recognised and refused
    Command command;
    Evidence evidence;
    Bands bands;
    // For the page of formats: what its pictures are, ends x picks or pixels, the files of a design.
    const char* kinds;
    const char* sizes;
    const char* files;
};

// clang-format off
inline constexpr CatalogueRow catalogue[] = {
    {formatGif, registerLoadGIF, "GIF", " GIF", "emblem-photos", false, "gif", Extensions::own, true, Command::none, Evidence::mark, Bands::inOrderUnlessRemarked,
     "indexed", "up to 65535 each way", "one"},
    {formatPng, registerLoadPNG, "PNG", " PNG", "emblem-photos", false, "png", Extensions::own, true, Command::none, Evidence::mark, Bands::inOrderUnlessRemarked,
     "bilevel, indexed, RGB, RGBA", "what libpng takes", "one"},
    {formatPcx, registerLoadPCX, "PCX", " PCX", "emblem-photos", false, "pcx", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "indexed, RGB", "1 to 65520 each way", "one"},
    {formatJpeg, registerLoadJPEG, "JPEG", " JPEG", "emblem-photos", false, "jpg jpeg", Extensions::own, true, Command::none, Evidence::mark, Bands::inOrder,
     "indexed (grey), RGB", "up to 65500 each way", "one"},
    {formatTiff, registerLoadTIFF, "TIFF", " TIFF", "emblem-photos", false, "tif tiff", Extensions::own, true, Command::none, Evidence::mark, Bands::inOrderUnlessRemarked,
     "indexed, RGB, RGBA", "what libtiff takes", "one"},
    {formatSophisCard, registerLoadSophisC, "Sophis card", " Sophis card", "sophis", false, "", Extensions::own, true, Command::none, Evidence::mark, Bands::inOrder,
     "bilevel", "1 to 65520 each way", "one"},
    {formatSophisImage, registerLoadSophisI, "Sophis image", " Sophis image", "sophis", false, "", Extensions::own, true, Command::none, Evidence::mark, Bands::inOrder,
     "indexed", "1 to 65520 each way", "one"},
    {formatBonas, registerLoadBonas, "Bonas", " .EP", "bonas", false, "ep", Extensions::shared, true, Command::none, Evidence::size, Bands::inOrder,
     "bilevel", "up to 67575 x 65535", "d.ep, d.001, d.002, ..."},
    {formatSchleicher, registerLoadSchleicher, "Schleicher", " .s01", "schleicher", false, "s01", Extensions::own, true, Command::none, Evidence::size, Bands::inOrder,
     "bilevel", "up to 99999 each way", "one"},
    {formatWeave, registerLoadWeave, "Tevrin weave", " weave", "tlogoicon", false, "", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "bilevel", "1 to 65520 each way", "one"},
    {formatPbm, registerLoadPBM, "PBM", " PBM", "emblem-photos", false, "pbm pgm ppm", Extensions::shared, false, Command::none, Evidence::mark, Bands::whole,
     "", "refused by design", "one"},
    {formatStaubliJc4, registerLoadStaubli, "JC4 Staubli", " JC4", "staubli", false, "jc4", Extensions::own, true, Command::none, Evidence::size, Bands::whole,
     "bilevel", "whole modules of 1344, 1536 or 3072 hooks", "d.jc4.01, .02, ..."},
    {formatStaubliJc3, registerLoadStaubliJC3, "JC3 Staubli", " JC3", "staubli", false, "jc3", Extensions::own, true, Command::none, Evidence::size, Bands::whole,
     "bilevel", "whole modules of 1344, 1536 or 3072 hooks", "d.jc3.01, .02, ..."},
    {formatStaubliJc5, registerLoadStaubliJC5, "JC5 Staubli", " JC5", "staubli", false, "jc5", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "bilevel", "2 to 65520 each way", "d.j01, d.j02, ..."},
    {formatStaubliJc4Network, registerLoadStaubliJC4network, "JC4 network Staubli", " JC4 network", "staubli", false, "", Extensions::own, true, Command::none, Evidence::none, Bands::whole,
     "bilevel", "width from the name, up to 65520", "one"},
    {formatStaubliJc4Email, registerLoadStaubliJC4email, "JC4 email Staubli", " JC4 email", "staubli", false, "jc4 dat", Extensions::shared, true, Command::none, Evidence::size, Bands::whole,
     "bilevel", "as JC4", "one"},
    {formatTis, registerLoadTis, "TIS/Actrom", " Actrom", "tis", false, "p s01", Extensions::shared, true, Command::none, Evidence::none, Bands::inOrder,
     "bilevel", "up to 99999 each way", "sNAME.p with dNAME.s01, .s02, ..."},
    {formatGrosse, registerLoadGrosse, "Grosse", " .WEA", "grosse", false, "wea", Extensions::own, false, Command::none, Evidence::none, Bands::whole,
     "", "", "recognised, layout unknown"},
    {formatEat, registerLoadEAT, "EAT", "", "eat", false, "", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "bilevel, indexed", "1 to 65520 each way", "one"},
    {formatStaubli1858, registerLoad1858III, "Staubli 1858III", " 1858III .DB1", "staubli", true, "db1", Extensions::own, true, Command::none, Evidence::size, Bands::inOrder,
     "bilevel", "40 x up to 65535", "one"},
    {formatWif, registerLoadWIF, "WIF", "WIF", "", false, "wif", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "bilevel", "2 to 65520 each way", "one"},
    {formatAvlJ1p, registerLoadAVLJ1P, "AVL J1P", " .J1P", "avl", false, "j1p", Extensions::own, true, Command::none, Evidence::size, Bands::inOrder,
     "bilevel", "1 to 65520 each way", "one"},
    {formatBmp, registerLoadBMP, "BMP", " BMP", "emblem-photos", false, "bmp", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "bilevel, indexed, RGB, RGBA", "1 to 65520 each way", "one"},
    {formatPun, registerLoadPUN, "Viable PUN", " .PUN", "viable", false, "pun", Extensions::own, true, Command::none, Evidence::size, Bands::inOrder,
     "bilevel", "64 to 65520 x 1 to 65520", "one"},
    {formatQte, registerLoadQTE, "QTE", "QTE", "", false, "qte", Extensions::own, true, Command::none, Evidence::size, Bands::inOrder,
     "bilevel", "1 to 65520 each way", "one"},
    {formatVaritexPat, registerLoadVaritexPAT, "Varitex PAT", " .PAT", "muller", false, "pat", Extensions::shared, true, Command::none, Evidence::none, Bands::inOrder,
     "bilevel", "multiples of 8 up to 65520 x 1 to 65520", "one"},
    {formatIamPat, registerLoadIAMPAT, "IAM .PAT", " .PAT", "iam", false, "pat", Extensions::shared, true, Command::none, Evidence::size, Bands::inOrder,
     "indexed", "1 to 65520 each way", "one"},
    {formatIamBbi, registerLoadIAMBBI, "IAM .BBI", " .BBI", "iam", false, "bbi", Extensions::own, true, Command::none, Evidence::size, Bands::inOrder,
     "bilevel", "1 to 65520 each way", "one"},
    {formatTakemuraDat, registerLoadTakemuraDAT, "Takemura .DAT", " .DAT", "takemura", false, "dat", Extensions::own, true, Command::none, Evidence::size, Bands::inOrder,
     "bilevel", "1 to 65520 each way", "one"},
    {formatSometDop, registerLoadSometDOP, "Somet .DOP", " .DOP", "somet", true, "dop", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "bilevel", "112 x 2 to 65520", "one"},
    {formatSometCop, registerLoadSometCOP, "Somet .COP", " .COP", "somet", true, "cop", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "bilevel", "48 x 2 to 65520", "one"},
    {formatSophisWeave, registerLoadSophisW, "Sophis weave", " Sophis weave", "sophis", false, "", Extensions::own, true, Command::none, Evidence::mark, Bands::inOrder,
     "bilevel", "1 to 65520 each way", "one"},
    {formatVamatexPid, registerLoadVamatexPID, "Vamatex .PID", " .PID", "vamatex", true, "pid", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "bilevel", "64 x 2 to 65520", "one"},
    {formatVamatexPiw, registerLoadVamatexPIW, "Vamatex .PIW", " .PIW", "vamatex", true, "piw", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "bilevel", "64 x 2 to 65520", "one"},
    {formatQteMotif, registerLoadQTEMOT, "QTE Motif", "QTE Motif", "", false, "mot", Extensions::own, true, Command::none, Evidence::size, Bands::inOrder,
     "bilevel", "1 to 65520 each way", "one"},
    {formatTongYuan, registerLoadTongYuanDY, "JinagYin TongYuan", " JinagYin TongYuan .DY", "tongyuan", false, "dy", Extensions::own, true, Command::none, Evidence::size, Bands::whole,
     "bilevel", "32 x 2 to 65520", "one"},
    {formatPignone, registerLoadPignoneARM, "Nuovo Pignone", " FAST .ARM", "NuovoPignone", true, "arm", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "bilevel", "40 x 2 to 65520", "one"},
    {formatUwf, registerLoadUWF, "Sulzer .UWF", " .UWF", "SULZERtextil", false, "uwf", Extensions::own, true, Command::none, Evidence::mark, Bands::inOrder,
     "bilevel", "multiples of 8 from 8 x 2 on", "one"},
    {formatDrape, registerLoadDrape, "Tevrin Drape", " Tevrin Drape", "Sorvella-22", false, "drape", Extensions::shared, true, Command::none, Evidence::mark, Bands::whole,
     "that of its preview", "that of its preview", "one"},
    {formatFabric, registerLoadFabric, "Tevrin Fabric", " Tevrin Fabric", "Quillon-22", false, "", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "bilevel", "1 to 65520 each way", "one"},
    {formatUpt, registerLoadUPT, "Muller .UPT", " .UPT", "varitex", false, "upt", Extensions::own, false, Command::none, Evidence::none, Bands::whole,
     "", "", "recognised, layout unknown"},
    {formatStaubliZc5, registerLoadStaubliZC5, "ZC5 Staubli", " .ZC5", "staubli", false, "zc5", Extensions::own, true, Command::gzip, Evidence::mark, Bands::whole,
     "bilevel", "as JC5", "as JC5"},
    {formatQtz, registerLoadQTZ, "QTZ (zipped QTE)", " .QTZ", "", false, "qtz", Extensions::own, true, Command::unzip, Evidence::mark, Bands::inOrder,
     "bilevel", "as QTE", "a zip of one"},
    {formatDoStyle, registerLoadDoStyle, "Dornier DoStyle", " DoStyle", "dornier", true, "", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "bilevel", "64 x 2 to 65520", "one"},
    {formatSmit, registerLoadSMIT, "SMIT Textile", " .ARM", "SMITtextile", true, "arm", Extensions::shared, true, Command::none, Evidence::mark, Bands::whole,
     "bilevel", "48 or 96 x 2 to 65520", "one"},
    {formatApf, registerLoadAPF, "CSS JacquArt", " .APF", "CSS", false, "apf", Extensions::own, false, Command::none, Evidence::none, Bands::whole,
     "", "", "recognised, layout unknown"},
    {formatColorado, registerLoadColorado, "Colorado", " Colorado", "Colorado", false, "", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "indexed", "1 to 65535 each way", "one"},
    {formatNedgraphicsPat, registerLoadNedgraphicsPAT, "Nedgraphics .PAT", " .PAT", "Nedgraphics", false, "pat", Extensions::own, true, Command::none, Evidence::size, Bands::inOrder,
     "indexed", "1 to 65520 each way", "one"},
    {formatDoWeave, registerLoadDoWeaveDES, "DoWeave .DES", " DoWeave .DES", "dornier", true, "des", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "bilevel", "64 x 2 to 65520", "one"},
    {formatTakemuraCgs, registerLoadTakemuraCGS, "Takemura .CGS", " .CGS", "takemura", false, "cgs", Extensions::own, true, Command::none, Evidence::mark, Bands::inOrder,
     "bilevel", "120 to 65520 x 1 to 65520", "one"},
    {formatNissan, registerLoadNissan, "Nissan NAX", " NAX", "nissan", true, "nax", Extensions::shared, true, Command::none, Evidence::mark, Bands::whole,
     "bilevel", "40 x 2 to 65520", "one"},
    {formatSometArm, registerLoadSometARM, "Somet .ARM", " .ARM", "somet", true, "arm", Extensions::shared, true, Command::none, Evidence::none, Bands::whole,
     "bilevel", "40 x 2 to 65520", "one"},
    {formatZhuPat, registerLoadMotongPAT, "Zhu .PAT", "Zhu .PAT", "", false, "pat", Extensions::shared, true, Command::none, Evidence::mark, Bands::inOrder,
     "bilevel", "1 to 65520 each way", "one"},
    {formatZhuSti, registerLoadMotongSTI, "Zhu .STI", "Zhu .STI", "", false, "sti", Extensions::own, true, Command::none, Evidence::size, Bands::inOrder,
     "bilevel", "1 to 65520 each way", "one"},
    {formatPanter, registerLoadPanter, "Panter", " .D00 .W00 .A00", "panter", true, "d00 w00 a00", Extensions::own, false, Command::none, Evidence::none, Bands::whole,
     "", "", "recognised, layout unknown"},
    {formatDoTech, registerLoadDoTech, "Dornier DoTech", " DoTech", "dornier", true, "pat", Extensions::shared, true, Command::none, Evidence::size, Bands::whole,
     "bilevel", "64 x 1 to 65520", "one"},
    {formatMuster, registerLoadMus, "Muster", "Muster", "", true, "mus", Extensions::shared, true, Command::none, Evidence::size, Bands::whole,
     "bilevel", "64 x 1 to 65520", "one"},
    {formatNedgraphicsDes, registerLoadNedgraphicsDES, "Nedgraphics .DES", " .DES", "Nedgraphics", false, "des", Extensions::shared, false, Command::none, Evidence::none, Bands::whole,
     "", "", "recognised, layout unknown"},
    {formatVectorPreview, registerLoadVectorPreview, "Vector .PDF .EPS .SVG", " .PDF .EPS .SVG", "pdf", false, "pdf eps svg svgz", Extensions::own, true, Command::vectorPreview, Evidence::mark, Bands::whole,
     "what the converter draws", "what the converter draws", "one"},
    {formatStaubliJc4Loom, registerLoadStaubliJC4loom, "JC4 loom Staubli", " JC4 loom", "staubli", false, "oom", Extensions::own, true, Command::none, Evidence::size, Bands::inOrder,
     "bilevel", "multiples of 8 up to 65520 x 1 to 65520", "one"},
    {formatWbf, registerLoadWBF, "Chinese .WBF", "Chinese .WBF", "", false, "wbf", Extensions::own, true, Command::none, Evidence::size, Bands::inOrder,
     "bilevel", "8 to 65520 x 1 to 65520", "one"},
    {formatWb, registerLoadWB, "Chinese .WB", "Chinese .WB", "", false, "wb", Extensions::own, true, Command::none, Evidence::size, Bands::inOrder,
     "bilevel", "multiples of 16, 144 to 65520 x 1 to 65520", "one"},
    {formatPalette, registerLoadPAL, "Palette .PAL .GPL", "Palette .PAL .GPL", "", false, "pal gpl", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "indexed", "up to 256 colours", "one"},
    {formatDis, registerLoadDIS, "JD&N .DES", "JD&N .DES", "", false, "dis", Extensions::own, true, Command::unzip, Evidence::mark, Bands::whole,
     "as TIFF", "as TIFF", "a zip with a TIFF"},
    {formatOrg, registerLoadORG, "Most Dobby .ORG", " .ORG", "most", false, "org", Extensions::own, true, Command::none, Evidence::size, Bands::whole,
     "bilevel", "1 to 65520 each way", "one"},
    {formatBonasCompressed, registerLoadBonasCompressed, "Bonas", " .EP_", "bonas", false, "ep_", Extensions::own, true, Command::msExpand, Evidence::mark, Bands::inOrder,
     "bilevel", "as Bonas", "one"},
    {formatPhotoshopAco, registerLoadPhotoshopACO, "Photoshop .ACO", " .ACO", "photoshop", false, "aco", Extensions::own, true, Command::none, Evidence::size, Bands::whole,
     "indexed, from 256 colours on RGB", "up to 32767 colours", "one"},
    {formatPhotoshopAcb, registerLoadPhotoshopACB, "Photoshop .ACB", " .ACB", "photoshop", false, "acb", Extensions::own, true, Command::none, Evidence::mark, Bands::whole,
     "indexed, from 256 colours on RGB", "up to 32767 colours", "one"},
    {formatTsudakomaDp5, registerLoadTsudakomaDP5, "Tsudakoma .DP5", " .DP5", "tsudakoma", true, "dp5", Extensions::own, true, Command::none, Evidence::size, Bands::inOrder,
     "bilevel", "128 x 1 to 65520", "one"},
    {formatActWjl, registerLoadActWJL, "Act .WJL", " .WJL", "Act", true, "wjl", Extensions::own, true, Command::none, Evidence::mark, Bands::inOrder,
     "bilevel", "40 x 1 to 65520", "one"},
};
// clang-format on
static_assert(std::size(catalogue) == formatCount);

// Null outside 1..70.
const CatalogueRow* catalogueRow(i64 id);

constexpr bool catalogueIsInOrder()
{
    for (size_t i = 0; i < std::size(catalogue); i++) {
        if (catalogue[i].id != static_cast<FormatId>(i + 1))
            return false;
    }
    return true;
}
static_assert(catalogueIsInOrder());
