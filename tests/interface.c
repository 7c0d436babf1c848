/* The header is one that a C compiler takes. */
#include "tload.h"

int formatByC(const char* path)
{
    TryLoadFn none = (TryLoadFn)0;
    int format = returnLoaderFunctions(formatDetect, path);
    return getTryLoad() == none ? loadWrongFormat : format;
}
