// Fabric files of the weaving application: a weave among the records of its yarns, of which nothing is read.
//
//   # Fabric      the beginning of the first line
//   ...           yarns
//   #BINDING      the weave, as in a weave file, to its #END
#include <cstring>

#include "formats/native/weave.h"
#include "framework/thread_state.h"

constexpr char fabricStart[] = "# Fabric";

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!threadState().native.weave.isFabricReady)
        return loadWrongFormat;
    File file;
    Buffer lineMemory;
    if (LoadStatus status = openLines(request.path, fabricStart, file, lineMemory); status != loadSuccess)
        return status;
    char* line = reinterpret_cast<char*>(lineMemory.bytes);
    if (fgets(line, weaveLineBytes, file.stream) == nullptr || strncmp(line, fabricStart, sizeof fabricStart - 1) != 0)
        return loadWrongFormat;
    while (strcmp(line, weaveStart) != 0) {
        if (fgets(line, weaveLineBytes, file.stream) == nullptr)
            return loadBadData;
    }
    return loadWeave(file.stream, line, "Tevrin Fabric", image);
}

void initLoadFabric()
{
    threadState().native.weave.isFabricReady = true;
}

void registerLoadFabric()
{
    registerEntries<tryLoad, loadWeaveBand, endWeave>();
}
