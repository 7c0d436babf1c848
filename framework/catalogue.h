// One row a format: what to install for it and how it is shown.
#pragma once

#include "tload.h"

struct CatalogueRow {
    void (*registerLoad)();
    const char* fullName;
    const char* nameWithoutLogo;
    const char* iconName;
    bool validForDobby;
};

// Null outside 1..70.
const CatalogueRow* catalogueRow(i64 id);
