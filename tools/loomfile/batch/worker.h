// What a worker does: it takes inputs, does the job, and answers, until there are no more.
#pragma once

#include <csignal>

#include "batch/batch.h"
#include "batch/message.h"

// What happens to one input, wherever it does. Whatever the job throws is in the result.
Result resultOf(const Batch& batch, const Input& input, OutputFile* target);
// That of an input whose job did not come to its end.
Result refusedResult(const Batch& batch, const Input& input, const Failure& failure);

// An input as a message; hasDescriptor: the one of its target comes along.
Fields requestFields(const Input& input, const std::string& target, bool hasDescriptor);
Result resultOfAnswer(const Fields& fields); // throws std::exception when it is none

struct WorkerSettings {
    std::string workFolder;  // "" = none could be made
    u64 mostBytes = 0;       // of memory
    bool keepsInput = false; // standard input is a picture
    pid_t parent = 0;
};

// Never returns. The process has been made for this, while signals were blocked.
[[noreturn]] void work(int socket, const Batch& batch, const WorkerSettings& settings, const sigset_t& signals);
