// A sheet while it is being made: what becomes of the files, one after the other.
#pragma once

#include "sheet/cache.h"
#include "sheet/page.h"
#include "sheet/place.h"

struct SheetMaking {
    // way: how the files are opened and shown. Throws Failure.
    SheetMaking(const SheetRequest& theRequest, const OpenOptions& theOptions, const std::string& way);

    // All three throw Failure. read() returns the exit code.
    int read(const BatchOptions& options);
    // The first parts of designs whose other parts are not what they were when the cache was written.
    std::vector<std::string> outdated() const;
    void write();

    SheetPlace place;
    SheetData data;
    u64 refused = 0;
    bool isAgain = false; // the cache does not count

private:
    struct Found {
        FileState state;
        bool isKnown = false; // it was in the cache
    };

    std::optional<Result> known(const Input& input);
    // Every result, also of what is left out of the page; then those that the page shows.
    void see(const Input& input, const Result& result);
    void take(const Input& input, const Result& result);
    bool hasPictures(const std::string& id, const std::string& of) const;
    void addPictures(Json& made, const std::string& id, const std::string& attachment);
    std::string makeRow(const Input& input, const Result& result, const FileState& state);

    const SheetRequest& request;
    const OpenOptions& options;
    std::optional<Cache> cache;
    std::unordered_map<std::string, Found> found;   // by path, files that are not finished yet
    std::unordered_map<std::string, size_t> places; // by path, where their rows are
    FileIds ids;                                    // of all files
    std::string row;                                // of the file that was seen last

    // Designs of several files: those of which a part is new, and their first parts when these were in the cache.
    std::set<std::string> changedDesigns;
    std::unordered_map<std::string, std::string> knownFirsts;
};
