#include "samples/vector_writer.h"

#include <cstdio>
#include <string>

#include "samples/bytes.h"

// A run of pixels of one colour.
struct Run {
    const uint8_t* colour;
    uint32_t x, y, length;
};

static std::string svgRun(const Run& run)
{
    char text[200];
    snprintf(text, sizeof text, "<rect fill=\"#%02x%02x%02x\" x=\"%u\" y=\"%u\" width=\"%u\" height=\"1\"/>\n",
             run.colour[0], run.colour[1], run.colour[2], run.x, run.y, run.length);
    return text;
}

// In print the parts of a colour run from 0 to 1.
static std::string printColour(const Run& run, const char* command)
{
    char text[100];
    snprintf(text, sizeof text, "%.4f %.4f %.4f %s ", run.colour[0] / 255.0, run.colour[1] / 255.0,
             run.colour[2] / 255.0, command);
    return text;
}

static std::string printBox(const Run& run)
{
    return std::to_string(run.x) + " " + std::to_string(run.y) + " " + std::to_string(run.length) + " 1 ";
}

static std::string epsRun(const Run& run)
{
    return printColour(run, "setrgbcolor") + printBox(run) + "rectfill\n";
}

static std::string pdfRun(const Run& run)
{
    return printColour(run, "rg") + printBox(run) + "re f\n";
}

// Rows count from the top or, as in print, from the bottom.
static std::string runs(const Picture& picture, std::string (*textOf)(const Run&), bool isUpwards)
{
    std::string text;
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* row = &picture.rows[y * picture.width];
        for (uint32_t x = 0, end; x < picture.width; x = end) {
            for (end = x; end < picture.width && row[end] == row[x];)
                ++end;
            text += textOf({&picture.palette[3 * row[x]], x, isUpwards ? picture.height - 1 - y : y, end - x});
        }
    }
    return text;
}

static std::vector<uint8_t> file(const std::string& text)
{
    std::vector<uint8_t> bytes;
    addText(bytes, text);
    return bytes;
}

std::vector<uint8_t> encodeSvg(const Picture& picture)
{
    return file("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + std::to_string(picture.width) + "\" height=\"" +
                std::to_string(picture.height) + "\" stroke=\"none\" shape-rendering=\"crispEdges\">\n" +
                runs(picture, svgRun, false) + "</svg>\n");
}

static std::string boxOf(const Picture& picture)
{
    return "0 0 " + std::to_string(picture.width) + " " + std::to_string(picture.height);
}

std::vector<uint8_t> encodeEps(const Picture& picture)
{
    return file("%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: " + boxOf(picture) + "\n" + runs(picture, epsRun, true) +
                "showpage\n%%EOF\n");
}

std::vector<uint8_t> encodePdf(const Picture& picture)
{
    const std::string drawing = runs(picture, pdfRun, true);
    const std::string objects[] = {
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /Contents 4 0 R /MediaBox [" + boxOf(picture) + "] >>",
        "<< /Length " + std::to_string(drawing.size()) + " >>\nstream\n" + drawing + "endstream",
    };
    std::string text = "%PDF-1.4\n";
    std::string places = "xref\n0 5\n0000000000 65535 f \n";
    int number = 1;
    for (const std::string& object : objects) {
        char place[40];
        snprintf(place, sizeof place, "%010zu 00000 n \n", text.size());
        places += place;
        text += std::to_string(number++) + " 0 obj\n" + object + "\nendobj\n";
    }
    const std::string start = std::to_string(text.size());
    return file(text + places + "trailer\n<< /Size 5 /Root 1 0 R >>\nstartxref\n" + start + "\n%%EOF\n");
}
