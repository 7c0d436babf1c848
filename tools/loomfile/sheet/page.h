// The page of a sheet and its data, as they are written.
#pragma once

#include "json.h"

// A path or a part of one as an address has it.
std::string addressOf(const std::string& path);

struct SheetData {
    std::vector<std::string> rows; // JSON objects of a line each
    std::string title;
};

// What the page loads beside it.
std::string dataScript(const SheetData& data);
// folder: that of the data and the pictures; "" = everything is inside the page.
std::string pageText(const SheetData& data, const std::string& folder);

// Every page holds it.
constexpr const char* pageMark = "<meta name=\"generator\" content=\"loomfile sheet\">";
