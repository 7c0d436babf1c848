// The binary portable anymaps P4, P5 and P6: recognised, and refused by design.
//
//   "P4", "P5" or "P6"   the type
//   text lines           comments, width, height, largest value
//   pixels
#include "framework/loader.h"
#include "framework/probe.h"

namespace
{

constexpr i64 probedBytes = 2;

LoadStatus tryLoad(const LoadRequest& request, ImageInfo&)
{
    const u8* header = probedHeader(request.path, probedBytes);
    if (header == nullptr)
        return loadWrongFormat;
    if (header[0] != 'P' || header[1] < '4' || header[1] > '6')
        return refuseMark("binary anymap");
    File file;
    const LoadStatus status = openFile(request.path, file);
    return status == loadSuccess ? refuse(loadWrongFormat, "portable anymaps are recognised and not read") : status;
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

void registerLoadPBM()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
