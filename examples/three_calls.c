#include <stdio.h>
#include <stdlib.h>
#include <tload.h>

int main(int argc, char** argv)
{
    u32 kind = 0, width, height, resX, resY, mulX, mulY, firstPart, lifted = 0;
    u8 palette[768], orientation;
    char text[4096];
    int format = argc == 2 ? returnLoaderFunctions(formatDetect, argv[1]) : formatNotAnImage;
    if (format < 1 || format > formatCount ||
        getTryLoad()(argv[1], &kind, &width, &height, &resX, &resY, &mulX, &mulY, palette, text, &orientation,
                     &firstPart, 1) != loadSuccess)
        return 1;
    u8* rows = calloc(height, llibRowBytes(kind, width));
    int status = rows ? getLoadBand()(rows, height, llibRowBytes(kind, width)) : loadOutOfMemory;
    getEndLoad()();
    for (u32 x = 0; status == loadSuccess && kind == kindBilevel && x < width; ++x)
        lifted += rows[x / 8] >> (7 - x % 8) & 1;
    if (status == loadSuccess)
        printf("%s, %u x %u, lifted ends in row 1: %u\n", returnLoaderString(format), width, height, lifted);
    free(rows);
    return status;
}
