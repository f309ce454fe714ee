// frond compare: how far two pictures are apart.
#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>

#include "host/frond/frond.h"
#include "host/whole_file.h"

namespace frond {

namespace {

struct Options {
    std::string a, b;
    bool alpha = false;
};

Options gOptions;

// What --alpha compares: the alpha channel, or a grey picture that holds it.
std::vector<Plane> AlphaOf(Picture& picture, const std::string& name) {
    if (!picture.alpha.empty()) return {std::move(picture.alpha)};
    if (picture.colour.size() == 1) return {std::move(picture.colour[0])};
    throw Failure(kBadInput, name + ": has no alpha and is not grey");
}

struct Difference {
    double meanAbsolute;  // of the full range, 0 to 1
    double meanSquare;
};

Difference Compare(const std::vector<Plane>& a, const std::vector<Plane>& b, int depth) {
    double absolute = 0, square = 0, count = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        for (std::size_t k = 0; k < a[i].size(); ++k) {
            const double d = (static_cast<double>(a[i][k]) - b[i][k]) / LargestSample(depth);
            absolute += std::fabs(d);
            square += d * d;
        }
        count += static_cast<double>(a[i].size());
    }
    return {absolute / count, square / count};
}

ExitCode RunCompare() {
    Picture a = Read(PathOf(gOptions.a)), b = Read(PathOf(gOptions.b));
    if (a.width != b.width || a.height != b.height) {
        throw Failure(kBadInput, gOptions.b + ": is " + std::to_string(b.width) + "x" +
                                     std::to_string(b.height) + " pixels, " + gOptions.a + " " +
                                     std::to_string(a.width) + "x" + std::to_string(a.height));
    }
    if (a.depth != b.depth) {
        ChangeDepth(a, 16);
        ChangeDepth(b, 16);
    }
    std::vector<Plane> planesA, planesB;
    if (gOptions.alpha) {
        planesA = AlphaOf(a, gOptions.a);
        planesB = AlphaOf(b, gOptions.b);
    } else {
        if (a.colour.size() != b.colour.size()) {
            MakeColour(a);
            MakeColour(b);
        }
        planesA = std::move(a.colour);
        planesB = std::move(b.colour);
    }
    const Difference difference = Compare(planesA, planesB, a.depth);
    std::printf("mean absolute error  %.4f of 255\n", difference.meanAbsolute * 255);
    if (difference.meanSquare > 0) {
        std::printf("PSNR                 %.2f dB\n", -10 * std::log10(difference.meanSquare));
    } else {
        std::printf("PSNR                 inf dB (no difference)\n");
    }
    return kDone;
}

}  // namespace

Command AddCompareCommand(CLI::App& app) {
    CLI::App* compare =
        app.add_subcommand("compare", "Mean absolute error and PSNR of two pictures of one size");
    compare->add_option("A", gOptions.a, "A picture")->required();
    compare->add_option("B", gOptions.b, "The other")->required();
    compare->add_flag("--alpha", gOptions.alpha, "Compare alpha channels; a grey picture counts as one");
    compare->footer(
        "Colour is compared as stored, alpha aside. Pictures of 8 and of 16 bits may be mixed.\n"
        "Exit codes: 0, 2 (command line), 3 (cannot be read or of another size).");
    return {compare, RunCompare};
}

}  // namespace frond
