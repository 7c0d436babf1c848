#include "loomfile/settings.h"

#include <sys/stat.h>

#include <cstdlib>

#include "loomfile/refusal.h"

static std::string usualTmpDir()
{
    struct stat info;
    const char* folder = getenv("TMPDIR");
    return folder != nullptr && stat(folder, &info) == 0 && S_ISDIR(info.st_mode) ? folder : "/tmp";
}

static std::optional<std::string> command(const char* text)
{
    return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

Settings settingsOf(const LoomfileOptions* options)
{
    LoomfileOptions given = loomfileOptions();
    // What the caller's structure does not have stays zero.
    if (options != nullptr)
        memcpy(&given, options, std::min<size_t>(options->size, sizeof given));
    Settings settings;
    if (given.format < 0 || given.format > formatCount)
        throw Refusal{loadWrongFormat, "there is no format with the number " + std::to_string(given.format)};
    settings.format = given.format;
    settings.libtloadOnly = given.libtloadOnly != 0;
    settings.bonasUnpadded = given.bonasUnpadded != 0;
    settings.jc4Module = given.jc4Module;
    if (given.mostPixels != 0)
        settings.mostPixels = given.mostPixels;
    if (given.mostBytes != 0)
        settings.mostBytes = given.mostBytes;
    settings.tmpDir = given.tmpDir != nullptr ? given.tmpDir : usualTmpDir();
    settings.gzip = command(given.gzipCommand);
    settings.unzip = command(given.unzipCommand);
    settings.msExpand = command(given.msExpandCommand);
    settings.vectorPreview = command(given.vectorPreviewCommand);
    settings.graphics = command(given.graphicsCommand);
    return settings;
}
