#include "sheet/page.h"

#include <chrono>
#include <cstdio>
#include <cstring>

extern const char* const sheetPage; // made of the files beside this one

static void replaceAll(std::string& text, const std::string& from, const std::string& to)
{
    std::string result;
    size_t done = 0;
    for (size_t place = text.find(from); place != std::string::npos; place = text.find(from, done)) {
        result.append(text, done, place - done).append(to);
        done = place + from.size();
    }
    text = result.append(text, done);
}

std::string addressOf(const std::string& path)
{
    std::string address;
    for (const char c : path) {
        const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        char code[4];
        snprintf(code, sizeof code, "%%%02X", static_cast<unsigned char>(c));
        address += isPlain || (c != 0 && strchr("/-._~", c) != nullptr) ? std::string(1, c) : code;
    }
    return address;
}

static std::string markupOf(const std::string& text)
{
    std::string markup = Json::parse(lineOf(text)).get<std::string>(); // UTF-8, whatever it was
    for (const auto& [from, to] : {std::pair("&", "&amp;"), {"<", "&lt;"}, {">", "&gt;"}})
        replaceAll(markup, from, to);
    return markup;
}

// No text of the data ends the script that it is in, or begins a comment there.
static std::string safe(std::string json)
{
    replaceAll(json, "<", "\\u003c");
    return json;
}

static std::string joinedRows(const SheetData& data)
{
    std::string all = "[";
    for (const std::string& row : data.rows) {
        all += all.size() > 1 ? ",\n" : "\n";
        all += row;
    }
    return safe(all + "\n]");
}

static std::string about()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return lineOf(
        {{"made", std::chrono::duration_cast<std::chrono::seconds>(now).count()}, {"version", loomfileVersion()}});
}

std::string dataScript(const SheetData& data)
{
    // As a text it is read in half the time.
    return "loomfileSheet(JSON.parse(" + lineOf(joinedRows(data)) + "), " + about() + ");\n";
}

std::string pageText(const SheetData& data, const std::string& folder)
{
    const bool isWhole = folder.empty();
    std::string page = sheetPage;
    replaceAll(page, "@SCRIPT_SOURCES@", isWhole ? "" : "'self' file:");
    replaceAll(page, "@IMAGE_SOURCES@", isWhole ? "data:" : "'self' file: data:");
    replaceAll(page, "@TITLE@", markupOf(data.title));
    const size_t place = page.rfind("@DATA@");
    const std::string script = isWhole ? "<script type=\"application/json\" id=\"files\">{\"about\": " + about() +
                                             ", \"files\": " + joinedRows(data) + "}</script>"
                                       : "<script src=\"" + folder + "/files.js\"></script>";
    return page.replace(place, strlen("@DATA@"), script);
}
