// loomfile sheet: a page that shows the designs of a folder.
#include <algorithm>
#include <filesystem>

#include "messages.h"
#include "sheet/making.h"

// What is common to all files of a sheet and changes what is found of them.
static std::string wayOf(const SheetRequest& request, const OpenOptions& options)
{
    auto command = [](const std::optional<std::string>& text) { return text ? Json(*text) : Json(); };
    return lineOf({request.sett.x, request.sett.y, options.format, options.libtloadOnly, options.bonasLinePadding,
                   options.jc4Module, command(options.gzip), command(options.unzip), command(options.msExpand),
                   command(options.vectorPreview), command(options.graphics)});
}

static std::string titleOf(const SheetRequest& request)
{
    if (!request.title.empty())
        return request.title;
    std::string title;
    for (const std::string& input : request.batch.inputs) {
        std::error_code error;
        const std::filesystem::path path = std::filesystem::weakly_canonical(input, error);
        const std::string name = baseNameOf(error || path.empty() ? input : path.string());
        title += (title.empty() ? "" : ", ") + (name.empty() ? input : name);
    }
    return title.empty() ? "Designs" : title;
}

int makeSheet(const SheetRequest& request, const OpenOptions& options)
{
    SheetMaking sheet(request, options, wayOf(request, options));
    sheet.data.title = titleOf(request);
    BatchOptions batch = request.batch;
    batch.output = sheet.place.folder.empty() ? "" : sheet.place.folder + "/"; // is not read
    int exitCode = sheet.read(batch);
    batch.inputs = sheet.outdated();
    if (!batch.inputs.empty()) {
        batch.list = batch.report = "";
        batch.isQuiet = sheet.isAgain = true;
        exitCode = std::max(exitCode, sheet.read(batch));
    }
    sheet.write();
    if (!request.batch.isQuiet)
        printf("%s: %s, %llu refused\n", printable(request.batch.output).c_str(),
               countText(sheet.data.rows.size(), "file").c_str(), static_cast<unsigned long long>(sheet.refused));
    return exitCode;
}
