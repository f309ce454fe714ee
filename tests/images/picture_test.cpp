// Pictures and picture files: depths, sizes, orientation, what a file keeps, and which files are refused.
#include "images/picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <random>
#include <thread>

#include "images/atomic_file.h"
#include "images/colour_profile.h"
#include "images/picture_file.h"
#include "images/resample.h"
#include "tests/support/scratch_folder.h"
#include "tests/support/wine.h"

namespace images {
namespace {

using namespace test_support;

Picture RandomPicture(int width, int height, int depth, int colours, bool withAlpha) {
    std::mt19937 random(20240607);
    Picture picture = MakePicture(width, height, depth, colours, withAlpha);
    const auto roll = [&] { return static_cast<std::uint16_t>(random() % (LargestSample(depth) + 1u)); };
    for (Plane& plane : picture.colour) std::generate(plane.begin(), plane.end(), roll);
    std::generate(picture.alpha.begin(), picture.alpha.end(), roll);
    return picture;
}

// The tests read all formats; those of the program also run without this.
const bool kAllowed = (AllowUntrustedFormats(), true);

Picture GreyPicture(int width, int height, const Plane& samples) {
    Picture picture = MakePicture(width, height, 8, 1, false);
    picture.colour[0] = samples;
    return picture;
}

void SetResolution(Picture& picture, double x, double y) {
    picture.resolutionX = x;
    picture.resolutionY = y;
    picture.resolutionUnit = ResolutionUnit::kInch;
}

void ExpectSame(const Picture& found, const Picture& expected) {
    ASSERT_TRUE(found.width == expected.width && found.height == expected.height);
    EXPECT_EQ(found.depth, expected.depth);
    EXPECT_EQ(found.colour, expected.colour);
    EXPECT_EQ(found.alpha, expected.alpha);
}

// A colour profile with a power curve, gamma in units of 1/256, padded to the size: a multiple of 4, at least
// 312.
Bytes MakeProfile(std::size_t size, int gamma = 512) {
    Bytes profile = FileCase("profile.icc");
    profile[308] = static_cast<std::uint8_t>(gamma >> 8);
    for (std::size_t i = 0; i < 4; ++i) profile[i] = static_cast<std::uint8_t>(size >> (24 - 8 * i));
    while (profile.size() < size) profile.push_back(static_cast<std::uint8_t>(profile.size() * 7 % 23));
    return profile;
}

// ---- In memory --------------------------------------------------------------------------------------------

TEST(PictureScale, RaisesBlacksInTheScaleOf8Bits) {
    for (const int depth : {8, 16}) {
        const std::uint16_t scale = depth == 8 ? 1 : 257;
        Picture picture = MakePicture(4, 1, depth, 3, true);
        picture.alpha.assign(4, 0);
        for (Plane& plane : picture.colour)
            plane = {0, static_cast<std::uint16_t>(3 * scale - 1), static_cast<std::uint16_t>(3 * scale),
                     200};
        RaiseBlacks(picture, 3);
        const auto low = static_cast<std::uint16_t>(3 * scale), high = std::max<std::uint16_t>(low, 200);
        EXPECT_EQ(picture.colour, std::vector<Plane>(3, Plane{low, low, low, high}));
        EXPECT_EQ(picture.alpha, Plane(4, 0));
    }
}

TEST(PictureScale, ConvertsToTheDocumentAndBack) {
    for (std::uint32_t sample = 0; sample <= 65535; ++sample) {
        ASSERT_LE(std::fabs(ToDocument16(static_cast<std::uint16_t>(sample)) - sample * 32768.0 / 65535),
                  0.5);
    }
    for (std::uint16_t sample = 0; sample < 32767; ++sample) {
        ASSERT_EQ(ToDocument16(FromDocument16(sample)), sample);
    }
    // The filter's largest sample, the document's, and the filter's filling of alpha all count as full.
    for (const std::uint16_t full : {32767, 32768, 40000, 65535}) EXPECT_EQ(FromDocument16(full), 65535);

    Picture picture = GreyPicture(4, 1, {0, 1, 100, 255});
    ChangeDepth(picture, 16);
    EXPECT_EQ(picture.colour[0], Plane({0, 257, 25700, 65535}));
    picture.colour[0] = {128, 129, 25700, 65535};  // 128 is slightly less than half of 1/255
    ChangeDepth(picture, 8);
    EXPECT_EQ(picture.colour[0], Plane({0, 1, 100, 255}));
}

TEST(PictureShape, AppliesEachOrientation) {
    // 0 1 2
    // 3 4 5
    Picture stored = GreyPicture(3, 2, {0, 1, 2, 3, 4, 5});
    SetResolution(stored, 100, 200);
    const Plane upright[] = {{0, 1, 2, 3, 4, 5}, {2, 1, 0, 5, 4, 3}, {5, 4, 3, 2, 1, 0},
                             {3, 4, 5, 0, 1, 2}, {0, 3, 1, 4, 2, 5}, {3, 0, 4, 1, 5, 2},
                             {5, 2, 4, 1, 3, 0}, {2, 5, 1, 4, 0, 3}, {0, 1, 2, 3, 4, 5}};
    for (int tag = 1; tag <= 9; ++tag) {
        const bool onItsSide = tag >= 5 && tag <= 8;
        const Picture turned = ApplyOrientation(stored, tag);
        EXPECT_EQ(turned.colour[0], upright[tag - 1]) << "tag " << tag;
        EXPECT_EQ(turned.width, onItsSide ? 2 : 3) << "tag " << tag;
        EXPECT_EQ(turned.resolutionX, onItsSide ? 200 : 100) << "tag " << tag;
    }
}

TEST(PictureShape, PlacesLayersOnTheCanvas) {
    Picture layer = GreyPicture(2, 2, {10, 20, 30, 40});
    layer.offsetX = -1;
    layer.offsetY = 1;
    const Picture canvas = PlaceOnCanvas(layer, 2, 3);
    EXPECT_EQ(canvas.colour[0], Plane({255, 255, 20, 255, 40, 255}));
    EXPECT_EQ(canvas.alpha, Plane({0, 0, 255, 0, 255, 0}));
    layer.offsetX = 5;
    EXPECT_EQ(PlaceOnCanvas(layer, 2, 3).alpha, Plane(6, 0));
}

TEST(PictureShape, FlattensOnWhite) {
    Picture picture = MakePicture(3, 1, 16, 1, true);
    picture.colour[0] = {0, 20000, 65535};
    picture.alpha = {0, 65535, 32768};
    FlattenOnWhite(picture);
    EXPECT_EQ(picture.colour[0], Plane({65535, 20000, 65535}));
    EXPECT_TRUE(picture.alpha.empty());
}

TEST(PictureShape, FitsTheBackground) {
    const Picture wide = GreyPicture(4, 2, {1, 2, 3, 4, 5, 6, 7, 8});
    // Cover at the same height crops from the middle without filtering.
    EXPECT_EQ(FitPicture(wide, 2, 2, Fit::kCover).colour[0], Plane({2, 3, 6, 7}));
    EXPECT_EQ(FitPicture(wide, 2, 4, Fit::kNone).colour[0], Plane({0, 0, 2, 3, 6, 7, 0, 0}));
    EXPECT_EQ(FitPicture(wide, 6, 2, Fit::kNone).colour[0], Plane({0, 1, 2, 3, 4, 0, 0, 5, 6, 7, 8, 0}));

    // Scaling keeps the level up to the edges, in both directions and at both depths.
    for (const int depth : {8, 16}) {
        const auto value = static_cast<std::uint16_t>(LargestSample(depth) - 1);
        Picture flat = MakePicture(37, 23, depth, 1, false);
        flat.colour[0].assign(PixelCount(flat), value);
        for (const int size : {1, 5, 100}) {
            for (const Fit fit : {Fit::kCover, Fit::kStretch}) {
                const Plane expected(static_cast<std::size_t>(2 * size * size), value);
                ASSERT_EQ(FitPicture(flat, size, 2 * size, fit).colour[0], expected) << size;
            }
        }
    }
    // A reduction averages: fine stripes become grey.
    Picture stripes = MakePicture(300, 30, 8, 1, false), ramp = MakePicture(100, 4, 16, 1, false);
    for (int i = 0; i < 9000; ++i) stripes.colour[0][i] = i % 2 == 0 ? 0 : 200;
    const Picture reduced = FitPicture(stripes, 30, 3, Fit::kStretch);
    for (const int sample : reduced.colour[0]) ASSERT_NEAR(sample, 100, 12);
    // A ramp is not shifted.
    for (int i = 0; i < 400; ++i) ramp.colour[0][i] = static_cast<std::uint16_t>(600 * (i % 100));
    const Picture doubled = FitPicture(ramp, 200, 8, Fit::kStretch);
    for (int x = 20; x < 180; ++x) ASSERT_NEAR(doubled.colour[0][800 + x], 300 * x - 150, 20) << x;
}

TEST(PictureShape, ConvertsColours) {
    // From a linear to a square curve: the root of each sample. White and black stay.
    const Bytes square = MakeProfile(312, 512);
    for (const int depth : {8, 16}) {
        const double largest = LargestSample(depth);
        Picture picture = MakePicture(5, 3, depth, 3, false);
        for (int i = 0; i < 45; ++i) {
            const int level = i % 15 == 14 ? 16 : i % 15 + i / 15;  // the last pixel is white
            picture.colour[i / 15][i % 15] = static_cast<std::uint16_t>(largest * level / 16);
        }
        const Picture before = picture;
        EXPECT_FALSE(ConvertToProfile(picture, square));  // the picture has no profile
        picture.profile = MakeProfile(312, 256);
        EXPECT_FALSE(ConvertToProfile(picture, Bytes(200, 'x')));
        ExpectSame(picture, before);
        ASSERT_TRUE(ConvertToProfile(picture, square));
        EXPECT_TRUE(picture.profile == square);
        for (int i = 0; i < 45; ++i) {
            const double expected = std::sqrt(before.colour[i / 15][i % 15] / largest) * largest;
            ASSERT_NEAR(picture.colour[i / 15][i % 15], expected, depth == 8 ? 1 : 100) << i;
        }
    }
}

// ---- In files ---------------------------------------------------------------------------------------------

TEST(PictureFile, KeepsSamplesProfileAndResolution) {
    const ScratchFolder folder;
    for (int kind = 0; kind < 16; ++kind) {
        const int depth = (kind & 1) != 0 ? 8 : 16, colours = (kind & 2) != 0 ? 1 : 3;
        const std::string name = (kind & 8) != 0 ? "p.png" : "p.TIF";
        SCOPED_TRACE(kind);
        // Wine's encoders swap the bytes of 16-bit PNG samples, lack 16-bit grey TIFF, and write no profiles.
        if (IsWine() && depth == 16 && ((kind & 8) != 0 || colours == 1)) continue;
        Picture picture = RandomPicture(13, 7, depth, colours, (kind & 4) != 0);
        if (colours == 3) picture.profile = MakeProfile(70000);
        SetResolution(picture, 300, 240);
        WritePicture(folder / name, picture);
        const Picture found = ReadPicture(folder / name);
        if (found.colour.size() == 3) ConvertToRgb(picture);  // some coders lack some grey formats
        ExpectSame(found, picture);
        EXPECT_TRUE(IsWine() || found.profile == picture.profile);
        const double unit = found.resolutionUnit == ResolutionUnit::kInch ? 1 : 2.54;
        EXPECT_NEAR(found.resolutionX * unit, 300, 0.01);
        EXPECT_NEAR(found.resolutionY * unit, 240, 0.01);
    }
}

TEST(PictureFile, WritesJpegInEightBitsWithoutAlpha) {
    const ScratchFolder folder;
    Picture picture = MakePicture(40, 24, 16, 3, true);
    for (int i = 0; i < 3 * 960; ++i) {
        picture.colour[i / 960][i % 960] = static_cast<std::uint16_t>(257 * (100 + i % 40 * (i / 960 + 1)));
    }
    picture.profile = MakeProfile(70000);  // larger than one segment
    SetResolution(picture, 300, 300);
    WritePicture(folder / "p.jpeg", picture);
    const Picture found = ReadPicture(folder / "p.jpeg");
    EXPECT_TRUE(found.depth == 8 && found.alpha.empty() && found.resolutionX == 300);
    EXPECT_TRUE(IsWine() || found.profile == picture.profile);
    for (int i = 0; i < 3 * 960; ++i) {
        ASSERT_NEAR(found.colour[i / 960][i % 960], picture.colour[i / 960][i % 960] / 257, 6) << i;
    }
}

TEST(PictureFile, AppliesJpegOrientation) {
    if (IsWine()) GTEST_SKIP() << "Wine's JPEG decoder reads no EXIF";
    const ScratchFolder folder;
    WritePicture(folder / "p.jpg", RandomPicture(24, 8, 8, 3, false));
    for (const char* name : {"exif-big", "exif-little"}) {
        Bytes file = ReadFileBytes(folder / "p.jpg");
        const Bytes exif = FileCase(name);
        file.insert(file.begin() + 2, exif.begin(), exif.end());
        WriteBytes(folder / "turned.jpg", file);
        ExpectSame(ReadPicture(folder / "turned.jpg"), ApplyOrientation(ReadPicture(folder / "p.jpg"), 6));
    }
}

// Two pixels, 200 100 50 and 10 20 30, with straight alpha.
TEST(PictureFile, ReadsOtherFormats) {
    enum class System { kAll, kLinux, kWindows };
    struct {
        const char* name;
        Plane alpha;
        System system;  // the component of Windows may lack a format or its alpha
    } const cases[] = {{"two.gif", {255, 0}, System::kAll},
                       {"two.png", {128, 255}, System::kAll},
                       {"deep.png", {128, 255}, System::kAll},
                       {"two.ico", {128, 255}, System::kWindows},
                       {"two.bmp", {128, 255}, System::kLinux},
                       {"two.jp2", {128, 255}, System::kLinux},
                       {"associated.tif", {51, 255}, System::kLinux},
                       {"selection.tif", {}, System::kLinux},
                       {"turned.webp", {}, System::kLinux}};
#ifdef _WIN32
    constexpr System kOther = System::kLinux;
#else
    constexpr System kOther = System::kWindows;
#endif
    const ScratchFolder folder;
    for (const auto& [name, alpha, system] : cases) {
        if (system == kOther || (IsWine() && name[0] == 'd')) continue;
        SCOPED_TRACE(name);
        WriteBytes(folder / name, FileCase(name));
        Picture picture = ReadPicture(folder / name);
        EXPECT_EQ(picture.depth, name[0] == 'd' ? 16 : 8);
        ChangeDepth(picture, 8);
        const bool isTurned = name[2] == 'r';
        ASSERT_TRUE(picture.width == (isTurned ? 1 : 2) && picture.height == (isTurned ? 2 : 1));
        EXPECT_EQ(picture.alpha, alpha);
        const int colours[3][2] = {{200, 10}, {100, 20}, {50, 30}};
        for (int i = 0; i < 6; ++i) {
            const bool isClear = !alpha.empty() && alpha[i % 2] == 0;
            EXPECT_TRUE(isClear || picture.colour[i / 2][i % 2] == colours[i / 2][i % 2]) << i;
        }
    }
}

TEST(PictureFile, ReadsTheTwoLowestLayers) {
    const ScratchFolder folder;
    WriteBytes(folder / "p.psd", FileCase("layers.psd"));
    const LayeredPicture file = ReadLayeredPicture(folder / "p.psd");
    EXPECT_EQ(file.merged.colour, std::vector<Plane>(3, Plane(64 * 48, 0)));
    ASSERT_EQ(file.layers.size(), 2u);
    EXPECT_EQ(file.layers[0].colour[1], Plane(64 * 48, 40));
    const Picture& upper = file.layers[1];
    EXPECT_TRUE(upper.width == 50 && upper.height == 40 && upper.offsetX == -2 && upper.offsetY == 4);
    // Straight alpha.
    EXPECT_EQ(upper.colour[0], Plane(50 * 40, 30));
    EXPECT_EQ(upper.alpha, Plane(50 * 40, 70));
}

#ifndef _WIN32
TEST(PictureFile, ReadsPackedLayersOf16Bits) {
    const ScratchFolder folder;
    WriteBytes(folder / "p.psd", FileCase("deep.psd"));
    const LayeredPicture file = ReadLayeredPicture(folder / "p.psd");
    ASSERT_EQ(file.layers.size(), 1u);
    for (const Picture* picture : {&file.merged, &file.layers[0]}) {
        EXPECT_EQ(picture->depth, 16);
        EXPECT_EQ(picture->colour, std::vector<Plane>({{51400, 2570}, {25700, 5140}, {12850, 7710}}));
        EXPECT_EQ(picture->alpha, Plane({13107, 65535}));
    }
    EXPECT_TRUE(file.layers[0].offsetX == -7 && file.layers[0].offsetY == 5);
    EXPECT_TRUE(file.merged.resolutionX == 300 && file.merged.resolutionY == 240);
}

TEST(PictureFile, ConvertsLinearFloatsToSrgb) {
    const ScratchFolder folder;
    Bytes file = FileCase("linear.exr");
    WriteBytes(folder / "p.exr", file);
    Picture picture = ReadPicture(folder / "p.exr");
    EXPECT_EQ(picture.depth, 16);
    // 0.5 in linear light is 0.735357 on the sRGB curve.
    EXPECT_EQ(picture.colour[0], Plane({48192, 48192, 65535, 0}));
    EXPECT_EQ(picture.alpha, Plane({65535, 32768, 65535, 65535}));
    // A display window from column -1 to 1.
    const std::string name = "displayWindow";
    const auto at = std::search(file.begin(), file.end(), name.begin(), name.end()) + 24;
    std::fill_n(at, 4, 0xFF);
    at[8] = 1;
    WriteBytes(folder / "p.exr", file);
    picture = ReadPicture(folder / "p.exr");
    EXPECT_EQ(picture.colour[0], Plane({65535, 48192, 48192}));
    EXPECT_EQ(picture.alpha, Plane({0, 65535, 32768}));
}

TEST(PictureFile, ReadsHeicAndWebp) {
    const ScratchFolder folder;
    WriteBytes(folder / "halves.heic", FileCase("halves.heic"));
    Picture picture = ReadPicture(folder / "halves.heic");
    picture.alpha = Plane(64 * 64, 70);
    picture.alpha[0] = 255;
    WritePicture(folder / "halves.webp", picture);
    EXPECT_EQ(ReadPicture(folder / "halves.webp").alpha, picture.alpha);
    for (const char* name : {"halves.heic", "halves.webp"}) {
        const Picture found = ReadPicture(folder / name);
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(found.colour[i][64 * 40 + 8], 200 / (1 << i), 2) << name << i;
            EXPECT_NEAR(found.colour[i][64 * 40 + 56], 10 * (i + 1), 2) << name << i;
        }
    }
}

TEST(PictureFile, KeepsCameraAndDate) {
    const ScratchFolder folder;
    WritePicture(folder / "p.jpg", RandomPicture(24, 8, 8, 3, false));
    Bytes file = ReadFileBytes(folder / "p.jpg");
    const Bytes camera = FileCase("camera");
    file.insert(file.begin() + 2, camera.begin(), camera.end());
    WriteBytes(folder / "p.jpg", file);
    const Picture photo = ReadPicture(folder / "p.jpg");
    ASSERT_EQ(photo.width, 8);
    for (const char* name : {"o.jpg", "o.png", "o.webp", "o.tif"}) {
        SCOPED_TRACE(name);
        WritePicture(folder / name, photo);
        const Bytes bytes = ReadFileBytes(folder / name);
        const std::string text(bytes.begin(), bytes.end());
        const bool isTiff = name[2] == 't';
        const auto has = [&text](const char* words) { return text.find(words) != std::string::npos; };
        EXPECT_TRUE(has("Make") && has("Mark") && !has("thumbnailpixel"));
        EXPECT_TRUE(has(isTiff ? "2024-01-31T12:00:00" : "2024:01:31 12:00:00"));
        const Picture found = ReadPicture(folder / name);
        EXPECT_EQ(found.width, 8);
        const std::string xmp(found.xmp.begin(), found.xmp.end());
        EXPECT_NE(xmp.find("tiff:Orientation=\"1\""), std::string::npos) << xmp;
    }
}

TEST(PictureFile, HeedsTheOptions) {
    const ScratchFolder folder;
    Picture picture = RandomPicture(64, 64, 8, 3, false);
    for (Plane& plane : picture.colour)
        for (std::uint16_t& sample : plane) sample &= 15;
    const auto size = [&](const char* name, const WriteOptions& options) {
        WritePicture(folder / name, picture, nullptr, options);
        return ReadFileBytes(folder / name).size();
    };
    for (const char* name : {"o.png", "o.tif"}) {
        EXPECT_GT(size(name, {0}), size(name, {1})) << name;
        EXPECT_GT(size(name, {1}), size(name, {9})) << name;
        ExpectSame(ReadPicture(folder / name), picture);
    }
    for (const char* name : {"o.jpg", "o.webp"}) EXPECT_GT(size(name, {}), size(name, {1, 50})) << name;
    EXPECT_GT(size("o.jpg", {}), size("o.jpg", {1, 95, true}));
}

TEST(PictureFile, ServesSeveralThreads) {
    const ScratchFolder folder;
    const Picture picture = RandomPicture(90, 70, 16, 3, true);
    WriteBytes(folder / "broken.png", FileCase("broken.png"));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            const std::filesystem::path file = folder / (std::to_string(i) + (i % 2 == 0 ? ".png" : ".tif"));
            for (int round = 0; round < 5; ++round) {
                WritePicture(file, picture);
                ExpectSame(ReadPicture(file), picture);
                EXPECT_THROW(ReadPicture(folder / "broken.png"), PictureError);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}
#endif

std::string ComplaintAbout(const std::filesystem::path& path) {
    try {
        ReadLayeredPicture(path);
    } catch (const PictureError& error) {
        return error.what();
    }
    return {};
}

TEST(PictureFile, RefusesTruncatedFiles) {
    std::vector<std::string> names{"first.tif", "p.png", "p.jpg", "p.tif", "layers.psd"};
#ifndef _WIN32
    for (const char* name : {"deep.psd", "halves.heic", "turned.webp", "p.webp"}) names.emplace_back(name);
#ifndef __SANITIZE_ADDRESS__
    names.emplace_back("linear.exr");  // libvips loses some bytes for each file that it cannot open
#endif
#endif
    const ScratchFolder folder;
    for (const std::string& name : names) {
        WriteBytes(folder / name, FileCase(name));
        if (name[0] == 'p') WritePicture(folder / name, RandomPicture(60, 40, 8, 3, false));
        ASSERT_EQ(ComplaintAbout(folder / name), "");
        const Bytes file = ReadFileBytes(folder / name);
        // Cut at every 97th byte, and at each of the first 200.
        // The last byte of a PNG file, of a sum over no data, is not read.
        for (std::size_t length = file.size() - (name == "p.png" ? 1 : 0); length > 0;) {
            length -= length == file.size() || length <= 200 ? 1 : std::min<std::size_t>(97, length - 200);
            WriteBytes(folder / "cut", Bytes(file.data(), file.data() + length));
            const std::string complaint = ComplaintAbout(folder / "cut");
            ASSERT_NE(complaint, "") << name << " cut to " << length << " of " << file.size();
            ASSERT_EQ(complaint.find('\n'), std::string::npos);
        }
    }
}

TEST(PictureFile, RefusesUnusableFiles) {
    const ScratchFolder folder;
    for (const char* name : {"cmyk.tif", "broken.png", "empty"}) WriteBytes(folder / name, FileCase(name));
    Bytes cmyk = FileCase("layers.psd");
    cmyk[25] = 4;
    WriteBytes(folder / "cmyk.psd", cmyk);
    const std::pair<std::filesystem::path, const char*> kCases[] = {
        {folder / "cmyk.tif", "CMYK"},
        {folder / "cmyk.psd", "CMYK"},
        {folder / "broken.png", "cannot be read as a picture"},
        {folder / "empty", "is empty"},
        {folder / "none\x1B\n\xC2\x9B\xC3\xA4.png", "none\\x1B\\n\\xC2\\x9B\xC3\xA4.png: "},
        {folder.path, "is a folder"}};
    for (const auto& [path, words] : kCases) {
        EXPECT_NE(ComplaintAbout(path).find(words), std::string::npos) << ComplaintAbout(path);
    }
}

TEST(PictureFile, WritesAtomically) {
    const ScratchFolder folder;
    const Picture picture = RandomPicture(50, 50, 8, 3, false), other = RandomPicture(9, 9, 8, 3, false);
    const std::atomic<bool> stop{true};
    WritePicture(folder / "p.png", picture);
    EXPECT_THROW(WritePicture(folder / "p.png", other, &stop), PictureError);
    EXPECT_THROW(WritePicture(folder / "nowhere" / "p.png", other), PictureError);
    ExpectSame(ReadPicture(folder / "p.png"), picture);
    WritePicture(folder / "p.png", other);
    ExpectSame(ReadPicture(folder / "p.png"), other);
    EXPECT_EQ(CountFiles(folder.path), 1);
}

}  // namespace
}  // namespace images
