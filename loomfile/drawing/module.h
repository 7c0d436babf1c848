// What the module for drawing has to offer. It stands on loomfile.h alone.
#pragma once

#include "loomfile.h"

constexpr const char* drawingModule = "libloomfile-drawing.so.1";
constexpr const char* drawingEntry = "loomfileDrawWithCairo";

// As loomfileDraw, of which it is all.
extern "C" LOOMFILE_API i32 loomfileDrawWithCairo(const LoomfileDraft* draft, const LoomfileDrawing* drawing, u32 kind,
                                                  LoomfileWriter writer, void* context, LoomfileFailure* failure);
