#include "samples/jpeg_writer.h"

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

struct JpegFailure {
    jpeg_error_mgr manager; // first, so that the library's pointer to it is one to the whole
    jmp_buf back;
};

static void fail(j_common_ptr common)
{
    longjmp(reinterpret_cast<JpegFailure*>(common->err)->back, 1);
}

// All the black that a colour holds is printed with black ink.
static std::vector<uint8_t> invertedInks(const std::vector<uint8_t>& rgb)
{
    std::vector<uint8_t> inks;
    for (size_t i = 0; i < rgb.size(); i += 3) {
        uint8_t brightest = std::max({rgb[i], rgb[i + 1], rgb[i + 2]});
        for (size_t k = i; k < i + 3; ++k)
            inks.push_back(brightest > 0 ? static_cast<uint8_t>(rgb[k] * 255 / brightest) : 255);
        inks.push_back(brightest);
    }
    return inks;
}

static J_COLOR_SPACE storedSpace(JpegColours colours)
{
    switch (colours) {
    case JpegColours::grey:
        return JCS_GRAYSCALE;
    case JpegColours::rgb:
        return JCS_RGB;
    case JpegColours::cmyk:
        return JCS_CMYK;
    case JpegColours::cmykAsYellowBlue:
        return JCS_YCCK;
    default:
        return JCS_YCbCr;
    }
}

// Apart from its caller, so that nothing needs to be destroyed when libjpeg jumps out of it.
static bool write(jpeg_compress_struct& jpeg, JpegFailure& failure, const JpegOptions& options,
                  const std::vector<uint8_t>& samples, unsigned char** memory, unsigned long* size)
{
    if (setjmp(failure.back))
        return false;
    jpeg_mem_dest(&jpeg, memory, size);
    jpeg_set_defaults(&jpeg);
    jpeg_set_colorspace(&jpeg, storedSpace(options.colours));
    jpeg_set_quality(&jpeg, options.quality, TRUE);
    if (options.colours == JpegColours::yellowBlue || options.colours == JpegColours::cmykAsYellowBlue)
        for (int i = 0; i < jpeg.num_components; ++i) {
            bool full = i == 0 || i == 3;
            jpeg.comp_info[i].h_samp_factor = full ? options.samplingX : 1;
            jpeg.comp_info[i].v_samp_factor = full ? options.samplingY : 1;
        }
    // The header with the density would make readers take RGB for YCbCr.
    if (options.colours != JpegColours::rgb)
        jpeg.write_JFIF_header = TRUE;
    jpeg.density_unit = options.densityUnit;
    jpeg.X_density = options.densityX;
    jpeg.Y_density = options.densityY;
    if (options.progressive)
        jpeg_simple_progression(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    size_t rowBytes = size_t{jpeg.image_width} * static_cast<size_t>(jpeg.input_components);
    while (jpeg.next_scanline < jpeg.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(samples.data() + jpeg.next_scanline * rowBytes);
        jpeg_write_scanlines(&jpeg, &row, 1);
    }
    jpeg_finish_compress(&jpeg);
    return true;
}

std::vector<uint8_t> encodeJpeg(const Picture& picture, const JpegOptions& options)
{
    bool inks = options.colours == JpegColours::cmyk || options.colours == JpegColours::cmykAsYellowBlue;
    std::vector<uint8_t> samples = toRgb(picture).rows;
    if (inks)
        samples = invertedInks(samples);

    jpeg_compress_struct jpeg{};
    JpegFailure failure{};
    jpeg.err = jpeg_std_error(&failure.manager);
    failure.manager.error_exit = fail;
    jpeg_create_compress(&jpeg);
    jpeg.image_width = picture.width;
    jpeg.image_height = picture.height;
    jpeg.input_components = inks ? 4 : 3;
    jpeg.in_color_space = inks ? JCS_CMYK : JCS_RGB;
    unsigned char* memory = nullptr;
    unsigned long size = 0;
    std::vector<uint8_t> bytes;
    if (write(jpeg, failure, options, samples, &memory, &size))
        bytes.assign(memory, memory + size);
    free(memory);
    jpeg_destroy_compress(&jpeg);
    return bytes;
}
