#pragma once

namespace keying {

// One pixel on its way through the keying.
struct Pixel {
    double R, G, B;        // as seen, logical channels; fixed
    double bgR, bgG, bgB;  // the local backdrop
    double maxC;           // the largest of R, G, B
    double fgR, fgG, fgB;  // the foreground: as seen until something changes it
    double alpha;          // on entry the top layer's
};

}  // namespace keying
