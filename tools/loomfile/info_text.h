// What files say of themselves, for people.
#pragma once

#include "weave_facts.h"

// All of it, a line a fact.
std::string infoText(const Picture& picture, bool isVerbose);
std::string factLines(const std::vector<Fact>& facts);
// Format, size, colours, name and remarks in one line, aligned with those of other files.
std::string infoLine(const Picture& picture);
