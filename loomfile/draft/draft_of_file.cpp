// The draft of an open file.
#include "loomfile/draft/draft_of_picture.h"
#include "loomfile/reader.h"

Draft Loomfile::draft()
{
    return draftOfPicture(*this);
}
