// What the command line can say.
#pragma once

#include <CLI/CLI.hpp>

#include "commands.h"

struct Requests {
    OpenOptions options; // of every command
    FormatsRequest formats;
    InfoRequest info;
    SeamRequest seam;
    CompareRequest compare;
    PaletteRequest palette;
    ConvertRequest convert;
    QuantizeRequest quantize;
    RenderRequest render;
    DraftRequest draft;
    SheetRequest sheet;
    ThumbnailRequest thumbnail;
};

// The commands that tell something, and those that make a picture.
void addTellingCommands(CLI::App& app, Requests& requests);
void addMakingCommands(CLI::App& app, Requests& requests);
void addDraft(CLI::App& app, DraftRequest& request, OpenOptions& options);
void addSheet(CLI::App& app, SheetRequest& request, OpenOptions& options);
void addThumbnail(CLI::App& app, ThumbnailRequest& request, OpenOptions& options);

// Many files; those that write can be told where. output is what --force replaces.
void addBatchOptions(CLI::App& command, BatchOptions& options);
void addOutputOptions(CLI::App& command, BatchOptions& options, const char* output);
void addForms(CLI::App& command, Form& form);
// One file IN and what is made of it, OUT, or with -o any number of files. endings: of OUT.
void addInAndOut(CLI::App& command, BatchOptions& options, const char* endings);
// What the parser leaves open, for the command that was given. Throws UsageError.
void settle(Requests& requests, const std::string& name);

// How the files are to be opened, for every command that opens some.
void addOpenOptions(CLI::App& command, OpenOptions& options);
// The programs that some kinds of files need, and what else is seldom set.
void addSettings(CLI::App& app, OpenOptions& options);

// What a pair such as 800x600 may be.
struct PairRule {
    char separator;
    double least;
    double most;
    bool wholeNumbers;
};
constexpr PairRule setts = {'x', 0.1, 1000, false};
CLI::Option* addPairOption(CLI::App& command, const char* name, NumberPair& pair, PairRule rule, const char* help);
// Other than CLI::Range, this refuses what is no number.
CLI::Validator numberBetween(double least, double most);
void addColourOption(CLI::App& command, const char* name, std::optional<Rgb>& colour, const char* help);
