// Formats that are recognised and whose layout is not known: a file that is one of them is told so.
#include "formats/detection.h"
#include "framework/loader.h"

constexpr FormatId grosse = 18;
constexpr FormatId mullerUpt = 41;
constexpr FormatId jacquArtApf = 46;
constexpr FormatId panter = 55;
constexpr FormatId nedgraphicsDes = 58;

template <FormatId format>
static LoadStatus tryLoad(const LoadRequest& request, ImageInfo&)
{
    return detectFormat(request.path) == format ? loadUnsupportedVariant : loadWrongFormat;
}

static LoadStatus loadBand(u8*, u32, u32)
{
    return loadBadData;
}

static LoadStatus endLoad()
{
    return loadSuccess;
}

void registerLoadGrosse()
{
    registerEntries<tryLoad<grosse>, loadBand, endLoad>();
}

void registerLoadUPT()
{
    registerEntries<tryLoad<mullerUpt>, loadBand, endLoad>();
}

void registerLoadAPF()
{
    registerEntries<tryLoad<jacquArtApf>, loadBand, endLoad>();
}

void registerLoadPanter()
{
    registerEntries<tryLoad<panter>, loadBand, endLoad>();
}

void registerLoadNedgraphicsDES()
{
    registerEntries<tryLoad<nedgraphicsDes>, loadBand, endLoad>();
}
