// One file or a million: what a subcommand is told to work on, what it does with a file, and what comes of it.
//
// runBatch finds the inputs, has workers do the job for each of them, and takes their answers in the order of the
// inputs. Workers are processes that have given up what reading a file does not need (confine.h).
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "output_file.h"
#include "picture.h"

// What a subcommand is told to work on, and how.
struct BatchOptions {
    std::vector<std::string> inputs; // files and folders
    std::string list;                // --files-from, "-" = standard input; separated by newlines or zeros
    bool isRecursive = false;
    int workers = 0;           // 0 = as many as processors
    bool inOneProcess = false; // --no-workers
    double secondsAFile = 60;  // that a worker may take; 0 = as long as it likes. Not for a file that is alone.
    std::string output;        // -o: a folder, or a template with {folder} {stem} {name} {ending}
    bool isAlone = false;      // the only input is a file, whatever it may be
    bool mayReplace = false;
    bool skipExisting = false;
    bool isQuiet = false;
    bool isVerbose = false;
    std::string report; // --report, a .csv or .jsonl file
};

struct Input {
    std::string path;
    std::string folder;   // relative to the folder that was given, or of a line of a list; "" = none
    bool isFound = false; // in a folder; false when the user has named it
};

// What became of an input. The first group is the job's, the second one the engine's.
struct Result {
    int exitCode = 0;
    std::string text;       // for standard output
    std::string messages;   // sentences for standard error, each with its newline
    std::string facts;      // a JSON object about the file in one line, for the report; see facts.h, as for the next
    std::string design;     // names the design of a file that may have several parts
    std::string attachment; // bytes for Batch::take

    std::string reason;        // why there is nothing: the rest of the sentence that begins with the file's name
    std::string target;        // that was written, "" = none
    bool isContinued = false;  // the design's first part is an input, too
    bool isPassedOver = false; // found in a folder, and no picture at all
    bool isLost = false;       // the file has ended its worker
    int signal = 0;            // that interrupted a helper, and is meant for the program
};

// Runs in a worker, and may throw Failure. What it is to write goes to target->stream, which leads to a file that is
// empty; the engine moves it to its place. Null when the subcommand writes nothing. It prints nothing itself.
using Job = std::function<Result(const Input&, OutputFile* target)>;

// What stands around the texts of the results.
struct Listing {
    std::string before, between, after;
    std::string ifNone; // instead of all of it
};

// What a subcommand does. Only the job is needed.
struct Batch {
    Job job;

    // Endings of what can be written, ".png"; the first is that of files in the folder that -o names. Empty: nothing
    // is written, unless there is a targetOf.
    std::vector<std::string> endings;
    // The file that is written for the only input, "-" = standard output; "" = by BatchOptions::output.
    std::string target;
    // The file that is written for an input, "" = none, when it is not BatchOptions::output that tells.
    std::function<std::string(const Input&)> targetOf;

    Listing listing;
    // The text of an input for which the job has thrown, or which has ended its worker; by default there is none.
    std::function<std::string(const Input&, const Failure&)> refusedText;

    // Called in the program itself. An answer for which no worker is needed:
    std::function<std::optional<Result>(const Input&)> known;
    // Looks at every result, in the order of the inputs, before any of them is left out or taken.
    std::function<void(const Input&, const Result&)> see;
    // Takes the results in the order of the inputs, instead of standard output. What was written is in its place then.
    // Inputs that are no pictures, or parts of a design that was dealt with, are not among them.
    std::function<void(const Input&, const Result&)> take;
};

// Whether there is one input, which is no folder, and nothing is said of where results go: progress and counts of files
// are not printed.
bool isOneFile(const BatchOptions& options);

// Returns the worst exit code. Throws Failure when there is nothing that can be gone on with.
int runBatch(const Batch& batch, const BatchOptions& options);
