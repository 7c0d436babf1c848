#include "json.h"

std::string pageOf(const Json& document)
{
    constexpr int indentation = 2;
    return document.dump(indentation, ' ', true, Json::error_handler_t::replace) + "\n";
}

std::string lineOf(const Json& document)
{
    return document.dump(-1, ' ', true, Json::error_handler_t::replace);
}

std::string elementOf(const Json& document)
{
    std::string text = "  " + pageOf(document);
    text.pop_back();
    for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', end + 1))
        text.insert(end + 1, "  ");
    return text;
}

std::string remarksText(const Picture& picture)
{
    return loomfileRemarkCount(picture.handle.get()) == 0 ? "[]" : lineOf(remarksJson(picture));
}

Json remarksJson(const Picture& picture)
{
    Json remarks = Json::array();
    for (const Remark& remark : remarksOf(picture))
        remarks.push_back({{"text", remark.text}, {"grave", remark.isGrave}});
    return remarks;
}
