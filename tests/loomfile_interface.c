/* loomfile.h is one that a C compiler takes; what a host of another age does with its structures. */
#include <stddef.h>
#include <stdlib.h>

#include "loomfile.h"

/* The sum of all bytes of the picture, -1 after a failure. */
long long sumByC(const char* path)
{
    LoomfileFailure failure = loomfileFailure();
    LoomfileOptions options = loomfileOptions();
    LoomfileInfo info = loomfileInfo();
    long long sum = 0;
    unsigned char* rows;
    size_t i;
    Loomfile* file = loomfileOpen(path, &options, &failure);
    if (file == NULL)
        return -1;
    loomfileGetInfo(file, &info);
    rows = malloc((size_t)info.height * info.rowBytes);
    if (rows == NULL || loomfileReadAll(file, rows, info.rowBytes, &failure) != loadSuccess)
        sum = -1;
    for (i = 0; sum >= 0 && i < (size_t)info.height * info.rowBytes; i++)
        sum += rows[i];
    free(rows);
    loomfileClose(file);
    return sum;
}

/* Of a program that was built when the structure ended before height: 1 when what is behind is left alone. */
int keepsOldStructures(const char* path)
{
    LoomfileInfo info = loomfileInfo();
    Loomfile* file = loomfileOpen(path, NULL, NULL);
    if (file == NULL)
        return 0;
    info.size = (u32)offsetof(LoomfileInfo, height);
    info.height = 12345;
    loomfileGetInfo(file, &info);
    loomfileClose(file);
    return info.width != 0 && info.height == 12345 && info.size == offsetof(LoomfileInfo, height);
}
