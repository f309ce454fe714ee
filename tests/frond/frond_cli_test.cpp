// The program frond from the command line: files, messages and exit codes. Runs in the folder of the build,
// which contains the program and the module.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <regex>
#include <sstream>

#ifndef _WIN32
#include <sys/wait.h>
#endif

#include "frond/advice.h"
#include "frond/survey.h"
#include "images/atomic_file.h"
#include "images/picture_file.h"
#include "images/resample.h"
#include "sample_plate/sample_plate.h"
#include "tests/support/scratch_folder.h"
#include "tests/support/wine.h"

namespace {

using namespace images;
using namespace test_support;
using sample_plate::RenderSamplePlate;
using sample_plate::SamplePlate;

#ifdef _WIN32
constexpr char kProgram[] = "frond.exe";
#else
constexpr char kProgram[] = "frond";
#endif

struct ProgramRun {
    int code;  // exit code; -1 after a signal
    std::string out, err;
};

// For the shells of both systems. No argument here has a character that is special within quotation marks.
std::string Quoted(const std::filesystem::path& text) {
    return '"' + text.u8string() + '"';
}

int RunLine(const std::string& line) {
#ifdef _WIN32
    return _wsystem(std::filesystem::u8path('"' + line + '"').c_str());
#else
    const int status = std::system(line.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
}

std::string Contents(const std::filesystem::path& path) {
    const Bytes bytes = ReadFileBytes(path);
    std::string text(bytes.begin(), bytes.end());
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

// The sample plate, rendered once.
const SamplePlate& Plate() {
    static const SamplePlate kPlate = RenderSamplePlate({150, 100, 16, false, true});
    return kPlate;
}

class FrondProgram : public ::testing::Test {
  protected:
    ScratchFolder folder;

    // Writes the plate's photo and background in the given depth, as PNG or, in 16 bits, as TIFF: Wine's
    // encoder swaps the bytes of 16-bit PNG samples.
    void WritePlate(int depth) {
        Picture photo = Plate().photo, background = Plate().background;
        ChangeDepth(photo, depth);
        ChangeDepth(background, depth);
        photo.profile = FileCase("profile.icc");
        photo.resolutionX = photo.resolutionY = 240;
        photo.resolutionUnit = ResolutionUnit::kInch;
        WritePicture(folder / Photo(depth), photo);
        WritePicture(folder / Background(depth), background);
    }
    static std::string Photo(int depth) { return depth == 8 ? "photo.png" : "photo.tif"; }
    static std::string Background(int depth) { return depth == 8 ? "background.png" : "background.tif"; }

    // Runs the program in the working folder. KEY keys the plate, @NAME is a file in the test's folder.
    // `input` is the file that it gets as standard input; empty: the test's.
    ProgramRun Frond(const std::string& arguments, const std::string& input = {}) const {
        static const std::regex kKey("KEY");
        const std::filesystem::path here = std::filesystem::current_path();
        const std::filesystem::path out = here / "program-out.txt", err = here / "program-err.txt";
        std::istringstream words(
            std::regex_replace(arguments, kKey, "key @photo.png --over @background.png"));
        std::string line = Quoted(here / kProgram);
        for (std::string word; words >> word;) {
            line += ' ' + Quoted(word[0] == '@' ? folder / word.substr(1) : std::filesystem::u8path(word));
        }
        if (!input.empty()) line += " <" + Quoted(folder / input);
        const int code = RunLine(line + " >" + Quoted(out) + " 2>" + Quoted(err));
        return {code, Contents(out), Contents(err)};
    }
    // Keys the plate of the depth without an error or a message. At 16 bits the plate gets a warning.
    void Key(int depth, const std::string& rest) {
        const ProgramRun run = Frond("key @" + Photo(depth) + " --over @" + Background(depth) +
                                     (depth == 16 ? " --quiet " : " ") + rest);
        ASSERT_EQ(run.code, 0) << run.err;
        EXPECT_EQ(run.out + run.err, "");
    }

    // A picture of one level with 1 or 3 channels.
    Picture WriteFlat(const char* name, std::uint16_t level, int colours, int side = 10) const {
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

TEST_F(FrondProgram, KeysThePlateCloseToTheTruth) {
    for (const int depth : {8, 16}) {
        SCOPED_TRACE(depth);
        WritePlate(depth);
        Key(depth, "-o @out.tif");
        const Picture out = ReadPicture(folder / "out.tif"), photo = ReadPicture(folder / Photo(depth));
        Picture truth = Plate().composite;
        ChangeDepth(truth, depth);
        EXPECT_EQ(out.depth, depth);
        EXPECT_TRUE(out.alpha.empty());
        // The photo differs much from the true composite, the result does not.
        EXPECT_GT(MeanDifference(photo, truth), 0.15);
        EXPECT_LT(MeanDifference(out, truth), 0.03);
    }
    for (const char* name : {"eight.png", "eight.tif", "eight.jpg"}) {
        Key(16, "--depth 8 -o @" + std::string(name));
        const Picture out = ReadPicture(folder / name);
        EXPECT_EQ(out.depth, 8);
        EXPECT_NEAR(out.resolutionX, 240, 0.01);
        EXPECT_TRUE(IsWine() || out.profile == FileCase("profile.icc"));  // Wine's encoders write no profiles
    }
}

// At step 1 the survey's matte is that of a run at 8 bits; a larger step leaves pixels out.
TEST_F(FrondProgram, SurveysTheMatteOfARun) {
    frond::ParameterValues parameters;
    frond::SetValue(parameters, "SliderRemoveGreen", 25);
    for (const int depth : {8, 16}) {
        SCOPED_TRACE(depth);
        WritePlate(depth);
        Key(depth, "--remove-green 25 --depth 8 --show-matte --matte @matte.tif");
        Picture photo = ReadPicture(folder / Photo(depth));
        const frond::Survey whole = frond::SurveyPhotograph(photo, parameters);
        EXPECT_EQ(Plane(whole.alpha.begin(), whole.alpha.end()), ReadPicture(folder / "matte.tif").colour[0]);
        Picture reduced = MakePicture(38, 25, depth, 3, true);
        photo.alpha.assign(PixelCount(photo), static_cast<std::uint16_t>(LargestSample(depth)));
        photo.alpha[148 + 96 * 150] = 0;
        for (std::size_t i = 0; i < PixelCount(reduced); ++i) {
            const std::size_t from = i / 38 * 4 * 150 + i % 38 * 4;
            for (std::size_t c = 0; c < 3; ++c) reduced.colour[c][i] = photo.colour[c][from];
            reduced.alpha[i] = photo.alpha[from];
        }
        const frond::Survey survey = frond::SurveyPhotograph(photo, parameters, 950);
        EXPECT_EQ(survey.step, 4);
        EXPECT_EQ(survey.alpha, frond::SurveyPhotograph(reduced, parameters).alpha);
        EXPECT_EQ(survey.alpha.back(), 0);
    }
}

TEST_F(FrondProgram, KeepsPixelsOutsideTheSelection) {
    Picture mask = MakePicture(150, 100, 8, 1, false);
    for (int i = 0; i < 150 * 100; ++i) mask.colour[0][i] = i / 150 >= 50 || i % 150 % 2 == 0 ? 255 : 0;
    WritePicture(folder / "mask.png", mask);
    for (const int depth : {8, 16}) {
        SCOPED_TRACE(depth);
        WritePlate(depth);
        Key(depth, "-o @all.tif --no-blend");
        Key(depth, "-o @some.tif --no-blend --selection @mask.png");
        const Picture all = ReadPicture(folder / "all.tif"), some = ReadPicture(folder / "some.tif");
        const Picture photo = ReadPicture(folder / Photo(depth));
        for (std::size_t i = 0; i < PixelCount(photo); ++i) {
            const bool isKeyed = mask.colour[0][i] != 0;
            const int expected = (isKeyed ? all : photo).colour[1][i];
            ASSERT_NEAR(some.colour[1][i], expected, isKeyed || depth == 8 ? 0 : 2) << i;
        }
    }
}

// Each cell of a sheet is the crop of a result of key. The frame is around the cell of the current settings.
TEST_F(FrondProgram, SheetShowsTheCropsOfResults) {
    constexpr int kLeft = 24, kAcross = 324, kFrame = 5;  // of the first crop, between crops, beside a crop
    for (const int depth : {8, 16}) {
        SCOPED_TRACE(depth);
        WritePlate(depth);
        const ProgramRun run =
            Frond("sheet @" + Photo(depth) + " --over @" + Background(depth) +
                  " --vary remove-green=40,120 --vary blend=off,on --alter-green 90 --lift 60 "
                  "--crop 60x40+70+20 -o @sheet.tif");
        ASSERT_EQ(run.code, 0) << run.err;
        const Picture sheet = ReadPicture(folder / "sheet.tif");
        ASSERT_EQ(sheet.depth, depth);
        ASSERT_EQ(sheet.width, 2 * kAcross + kLeft);
        int below = 0;  // the last crop's top
        for (const auto& [cell, settings] :
             {std::pair(0, "40 --no-blend"), {1, "120 --no-blend"}, {2, "40"}, {3, "120"}}) {
            Key(depth, "-o @out.tif --alter-green 90 --lift 60 --remove-green " + std::string(settings));
            const Picture out = ReadPicture(folder / "out.tif");
            const int left = kLeft + cell % 2 * kAcross;
            // The height of the texts depends on the font.
            const auto isAt = [&](int top) {
                for (std::size_t i = 0; i < 60 * 40 * 3; ++i) {
                    const std::size_t c = i / 2400, y = i % 2400 / 60, x = i % 60;
                    if (sheet.colour[c][(top + y) * sheet.width + left + x] !=
                        out.colour[c][(20 + y) * 150 + 70 + x])
                        return false;
                }
                return true;
            };
            int top = cell % 2 == 0 ? below + 1 : below;
            while (top + 40 <= sheet.height && !isAt(top)) ++top;
            ASSERT_LE(top + 40, sheet.height) << settings;
            EXPECT_TRUE(cell % 2 == 0 || top == below) << settings;
            below = top;
            const std::size_t beside = std::size_t(top) * sheet.width + left - kFrame;
            EXPECT_EQ(sheet.colour[2][beside] == 0, cell == 2) << settings;
        }
    }
#ifndef _WIN32
    WriteBytes(folder / "fonts.conf", std::string("<fontconfig/>"));
    setenv("FONTCONFIG_FILE", (folder / "fonts.conf").c_str(), 1);
    const ProgramRun run = Frond("sheet @photo.png --over @background.png --vary blend=on -o @none.png");
    unsetenv("FONTCONFIG_FILE");
    EXPECT_EQ(run.code, 6);
    EXPECT_NE(run.err.find("no font"), std::string::npos) << run.err;
#endif
}

// A green backdrop with a grey subject in its middle third.
TEST_F(FrondProgram, KeysPicturesOfOnePixelAndOfOneLine) {
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
            WritePicture(folder / Photo(depth), photo);
            WritePicture(folder / Background(depth), background);
            WritePicture(folder / "nothing.png", MakePicture(width, height, 8, 1, false));
            // Without blended edges a line has too few rows or columns for the filter's refinement.
            for (const char* options : {"--no-blend", "--blend", "--selection @nothing.png"}) {
                Key(depth, "-o @o.tif " + std::string(options));
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

// The lines of command_lines.txt in turn, in one folder.
TEST_F(FrondProgram, MatchesTheCommandLineCases) {
    WritePlate(16);
    std::filesystem::rename(folder / "photo.tif", folder / "deep.tif");
    WritePlate(8);
    std::filesystem::create_directory(folder / "x");
    std::filesystem::create_directory(folder / "no-backgrounds");
    std::filesystem::copy(folder / "photo.png", folder / "x" / "photo.png");
    for (const char* name :
         {"broken.png", "file", "keyed.tif", "truth.tif", "band.tif", "two.jp2", "two.png"}) {
        WriteBytes(folder / name, FileCase(name));
    }
    WritePicture(folder / "second.tif", ReadPicture(folder / "photo.png"));
    WriteFlat("small.png", 51, 1, 20);
    WriteFlat("grey.png", 51, 1);
    Picture a = WriteFlat("100.png", 100, 3), b = WriteFlat("101.png", 101, 3);
    ChangeDepth(a, 16);
    WritePicture(folder / "100.tif", a);
    b.alpha.assign(100, 0);
    WritePicture(folder / "clear.png", b);
    const Bytes photo = ReadFileBytes(folder / "photo.png"),
                background = ReadFileBytes(folder / "background.png");
#ifndef _WIN32
    WriteBytes(folder / "layers.psd", FileCase("layers.psd"));
    const LayeredPicture layered = ReadLayeredPicture(folder / "layers.psd");
    WritePicture(folder / "upper.png", PlaceOnCanvas(layered.layers[1], 64, 48));
    WritePicture(folder / "lower.png", layered.layers[0]);
#endif
    std::ifstream cases("tests/frond/cases/command_lines.txt");
    const std::regex form("([0-9])([LB]?) *\\| *(.*?) *\\| *([^|]*)(?:\\| *(.*))?");
    int count = 0;
    for (std::string line; std::getline(cases, line);) {
        if (line.empty() || line[0] == '#') continue;
        SCOPED_TRACE(line);
        std::smatch parts;
        ASSERT_TRUE(std::regex_match(line, parts, form));
        const bool isForLinux = parts[2] == "L";
#ifdef _WIN32
        if (isForLinux) continue;
#endif
        count += isForLinux ? 0 : 1;
        if (parts[5].matched) WriteBytes(folder / "a.json", parts.str(5));
        const int code = std::stoi(parts.str(1)), before = CountFiles(folder.path);
        const ProgramRun run = Frond(parts.str(4));
        const std::string said = run.out + run.err;
        EXPECT_EQ(run.code, code) << said;
        EXPECT_EQ(said.empty(), parts[3].length() == 0) << said;
        EXPECT_TRUE(std::regex_search(said, std::regex(parts.str(3)))) << said;
        const bool isCompared = parts.str(4).rfind("compare", 0) == 0;
        EXPECT_TRUE(!isCompared || run.out.empty() == (code != 0)) << said;
        if (code == 0 || parts[2] == "B") continue;
        // A refusal is one line and writes no file.
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
        EXPECT_EQ(run.err.rfind("frond: ", 0), 0u) << said;
        EXPECT_EQ(CountFiles(folder.path), before);
    }
    EXPECT_GT(count, 50);
    EXPECT_EQ(CountFiles(folder / "batch"), 3);  // with the hidden list of results
    EXPECT_EQ(ReadFileBytes(folder / "photo.png"), photo);
    EXPECT_EQ(ReadFileBytes(folder / "background.png"), background);
    for (const auto& [written, expected] :
         {std::pair("a1.json", "all.json"), {"b1.json", "all.json"}, {"c1.json", "some.json"}}) {
        EXPECT_EQ(ReadFileBytes(folder / written),
                  ReadFileBytes(std::string("tests/frond/cases/") + expected))
            << written;
    }
    // Opaque and transparent pixels have the ends of the file's range.
    const Plane alpha = ReadPicture(folder / "cut-out.tif").alpha;
    EXPECT_GT(std::count(alpha.begin(), alpha.end(), 65535), 2500);
    EXPECT_GT(std::count(alpha.begin(), alpha.end(), 0), 5000);
}

// The files of a folder by name, without hidden ones.
std::map<std::string, Bytes> FilesOf(const std::filesystem::path& path) {
    std::map<std::string, Bytes> files;
    for (const auto& file : std::filesystem::directory_iterator(path)) {
        const std::string name = file.path().filename().u8string();
        if (name[0] != '.') files[name] = ReadFileBytes(file.path());
    }
    return files;
}

// Photographs of several sizes and depths, two of which fail.
TEST_F(FrondProgram, GivesTheSameWithAnyNumberOfJobs) {
    WritePlate(8);
    WritePlate(16);
    WriteBytes(folder / "broken.png", FileCase("broken.png"));
    std::string photos;
    for (int i = 0; i < 9; ++i) {
        const std::string name = std::to_string(i) + (i % 2 == 0 ? ".png" : ".tif");
        photos += " @" + name;
        if (i == 4) photos += " @broken.png @missing.png";
        Picture photo = ReadPicture(folder / Photo(i % 2 == 0 ? 8 : 16));
        photo.height = i < 3 ? 100 : 80 + i / 2;
        for (Plane& plane : photo.colour) plane.resize(PixelCount(photo));
        WritePicture(folder / name, photo);
    }
    std::string said;
    std::map<std::string, Bytes> results, mattes;
    for (const std::string jobs : {"1", "2", "8"}) {
        SCOPED_TRACE(jobs);
        const ProgramRun run =
            Frond("key --over @background.png -o @results --matte @mattes --record @r.json" + photos +
                  " --jobs " + jobs);
        EXPECT_EQ(run.code, 3);
        if (jobs == "1") {
            said = run.err;
            results = FilesOf(folder / "results");
            mattes = FilesOf(folder / "mattes");
            EXPECT_EQ(results.size(), 9u);
            EXPECT_EQ(mattes.size(), 9u);
        }
        EXPECT_EQ(run.err, said);
        EXPECT_EQ(FilesOf(folder / "results"), results);
        EXPECT_EQ(FilesOf(folder / "mattes"), mattes);
        std::filesystem::remove_all(folder / "results");
        std::filesystem::remove_all(folder / "mattes");
        EXPECT_TRUE(std::filesystem::remove(folder / "r.json"));
    }
}

// Each result equals that of a run with one photograph, one background and all settings as options.
TEST_F(FrondProgram, PutsEachPhotographOnEachBackground) {
    WritePlate(8);
    WriteBytes(folder / "broken.png", FileCase("broken.png"));
    Picture photo = ReadPicture(folder / "photo.png"), hall = ReadPicture(folder / "background.png");
    photo.height = 70;
    for (Plane& plane : photo.colour) plane.resize(PixelCount(photo));
    WritePicture(folder / "low.png", photo);
    for (Plane& plane : hall.colour) std::reverse(plane.begin(), plane.end());
    std::filesystem::create_directory(folder / "scenes");
    WritePicture(folder / "scenes" / "hall.png", hall);
    WritePicture(folder / "plain.png", hall);
    WriteBytes(folder / "scenes" / "hall.json", std::string(R"({"parameters": {"SliderRemoveGreen": 90}})"));
    WriteBytes(folder / "scenes" / ".hidden", std::string("no picture"));
    WriteBytes(folder / "a.json",
               std::string(R"({"parameters": {"SliderRemoveGreen": 60, "SliderRestoreBlack": 5}})"));
    std::map<std::string, Bytes> expected;
    for (const std::string name : {"photo", "low"}) {
        const std::string options = " --restore-black 5 --alter-green 80 -o @one.tif";
        ASSERT_EQ(Frond("key @" + name + ".png --over @background.png --remove-green 60" + options).code, 0);
        expected[name + "-background.tif"] = ReadFileBytes(folder / "one.tif");
        ASSERT_EQ(Frond("key @" + name + ".png --over @plain.png --remove-green 90" + options).code, 0);
        expected[name + "-hall.tif"] = ReadFileBytes(folder / "one.tif");
    }
    for (const std::string jobs : {"1", "2", "8"}) {
        SCOPED_TRACE(jobs);
        const ProgramRun run = Frond(
            "key @photo.png @broken.png @low.png --over @scenes --over @background.png -o @all --format tif "
            "--action @a.json --alter-green 80 --report @report --jobs " +
            jobs);
        EXPECT_EQ(run.code, 3);
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        EXPECT_EQ(FilesOf(folder / "all"), expected);
        std::istringstream report(Contents(folder / "report"));
        std::string lines[6];
        for (std::string& line : lines) std::getline(report, line);
        EXPECT_TRUE(report && report.peek() < 0) << Contents(folder / "report");
        EXPECT_TRUE(std::regex_search(
            lines[0], std::regex("photo.png\",\"background\":\".*hall.png\",.*\"SliderRemoveGreen\":90,")))
            << lines[0];
        EXPECT_TRUE(std::regex_search(lines[2], std::regex("broken.*\"error\":\".*\"code\":3}$")))
            << lines[2];
        std::filesystem::remove_all(folder / "all");
        std::filesystem::remove(folder / "report");
    }
}

TEST_F(FrondProgram, KeepsResultsThatAreNotItsOwn) {
    WritePlate(8);
    std::filesystem::create_directory(folder / "d2");
    std::filesystem::copy(folder / "photo.png", folder / "d2" / "photo.png");
    Key(8, "-o @out/");
    const auto old = std::filesystem::last_write_time(folder / "photo.png") - std::chrono::hours(1);
    const auto keep = [&](const std::string& arguments) {
        WriteBytes(folder / "out" / "photo.png", std::string("mark"));
        const ProgramRun run = Frond(arguments + " --over @background.png -o @out/");
        return Contents(folder / "out" / "photo.png") == "mark" ? run.err : "replaced" + run.err;
    };
    const auto expect = [&](const std::string& said, const std::string& arguments) {
        const std::string kept = keep(arguments);
        EXPECT_TRUE(std::regex_match(kept, std::regex(said))) << arguments << ": " << kept;
    };
    expect("replaced", "key @photo.png");
    expect("", "key @photo.png --skip-existing");
    expect("frond: .*exists and is the result of .*photo.png; use --force.*\n", "key @d2/photo.png");
    expect("frond: .*photo.png; use --force.*\n", "key @d2/photo.png --skip-existing");
    expect("replaced", "key @d2/photo.png --force");
    expect("frond: .*photo.png; use --force.*\n", "key @photo.png");
    Key(8, "-o @out/photo.png");
    expect("frond: .*photo.png; use --force.*\\n", "key @d2/photo.png");
    expect("replaced", "key @d2/photo.png --force");
    // A newer or an older photograph, and a matte that is missing
    std::filesystem::last_write_time(folder / "d2" / "photo.png", old + std::chrono::hours(9));
    expect("replaced", "key @d2/photo.png --skip-existing");
    std::filesystem::last_write_time(folder / "d2" / "photo.png", old);
    expect("replaced", "key @d2/photo.png --skip-existing");
    expect("", "key @d2/photo.png --skip-existing");
    expect("replaced", "key @d2/photo.png --skip-existing --matte @mattes");
    // A line that a kill left incomplete, and no line at all
    std::ofstream(folder / "out" / ".frond-results", std::ios::app) << "{\"result\": \"photo.png\", \"ph";
    expect("", "key @d2/photo.png --skip-existing");
    expect("replaced", "key @photo.png --force");
    expect("replaced", "key @photo.png");
    std::filesystem::remove(folder / "out" / ".frond-results");
    expect("frond: .*its photograph is not known; use --force.*\n", "key @photo.png");
}

// A picture's pixels as `frond stream` reads and writes them.
Bytes RawFrame(const Picture& picture) {
    Bytes bytes;
    for (std::size_t i = 0; i < PixelCount(picture); ++i) {
        for (const Plane& plane : picture.colour) bytes.push_back(static_cast<std::uint8_t>(plane[i]));
        if (!picture.alpha.empty()) bytes.push_back(static_cast<std::uint8_t>(picture.alpha[i]));
    }
    return bytes;
}

Bytes Joined(const std::vector<Bytes>& frames) {
    Bytes all;
    for (const Bytes& frame : frames) all.insert(all.end(), frame.begin(), frame.end());
    return all;
}

constexpr int kFrames = 5;

// Frames from standard input give what `frond key` gives for the same pictures.
TEST_F(FrondProgram, StreamsWhatKeyWrites) {
    // Writes the photographs 0.png to 4.png, the file "in" with their frames, and the background's frame.
    const auto write = [&](Picture photo, Picture background) {
        std::vector<Bytes> frames;
        for (int i = 0; i < kFrames; ++i) {
            WritePicture(folder / (std::to_string(i) + ".png"), photo);
            frames.push_back(RawFrame(photo));
            for (Plane& plane : photo.colour) {
                std::rotate(plane.begin(), plane.begin() + photo.width, plane.end());
                for (std::uint16_t& sample : plane) sample = static_cast<std::uint16_t>(sample * 15 / 16);
            }
        }
        WriteBytes(folder / "in", Joined(frames));
        WritePicture(folder / "background.png", background);
    };
    // The frames that `frond key` gives.
    const auto key = [&](const std::string& options) {
        std::vector<Bytes> frames;
        EXPECT_EQ(Frond("key @0.png @1.png @2.png @3.png @4.png -o @keyed/ --quiet " + options).code, 0);
        for (int i = 0; i < kFrames; ++i)
            frames.push_back(RawFrame(ReadPicture(folder / "keyed" / (std::to_string(i) + ".png"))));
        return frames;
    };
    const auto stream = [&](const std::string& options, int code = 0) {
        const ProgramRun run = Frond("stream --quiet " + options, "in");
        EXPECT_EQ(run.code, code) << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), code == 0 ? 0 : 1) << run.err;
        return ReadFileBytes("program-out.txt");
    };
    const SamplePlate plate = RenderSamplePlate({150, 100, 8, false, true});
    const SamplePlate blue = RenderSamplePlate({150, 100, 8, true, true});
    const std::string over = " --over @background.png";
    write(blue.photo, blue.background);
    EXPECT_EQ(stream("--size 150x100 --analyse every --blue" + over), Joined(key("--blue" + over)));
    write(plate.photo, plate.background);
    for (const std::string options :
         {"", "--transparent", "--no-blend", "--original", "--show-matte", "--show-matte --no-blend",
          "--remove-green 55 --restore-black 31 --alter-green 70 --select-transparency 120 "
          "--scale-transparency 60 --background-level 90"}) {
        SCOPED_TRACE(options);
        const Bytes keyed = Joined(key(options + over));
        for (const std::string jobs : {"1", "2", "8"})
            EXPECT_EQ(stream("--size 150x100 --analyse every " + options + over + " --jobs " + jobs), keyed);
    }

    // Which frames are measured. The first one's backdrop is brighter than the others'.
    const std::vector<Bytes> every = key(over);
    const Bytes first = stream("--size 150x100" + over), second = stream("--size 150x100 --analyse 2" + over);
    EXPECT_EQ(stream("--size 150x100 --analyse 1" + over), Joined(every));
    EXPECT_EQ(stream("--size 150x100 --analyse 5" + over), first);
    for (int i = 0; i < kFrames; ++i) {
        const auto isOf = [&](const Bytes& frames) {
            const Bytes& frame = every[static_cast<std::size_t>(i)];
            return std::equal(frame.begin(), frame.end(),
                              frames.begin() + i * static_cast<std::ptrdiff_t>(frame.size()));
        };
        EXPECT_EQ(isOf(first), i == 0) << i;
        EXPECT_EQ(isOf(second), i % 2 == 0) << i;
    }

    // A background of two frames, the last of which stays; then a damaged one.
    Picture flat = MakePicture(150, 100, 8, 3, false);
    WritePicture(folder / "flat.png", flat);
    std::vector<Bytes> mixed = key("--over @flat.png");
    mixed[0] = every[0];
    Bytes backgrounds = Joined({RawFrame(ReadPicture(folder / "background.png")), RawFrame(flat)});
    WriteBytes(folder / "backgrounds", backgrounds);
    const std::string overStream = "--size 150x100 --analyse every --over-stream @backgrounds --jobs 3";
    EXPECT_EQ(stream(overStream), Joined(mixed));
    backgrounds.pop_back();
    WriteBytes(folder / "backgrounds", backgrounds);
    EXPECT_EQ(stream(overStream, 3), every[0]);

    // The last frame is short: all before it are whole.
    Bytes cut = ReadFileBytes(folder / "in");
    cut.pop_back();
    WriteBytes(folder / "in", cut);
    EXPECT_EQ(stream("--size 150x100 --analyse every" + over, 3),
              Joined({every[0], every[1], every[2], every[3]}));

    Picture pixel = MakePicture(1, 1, 8, 3, false), below = pixel;
    pixel.colour = {{50}, {180}, {60}};
    write(pixel, below);
    EXPECT_EQ(stream("--size 1x1 --analyse every" + over), Joined(key(over)));
}

Picture PlateOf(int depth, bool isBlue, bool isPure, bool isBlown = false) {
    return RenderSamplePlate({150, 100, depth, isBlue, false, isPure, isBlown}).photo;
}

Picture Lifted(Picture photo) {
    RaiseBlacks(photo, 3);
    return photo;
}

TEST_F(FrondProgram, WarnsOfWhatItKeysInSilence) {
    const SamplePlate plate = RenderSamplePlate({150, 100, 8, false, true});
    Picture backdrop = MakePicture(40, 40, 8, 3, false);
    backdrop.colour = {Plane(1600, 50), Plane(1600, 180), Plane(1600, 60)};
    Picture grey = backdrop, green = backdrop;  // `green` is before blue
    grey.colour.assign(3, Plane(1600, 120));
    std::swap(green.colour[1], green.colour[2]);
    for (std::size_t i = 800; i < 1600; ++i) std::swap(green.colour[1][i], green.colour[2][i]);
    const struct {
        const char* options;
        Picture photo;
        std::string warnings;  // kind and last word
    } cases[] = {
        {"", plate.photo, ""},
        {"--blue", PlateOf(8, true, false), ""},
        {"", PlateOf(8, false, false, true), ""},
        {"", FitPicture(plate.photo, 40, 40, Fit::kNone), ""},  // the face fills the frame
        {"", PlateOf(8, true, false), "hardly-keyed --blue "},
        {"--blue", PlateOf(8, false, true), "hardly-keyed --blue "},
        {"--blue --original", PlateOf(8, false, true), ""},
        {"", grey, "hardly-keyed backdrop? "},
        {"", backdrop, "mostly-keyed subject "},
        {"", green, "hardly-keyed --blue "},
        {"--blue", green, ""},
        {"", PlateOf(8, false, true), "empty-channels 3 "},
        {"--blue", PlateOf(16, true, true), "empty-channels 3 depth 8 "},
        {"", Lifted(PlateOf(8, false, true)), ""},
        {"", PlateOf(16, false, false), "depth 8 "},
    };
    for (const auto& test : cases) {
        frond::ParameterValues parameters;
        const std::string options = test.options;
        if (options.find("--blue") == 0) frond::SetValue(parameters, "FlagBlueLogic", 1);
        if (options.find("--original") != options.npos) frond::SetValue(parameters, "FlagOrgPhoto", 1);
        std::string warnings;
        for (const frond::Warning& warning : frond::AdviseOn("a.png", test.photo, parameters, nullptr))
            warnings += NameOf(warning.kind) + warning.text.substr(warning.text.rfind(' ')) + ' ';
        EXPECT_EQ(warnings, test.warnings) << options << " case " << &test - cases;
    }
    // Only the selected pixels count: here those of the backdrop.
    std::vector<std::uint8_t> selection;
    for (const std::uint16_t alpha : plate.alpha.colour[0]) selection.push_back(alpha == 0);
    EXPECT_EQ(frond::AdviseOn("a.png", plate.photo, {}, selection.data()).size(), 1u);

    // Two photographs without profiles before blue: each warning once, in the report twice.
    WritePlate(8);
    Picture lifted = PlateOf(8, true, false);
    WritePicture(folder / "first.png", lifted);
    WritePicture(folder / "second.png", lifted);
    const std::string run = "key @first.png @second.png --over @photo.png --lift 90 --report @report ";
    const std::string said = Frond(run + "-o @out").err;
    const std::string untagged = IsWine() ? "" : ".*no colour profile.*\n";  // its encoders write none
    EXPECT_TRUE(std::regex_search(said, std::regex("^frond: .*hardly.*\n" + untagged + "$"))) << said;
    const std::string report = Contents(folder / "report");
    const std::sregex_iterator end;
    for (const char* kind : {"hardly-keyed", "untagged"}) {
        const std::regex text(kind);
        EXPECT_EQ(std::distance(std::sregex_iterator(report.begin(), report.end(), text), end),
                  kind[0] == 'u' && IsWine() ? 0 : 2);
    }
    // The result shows the lifted photograph.
    EXPECT_EQ(Frond(run + "-o @lifted --original --quiet").err, "");
    for (Plane& plane : lifted.colour) {
        for (std::uint16_t& sample : plane) sample = std::max<std::uint16_t>(sample, 90);
    }
    EXPECT_EQ(ReadPicture(folder / "lifted" / "second.png").colour, lifted.colour);
}

TEST_F(FrondProgram, RendersTheSamplePlate) {
    ASSERT_EQ(Frond("sample @plate --size 150x100").code, 0);
    const SamplePlate& plate = Plate();
    const SamplePlate plate8 = RenderSamplePlate({150, 100, 8, false, true});
    const std::pair<const char*, const Picture*> pictures[] = {{"photo.png", &plate8.photo},
                                                               {"background.png", &plate8.background},
                                                               {"alpha.png", &plate8.alpha},
                                                               {"composite.png", &plate8.composite}};
    for (const auto& [name, picture] : pictures) {
        EXPECT_EQ(ReadPicture(folder / "plate" / name).colour, picture->colour) << name;
    }
    for (std::size_t i = 0; i < PixelCount(plate.alpha); ++i) {
        if (plate.alpha.colour[0][i] > 0) continue;
        // The composite has a finer alpha than the file.
        ASSERT_NEAR(plate.composite.colour[2][i], plate.background.colour[2][i], 1) << i;
        ASSERT_GT(plate.photo.colour[1][i], plate.photo.colour[0][i]) << i;
    }
    const auto partly = [](std::uint16_t alpha) { return alpha > 2000 && alpha < 63000; };
    const Plane& alpha = plate.alpha.colour[0];
    EXPECT_GT(std::count_if(alpha.begin(), alpha.end(), partly), 500);

    // The pure backdrop is flat, and its subject the same. Blown hair has clipped highlights over more
    // pixels.
    ASSERT_EQ(Frond("sample @pure --size 150x100 --backdrop pure --hair blown --blue").code, 0);
    const Picture pure = ReadPicture(folder / "pure" / "photo.png");
    const Plane blown = ReadPicture(folder / "pure" / "alpha.png").colour[0];
    const Plane fine = RenderSamplePlate({150, 100, 16, true, true, true, true}).alpha.colour[0];
    std::size_t more = 0, white = 0, usuallyWhite = 0;
    for (std::size_t i = 0; i < PixelCount(pure); ++i) {
        const int colour[] = {pure.colour[0][i], pure.colour[1][i], pure.colour[2][i]};
        more += blown[i] > plate8.alpha.colour[0][i];
        white += colour[0] + colour[1] + colour[2] == 3 * 255;
        usuallyWhite += plate8.photo.colour[0][i] + plate8.photo.colour[2][i] == 2 * 255;
        // At 8 bits a pixel with a trace of bright hair can have no alpha.
        if (fine[i] > 0) continue;
        ASSERT_TRUE(colour[0] == 0 && colour[1] == 0 && colour[2] == 188) << i;
    }
    EXPECT_GT(more, 500u);
    EXPECT_GT(white, usuallyWhite + 20);
}

}  // namespace
