// How what is known of files is printed for other programs.
#pragma once

#include "commands.h"
#include "json.h"

// Around the elements of an array.
const Listing jsonArray = {"[\n", ",\n", "\n]\n", "[]\n"};

// Sets what stands around the documents, and what is printed for refused files. isArray: even one document is.
void tellForm(Batch& batch, Form form, const BatchOptions& options, bool isArray);
// A document as it is printed.
std::string formed(const Json& document, Form form, const BatchOptions& options, bool isArray);

// Picks of a document, in their order. Throws Failure for a name that is none of all.
void checkFields(const std::vector<std::string>& fields, const std::vector<std::string>& all);
Json picked(const Json& document, const std::vector<std::string>& fields);
std::string csvOf(const Json& document, const std::vector<std::string>& fields);
