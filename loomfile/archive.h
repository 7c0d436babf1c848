// What stands in a zip archive.
#pragma once

#include <string>

// The first member, not in a folder, whose name ends in a dot and the extension, in any case; "" when there is none.
std::string archiveMember(const std::string& path, const std::string& extension);
