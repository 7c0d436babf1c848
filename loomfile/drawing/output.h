// Where the bytes of a drawing go.
#pragma once

#include "loomfile/refusal.h"

struct Output {
    LoomfileWriter writer;
    void* context;

    // Throws Refusal.
    void write(const void* bytes, u64 size)
    {
        if (size > 0 && writer(context, bytes, size) != 0)
            throw Refusal{loomfileCannotWrite, "the drawing cannot be written"};
    }
};
