// Whether what is to be written can be.
#pragma once

#include <string>
#include <vector>

// Throw Failure when the target cannot be written: its name has another ending than what is written, it is there
// already and may not be replaced, its folder cannot be written to.
void checkPictureTarget(const std::string& target, bool mayReplace); // or standard output
void checkTarget(const std::string& target, const std::vector<std::string>& endings, bool mayReplace);

// Throws Failure when the target is the file that the picture is read from, unless both are PNG.
void keepSource(const struct Picture& picture, const std::string& target);

// The first of these alone.
void checkEnding(const std::string& target, const std::vector<std::string>& endings);

// The file that a target names, through links. Throws Failure as checkTarget does.
std::string resolveTarget(const std::string& target, bool mayReplace);
[[noreturn]] void failAsTaken(const std::string& target);

// With the slash behind it, "" = the folder that the program is in.
std::string directoryOf(const std::string& path);
