// Fabric files of the weaving application: a weave among the records of its yarns, of which nothing is read.
//
//   # Fabric      the beginning of the first line
//   ...           yarns
//   #BINDING      the weave, as in a weave file, to its #END
#include <cstring>

#include "formats/native/weave.h"
#include "framework/probe.h"
#include "framework/thread_state.h"

namespace
{

constexpr char fabricStart[] = "# Fabric";

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!threadState().native.weave.isFabricReady)
        return refuse(loadWrongFormat, "initLoadFabric has not been called");
    File file;
    Buffer lineMemory;
    if (LoadStatus status = openLines(request.path, fabricStart, "fabric", file, lineMemory); status != loadSuccess)
        return status;
    char* line = reinterpret_cast<char*>(lineMemory.bytes);
    if (fgets(line, weaveLineBytes, file.stream) == nullptr || strncmp(line, fabricStart, sizeof fabricStart - 1) != 0)
        return refuseMark("fabric");
    u64 lines = 0;
    for (; strcmp(line, weaveStart) != 0; lines++) {
        if (fgets(line, weaveLineBytes, file.stream) == nullptr)
            return refuse(loadBadData, "there is no weave in it");
    }
    const LoadStatus status = loadWeave(file.stream, line, "Tevrin Fabric", image);
    if (status == loadSuccess && lines > 1)
        remark(Gravity::harmless, "its yarns are not read");
    return status;
}

} // namespace

void initLoadFabric()
{
    threadState().native.weave.isFabricReady = true;
}

void registerLoadFabric()
{
    registerEntries<tryLoad, loadWeaveBand, endWeave>();
}
