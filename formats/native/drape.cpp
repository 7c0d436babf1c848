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

#include <cstdlib>
#include <cstring>

#include "formats/native/nested_load.h"
#include "framework/file.h"
#include "framework/path.h"

constexpr char projectStart[] = "#NEW_REGION";
constexpr i64 startBytes = sizeof projectStart - 1;
constexpr int lineBytes = 1000;
constexpr i64 largestBlock = INT32_MAX;
constexpr char nameTemplate[] = "/tmp/TVdrapeXXXXXX";
constexpr FormatId pictureFormats[] = {4, 2, 5, 1, 3}; // JPEG, PNG, TIFF, GIF, PCX

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

static const Block* blockOf(const char* line)
{
    for (const Block& block : blocks) {
        if (strncmp(line, block.key, strlen(block.key)) == 0)
            return &block;
    }
    return nullptr;
}

static LoadStatus findPicture(FILE* stream, Buffer& picture, size_t& pictureBytes)
{
    const i64 fileSize = regularFileSize(stream);
    char line[lineBytes];
    while (fgets(line, lineBytes, stream) != nullptr) {
        if (line[0] != '#')
            return loadBadData;
        const Block* block = blockOf(line);
        if (block == nullptr)
            continue;
        const i64 length = strtol(removeHead(line), nullptr, 10);
        if (length < 0 || length > (largestBlock - block->more) / block->unit)
            return loadBadData;
        const i64 size = length * block->unit + block->more;
        if (block->isPicture) {
            if (size > fileSize - ftello(stream))
                return loadBadData;
            pictureBytes = static_cast<size_t>(size);
            if (!picture.allocate(pictureBytes))
                return loadOutOfMemory;
            return readExactly(stream, picture.bytes, pictureBytes) ? loadSuccess : loadBadData;
        }
        if (fseeko(stream, size, SEEK_CUR) != 0)
            return loadBadData;
    }
    return loadWrongFormat;
}

// Leaves no file behind when it fails.
static bool writeTemporary(char* name, const Buffer& picture, size_t pictureBytes)
{
    const int descriptor = mkostemp(name, O_CLOEXEC);
    if (descriptor < 0) {
        perror("iolib drape loader:");
        return false;
    }
    FILE* stream = fdopen(descriptor, "wb+");
    if (stream == nullptr)
        close(descriptor);
    bool isWritten = stream != nullptr && fwrite(picture.bytes, 1, pictureBytes, stream) == pictureBytes;
    if (stream != nullptr && fclose(stream) != 0)
        isWritten = false;
    if (!isWritten)
        unlink(name);
    return isWritten;
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "drape"))
        return loadWrongFormat;
    const u8* header = loadImgCheckHeader(request.path);
    if (header == nullptr || loadImgLastFilesize() < startBytes || memcmp(header, projectStart, startBytes) != 0)
        return loadWrongFormat;
    char name[sizeof nameTemplate];
    {
        File file;
        if (!file.open(request.path))
            return loadCannotRead;
        Buffer picture;
        size_t pictureBytes = 0;
        if (LoadStatus status = findPicture(file.stream, picture, pictureBytes); status != loadSuccess)
            return status;
        closeSlot(file.stream);
        memcpy(name, nameTemplate, sizeof name);
        if (!writeTemporary(name, picture, pictureBytes))
            return loadCannotRead;
    }
    const LoadStatus status = loadNested(name, pictureFormats, request.wantPalette, "Drape", image);
    unlink(name);
    registerLoadDrape();
    return status;
}

void registerLoadDrape()
{
    registerEntries<tryLoad, loadNestedBand, endNested>();
}
