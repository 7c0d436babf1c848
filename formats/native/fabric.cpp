// Fabric files of the weaving application: a weave among the records of its yarns, of which nothing is read.
//
//   # Fabric      the beginning of the first line
//   ...           yarns
//   #BINDING      the weave, as in a weave file, to its #END
#include <cstring>

#include "formats/native/weave.h"
#include "framework/file.h"
#include "framework/thread_state.h"

constexpr char fabricStart[] = "# Fabric";
constexpr i64 startBytes = sizeof fabricStart - 1;

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = loadImgCheckHeader(request.path);
    if (header == nullptr || loadImgLastFilesize() < startBytes || memcmp(header, fabricStart, startBytes) != 0 ||
        !threadState().native.weave.isFabricReady)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    Buffer lineMemory;
    if (!lineMemory.allocate(weaveLineBytes))
        return loadOutOfMemory;
    char* line = reinterpret_cast<char*>(lineMemory.bytes);
    if (fgets(line, weaveLineBytes, file.stream) == nullptr || strncmp(line, fabricStart, startBytes) != 0)
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
