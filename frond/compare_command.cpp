// frond compare: the difference of two pictures.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "frond/command.h"

namespace frond {

namespace {

struct Options {
    std::string a, b, band;
    bool alpha = false, isBlue = false;
};

Options gOptions;

// The plane that --alpha compares: the alpha channel, or the grey plane of a picture without alpha.
std::vector<images::Plane> AlphaOf(images::Picture& picture, const std::string& name) {
    if (!picture.alpha.empty()) return {std::move(picture.alpha)};
    if (picture.colour.size() == 1) return {std::move(picture.colour[0])};
    throw Failure(kBadInput, name + ": has no alpha and is not grey");
}

struct Difference {
    double meanAbsolute;  // 0 to 1
    double meanSquare;
};

Difference Compare(const std::vector<images::Plane>& a, const std::vector<images::Plane>& b, int depth) {
    double absolute = 0, square = 0, count = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        for (std::size_t k = 0; k < a[i].size(); ++k) {
            const double d = (static_cast<double>(a[i][k]) - b[i][k]) / images::LargestSample(depth);
            absolute += std::fabs(d);
            square += d * d;
        }
        count += static_cast<double>(a[i].size());
    }
    return {absolute / count, square / count};
}

void RequireSameSize(const images::Picture& a, const images::Picture& b, const std::string& nameOfB) {
    if (a.width == b.width && a.height == b.height) return;
    throw Failure(kBadInput, nameOfB + ": is " + std::to_string(b.width) + "x" + std::to_string(b.height) +
                                 " pixels, " + gOptions.a + " " + std::to_string(a.width) + "x" +
                                 std::to_string(a.height));
}

// The soft band: pixels whose true alpha is strictly between these.
constexpr double kBandFrom = 0.02, kBandTo = 0.98;

// The planes' samples at the pixels of the soft band.
std::vector<images::Plane> SamplesInBand(const std::vector<images::Plane>& planes, const images::Plane& alpha,
                                         int alphaDepth) {
    const double largest = images::LargestSample(alphaDepth);
    std::vector<images::Plane> inside(planes.size());
    for (std::size_t k = 0; k < alpha.size(); ++k) {
        const double value = alpha[k] / largest;
        if (value <= kBandFrom || value >= kBandTo) continue;
        for (std::size_t i = 0; i < planes.size(); ++i) inside[i].push_back(planes[i][k]);
    }
    return inside;
}

// The mean excess of the backdrop's channel over the other two in `a`, less that in `b`; 0 to 1.
double SpillExcess(const std::vector<images::Plane>& a, const std::vector<images::Plane>& b, int depth) {
    const std::size_t key = gOptions.isBlue ? 2 : 1, other = gOptions.isBlue ? 1 : 2;
    const auto excess = [&](const std::vector<images::Plane>& planes, std::size_t k) {
        return std::max(0, int{planes[key][k]} - std::max(planes[0][k], planes[other][k]));
    };
    double sum = 0;
    for (std::size_t k = 0; k < a[0].size(); ++k) sum += std::max(0, excess(a, k) - excess(b, k));
    return sum / static_cast<double>(a[0].size()) / images::LargestSample(depth);
}

void PrintBand(const images::Picture& like, const std::vector<images::Plane>& a,
               const std::vector<images::Plane>& b) {
    images::Picture truth = ReadInputPicture(PathFromUtf8(gOptions.band));
    RequireSameSize(like, truth, gOptions.band);
    const std::size_t pixels = images::PixelCount(truth);
    const int truthDepth = truth.depth;
    const images::Plane alpha = std::move(AlphaOf(truth, gOptions.band)[0]);
    const std::vector<images::Plane> bandA = SamplesInBand(a, alpha, truthDepth),
                                     bandB = SamplesInBand(b, alpha, truthDepth);
    if (bandA[0].empty()) throw Failure(kBadInput, gOptions.band + ": has no half-transparent pixel");
    std::printf("soft band            %.2f %% of the pixels\n",
                100.0 * static_cast<double>(bandA[0].size()) / static_cast<double>(pixels));
    std::printf("  mean absolute error  %.4f of 255\n", Compare(bandA, bandB, like.depth).meanAbsolute * 255);
    if (bandA.size() < 3) return;
    std::printf("  %s left %s  %.4f of 255\n", gOptions.isBlue ? "blue" : "green",
                gOptions.isBlue ? "         " : "        ", SpillExcess(bandA, bandB, like.depth) * 255);
}

ExitCode RunCompare() {
    images::Picture a = ReadInputPicture(PathFromUtf8(gOptions.a)),
                    b = ReadInputPicture(PathFromUtf8(gOptions.b));
    RequireSameSize(a, b, gOptions.b);
    if (a.depth != b.depth) {
        images::ChangeDepth(a, 16);
        images::ChangeDepth(b, 16);
    }
    std::vector<images::Plane> planesA, planesB;
    if (gOptions.alpha) {
        planesA = AlphaOf(a, gOptions.a);
        planesB = AlphaOf(b, gOptions.b);
    } else {
        if (a.colour.size() != b.colour.size()) {
            images::ConvertToRgb(a);
            images::ConvertToRgb(b);
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
    if (!gOptions.band.empty()) PrintBand(a, planesA, planesB);
    return kDone;
}

}  // namespace

Command AddCompareCommand(CLI::App& app) {
    CLI::App* compare =
        app.add_subcommand("compare", "Print mean absolute error and PSNR of two pictures of the same size");
    compare->add_option("A", gOptions.a, "A picture")->required();
    compare->add_option("B", gOptions.b, "The other picture")->required();
    compare->add_flag("--alpha", gOptions.alpha,
                      "Compare the alpha channels; a grey picture counts as alpha");
    CLI::Option* band =
        compare
            ->add_option("--band", gOptions.band,
                         "The true alpha: also measure where it is half-transparent (0.02 to 0.98)")
            ->type_name("ALPHA");
    compare->add_flag("--blue", gOptions.isBlue, "With --band: the backdrop was blue")->needs(band);
    compare->add_flag_callback("--allow-untrusted", images::AllowUntrustedFormats, kUntrustedText);
    compare->footer(
        "Compares colour as stored, without alpha. One picture can have 8 bits and the other 16.\n\n"
        "Exit codes: 0, 2 (command line), 3 (a picture cannot be read, or the sizes differ).");
    return {compare, RunCompare};
}

}  // namespace frond
