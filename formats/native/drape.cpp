// Projects of the draping application: lines of text, some with a block of bytes behind them. Of all that only the
// preview is read, a complete picture file.
//
//   #NEW_REGION        the beginning of the first line
//   #CPOINTS=n         4 n bytes follow
//   #HVECT=n           4 n bytes follow
//   #VVECT=n           4 n bytes follow
//   #TEXTURE_START=n   n + 1 bytes follow
//   #START_IMAGE=n     n bytes follow, a JPEG, PNG, TIFF, GIF or PCX file; nothing behind it is looked at
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "formats/native/nested_load.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/temporary.h"
#include "framework/thread_state.h"

namespace
{

constexpr char projectStart[] = "#NEW_REGION";
constexpr int lineBytes = 1000;
constexpr i64 mostBlockBytes = INT32_MAX;
constexpr char usualFolder[] = "/tmp";
constexpr FormatId pictureFormats[] = {formatJpeg, formatPng, formatTiff, formatGif, formatPcx};

struct Block {
    const char* key;
    i64 unit;
    i64 more;
    bool isPicture;
};

constexpr Block blocks[] = {
    {"#CPOINTS=", 4, 0, false},       {"#HVECT=", 4, 0, false},      {"#VVECT=", 4, 0, false},
    {"#TEXTURE_START=", 1, 1, false}, {"#START_IMAGE=", 1, 0, true},
};

const Block* blockOf(const char* line)
{
    for (const Block& block : blocks) {
        if (strncmp(line, block.key, strlen(block.key)) == 0)
            return &block;
    }
    return nullptr;
}

LoadStatus readPicture(FILE* stream, i64 size, Buffer& picture, size_t& pictureBytes)
{
    const i64 held = regularFileSize(stream) - ftello(stream);
    if (size > held)
        return refuse(loadBadData, "the file ends in its preview");
    pictureBytes = static_cast<size_t>(size);
    if (!picture.allocate(pictureBytes))
        return refuseMemory();
    return readExactly(stream, picture.bytes, pictureBytes) ? loadSuccess
                                                            : refuse(loadBadData, "the file ends in its preview");
}

LoadStatus findPicture(FILE* stream, Buffer& picture, size_t& pictureBytes)
{
    char line[lineBytes];
    while (fgets(line, lineBytes, stream) != nullptr) {
        if (line[0] != '#')
            return refuse(loadBadData, "one of its lines does not begin with #");
        const Block* block = blockOf(line);
        if (block == nullptr)
            continue;
        const i64 length = strtol(removeHead(line), nullptr, 10);
        if (length < 0 || length > (mostBlockBytes - block->more) / block->unit)
            return refuse(loadBadData, "the record %s tells an impossible size of %lld", block->key,
                          static_cast<long long>(length));
        const i64 size = length * block->unit + block->more;
        if (block->isPicture)
            return readPicture(stream, size, picture, pictureBytes);
        if (fseeko(stream, size, SEEK_CUR) != 0)
            return refuse(loadBadData, "the block behind %s cannot be passed over", block->key);
    }
    return refuse(loadWrongFormat, "there is no preview inside");
}

bool writePicture(int descriptor, const Buffer& picture, size_t pictureBytes)
{
    FILE* stream = fdopen(descriptor, "wb+");
    if (stream == nullptr) {
        close(descriptor);
        return false;
    }
    const bool isWritten = fwrite(picture.bytes, 1, pictureBytes, stream) == pictureBytes;
    return fclose(stream) == 0 && isWritten;
}

LoadStatus writeTemporary(const Buffer& picture, size_t pictureBytes, Temporary& temporary)
{
    char* name = temporary.path.name;
    const char* given = threadState().tmpDir;
    const int length =
        snprintf(name, sizeof temporary.path.name, "%s/TVdrapeXXXXXX", given != nullptr ? given : usualFolder);
    const bool fits = static_cast<size_t>(length) < sizeof temporary.path.name;
    const int descriptor = fits ? mkostemp(name, O_CLOEXEC) : -1;
    if (descriptor < 0) {
        const char* cause = strerror(fits ? errno : ENAMETOOLONG);
        name[0] = 0;
        tell(stderr, "iolib drape loader:: %s\n", cause);
        return refuse(loadCannotRead, "no temporary file can be made for its preview: %s", cause);
    }
    if (!writePicture(descriptor, picture, pictureBytes))
        return refuse(loadCannotRead, "its preview cannot be written to a temporary file");
    return loadSuccess;
}

// The preview as a file of its own.
LoadStatus takeOutPicture(const char* path, Temporary& temporary)
{
    Buffer picture;
    size_t pictureBytes = 0;
    {
        File file;
        LoadStatus status = openFile(path, file);
        if (status == loadSuccess)
            status = findPicture(file.stream, picture, pictureBytes);
        if (status != loadSuccess)
            return status;
    }
    return writeTemporary(picture, pictureBytes, temporary);
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "drape"))
        return refuseName("drape");
    if (probedMark(request.path, projectStart, "drape") == nullptr)
        return loadWrongFormat;
    Temporary temporary;
    if (const LoadStatus status = takeOutPicture(request.path, temporary); status != loadSuccess)
        return status;
    const LoadStatus status = loadNested(temporary.path.name, pictureFormats, request.wantPalette, "Drape", image);
    registerLoadDrape();
    return status;
}

} // namespace

void registerLoadDrape()
{
    registerEntries<tryLoad, loadNestedBand, endNested>();
}
