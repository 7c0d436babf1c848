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

constexpr size_t previewNameBytes = 4096;
constexpr int identifyOnly = 2;
constexpr char description[] = "Vector preview PDF EPS SVG";
constexpr const char* extensions[] = {"pdf", "eps", "svg", "svgz"};
constexpr FormatId previewFormats[] = {2}; // PNG

static bool isVectorName(const char* path)
{
    return std::any_of(std::begin(extensions), std::end(extensions),
                       [path](const char* extension) { return hasExtension(path, extension); });
}

static bool namePreview(char* name, const char* path)
{
    const char* directory = llibGetTmpDir();
    if (directory == nullptr || directory[0] == 0)
        return false;
    const int length = snprintf(name, previewNameBytes, "%s%c%s.png", directory, '/', baseName(path));
    return length > 0 && static_cast<size_t>(length) < previewNameBytes;
}

// Whether nothing has the name: what an earlier run left must not pass for a preview of this file, and the command
// must not write through a link that somebody else has put there.
static bool clearName(const char* name)
{
    unlink(name);
    struct stat info;
    return lstat(name, &info) != 0;
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const char* command = llibGetVectorPreviewCommand();
    if (command == nullptr || command[0] == 0 || !isVectorName(request.path))
        return loadWrongFormat;
    if (request.wantPalette == identifyOnly) {
        endNested();
        image.kind = kindRGB;
        image.width = 0;
        image.height = 0;
        reportImage(image, description, pictureOrientation);
        return loadSuccess;
    }
    char name[previewNameBytes];
    if (!namePreview(name, request.path) || !clearName(name))
        return loadWrongFormat;
    const int result = runCommand(
        {commandText(command), commandText(" "), commandPath(request.path), commandText("[0] "), commandPath(name)});
    LoadStatus status = loadWrongFormat;
    if (result >= 0 && !WIFSIGNALED(result)) {
        status = loadNested(name, previewFormats, request.wantPalette, description, image);
        registerLoadVectorPreview();
    }
    unlink(name);
    return status;
}

void registerLoadVectorPreview()
{
    registerEntries<tryLoad, loadNestedBand, endNested>();
}
