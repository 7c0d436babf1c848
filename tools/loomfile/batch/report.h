// The list of what became of every file.
#pragma once

#include <optional>
#include <string>

#include "batch/batch.h"
#include "batch/facts.h"

// A line of comma separated values.
std::string csvLine(const std::vector<std::string>& cells);

struct Report {
    // name: .csv or .jsonl, "" = none. Throws Failure.
    Report(const std::string& name, bool mayReplace);
    void add(const Input& input, const Result& result);
    void finish();

private:
    void write(const std::string& line);

    std::optional<OutputFile> file;
    bool isCsv = false;
};
