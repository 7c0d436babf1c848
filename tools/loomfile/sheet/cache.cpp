#include "sheet/cache.h"

#include <sys/stat.h>

#include <cerrno>
#include <fstream>

#include "json.h"
#include "messages.h"

static constexpr const char* mark = "{\"loomfileSheet\":";

std::optional<FileState> stateOf(const std::string& path)
{
    struct stat info;
    if (stat(path.c_str(), &info) != 0)
        return {};
    const std::string words = path + '\0' + std::to_string(info.st_size) + '\0' + std::to_string(info.st_mtim.tv_sec) +
                              '.' + std::to_string(info.st_mtim.tv_nsec);
    u64 hash = 0xcbf29ce484222325; // FNV-1a, which is the same on all computers
    for (const char c : words)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    char id[17];
    snprintf(id, sizeof id, "%016llx", static_cast<unsigned long long>(hash));
    return FileState{id, static_cast<u64>(info.st_size), info.st_mtim.tv_sec};
}

bool isCache(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    std::string line;
    return std::getline(stream, line) && line.starts_with(mark);
}

static std::string lineOf(const std::string& id, const Entry& entry)
{
    const Result& result = entry.result;
    Json line = {{"id", id}, {"status", result.exitCode}};
    for (const auto& [key, text] : {std::pair("reason", &result.reason),
                                    {"facts", &result.facts},
                                    {"design", &result.design},
                                    {"row", &entry.row}}) {
        if (!text->empty())
            line[key] = *text;
    }
    if (result.isContinued)
        line["continued"] = true;
    return lineOf(line);
}

static std::pair<std::string, Entry> entryOf(const std::string& text)
{
    const Json line = Json::parse(text, nullptr, false);
    if (!line.is_object())
        return {}; // cut off
    Entry entry;
    // Whoever changed it: the page is made of rows that can be read.
    try {
        entry.result.exitCode = line.value("status", 0);
        entry.result.reason = line.value("reason", "");
        entry.result.facts = line.value("facts", "");
        entry.result.design = line.value("design", "");
        entry.result.isContinued = line.value("continued", false);
        entry.row = line.value("row", "");
        if (entry.row.empty() || Json::accept(entry.row))
            return {line.value("id", ""), entry};
    } catch (const Json::exception&) {
    }
    return {};
}

Cache::Cache(const std::string& file, const std::string& theWay, bool isUsed) : name(file), way(theWay)
{
    std::ifstream stream(name, std::ios::binary);
    std::string line;
    const bool isSameWay = isUsed && std::getline(stream, line) && line == firstLine();
    while (isSameWay && std::getline(stream, line)) {
        auto [id, entry] = entryOf(line);
        if (!id.empty())
            entries[id] = std::move(entry);
    }
    appended = fopen(name.c_str(), isSameWay ? "ae" : "we");
    if (appended == nullptr)
        failToWrite(name, errno);
    setvbuf(appended, nullptr, _IOLBF, 0);
    if (!isSameWay)
        write(appended, firstLine());
    else
        write(appended, ""); // behind a line that was cut off
}

Cache::~Cache()
{
    fclose(appended);
}

std::string Cache::firstLine() const
{
    return mark + ::lineOf(loomfileVersion()) + ",\"way\":" + ::lineOf(way) + "}";
}

void Cache::write(FILE* stream, const std::string& line) const
{
    if (fwrite(line.data(), 1, line.size(), stream) != line.size() || fputc('\n', stream) == EOF)
        failToWrite(name, errno);
}

const Entry* Cache::find(const std::string& id) const
{
    const auto place = entries.find(id);
    return place == entries.end() ? nullptr : &place->second;
}

void Cache::add(const std::string& id, const Result& result, const std::string& row)
{
    Entry& entry = entries[id];
    entry = {result, row};
    entry.result.text = entry.result.messages = entry.result.attachment = "";
    write(appended, lineOf(id, entry));
}

std::set<std::string> Cache::designsOfGone(const FileIds& ids) const
{
    std::set<std::string> designs;
    for (const auto& [id, entry] : entries) {
        if (entry.result.isContinued && !ids.contains(id))
            designs.insert(entry.result.design);
    }
    return designs;
}

void Cache::keepOnly(const FileIds& ids)
{
    OutputFile file(name, true);
    write(file.stream, firstLine());
    for (const std::string& id : ids) {
        if (const Entry* entry = find(id))
            write(file.stream, lineOf(id, *entry));
    }
    file.moveToTarget();
}
