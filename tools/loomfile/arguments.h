// What the command line can say.
#pragma once

#include <CLI/CLI.hpp>

#include "commands.h"

struct Requests {
    OpenOptions options; // of every command
    FormatsRequest formats;
    InfoRequest info;
    SeamRequest seam;
    PaletteRequest palette;
    ConvertRequest convert;
    QuantizeRequest quantize;
    RenderRequest render;
    DraftRequest draft;
};

// The commands that tell something, and those that make a picture.
void addTellingCommands(CLI::App& app, Requests& requests);
void addMakingCommands(CLI::App& app, Requests& requests);
void addDraft(CLI::App& app, DraftRequest& request, OpenOptions& options);

// How the files are to be opened, for every command that opens some.
void addOpenOptions(CLI::App& command, OpenOptions& options);
// The programs that some kinds of files need, and what else is seldom set.
void addSettings(CLI::App& app, OpenOptions& options);
