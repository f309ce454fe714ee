// The program frond as its users meet it: what it writes, what it says, and what it leaves alone. Run in the
// folder of the build, where the program and the module lie.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "host/picture_io.h"
#include "host/sample_plate.h"
#include "host/whole_file.h"
#include "tests/run_program.h"
#include "tests/scratch_folder.h"

namespace frond {
namespace {

#ifdef _WIN32
constexpr char kProgram[] = "frond.exe", kModule[] = "MarbleFrondKeeper.8bf";
#else
constexpr char kProgram[] = "frond", kModule[] = "MarbleFrondKeeper.so";
#endif

ProgramRun Frond(const std::vector<std::string>& arguments, const ProgramLimits& limits = {}) {
    return RunProgram(std::filesystem::current_path() / kProgram, arguments, limits);
}

// The plate that all tests here key, rendered once.
const SamplePlate& Plate() {
    static const SamplePlate plate = RenderSamplePlate({150, 100, 16, false, true});
    return plate;
}

class FrondProgram : public ::testing::Test {
  protected:
    ScratchFolder folder;

    std::string At(const std::string& name) const { return (folder / name).u8string(); }

    // Writes the plate's photo and background in the given depth.
    void WritePlate(int depth) {
        Picture photo = Plate().photo, background = Plate().background;
        ChangeDepth(photo, depth);
        ChangeDepth(background, depth);
        WritePicture(folder / "photo.png", photo);
        WritePicture(folder / "background.png", background);
    }

    // frond key PHOTO --over BACKGROUND with the rest.
    std::vector<std::string> KeyLine(std::vector<std::string> rest) {
        rest.insert(rest.begin(), {"key", At("photo.png"), "--over", At("background.png")});
        return rest;
    }
    // The same run, which is to end well and in silence.
    void Key(std::vector<std::string> rest) {
        const ProgramRun run = Frond(KeyLine(std::move(rest)));
        ASSERT_EQ(run.code, 0) << run.err;
        EXPECT_EQ(run.out + run.err, "");
    }

    // One line of complaint, the exit code, and nothing new in the folder.
    void ExpectRefusal(const std::vector<std::string>& arguments, int code, const std::string& word,
                       const ProgramLimits& limits = {}) {
        SCOPED_TRACE(::testing::PrintToString(arguments));
        const int before = folder.Count();
        const ProgramRun run = Frond(arguments, limits);
        EXPECT_EQ(run.code, code) << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        EXPECT_EQ(run.err.rfind("frond: ", 0), 0u) << run.err;
        EXPECT_NE(run.err.find(word), std::string::npos) << run.err;
        EXPECT_EQ(folder.Count(), before);
    }

    void WriteText(const std::string& name, const std::string& text) {
        WriteWholeFile(folder / name, text.data(), text.size());
    }
    std::string Text(const std::string& name) {
        const std::vector<std::uint8_t> bytes = ReadWholeFile(folder / name);
        return std::string(bytes.begin(), bytes.end());
    }
    // A picture of one level, grey or coloured.
    Picture WriteFlat(const std::string& name, std::uint16_t level, int colours, int side = 10) {
        Picture picture = MakePicture(side, side, 8, colours, false);
        for (Plane& plane : picture.colour) plane.assign(plane.size(), level);
        WritePicture(folder / name, picture);
        return picture;
    }
};

double MeanDifference(const Picture& a, const Picture& b) {
    double sum = 0;
    for (std::size_t c = 0; c < a.colour.size(); ++c) {
        for (std::size_t i = 0; i < PixelCount(a); ++i) sum += std::abs(a.colour[c][i] - b.colour[c][i]);
    }
    return sum / static_cast<double>(PixelCount(a) * a.colour.size()) / LargestSample(a.depth);
}

TEST_F(FrondProgram, SetsTheFigureOnTheBackground) {
    for (const int depth : {8, 16}) {
        SCOPED_TRACE(depth);
        WritePlate(depth);
        Key({"-o", At("out.png")});
        const Picture out = ReadPicture(folder / "out.png");
        Picture truth = Plate().composite;
        ChangeDepth(truth, depth);
        EXPECT_EQ(out.depth, depth);
        EXPECT_TRUE(out.alpha.empty());
        // Keying brings the photo close to the true composite, from which the photo itself is far away.
        Picture photo = Plate().photo;
        ChangeDepth(photo, depth);
        EXPECT_GT(MeanDifference(photo, truth), 0.15);
        EXPECT_LT(MeanDifference(out, truth), 0.03);
    }
    Key({"-o", At("eight.tif"), "--depth", "8"});
    EXPECT_EQ(ReadPicture(folder / "eight.tif").depth, 8);
}

TEST_F(FrondProgram, WritesTheSubjectAloneAndItsMatte) {
    WritePlate(16);
    const ProgramRun run =
        Frond({"key", At("photo.png"), "--transparent", "-o", At("out.tif"), "--matte", At("matte.png")});
    ASSERT_EQ(run.code, 0) << run.err;
    const Picture out = ReadPicture(folder / "out.tif"), matte = ReadPicture(folder / "matte.png");
    EXPECT_EQ(out.alpha, matte.colour[0]);
    EXPECT_EQ(matte.colour.size(), 1u);
    // Wholly opaque and wholly transparent are just that in the file's scale.
    EXPECT_GT(std::count(out.alpha.begin(), out.alpha.end(), 65535), 2500);
    EXPECT_GT(std::count(out.alpha.begin(), out.alpha.end(), 0), 5000);

    // The matte of a composite is that of the same run with transparency.
    Key({"-o", At("composite.png"), "--matte", At("again.png")});
    EXPECT_EQ(ReadPicture(folder / "again.png").colour, matte.colour);
    Key({"--matte", At("alone.png")});
    EXPECT_EQ(ReadPicture(folder / "alone.png").colour, matte.colour);
}

TEST_F(FrondProgram, RecordsUnderBothNamesAndReplays) {
    WritePlate(8);
    Key({"-o", At("a.png"), "--record", At("a.json"), "--SliderRemoveGreen", "133", "--SliderRestoreBlack=7",
         "--SliderAlterGreen", "90", "--SliderSelectTransp", "120", "--SliderScaleTransp", "-5",
         "--SliderAdjBGLevel", "80", "--no-FlagRealityInteg", "--FlagShowSelect", "--FlagBlueLogic"});
    Key({"-o", At("b.png"), "--record", At("b.json"), "--remove-green", "133", "--restore-black", "7",
         "--alter-green", "90", "--select-transparency", "120", "--scale-transparency", "-5",
         "--background-level", "80", "--no-blend", "--show-matte", "--blue"});
    EXPECT_EQ(Text("a.png"), Text("b.png"));
    EXPECT_EQ(Text("a.json"), Text("b.json"));
    for (const char* words :
         {"\"SliderRemoveGreen\": 133,", "\"SliderRestoreBlack\": 7,", "\"SliderAlterGreen\": 90,",
          "\"SliderSelectTransp\": 120,", "\"SliderScaleTransp\": -5,", "\"SliderAdjBGLevel\": 80,",
          "\"FlagRealityInteg\": false,", "\"FlagShowSelect\": true,", "\"FlagOutputAlpha\": false,",
          "\"FlagBlueLogic\": true,"}) {
        EXPECT_NE(Text("a.json").find(words), std::string::npos) << words;
    }
    // Options come on top of the action, and a partial action leaves the rest at the defaults.
    WriteText("partial.json", R"({"parameters": {"SliderScaleTransp": -5, "SliderRemoveGreen": 7}})");
    Key({"-o", At("c.png"), "--action", At("partial.json"), "--remove-green", "133", "--no-blend",
         "--original", "--record", At("c.json")});
    Key({"-o", At("d.png"), "--action", At("c.json")});
    EXPECT_EQ(Text("c.png"), Text("d.png"));
    EXPECT_NE(Text("c.png"), Text("a.png"));
    EXPECT_NE(Text("c.json").find("\"SliderRemoveGreen\": 133"), std::string::npos);
    EXPECT_NE(Text("c.json").find("\"SliderAlterGreen\": 100"), std::string::npos);
    EXPECT_NE(Text("c.json").find("\"FlagOrgPhoto\": true"), std::string::npos);
}

TEST_F(FrondProgram, LeavesAloneWhatIsNotSelected) {
    Picture mask = MakePicture(150, 100, 8, 1, false);
    for (int i = 0; i < 150 * 100; ++i) mask.colour[0][i] = i / 150 >= 50 || i % 150 % 2 == 0 ? 255 : 0;
    WritePicture(folder / "mask.png", mask);
    for (const int depth : {8, 16}) {
        SCOPED_TRACE(depth);
        WritePlate(depth);
        Key({"-o", At("all.tif"), "--no-blend"});
        Key({"-o", At("some.tif"), "--no-blend", "--selection", At("mask.png")});
        const Picture all = ReadPicture(folder / "all.tif"), some = ReadPicture(folder / "some.tif");
        const Picture photo = ReadPicture(folder / "photo.png");
        for (std::size_t i = 0; i < PixelCount(photo); ++i) {
            if (mask.colour[0][i] != 0) {
                ASSERT_EQ(some.colour[1][i], all.colour[1][i]) << i;
            } else {
                ASSERT_NEAR(some.colour[1][i], photo.colour[1][i], depth == 8 ? 0 : 2) << i;
            }
        }
    }
}

// A green backdrop with a grey subject in its middle third.
TEST_F(FrondProgram, TakesPicturesOfOnePixelAndOfOneLine) {
    const std::pair<int, int> sizes[] = {{1, 1}, {1, 30000}, {30000, 1}};
    for (const auto& [width, height] : sizes) {
        for (const int depth : {8, 16}) {
            SCOPED_TRACE(std::to_string(width) + " by " + std::to_string(height) + " at " +
                         std::to_string(depth));
            const int step = LargestSample(depth) / 255, count = width * height;
            Picture photo = MakePicture(width, height, depth, 3, false), background = photo;
            const int backdrop[] = {50, 180, 60};
            for (std::size_t c = 0; c < 3; ++c) {
                background.colour[c].assign(PixelCount(photo), static_cast<std::uint16_t>(200 * step));
                for (int i = 0; i < count; ++i) {
                    const bool isSubject = count > 1 && i / (count / 3) == 1;
                    photo.colour[c][i] = static_cast<std::uint16_t>((isSubject ? 120 : backdrop[c]) * step);
                }
            }
            WritePicture(folder / "photo.png", photo);
            WritePicture(folder / "background.png", background);
            WritePicture(folder / "nothing.png", MakePicture(width, height, 8, 1, false));
            for (const char* blending : {"--no-blend", "--blend"}) {
                Key({"-o", At("o.tif"), blending});
                const Picture out = ReadPicture(folder / "o.tif");
                EXPECT_EQ(out.width, width);
                EXPECT_EQ(out.height, height);
                EXPECT_EQ(out.depth, depth);
                // Without blended edges a line has no rows or columns enough for the filter's refinement.
                for (std::size_t c = 0; c < 3 && count > 1 && blending[2] == 'b'; ++c) {
                    EXPECT_NEAR(out.colour[c][0], 200 * step, 2 * step) << "channel " << c;
                    EXPECT_NEAR(out.colour[c][count / 2], 120 * step, 2 * step) << "channel " << c;
                }
            }
            Key({"-o", At("o.tif"), "--selection", At("nothing.png")});
            const Picture untouched = ReadPicture(folder / "o.tif");
            for (std::size_t c = 0; c < 3; ++c) {
                for (int i = 0; i < count; ++i)
                    ASSERT_NEAR(untouched.colour[c][i], photo.colour[c][i], depth == 8 ? 0 : 2);
            }
        }
    }
}

TEST_F(FrondProgram, KeepsProfileAndResolution) {
    Picture photo = Plate().photo;
    photo.resolutionX = photo.resolutionY = 240;
    photo.resolutionUnit = ResolutionUnit::kInch;
    WritePicture(folder / "photo.png", photo);
    WritePicture(folder / "background.png", Plate().background);
    for (const char* name : {"o.png", "o.tif", "o.jpg"}) {
        Key({"-o", At(name)});
        EXPECT_NEAR(ReadPicture(folder / name).resolutionX, 240, 0.01) << name;
    }
}

TEST_F(FrondProgram, GoesOnWithTheOthersInABatch) {
    WritePlate(8);
    WritePicture(folder / "second.tif", ReadPicture(folder / "photo.png"));
    WriteText("broken.png", "no picture");
    const ProgramRun run = Frond({"key", At("broken.png"), At("photo.png"), At("missing.png"),
                                  At("second.tif"), "--over", At("background.png"), "-o", At("results")});
    EXPECT_EQ(run.code, 3);
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 2) << run.err;
    const Picture first = ReadPicture(folder / "results" / "photo.png");
    EXPECT_EQ(ReadPicture(folder / "results" / "second.png").colour, first.colour);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder / "results"), {}), 2);
    // Two photographs of one name would meet in one file.
    std::filesystem::create_directory(folder / "other");
    std::filesystem::copy(folder / "photo.png", folder / "other" / "photo.png");
    ExpectRefusal(
        {"key", At("photo.png"), At("other/photo.png"), "--over", At("background.png"), "-o", At("results")},
        2, "two results");
}

TEST_F(FrondProgram, RefusesBadInputInOneLine) {
    WritePlate(8);
    WriteFlat("small.png", 0, 1, 20);
    WriteText("broken.png", "no picture");
    const std::string photo = At("photo.png"), o = At("o.png");
    ExpectRefusal({}, 2, "say what to do");
    ExpectRefusal({"unkey"}, 2, "unkey");
    ExpectRefusal({"key"}, 2, "PHOTO");
    ExpectRefusal({"key", photo, "-o", o}, 2, "--over");
    ExpectRefusal({"key", At("no.png"), "--over", photo, "-o", o}, 3, "no such file");
    ExpectRefusal({"key", photo, "--over", At("broken.png"), "-o", o}, 3, "picture");
    ExpectRefusal({"sample", At("dir"), "--size", "12"}, 2, "size");
    ExpectRefusal({"sample", photo, "--size", "40x40"}, 4, "folder");
    ExpectRefusal({"compare", photo, At("small.png")}, 3, "20x20");
    ExpectRefusal({"compare", photo, photo, "--alpha"}, 3, "no alpha");
    ExpectRefusal({"info", photo}, 5, "no Windows module");
    ExpectRefusal(KeyLine({}), 2, "-o");
    ExpectRefusal(KeyLine({"-o", At("o.gif")}), 2, "ending");
    ExpectRefusal(KeyLine({"-o", At("nowhere/o.png")}), 4, "no folder");
    ExpectRefusal(KeyLine({"-o", At("o.jpg"), "--transparent"}), 2, "transparency");
    ExpectRefusal(KeyLine({"-o", o, "--depth", "12"}), 2, "depth");
    ExpectRefusal(KeyLine({"-o", o, "--fit", "best"}), 2, "fit");
    ExpectRefusal(KeyLine({"-o", o, "--SliderRemoveGreen", "4x"}), 2, "SliderRemoveGreen");
    ExpectRefusal(KeyLine({"-o", o, "--selection", At("small.png")}), 3, "20x20");
    ExpectRefusal(KeyLine({"-o", o, "--action", At("no.json")}), 3, "no such file");
    ExpectRefusal(KeyLine({"-o", o, "--module", At("none")}), 5, "no such module");
    ExpectRefusal(KeyLine({"-o", o, "--module", photo}), 5, "module");
    const std::pair<const char*, const char*> actions[] = {
        {R"({"parameters": {"SliderRemoveRed": 4}})", "SliderRemoveRed"},
        {R"({"parameters": {}, "comment": 1})", "comment"},
        {R"({"parameters": {"FlagBlueLogic": 1}})", "FlagBlueLogic"},
        {R"({"parameters": {"SliderRemoveGreen": 2147483648}})", "SliderRemoveGreen"},
        {R"({"parameters": {"SliderRemoveGreen": 1e999}})", "overflow"},
        {R"({"parameters": {"SliderRem)", "parse error"}};
    for (const auto& [text, word] : actions) {
        WriteText("a.json", text);
        ExpectRefusal(KeyLine({"-o", o, "--action", At("a.json")}), 2, word);
    }
}

TEST_F(FrondProgram, NeverTouchesItsInputs) {
    WritePlate(8);
    WriteText("a.json", R"({"parameters": {}})");
    std::filesystem::create_directory(folder / "x");
    const std::string photo = Text("photo.png"), background = Text("background.png");
    const std::string asInput = "is an input and would be overwritten";
    ExpectRefusal(KeyLine({"-o", At("photo.png")}), 2, asInput);
    ExpectRefusal(KeyLine({"-o", At("x/../background.png")}), 2, asInput);
    ExpectRefusal(KeyLine({"-o", folder.path.u8string()}), 2, asInput);  // where it has the result's name
    ExpectRefusal(KeyLine({"-o", At("o.png"), "--matte", At("photo.png")}), 2, asInput);
    ExpectRefusal(KeyLine({"-o", At("o.png"), "--action", At("a.json"), "--record", At("a.json")}), 2,
                  asInput);
    ExpectRefusal(KeyLine({"-o", At("o.png"), "--matte", At("o.png")}), 2, "two results");
    EXPECT_EQ(Text("photo.png"), photo);
    EXPECT_EQ(Text("background.png"), background);
}

#ifndef _WIN32
TEST_F(FrondProgram, LeavesNothingBehindOnAFullDiskOrCtrlC) {
    WritePlate(8);
    WriteText("o.png", "as it was");
    ProgramLimits full;
    full.fileBytes = 2000;
    for (const char* name : {"o.png", "p.tif", "p.jpg"}) {
        ExpectRefusal(KeyLine({"-o", At(name)}), 4, name, full);
    }
    EXPECT_EQ(Text("o.png"), "as it was");

    // Ctrl-C once the filter is at work, which the trace tells.
    const int entries = folder.Count();
    ProgramLimits impatient;
    impatient.interruptWhenItSpeaks = true;
    const ProgramRun run = Frond(KeyLine({"-o", At("i.png"), "--matte", At("m.png"), "--trace"}), impatient);
    EXPECT_EQ(run.code, 130);
    EXPECT_NE(run.err.find("frond: interrupted; nothing was written\n"), std::string::npos);
    EXPECT_EQ(folder.Count(), entries);
}

TEST_F(FrondProgram, TakesTheModuleThatItIsGiven) {
    ASSERT_EQ(setenv("FROND_MODULE", "no-such-module.so", 1), 0);
    WritePlate(8);
    ExpectRefusal(KeyLine({"-o", At("o.png")}), 5, "FROND_MODULE");
    Key({"-o", At("o.png"), "--module", (std::filesystem::current_path() / kModule).string()});
    unsetenv("FROND_MODULE");
}
#endif

TEST_F(FrondProgram, ComparesPictures) {
    Picture a = WriteFlat("a.png", 100, 3), b = WriteFlat("b.png", 101, 3);
    WriteFlat("grey.png", 51, 1);
    ChangeDepth(a, 16);
    WritePicture(folder / "a16.tif", a);
    b.alpha.assign(100, 0);
    WritePicture(folder / "clear.png", b);
    // One step of 255 everywhere: 20 log10(255).
    EXPECT_EQ(Frond({"compare", At("a.png"), At("b.png")}).out,
              "mean absolute error  1.0000 of 255\nPSNR                 48.13 dB\n");
    EXPECT_EQ(Frond({"compare", At("a16.tif"), At("a.png")}).out,
              "mean absolute error  0.0000 of 255\nPSNR                 inf dB (no difference)\n");
    const std::string out = Frond({"compare", At("grey.png"), At("clear.png"), "--alpha"}).out;
    EXPECT_NE(out.find(" 51.0000 of 255"), std::string::npos) << out;
}

// Of 100 pixels the ends of the band are none of it. Green above both others counts only beyond the truth's.
TEST_F(FrondProgram, ComparesTheSoftBandAlone) {
    Picture truth = WriteFlat("truth.png", 100, 3), keyed = truth, alpha = WriteFlat("alpha.png", 0, 1);
    alpha.colour[0][0] = 5, alpha.colour[0][1] = 250;
    alpha.colour[0][2] = 6, alpha.colour[0][3] = 249;
    keyed.colour[1][0] = keyed.colour[1][1] = 255;
    keyed.colour[1][2] = 130;
    truth.colour[1][2] = 110;
    keyed.colour[2][3] = 108;
    WritePicture(folder / "truth.png", truth);
    WritePicture(folder / "keyed.png", keyed);
    WritePicture(folder / "alpha.png", alpha);
    const ProgramRun run = Frond({"compare", At("keyed.png"), At("truth.png"), "--band", At("alpha.png")});
    EXPECT_NE(run.out.find("soft band            2.00 % of the pixels\n"
                           "  mean absolute error  4.6667 of 255\n"
                           "  green left           10.0000 of 255\n"),
              std::string::npos)
        << run.out;
}

TEST_F(FrondProgram, TellsOfTheModuleAndOfItself) {
    EXPECT_EQ(Frond({"--version"}).out.rfind("frond ", 0), 0u);
    EXPECT_NE(Frond({"key", "--help"}).out.find("Exit codes: 0 done"), std::string::npos);
    WritePlate(8);
    const ProgramRun trace = Frond(KeyLine({"-o", At("o.png"), "--trace"}));
    EXPECT_EQ(trace.code, 0);
    EXPECT_NE(trace.err.find("WritePixelsToBaseLevel"), std::string::npos);
#ifdef _WIN32
    const ProgramRun info = Frond({"info", kModule});
    EXPECT_EQ(info.code, 0) << info.err;
    for (const char* words :
         {"\"Twin Plate Rig...\"", "\"Marble Frond Keeper\"", "PluginMain", "image modes       RGB\n",
          "SliderSelectTransp  STsp  whole number  Slider Select Transparency",
          "FlagOrgPhoto        OrgP  flag          Flag Org Photo"}) {
        EXPECT_NE(info.out.find(words), std::string::npos) << words << " in\n" << info.out;
    }
#else
    EXPECT_EQ(Frond({"info", kModule}).code, 5);
#endif
}

// The renderer's own promises.
TEST_F(FrondProgram, RendersAPlateThatTellsTheTruth) {
    ASSERT_EQ(Frond({"sample", At("plate"), "--size", "150x100", "--depth", "16"}).code, 0);
    const SamplePlate& plate = Plate();
    const std::pair<const char*, const Picture*> pictures[] = {{"photo.png", &plate.photo},
                                                               {"background.png", &plate.background},
                                                               {"alpha.png", &plate.alpha},
                                                               {"composite.png", &plate.composite}};
    for (const auto& [name, picture] : pictures) {
        EXPECT_EQ(ReadPicture(folder / "plate" / name).colour, picture->colour) << name;
    }
    int clear = 0, part = 0, opaque = 0;
    for (std::size_t i = 0; i < PixelCount(plate.alpha); ++i) {
        const std::uint16_t alpha = plate.alpha.colour[0][i];
        clear += alpha == 0;
        opaque += alpha == 65535;
        part += alpha > 2000 && alpha < 63000;
        if (alpha > 0) continue;
        // An alpha below half a step still counts in the composite.
        ASSERT_NEAR(plate.composite.colour[2][i], plate.background.colour[2][i], 1) << i;
        ASSERT_GT(plate.photo.colour[1][i], plate.photo.colour[0][i]) << i;
    }
    EXPECT_TRUE(clear > 6000 && opaque > 2500 && part > 500) << clear << ' ' << opaque << ' ' << part;
}

}  // namespace
}  // namespace frond
