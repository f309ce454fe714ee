// Pictures and picture files: scales, sizes, orientation, what survives a file, and which files are refused.
#include "host/picture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <functional>
#include <random>

#include "host/colour.h"
#include "host/picture_check.h"
#include "host/picture_io.h"
#include "host/picture_metadata.h"
#include "host/resample.h"
#include "host/whole_file.h"
#include "tests/scratch_folder.h"

namespace frond {
namespace {

using Bytes = std::vector<std::uint8_t>;

Picture RandomPicture(int width, int height, int depth, int colours, bool withAlpha) {
    std::mt19937 random(20240607);
    Picture picture = MakePicture(width, height, depth, colours, withAlpha);
    const auto roll = [&] { return static_cast<std::uint16_t>(random() % (LargestSample(depth) + 1u)); };
    for (Plane& plane : picture.colour) std::generate(plane.begin(), plane.end(), roll);
    std::generate(picture.alpha.begin(), picture.alpha.end(), roll);
    return picture;
}

void Append(Bytes& bytes, std::uint32_t value, int size, bool bigEndian) {
    for (int i = 0; i < size; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> 8 * (bigEndian ? size - 1 - i : i)));
    }
}

void Append(Bytes& bytes, const std::string& text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}

// The least that coders take for a colour profile: a header and one tag; `size` a multiple of 4.
Bytes MakeProfile(std::size_t size) {
    Bytes profile;
    Append(profile, static_cast<std::uint32_t>(size), 4, true);
    Append(profile, 0, 4, true);
    Append(profile, 0x02200000, 4, true);
    Append(profile, "mntrRGB XYZ ");
    profile.resize(36);
    Append(profile, "acsp");
    profile.resize(68);
    for (const std::uint32_t white : {63190u, 65536u, 54061u}) Append(profile, white, 4, true);
    profile.resize(128);
    Append(profile, 1, 4, true);
    Append(profile, "cprt");
    Append(profile, 144, 4, true);
    Append(profile, static_cast<std::uint32_t>(size - 144), 4, true);
    Append(profile, "text");
    profile.resize(size);
    for (std::size_t i = 152; i + 1 < size; ++i) profile[i] = static_cast<std::uint8_t>('a' + i * 7 % 23);
    return profile;
}

void ExpectSame(const Picture& found, const Picture& expected) {
    ASSERT_EQ(found.width, expected.width);
    ASSERT_EQ(found.height, expected.height);
    EXPECT_EQ(found.depth, expected.depth);
    EXPECT_EQ(found.colour, expected.colour);
    EXPECT_EQ(found.alpha, expected.alpha);
}

TEST(PictureScale, GoesThroughTheDocumentAndBack) {
    for (std::uint32_t sample = 0; sample <= 65535; ++sample) {
        const double exact = sample * 32768.0 / 65535.0;
        const std::uint16_t there = ToDocument16(static_cast<std::uint16_t>(sample));
        ASSERT_LE(std::fabs(there - exact), 0.5) << sample;
    }
    for (std::uint16_t sample = 0; sample < 32767; ++sample) {
        ASSERT_EQ(ToDocument16(FromDocument16(sample)), sample);
    }
    // The filter's own largest value, the document's, and what the filter fills alpha with are all full.
    for (const std::uint16_t full : {32767, 32768, 40000, 65535}) EXPECT_EQ(FromDocument16(full), 65535);

    Picture picture = RandomPicture(16, 16, 8, 3, true);
    const Picture before = picture;
    ChangeDepth(picture, 16);
    EXPECT_EQ(picture.colour[1][7], before.colour[1][7] * 257);
    ChangeDepth(picture, 8);
    ExpectSame(picture, before);
    picture.colour[0][0] = 128;
    picture.depth = 16;
    ChangeDepth(picture, 8);
    EXPECT_EQ(picture.colour[0][0], 0);  // 128 of 65535 is a little less than half of 1/255
}

TEST(PictureShape, TurnsUprightByEachTag) {
    // 0 1 2
    // 3 4 5
    Picture stored = MakePicture(3, 2, 8, 1, false);
    for (std::uint16_t i = 0; i < 6; ++i) stored.colour[0][i] = i;
    stored.resolutionX = 100;
    stored.resolutionY = 200;
    const Plane upright[9] = {{},
                              {0, 1, 2, 3, 4, 5},
                              {2, 1, 0, 5, 4, 3},
                              {5, 4, 3, 2, 1, 0},
                              {3, 4, 5, 0, 1, 2},
                              {0, 3, 1, 4, 2, 5},
                              {3, 0, 4, 1, 5, 2},
                              {5, 2, 4, 1, 3, 0},
                              {2, 5, 1, 4, 0, 3}};
    for (int tag = 1; tag <= 8; ++tag) {
        const Picture turned = Upright(stored, tag);
        EXPECT_EQ(turned.colour[0], upright[tag]) << "tag " << tag;
        EXPECT_EQ(turned.width, tag < 5 ? 3 : 2) << "tag " << tag;
        EXPECT_EQ(turned.resolutionX, tag < 5 ? 100 : 200) << "tag " << tag;
    }
    EXPECT_EQ(Upright(stored, 9).colour[0], stored.colour[0]);
}

TEST(PictureShape, PlacesLayersOnTheCanvas) {
    Picture layer = MakePicture(2, 2, 8, 1, false);
    layer.colour[0] = {10, 20, 30, 40};
    layer.offsetX = -1;
    layer.offsetY = 1;
    const Picture canvas = PlaceOnCanvas(layer, 2, 3);
    EXPECT_EQ(canvas.colour[0], Plane({255, 255, 20, 255, 40, 255}));
    EXPECT_EQ(canvas.alpha, Plane({0, 0, 255, 0, 255, 0}));
    layer.offsetX = 5;
    EXPECT_EQ(PlaceOnCanvas(layer, 2, 3).alpha, Plane(6, 0));
}

TEST(PictureShape, FitsTheBackground) {
    Picture wide = MakePicture(4, 2, 8, 1, false);
    wide.colour[0] = {1, 2, 3, 4, 5, 6, 7, 8};
    // Cover at the same height is a cut from the middle, without any filtering.
    EXPECT_EQ(FitPicture(wide, 2, 2, Fit::kCover).colour[0], Plane({2, 3, 6, 7}));
    EXPECT_EQ(FitPicture(wide, 2, 4, Fit::kNone).colour[0], Plane({0, 0, 2, 3, 6, 7, 0, 0}));
    EXPECT_EQ(FitPicture(wide, 6, 2, Fit::kNone).colour[0], Plane({0, 1, 2, 3, 4, 0, 0, 5, 6, 7, 8, 0}));

    // Scaling neither darkens nor brightens, to the very edge, in both directions and both depths.
    for (const int depth : {8, 16}) {
        Picture flat = MakePicture(37, 23, depth, 3, false);
        const auto value = static_cast<std::uint16_t>(LargestSample(depth) - 1);
        for (Plane& plane : flat.colour) plane.assign(plane.size(), value);
        for (const int size : {1, 5, 100}) {
            for (const Fit fit : {Fit::kCover, Fit::kStretch}) {
                const Picture scaled = FitPicture(flat, size, 2 * size, fit);
                for (const Plane& plane : scaled.colour) {
                    ASSERT_EQ(plane, Plane(static_cast<std::size_t>(2 * size * size), value)) << size;
                }
            }
        }
    }
    // A reduction averages: fine stripes become grey instead of a pattern.
    Picture stripes = MakePicture(300, 30, 8, 1, false);
    for (std::size_t i = 0; i < stripes.colour[0].size(); ++i) stripes.colour[0][i] = i % 2 == 0 ? 0 : 200;
    const Picture reduced = FitPicture(stripes, 30, 3, Fit::kStretch);
    for (const std::uint16_t sample : reduced.colour[0]) {
        ASSERT_NEAR(sample, 100, 12);
    }
    // A ramp stays a ramp: no shift to either side.
    Picture ramp = MakePicture(100, 4, 16, 1, false);
    for (int x = 0; x < 100; ++x) {
        for (int y = 0; y < 4; ++y)
            ramp.colour[0][static_cast<std::size_t>(y * 100 + x)] = static_cast<std::uint16_t>(600 * x);
    }
    const Picture doubled = FitPicture(ramp, 200, 8, Fit::kStretch);
    for (int x = 20; x < 180; ++x) {
        ASSERT_NEAR(doubled.colour[0][static_cast<std::size_t>(800 + x)], 300 * x - 150, 20) << x;
    }
}

TEST(PictureShape, FlattensOnWhite) {
    Picture picture = MakePicture(3, 1, 16, 1, true);
    picture.colour[0] = {0, 20000, 65535};
    picture.alpha = {0, 65535, 32768};
    Flatten(picture);
    EXPECT_EQ(picture.colour[0], Plane({65535, 20000, 65535}));
    EXPECT_TRUE(picture.alpha.empty());
}

// A profile with the primaries of sRGB and a pure power as its curve, gamma in units of 1/256.
Bytes MatrixProfile(std::uint32_t gamma) {
    Bytes profile = MakeProfile(160);
    profile.resize(128);
    const std::uint32_t columns[4][3] = {
        {63190, 65536, 54061}, {28578, 14582, 911}, {25235, 46984, 6360}, {9376, 3970, 46790}};
    const char* const names[] = {"wtpt", "rXYZ", "gXYZ", "bXYZ", "rTRC", "gTRC", "bTRC"};
    constexpr std::uint32_t kData = 128 + 4 + 7 * 12;
    Append(profile, 7, 4, true);
    for (std::uint32_t i = 0; i < 7; ++i) {
        Append(profile, names[i]);
        Append(profile, kData + std::min(i, 4u) * 20, 4, true);
        Append(profile, i < 4 ? 20 : 14, 4, true);
    }
    for (const auto& column : columns) {
        Append(profile, std::string("XYZ \0\0\0\0", 8));
        for (const std::uint32_t value : column) Append(profile, value, 4, true);
    }
    Append(profile, std::string("curv\0\0\0\0", 8));
    Append(profile, 1, 4, true);
    Append(profile, gamma, 2, true);
    profile.resize((profile.size() + 3) / 4 * 4);
    Bytes size;
    Append(size, static_cast<std::uint32_t>(profile.size()), 4, true);
    std::copy(size.begin(), size.end(), profile.begin());
    return profile;
}

TEST(PictureShape, ConvertsColours) {
    // From a linear curve to a square: the root of each sample, and white and black stay.
    for (const int depth : {8, 16}) {
        const double largest = LargestSample(depth);
        Picture picture = MakePicture(5, 3, depth, 3, false);
        for (int c = 0; c < 3; ++c) {
            for (int i = 0; i < 15; ++i)
                picture.colour[c][i] = static_cast<std::uint16_t>(largest * (i + c) / 16);
            picture.colour[c][14] = static_cast<std::uint16_t>(largest);
        }
        const Picture before = picture;
        EXPECT_FALSE(ConvertColours(picture, MatrixProfile(512)));  // it says nothing of its own colours
        picture.profile = MatrixProfile(256);
        EXPECT_FALSE(ConvertColours(picture, Bytes(200, 'x')));
        ExpectSame(picture, before);
        ASSERT_TRUE(ConvertColours(picture, MatrixProfile(512)));
        EXPECT_TRUE(picture.profile == MatrixProfile(512));
        for (int c = 0; c < 3; ++c) {
            for (int i = 0; i < 15; ++i) {
                const double expected = std::sqrt(before.colour[c][i] / largest) * largest;
                ASSERT_NEAR(picture.colour[c][i], expected, depth == 8 ? 1 : 100)
                    << "channel " << c << " pixel " << i;
            }
        }
    }
}

TEST(PictureFile, KeepsSamplesProfileAndResolution) {
    const ScratchFolder folder;
    for (const char* ending : {".png", ".TIF"}) {
        for (const int depth : {8, 16}) {
            for (const int colours : {1, 3}) {
                for (const bool withAlpha : {false, true}) {
                    SCOPED_TRACE(std::string(ending) + " " + std::to_string(depth) + " bits, " +
                                 std::to_string(colours) + (withAlpha ? " with alpha" : ""));
                    Picture picture = RandomPicture(13, 7, depth, colours, withAlpha);
                    if (colours == 3) picture.profile = MakeProfile(70000);
                    picture.resolutionX = 300;
                    picture.resolutionY = 240;
                    picture.resolutionUnit = ResolutionUnit::kInch;
                    const auto path = folder / (std::string("picture") + ending);
                    WritePicture(path, picture);
                    Picture found = ReadPicture(path);
                    if (found.colour.size() > picture.colour.size()) {  // some coders lack some kinds of grey
                        MakeColour(picture);
                    }
                    ExpectSame(found, picture);
                    EXPECT_TRUE(found.profile == picture.profile);
                    const double unit = found.resolutionUnit == ResolutionUnit::kInch ? 1 : 2.54;
                    EXPECT_NEAR(found.resolutionX * unit, 300, 0.01);
                    EXPECT_NEAR(found.resolutionY * unit, 240, 0.01);
                }
            }
        }
    }
}

TEST(PictureFile, WritesJpegInEightBitsWithoutAlpha) {
    const ScratchFolder folder;
    Picture picture = MakePicture(40, 24, 16, 3, true);
    for (int c = 0; c < 3; ++c) {
        for (int i = 0; i < 40 * 24; ++i) {
            picture.colour[c][i] = static_cast<std::uint16_t>(257 * (100 + i % 40 * (c + 1)));
        }
    }
    picture.profile = MakeProfile(70000);  // larger than one segment
    picture.resolutionX = picture.resolutionY = 300;
    picture.resolutionUnit = ResolutionUnit::kInch;
    WritePicture(folder / "p.jpeg", picture);
    const Picture found = ReadPicture(folder / "p.jpeg");
    EXPECT_EQ(found.depth, 8);
    EXPECT_TRUE(found.alpha.empty());
    EXPECT_EQ(found.profile.size(), picture.profile.size());
    EXPECT_TRUE(found.profile == picture.profile);
    EXPECT_EQ(found.resolutionX, 300);
    for (int c = 0; c < 3; ++c) {
        for (int i = 0; i < 40 * 24; ++i) {
            ASSERT_NEAR(found.colour[c][i], picture.colour[c][i] / 257, 6)
                << "channel " << c << " pixel " << i;
        }
    }
}

TEST(PictureFile, EmbedsProfilesByHand) {
    const ScratchFolder folder;
    for (const char* name : {"p.png", "p.jpg", "p.tif"}) {
        for (const std::size_t size : {160u, 131072u}) {
            SCOPED_TRACE(std::string(name) + " " + std::to_string(size));
            const Picture picture = RandomPicture(9, 9, 8, 3, false);
            WritePicture(folder / name, picture);
            const Picture before = ReadPicture(folder / name);
            Bytes file = ReadWholeFile(folder / name);
            ASSERT_TRUE(EmbedProfile(file, MakeProfile(size)));
            WriteBytes(folder / name, file);
            const Picture after = ReadPicture(folder / name);
            ExpectSame(after, before);
            EXPECT_TRUE(after.profile == MakeProfile(size));
        }
    }
    Bytes other(100, 'x');
    EXPECT_FALSE(EmbedProfile(other, MakeProfile(160)));
    EXPECT_EQ(other, Bytes(100, 'x'));
}

TEST(PictureFile, TurnsJpegByItsExif) {
    const ScratchFolder folder;
    WritePicture(folder / "p.jpg", RandomPicture(24, 8, 8, 3, false));
    const Picture stored = ReadPicture(folder / "p.jpg");
    for (const bool bigEndian : {false, true}) {
        Bytes exif{0xFF, 0xE1};
        Append(exif, 2 + 6 + 8 + 2 + 12 + 4, 2, true);
        Append(exif, std::string("Exif\0\0", 6));
        Append(exif, bigEndian ? "MM" : "II");
        Append(exif, 42, 2, bigEndian);
        Append(exif, 8, 4, bigEndian);
        Append(exif, 1, 2, bigEndian);
        Append(exif, 274, 2, bigEndian);
        Append(exif, 3, 2, bigEndian);
        Append(exif, 1, 4, bigEndian);
        Append(exif, 6, 2, bigEndian);
        Append(exif, 0, 2, bigEndian);
        Append(exif, 0, 4, bigEndian);
        Bytes file = ReadWholeFile(folder / "p.jpg");
        file.insert(file.begin() + 2, exif.begin(), exif.end());
        WriteBytes(folder / "turned.jpg", file);
        EXPECT_EQ(JpegOrientation(file), 6);
        ExpectSame(ReadPicture(folder / "turned.jpg"), Upright(stored, 6));
    }
}

// An uncompressed TIFF whose directory stands before its pixels, so that a cut takes only pixels.
Bytes DirectoryFirstTiff(int photometric, int samplesPerPixel) {
    constexpr std::uint32_t kSide = 64, kEntries = 8, kPixelsAt = 8 + 2 + kEntries * 12 + 4 + 8;
    Bytes file;
    Append(file, std::string("II*\0", 4));
    Append(file, 8, 4, false);
    Append(file, kEntries, 2, false);
    const auto entry = [&file](std::uint32_t tag, std::uint32_t type, std::uint32_t count,
                               std::uint32_t value) {
        Append(file, tag, 2, false);
        Append(file, type, 2, false);
        Append(file, count, 4, false);
        Append(file, value, 4, false);
    };
    const auto samples = static_cast<std::uint32_t>(samplesPerPixel);
    entry(256, 3, 1, kSide);
    entry(257, 3, 1, kSide);
    entry(258, 3, samples, kPixelsAt - 8);
    entry(259, 3, 1, 1);
    entry(262, 3, 1, static_cast<std::uint32_t>(photometric));
    entry(273, 4, 1, kPixelsAt);
    entry(277, 3, 1, samples);
    entry(279, 4, 1, kSide * kSide * samples);
    Append(file, 0, 4, false);
    for (int i = 0; i < 4; ++i) Append(file, 8, 2, false);
    for (std::uint32_t i = 0; i < kSide * kSide * samples; ++i)
        file.push_back(static_cast<std::uint8_t>(i * 31));
    return file;
}

std::string ComplaintAbout(const std::filesystem::path& path) {
    try {
        ReadLayeredPicture(path);
    } catch (const PictureError& error) {
        return error.what();
    }
    return {};
}

void ExpectEveryCutRefused(const ScratchFolder& folder, const std::string& name, const Bytes& file) {
    WriteBytes(folder / name, file);
    ASSERT_EQ(ComplaintAbout(folder / name), "");
    for (std::size_t length = 0; length < file.size(); length += length < 200 ? 1 : 97) {
        WriteBytes(folder / ("cut-" + name),
                   Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length)));
        const std::string complaint = ComplaintAbout(folder / ("cut-" + name));
        ASSERT_NE(complaint, "") << name << " cut to " << length << " of " << file.size();
        ASSERT_EQ(complaint.find('\n'), std::string::npos);
    }
}

TEST(PictureFile, RefusesWhatIsCutShort) {
    const ScratchFolder folder;
    for (const char* name : {"p.png", "p.jpg", "p.tif"}) {
        WritePicture(folder / name, RandomPicture(60, 40, 8, 3, false));
        ExpectEveryCutRefused(folder, name, ReadWholeFile(folder / name));
    }
    ExpectEveryCutRefused(folder, "first.tif", DirectoryFirstTiff(2, 3));
}

TEST(PictureFile, RefusesWhatItCannotUse) {
    const ScratchFolder folder;
    WriteBytes(folder / "cmyk.tif", DirectoryFirstTiff(5, 4));
    WriteBytes(folder / "text.png", Bytes(2000, 'x'));
    WriteBytes(folder / "empty.png", {});
    EXPECT_NE(ComplaintAbout(folder / "cmyk.tif").find("CMYK"), std::string::npos);
    EXPECT_NE(ComplaintAbout(folder / "text.png").find("cannot be read as a picture"), std::string::npos);
    EXPECT_NE(ComplaintAbout(folder / "empty.png").find("is empty"), std::string::npos);
    EXPECT_NE(ComplaintAbout(folder / "none.png").find("no such file"), std::string::npos);
    EXPECT_NE(ComplaintAbout(folder.path).find("is a folder"), std::string::npos);
    EXPECT_THROW(FormatOf("p.gif"), PictureError);
    EXPECT_THROW(FormatOf("p"), PictureError);
}

TEST(PictureFile, WritesWholeOrNotAtAll) {
    const ScratchFolder folder;
    const Picture picture = RandomPicture(50, 50, 8, 3, false);
    WritePicture(folder / "p.png", picture);
    const Bytes before = ReadWholeFile(folder / "p.png");
    const std::atomic<bool> stop{true};
    EXPECT_THROW(WritePicture(folder / "p.png", RandomPicture(9, 9, 8, 3, false), &stop), PictureError);
    EXPECT_EQ(ReadWholeFile(folder / "p.png"), before);
    EXPECT_EQ(folder.Count(), 1);
    EXPECT_THROW(WritePicture(folder / "nowhere" / "p.png", picture), PictureError);
    WritePicture(folder / "p.png", RandomPicture(9, 9, 8, 3, false));
    EXPECT_EQ(ReadPicture(folder / "p.png").width, 9);
    EXPECT_EQ(folder.Count(), 1);
}

}  // namespace
}  // namespace frond
