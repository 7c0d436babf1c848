// tload formats: the list of formats.
#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <sstream>

#include "commands.h"
#include "known_formats.h"
#include "output.h"

static void printFormatsJson()
{
    Json document = Json::array();
    for (FormatId id = 1; id <= formatCount; id++) {
        const KnownFormat& known = knownFormat(id);
        std::istringstream words(known.extensions);
        std::vector<std::string> extensions{std::istream_iterator<std::string>(words), {}};
        document.push_back({{"id", id},
                            {"name", returnLoaderString(id)},
                            {"extensions", extensions},
                            {"icon", returnLoaderStringJustLogo(id)},
                            {"loads", known.loads}});
    }
    printJson(document);
}

static void printFormatsText()
{
    using Row = std::array<std::string, 5>;
    std::vector<Row> rows{{"ID", "Loads", "Format", "Extensions", "Icon"}};
    for (FormatId id = 1; id <= formatCount; id++) {
        const KnownFormat& known = knownFormat(id);
        rows.push_back({std::to_string(id), known.loads ? "yes" : "no", returnLoaderString(id), known.extensions,
                        returnLoaderStringJustLogo(id)});
    }
    std::array<size_t, std::tuple_size_v<Row>> widths{};
    for (const Row& row : rows) {
        for (size_t column = 0; column < row.size(); column++)
            widths[column] = std::max(widths[column], row[column].size());
    }
    for (const Row& row : rows) {
        std::string line;
        for (size_t column = 0; column < row.size(); column++) {
            std::string cell = row[column].empty() ? "-" : row[column];
            line += cell + std::string(widths[column] + 2 - cell.size(), ' ');
        }
        puts(line.substr(0, line.find_last_not_of(' ') + 1).c_str());
    }
}

ExitCode listFormats(bool json)
{
    if (json)
        printFormatsJson();
    else
        printFormatsText();
    return exitSuccess;
}
