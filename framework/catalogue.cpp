// The formats by id, row 1 first.
#include "framework/catalogue.h"

#include <iterator>

static constexpr CatalogueRow catalogue[] = {
    {registerLoadGIF, "GIF", " GIF", "emblem-photos", false},
    {registerLoadPNG, "PNG", " PNG", "emblem-photos", false},
    {registerLoadPCX, "PCX", " PCX", "emblem-photos", false},
    {registerLoadJPEG, "JPEG", " JPEG", "emblem-photos", false},
    {registerLoadTIFF, "TIFF", " TIFF", "emblem-photos", false},
    {registerLoadSophisC, "Sophis card", " Sophis card", "sophis", false},
    {registerLoadSophisI, "Sophis image", " Sophis image", "sophis", false},
    {registerLoadBonas, "Bonas", " .EP", "bonas", false},
    {registerLoadSchleicher, "Schleicher", " .s01", "schleicher", false},
    {registerLoadWeave, "Tevrin weave", " weave", "tlogoicon", false},
    {registerLoadPBM, "PBM", " PBM", "emblem-photos", false},
    {registerLoadStaubli, "JC4 Staubli", " JC4", "staubli", false},
    {registerLoadStaubliJC3, "JC3 Staubli", " JC3", "staubli", false},
    {registerLoadStaubliJC5, "JC5 Staubli", " JC5", "staubli", false},
    {registerLoadStaubliJC4network, "JC4 network Staubli", " JC4 network", "staubli", false},
    {registerLoadStaubliJC4email, "JC4 email Staubli", " JC4 email", "staubli", false},
    {registerLoadTis, "TIS/Actrom", " Actrom", "tis", false},
    {registerLoadGrosse, "Grosse", " .WEA", "grosse", false},
    {registerLoadEAT, "EAT", "", "eat", false},
    {registerLoad1858III, "Staubli 1858III", " 1858III .DB1", "staubli", true},
    {registerLoadWIF, "WIF", "WIF", "", false},
    {registerLoadAVLJ1P, "AVL J1P", " .J1P", "avl", false},
    {registerLoadBMP, "BMP", " BMP", "emblem-photos", false},
    {registerLoadPUN, "Viable PUN", " .PUN", "viable", false},
    {registerLoadQTE, "QTE", "QTE", "", false},
    {registerLoadVaritexPAT, "Varitex PAT", " .PAT", "muller", false},
    {registerLoadIAMPAT, "IAM .PAT", " .PAT", "iam", false},
    {registerLoadIAMBBI, "IAM .BBI", " .BBI", "iam", false},
    {registerLoadTakemuraDAT, "Takemura .DAT", " .DAT", "takemura", false},
    {registerLoadSometDOP, "Somet .DOP", " .DOP", "somet", true},
    {registerLoadSometCOP, "Somet .COP", " .COP", "somet", true},
    {registerLoadSophisW, "Sophis weave", " Sophis weave", "sophis", false},
    {registerLoadVamatexPID, "Vamatex .PID", " .PID", "vamatex", true},
    {registerLoadVamatexPIW, "Vamatex .PIW", " .PIW", "vamatex", true},
    {registerLoadQTEMOT, "QTE Motif", "QTE Motif", "", false},
    {registerLoadTongYuanDY, "JinagYin TongYuan", " JinagYin TongYuan .DY", "tongyuan", false},
    {registerLoadPignoneARM, "Nuovo Pignone", " FAST .ARM", "NuovoPignone", true},
    {registerLoadUWF, "Sulzer .UWF", " .UWF", "SULZERtextil", false},
    {registerLoadDrape, "Tevrin Drape", " Tevrin Drape", "Sorvella-22", false},
    {registerLoadFabric, "Tevrin Fabric", " Tevrin Fabric", "Quillon-22", false},
    {registerLoadUPT, "Muller .UPT", " .UPT", "varitex", false},
    {registerLoadStaubliZC5, "ZC5 Staubli", " .ZC5", "staubli", false},
    {registerLoadQTZ, "QTZ (zipped QTE)", " .QTZ", "", false},
    {registerLoadDoStyle, "Dornier DoStyle", " DoStyle", "dornier", true},
    {registerLoadSMIT, "SMIT Textile", " .ARM", "SMITtextile", true},
    {registerLoadAPF, "CSS JacquArt", " .APF", "CSS", false},
    {registerLoadColorado, "Colorado", " Colorado", "Colorado", false},
    {registerLoadNedgraphicsPAT, "Nedgraphics .PAT", " .PAT", "Nedgraphics", false},
    {registerLoadDoWeaveDES, "DoWeave .DES", " DoWeave .DES", "dornier", true},
    {registerLoadTakemuraCGS, "Takemura .CGS", " .CGS", "takemura", false},
    {registerLoadNissan, "Nissan NAX", " NAX", "nissan", true},
    {registerLoadSometARM, "Somet .ARM", " .ARM", "somet", true},
    {registerLoadMotongPAT, "Zhu .PAT", "Zhu .PAT", "", false},
    {registerLoadMotongSTI, "Zhu .STI", "Zhu .STI", "", false},
    {registerLoadPanter, "Panter", " .D00 .W00 .A00", "panter", true},
    {registerLoadDoTech, "Dornier DoTech", " DoTech", "dornier", true},
    {registerLoadMus, "Muster", "Muster", "", true},
    {registerLoadNedgraphicsDES, "Nedgraphics .DES", " .DES", "Nedgraphics", false},
    {registerLoadVectorPreview, "Vector .PDF .EPS .SVG", " .PDF .EPS .SVG", "pdf", false},
    {registerLoadStaubliJC4loom, "JC4 loom Staubli", " JC4 loom", "staubli", false},
    {registerLoadWBF, "Chinese .WBF", "Chinese .WBF", "", false},
    {registerLoadWB, "Chinese .WB", "Chinese .WB", "", false},
    {registerLoadPAL, "Palette .PAL .GPL", "Palette .PAL .GPL", "", false},
    {registerLoadDIS, "JD&N .DES", "JD&N .DES", "", false},
    {registerLoadORG, "Most Dobby .ORG", " .ORG", "most", false},
    {registerLoadBonasCompressed, "Bonas", " .EP_", "bonas", false},
    {registerLoadPhotoshopACO, "Photoshop .ACO", " .ACO", "photoshop", false},
    {registerLoadPhotoshopACB, "Photoshop .ACB", " .ACB", "photoshop", false},
    {registerLoadTsudakomaDP5, "Tsudakoma .DP5", " .DP5", "tsudakoma", true},
    {registerLoadActWJL, "Act .WJL", " .WJL", "Act", true},
};
static_assert(std::size(catalogue) == formatCount);

const CatalogueRow* catalogueRow(i64 id)
{
    return id >= 1 && id <= formatCount ? &catalogue[id - 1] : nullptr;
}

const char* returnLoaderString(int id)
{
    const CatalogueRow* row = catalogueRow(id);
    return row != nullptr ? row->fullName : "";
}

const char* returnLoaderStringNoLogo(int id)
{
    const CatalogueRow* row = catalogueRow(id);
    return row != nullptr ? row->nameWithoutLogo : "";
}

const char* returnLoaderStringJustLogo(int id)
{
    const CatalogueRow* row = catalogueRow(id);
    return row != nullptr ? row->iconName : "";
}

int validForDobbyExtraction(int id)
{
    const CatalogueRow* row = catalogueRow(id);
    return row != nullptr && row->validForDobby ? 1 : 0;
}

int isDrapeProject(int id)
{
    constexpr int drapeProject = 39;
    return id == drapeProject ? 1 : 0;
}
