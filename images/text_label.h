// Text as pixels, in the system's sans-serif font: through libvips on Linux (text_label_vips.cpp), through
// GDI on Windows (text_label_gdi.cpp).
#pragma once

#include <string>

#include "images/picture.h"

namespace images {

// Returns a grey picture of 8 bits: 255 in the letters, 0 beside them, steps between at their edges. The text
// is UTF-8 without control characters other than line feeds. The letters are `size` pixels high, ascenders
// and descenders included. Lines break between words, and within a word that is wider than `width` pixels;
// the picture is at most that wide. It has one line of height 1 for an empty text. Throws PictureError when
// the system has no font.
Picture RenderText(const std::string& text, int size, int width);

}  // namespace images
