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
#include "rig/form_cases.h"

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
    0x0be6f00593d67209, 0x250f0758976c9002, 0xc96e098a0bfcbcf2, 0xc44699081933a5e8, 0x55b8cbfef08727c5,
    0xc2eb3fd01b4eb471, 0x22adf574b6ad0cfb, 0xc8d917b6b2abc1a7, 0x3992245b3d0a975b, 0x1bf9cae3a209e8e8,
    0x084d9ed638014f54, 0xb62a2e38f5b4ef45, 0x5732ae09dfb498ff, 0xb91f3a4f7cd4b63c, 0xee6ac228178fecf0,
    0xd19a4a589b486a7f, 0xc1f75fcc66ded364, 0xb3558cefd29b747d, 0xfd749f5ddfa49e7b, 0x99490d7977062c55,
    0x9c7e3e80a36c740e, 0x667058a0212a696d, 0x9a11e81d7b0dcb9e, 0xbbea5e9d5755fd48, 0xe23c3611d96bd2ec,
    0xe362d597f5c68e15, 0xf67752aecf502b92, 0x454a96e07502628a, 0xa3fff572cfd48928, 0xab2aea34f61ed822,
    0x01a4c691e41f0e74, 0x5f06e26f922b9011,
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
