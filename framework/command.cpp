#include "framework/command.h"

#include <cstdlib>
#include <cstring>

#include "framework/file.h"

static char* append(char* end, CommandPart part)
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
