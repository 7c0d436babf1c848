// The draft of an open file, and files that are shown by their draft.
#include <cerrno>
#include <cstdio>

#include "loomfile/draft/draft_of_picture.h"
#include "loomfile/draft/draft_text.h"
#include "loomfile/draft/dtx_reader.h"
#include "loomfile/draft/wif_reader.h"
#include "loomfile/format_facts.h"
#include "loomfile/reader.h"

namespace
{

std::string readFile(const std::string& path, u64 bytes)
{
    std::string content(bytes, 0);
    FILE* file = fopen(path.c_str(), "rbe");
    if (file == nullptr)
        throw Refusal{loadCannotRead, "the file cannot be opened " + systemReason(errno)};
    content.resize(fread(content.data(), 1, bytes, file));
    fclose(file);
    return content;
}

} // namespace

// Takes the file when it is a draft by its first line, by its name and contents, or when it is to be read as WIF.
bool Loomfile::openDraft()
{
    if (settings.libtloadOnly || (settings.format != 0 && settings.format != formatWif))
        return false;
    const std::string start = textOf(std::string(reinterpret_cast<const char*>(header), headerBytes));
    const std::string extension = extensionOf(path);
    const bool isMarkedWif = beginsAsWif(start) || settings.format == formatWif;
    const bool mayBeWif = isMarkedWif || extension == "wif", mayBeDtx = beginsAsDtx(start) || extension == "dtx";
    if (!mayBeWif && !mayBeDtx)
        return false;
    if (fileBytes > settings.mostBytes)
        throw Refusal{loadOutOfMemory, "the draft takes " + std::to_string(fileBytes) + " bytes, more than the " +
                                           std::to_string(settings.mostBytes) + " that are allowed"};
    const std::string text = textOf(readFile(path, fileBytes));
    const bool isDtx = !isMarkedWif && mayBeDtx && hasDtxSections(text);
    const bool isWif = !isDtx && mayBeWif && hasWifSections(text);
    if (isMarkedWif && !isWif)
        throw Refusal{loadWrongFormat,
                      "this is no WIF draft: none of the sections [WEAVING], [WARP], [WEFT], [THREADING] and so on is "
                      "there",
                      "", formatWif};
    if (!isDtx && !isWif)
        return false;
    info.format = isDtx ? 0 : formatWif;
    info.formatName = isDtx ? "DTX draft" : returnLoaderString(formatWif);
    try {
        shown = std::make_unique<DraftPicture>(isDtx ? readDtx(text, remarks) : readWif(text, remarks));
    } catch (Refusal& refusal) {
        refusal.format = info.format;
        throw;
    }
    shown->describe(info);
    info.description = isDtx ? "DTX draft" : "WIF draft";
    info.firstPartFile = "";
    info.fileBytes = fileBytes;
    if (const Attempt refused = limit())
        throw Refusal(*refused);
    return true;
}

Draft Loomfile::draft()
{
    return shown != nullptr ? shown->draft : draftOfPicture(*this);
}
