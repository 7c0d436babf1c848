#include "json.h"

#include <cstdio>

void printJson(const Json& document)
{
    constexpr int indentation = 2;
    puts(document.dump(indentation, ' ', true, Json::error_handler_t::replace).c_str());
}

Json remarksJson(const Picture& picture)
{
    Json remarks = Json::array();
    for (const Remark& remark : remarksOf(picture))
        remarks.push_back({{"text", remark.text}, {"grave", remark.isGrave}});
    return remarks;
}
