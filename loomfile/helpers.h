// The programs that some formats are unpacked or drawn with.
#pragma once

#include <string>

#include "loomfile/settings.h"
#include "loomfile/work_folder.h"

// Whether a command of that name is found in PATH.
bool isInstalled(const char* command);

// "gm convert" as far as it is installed, for second readings.
std::string graphicsCommandOf(const Settings& settings);

// Makes the work folder and gives the library in use the commands, each guarded.
void setHelpers(const Settings& settings, WorkFolder& work);
// Whether the settings or this computer have the command of a format.
bool hasHelper(const Settings& settings, FormatId format);

// A command as shell text, which the arguments follow. It has a minute of computing, five minutes by the clock and two
// gigabytes of output and sees no input; how it failed stands in the work folder. warning is an exit code that is no
// failure.
enum class HelperOutput { dropped, kept };
std::string guarded(const std::string& command, int warning, const WorkFolder& work, HelperOutput output);

// How the helper ended that ran since the failure was last forgotten.
struct HelperEnd {
    bool hasFailed = false;
    bool isDiskFull = false; // which is why
    i32 signal = 0;          // that ended it
    std::string message;     // "it took too long", its own words, or ""
};
HelperEnd helperEnd(const WorkFolder& work);
void forgetHelperEnd(const WorkFolder& work);

// Of a path in single quotes.
std::string quoted(const std::string& text);
