// A fixed set of pictures through the engine, hashed: every build, on every platform and in every form that
// its machine runs, must give these bytes.
//
// The table is that of the plain form, built for Linux. Once a change of the results is wanted, remake it:
// FROND_PRINT_HASHES=1 FROND_FORM=scalar frond_tests --gtest_filter='FixedPictures.*' prints what to
// put in its place.
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "engine/forms.h"
#include "form_cases.h"

namespace {

// One hash for each kind of run and each set of the three upper flags. The two lower flags, size, scene,
// place, sliders, selection and abort change within.
constexpr int kGroups = 32, kCasesOfAGroup = 18;

constexpr std::int32_t kSizes[][2] = {{40, 40}, {67, 23}, {1, 1},    {5, 2}, {17, 61},
                                      {3, 41},  {2, 3},   {129, 45}, {8, 8}};

std::uint64_t HashOfGroup(int group) {
    std::uint64_t hash = kHashStart;
    for (int n = group * kCasesOfAGroup; n < (group + 1) * kCasesOfAGroup; ++n) {
        const auto& size = kSizes[n % std::size(kSizes)];
        EngineRig rig(size[0], size[1], kRunKinds[group % 4], n % 5);
        Draws draws(static_cast<std::uint64_t>(n));
        DrawParameters(&draws, &rig);
        SetFlags(&rig, static_cast<unsigned>(group / 4 * 4 + n % 4));
        PaintScene(&rig, kScenes[n / 4 % std::size(kScenes)], draws);
        rig.AnalyseAndKey();
        EXPECT_TRUE(rig.GuardsStand()) << "case " << n;
        const std::uint64_t results[] = {HashAnalysis(rig), HashOutputs(rig),
                                         static_cast<std::uint64_t>(rig.globals.progressPercent)};
        hash = HashBytes(results, sizeof results, hash);
    }
    return hash;
}

constexpr std::uint64_t kHashes[kGroups] = {
    0x600c96dbfe38829b, 0xac18bb85328e8e17, 0xe12a7caca2cfbb16, 0x3cb36394b4ae5cbc, 0x3fe8ec388a99c7be,
    0x5f523b885ad5fbea, 0x83f5fdd2d864ba82, 0xadd9cdd7061d48ec, 0x4dde7d7481bec3c2, 0xec8806f59481ccd7,
    0x9e540b805950435a, 0x4b8f6662e9e5ad8e, 0x03a02c714110e939, 0x0122ed673d06b9a7, 0x81358b7ae3ffc871,
    0x56d0645206fe4603, 0x24048c71092850c9, 0x24468df3c2b590cb, 0xe3f8802761a5c2d1, 0xf4544539771992cc,
    0x213f37e7785fff12, 0x0a0d6d3248a6db9f, 0x058cfb38f4576aa0, 0xc5efcacba47e2742, 0x49cea398249214d3,
    0xbbc7d4d4d50abff2, 0xce1edb819d9ddf18, 0xd0bf31031820ab38, 0x2a361e8b70c92002, 0x3b2fe0f7d85e26c2,
    0xefcf5f291ae598d4, 0xa9bb25c232f59cba,
};

TEST(FixedPictures, GiveTheSameBytesEverywhere) {
    if (std::getenv("FROND_PRINT_HASHES") != nullptr) {
        for (int n = 0; n < kGroups; ++n) std::printf("0x%016" PRIx64 ",\n", HashOfGroup(n));
        GTEST_SKIP() << "only printed";
    }
    const char* const chosen = ActiveForm()->name;
    for (const char* const* form = kFormNames; *form != nullptr; ++form) {
        if (!SetActiveForm(*form)) {
            std::printf("skipped: this machine does not run the form %s\n", *form);
            continue;
        }
        for (int n = 0; n < kGroups; ++n)
            EXPECT_EQ(HashOfGroup(n), kHashes[n]) << "group " << n << ", form " << *form;
    }
    SetActiveForm(chosen);
}

}  // namespace
