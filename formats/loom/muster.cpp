// Muster dobby programs: text, a line a pick.
#include <cstring>

#include "formats/loom/dornier.h"
#include "framework/probe.h"

namespace
{

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (probedHeader(request.path, pickLineBytes) == nullptr)
        return loadWrongFormat;
    const i64 size = loadImgLastFilesize();
    if (size % pickLineBytes != 0)
        return refuse(loadWrongFormat, "its size of %lld bytes is no multiple of %lld", static_cast<long long>(size),
                      static_cast<long long>(pickLineBytes));
    if (size / pickLineBytes > mostSide)
        return refuse(loadWrongFormat, "it has %lld picks, more than %u", static_cast<long long>(size / pickLineBytes),
                      mostSide);
    File file;
    LoadStatus status = openFile(request.path, file);
    if (status != loadSuccess)
        return status;
    // The first pick is what tells the format.
    u8 firstPick[dornierPickBytes];
    status = readPickLine(file.stream, firstPick);
    if (status != loadSuccess)
        return status;

    const auto picks = static_cast<u32>(size / pickLineBytes);
    Buffer table;
    if (request.wantPalette != 0) {
        if (!table.allocate(u64{picks} * dornierPickBytes))
            return refuseMemory();
        memcpy(table.bytes, firstPick, dornierPickBytes);
        status = readPickLines(file.stream, table.bytes, 1, picks);
        if (status != loadSuccess)
            return status;
    }
    keepDornierPicks(image, "Muster", table, picks);
    return loadSuccess;
}

} // namespace

void registerLoadMus()
{
    registerEntries<tryLoad, loadDornierBand, endDornierLoad>();
}
