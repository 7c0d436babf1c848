// Commands that the host has configured, run through the shell.
#pragma once

#include <initializer_list>

#include "framework/reason.h"

// A piece of a command line: text as it stands, or a path, which is put in double quotes with what the shell would look
// at in them escaped. A path that begins with a dash gets "./" before it, so that no command takes it for an option.
struct CommandPart {
    const char* text;
    bool isPath;
};

constexpr CommandPart commandText(const char* text)
{
    return {text, false};
}

constexpr CommandPart commandPath(const char* path)
{
    return {path, true};
}

// What system() returns for the pieces in a row; -1 also when memory does not suffice.
int runCommand(std::initializer_list<CommandPart> parts);

// Says how a command line of the host's failed, of which result is what runCommand returned, and returns the status. A
// result of 0 did not fail: it left nothing.
LoadStatus refuseCommand(LoadStatus status, const char* command, int result);
