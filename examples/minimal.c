#include <loomfile.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char** argv)
{
    LoomfileFailure failure = loomfileFailure();
    LoomfileInfo info = loomfileInfo();
    Loomfile* file = loomfileOpen(argc > 1 ? argv[1] : "", NULL, &failure);
    if (file != NULL)
        loomfileGetInfo(file, &info);
    unsigned char* rows = calloc(info.height, info.rowBytes);
    if (file == NULL || rows == NULL || loomfileReadAll(file, rows, info.rowBytes, &failure) != loadSuccess)
        return fprintf(stderr, "%s.\n", failure.sentence), 1;
    printf("%s, %u x %u, first byte %d\n", info.formatName, info.width, info.height, rows[0]);
    loomfileClose(file);
    free(rows);
}
