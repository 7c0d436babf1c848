#include "tests/card_support.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "samples/bytes.h"

Picture noiseCards(u32 width, u32 height)
{
    return noisePicture(pictureBilevel, width, height, 0, width * 7919ull + height);
}

void expectDelivery(const CardFormat& format, const Picture& picture)
{
    SCOPED_TRACE(format.name + (" " + std::to_string(picture.width)) + " x " + std::to_string(picture.height));
    TestDirectory directory;
    const std::string file = directory.write(format.name, format.encode(picture));
    const u32 height = picture.height;
    const std::vector<u32> bands = format.inOneBand ? std::vector<u32>{height} : std::vector<u32>{0, 2, height - 2};
    const Loaded wide = load(file, {.id = format.id, .bands = bands, .extraStride = 3});
    ASSERT_EQ(wide.status, loadSuccess);
    EXPECT_EQ(wide.bandStatus, loadSuccess);
    EXPECT_EQ(wide.numbers(),
              (std::vector<u32>{picture.kind, picture.width, height, 0, 0, 1, 1, 1, format.orientationFlag}));
    EXPECT_EQ(wide.description, format.description);
    if (picture.kind == pictureBilevel) {
        EXPECT_EQ(wide.palette[0], format.clearsColour ? 0 : 0xA5);
    }
    EXPECT_TRUE(wide.pixels() == picture.rows);
    for (size_t end = wide.stride; end <= wide.rows.size(); end += wide.stride)
        ASSERT_EQ(wide.rows[end - 1], format.behindRows);

    if (format.id != 28) { // which takes pixels that are missing for light ones
        EXPECT_NE(load(file, {.id = format.id, .bands = {height - 1, 2}}).bandStatus, loadSuccess);
    }
    const Loaded exact = load(file, {.id = format.id});
    EXPECT_TRUE(exact.rows == picture.rows);
    const Loaded narrow = load(file, {.id = format.id, .extraStride = -1});
    for (size_t i = 0; i < narrow.rows.size(); i++)
        ASSERT_EQ(narrow.rows[i], picture.rows[i + i / narrow.stride]);
    EXPECT_EQ(getLoadBand()(Bytes(1).data(), 1, 1), loadBadData); // nothing is open any more
}

int statusOf(const std::string& name, const Bytes& bytes, u32 id)
{
    TestDirectory directory;
    return load(directory.write(name, bytes), {.id = id, .bands = {0}}).status;
}

Bytes patched(Bytes bytes, size_t at, const Bytes& with)
{
    std::copy(with.begin(), with.end(), bytes.begin() + static_cast<i64>(at));
    return bytes;
}

void expectStatuses(const CardFormat& format, const Bytes& good, int status, const Patches& patches)
{
    for (const auto& patch : patches) {
        const Bytes bytes = patched(good, patch[0], Bytes(patch.begin() + 1, patch.end()));
        EXPECT_EQ(statusOf(format.name, bytes, format.id), status) << format.name << " " << patch[0] << " " << patch[1];
    }
}

void expectLimits(const CardFormat& format, const Limits& limits, u32 kind)
{
    for (const auto& [width, height, otherWidth, otherHeight] : limits) {
        SCOPED_TRACE(format.name + (" " + std::to_string(otherWidth)) + " x " + std::to_string(otherHeight));
        EXPECT_EQ(statusOf(format.name, format.encode(blankPicture(kind, width, height)), format.id), loadSuccess);
        const Bytes other = format.encode(blankPicture(kind, otherWidth, otherHeight));
        EXPECT_TRUE(!other.empty() && statusOf(format.name, other, format.id) != loadSuccess);
    }
}

std::string toldOf(const CardFormat& format, const Bytes& bytes)
{
    TestDirectory directory;
    load(directory.write(format.name, bytes), {.id = format.id});
    std::string told = llibGetReason();
    for (i32 i = 0, grave = 0; i < llibGetRemarkCount(); i++) {
        const std::string remark = llibGetRemark(i, &grave);
        told += (grave != 0 ? "!" : "+") + remark;
    }
    return told;
}

int bandStatusOfCut(const CardFormat& format, const Picture& picture, size_t cut)
{
    TestDirectory directory;
    const Bytes bytes = format.encode(picture);
    const std::string file = directory.write(format.name, bytes);
    OpenPicture open(file, format.id);
    EXPECT_EQ(truncate(file.c_str(), static_cast<off_t>(bytes.size() - cut)), 0);
    const auto stride = static_cast<u32>(pictureRowBytes(picture));
    return getLoadBand()(Bytes(size_t{stride} * picture.height).data(), picture.height, stride);
}

void expectStoredBits(const CardFormat& format, const Picture& picture, u64 start, CutRow cutRow, u64 recordBytes,
                      u8 flip)
{
    SCOPED_TRACE(format.name);
    const u64 rowBytes = pictureRowBytes(picture), record = recordBytes != 0 ? recordBytes : rowBytes;
    for (i64 extra : {0, 3, -1})
        for (bool isCut : {true, false}) {
            TestDirectory directory;
            const std::string file = directory.write(format.name, format.encode(picture));
            OpenPicture open(file, format.id);
            ASSERT_EQ(open.status, loadSuccess);
            const auto size = static_cast<off_t>(start + picture.height * record - 1);
            ASSERT_EQ(isCut ? truncate(file.c_str(), size) : 0, 0);
            const bool hasPart = cutRow == CutRow::held || (cutRow == CutRow::heldAtOnce && extra == 0);
            const u64 held = picture.rows.size() - (isCut ? (hasPart ? 1 : rowBytes) : 0);
            const u64 stride = rowBytes + static_cast<u64>(extra);
            Bytes rows(stride * (picture.height + 1), 0xA5), expected = rows;
            for (u64 i = 0; i < held; i++)
                if (i % rowBytes < stride)
                    expected[i / rowBytes * stride + i % rowBytes] = mirrored(picture.rows[i]) ^ flip;
            const u32 asked = isCut ? picture.height : picture.height + 1;
            EXPECT_EQ(getLoadBand()(rows.data(), asked, static_cast<u32>(stride)), loadBadData);
            EXPECT_TRUE(rows == expected) << isCut << ", stride " << stride;
        }
}
