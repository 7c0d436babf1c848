// Quantization and dithering step by step, with linear searches and whole tables, for comparison with the library's.
#pragma once

#include "tload.h"

namespace reference
{

i64 checkTrueColorPalette(const u8* rgb, i32 stride, i32 width, i32 height, u8* paletteOut);
i64 checkRGBAPalette(const u8* rgba, i32 stride, i32 width, i32 height, u8* paletteOut);
void colorQuantize(const u8* rgb, i32 rgbStride, u8* indexOut, i32 indexStride, i32 width, i32 height, u8* palette,
                   i32 fixedCount, i32* colourCount);
u64 trueColorRemapToCmap(const u8* rgb, i32 rgbStride, u8* indexOut, i32 indexStride, i32 width, i32 height,
                         const u8* palette, i32 paletteCount, i32 noise);
void colorQuantizeDitherFS(const u8* src, i32 srcStride, u8* dst, i32 dstStride, i32 srcWidth, i32 srcHeight,
                           i32 dstWidth, i32 dstHeight, const u8* palette, i32 paletteCount, i32 strength, i32 noise);
void colorQuantizeDitherFS16(const u8* src, i32 srcStride, u16* dst, i32 dstStride, i32 srcWidth, i32 srcHeight,
                             i32 dstWidth, i32 dstHeight, const u8* palette, i32 paletteCount, i32 strength, i32 noise);

} // namespace reference
