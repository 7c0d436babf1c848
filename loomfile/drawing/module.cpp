// Drafts become PNG, SVG and PDF.
#include "loomfile/drawing/module.h"

#include <cairo-pdf.h>

#include <algorithm>

#include "loomfile/drawing/cairo_pen.h"
#include "loomfile/drawing/caption.h"
#include "loomfile/drawing/pages.h"
#include "loomfile/drawing/svg_pen.h"
#include "loomfile/guard.h"

constexpr double margin = 24;         // around pictures
constexpr double widestCaption = 640; // that makes a picture wider
constexpr u32 largestCell = 200;
constexpr u32 usualCell = 16;
constexpr double usualSide = 4096;        // of pictures whose cells are not told
constexpr double mostPixelsASide = 32767; // of cairo's pictures
constexpr double mostPixels = 1 << 28;    // a gigabyte
constexpr u64 mostSvgCells = 1 << 24;
constexpr u64 mostPages = 2000;

struct FreeSurface {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using Surface = std::unique_ptr<cairo_surface_t, FreeSurface>;

static cairo_status_t writeBytes(void* output, const unsigned char* bytes, unsigned count)
{
    const auto* to = static_cast<const Output*>(output);
    return to->writer(to->context, bytes, count) == 0 ? CAIRO_STATUS_SUCCESS : CAIRO_STATUS_WRITE_ERROR;
}

static void check(cairo_status_t status)
{
    if (status == CAIRO_STATUS_NO_MEMORY)
        throw std::bad_alloc();
    if (status == CAIRO_STATUS_WRITE_ERROR)
        throw Refusal{loomfileCannotWrite, "the drawing cannot be written"};
    if (status != CAIRO_STATUS_SUCCESS)
        throw Refusal{loomfileCannotWrite,
                      std::string("cairo cannot draw this (") + cairo_status_to_string(status) + ")"};
}

static std::string sizeText(const Extent& size)
{
    return std::to_string(static_cast<u64>(size.width)) + " x " + std::to_string(static_cast<u64>(size.height));
}

namespace
{

struct Drawing {
    View view;
    LoomfileDrawing options;
    Output output;
    Fonts fonts = {};
    Caption caption = Caption(view);

    void drawPng();
    void drawSvg();
    void drawPdf();

private:
    Extent pictureSize(u32 cell);
    u32 pictureCell();
    void drawPicture(Pen& pen, u32 cell, const Extent& size);
    void drawPage(Pen& pen, const Pages& pages, const Part& column, const Part& row, u64 number);
};

} // namespace

Extent Drawing::pictureSize(u32 cell)
{
    const Extent sheet = extentOf(fonts, view, measuresFor(cell, false), wholeDraft(view));
    return {2 * margin + std::max(sheet.width, std::min(caption.width(fonts), widestCaption)),
            2 * margin + caption.height() + sheet.height};
}

u32 Drawing::pictureCell()
{
    if (options.cell != 0)
        return options.cell;
    u32 cell = usualCell;
    while (cell > 1 && std::max(pictureSize(cell).width, pictureSize(cell).height) > usualSide)
        cell--;
    return cell;
}

void Drawing::drawPicture(Pen& pen, u32 cell, const Extent& size)
{
    pen.fill(0xFFFFFF, {{0, 0, size.width, size.height}});
    caption.draw(pen, fonts, {margin, margin}, size.width - 2 * margin);
    drawSheet(pen, fonts, view, measuresFor(cell, false), wholeDraft(view), {margin, margin + caption.height()});
}

void Drawing::drawPng()
{
    auto fits = [this](u32 cell) {
        const Extent size = pictureSize(cell);
        return std::max(size.width, size.height) <= mostPixelsASide && size.width * size.height <= mostPixels;
    };
    const u32 cell = pictureCell();
    const Extent size = pictureSize(cell);
    if (!fits(cell)) {
        u32 smaller = cell - 1;
        while (smaller > 0 && !fits(smaller))
            smaller--;
        throw Refusal{loadBadData,
                      "a PNG of " + sizeText(size) + " pixels is too large, " +
                          (smaller > 0 ? "cells of " + std::to_string(smaller) + (smaller == 1 ? " pixel" : " pixels") +
                                             " fit, and so does a PDF"
                                       : "a PDF is divided into pages")};
    }
    const Surface surface(
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(size.width), static_cast<int>(size.height)));
    check(cairo_surface_status(surface.get()));
    {
        CairoPen pen(surface.get(), fonts, 1);
        drawPicture(pen, cell, size);
        check(pen.status());
    }
    check(cairo_surface_write_to_png_stream(surface.get(), writeBytes, &output));
}

void Drawing::drawSvg()
{
    const u64 cells = (u64{view.info.ends} + view.sideCount) * (u64{view.info.picks} + view.info.shafts);
    if (cells > mostSvgCells)
        throw Refusal{loadBadData,
                      "an SVG of " + std::to_string(cells) + " cells is too large, a PDF is divided into pages"};
    const u32 cell = pictureCell();
    const Extent size = pictureSize(cell);
    SvgPen pen(output, size.width, size.height, caption.title);
    drawPicture(pen, cell, size);
    pen.finish();
}

static std::string rangeText(const char* one, const char* several, Range range)
{
    if (range.count == 1)
        return std::string(one) + " " + std::to_string(range.first + 1);
    return std::string(several) + " " + std::to_string(range.first + 1) + "\u2013" +
           std::to_string(range.first + range.count);
}

static std::string contentsText(const View& view, const Window& window)
{
    std::string text;
    auto add = [&text](const char* one, const char* several, Range range) {
        if (range.count > 0)
            text += (text.empty() ? "" : ", ") + rangeText(one, several, range);
    };
    add("End", "Ends", window.ends);
    if (window.ends.count == 0)
        add(view.hasLiftPlan ? "Shaft" : "Treadle", view.hasLiftPlan ? "Shafts" : "Treadles", window.side);
    add(text.empty() ? "Pick" : "pick", text.empty() ? "Picks" : "picks", window.picks);
    if (window.picks.count == 0)
        add("shaft", "shafts", window.shafts);
    return text;
}

void Drawing::drawPage(Pen& pen, const Pages& pages, const Part& column, const Part& row, u64 number)
{
    const double width = pages.width - 2 * pageMargin;
    const Window window = {column.threads, column.beside, row.beside, row.threads};
    caption.draw(pen, fonts, {pageMargin, pageMargin}, width);
    drawSheet(pen, fonts, view, pages.measures, window, {pageMargin, pageMargin + caption.height()});
    if (pages.count == 1)
        return;
    Lettering lettering = {9, paleInk};
    const double baseline = pages.height - pageMargin;
    pen.write(contentsText(view, window), {pageMargin, baseline}, lettering);
    lettering.align = Align::right;
    pen.write("Page " + std::to_string(number) + " of " + std::to_string(pages.count), {pageMargin + width, baseline},
              lettering);
}

void Drawing::drawPdf()
{
    const Pages pages = dividePages(fonts, view, options.cell, options.page, caption.height());
    if (pages.count > mostPages)
        throw Refusal{loadBadData, "a PDF of " + std::to_string(pages.count) + " pages is too long, " +
                                       std::to_string(mostPages) + " are drawn at most; smaller cells take fewer"};
    constexpr double points = 0.75; // a unit
    const Surface surface(
        cairo_pdf_surface_create_for_stream(writeBytes, &output, pages.width * points, pages.height * points));
    check(cairo_surface_status(surface.get()));
    cairo_pdf_surface_set_metadata(surface.get(), CAIRO_PDF_METADATA_TITLE, caption.title.c_str());
    cairo_pdf_surface_set_metadata(surface.get(), CAIRO_PDF_METADATA_AUTHOR, caption.author.c_str());
    cairo_pdf_surface_set_metadata(surface.get(), CAIRO_PDF_METADATA_CREATOR, "loomfile " LOOMFILE_VERSION);
    cairo_pdf_surface_set_metadata(surface.get(), CAIRO_PDF_METADATA_CREATE_DATE, "");
    {
        CairoPen pen(surface.get(), fonts, points);
        u64 number = 0;
        for (const Part& row : pages.rows)
            for (const Part& column : pages.columns) {
                if (isEmpty(view, column, row))
                    continue;
                drawPage(pen, pages, column, row, ++number);
                pen.turnPage();
                check(pen.status());
            }
    }
    cairo_surface_finish(surface.get());
    check(cairo_surface_status(surface.get()));
}

static LoomfileDrawing checkedOptions(const LoomfileDrawing* given)
{
    LoomfileDrawing options = loomfileDrawing();
    if (given != nullptr)
        memcpy(&options, given, std::min<size_t>(given->size, sizeof options));
    if (options.cell > largestCell)
        throw Refusal{loadBadData, "cells are of 1 to " + std::to_string(largestCell) + " pixels"};
    if (options.layout > loomfileThreadingBelow || options.page > loomfilePageLetter)
        throw Refusal{loadBadData, "there is no such layout or page"};
    return options;
}

i32 loomfileDrawWithCairo(const LoomfileDraft* draft, const LoomfileDrawing* given, u32 kind, LoomfileWriter writer,
                          void* context, LoomfileFailure* failure)
{
    return guardedly(failure, [&] {
        const LoomfileDrawing options = checkedOptions(given);
        Drawing drawing = {View(draft, options), options, {writer, context}};
        switch (kind) {
        case loomfileDrawingPng:
            return drawing.drawPng();
        case loomfileDrawingSvg:
            return drawing.drawSvg();
        case loomfileDrawingPdf:
            return drawing.drawPdf();
        default:
            throw Refusal{loadBadData, "there is no such kind of drawing"};
        }
    });
}
