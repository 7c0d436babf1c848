#include "framework/command.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "framework/file.h"

namespace
{

// What shells answer for a command that they cannot start, and from where on for one that a signal has killed.
constexpr int cannotBeRun = 126;
constexpr int isNotFound = 127;
constexpr int killed = 128;
constexpr int mostSignal = 64;

int signalOf(int result)
{
    if (WIFSIGNALED(result))
        return WTERMSIG(result);
    const int code = WEXITSTATUS(result);
    return code > killed && code <= killed + mostSignal ? code - killed : 0;
}

char* append(char* end, CommandPart part)
{
    if (!part.isPath)
        return stpcpy(end, part.text);
    *end++ = '"';
    if (part.text[0] == '-')
        end = stpcpy(end, "./");
    for (const char* c = part.text; *c != 0; c++) {
        if (strchr("\"$`\\", *c) != nullptr)
            *end++ = '\\';
        *end++ = *c;
    }
    *end++ = '"';
    *end = 0;
    return end;
}

} // namespace

int runCommand(std::initializer_list<CommandPart> parts)
{
    // Every character may be escaped, and every path has quotes and "./".
    size_t largest = 1;
    for (CommandPart part : parts)
        largest += 2 * strlen(part.text) + 4;
    Buffer line;
    if (!line.allocate(largest))
        return -1;
    char* end = reinterpret_cast<char*>(line.bytes);
    for (CommandPart part : parts)
        end = append(end, part);
    return system(reinterpret_cast<char*>(line.bytes));
}

LoadStatus refuseCommand(LoadStatus status, const char* command, int result)
{
    command += strspn(command, " \t");
    const int length = static_cast<int>(std::min(strcspn(command, " \t"), size_t{80})); // its name alone
    if (result == -1)
        return refuse(status, "the command %.*s cannot be run", length, command);
    if (signalOf(result) != 0)
        return refuse(status, "the command %.*s was killed by signal %d", length, command, signalOf(result));
    switch (WEXITSTATUS(result)) {
    case 0:
        return refuse(status, "the command %.*s left no file that can be read", length, command);
    case cannotBeRun:
        return refuse(status, "the command %.*s cannot be run", length, command);
    case isNotFound:
        return refuse(status, "the command %.*s is not found", length, command);
    default:
        return refuse(status, "the command %.*s failed with %d", length, command, WEXITSTATUS(result));
    }
}
