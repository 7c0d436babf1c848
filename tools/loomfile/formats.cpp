// loomfile formats: the list of formats.
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <sstream>

#include "commands.h"
#include "json.h"

static void printFormatsJson()
{
    Json document = Json::array();
    for (FormatId id = 1; id <= formatCount; id++) {
        std::istringstream words(returnLoaderExtensions(id));
        std::vector<std::string> extensions{std::istream_iterator<std::string>(words), {}};
        document.push_back({{"id", id},
                            {"name", returnLoaderString(id)},
                            {"extensions", extensions},
                            {"icon", returnLoaderStringJustLogo(id)},
                            {"loads", returnLoaderReads(id) != 0}});
    }
    fputs(pageOf(document).c_str(), stdout);
}

static void printFormatsText(bool withIcons)
{
    using Row = std::vector<std::string>;
    std::vector<Row> rows{{"ID", "Loads", "Format", "Extensions", "Icon"}};
    for (FormatId id = 1; id <= formatCount; id++)
        rows.push_back({std::to_string(id), returnLoaderReads(id) != 0 ? "yes" : "no", returnLoaderString(id),
                        returnLoaderExtensions(id), returnLoaderStringJustLogo(id)});
    const size_t columns = withIcons ? rows[0].size() : rows[0].size() - 1;
    std::vector<size_t> widths(columns);
    for (const Row& row : rows) {
        for (size_t column = 0; column < columns; column++)
            widths[column] = std::max(widths[column], row[column].size());
    }
    for (const Row& row : rows) {
        std::string line;
        for (size_t column = 0; column < columns; column++) {
            std::string cell = row[column].empty() ? "-" : row[column];
            line += cell + std::string(widths[column] + 2 - cell.size(), ' ');
        }
        puts(line.substr(0, line.find_last_not_of(' ') + 1).c_str());
    }
}

ExitCode listFormats(const FormatsRequest& request)
{
    if (request.json)
        printFormatsJson();
    else
        printFormatsText(request.isVerbose);
    return exitSuccess;
}
