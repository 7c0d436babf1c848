// Work memory of one call.
#pragma once

#include <cstdlib>
#include <memory>

#include "tload.h"

struct FreeBlock {
    void operator()(void* memory) const { free(memory); }
};

template <typename Item>
using Block = std::unique_ptr<Item[], FreeBlock>;

// Zeroed; null when memory does not suffice.
template <typename Item>
Block<Item> allocateBlock(u64 count)
{
    return Block<Item>(static_cast<Item*>(calloc(count, sizeof(Item))));
}
