// How the format of a file is found: by its name and first bytes, by the other formats of such names, by the contents.
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "loomfile/archive.h"
#include "loomfile/format_facts.h"
#include "loomfile/helpers.h"
#include "loomfile/reader.h"

constexpr size_t longestPath = 4000; // of 4095, so that names of parts can grow
constexpr u64 leastFileBytes = 8;
constexpr FormatId noFormat = 0;

static std::string baseNameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

// Why a file cannot be looked at; detection has one answer for all of it.
static Refusal sourceRefusal(const std::string& path)
{
    struct stat info;
    if (stat(path.c_str(), &info) != 0)
        return {loadCannotRead, "the file cannot be opened " + systemReason(errno)};
    if (S_ISDIR(info.st_mode))
        return {loadCannotRead, "this is a directory, not a file"};
    if (!S_ISREG(info.st_mode))
        return {loadCannotRead, "this is a pipe or a device, not a file"};
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return {loadCannotRead, "the file cannot be opened " + systemReason(errno)};
    close(descriptor);
    if (info.st_size == 0)
        return {loomfileNotAnImage, "the file is empty"};
    return {loomfileNotAnImage, "the file has only " + std::to_string(info.st_size) + " bytes, too few for a picture"};
}

void Loomfile::open(const char* given)
{
    path = given;
    if (path.empty())
        throw Refusal{loomfileNameTooShort, "the file name is empty"};
    if (path.size() > longestPath)
        throw Refusal{loadCannotRead, "the file name is longer than " + std::to_string(longestPath) + " characters"};
    // The other files of a design are looked for in the folder that the name tells.
    isNamedBare = path.find('/') == std::string::npos;
    if (isNamedBare)
        path.insert(0, "./");
    const StateInUse use(state.get());
    const u8* first = loadImgCheckHeader(path.c_str());
    fileBytes = first != nullptr ? static_cast<u64>(loadImgLastFilesize()) : 0;
    if (fileBytes < leastFileBytes && (settings.format == noFormat || first == nullptr))
        throw sourceRefusal(path);
    headerBytes = static_cast<size_t>(std::min<u64>(fileBytes, sizeof header));
    memcpy(header, first, headerBytes);
    if (openDraft())
        return;
    if (settings.format != noFormat)
        openForced();
    else
        findFormat();
}

void Loomfile::openMemory(const void* bytes, u64 size, const char* name)
{
    std::string base = baseNameOf(name);
    constexpr size_t longestName = 200;
    if (base.size() > longestName)
        base.erase(0, base.size() - longestName);
    if (base.empty() || base == "." || base == "..")
        base = "file";
    work.make(settings.tmpDir);
    const std::string folder = work.name("memory");
    const std::string file = folder + "/" + base;
    errno = 0;
    const bool isMade = mkdir(folder.c_str(), S_IRWXU) == 0;
    FILE* stream = isMade ? fopen(file.c_str(), "wbxe") : nullptr;
    bool isWritten = stream != nullptr && (size == 0 || fwrite(bytes, 1, size, stream) == size);
    if (stream != nullptr)
        isWritten = fclose(stream) == 0 && isWritten;
    if (!isWritten)
        throw Refusal{loomfileCannotWrite, "a temporary file cannot be written " + systemReason(errno)};
    open(file.c_str());
}

void Loomfile::openForced()
{
    if (const Attempt refused = tryNamed(settings.format))
        throw Refusal(*refused);
    accept(noFormat);
}

bool Loomfile::contentsBegin(const char* mark) const
{
    const size_t length = strlen(mark);
    return length <= headerBytes && memcmp(header, mark, length) == 0;
}

// The name that a link to the file needs for a loader which insists on one.
std::string Loomfile::linkName(FormatId format) const
{
    std::string usual = "file" + firstExtension(format);
    if (format == formatVectorPreview && !hasNameOf(path, format))
        return contentsBegin("%PDF-") ? "file.pdf" : contentsBegin("%!PS") ? "file.eps" : "file.svg";
    if (format == formatPalette && contentsBegin("GIMP Palette"))
        return "file.gpl";
    if (format != formatQtz)
        return usual;
    // The member of an archive is looked for under the archive's own name.
    const std::string member = archiveMember(path, "qte");
    return member.empty() ? usual : member.substr(0, member.size() - 3) + "qtz";
}

// As tryFormat, and again by a name that the loader may insist on: lower case, for one.
Loomfile::Attempt Loomfile::tryNamed(FormatId format)
{
    Attempt refused = tryFormat(format, path);
    const bool mayBeTheName = refused.has_value() && refused->signal == 0 &&
                              (refused->status == loadWrongFormat || refused->status == loadCannotRead);
    const std::string extension = firstExtension(format);
    if (!mayBeTheName || extension.empty() || (path.ends_with(extension) && format != formatQtz))
        return refused;
    work.make(settings.tmpDir);
    const Attempt byRightName = tryFormat(format, work.link(path, linkName(format)));
    const bool wasTheName = refused->reason.starts_with("the name");
    return byRightName.has_value() && !wasTheName ? refused : byRightName;
}

static const Remark* graveRemark(const std::vector<Remark>& remarks)
{
    auto found = std::find_if(remarks.begin(), remarks.end(), [](const Remark& remark) { return remark.isGrave; });
    return found != remarks.end() ? &*found : nullptr;
}

// Whether only its name says that the open file is of its format, and its size does not.
bool Loomfile::isDoubted() const
{
    return factsOf(loader).evidence != Evidence::mark &&
           std::any_of(remarks.begin(), remarks.end(), [](const Remark& remark) {
               return remark.isGrave || remark.text.find("behind the picture") != std::string::npos;
           });
}

// Whether all rows are there and nothing is left.
bool Loomfile::fitsExactly()
{
    if (!remarks.empty())
        return false;
    try {
        loadWhole();
    } catch (const Refusal&) {
        return false;
    }
    return remarks.empty();
}

const CommonPicture* Loomfile::commonPicture() const
{
    return commonPictureOf(header, headerBytes);
}

// Bonas designs go on from d.ep in d.001, d.002 and so on, which cannot be read without it.
bool Loomfile::openFirstPart()
{
    const std::string extension = extensionOf(path);
    if (extension.size() != 3 || extension.find_first_not_of("0123456789") != std::string::npos)
        return false;
    for (const char* first : {"ep", "EP", "Ep"}) {
        const std::string name = path.substr(0, path.size() - extension.size()) + first;
        if (access(name.c_str(), R_OK) != 0 || tryFormat(formatBonas, name).has_value())
            continue;
        accept(noFormat);
        firstPart = name.substr(isNamedBare ? 2 : 0);
        info.firstPartFile = firstPart.c_str();
        return true;
    }
    return false;
}

Loomfile::Attempt Loomfile::tryDetected(FormatId detected, bool isGuess)
{
    if (isGuess)
        return tryFormat(detected, path);
    if (detected != formatNotAnImage)
        return tryNamed(detected);
    const std::string extension = extensionOf(path);
    return Refusal{loomfileNotAnImage, "this is not a picture or weaving file by its name" +
                                           (extension.empty() ? "" : " (." + extension + ")") +
                                           ", and nothing in it tells of one"};
}

// No other loader would fare better.
static bool isFinal(const Refusal& refused)
{
    return refused.signal != 0 || refused.status == loadOutOfMemory || refused.status == loadDecoderError ||
           refused.status == loomfileCannotWrite;
}

// Tries the other formats of such names. The first one that takes the file and does not fit it is noted.
bool Loomfile::openByName(FormatId detected, FormatId& doubted)
{
    for (FormatId another : formatsOfName(path)) {
        if (another == detected || tryNamed(another).has_value())
            continue;
        if (!isDoubted())
            return true;
        doubted = doubted != noFormat ? doubted : another;
    }
    return false;
}

// Of a picture that its loader cannot deliver rightly a second reading is better.
void Loomfile::acceptOrReadAgain(FormatId refusedBy)
{
    const Remark* grave = graveRemark(remarks);
    if (grave == nullptr || !readAgain(commonPicture(), std::string(grave->text)))
        accept(refusedBy);
}

void Loomfile::acceptDoubtful(FormatId refusedBy)
{
    ownRemarks.push_back({"only its name says that this is a file of the format " +
                              std::string(returnLoaderString(loader)) + ", which it does not fit",
                          true});
    takeRemarks();
    accept(refusedBy);
    info.isDoubtful = 1;
}

void Loomfile::readAgainOrRefuse(Refusal refused)
{
    const CommonPicture* picture = commonPicture();
    if (picture == nullptr)
        picture = targaPictureOf(path, header, headerBytes);
    if (readAgain(picture, refused.reason))
        return;
    if (picture != nullptr && !settings.libtloadOnly && graphicsCommandOf(settings).empty())
        refused.sentence += "; GraphicsMagick reads " + std::string(picture->name) +
                            " pictures, but is not installed (Debian package graphicsmagick)";
    throw Refusal(std::move(refused));
}

void Loomfile::findFormat()
{
    const FormatId detected = returnLoaderFunctions(formatDetect, path.c_str());
    const bool isGuess = detected == formatBonas && extensionOf(path) != "ep";
    if (isGuess && openFirstPart())
        return;
    const Attempt refused = tryDetected(detected, isGuess);
    if (refused.has_value() && isFinal(*refused))
        throw Refusal(*refused);
    if (!refused.has_value() && !isDoubted()) {
        acceptOrReadAgain(noFormat);
        return;
    }
    // A name that tells of no picture has kept libTload from looking at it.
    if (refused.has_value() && detected != formatNotAnImage && readAgain(commonPicture(), refused->reason))
        return;

    const FormatId refusedBy = detected == formatNotAnImage || isGuess ? noFormat : detected;
    FormatId doubted = refused.has_value() ? noFormat : loader;
    if (openByName(detected, doubted))
        accept(refusedBy);
    else if (openByContents())
        acceptOrReadAgain(refusedBy);
    else if (const Attempt last = doubted != noFormat ? tryNamed(doubted) : refused)
        readAgainOrRefuse(*last);
    else
        acceptDoubtful(refusedBy);
}

// Whether the first bytes allow a format that would be tried at some cost, or that takes nearly everything.
bool Loomfile::mayBe(FormatId format) const
{
    const std::string_view start(reinterpret_cast<const char*>(header), headerBytes);
    auto holds = [start](std::string_view text) { return start.find(text) != std::string_view::npos; };
    const std::string extension = extensionOf(path);
    switch (format) {
    case formatStaubliZc5:
        return start.starts_with("\x1F\x8B");
    case formatQtz:
        return start.starts_with("PK\x03\x04") && !archiveMember(path, "qte").empty();
    case formatDis:
        // Office documents and programs are archives, too.
        return start.starts_with("PK\x03\x04") && extension != "docx" && extension != "xlsx" && extension != "odt" &&
               extension != "jar";
    case formatBonasCompressed:
        return start.starts_with("SZDD\x88\xF0\x27\x33");
    case formatVectorPreview:
        return start.starts_with("%PDF-") || (start.starts_with("%!PS-Adobe") && holds("EPSF")) || holds("<svg");
    case formatPalette:
        return start.starts_with("JASC-PAL") || start.starts_with("GIMP Palette");
    default:
        return returnLoaderReads(format) != 0 && factsOf(format).evidence != Evidence::none;
    }
}

// Tries all formats that the contents can tell, whatever the name is, and leaves the first that takes the file open.
bool Loomfile::openByContents()
{
    const std::vector<FormatId> named = formatsOfName(path);
    std::vector<FormatId> found;
    for (Evidence evidence : {Evidence::mark, Evidence::size}) {
        for (FormatId format = 1; format <= formatCount; format++) {
            const bool wasTried = std::find(named.begin(), named.end(), format) != named.end();
            if (wasTried || factsOf(format).evidence != evidence || !mayBe(format))
                continue;
            const Attempt refused = tryNamed(format);
            if (refused.has_value() && refused->signal != 0)
                throw Refusal(*refused);
            if (!refused.has_value() && (evidence == Evidence::mark || fitsExactly()))
                found.push_back(format);
        }
    }
    if (found.empty() || (loader != found.front() && tryNamed(found.front()).has_value()))
        return false;
    accepted = found;
    return true;
}

// Runs a command line without touching what this process does with signals.
static void runShell(const std::string& line)
{
    const char* const words[] = {"sh", "-c", line.c_str(), nullptr};
    pid_t process = 0;
    if (posix_spawn(&process, "/bin/sh", nullptr, nullptr, const_cast<char* const*>(words), environ) != 0)
        throw std::bad_alloc();
    while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
}

// Reads a picture through the graphics command. False when it cannot; what was open then is so still.
bool Loomfile::readAgain(const CommonPicture* picture, const std::string& why)
{
    const std::string command =
        picture != nullptr && !settings.libtloadOnly ? graphicsCommandOf(settings) : std::string();
    if (command.empty())
        return false;
    work.make(settings.tmpDir);
    work.link(path, "picture");
    forgetHelperEnd(work);
    const u64 mostPixels = std::min<u64>(settings.mostPixels, 1000000000);
    runShell("cd " + quoted(work.files()) + " && " + guarded(command, 0, work, HelperOutput::dropped) +
             " -limit Pixels " + std::to_string(mostPixels) +
             " -limit Memory 2GB -limit Map 2GB -limit Disk 2GB -limit Threads 1 '" + picture->coder +
             ":../links/picture[0]' png:picture.png");
    const HelperEnd end = helperEnd(work);
    if (end.signal == SIGINT || end.signal == SIGQUIT)
        throw Refusal{loadBadData, "the program that opens such files was interrupted", "", picture->format,
                      end.signal};
    const std::string made = work.files() + "/picture.png";
    if (end.hasFailed || access(made.c_str(), R_OK) != 0)
        return false;
    const FormatId before = loader;
    const std::string openedBefore = opened;
    if (tryFormat(formatPng, made).has_value()) {
        if (before != noFormat)
            tryFormat(before, openedBefore);
        return false;
    }
    const bool isOfItsLoader = picture->format != noFormat && !why.empty();
    ownRemarks.push_back({"read by GraphicsMagick" + (isOfItsLoader ? ", libTload says: " + why : ""), false});
    takeRemarks();
    accept(noFormat);
    info.format = picture->format;
    info.formatName = picture->format != noFormat ? returnLoaderString(picture->format) : picture->name;
    info.isSecondReading = 1;
    strcpy(description, info.formatName);
    return true;
}

const std::vector<FormatId>& Loomfile::candidates()
{
    if (!accepted.empty() || info.format == noFormat || settings.format != noFormat || info.isSecondReading != 0) {
        if (accepted.empty() && info.format != noFormat && info.isSecondReading == 0)
            accepted.push_back(info.format);
        return accepted;
    }
    accepted.push_back(info.format);
    const bool isMarked = factsOf(info.format).evidence == Evidence::mark;
    Settings alone = settings;
    for (FormatId another : formatsOfName(path)) {
        if (another == info.format || isMarked)
            continue;
        alone.format = another;
        try {
            Loomfile file(alone);
            file.open(path.c_str());
            if (graveRemark(file.remarks) == nullptr)
                accepted.push_back(another);
        } catch (const Refusal&) {
        }
    }
    return accepted;
}
