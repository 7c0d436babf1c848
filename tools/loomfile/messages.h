// What goes to the terminal.
#pragma once

#include <string>
#include <string_view>

#include "batch/batch.h"

// The text with a question mark for everything that a terminal might take for a command or that is not UTF-8.
std::string printable(std::string_view text);
// The length of the UTF-8 sequence at the start of text, 0 when there is none.
size_t sequenceLength(std::string_view text);
std::string baseNameOf(const std::string& path);
// In capitals too; the ending is in small letters and is not all of the name.
bool hasEnding(const std::string& name, const std::string& ending);
// A name that is too long for a sentence, cut.
std::string shortened(const std::string& name);
// "(No such file or directory)" for an error number
std::string systemReason(int errorNumber);

// A sentence for standard error, with its newline.
std::string sentence(const std::string& file, const std::string& text);
// Adds what is remarked on a picture of which something was made, a sentence each, and the exit code that it asks for.
void tellRemarks(Result& result, const Picture& picture);
// Adds a line for standard output, unless that takes the target.
void tellSummary(Result& result, const OutputFile& target, const std::string& text);

// A file that is opened in place of one of the standard streams would take what is printed. What stands there instead
// of those that are closed cannot be read or written, so that nobody believes it was.
void openStandardStreams();
// Throws Failure when standard output did not take everything.
void finishOutput();
