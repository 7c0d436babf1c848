// Writes one sample file of every format; with --seeds, small ones as the inputs of the fuzz target for loaders.
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "samples/all_samples.h"
#include "samples/bytes.h"
#include "samples/picture.h"

// The format, which sample's name the file has and, before a design in two files, the length of its second.
static std::vector<uint8_t> seedOf(size_t number)
{
    const Sample& sample = allSamples()[number];
    std::vector<uint8_t> seed = {static_cast<uint8_t>(sample.format), static_cast<uint8_t>(number)};
    for (const Sample& other : allSamples()) {
        if (sample.partner == nullptr || strcmp(other.name, sample.partner) != 0)
            continue;
        std::vector<uint8_t> partner = other.encode();
        partner.resize(std::min<size_t>(partner.size(), 30000));
        addLittleEndian(seed, static_cast<uint32_t>(partner.size()), 2);
        seed.insert(seed.end(), partner.begin(), partner.end());
    }
    const std::vector<uint8_t> bytes = sample.encode();
    seed.insert(seed.end(), bytes.begin(), bytes.end());
    return seed;
}

int main(int argc, char** argv)
{
    const bool asSeeds = argc == 3 && strcmp(argv[1], "--seeds") == 0;
    if (argc != 2 && !asSeeds) {
        fprintf(stderr, "usage: make-samples [--seeds] DIRECTORY\n");
        return 2;
    }
    const std::filesystem::path directory = argv[argc - 1];
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) {
        fprintf(stderr, "The directory %s cannot be made: %s.\n", directory.c_str(), error.message().c_str());
        return 1;
    }
    if (asSeeds)
        drawSmallSamples();
    for (size_t i = 0; i < allSamples().size(); ++i) {
        const Sample& sample = allSamples()[i];
        const std::string path = (directory / sample.name).string();
        const std::vector<uint8_t> bytes = asSeeds ? seedOf(i) : sample.encode();
        if (bytes.empty() || !writeFile(path, bytes)) {
            fprintf(stderr, "The file %s cannot be written.\n", path.c_str());
            return 1;
        }
        printf("%s\n", path.c_str());
    }
    return 0;
}
