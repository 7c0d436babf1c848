// What is known of a file besides what a subcommand makes of it.
#pragma once

#include "batch/batch.h"
#include "json.h"

// Fills in which design the picture belongs to, and its facts when they are wanted: formatName, kind, width, height,
// colours, bytes, and remarks as in remarksJson.
void tellFacts(Result& result, const Input& input, const Picture& picture, bool areWanted);

// "bilevel", "indexed", "rgb", "rgba"
const char* kindName(u32 kind);
