#include "samples/weave_writer.h"

#include <zlib.h>

#include <map>

#include "samples/bytes.h"

using Bytes = std::vector<uint8_t>;

std::string packedRecord(const std::string& key, const Bytes& block)
{
    uLongf size = compressBound(block.size());
    std::string packed(size, 0);
    compress(reinterpret_cast<Bytef*>(packed.data()), &size, block.data(), block.size());
    return "#" + key + "=" + std::to_string(size) + "\n" + packed.substr(0, size);
}

static std::string plainRecord(const std::string& key, const Bytes& block)
{
    return "#" + key + "=\n" + std::string(block.begin(), block.end());
}

static Bytes file(const std::string& records)
{
    Bytes bytes;
    addText(bytes, "#BINDING\n" + records + "#END\n");
    return bytes;
}

static std::string sizes(const Picture& picture, const std::string& shafts)
{
    return "#DIM=" + std::to_string(picture.width) + " " + std::to_string(picture.height) + "," + shafts + "\n";
}

// Moves the rows that are new to the top and returns where each row came from.
static Bytes storeRowsOnce(Bytes& rows, size_t rowBytes)
{
    Bytes repeats, stored;
    std::map<std::string, uint32_t> firstRows;
    for (uint32_t row = 0; row * rowBytes < rows.size(); ++row) {
        const std::string pixels(reinterpret_cast<const char*>(&rows[row * rowBytes]), rowBytes);
        const auto [first, isNew] = firstRows.try_emplace(pixels, row);
        if (isNew)
            addText(stored, pixels);
        addLittleEndian(repeats, isNew ? 0 : first->second + 1, 2);
    }
    stored.resize(rows.size());
    rows = stored;
    return repeats;
}

Bytes encodeWeave(const Picture& picture, const WeaveOptions& options)
{
    Bytes rows = picture.rows;
    const Bytes repeats = options.repeatsRows ? storeRowsOnce(rows, pictureRowBytes(picture)) : Bytes();
    std::string records = sizes(picture, std::to_string(picture.width));
    records += options.packed ? packedRecord("BETMAP", rows) : plainRecord("BATMAP", rows);
    if (options.repeatsRows)
        records += packedRecord("LINES_REPEAT", repeats);
    return file(records);
}

// The picks of an end, '1' where it is lifted.
static std::string columnOf(const Picture& picture, uint32_t end)
{
    std::string column;
    for (uint32_t pick = 0; pick < picture.height; ++pick) {
        const uint8_t pixels = picture.rows[pick * pictureRowBytes(picture) + end / 8];
        column += (pixels & 0x80 >> end % 8) != 0 ? '1' : '0';
    }
    return column;
}

static std::string threadingRecord(const Bytes& shafts, WeaveThreading style)
{
    if (style == WeaveThreading::bytes)
        return packedRecord("HARNUNDS", shafts);
    std::string record = style == WeaveThreading::numbers ? "#HARNENDS=\n" : "#HARNANDS=";
    for (uint8_t shaft : shafts)
        record += style == WeaveThreading::numbers ? std::to_string(shaft) + " "
                                                   : std::string(1, static_cast<char>('1' + shaft));
    return record + "\n";
}

Bytes encodeWeaveDraft(const Picture& picture, const WeaveOptions& options)
{
    std::map<std::string, uint8_t> shaftOfColumn;
    std::string plan;
    Bytes threading;
    for (uint32_t end = 0; end < picture.width; ++end) {
        const std::string column = columnOf(picture, end);
        const auto [shaft, isNew] = shaftOfColumn.try_emplace(column, static_cast<uint8_t>(shaftOfColumn.size()));
        if (shaftOfColumn.size() > 256)
            return {};
        if (isNew)
            plan += column;
        threading.push_back(shaft->second);
    }
    Bytes planBytes(plan.size() / 8 + 1);
    for (size_t bit = 0; bit < plan.size(); ++bit)
        if (plan[bit] == '1')
            planBytes[bit / 8] |= static_cast<uint8_t>(1 << bit % 8);
    return file(sizes(picture, std::to_string(shaftOfColumn.size())) + threadingRecord(threading, options.threading) +
                (options.packed ? packedRecord("BUTMAP", planBytes) : plainRecord("BITMAP", planBytes)));
}

Bytes encodeFabric(const Bytes& weave)
{
    const std::string yarns = "# Fabric\n#WARPYARN=linen 0 0 0\n#WEFTYARN=cotton 236 226 200\n";
    Bytes bytes;
    addText(bytes, yarns + std::string(weave.begin(), weave.end()));
    return bytes;
}
