#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "batch/inputs.h"
#include "messages.h"

void NameList::open(const std::string& name)
{
    const bool isStandard = name == standardStream;
    file = isStandard ? "standard input" : name;
    descriptor = isStandard ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3) : ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        throw Failure{exitCannotRead, file, "the list cannot be opened " + systemReason(errno)};
    isAtEnd = false;
}

void NameList::read()
{
    constexpr size_t most = 1 << 16;
    bytes.erase(0, taken);
    searched -= taken;
    taken = 0;
    const size_t before = bytes.size();
    bytes.resize(before + most);
    ssize_t got = 0;
    do
        got = ::read(descriptor, bytes.data() + before, most);
    while (got < 0 && errno == EINTR);
    const int errorNumber = errno;
    bytes.resize(before + static_cast<size_t>(got < 0 ? 0 : got));
    isAtEnd = got <= 0;
    if (got < 0)
        throw Failure{exitCannotRead, file, "the list cannot be read " + systemReason(errorNumber)};
    // Names with newlines come in lists with zeros, which have one in what is read first.
    const bool hasZero = !isKnown && bytes.find('\0') != std::string::npos;
    if (!isKnown && (hasZero || isAtEnd || bytes.find('\n') != std::string::npos)) {
        isKnown = true;
        separator = hasZero ? '\0' : '\n';
    }
}

bool NameList::take(std::string& name)
{
    while (isKnown) {
        size_t end = bytes.find(separator, searched);
        searched = bytes.size();
        if (end == std::string::npos && !(isAtEnd && taken < bytes.size()))
            return false;
        end = std::min(end, bytes.size());
        name = bytes.substr(taken, end - taken);
        searched = taken = std::min(end + 1, bytes.size());
        if (separator == '\n' && name.ends_with('\r')) // lists come from other systems, too
            name.pop_back();
        if (!name.empty())
            return true;
    }
    return false;
}

NameList::~NameList()
{
    if (descriptor >= 0)
        close(descriptor);
}
