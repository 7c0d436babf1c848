// The binary portable anymaps P4, P5 and P6: recognised, and refused by design.
//
//   "P4", "P5" or "P6"   the type
//   text lines           comments, width, height, largest value
//   pixels
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/thread_state.h"

constexpr i64 probedBytes = 2;

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo&)
{
    const u8* header = loadImgCheckHeader(request.path);
    if (header == nullptr || loadImgLastFilesize() < probedBytes || header[0] != 'P' || header[1] < '4' ||
        header[1] > '6')
        return loadWrongFormat;
    File file;
    return file.open(request.path) ? loadWrongFormat : loadCannotRead;
}

static LoadStatus loadBand(u8*, u32, u32)
{
    return loadBadData;
}

static LoadStatus endLoad()
{
    return loadSuccess;
}

void registerLoadPBM()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
