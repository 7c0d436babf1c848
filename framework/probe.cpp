#include "framework/probe.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "framework/path.h"

const u8* probedHeader(const char* path, i64 least)
{
    errno = 0;
    const u8* header = loadImgCheckHeader(path);
    if (header == nullptr) {
        refuseOpening();
        return nullptr;
    }
    if (loadImgLastFilesize() < least) {
        refuse(loadWrongFormat, "the file is too small: %lld bytes", static_cast<long long>(loadImgLastFilesize()));
        return nullptr;
    }
    return header;
}

const u8* probedMark(const char* path, std::string_view mark, const char* format, i64 least)
{
    const u8* header = probedHeader(path, std::max(least, static_cast<i64>(mark.size())));
    if (header != nullptr && memcmp(header, mark.data(), mark.size()) != 0) {
        refuseMark(format);
        return nullptr;
    }
    return header;
}

LoadStatus refuseMark(const char* format)
{
    return refuse(loadWrongFormat, "it does not begin as %s files do", format);
}

LoadStatus openFile(const char* path, File& file)
{
    errno = 0;
    return file.open(path) ? loadSuccess : refuseOpening();
}

LoadStatus openFile(const char* path, File& file, void* header, size_t size, LoadStatus tooShort)
{
    const LoadStatus status = openFile(path, file);
    if (status != loadSuccess)
        return status;
    return readExactly(file.stream, header, size) ? loadSuccess : refuseHeader(tooShort);
}

LoadStatus openNamed(const char* path, const char* extension, File& file, void* header, size_t size)
{
    if (!hasExtension(path, extension))
        return refuseName(extension);
    return openFile(path, file, header, size, loadWrongFormat);
}
