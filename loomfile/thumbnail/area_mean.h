// A picture made small, or large by squares: each pixel of the result is the mean of the light that falls on its area.
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "loomfile/thumbnail/shape.h"

// What the rows hold that are taken.
struct MeanSource {
    u32 kind; // an ImageKind
    u32 width;
    u32 height;
    u32 colourCount;             // more than any index
    std::array<u8, 768> palette; // of bilevel pictures the colours of clear and set pixels
};

class RowSums;

// Takes the rows of a picture one by one, from the first on, and keeps none. Writes the rows of the result as they are
// complete, R, G, B, A.
class AreaMean
{
public:
    AreaMean(const MeanSource& source, ThumbnailShape shape, u8* resultRows, u32 resultStride);
    AreaMean(const AreaMean&) = delete;
    AreaMean& operator=(const AreaMean&) = delete;
    ~AreaMean();

    void take(const u8* row);

private:
    u64 resultEnd() const { return (u64{resultRow} + 1) * height; }
    void addGathered();
    void addToTotals(u64 parts);
    void finishRow();

    const u32 width;
    const u32 height;
    const ThumbnailShape result;
    u8* const rows;
    const u32 stride;
    const std::unique_ptr<RowSums> sums;
    u32 gathered = 0; // rows in the sums
    std::vector<u64> rowSums;
    std::vector<double> totals; // of the row of the result that is being made
    u64 position = 0; // where the next row begins, in parts, of which a row has as many as the result has rows
    u32 resultRow = 0;
};
