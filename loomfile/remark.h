// What is left out or made up of a file.
#pragma once

#include <string>

struct Remark {
    std::string text;
    bool isGrave; // the picture is not what the file means
};
