// What the name of a file tells.
#pragma once

#include <cstddef>

// Whether a path of at least leastLength characters ends in a dot and the extension, which is given in lower case.
bool hasExtension(const char* path, const char* extension, size_t leastLength = 5);
