/* A complete host: reads any file that libTload opens and writes its picture, bilevel pictures as PBM, all others as
 * PPM.
 *
 *     example_host design.gif design.ppm
 *
 * Some loaders remark on what they find on standard output, so the picture does not go there.
 */
#include <stdio.h>
#include <stdlib.h>

#include <tload.h>

/* Everything that tryLoad reports. The description takes 4096 bytes, the palette 256 triples of R, G, B. */
struct Picture {
    u32 kind, width, height, resX, resY, mulX, mulY, firstPart;
    u8 palette[3 * 256], orientationFlag;
    char description[4096];
};

static void convertPixel(const struct Picture* picture, const u8* pixel, u8* rgb)
{
    for (int i = 0; i < 3; ++i) {
        if (picture->kind == kindIndexed)
            rgb[i] = picture->palette[3 * pixel[0] + i];
        else if (picture->kind == kindRGB)
            rgb[i] = pixel[i];
        else /* transparent pixels show white paper */
            rgb[i] = (u8)((pixel[i] * pixel[3] + 255 * (255 - pixel[3]) + 127) / 255);
    }
}

/* 0 when memory does not suffice. */
static int writePicture(FILE* file, const struct Picture* picture, const u8* rows, size_t rowBytes)
{
    if (picture->kind == kindBilevel) {
        /* A set bit is dark here as it is in a PBM file. */
        fprintf(file, "P4\n%u %u\n", picture->width, picture->height);
        fwrite(rows, rowBytes, picture->height, file);
        return 1;
    }
    size_t pixelBytes = llibRowBytes(picture->kind, 1);
    u8* line = malloc(3 * (size_t)picture->width);
    if (line == NULL)
        return 0;
    fprintf(file, "P6\n%u %u\n255\n", picture->width, picture->height);
    for (u32 y = 0; y < picture->height; ++y) {
        for (size_t x = 0; x < picture->width; ++x)
            convertPixel(picture, rows + y * rowBytes + x * pixelBytes, line + 3 * x);
        fwrite(line, 3, picture->width, file);
    }
    free(line);
    return 1;
}

static int fail(const char* path, int status)
{
    fprintf(stderr, "%s: %s\n", path, llibStatusText(status));
    return 1;
}

int main(int argc, char** argv)
{
    static struct Picture picture; /* kind is 0 on entry: no wish for a reduced palette */
    if (argc != 3) {
        fprintf(stderr, "usage: example_host FILE PICTURE\n");
        return 2;
    }
    char* path = argv[1];

    /* 1. Find the loader. */
    int format = returnLoaderFunctions(formatDetect, path);
    if (format < 1 || format > formatCount) {
        fprintf(stderr, "%s: not a picture, or it cannot be read\n", path);
        return 1;
    }

    /* 2. Open the file. When this fails, nothing is open. */
    int status = getTryLoad()(path, &picture.kind, &picture.width, &picture.height, &picture.resX, &picture.resY,
                              &picture.mulX, &picture.mulY, picture.palette, picture.description,
                              &picture.orientationFlag, &picture.firstPart, 1);
    if (status != loadSuccess)
        return fail(path, status);
    fprintf(stderr, "%s: %s, %u x %u\n", path, returnLoaderString(format), picture.width, picture.height);

    /* 3. Read all rows at once, as interlaced and bottom-up files are best read, and close the file in any case. */
    size_t rowBytes = llibRowBytes(picture.kind, picture.width);
    u8* rows = calloc(picture.height, rowBytes);
    status = rows == NULL ? loadOutOfMemory : getLoadBand()(rows, picture.height, (u32)rowBytes);
    getEndLoad()();
    if (status != loadSuccess) {
        free(rows);
        return fail(path, status);
    }

    FILE* file = fopen(argv[2], "wb");
    int isComplete = file != NULL && writePicture(file, &picture, rows, rowBytes) && !ferror(file);
    free(rows);
    if (file != NULL && fclose(file) != 0)
        isComplete = 0;
    if (!isComplete) {
        remove(argv[2]);
        fprintf(stderr, "%s: the picture cannot be written\n", argv[2]);
        return 1;
    }
    return 0;
}
