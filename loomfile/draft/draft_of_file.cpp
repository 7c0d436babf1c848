// The draft of an open file.
#include "loomfile/reader.h"

Draft Loomfile::draft()
{
    throw Refusal{loadWrongFormat, "the file holds no draft"};
}
