#include "loomfile/common_pictures.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include "loomfile/format_facts.h"

using namespace std::string_view_literals;

namespace
{

struct Mark {
    size_t at;
    std::string_view bytes;
    CommonPicture picture;
};

constexpr Mark marks[] = {
    {0, "GIF8", {"gif", "GIF", formatGif}},
    {0, "BM", {"bmp", "BMP", formatBmp}},
    {0, "II*\0"sv, {"tiff", "TIFF", formatTiff}},
    {0, "MM\0*"sv, {"tiff", "TIFF", formatTiff}},
    {0, "II+\0"sv, {"tiff", "BigTIFF", formatTiff}},
    {0, "MM\0+"sv, {"tiff", "BigTIFF", formatTiff}},
    {0, "\x89PNG\r\n\x1A\n", {"png", "PNG", formatPng}},
    {0, "\xFF\xD8\xFF", {"jpeg", "JPEG", formatJpeg}},
    {0, "P7\nWIDTH", {"pam", "PAM", 0}},
    {8, "WEBPVP8", {"webp", "WebP", 0}},
    {0, "8BPS", {"psd", "Photoshop PSD", 0}},
    {0, "\x59\xA6\x6A\x95", {"sun", "Sun raster", 0}},
    {0, "\x01\xDA\0"sv, {"sgi", "SGI", 0}},
    {0, "\x01\xDA\x01", {"sgi", "SGI", 0}},
    {0, "SDPX", {"dpx", "DPX", 0}},
    {0, "XPDS", {"dpx", "DPX", 0}},
    {0, "SIMPLE  =", {"fits", "FITS", 0}},
    {0, "/* XPM */", {"xpm", "XPM", 0}},
    {0, "gimp xcf", {"xcf", "XCF", 0}},
    {0, "\xB1\x68\xDE\x3A", {"dcx", "DCX", 0}},
    {0, "\x8BJNG\r\n\x1A\n", {"jng", "JNG", 0}},
    {4, "ftypheic", {"heic", "HEIC", 0}},
    {4, "ftypmif1", {"heic", "HEIF", 0}},
    {4, "ftypavif", {"avif", "AVIF", 0}},
    {0, "\xFF\x0A", {"jxl", "JPEG XL", 0}},
    {4, "JXL \r\n", {"jxl", "JPEG XL", 0}},
};

constexpr CommonPicture pnm = {"pnm", "PNM", formatPbm};
constexpr CommonPicture pcx = {"pcx", "PCX", formatPcx};
constexpr CommonPicture targa = {"tga", "TGA", 0};

// Behind "P" and a digit comes a blank or a comment.
bool isPnm(const u8* header, size_t size)
{
    return size >= 3 && header[0] == 'P' && header[1] >= '1' && header[1] <= '6' &&
           strchr(" \t\r\n#", header[2]) != nullptr && header[2] != 0;
}

bool isPcx(const u8* header, size_t size)
{
    return size >= 4 && header[0] == 10 && header[1] <= 5 && header[2] <= 1 && header[3] <= 8;
}

bool endsAsTarga(const std::string& path)
{
    constexpr char footer[] = "TRUEVISION-XFILE.";
    FILE* file = fopen(path.c_str(), "rbe");
    if (file == nullptr)
        return false;
    char end[sizeof footer] = {};
    const bool isRead =
        fseek(file, -static_cast<long>(sizeof footer), SEEK_END) == 0 && fread(end, 1, sizeof end, file) == sizeof end;
    fclose(file);
    return isRead && memcmp(end, footer, sizeof footer) == 0;
}

bool beginsAsTarga(const u8* header)
{
    const u8 mapType = header[1], imageType = header[2] & 0xF7, depth = header[16];
    const bool isDepth = depth == 8 || depth == 15 || depth == 16 || depth == 24 || depth == 32;
    const bool hasSize = (header[12] | header[13]) != 0 && (header[14] | header[15]) != 0;
    return mapType <= 1 && imageType >= 1 && imageType <= 3 && isDepth && hasSize;
}

} // namespace

const CommonPicture* commonPictureOf(const u8* header, size_t size)
{
    for (const Mark& mark : marks) {
        if (mark.at + mark.bytes.size() <= size && memcmp(header + mark.at, mark.bytes.data(), mark.bytes.size()) == 0)
            return &mark.picture;
    }
    return isPnm(header, size) ? &pnm : isPcx(header, size) ? &pcx : nullptr;
}

const CommonPicture* targaPictureOf(const std::string& path, const u8* header, size_t size)
{
    constexpr size_t headerBytes = 18;
    const bool mayBe =
        size >= headerBytes && beginsAsTarga(header) && (extensionOf(path) == "tga" || endsAsTarga(path));
    return mayBe ? &targa : nullptr;
}
