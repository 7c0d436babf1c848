#include "batch/report.h"

#include <cerrno>

#include "messages.h"
#include "output_target.h"

std::string csvLine(const std::vector<std::string>& cells)
{
    std::string line;
    for (const std::string& cell : cells) {
        line += &cell == &cells.front() ? "" : ",";
        if (cell.find_first_of(",\"\r\n") == std::string::npos) {
            line += cell;
            continue;
        }
        line += '"';
        for (const char c : cell)
            line += c == '"' ? std::string("\"\"") : std::string(1, c);
        line += '"';
    }
    return line + "\n";
}

Report::Report(const std::string& name, bool mayReplace)
{
    if (name.empty())
        return;
    checkEnding(name, {".csv", ".jsonl"});
    isCsv = hasEnding(name, ".csv");
    file.emplace(name, mayReplace);
    if (isCsv)
        write(csvLine({"file", "status", "reason", "format", "width", "height", "bytes", "remarks", "target"}));
}

void Report::write(const std::string& line)
{
    if (fwrite(line.data(), 1, line.size(), file->stream) != line.size())
        failToWrite(file->target, errno);
}

static std::string joinedRemarks(const Json& facts)
{
    std::string all;
    for (const Json& remark : facts.value("remarks", Json::array()))
        all += (all.empty() ? "" : "; ") + remark.value("text", "");
    return all;
}

void Report::add(const Input& input, const Result& result)
{
    if (!file)
        return;
    const Json known = Json::parse(result.facts, nullptr, false);
    const Json facts = known.is_object() ? known : Json::object();
    auto text = [](const std::string& value) { return value.empty() ? Json() : Json(value); };
    if (isCsv) {
        auto number = [&facts](const char* key) { return facts.contains(key) ? facts[key].dump() : ""; };
        write(csvLine({input.path, std::to_string(result.exitCode), result.reason, facts.value("formatName", ""),
                       number("width"), number("height"), number("bytes"), joinedRemarks(facts), result.target}));
        return;
    }
    Json row = {{"file", input.path}, {"status", result.exitCode}, {"reason", text(result.reason)}};
    row.update(facts);
    row["target"] = text(result.target);
    write(lineOf(row) + "\n");
}

void Report::finish()
{
    if (file)
        file->moveToTarget();
}
