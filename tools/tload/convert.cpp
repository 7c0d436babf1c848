// tload convert: a file becomes a PNG.
#include <cstdio>

#include "commands.h"
#include "output.h"
#include "png_file.h"
#include "progress.h"
#include "temporary_file.h"

static std::string summary(const ConvertRequest& request, const Picture& picture)
{
    const std::string beginning =
        picture.firstPartFile.empty() ? "" : ", the whole design from " + picture.firstPartFile + " on";
    return request.source + ": " + returnLoaderString(picture.format) + ", " + sizeText(picture) + ", " +
           colourText(picture) + beginning + " -> " + request.target;
}

ExitCode convertPicture(const ConvertRequest& request)
{
    resolveTarget(request.target); // a target that cannot be one is told before the picture is read
    auto progress = std::make_unique<Progress>(baseNameOf(request.source), baseNameOf(request.target));
    Picture picture(request.source, request.format);
    Pixels pixels = loadPixels(picture);

    TemporaryFile file(request.target);
    writePng(file, picture, pixels.get(), progress->percentWritten);
    file.moveToTarget();
    progress.reset(); // clears its line
    puts(printable(summary(request, picture)).c_str());
    printComplaint(picture);
    return exitSuccess;
}
