#include "loomfile/archive.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "loomfile/format_facts.h"

// The directory of an archive stands at its end. Numbers are little-endian.
//
//   a member, 46 bytes   "PK", 1, 2   length of its name at 28, of what follows that at 30 and 32, then the name
//   the end, 22 bytes    "PK", 5, 6   bytes of the directory at 12, the length of a comment at 20, the comment
constexpr size_t memberBytes = 46;
constexpr size_t endBytes = 22;
constexpr size_t mostBytes = 1 << 20;

static std::string tailOf(const std::string& path)
{
    std::string tail;
    FILE* file = fopen(path.c_str(), "rbe");
    if (file == nullptr)
        return tail;
    if (fseeko(file, 0, SEEK_END) == 0) {
        const auto size = static_cast<size_t>(std::max<off_t>(ftello(file), 0));
        tail.resize(std::min(size, mostBytes));
        if (fseeko(file, -static_cast<off_t>(tail.size()), SEEK_END) != 0 ||
            fread(tail.data(), 1, tail.size(), file) != tail.size())
            tail.clear();
    }
    fclose(file);
    return tail;
}

static size_t numberAt(const std::string& bytes, size_t at, size_t count)
{
    size_t number = 0;
    for (size_t i = count; i > 0; i--)
        number = number << 8 | static_cast<unsigned char>(bytes[at + i - 1]);
    return number;
}

std::string archiveMember(const std::string& path, const std::string& extension)
{
    const std::string tail = tailOf(path);
    const size_t end = tail.rfind("PK\5\6");
    if (end == std::string::npos || end + endBytes > tail.size())
        return "";
    const size_t directoryBytes = numberAt(tail, end + 12, 4);
    if (directoryBytes > end)
        return "";
    for (size_t at = end - directoryBytes; at + memberBytes <= end;) {
        const size_t length = numberAt(tail, at + 28, 2);
        std::string name = tail.substr(at + memberBytes, length);
        if (extensionOf(name) == extension && name.find('/') == std::string::npos)
            return name;
        at += memberBytes + length + numberAt(tail, at + 30, 2) + numberAt(tail, at + 32, 2);
    }
    return "";
}
