// What info --weave tells.
#pragma once

#include "commands.h"
#include "json.h"

struct Fact {
    std::string label;
    std::string text;
};

struct WeaveFacts {
    std::vector<Fact> lines;
    Json json;
};

// Reads the picture. Throws Failure.
WeaveFacts weaveFacts(const Picture& picture, const InfoRequest& request);
