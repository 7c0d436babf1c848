// BMP, from the bottom row to the top one:
//
//   file header   14 bytes   "BM", file size, where the rows begin
//   info header   40 bytes   width, height, 1 plane, 1 bit, no compression, pixels a metre, 2 colours
//   palette        8 bytes   black, white
//   rows          each padded to a multiple of 4 bytes
#include "lift_files.h"

#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <functional>
#include <vector>

namespace
{

constexpr u32 bandBytes = 1 << 20;
constexpr u32 bmpHeaderBytes = 62;
constexpr double inchesPerMetre = 1000 / 25.4;

u32 bandRows(const Lifts& lifts)
{
    return std::max(bandBytes / lifts.rowBytes, 1U);
}

// take is given the first row's number, the rows, and how many they are.
void forBands(Lifts& lifts, std::atomic<int>& percentWritten, const std::function<void(u32, u8*, u32)>& take)
{
    const u32 height = lifts.picture.info.height;
    std::vector<u8> rows(u64{std::min(bandRows(lifts), height)} * lifts.rowBytes);
    for (u32 y = 0, count = 0; y < height; y += count) {
        count = std::min(bandRows(lifts), height - y);
        lifts.read(rows.data(), count);
        take(y, rows.data(), count);
        percentWritten = static_cast<int>(u64{100} * (y + count) / height);
    }
}

void add(std::vector<u8>& bytes, u32 value, u32 size)
{
    for (u32 i = 0; i < size; i++)
        bytes.push_back(static_cast<u8>(value >> 8 * i));
}

std::vector<u8> bmpHeader(const LoomfileInfo& info, u64 rowsBytes)
{
    auto pixelsPerMetre = [](u32 resolution) {
        return static_cast<u32>(std::lround(resolution / 1000.0 * inchesPerMetre));
    };
    std::vector<u8> header = {'B', 'M'};
    add(header, static_cast<u32>(bmpHeaderBytes + rowsBytes), 4);
    add(header, 0, 4);
    add(header, bmpHeaderBytes, 4);
    add(header, 40, 4);
    add(header, info.width, 4);
    add(header, info.height, 4);
    add(header, 1, 2);
    add(header, 1, 2);
    add(header, 0, 4);
    add(header, static_cast<u32>(rowsBytes), 4);
    add(header, pixelsPerMetre(info.resX), 4);
    add(header, pixelsPerMetre(info.resY), 4);
    add(header, 2, 4);
    add(header, 2, 4);
    add(header, 0, 4);
    add(header, 0xFFFFFF, 4);
    return header;
}

struct CloseTiff {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};

// Whatever the library says, there is one sentence for it.
int keepSilent(TIFF*, void*, const char*, const char*, va_list)
{
    return 1;
}

std::unique_ptr<TIFF, CloseTiff> openTiff(OutputFile& file)
{
    const std::unique_ptr<TIFFOpenOptions, decltype(&TIFFOpenOptionsFree)> options(TIFFOpenOptionsAlloc(),
                                                                                   TIFFOpenOptionsFree);
    const int descriptor = options != nullptr ? dup(fileno(file.stream)) : -1;
    if (descriptor < 0)
        failToWrite(file.target, options != nullptr ? errno : ENOMEM);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepSilent, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), keepSilent, nullptr);
    std::unique_ptr<TIFF, CloseTiff> tiff(TIFFFdOpenExt(descriptor, file.target.c_str(), "wl", options.get()));
    if (tiff == nullptr) {
        const int errorNumber = errno;
        close(descriptor);
        failToWrite(file.target, errorNumber);
    }
    return tiff;
}

} // namespace

void writeBmp(OutputFile& file, Lifts& lifts, std::atomic<int>& percentWritten)
{
    const LoomfileInfo& info = lifts.picture.info;
    const u64 stride = (u64{lifts.rowBytes} + 3) / 4 * 4;
    auto write = [&file](const std::vector<u8>& bytes) {
        if (fwrite(bytes.data(), 1, bytes.size(), file.stream) != bytes.size())
            failToWrite(file.target, errno);
    };
    if (stride * info.height > UINT32_MAX - bmpHeaderBytes)
        throw Failure{exitCannotWrite, file.target, "a BMP holds less than 4 GB, the picture is larger"};
    write(bmpHeader(info, stride * info.height));
    forBands(lifts, percentWritten, [&](u32 first, const u8* rows, u32 count) {
        std::vector<u8> turned(stride * count);
        for (u32 y = 0; y < count; y++)
            std::transform(rows + u64{y} * lifts.rowBytes, rows + u64{y + 1} * lifts.rowBytes,
                           turned.data() + (count - 1 - y) * stride, [](u8 byte) { return static_cast<u8>(~byte); });
        const u64 place = bmpHeaderBytes + stride * (info.height - first - count);
        if (fseeko(file.stream, static_cast<off_t>(place), SEEK_SET) != 0)
            failToWrite(file.target, errno);
        write(turned);
    });
}

void writeTiff(OutputFile& file, Lifts& lifts, std::atomic<int>& percentWritten)
{
    const LoomfileInfo& info = lifts.picture.info;
    const std::unique_ptr<TIFF, CloseTiff> tiff = openTiff(file);
    TIFF* handle = tiff.get();
    auto check = [&file](bool isDone) {
        if (!isDone)
            failToWrite(file.target, errno != 0 ? errno : EIO);
    };
    errno = 0;
    TIFFSetField(handle, TIFFTAG_IMAGEWIDTH, info.width);
    TIFFSetField(handle, TIFFTAG_IMAGELENGTH, info.height);
    TIFFSetField(handle, TIFFTAG_BITSPERSAMPLE, 1);
    TIFFSetField(handle, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(handle, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
    TIFFSetField(handle, TIFFTAG_COMPRESSION, COMPRESSION_CCITTFAX4);
    TIFFSetField(handle, TIFFTAG_ROWSPERSTRIP, std::min(bandRows(lifts), info.height));
    if (info.resX != 0 && info.resY != 0) {
        TIFFSetField(handle, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
        TIFFSetField(handle, TIFFTAG_XRESOLUTION, info.resX / 1000.0);
        TIFFSetField(handle, TIFFTAG_YRESOLUTION, info.resY / 1000.0);
    }
    forBands(lifts, percentWritten, [&](u32 first, u8* rows, u32 count) {
        for (u32 y = 0; y < count; y++)
            check(TIFFWriteScanline(handle, rows + u64{y} * lifts.rowBytes, first + y, 0) == 1);
    });
    check(TIFFWriteDirectory(handle) == 1);
}
