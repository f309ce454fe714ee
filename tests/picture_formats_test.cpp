// The formats that only OpenImageIO reads: layered files, and floating point in linear light.
#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include "host/picture_io.h"
#include "host/whole_file.h"
#include "tests/run_program.h"
#include "tests/scratch_folder.h"

namespace frond {
namespace {

TEST(LayeredFile, GivesTheTwoLowestLayersAtTheirPlaces) {
    const ScratchFolder folder;
    WriteBytes(folder / "p.psd", FileCase("layers.psd"));
    const LayeredPicture file = ReadLayeredPicture(folder / "p.psd");
    EXPECT_EQ(file.merged.colour, std::vector<Plane>(3, Plane(64 * 48, 0)));
    ASSERT_EQ(file.layers.size(), 2u);
    EXPECT_EQ(file.layers[0].colour[1], Plane(64 * 48, 40));
    const Picture& upper = file.layers[1];
    EXPECT_TRUE(upper.width == 50 && upper.height == 40 && upper.offsetX == -2 && upper.offsetY == 4);
    // Straight, not multiplied by the alpha.
    EXPECT_EQ(upper.colour[0], Plane(50 * 40, 30));
    EXPECT_EQ(upper.alpha, Plane(50 * 40, 70));
}

TEST(LayeredFile, IsKeyedOverItsOwnLowestLayer) {
    const ScratchFolder folder;
    WriteBytes(folder / "p.psd", FileCase("layers.psd"));
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
