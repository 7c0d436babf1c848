// What users are told about files that are not read.
#include <cstring>

#include "loomfile/format_facts.h"
#include "loomfile/reader.h"

// " (.jpg .jpeg)", or nothing when the name is as it should be: some loaders insist on it.
static std::string expectedName(const Circumstances& file)
{
    if (file.hasItsName)
        return "";
    std::string endings = returnLoaderExtensions(file.format);
    for (size_t blank = endings.find(' '); blank != std::string::npos; blank = endings.find(' ', blank + 1))
        endings.insert(blank + 1, ".");
    return " (." + endings + ")";
}

static std::string because(const Circumstances& file)
{
    const bool says = !file.reason.empty() && file.reason != llibStatusText(file.status);
    return says ? ": " + file.reason : "";
}

// "a JC5 Staubli", "an Act .WJL"
static std::string withArticle(const std::string& name)
{
    return (strchr("AEIO", name[0]) != nullptr ? "an " : "a ") + name;
}

// "package gzip", "packages graphicsmagick and ghostscript"
static std::string packagesText(FormatId format)
{
    const std::string packages = helperPackages(format);
    const size_t blank = packages.find(' ');
    return blank == std::string::npos ? "package " + packages
                                      : "packages " + packages.substr(0, blank) + " and" + packages.substr(blank);
}

static std::string wrongFormat(const Circumstances& file, const std::string& name)
{
    if (file.isDetected && file.format == formatBonas && !file.hasItsName)
        return "the format is not recognised";
    const std::string reason = because(file);
    return "this is not " + withArticle(name) + " file" + expectedName(file) +
           (reason.empty() ? ", or a damaged or unusual one that cannot be loaded" : reason);
}

std::string sentenceOf(const Circumstances& file)
{
    const std::string name = returnLoaderString(file.format);
    const std::string reason = because(file);
    if (file.lacksHelper)
        return "files of the format " + name + " are opened with a program that is not installed (Debian " +
               packagesText(file.format) + ")";
    if (returnLoaderReads(file.format) == 0 &&
        (file.status == loadUnsupportedVariant || file.status == loadWrongFormat))
        return file.isDetected ? "the format " + name + " is recognised but its files cannot be read"
                               : "files of the format " + name + " cannot be read";
    switch (file.status) {
    case loadOutOfMemory:
        return "there is not enough memory to load the file";
    case loadCannotRead:
        return file.errorNumber != 0
                   ? "the file cannot be opened or its header is incomplete " + systemReason(file.errorNumber)
                   : "the " + name + " file cannot be read or its header is incomplete" + reason;
    case loadDecoderError:
        return "the file is damaged, its " + name + " data cannot be decoded" + reason;
    case loadUnsupportedVariant:
        return "the file is recognised as " + name + ", but not read" +
               (reason.empty() ? ": this variant of it cannot be loaded" : reason);
    case loadWrongFormat:
        return wrongFormat(file, name);
    default:
        return "the " + name + " file is damaged" +
               (reason.empty() ? ", its sizes are wrong or its data end early" : reason);
    }
}
