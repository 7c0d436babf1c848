// Where a sheet lies: OUT.html and, beside it, the folder OUT_files with its data and pictures.
#pragma once

#include <set>
#include <string>

#include "commands.h"
#include "sheet/cache.h"

struct SheetPlace {
    // Makes the folders. Throws Failure, also when what is there is not from a sheet and may not be replaced.
    explicit SheetPlace(const SheetRequest& request);

    std::string page;
    std::string folder;  // "" = everything goes into the page
    std::string address; // of the folder, as the page has it

    std::string pathOf(const std::string& name) const { return folder + "/" + name; }
    // "thumbs/0123456789abcdef.png"
    bool hasPicture(const std::string& name) const { return pictures.contains(name); }
    // The three throw Failure.
    void writePicture(const std::string& name, const std::string& bytes);
    void write(const std::string& path, const std::string& text) const; // the page or its data
    void removeOthers(const FileIds& kept) const;                       // pictures of other files

private:
    std::set<std::string> pictures; // that are there
};
