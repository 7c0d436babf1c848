#include "loomfile/helpers.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "loomfile/format_facts.h"

constexpr int timeLimitReached = 124; // what timeout ends with
constexpr int signalBase = 128;       // what a shell adds to the number of a signal
constexpr i32 outOfTime = 24;         // SIGXCPU
constexpr i32 outOfRoom = 25;         // SIGXFSZ

bool isInstalled(const char* command)
{
    const char* path = getenv("PATH");
    std::string_view rest = path != nullptr ? path : "";
    while (!rest.empty()) {
        const size_t end = std::min(rest.find(':'), rest.size());
        const std::string candidate = std::string(rest.substr(0, end)) + "/" + command;
        struct stat info;
        if (stat(candidate.c_str(), &info) == 0 && S_ISREG(info.st_mode) && access(candidate.c_str(), X_OK) == 0)
            return true;
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return false;
}

static std::string commandOf(const std::optional<std::string>& given, const char* program, const char* command)
{
    return given.has_value() ? *given : isInstalled(program) ? command : "";
}

// ImageMagick is mostly set up not to open PDF and EPS, and draws some SVG wrongly.
static std::string previewCommandOf(const Settings& settings)
{
    const bool hasGraphics = settings.vectorPreview.has_value() || isInstalled("gm");
    return hasGraphics ? commandOf(settings.vectorPreview, "gm", "gm convert -depth 8")
                       : commandOf(settings.vectorPreview, "convert", "convert -depth 8");
}

std::string graphicsCommandOf(const Settings& settings)
{
    return commandOf(settings.graphics, "gm", "gm convert");
}

// The library appends the archive and the folder, or the picture and the preview.
static std::string helperCommand(const Settings& settings, Command helper)
{
    switch (helper) {
    case Command::gzip:
        return commandOf(settings.gzip, "gzip", "gzip");
    case Command::unzip:
        return commandOf(settings.unzip, "unzip", "unzip -o -qq");
    case Command::msExpand:
        return commandOf(settings.msExpand, "msexpand", "msexpand");
    case Command::vectorPreview:
        return previewCommandOf(settings);
    default:
        return "";
    }
}

bool hasHelper(const Settings& settings, FormatId format)
{
    return !helperCommand(settings, factsOf(format).helper).empty();
}

std::string quoted(const std::string& text)
{
    std::string result = "'";
    for (char c : text)
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

// The library calls a command by its first word. A word that the function needs itself is not among these.
static std::string functionName(const std::string& command)
{
    const std::string word = command.substr(0, command.find(' '));
    for (const char* known : {"gzip", "unzip", "msexpand", "gm", "convert"}) {
        if (word == known)
            return known;
    }
    return "helper";
}

std::string guarded(const std::string& command, int warning, const WorkFolder& work, HelperOutput output)
{
    // In a shell of its own, since it may be more than one command. It is not given a process group of its own, so that
    // the keys that interrupt a program reach it.
    const std::string limited = isInstalled("timeout") ? "timeout --foreground -k 5 300 " : "";
    const std::string failed = quoted(work.name("failed"));
    auto noteSignal = [&work](int number) {
        return quoted("echo " + std::to_string(number) + " >" + quoted(work.name("interrupted")));
    };
    const std::string name = functionName(command);
    // The messages overwrite blanks that are there already, and a note says enough by being there: a full disk has room
    // for both. What the shell says of it is for nobody.
    const std::string messages = quoted(work.name("messages"));
    return name + " () { printf '%4095s\\n' '' >" + messages + "; export TMPDIR=" + quoted(work.files()) +
           "; ulimit -S -t 60; ulimit -S -f 4194304; trap " + noteSignal(2) + " INT; trap " + noteSignal(3) +
           " QUIT; " + limited + "sh -c " + quoted(command + " \"$@\"") + " sh \"$@\" </dev/null" +
           (output == HelperOutput::dropped ? " >/dev/null" : "") + " 2<>" + messages +
           "; result=$?; [ $result = 0 ] || [ $result = " + std::to_string(warning) + " ] || echo $result >" + failed +
           "; } 2>/dev/null; " + name;
}

void setHelpers(const Settings& settings, WorkFolder& work)
{
    if (work.isMade() && llibGetTmpDir() != nullptr)
        return;
    work.make(settings.tmpDir);
    llibSetTmpDir(work.files().c_str());
    constexpr int gzipWarning = 2, unzipWarning = 1, none = 0;
    auto set = [&](void (*setter)(const char*), Command helper, int warning) {
        const std::string command = helperCommand(settings, helper);
        // What gzip unpacks the library takes from its standard output.
        const HelperOutput output = helper == Command::gzip ? HelperOutput::kept : HelperOutput::dropped;
        setter(command.empty() ? nullptr : guarded(command, warning, work, output).c_str());
    };
    set(llibSetGzipCommand, Command::gzip, gzipWarning);
    set(llibSetUnzipCommand, Command::unzip, unzipWarning);
    set(llibSetMsExpandCommand, Command::msExpand, none);
    set(llibSetVectorPreviewCommand, Command::vectorPreview, none);
}

// Whether there was no room for what a helper would write. It may have removed what it had written.
static bool isDiskFull(const WorkFolder& work)
{
    constexpr u64 hardlyAny = 8 << 20;
    const std::string messages = work.contentsOf("messages");
    if (messages.find("No space left") != std::string::npos || messages.find("disk full") != std::string::npos)
        return true;
    struct statvfs disk;
    return statvfs(work.files().c_str(), &disk) == 0 && u64{disk.f_bavail} * disk.f_frsize < hardlyAny;
}

HelperEnd helperEnd(const WorkFolder& work)
{
    HelperEnd end;
    const std::string failed = work.lineOf("failed");
    const std::string interrupted = work.lineOf("interrupted");
    end.hasFailed = work.has("failed") || !interrupted.empty();
    if (!end.hasFailed)
        return end;
    const int result = atoi(failed.c_str());
    end.signal = !interrupted.empty() ? atoi(interrupted.c_str()) : result > signalBase ? result - signalBase : 0;
    if (result == timeLimitReached || end.signal == outOfTime)
        end.message = "it took too long";
    else if (end.signal == outOfRoom)
        end.message = "it wrote too much";
    else
        end.message = work.lineOf("messages");
    end.isDiskFull = isDiskFull(work);
    return end;
}

void forgetHelperEnd(const WorkFolder& work)
{
    for (const char* member : {"failed", "interrupted", "messages"})
        work.removeMember(member);
}
