#include <cstring>

#include "framework/thread_state.h"

namespace
{

bool isLineEnd(int c)
{
    return c == '\r' || c == '\n';
}

// The first place in text where before, tag and after stand in a row.
char* findTag(char* text, const char* before, const char* tag, const char* after)
{
    size_t beforeLength = strlen(before);
    size_t tagLength = strlen(tag);
    size_t afterLength = strlen(after);
    for (char* place = strstr(text, before); place != nullptr; place = strstr(place + 1, before)) {
        char* name = place + beforeLength;
        if (strncmp(name, tag, tagLength) == 0 && strncmp(name + tagLength, after, afterLength) == 0)
            return place;
    }
    return nullptr;
}

} // namespace

int tolowerAZ(int c)
{
    auto character = static_cast<signed char>(c);
    return character >= 'A' && character <= 'Z' ? character + ('a' - 'A') : c;
}

void stringToLower(char* text)
{
    for (; *text != 0; text++)
        *text = static_cast<char>(tolowerAZ(*text));
}

char* removeHead(char* text)
{
    while (*text != 0 && *text != '=')
        text++;
    return text + 1;
}

char* removeLast(char* text)
{
    size_t length = strlen(text);
    if (length > 0)
        text[length - 1] = 0;
    return text;
}

char* fgetsDosMac(char* buf, int size, FILE* file)
{
    if (size < 1)
        return nullptr;
    // One lock for the line instead of one for each character.
    flockfile(file);
    int c = getc_unlocked(file);
    // The second half of the previous line's CR LF, or an empty line.
    if (isLineEnd(c))
        c = getc_unlocked(file);
    int count = 0;
    while (c != EOF && count < size && !isLineEnd(c)) {
        buf[count++] = static_cast<char>(c);
        c = getc_unlocked(file);
    }
    funlockfile(file);
    buf[count < size ? count : size - 1] = 0;
    return count > 0 ? buf : nullptr;
}

char* parseOneLineTagXML(char* text, const char* tag)
{
    char* opening = findTag(text, "<", tag, ">");
    if (opening != nullptr) {
        char* content = opening + strlen(tag) + 2;
        char* closing = findTag(content, "</", tag, ">");
        if (closing != nullptr) {
            *closing = 0;
            return content;
        }
    } else {
        char* empty = findTag(text, "<", tag, "/>");
        if (empty != nullptr) {
            *empty = 0;
            return empty;
        }
    }
    if (threadState().verboseXML != 0)
        tell(stdout, "Searching <%s>, found: %s\n", tag, text);
    return nullptr;
}
