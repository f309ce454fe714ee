// The formats that only OpenImageIO reads: layered files, and floating point in linear light.
#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include "host/picture_io.h"
#include "host/whole_file.h"
#include "tests/run_program.h"
#include "tests/scratch_folder.h"

namespace frond {
namespace {

struct PsdLayer {
    int left, top, width, height;
    bool hasAlpha;
    std::uint8_t red, green, blue, alpha;
};

// A layered file of 8 bits, layers from the bottom up, each of one colour; the merged picture is black.
Bytes MakePsd(int width, int height, int mode, const std::vector<PsdLayer>& layers) {
    Bytes records, pixels;
    for (const PsdLayer& layer : layers) {
        for (const int edge : {layer.top, layer.left, layer.top + layer.height, layer.left + layer.width}) {
            Append(records, static_cast<std::uint32_t>(edge), 4);
        }
        const std::uint32_t size = static_cast<std::uint32_t>(layer.width * layer.height);
        Append(records, layer.hasAlpha ? 4 : 3, 2);
        const std::pair<std::uint32_t, std::uint8_t> channels[] = {
            {0xFFFF, layer.alpha}, {0, layer.red}, {1, layer.green}, {2, layer.blue}};
        for (const auto& [id, value] : channels) {
            if (id == 0xFFFF && !layer.hasAlpha) continue;
            Append(records, id, 2);
            Append(records, 2 + size, 4);
            Append(pixels, 0, 2);
            pixels.insert(pixels.end(), size, value);
        }
        Append(records, "8BIMnorm");
        Append(records, 0xFF000800, 4);
        Append(records, 12, 4);
        Append(records, 0, 4);
        Append(records, 0, 4);
        Append(records, std::string("\3abc", 4));
    }
    Bytes info;
    Append(info, static_cast<std::uint32_t>(layers.size()), 2);
    info.insert(info.end(), records.begin(), records.end());
    info.insert(info.end(), pixels.begin(), pixels.end());
    if (info.size() % 2 != 0) info.push_back(0);

    Bytes file;
    Append(file, "8BPS");
    Append(file, 1, 2);
    file.resize(12);
    Append(file, mode == 4 ? 4 : 3, 2);
    Append(file, static_cast<std::uint32_t>(height), 4);
    Append(file, static_cast<std::uint32_t>(width), 4);
    Append(file, 8, 2);
    Append(file, static_cast<std::uint32_t>(mode), 2);
    Append(file, 0, 4);
    Append(file, 0, 4);
    Append(file, static_cast<std::uint32_t>(info.size() + 8), 4);
    Append(file, static_cast<std::uint32_t>(info.size()), 4);
    file.insert(file.end(), info.begin(), info.end());
    Append(file, 0, 4);
    Append(file, 0, 2);
    file.insert(file.end(), static_cast<std::size_t>(width * height * (mode == 4 ? 4 : 3)), 0);
    return file;
}

TEST(LayeredFile, GivesTheTwoLowestLayersAtTheirPlaces) {
    const ScratchFolder folder;
    WriteBytes(folder / "p.psd", MakePsd(12, 10, 3,
                                         {{0, 0, 12, 10, false, 1, 2, 3, 255},
                                          {-2, 4, 6, 5, true, 40, 50, 60, 70},
                                          {1, 1, 2, 2, false, 7, 8, 9, 255}}));
    const LayeredPicture file = ReadLayeredPicture(folder / "p.psd");
    EXPECT_EQ(file.merged.width, 12);
    EXPECT_EQ(file.merged.colour[2], Plane(120, 0));
    ASSERT_EQ(file.layers.size(), 2u);
    EXPECT_EQ(file.layers[0].colour[1][0], 2);
    EXPECT_EQ(file.layers[0].width, 12);
    const Picture& upper = file.layers[1];
    EXPECT_EQ(upper.width, 6);
    EXPECT_EQ(upper.height, 5);
    EXPECT_EQ(upper.offsetX, -2);
    EXPECT_EQ(upper.offsetY, 4);
    // Straight, not multiplied by the alpha.
    EXPECT_EQ(upper.colour[0], Plane(30, 40));
    EXPECT_EQ(upper.alpha, Plane(30, 70));
}

TEST(LayeredFile, IsKeyedOverItsOwnLowestLayer) {
    const ScratchFolder folder;
    // A green layer that leaves a margin over a blue one; the third layer counts for nothing.
    WriteBytes(folder / "p.psd", MakePsd(64, 48, 3,
                                         {{0, 0, 64, 48, false, 20, 40, 200, 255},
                                          {6, 4, 50, 40, true, 30, 190, 40, 255},
                                          {20, 20, 9, 9, false, 220, 30, 30, 255}}));
    const LayeredPicture file = ReadLayeredPicture(folder / "p.psd");
    WritePicture(folder / "upper.png", PlaceOnCanvas(file.layers[1], 64, 48));
    WritePicture(folder / "lower.png", file.layers[0]);
    const auto program = std::filesystem::current_path() / "frond";
    const auto at = [&folder](const char* name) { return (folder / name).string(); };
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {"key", at("p.psd"), "-o", at("layers.png")},
             {"key", at("upper.png"), "--over", at("lower.png"), "-o", at("files.png")}}) {
        const ProgramRun run = RunProgram(program, arguments);
        ASSERT_EQ(run.code, 0) << run.err;
    }
    const Picture layers = ReadPicture(folder / "layers.png");
    EXPECT_EQ(layers.colour, ReadPicture(folder / "files.png").colour);
    // The green is gone, inside the layer as outside.
    for (const std::size_t pixel : {std::size_t{0}, std::size_t{24 * 64 + 30}}) {
        EXPECT_NEAR(layers.colour[1][pixel], 40, 2) << pixel;
        EXPECT_NEAR(layers.colour[2][pixel], 200, 2) << pixel;
    }
}

TEST(LayeredFile, RefusesCmykAndEveryCut) {
    const ScratchFolder folder;
    WriteBytes(folder / "cmyk.psd", MakePsd(4, 4, 4, {{0, 0, 4, 4, false, 1, 2, 3, 255}}));
    EXPECT_THROW(ReadPicture(folder / "cmyk.psd"), PictureError);
    const Bytes file =
        MakePsd(12, 10, 3, {{0, 0, 12, 10, false, 1, 2, 3, 255}, {1, 1, 3, 3, true, 4, 5, 6, 7}});
    for (std::size_t length = 1; length < file.size(); ++length) {
        WriteBytes(folder / "cut.psd",
                   Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length)));
        ASSERT_THROW(ReadLayeredPicture(folder / "cut.psd"), PictureError) << length << " of " << file.size();
    }
}

TEST(FloatFile, BecomesSixteenBitsOnTheDisplaysCurve) {
    const ScratchFolder folder;
    // Linear light, multiplied by alpha: 0.5 opaque, 0.25 at half alpha, above white, below black.
    const float pixels[] = {0.5f, 0.5f, 0.5f, 1, 0.25f, 0.25f, 0.25f, 0.5f, 3, 3, 3, 1, -1, -1, -1, 1};
    const std::string path = (folder / "p.exr").string();
    {
        auto out = OIIO::ImageOutput::create(path);
        OIIO::ImageSpec spec(4, 1, 4, OIIO::TypeDesc::FLOAT);
        ASSERT_TRUE(out->open(path, spec) && out->write_image(OIIO::TypeDesc::FLOAT, pixels) && out->close());
    }
    const Picture picture = ReadPicture(path);
    EXPECT_EQ(picture.depth, 16);
    // 0.5 in linear light is 0.735357 on the sRGB curve.
    EXPECT_EQ(picture.colour[0], Plane({48192, 48192, 65535, 0}));
    EXPECT_EQ(picture.alpha, Plane({65535, 32768, 65535, 65535}));
}

}  // namespace
}  // namespace frond
