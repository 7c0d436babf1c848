#pragma once

#include "tload.h"

// What a file is by its name and its first bytes: 1..70, formatNotAnImage or formatNameTooShort.
FormatId detectFormat(const char* path);
