#include "loomfile/drawing/fonts.h"

#include <cairo-ft.h>

#include <algorithm>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

struct FreeFontconfig {
    void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
    void operator()(FcCharSet* letters) const { FcCharSetDestroy(letters); }
    void operator()(cairo_font_options_t* options) const { cairo_font_options_destroy(options); }
    void operator()(cairo_scaled_font_t* font) const { cairo_scaled_font_destroy(font); }
};
template <typename Kind>
using Owned = std::unique_ptr<Kind, FreeFontconfig>;

cairo_font_options_t* plainFontOptions()
{
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    return options;
}

Fonts::Fonts()
{
#ifdef __SANITIZE_ADDRESS__
    // Fontconfig 2.14 loses some bytes when it reads its settings, once a process.
    const __lsan::ScopedDisabler disabler;
#endif
    FcInit();
}

static Owned<FcCharSet> lettersOf(const std::string& text)
{
    Owned<FcCharSet> letters(FcCharSetCreate());
    const auto* at = reinterpret_cast<const FcChar8*>(text.data());
    int left = static_cast<int>(text.size());
    FcChar32 letter = 0;
    while (left > 0) {
        const int bytes = FcUtf8ToUcs4(at, &letter, left);
        if (bytes <= 0)
            break;
        FcCharSetAddChar(letters.get(), letter);
        at += bytes;
        left -= bytes;
    }
    return letters;
}

static bool isAscii(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](char letter) { return static_cast<signed char>(letter) >= 0; });
}

cairo_font_face_t* Fonts::faceFor(const std::string& text, bool isBold)
{
    const bool isPlain = isAscii(text);
    auto& face = faces[{isPlain ? "" : text, isBold}];
    if (face != nullptr)
        return face.get();
    const Owned<FcPattern> wanted(FcPatternCreate());
    FcPatternAddString(wanted.get(), FC_FAMILY, reinterpret_cast<const FcChar8*>(fontFamily));
    FcPatternAddInteger(wanted.get(), FC_WEIGHT, isBold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
    FcPatternAddBool(wanted.get(), FC_SCALABLE, FcTrue);
    if (!isPlain)
        FcPatternAddCharSet(wanted.get(), FC_CHARSET, lettersOf(text).get());
    FcConfigSubstitute(nullptr, wanted.get(), FcMatchPattern);
    FcDefaultSubstitute(wanted.get());
    FcResult result = FcResultMatch;
    const Owned<FcPattern> found(FcFontMatch(nullptr, wanted.get(), &result));
    // Without any font on the computer cairo has simple letters of its own.
    face.reset(found != nullptr
                   ? cairo_ft_font_face_create_for_pattern(found.get())
                   : cairo_toy_font_face_create("cairo:monospace", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL));
    return face.get();
}

double Fonts::width(const std::string& text, const Lettering& lettering)
{
    cairo_matrix_t size;
    cairo_matrix_t unchanged;
    cairo_matrix_init_scale(&size, lettering.size, lettering.size);
    cairo_matrix_init_identity(&unchanged);
    const Owned<cairo_font_options_t> options(plainFontOptions());
    const Owned<cairo_scaled_font_t> font(
        cairo_scaled_font_create(faceFor(text, lettering.isBold), &size, &unchanged, options.get()));
    cairo_text_extents_t extents = {};
    cairo_scaled_font_text_extents(font.get(), text.c_str(), &extents);
    return extents.x_advance;
}

std::string Fonts::shortened(const std::string& text, const Lettering& lettering, double room)
{
    constexpr size_t longest = 1000; // bytes that are looked at
    std::string kept = text.substr(0, longest);
    std::string shown = text;
    while (!kept.empty() && (shown.size() > longest || width(shown, lettering) > room)) {
        while (kept.size() > 1 && (static_cast<u8>(kept.back()) & 0xC0) == 0x80)
            kept.pop_back();
        kept.pop_back();
        while (kept.ends_with(' '))
            kept.pop_back();
        shown = kept + "...";
    }
    return shown;
}
