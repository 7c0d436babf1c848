#include <zlib.h>

#include <cstdio>
#include <limits>

#include "framework/file.h"
#include "framework/reason.h"

namespace
{

// How many bytes follow the current position; false when the stream cannot tell.
bool bytesLeft(FILE* file, u64& left)
{
    off_t position = ftello(file);
    if (position < 0)
        return false;
    i64 size = regularFileSize(file);
    if (size < 0) {
        if (fseeko(file, 0, SEEK_END) != 0)
            return false;
        size = ftello(file);
        if (fseeko(file, position, SEEK_SET) != 0 || size < 0)
            return false;
    }
    left = size > position ? static_cast<u64>(size - position) : 0;
    return true;
}

} // namespace

int readCompressedData(const char* sizeText, u8* dest, int destCapacity, FILE* file)
{
    unsigned long size = 0;
    if (destCapacity < 0 || sscanf(sizeText, "%lu", &size) != 1)
        return 0;
    // A size that the file does not hold is refused before memory is spent on it.
    u64 left = 0;
    if (bytesLeft(file, left) && size > left) {
        fseeko(file, 0, SEEK_END);
        return 0;
    }
    Buffer compressed;
    if (!compressed.allocate(size) || !readExactly(file, compressed.bytes, size))
        return 0;

    uLongf inflated = static_cast<uLongf>(destCapacity);
    if (uncompress(dest, &inflated, compressed.bytes, size) != Z_OK) {
        tell(stdout, "zlib uncompress failed\n");
        return 0;
    }
    return inflated > 0 ? static_cast<int>(inflated) : 1;
}

int skipCompressedData(const char* sizeText, FILE* file)
{
    unsigned long size = 0;
    if (sscanf(sizeText, "%lu", &size) != 1)
        return 0;
    // A stream that cannot be moved stays where it is, and what is read next tells.
    if (size <= static_cast<unsigned long>(std::numeric_limits<off_t>::max()))
        fseeko(file, static_cast<off_t>(size), SEEK_CUR);
    return 1;
}
