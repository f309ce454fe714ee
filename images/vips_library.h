// What the files that use libvips share.
#pragma once

#include <vips/vips.h>

#include <atomic>
#include <memory>
#include <string>

#include "images/picture.h"

namespace images {

// Starts libvips in the process, and prepares the calling thread, once. Each function that uses libvips calls
// this first. libvips is shut down at the end of the process; other threads must have ended by then.
void StartVips();

// Loads the decoder of HEIC and AVIF, which is a module of libvips. Without it they cannot be read as
// pictures.
void LoadHeifModule();

struct Unreference {
    void operator()(void* object) const { g_object_unref(object); }
};
using VipsImagePtr = std::unique_ptr<VipsImage, Unreference>;

// Throws PictureError with this line. Drops libvips' own text: all threads share one buffer for it, which can
// contain the errors of another picture.
[[noreturn]] void ThrowVipsError(const std::string& line);

// What an image reads when it is evaluated. Must exist until then.
struct PlanarSource {
    const Picture* picture;
    int depth;                      // bits per sample of the image: the picture's, or 8
    bool withAlpha;                 // the picture's alpha, if it has any
    const std::atomic<bool>* stop;  // ends the evaluation with an error; may be null
};

// A picture as an image with interleaved samples, with its profile, without a copy of its planes.
VipsImagePtr ImageOf(const PlanarSource& source);

// Copies an image's samples to the planes of a picture of the same size. Each plane takes one band, in order;
// alpha the last of them. Returns false when the image cannot be decoded.
bool ReadPlanes(VipsImage* image, Picture& picture);

}  // namespace images
