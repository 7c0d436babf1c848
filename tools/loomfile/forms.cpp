#include "forms.h"

#include <algorithm>

#include "batch/report.h"

static bool isOne(const BatchOptions& options, bool isArray)
{
    return !isArray && isOneFile(options);
}

std::string formed(const Json& document, Form form, const BatchOptions& options, bool isArray)
{
    return form == Form::jsonLines   ? lineOf(document) + "\n"
           : isOne(options, isArray) ? pageOf(document)
                                     : elementOf(document);
}

void tellForm(Batch& batch, Form form, const BatchOptions& options, bool isArray)
{
    if (form == Form::text || isOne(options, isArray))
        return;
    if (form == Form::json)
        batch.listing = jsonArray;
    batch.refusedText = [form, &options, isArray](const Input& input, const Failure& failure) {
        return formed({{"file", input.path}, {"status", failure.exitCode}, {"error", failure.reason}}, form, options,
                      isArray);
    };
}

[[noreturn]] static void failAsUnknown(const std::string& field, const std::string& known)
{
    throw Failure{exitUsage, "--fields", "there is no field '" + field + "'; the fields are " + known};
}

void checkFields(const std::vector<std::string>& fields, const std::vector<std::string>& all)
{
    std::string known;
    for (const std::string& field : all)
        known += (known.empty() ? "" : ", ") + field;
    for (const std::string& field : fields) {
        if (std::find(all.begin(), all.end(), field) == all.end())
            failAsUnknown(field, known);
    }
}

Json picked(const Json& document, const std::vector<std::string>& fields)
{
    Json result = Json::object();
    for (const std::string& field : fields)
        result[field] = document.value(field, Json());
    return result;
}

static std::string cellOf(const Json& value)
{
    if (value.is_null())
        return "";
    if (value.is_string())
        return value.get<std::string>();
    std::string remarks;
    for (const Json& remark : value) {
        if (!remark.is_object())
            return lineOf(value);
        remarks += (remarks.empty() ? "" : "; ") + remark.value("text", "");
    }
    return value.is_array() ? remarks : lineOf(value);
}

std::string csvOf(const Json& document, const std::vector<std::string>& fields)
{
    std::vector<std::string> cells;
    cells.reserve(fields.size());
    for (const std::string& field : fields)
        cells.push_back(cellOf(document.value(field, Json())));
    return csvLine(cells);
}
