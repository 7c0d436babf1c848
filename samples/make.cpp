// Writes one sample file of every format.
#include <cstdio>
#include <filesystem>

#include "samples/bmp_writer.h"
#include "samples/gif_writer.h"
#include "samples/jpeg_writer.h"
#include "samples/pbm_writer.h"
#include "samples/png_writer.h"

static const uint32_t size = 256;
static const uint32_t weaveSize = 400; // a binding needs more pixels to show the motif

struct Sample {
    const char* name;
    std::vector<uint8_t> (*encode)();
};

static const Sample samples[] = {
    {"motif.bmp", [] { return encodeBmp(motifPicture(pictureRgb, size, size)); }},
    {"motif-1bit.bmp", [] { return encodeBmp(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
    {"motif.gif", [] { return encodeGif(motifPicture(pictureIndexed, size, size)); }},
    {"motif.png", [] { return encodePng(motifPicture(pictureRgba, size, size)); }},
    {"motif.jpg", [] { return encodeJpeg(motifPicture(pictureRgb, size, size)); }},
    {"motif.pbm", [] { return encodePbm(motifPicture(pictureBilevel, weaveSize, weaveSize)); }},
};

int main(int argc, char** argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: make-samples DIRECTORY\n");
        return 2;
    }
    std::filesystem::path directory = argv[1];
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) {
        fprintf(stderr, "The directory %s cannot be made: %s.\n", argv[1], error.message().c_str());
        return 1;
    }
    for (const Sample& sample : samples) {
        std::string path = (directory / sample.name).string();
        std::vector<uint8_t> bytes = sample.encode();
        if (bytes.empty() || !writeFile(path, bytes)) {
            fprintf(stderr, "The file %s cannot be written.\n", path.c_str());
            return 1;
        }
        printf("%s\n", path.c_str());
    }
    return 0;
}
