// Repeating patterns: rows that are stored once, the seam where a repeat meets itself, points that keep their distance.
#include "color/repeat.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

Expansion expandRepeats(u8* data, i32 rowBytes, i32 rows, const i32* repeatTable)
{
    for (i32 y = 0; y < rows; y++) {
        if (static_cast<u32>(repeatTable[y]) > static_cast<u32>(rows))
            return Expansion::wrongTable;
    }
    if (rows <= 0 || rowBytes <= 0)
        return Expansion::done;
    // A row that is named before it has a source of its own stands for the first.
    auto* sources = static_cast<i32*>(calloc(static_cast<size_t>(rows), sizeof(i32)));
    if (sources == nullptr)
        return Expansion::noMemory;
    i32 stored = 0;
    for (i32 y = 0; y < rows; y++)
        sources[y] = repeatTable[y] == 0 ? stored++ : sources[repeatTable[y] - 1];
    // From the last row up, since no row's source is below it.
    const auto size = static_cast<size_t>(rowBytes);
    for (i32 y = rows - 1; y >= 0; y--) {
        if (sources[y] != y)
            memcpy(data + static_cast<size_t>(y) * size, data + static_cast<size_t>(sources[y]) * size, size);
    }
    free(sources);
    return Expansion::done;
}

void copyTableEqualY(u8* data, i32 rowBytes, i32 rows, const i32* repeatTable)
{
    if (expandRepeats(data, rowBytes, rows, repeatTable) == Expansion::wrongTable)
        puts(wrongRepeatTable);
}

namespace
{

// The seam is one of ten neighbouring pairs of columns or rows, the one in the middle.
constexpr i32 pairs = 10;
constexpr i32 seamPair = 4;
constexpr i32 leastSize = 21;

struct RepeatPicture {
    const u8* pixels;
    i64 stride;
    i32 kind;
    i32 width;
    i32 height;
};

i64 pixelDifference(const RepeatPicture& picture, i32 firstX, i32 firstY, i32 secondX, i32 secondY)
{
    const u8* first = picture.pixels + firstY * picture.stride;
    const u8* second = picture.pixels + secondY * picture.stride;
    if (picture.kind == kindBilevel) {
        // The byte lags behind the column from column 8 on.
        const bool firstDark = (first[firstX >> 8] & 0x80 >> firstX % 8) != 0;
        const bool secondDark = (second[secondX >> 8] & 0x80 >> secondX % 8) != 0;
        return firstDark != secondDark ? 1 : 0;
    }
    if (picture.kind == kindIndexed)
        return first[firstX] != second[secondX] ? 1 : 0;
    const i64 channels = picture.kind == kindRGB ? 3 : picture.kind == kindRGBA ? 4 : 0;
    i64 difference = 0;
    for (i64 channel = 0; channel < channels; channel++)
        difference += std::abs(first[channels * firstX + channel] - second[channels * secondX + channel]);
    return difference;
}

u16 seamPercent(const i64* differences, i64 length)
{
    i64 sum = 0;
    i64 different = 0;
    for (i32 pair = 0; pair < pairs; pair++) {
        sum += differences[pair];
        different += differences[pair] != 0 ? 1 : 0;
    }
    const i64 average = different != 0 ? sum / different : 0;
    const i64 seam = differences[seamPair];
    return average * 100 > length && seam > average ? static_cast<u16>(seam * 100 / average - 100) : u16{0};
}

} // namespace

void getRepeatBorder(const u8* pixels, i32 kind, i32 width, i32 height, i32 stride, u16* seamX, u16* seamY)
{
    *seamX = 0;
    *seamY = 0;
    if (pixels == nullptr)
        return;
    const RepeatPicture picture = {pixels, stride, kind, width, height};
    if (width >= leastSize) {
        i64 differences[pairs] = {};
        for (i32 y = 0; y < height - 1; y++) {
            for (i32 pair = 0; pair < pairs; pair++)
                differences[pair] += pixelDifference(picture, (width - seamPair - 1 + pair) % width, y,
                                                     (width - seamPair + pair) % width, y);
        }
        *seamX = seamPercent(differences, height);
    }
    if (height >= leastSize) {
        i64 differences[pairs] = {};
        const i32 length = kind == kindBilevel ? width : width - 1;
        for (i32 pair = 0; pair < pairs; pair++) {
            for (i32 x = 0; x < length; x++)
                differences[pair] += pixelDifference(picture, x, (height - seamPair - 1 + pair) % height, x,
                                                     (height - seamPair + pair) % height);
        }
        *seamY = seamPercent(differences, width);
    }
}

namespace
{

// The points placed so far, in square cells whose edges are cellSize; the last cell of a row or column also takes what
// is left over. A cell holds its last point, a point the one that was placed before it in the same cell.
struct PlacedPoints {
    i32 width;
    i32 height;
    i32 cellSize;
    i32 cellsX;
    i32 cellsY;
    u16* points; // x, y
    i32* cells;  // -1 = empty
    i32* next;
};

i32 cellOf(i32 coordinate, i32 cellSize, i32 cells)
{
    return std::min(coordinate / cellSize, cells - 1);
}

i64 distanceAround(i64 difference, i64 size)
{
    return std::min({std::abs(difference), std::abs(difference - size), std::abs(difference + size)});
}

// Lowers nearest to the squared distance of the nearest point in a cell; the cell's place may lie beyond the edges.
void lookIntoCell(const PlacedPoints& placed, i32 x, i32 y, i32 cellX, i32 cellY, i64& nearest)
{
    cellX += cellX < 0 ? placed.cellsX : cellX >= placed.cellsX ? -placed.cellsX : 0;
    cellY += cellY < 0 ? placed.cellsY : cellY >= placed.cellsY ? -placed.cellsY : 0;
    const i64 cell = i64{cellY} * placed.cellsX + cellX;
    for (i32 point = placed.cells[cell]; point >= 0; point = placed.next[point]) {
        const i64 distanceX = distanceAround(i64{x} - placed.points[2 * i64{point}], placed.width);
        const i64 distanceY = distanceAround(i64{y} - placed.points[2 * i64{point} + 1], placed.height);
        nearest = std::min(nearest, distanceX * distanceX + distanceY * distanceY);
    }
}

// The squared distance of the nearest point, or anything up to enough when that is near enough to lose. Looks into the
// cells in rings around the place.
i64 distanceToNearest(const PlacedPoints& placed, i32 x, i32 y, i64 enough)
{
    const i32 cellX = cellOf(x, placed.cellSize, placed.cellsX);
    const i32 cellY = cellOf(y, placed.cellSize, placed.cellsY);
    const i32 farthestX = placed.cellsX / 2;
    const i32 farthestY = placed.cellsY / 2;
    i64 nearest = INT32_MAX;
    for (i32 ring = 0; ring <= std::max(farthestX, farthestY); ring++) {
        // What no ring has touched so far is farther away than the cells that lie between.
        const i64 between = i64{std::max(ring - 1, 0)} * placed.cellSize;
        if (nearest <= enough || between * between >= nearest)
            break;
        const i32 ringX = std::min(ring, farthestX);
        const i32 ringY = std::min(ring, farthestY);
        for (i32 stepY = -ringY; stepY <= ringY; stepY++) {
            const bool wholeRow = std::abs(stepY) == ring;
            if (!wholeRow && ringX < ring)
                continue;
            for (i32 stepX = -ringX; stepX <= ringX; stepX += wholeRow ? 1 : 2 * ring)
                lookIntoCell(placed, x, y, cellX + stepX, cellY + stepY, nearest);
        }
    }
    return nearest;
}

void place(PlacedPoints& placed, i32 point, i32 x, i32 y)
{
    u16* coordinates = placed.points + 2 * i64{point};
    coordinates[0] = static_cast<u16>(x);
    coordinates[1] = static_cast<u16>(y);
    const i64 row = cellOf(coordinates[1], placed.cellSize, placed.cellsY);
    i32& first = placed.cells[row * placed.cellsX + cellOf(coordinates[0], placed.cellSize, placed.cellsX)];
    placed.next[point] = first;
    first = point;
}

// Of the candidates for each point the one is taken that is farthest from all points before.
void placeAll(PlacedPoints& placed, i32 count)
{
    constexpr i32 candidates = 60;
    i32 chosenX = 0;
    i32 chosenY = 0;
    for (i32 point = 0; point < count; point++) {
        i64 best = 0;
        for (i32 candidate = 0; candidate < candidates; candidate++) {
            const i32 x = rand() % placed.width;
            const i32 y = rand() % placed.height;
            const i64 distance = distanceToNearest(placed, x, y, best);
            if (distance > best) {
                best = distance;
                chosenX = x;
                chosenY = y;
            }
        }
        place(placed, point, chosenX, chosenY);
    }
}

} // namespace

u16* selfAvoidTable(i32 count, i32 width, i32 height)
{
    if (count < 0 || width <= 0 || height <= 0)
        return nullptr;
    // About two cells a point, whatever shape the area has.
    const double area = static_cast<double>(width) * height;
    const double edge = std::sqrt(area / (2.0 * std::max(count, 1)));
    const i32 cellSize = static_cast<i32>(std::clamp(edge, 1.0, static_cast<double>(std::max(width, height))));
    PlacedPoints placed = {.width = width,
                           .height = height,
                           .cellSize = cellSize,
                           .cellsX = std::max(1, width / cellSize),
                           .cellsY = std::max(1, height / cellSize),
                           .points = nullptr,
                           .cells = nullptr,
                           .next = nullptr};
    const u64 cellBytes = static_cast<u64>(placed.cellsX) * static_cast<u64>(placed.cellsY) * sizeof(i32);
    const u64 points = static_cast<u64>(std::max(count, 1));
    placed.points = static_cast<u16*>(calloc(points, 2 * sizeof(u16)));
    placed.cells = static_cast<i32*>(malloc(cellBytes));
    placed.next = static_cast<i32*>(malloc(points * sizeof(i32)));
    if (placed.points != nullptr && placed.cells != nullptr && placed.next != nullptr) {
        memset(placed.cells, 0xFF, cellBytes);
        placeAll(placed, count);
    } else {
        free(placed.points);
        placed.points = nullptr;
    }
    free(placed.cells);
    free(placed.next);
    return placed.points;
}
