// A fixed set of pictures through the engine, one hash a case: every build, on every platform and in every
// form that its machine runs, must give these bytes.
//
// The table is that of the plain form, built for Linux. Once a change of the results is wanted, remake it:
// FROND_PRINT_HASHES=1 FROND_FORM=scalar frond_tests --gtest_filter='FixedPictures.*' prints what to
// put in its place.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "engine/forms.h"
#include "engine_rig.h"
#include "engine_scenes.h"

namespace {

// One case for each combination of kind of run and flags; scene, size, sliders, selection and abort go along
// in steps that share no factor with 32, so that each meets every flag.
constexpr int kCases = 128;

struct Size {
    std::int32_t width, height;
};

constexpr Size kSizes[] = {{40, 40}, {67, 23}, {1, 1}, {5, 2}, {17, 61}, {3, 41}, {2, 3}, {129, 45}, {8, 8}};

// Planes begin at five different places.
std::uint64_t HashOfCase(int n) {
    const Size size = kSizes[n % 9];
    EngineRig rig(size.width, size.height, kRunKinds[n / 32], n % 5);
    SetFlags(&rig, static_cast<unsigned>(n % 32));
    PaintScene(&rig, kScenes[n % 7], static_cast<std::uint64_t>(n));
    Random random(static_cast<std::uint64_t>(n));
    if (n % 3 != 0) RandomSliders(&rig, &random);
    rig.HaveSelection(n % 11 < 4);
    rig.abortAtCall = n % 13 == 5 ? 1 : 0;
    rig.AnalyseAndKey();
    EXPECT_TRUE(rig.GuardsStand()) << "case " << n;
    const std::uint64_t results[] = {HashAnalysis(rig), HashOutputs(rig)};
    std::uint64_t hash = HashBytes(results, sizeof results);
    hash = HashBytes(&rig.globals.progressPercent, sizeof rig.globals.progressPercent, hash);
    return hash;
}

constexpr std::uint64_t kHashes[kCases] = {
    0x5877d0140eccb149, 0xee05582671738d97, 0x53ee39f770cc35e4, 0xccea9e6d884d7eec, 0x23f8cd134b219c87,
    0xbf6a2cfaab4d4e16, 0x453cf508f9b398c9, 0x438fabb85b66954c, 0x40fd45ab440edaa5, 0xbeba96a0dd6817a1,
    0x9301ee1d80109352, 0x4fed63da7f34ae26, 0x171cd6c662c280df, 0x9d1dc853db3c407b, 0x60c85cd2b99104a2,
    0x0db2fe940a682e6e, 0xa3d71efd33f5c348, 0x892120ce5cdd6d8a, 0x3db40d88b0fd1d1a, 0xecb6c6418dfbc65f,
    0x3409ca2e72f26717, 0xfc21462d0f77e0dd, 0xf13b3f8977f53024, 0xaf7712c6bb883554, 0xd181479d21ed865d,
    0xa1050182abc1b2f2, 0x800d0d9f0c1b9d5b, 0x453a6a7f1fcfeb58, 0x9de8a52dce634141, 0x408eb498379cdf56,
    0x6cfbb93b718b03f7, 0x40473c07efce4129, 0x380f61e572d89676, 0x01dbe850521cfdf1, 0x2369c1b480776037,
    0x37b7ef6167a17935, 0x0bc44134d1b19e20, 0xce0df231058eec9c, 0x2c7a2dafc9549d49, 0x221994d0f2352ff0,
    0x3463b6653d330269, 0x3dc0f57505a8c0ef, 0xc4463b3a3a4cf022, 0xff9d867905eeb2b8, 0x6608680117d901e5,
    0x99874bee5ff8f999, 0x415a7375b7f53286, 0x04ece5332b84e45c, 0x9046bd8d8aee3ae1, 0xd13d56673234fb85,
    0x0bb60f7965bcbb6a, 0xb1e6886f10ad7cbe, 0x0650e1b9b187499f, 0x2dd17836b0ba87f6, 0x85b16900b52b5085,
    0x6a5e073620ce2bdd, 0xe20a82da3031a5a5, 0xc1c733091e67db63, 0x5c431e462263408c, 0x034e06c0d23edd67,
    0x1cee1cc0792cf3c3, 0xdb71f12bd37987fd, 0xd10aa52f18d32b4a, 0x9abf00eb582d79bc, 0x416f161d58e902e2,
    0xabfc30b8d62993fd, 0x05c15b6d83b5477f, 0x7dc4b96aae877c18, 0xe7ead4da601662bf, 0x54612b7330cdee43,
    0xf9cf4221c29ed7f4, 0x6ac0bb4093c73ee4, 0x422b0295a91a3f32, 0x92e5817cada771f5, 0x8eb5fc4818eeacf0,
    0xd241c8364eb726fd, 0x8d53871edffb6854, 0xff2896e7620d1d88, 0xf4efda88ce512312, 0x108c80b935321172,
    0x9857f7af7274fdea, 0x1b9e05ba479d385f, 0x5f4cf0a676e25561, 0xcbcb7cf2e343a0b2, 0x469e5e99b51a97ea,
    0xcf190f7b7c445e02, 0x6e5e1f6538b4741e, 0x0f73c2d27edf6555, 0xaabb64fd2fa731e0, 0x1be00fdb466a8581,
    0xa25e7e280047176c, 0x9517209c4c938819, 0x69a29bb3883cc977, 0x47812ecce9bd909f, 0x7fc26c668b37310c,
    0x037113dac90351f3, 0x19b49f8f1be4e8aa, 0xc11d952072909df3, 0x88e63eba6171cba5, 0x203dc90d908a93fb,
    0x50d017a3900ec475, 0x023ba8f0a178ebba, 0x5417aeab48161350, 0xc844f12ba3bfec57, 0x57c882bf41328e7c,
    0x4802dade838828c9, 0xc289c415af0824a1, 0x9b07951e1d1126bb, 0x5ac7287dce8de1fc, 0x26281cc80f68549e,
    0xe2a95fba6b3af771, 0x33347b73c5edc632, 0xfc3295bf4d4236f1, 0xc81758d597051207, 0x478a906fe7afc720,
    0x1a95c52e90e3aedb, 0xa27c4dc24e68976b, 0x519b1e96f40ca211, 0xc10748a590aaa5a2, 0xe624b4c024cd86ef,
    0x06724185bd6c604b, 0x77c84cb9951da18e, 0x153e56daff45dc66, 0xc650e04a7e4d86b7, 0x83906392297a27e4,
    0xb1e0bd7e8b7e8c6c, 0x5b02a065cebfc6f1, 0xd14a7cc843229b7a,
};

void PrintHashes() {
    for (int n = 0; n < kCases; ++n) {
        const std::uint64_t hash = HashOfCase(n);
        std::printf("0x%08lx%08lx,\n", static_cast<unsigned long>(hash >> 32),
                    static_cast<unsigned long>(hash & 0xffffffffu));
    }
}

TEST(FixedPictures, GiveTheSameBytesEverywhere) {
    if (std::getenv("FROND_PRINT_HASHES") != nullptr) {
        PrintHashes();
        GTEST_SKIP() << "only printed";
    }
    const char* const chosen = ActiveForm()->name;
    for (const char* const* form = kFormNames; *form != nullptr; ++form) {
        if (!SetActiveForm(*form)) {
            std::printf("skipped: this machine does not run the form %s\n", *form);
            continue;
        }
        for (int n = 0; n < kCases; ++n)
            EXPECT_EQ(HashOfCase(n), kHashes[n]) << "case " << n << ", form " << *form;
    }
    SetActiveForm(chosen);
}

}  // namespace
