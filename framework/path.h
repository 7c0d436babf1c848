// What the name of a file tells.
#pragma once

#include <cstddef>

// Whether a path of at least leastLength characters ends in a dot and the extension, which is given in lower case.
bool hasExtension(const char* path, const char* extension, size_t leastLength = 5);

// Turns the last two characters of a numbered part's name into the next number: the last goes up by one, and the one
// before it only when the last has become "0", so that "09" is followed by "0:".
void nextPartName(char* name, size_t length);
