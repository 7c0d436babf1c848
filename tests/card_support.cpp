#include "tests/card_support.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

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
    EXPECT_EQ(std::vector<u32>({wide.kind, wide.width, wide.height, wide.resX, wide.resY, wide.mulX, wide.mulY,
                                wide.firstPart, wide.orientationFlag}),
              std::vector<u32>({picture.kind, picture.width, height, 0, 0, 1, 1, 1, format.orientationFlag}));
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
