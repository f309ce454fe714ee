// The program frond as its users meet it: what it writes, what it says, and what it leaves alone. Run in the
// folder of the build, where the program and the module lie.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>

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

ProgramRun Frond(const std::vector<std::string>& arguments) {
    return RunProgram(std::filesystem::current_path() / kProgram, arguments);
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
        photo.profile = FileCase("profile.icc");
        photo.resolutionX = photo.resolutionY = 240;
        photo.resolutionUnit = ResolutionUnit::kInch;
        WritePicture(folder / "photo.png", photo);
        WritePicture(folder / "background.png", background);
    }

    // Arguments of a line: KEY keys the plate, @NAME is a file in the folder.
    std::vector<std::string> Line(const std::string& text) {
        std::istringstream words(text);
        std::vector<std::string> arguments;
        for (std::string word; words >> word;) {
            if (word == "KEY") {
                arguments = Line("key @photo.png --over @background.png");
            } else {
                arguments.push_back(word[0] == '@' ? At(word.substr(1)) : word);
            }
        }
        return arguments;
    }
    // A run with the plate that is to end well and in silence.
    void Key(const std::string& rest) {
        const ProgramRun run = Frond(Line("KEY " + rest));
        ASSERT_EQ(run.code, 0) << run.err;
        EXPECT_EQ(run.out + run.err, "");
    }

    // One line of complaint, the exit code, and nothing new in the folder.
    void ExpectRefusal(const std::string& line, int code, const std::string& words) {
        SCOPED_TRACE(line);
        const int before = folder.Count();
        const ProgramRun run = Frond(Line(line));
        EXPECT_EQ(run.code, code) << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        EXPECT_EQ(run.err.rfind("frond: ", 0), 0u) << run.err;
        EXPECT_NE(run.err.find(words), std::string::npos) << run.err;
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
        Key("-o @out.png");
        const Picture out = ReadPicture(folder / "out.png"), photo = ReadPicture(folder / "photo.png");
        Picture truth = Plate().composite;
        ChangeDepth(truth, depth);
        EXPECT_EQ(out.depth, depth);
        EXPECT_TRUE(out.alpha.empty());
        // Keying brings the photo close to the true composite, from which the photo itself is far away.
        EXPECT_GT(MeanDifference(photo, truth), 0.15);
        EXPECT_LT(MeanDifference(out, truth), 0.03);
    }
    for (const char* name : {"eight.png", "eight.tif", "eight.jpg"}) {
        Key("--depth 8 -o @" + std::string(name));
        const Picture out = ReadPicture(folder / name);
        EXPECT_EQ(out.depth, 8);
        EXPECT_NEAR(out.resolutionX, 240, 0.01);
        EXPECT_EQ(out.profile, FileCase("profile.icc"));
    }
}

TEST_F(FrondProgram, WritesTheSubjectAloneAndItsMatte) {
    WritePlate(16);
    const ProgramRun run = Frond(Line("key @photo.png --transparent -o @out.tif --matte @matte.png"));
    ASSERT_EQ(run.code, 0) << run.err;
    const Picture out = ReadPicture(folder / "out.tif"), matte = ReadPicture(folder / "matte.png");
    EXPECT_EQ(out.alpha, matte.colour[0]);
    EXPECT_EQ(matte.colour.size(), 1u);
    // Wholly opaque and wholly transparent are just that in the file's scale.
    EXPECT_GT(std::count(out.alpha.begin(), out.alpha.end(), 65535), 2500);
    EXPECT_GT(std::count(out.alpha.begin(), out.alpha.end(), 0), 5000);

    // The matte of a composite is that of the same run with transparency.
    Key("-o @composite.png --matte @again.png");
    EXPECT_EQ(ReadPicture(folder / "again.png").colour, matte.colour);
    Key("--matte @alone.png");
    EXPECT_EQ(ReadPicture(folder / "alone.png").colour, matte.colour);
}

TEST_F(FrondProgram, RecordsUnderBothNamesAndReplays) {
    WritePlate(8);
    Key("-o @a.png --record @a.json --SliderRemoveGreen 133 --SliderRestoreBlack=7 --SliderAlterGreen 90 "
        "--SliderSelectTransp 120 --SliderScaleTransp -5 --SliderAdjBGLevel 80 --no-FlagRealityInteg "
        "--FlagShowSelect --FlagBlueLogic");
    Key("-o @b.png --record @b.json --remove-green 133 --restore-black 7 --alter-green 90 "
        "--select-transparency 120 --scale-transparency -5 --background-level 80 --no-blend --show-matte "
        "--blue");
    EXPECT_EQ(Text("a.png"), Text("b.png"));
    EXPECT_EQ(Text("a.json"), Text("b.json"));
    EXPECT_EQ(Text("a.json"), R"({
  "action": "Twin Plate Rig",
  "parameters": {
    "SliderRemoveGreen": 133,
    "SliderRestoreBlack": 7,
    "SliderAlterGreen": 90,
    "SliderSelectTransp": 120,
    "SliderScaleTransp": -5,
    "SliderAdjBGLevel": 80,
    "FlagRealityInteg": false,
    "FlagShowSelect": true,
    "FlagOutputAlpha": false,
    "FlagBlueLogic": true,
    "FlagOrgPhoto": false
  }
}
)");
    // Options come on top of the action, and a partial action leaves the rest at the defaults.
    WriteText("partial.json", R"({"parameters": {"SliderScaleTransp": -5, "SliderRemoveGreen": 7}})");
    Key("-o @c.png --action @partial.json --remove-green 133 --no-blend --original --record @c.json");
    Key("-o @d.png --action @c.json");
    EXPECT_EQ(Text("c.png"), Text("d.png"));
    EXPECT_NE(Text("c.png"), Text("a.png"));
    for (const char* words :
         {"\"SliderRemoveGreen\": 133", "\"SliderAlterGreen\": 100", "\"FlagOrgPhoto\": true"}) {
        EXPECT_NE(Text("c.json").find(words), std::string::npos) << words;
    }
}

TEST_F(FrondProgram, LeavesAloneWhatIsNotSelected) {
    Picture mask = MakePicture(150, 100, 8, 1, false);
    for (int i = 0; i < 150 * 100; ++i) mask.colour[0][i] = i / 150 >= 50 || i % 150 % 2 == 0 ? 255 : 0;
    WritePicture(folder / "mask.png", mask);
    for (const int depth : {8, 16}) {
        SCOPED_TRACE(depth);
        WritePlate(depth);
        Key("-o @all.tif --no-blend");
        Key("-o @some.tif --no-blend --selection @mask.png");
        const Picture all = ReadPicture(folder / "all.tif"), some = ReadPicture(folder / "some.tif");
        const Picture photo = ReadPicture(folder / "photo.png");
        for (std::size_t i = 0; i < PixelCount(photo); ++i) {
            const bool isKeyed = mask.colour[0][i] != 0;
            const int expected = (isKeyed ? all : photo).colour[1][i];
            ASSERT_NEAR(some.colour[1][i], expected, isKeyed || depth == 8 ? 0 : 2) << i;
        }
    }
}

// A green backdrop with a grey subject in its middle third.
TEST_F(FrondProgram, TakesPicturesOfOnePixelAndOfOneLine) {
    const std::pair<int, int> sizes[] = {{1, 1}, {1, 30000}, {30000, 1}};
    for (const auto& [width, height] : sizes) {
        for (const int depth : {8, 16}) {
            SCOPED_TRACE(testing::Message() << width << " by " << height << " at " << depth);
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
            // Without blended edges a line has no rows or columns enough for the filter's refinement.
            for (const char* options : {"--no-blend", "--blend", "--selection @nothing.png"}) {
                Key("-o @o.tif " + std::string(options));
                const Picture out = ReadPicture(folder / "o.tif");
                ASSERT_TRUE(out.width == width && out.height == height && out.depth == depth);
                const bool isKeyed = options[2] == 'b' && count > 1;
                if (!isKeyed && options[2] != 's') continue;
                for (std::size_t c = 0; c < 3; ++c) {
                    for (const int i : {0, count / 2}) {
                        const int expected = isKeyed ? (i > 0 ? 120 : 200) * step : photo.colour[c][i];
                        EXPECT_NEAR(out.colour[c][i], expected, isKeyed ? 2 * step : depth == 8 ? 0 : 2) << c;
                    }
                }
            }
        }
    }
}

// A folder is made for several photographs, for a name that ends in a slash, and for one without an ending.
TEST_F(FrondProgram, WritesIntoFolders) {
    WritePlate(8);
    WritePicture(folder / "second.tif", ReadPicture(folder / "photo.png"));
    WriteText("broken.png", "no picture");
    const ProgramRun run =
        Frond(Line("key @broken.png @photo.png @missing.png @second.tif --over @background.png -o @results"));
    EXPECT_EQ(run.code, 3);
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 2) << run.err;
    const Picture first = ReadPicture(folder / "results" / "photo.png");
    EXPECT_EQ(ReadPicture(folder / "results" / "second.png").colour, first.colour);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder / "results"), {}), 2);
    Key("-o @finished --matte @mattes.d/ --format tif");
    EXPECT_EQ(ReadPicture(folder / "finished" / "photo.tif").colour, first.colour);
    EXPECT_EQ(ReadPicture(folder / "mattes.d" / "photo.tif").colour.size(), 1u);
}

TEST_F(FrondProgram, RefusesInOneLineAndTouchesNoInput) {
    WritePlate(8);
    WriteFlat("small.png", 0, 1, 20);
    WriteText("broken.png", "no picture");
    WriteText("file", "no folder");
    std::filesystem::create_directory(folder / "x");
    std::filesystem::copy(folder / "photo.png", folder / "x" / "photo.png");
    const std::string photo = Text("photo.png"), background = Text("background.png");
    std::ifstream cases(FROND_CASES "/refusals.txt");
    const std::regex form("([0-9]) \\| (.*?) \\| ([^|]*)(?:\\| (.*))?");
    int count = 0;
    WriteText("a.json", "");
    for (std::string line; std::getline(cases, line);) {
        std::smatch parts;
        if (line.empty() || line[0] == '#') continue;
        ASSERT_TRUE(std::regex_match(line, parts, form)) << line;
        WriteText("a.json", parts.str(4));
        ExpectRefusal(parts.str(3), std::stoi(parts.str(1)), parts.str(2));
        ++count;
    }
    EXPECT_GT(count, 30);
    EXPECT_EQ(Text("photo.png"), photo);
    EXPECT_EQ(Text("background.png"), background);
}

#ifndef _WIN32
TEST_F(FrondProgram, TakesTheModuleThatItIsGiven) {
    ASSERT_EQ(setenv("FROND_MODULE", "no-such-module.so", 1), 0);
    WritePlate(8);
    ExpectRefusal("KEY -o @o.png", 5, "FROND_MODULE");
    std::vector<std::string> arguments = Line("KEY -o @o.png --module");
    arguments.push_back((std::filesystem::current_path() / kModule).string());
    EXPECT_EQ(Frond(arguments).code, 0);
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
    EXPECT_EQ(Frond(Line("compare @a.png @b.png")).out,
              "mean absolute error  1.0000 of 255\nPSNR                 48.13 dB\n");
    EXPECT_EQ(Frond(Line("compare @a16.tif @a.png")).out,
              "mean absolute error  0.0000 of 255\nPSNR                 inf dB (no difference)\n");
    const std::string out = Frond(Line("compare @grey.png @clear.png --alpha")).out;
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
    const ProgramRun run = Frond(Line("compare @keyed.png @truth.png --band @alpha.png"));
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
    const ProgramRun trace = Frond(Line("KEY -o @o.png --trace"));
    EXPECT_EQ(trace.code, 0);
    EXPECT_NE(trace.err.find("WritePixelsToBaseLevel"), std::string::npos);
    // Blended edges hide the matte, which is said unless --quiet.
    EXPECT_EQ(Frond(Line("KEY -o @o.png --show-matte")).err,
              "frond: --show-matte needs --no-blend; the photograph is written as it is\n");
    Key("-o @o.png --show-matte --quiet");
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
    ASSERT_EQ(Frond(Line("sample @plate --size 150x100 --depth 16")).code, 0);
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
