// A fixed set of pictures through the engine, hashed: every build, on every platform and in every variant
// that its machine runs, must give these bytes.
//
// fixed_pictures.hashes has those of the scalar reference. scripts/remake_traces.sh replaces them when a
// change of the results is wanted.
#include <gtest/gtest.h>

#include <cstdio>
#include <iomanip>
#include <iterator>
#include <sstream>

#include "engine/variants.h"
#include "tests/support/compare_variants.h"
#include "tests/support/kept_text.h"

namespace {

using namespace test_support;

// One hash for each kind of run and each set of the three upper flags. The two lower flags, size, scene,
// place, sliders, selection and stop change within.
constexpr int kGroups = 32;
constexpr int kCasesOfAGroup = 18;

constexpr std::int32_t kSizes[][2] = {{40, 40}, {67, 23}, {1, 1},    {5, 2}, {17, 61},
                                      {3, 41},  {2, 3},   {129, 45}, {8, 8}};

std::uint64_t HashOfGroup(int group) {
    std::uint64_t hash = kHashStart;
    for (int n = group * kCasesOfAGroup; n < (group + 1) * kCasesOfAGroup; ++n) {
        const auto& size = kSizes[n % std::size(kSizes)];
        TestEngine engine(size[0], size[1], kRunKinds[group % 4], n % 5);
        Random draws(static_cast<std::uint64_t>(n));
        DrawParameters(&draws, &engine);
        SetFlags(&engine, static_cast<unsigned>(group / 4 * 4 + n % 4));
        PaintScene(&engine, kScenes[n / 4 % std::size(kScenes)], draws);
        engine.AnalyseAndKey();
        EXPECT_TRUE(engine.GuardsIntact()) << "case " << n;
        const std::uint64_t results[] = {HashBackdrop(engine.backdrop), HashOutputs(engine),
                                         static_cast<std::uint64_t>(engine.result.rows) * 100 /
                                             static_cast<std::uint64_t>(engine.Height())};
        hash = HashBytes(results, sizeof results, hash);
    }
    return hash;
}

TEST(FixedPictures, HaveTheKeptHashesInEveryVariant) {
    const char* const chosen = keying::ActiveVariant()->name;
    for (const char* const* variant = keying::kVariantNames; *variant != nullptr; ++variant) {
        if (!keying::SetActiveVariant(*variant)) {
            std::printf("skipped: this machine does not run the variant %s\n", *variant);
            continue;
        }
        std::ostringstream hashes;
        for (int n = 0; n < kGroups; ++n)
            hashes << "0x" << std::hex << std::setfill('0') << std::setw(16) << HashOfGroup(n) << '\n';
        ASSERT_TRUE(MatchesKeptText(hashes.str(), "tests/engine/cases/fixed_pictures.hashes")) << *variant;
    }
    keying::SetActiveVariant(chosen);
}

}  // namespace
