// What a sheet shows of a file.
#pragma once

#include "batch/batch.h"
#include "commands.h"

// Reads a file: its facts are the result's text, a row of the page's data without what the file system knows; its
// thumbnail and its picture are the attachment, the first "thumbBytes" of which are the thumbnail. Throws Failure.
Result readDesign(const Input& input, const SheetRequest& request, const OpenOptions& options);
// The row of a file that is refused.
std::string refusedDesign(const Failure& failure);
