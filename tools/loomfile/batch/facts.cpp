#include "batch/facts.h"

#include <sys/stat.h>

#include "json_text.h"

static std::string identityOf(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? std::to_string(info.st_dev) + ":" + std::to_string(info.st_ino) : "";
}

static std::string folderOf(const std::string& path)
{
    return path.substr(0, path.rfind('/') + 1);
}

static void tellDesign(Result& result, const Input& input, const Picture& picture)
{
    const LoomfileInfo& info = picture.info;
    const std::string first = info.firstPartFile;
    const bool isOfLoom = info.orientation != 0; // others are never of several files
    if (!isOfLoom || (info.isFirstPart == 0 && first.empty()))
        return;
    result.design = identityOf(first.empty() ? picture.source : first);
    result.isContinued = input.isFound && !first.empty() && folderOf(first) == folderOf(picture.source) &&
                         result.design != identityOf(picture.source);
}

void tellFacts(Result& result, const Input& input, const Picture& picture, bool areWanted)
{
    tellDesign(result, input, picture);
    if (!areWanted)
        return;
    const LoomfileInfo& info = picture.info;
    JsonText facts;
    facts.addText("formatName", info.formatName);
    facts.addText("kind", kindName(info.kind));
    facts.addNumber("width", info.width);
    facts.addNumber("height", info.height);
    facts.addKnown("colours", info.colourCount);
    facts.addNumber("bytes", info.fileBytes);
    facts.add("remarks", remarksText(picture));
    result.facts = facts.finished();
}

const char* kindName(u32 kind)
{
    constexpr const char* names[] = {"unknown", "bilevel", "indexed", "rgb", "rgba"};
    return kind == kindBilevel   ? names[1]
           : kind == kindIndexed ? names[2]
           : kind == kindRGB     ? names[3]
           : kind == kindRGBA    ? names[4]
                                 : names[0];
}
