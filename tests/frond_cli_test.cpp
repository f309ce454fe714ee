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
    static const SamplePlate plate = [] {
        PlateOptions options;
        options.width = 150;
        options.height = 100;
        options.depth = 16;
        return RenderSamplePlate(options);
    }();
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

    // frond key PHOTO --over BACKGROUND with the rest; expects it to end well.
    void Key(std::vector<std::string> rest) {
        rest.insert(rest.begin(), {"key", At("photo.png"), "--over", At("background.png")});
        const ProgramRun run = Frond(rest);
        ASSERT_EQ(run.code, 0) << run.err;
        EXPECT_EQ(run.err, "");
        EXPECT_EQ(run.out, "");
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

TEST_F(FrondProgram, ScriptingNamesAndShortNamesAreOne) {
    WritePlate(8);
    const std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>> pairs = {
        {{"--SliderRemoveGreen", "90"}, {"--remove-green", "90"}},
        {{"--SliderAdjBGLevel=60"}, {"--background-level", "60"}},
        {{"--no-FlagRealityInteg"}, {"--no-blend"}},
        {{"--FlagShowSelect", "--no-blend"}, {"--show-matte", "--no-FlagRealityInteg"}},
        {{"--FlagBlueLogic"}, {"--blue"}},
        {{"--FlagOrgPhoto"}, {"--original"}},
    };
    Key({"-o", At("plain.png")});
    for (const auto& [first, second] : pairs) {
        SCOPED_TRACE(first[0]);
        for (const auto* names : {&first, &second}) {
            std::vector<std::string> rest = *names;
            rest.insert(rest.end(), {"-o", At(names == &first ? "a.png" : "b.png")});
            Key(rest);
        }
        EXPECT_EQ(ReadWholeFile(folder / "a.png"), ReadWholeFile(folder / "b.png"));
        EXPECT_NE(ReadWholeFile(folder / "a.png"), ReadWholeFile(folder / "plain.png"));
    }
}

TEST_F(FrondProgram, RecordsAndReplaysActions) {
    WritePlate(8);
    Key({"-o", At("a.png"), "--remove-green", "133", "--scale-transparency", "-5", "--no-blend", "--record",
         At("r.json")});
    Key({"-o", At("b.png"), "--action", At("r.json")});
    EXPECT_EQ(ReadWholeFile(folder / "a.png"), ReadWholeFile(folder / "b.png"));
    // Options come on top of the action, and a partial action leaves the rest at the defaults.
    WriteText("partial.json", R"({"parameters": {"SliderScaleTransp": -5, "SliderRemoveGreen": 7}})");
    Key({"-o", At("c.png"), "--action", At("partial.json"), "--remove-green", "133", "--no-blend", "--record",
         At("s.json")});
    EXPECT_EQ(ReadWholeFile(folder / "a.png"), ReadWholeFile(folder / "c.png"));
    const auto text = [this](const char* name) {
        const std::vector<std::uint8_t> bytes = ReadWholeFile(folder / name);
        return std::string(bytes.begin(), bytes.end());
    };
    EXPECT_EQ(text("r.json"), text("s.json"));
    EXPECT_NE(text("r.json").find("\"SliderRemoveGreen\": 133"), std::string::npos);
    EXPECT_NE(text("r.json").find("\"FlagRealityInteg\": false"), std::string::npos);
    EXPECT_NE(text("r.json").find("\"SliderAlterGreen\": 100"), std::string::npos);
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
    WritePicture(folder / "small.png", MakePicture(20, 20, 8, 1, false));
    WriteText("broken.png", "no picture");
    WriteText("unknown.json", R"({"parameters": {"SliderRemoveRed": 4}})");
    WriteText("stray.json", R"({"parameters": {}, "comment": 1})");
    WriteText("kind.json", R"({"parameters": {"FlagBlueLogic": 1}})");
    WriteText("large.json", R"({"parameters": {"SliderRemoveGreen": 2147483648}})");
    WriteText("half.json", R"({"parameters": {"SliderRem)");
    WriteText("beyond.json", R"({"parameters": {"SliderRemoveGreen": 1e999}})");
    const std::vector<std::string> good = {"key", At("photo.png"), "--over", At("background.png")};
    const auto refuses = [&](std::vector<std::string> rest, int code, const std::string& word) {
        rest.insert(rest.begin(), good.begin(), good.end());
        ExpectRefusal(rest, code, word);
    };
    ExpectRefusal({}, 2, "say what to do");
    ExpectRefusal({"unkey"}, 2, "unkey");
    ExpectRefusal({"key"}, 2, "PHOTO");
    ExpectRefusal({"key", At("photo.png"), "-o", At("o.png")}, 2, "--over");
    ExpectRefusal({"key", At("no.png"), "--over", At("background.png"), "-o", At("o.png")}, 3,
                  "no such file");
    ExpectRefusal({"key", At("photo.png"), "--over", At("broken.png"), "-o", At("o.png")}, 3, "picture");
    refuses({}, 2, "-o");
    refuses({"-o", At("o.gif")}, 2, "ending");
    refuses({"-o", At("nowhere/o.png")}, 4, "no folder");
    refuses({"-o", At("o.jpg"), "--transparent"}, 2, "transparency");
    refuses({"-o", At("o.png"), "--depth", "12"}, 2, "depth");
    refuses({"-o", At("o.png"), "--fit", "best"}, 2, "fit");
    refuses({"-o", At("o.png"), "--SliderRemoveGreen", "4x"}, 2, "SliderRemoveGreen");
    refuses({"-o", At("o.png"), "--selection", At("small.png")}, 3, "20x20");
    refuses({"-o", At("o.png"), "--action", At("no.json")}, 3, "no such file");
    refuses({"-o", At("o.png"), "--action", At("unknown.json")}, 2, "SliderRemoveRed");
    refuses({"-o", At("o.png"), "--action", At("stray.json")}, 2, "comment");
    refuses({"-o", At("o.png"), "--action", At("kind.json")}, 2, "FlagBlueLogic");
    refuses({"-o", At("o.png"), "--action", At("large.json")}, 2, "SliderRemoveGreen");
    refuses({"-o", At("o.png"), "--action", At("half.json")}, 2, "parse error");
    refuses({"-o", At("o.png"), "--action", At("beyond.json")}, 2, "overflow");
    refuses({"-o", At("o.png"), "--module", At("none")}, 5, "no such module");
    refuses({"-o", At("o.png"), "--module", At("photo.png")}, 5, "module");
    ExpectRefusal({"sample", At("dir"), "--size", "12"}, 2, "size");
    ExpectRefusal({"sample", At("photo.png"), "--size", "40x40"}, 4, "folder");
    ExpectRefusal({"compare", At("photo.png"), At("small.png")}, 3, "20x20");
    ExpectRefusal({"compare", At("photo.png"), At("photo.png"), "--alpha"}, 3, "no alpha");
    ExpectRefusal({"info", At("photo.png")}, 5, "no Windows module");
}

TEST_F(FrondProgram, NeverTouchesItsInputs) {
    WritePlate(8);
    WriteText("a.json", R"({"parameters": {}})");
    const auto photo = ReadWholeFile(folder / "photo.png"),
               background = ReadWholeFile(folder / "background.png");
    const std::vector<std::string> good = {"key", At("photo.png"), "--over", At("background.png")};
    for (const std::vector<std::string>& rest : std::vector<std::vector<std::string>>{
             {"-o", At("photo.png")},
             {"-o", At("x/../background.png")},
             {"-o", folder.path.u8string()},  // a folder that holds the input under the result's name
             {"-o", At("o.png"), "--matte", At("photo.png")},
             {"-o", At("o.png"), "--matte", At("o.png")},
             {"-o", At("o.png"), "--action", At("a.json"), "--record", At("a.json")}}) {
        std::vector<std::string> arguments = good;
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        std::filesystem::create_directory(folder / "x");
        ExpectRefusal(arguments, 2, "photo.png" == rest[1] ? "input" : "");
    }
    EXPECT_EQ(ReadWholeFile(folder / "photo.png"), photo);
    EXPECT_EQ(ReadWholeFile(folder / "background.png"), background);
}

#ifndef _WIN32
TEST_F(FrondProgram, LeavesNothingBehindOnAFullDiskOrCtrlC) {
    WritePlate(8);
    Key({"-o", At("o.png")});
    const auto before = ReadWholeFile(folder / "o.png");
    ProgramLimits full;
    full.fileBytes = 2000;
    for (const char* name : {"o.png", "p.tif", "p.jpg"}) {
        ExpectRefusal({"key", At("photo.png"), "--over", At("background.png"), "-o", At(name)}, 4, name,
                      full);
    }
    EXPECT_EQ(ReadWholeFile(folder / "o.png"), before);

    // Ctrl-C once the filter is at work, which the trace tells.
    const int entries = folder.Count();
    ProgramLimits impatient;
    impatient.interruptWhenItSpeaks = true;
    const ProgramRun run = Frond({"key", At("photo.png"), "--over", At("background.png"), "-o", At("i.png"),
                                  "--matte", At("m.png"), "--trace"},
                                 impatient);
    EXPECT_EQ(run.code, 130);
    EXPECT_NE(run.err.find("frond: interrupted; nothing was written\n"), std::string::npos);
    EXPECT_EQ(folder.Count(), entries);
}

TEST_F(FrondProgram, TakesTheModuleThatItIsGiven) {
    ASSERT_EQ(setenv("FROND_MODULE", "no-such-module.so", 1), 0);
    WritePlate(8);
    ExpectRefusal({"key", At("photo.png"), "--over", At("background.png"), "-o", At("o.png")}, 5,
                  "FROND_MODULE");
    Key({"-o", At("o.png"), "--module", (std::filesystem::current_path() / kModule).string()});
    unsetenv("FROND_MODULE");
}
#endif

TEST_F(FrondProgram, ComparesPictures) {
    Picture a = MakePicture(10, 10, 8, 3, false);
    for (Plane& plane : a.colour) plane.assign(100, 100);
    Picture b = a;
    for (Plane& plane : b.colour) plane.assign(100, 101);
    WritePicture(folder / "a.png", a);
    WritePicture(folder / "b.png", b);
    ChangeDepth(a, 16);
    WritePicture(folder / "a16.tif", a);
    // One step of 255 everywhere: 20 log10(255).
    ProgramRun run = Frond({"compare", At("a.png"), At("b.png")});
    EXPECT_EQ(run.out, "mean absolute error  1.0000 of 255\nPSNR                 48.13 dB\n");
    run = Frond({"compare", At("a16.tif"), At("a.png")});
    EXPECT_EQ(run.out, "mean absolute error  0.0000 of 255\nPSNR                 inf dB (no difference)\n");
    Picture grey = MakePicture(10, 10, 8, 1, false);
    grey.colour[0].assign(100, 51);
    WritePicture(folder / "grey.png", grey);
    b.alpha.assign(100, 0);
    WritePicture(folder / "b.png", b);
    run = Frond({"compare", At("grey.png"), At("b.png"), "--alpha"});
    EXPECT_NE(run.out.find(" 51.0000 of 255"), std::string::npos) << run.out;
}

// Of 100 pixels the ends of the band are none of it. Green above both others counts only beyond the truth's.
TEST_F(FrondProgram, ComparesTheSoftBandAlone) {
    Picture truth = MakePicture(10, 10, 8, 3, false), keyed = truth, alpha = MakePicture(10, 10, 8, 1, false);
    for (Plane& plane : truth.colour) plane.assign(100, 100);
    for (Plane& plane : keyed.colour) plane.assign(100, 100);
    alpha.colour[0].assign(100, 0);
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
    const ProgramRun trace =
        Frond({"key", At("photo.png"), "--over", At("background.png"), "-o", At("o.png"), "--trace"});
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
        for (int c = 0; c < 3 && alpha == 0; ++c) {
            // An alpha below half a step still counts in the composite.
            ASSERT_NEAR(plate.composite.colour[c][i], plate.background.colour[c][i], 1)
                << "channel " << c << " pixel " << i;
        }
        if (alpha == 0) {
            ASSERT_GT(plate.photo.colour[1][i], plate.photo.colour[0][i]) << i;
        }
    }
    EXPECT_GT(clear, 6000);
    EXPECT_GT(opaque, 2500);
    EXPECT_GT(part, 500);
}

}  // namespace
}  // namespace frond
