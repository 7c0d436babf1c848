// What the drafts of WIF and DTX files tell.
#pragma once

#include <utility>

#include "json.h"

// Labels, "" for further lines of the same, and texts; none when the file tells no draft.
std::vector<std::pair<const char*, std::string>> draftLines(const Picture& picture);
// null when the file tells no draft.
Json draftJson(const Picture& picture);
