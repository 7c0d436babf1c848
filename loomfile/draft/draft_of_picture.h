// The draft of a file that is shown as a picture of lifts.
#pragma once

#include "loomfile/draft/draft.h"

// Reads the picture from the first row on; the next row is the first again. Throws Refusal when it has other colours
// than black and white, or too many different columns.
Draft draftOfPicture(struct Loomfile& file);
