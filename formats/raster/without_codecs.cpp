// The pictures of libpng, libjpeg and libtiff, in a library that is built without them: they are recognised, and not
// read.
#include "framework/loader.h"

namespace
{

LoadStatus tryLoad(const LoadRequest&, ImageInfo&)
{
    return refuse(loadUnsupportedVariant, "this library was built without the decoder of such pictures");
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

void registerLoadPNG()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}

void registerLoadJPEG()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}

void registerLoadTIFF()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}

void registerLoadDIS()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
