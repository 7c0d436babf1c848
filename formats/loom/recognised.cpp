// Formats that are recognised and whose layout is not known: a file that is one of them is told so.
#include "formats/catalogue.h"
#include "formats/detection.h"
#include "framework/loader.h"

namespace
{

template <FormatName format>
LoadStatus tryLoad(const LoadRequest& request, ImageInfo&)
{
    const FormatId detected = detectFormat(request.path);
    const char* name = catalogueRow(format)->fullName;
    if (detected == format)
        return refuse(loadUnsupportedVariant, "the layout of %s files is not known", name);
    const CatalogueRow* other = catalogueRow(detected);
    return other != nullptr
               ? refuse(loadWrongFormat, "by its name and its first bytes it is a %s file", other->fullName)
               : refuse(loadWrongFormat, "neither its name nor its first bytes are those of %s files", name);
}

LoadStatus loadBand(u8*, u32, u32)
{
    return refuseUnopened();
}

LoadStatus endLoad()
{
    return loadSuccess;
}

} // namespace

void registerLoadGrosse()
{
    registerEntries<tryLoad<formatGrosse>, loadBand, endLoad>();
}

void registerLoadUPT()
{
    registerEntries<tryLoad<formatUpt>, loadBand, endLoad>();
}

void registerLoadAPF()
{
    registerEntries<tryLoad<formatApf>, loadBand, endLoad>();
}

void registerLoadPanter()
{
    registerEntries<tryLoad<formatPanter>, loadBand, endLoad>();
}

void registerLoadNedgraphicsDES()
{
    registerEntries<tryLoad<formatNedgraphicsDes>, loadBand, endLoad>();
}
