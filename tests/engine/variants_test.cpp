// The vector variants must give the bytes of the scalar reference.
#include <gtest/gtest.h>

#include <iterator>

#include "engine/variants.h"
#include "tests/support/compare_variants.h"
#include "tests/support/engine_cases.h"

#ifndef __has_feature
#define __has_feature(name) 0
#endif

namespace {

using namespace test_support;

// The number of cases of a test: `full`, or fewer in a slow build.
constexpr std::uint64_t Cases(std::uint64_t full) {
#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer) || !defined(NDEBUG)
    return full / 10;
#else
    return full;
#endif
}

class Variants : public testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        if (!keying::VariantRunsHere(GetParam()))
            GTEST_SKIP() << "this machine does not run the variant " << GetParam();
    }
    // Compares make(seed) for that many seeds.
    template <class Make>
    void ExpectScalarBytes(std::uint64_t cases, const Make& make, Stage stage = Stage::kAnalysisAndKeying) {
        for (std::uint64_t seed = 0; seed < Cases(cases); ++seed) {
            ASSERT_EQ(DifferenceFromScalar(
                          GetParam(), [&] { return make(seed); }, stage),
                      "")
                << "seed " << seed;
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Engine, Variants, testing::Values("sse2", "avx2", "avx512"),
                         [](const auto& variant) { return std::string(variant.param); });

TEST_P(Variants, HaveTheirOwnPasses) {
    const char* const before = keying::ActiveVariant()->name;
    ASSERT_TRUE(keying::SetActiveVariant("scalar"));
    const keying::Variant& scalar = *keying::ActiveVariant();
    ASSERT_TRUE(keying::SetActiveVariant(GetParam()));
    const keying::Variant& variant = *keying::ActiveVariant();
    keying::SetActiveVariant(before);
    EXPECT_NE(variant.bytes.measureLevels, scalar.bytes.measureLevels);
    EXPECT_NE(variant.bytes.addPixels, scalar.bytes.addPixels);
    EXPECT_NE(variant.bytes.blendColours, scalar.bytes.blendColours);
    EXPECT_NE(variant.words.keyRow, scalar.words.keyRow);
}

// All widths up to past two vectors, and those near spans of 256 and blocks of 1024, each with all flags and
// kinds of run.
TEST_P(Variants, MatchScalarAtEveryWidthAndFlag) {
    static constexpr std::int32_t kWide[] = {63, 255, 256, 257, 272, 511, 513, 1023, 1024, 1025, 1030};
    static constexpr std::uint64_t kWidths = 37 + std::size(kWide), kCases = kWidths * 4 * kAllFlags;
    ExpectScalarBytes(kCases, [](std::uint64_t seed) {
        const std::uint64_t n = seed * (kCases / Cases(kCases));
        const auto step = static_cast<std::int32_t>(n), w = step / 4 / 32;
        const std::int32_t width = w < 37 ? w + 1 : kWide[w - 37], height = w < 37 ? step % 47 : step % 9;
        auto engine = std::make_unique<TestEngine>(width, height + 1, kRunKinds[step / 32 % 4], step % 29);
        Random draws(n);
        DrawParameters(&draws, engine.get());
        SetFlags(engine.get(), static_cast<unsigned>(n % kAllFlags));
        PaintScene(engine.get(), kScenes[n % std::size(kScenes)], draws);
        return engine;
    });
}

TEST_P(Variants, MatchScalarInRandomRuns) {
    ExpectScalarBytes(1500, [](std::uint64_t seed) { return DrawRun(Random(seed)); });
}

// A colour near that of a case, which is at the limit of a decision. n: 0 .. 124.
CasePixel Near(const CasePixel& seen, int n) {
    const int steps[] = {n % 5 - 2, n / 5 % 5 - 2, n / 25 - 2};
    CasePixel near{seen.top, {}, {}};
    for (std::size_t c = 0; c < 3; ++c) near.top[c] = std::max(seen.top[c] + steps[c], 0.0);
    near.top.resize(3);
    return near;
}

// Each of these colours once, and 16 times: the largest group that a vector variant classifies as one.
std::unique_ptr<TestEngine> NearTheCase(Case c, unsigned flags) {
    const CasePixel seen = c.pixels.at(0);
    c.pixels.clear();
    c.settings.erase("width");
    for (std::size_t run : {1, 16}) {
        for (int n = 0; n < 125; ++n) c.pixels.insert(c.pixels.end(), run, Near(seen, n));
    }
    auto engine = EngineOf(c);
    SetFlags(engine.get(), flags);
    if (flags & kBlue) engine->ExchangePlanes(kTopG, kTopB);
    return engine;
}

TEST_P(Variants, MatchScalarNearTheKeyingCases) {
    for (const Case& c : ReadCases("keying")) {
        for (const unsigned flags : {kBlend | kTransparency, kBlend, kView, 0u}) {
            const unsigned all = flags | (c.Has("blue") ? kBlue : 0);
            ASSERT_EQ(DifferenceFromScalar(
                          GetParam(), [&] { return NearTheCase(c, all); }, Stage::kKeying),
                      "")
                << c.name;
        }
    }
}

TEST_P(Variants, MatchScalarNearTheAnalysisCases) {
    for (Case c : ReadCases("analysis")) {
        const CasePixel seen = c.pixels.back();
        for (int n = 0; n < 250; ++n) {
            // From 125 on the pixel is the whole picture: the means show its bins of hue and saturation.
            if (n == 125) c.pixels.resize(1);
            c.pixels.back() = Near(seen, n % 125);
            ASSERT_EQ(DifferenceFromScalar(GetParam(), [&] { return EngineOf(c); }), "")
                << c.name << ", colour " << n;
        }
    }
    // The backdrop, and one pixel in each cell of the grid: the cell's count shows whether it was accepted.
    for (Case c : ReadCases("grid")) {
        const CasePixel backdrop = c.pixels.at(0), own = c.pixels.at(1);
        c.pixels.clear();
        c.settings["width"] = {2 * keying::kGridSide};
        for (int n = 0; n < keying::kGridCells; ++n) {
            c.pixels.push_back(backdrop);
            c.pixels.push_back(Near(own, n % 125));
        }
        ASSERT_EQ(DifferenceFromScalar(GetParam(), [&] { return EngineOf(c); }), "") << c.name;
    }
}

}  // namespace
