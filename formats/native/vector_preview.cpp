// Vector graphics, of which a command of the host's makes a PNG:
//
//   command "FILE.pdf"[0] "TEMPORARY-DIRECTORY/FILE.pdf.png"
//
// The [0] asks for the first page.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "formats/native/nested_load.h"
#include "framework/command.h"
#include "framework/path.h"
#include "framework/temporary.h"

namespace
{

constexpr int identifyOnly = 2;
constexpr char description[] = "Vector preview PDF EPS SVG";
constexpr const char* extensions[] = {"pdf", "eps", "svg", "svgz"};
constexpr FormatId previewFormats[] = {formatPng};

bool isVectorName(const char* path)
{
    return std::any_of(std::begin(extensions), std::end(extensions),
                       [path](const char* extension) { return hasExtension(path, extension); });
}

// Where the command is to put the preview. Nothing has that name: what an earlier run left must not pass for a preview
// of this file, and the command must not write through a link that somebody else has put there.
LoadStatus namePreview(const char* path, TemporaryPath& preview)
{
    const char* directory = llibGetTmpDir();
    if (directory == nullptr || directory[0] == 0)
        return refuse(loadWrongFormat, "the temporary directory is not set");
    const int length = snprintf(preview.name, sizeof preview.name, "%s%c%s.png", directory, '/', baseName(path));
    if (length < 0 || static_cast<size_t>(length) >= sizeof preview.name) {
        preview.name[0] = 0;
        return refuse(loadWrongFormat, "the name of its temporary file is too long");
    }
    unlink(preview.name);
    struct stat info;
    if (lstat(preview.name, &info) == 0)
        return refuse(loadWrongFormat, "what cannot be removed is in the way of its temporary file");
    return loadSuccess;
}

LoadStatus identify(ImageInfo& image)
{
    endNested();
    image.kind = kindRGB;
    image.width = 0;
    image.height = 0;
    reportImage(image, description, pictureOrientation);
    return loadSuccess;
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const char* command = llibGetVectorPreviewCommand();
    if (command == nullptr || command[0] == 0)
        return refuse(loadWrongFormat, "no command for previews of vector graphics is set");
    if (!isVectorName(request.path))
        return refuse(loadWrongFormat, "the name does not end in .pdf, .eps, .svg or .svgz");
    if (request.wantPalette == identifyOnly)
        return identify(image);
    Temporary preview;
    const char* name = preview.path.name;
    if (LoadStatus status = namePreview(request.path, preview.path); status != loadSuccess)
        return status;
    const int result = runCommand(
        {commandText(command), commandText(" "), commandPath(request.path), commandText("[0] "), commandPath(name)});
    if (result < 0 || WIFSIGNALED(result))
        return refuseCommand(loadWrongFormat, command, result);
    // Converters also end with a failure when they merely warn: what they left counts.
    const bool isLeft = access(name, R_OK) == 0;
    const LoadStatus status = loadNested(name, previewFormats, request.wantPalette, description, image);
    registerLoadVectorPreview();
    if (status != loadSuccess && (result != 0 || !isLeft))
        return refuseCommand(status, command, result);
    if (result != 0)
        remark(Gravity::harmless, "the command for the preview ended with %d", WEXITSTATUS(result));
    return status;
}

} // namespace

void registerLoadVectorPreview()
{
    registerEntries<tryLoad, loadNestedBand, endNested>();
}
