#pragma once

#include <string>

#include "samples/picture.h"

enum class WeaveThreading { numbers, characters, bytes };

struct WeaveOptions {
    bool packed = false;      // the plane, with zlib
    bool repeatsRows = false; // rows of a full plane that are like an earlier one are stored once
    WeaveThreading threading = WeaveThreading::numbers;
};

// Bilevel pictures, as a full plane.
std::vector<uint8_t> encodeWeave(const Picture& picture, const WeaveOptions& options = {});
// The same as a draft: columns that are alike hang on one shaft.
std::vector<uint8_t> encodeWeaveDraft(const Picture& picture, const WeaveOptions& options = {});
// A fabric of this weave.
std::vector<uint8_t> encodeFabric(const std::vector<uint8_t>& weave);

// "#key=size" and the packed block that belongs to it.
std::string packedRecord(const std::string& key, const std::vector<uint8_t>& block);
