#include <fontconfig/fontconfig.h>

#include <algorithm>

#include "images/text_label.h"
#include "images/vips_library.h"

namespace images {

namespace {

// Without any font the library draws boxes and reports no error.
void RequireFont() {
    const FcFontSet* fonts = FcInit() == FcTrue ? FcConfigGetFonts(nullptr, FcSetSystem) : nullptr;
    if (fonts == nullptr || fonts->nfont == 0)
        throw PictureError("no font for the labels; install one, for example the package fonts-dejavu-core");
}

}  // namespace

Picture RenderText(const std::string& text, int size, int width) {
    StartVips();
    RequireFont();
    if (text.find_first_not_of(" \n") == std::string::npos) return MakePicture(1, 1, 8, 1, false);
    // At 72 dots per inch a point is a pixel.
    const std::string font = "sans " + std::to_string(size);
    const std::unique_ptr<char, decltype(&g_free)> markup(
        g_markup_escape_text(text.data(), static_cast<gssize>(text.size())), g_free);
    VipsImage* rendered = nullptr;
    if (vips_text(&rendered, markup.get(), "font", font.c_str(), "width", width, "dpi", 72, "wrap",
                  VIPS_TEXT_WRAP_WORD_CHAR, nullptr) != 0) {
        ThrowVipsError("the text of a label cannot be rendered");
    }
    const VipsImagePtr image(rendered);
    Picture picture = MakePicture(std::min(width, vips_image_get_width(rendered)),
                                  vips_image_get_height(rendered), 8, 1, false);
    VipsImage* cropped = nullptr;
    if (vips_crop(rendered, &cropped, 0, 0, picture.width, picture.height, nullptr) != 0)
        ThrowVipsError("the text of a label cannot be rendered");
    const VipsImagePtr owned(cropped);
    if (!ReadPlanes(cropped, picture)) ThrowVipsError("the text of a label cannot be rendered");
    return picture;
}

}  // namespace images
