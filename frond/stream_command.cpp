// frond stream: keys raw frames from standard input to standard output, with the engine as a library.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>

#include "frond/backgrounds.h"
#include "frond/command.h"
#include "frond/engine_settings.h"
#include "frond/frame_stream.h"
#include "frond/pipeline.h"
#include "frond/progress_bar.h"
#include "frond/starting_points.h"

namespace frond {

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    std::string size, over, overStream, fit = "cover", start, action, analyse = "first";
    int jobs = 0;  // 0: not given
    bool quiet = false, verbose = false;
    ParameterValues parameters;
};

Options gOptions;

constexpr int kLargest = 30000;  // pixels on a side

void ParseSize(const std::string& text, FrameStream& stream) {
    int used = 0;
    const int read = std::sscanf(text.c_str(), "%5dx%5d%n", &stream.width, &stream.height, &used);
    const auto fits = [](int side) { return side >= 1 && side <= kLargest; };
    if (read != 2 || used != static_cast<int>(text.size()) || !fits(stream.width) || !fits(stream.height)) {
        throw Failure(kBadUsage,
                      "--size: \"" + text + "\" is not a size; use WIDTHxHEIGHT, each from 1 to 30000");
    }
}

// How many frames use one measurement; 0: all.
std::int64_t ParseInterval(const std::string& text) {
    if (text == "first") return 0;
    if (text == "every") return 1;
    int frames = 0, used = 0;
    if (std::sscanf(text.c_str(), "%9d%n", &frames, &used) != 1 || used != static_cast<int>(text.size()) ||
        frames < 1) {
        throw Failure(kBadUsage,
                      "--analyse: \"" + text + "\"; use first, every, or a number of frames from 1");
    }
    return frames;
}

// The still background and the parameters, which include the background's own.
void OpenBackground(Backgrounds& backgrounds) {
    std::vector<std::filesystem::path> paths;
    if (!gOptions.over.empty()) paths.push_back(PathFromUtf8(gOptions.over));
    OpenBackgrounds(backgrounds, paths, FitNamed(gOptions.fit),
                    ReadBaseSettings(gOptions.start, gOptions.action), gOptions.parameters);
}

// The background's planes at the frames' size; black ones without a background.
std::vector<std::uint8_t> ReadBackground(BackgroundSource& source, int width, int height) {
    images::Picture frame;
    frame.width = width;
    frame.height = height;
    if (source.path.empty()) return std::vector<std::uint8_t>(3 * images::PixelCount(frame));
    source.isForOne = true;
    const std::shared_ptr<FittedBackground> fitted = FitBackground(source, frame);
    std::vector<std::uint8_t> planes;
    for (const FileSamples& samples : fitted->colour)
        planes.insert(planes.end(), samples.begin(), samples.end());
    return planes;
}

// A worker more than cores, since one of them may wait for the pipes.
int WorkerCount() {
    return gOptions.jobs > 0 ? gOptions.jobs : AvailableCores() + 1;
}

void RequireBackground(const keying::Settings& settings) {
    if (!gOptions.over.empty() && !gOptions.overStream.empty())
        throw Failure(kBadUsage, "give --over or --over-stream, not both");
    if (gOptions.over.empty() && gOptions.overStream.empty() && !settings.outputAlpha)
        throw Failure(kBadUsage,
                      "no background; give one with --over or --over-stream, or use --transparent");
}

struct Progress {
    ProgressBar bar{gOptions.quiet};
    Clock::time_point start = Clock::now(), lastShown = start;
    std::int64_t frames = 0;
};

// "250 frames, 31.2 a second"
std::string RateText(const Progress& progress) {
    const double seconds = std::chrono::duration<double>(Clock::now() - progress.start).count();
    char rate[40];
    std::snprintf(rate, sizeof rate, " frames, %.1f a second",
                  static_cast<double>(progress.frames) / seconds);
    return std::to_string(progress.frames) + rate;
}

void ShowFrames(Progress& progress, std::int64_t frames) {
    progress.frames = frames;
    const Clock::time_point now = Clock::now();
    if (!progress.bar.isShown || now - progress.lastShown < std::chrono::milliseconds(500)) return;
    progress.lastShown = now;
    ShowLine(progress.bar, RateText(progress).substr(0, static_cast<std::size_t>(LineColumns())));
}

void EndProgress(Progress& progress) {
    ClearProgress(progress.bar);
    if (gOptions.verbose) std::fprintf(stderr, "%s\n", RateText(progress).c_str());
}

ExitCode RunStream() {
    InstallInterruptHandlers();
    FrameStream stream;
    ParseSize(gOptions.size, stream);
    stream.interval = ParseInterval(gOptions.analyse);
    Backgrounds backgrounds;
    OpenBackground(backgrounds);
    stream.settings = ToEngineSettings(backgrounds[0].parameters);
    RequireBackground(stream.settings);
    if (stream.settings.showMatte && stream.settings.blendEdges && !gOptions.quiet)
        PrintError("--show-matte needs --no-blend; the frames are written unchanged");
    RequireMemoryForFrames(stream.width, stream.height, WorkerCount());
    stream.input = StandardInput();
    stream.output = StandardOutput();
    if (!gOptions.overStream.empty()) {
        stream.backgrounds = OpenForReading(PathFromUtf8(gOptions.overStream));
    } else {
        stream.bottom = ReadBackground(backgrounds[0], stream.width, stream.height);
    }
    Progress progress;
    stream.reported = [&](std::int64_t frames) { ShowFrames(progress, frames); };
    ExitCode code = kDone;
    try {
        if (!KeyFrames(stream, WorkerCount())) code = kBadOutput;  // without a message, like other filters
    } catch (...) {
        EndProgress(progress);
        throw;
    }
    EndProgress(progress);
    if (!gInterrupted) return code;
    throw Failure(kInterrupted, "interrupted; " + std::to_string(progress.frames) + " frames written");
}

constexpr char kFooter[] =
    "Reads frames of RGB pixels, 8 bits a sample (ffmpeg: -f rawvideo -pix_fmt rgb24), and writes the same,\n"
    "or RGBA with --transparent.\n\n"
    "Exit codes: 0 done; 2 wrong command line or action; 3 an input is missing, damaged, empty, or ends\n"
    "within a frame; 4 the result could not be written, or its reader has gone (no message); 6 too little\n"
    "memory; 130 interrupted. All frames before are written whole.";

}  // namespace

Command AddStreamCommand(CLI::App& app) {
    CLI::App* stream = app.add_subcommand("stream", "Key raw video frames from standard input");
    Options& o = gOptions;
    stream->add_option("--size", o.size, "WIDTHxHEIGHT of the frames in pixels")
        ->type_name("SIZE")
        ->required();
    stream->add_option("--over", o.over, "The new background, a picture")->type_name("BACKGROUND");
    stream
        ->add_option("--over-stream", o.overStream,
                     "The new background, raw frames like the input's; the last one stays")
        ->type_name("FILE");
    stream->add_option("--fit", o.fit, "How to fit the picture to the frames")
        ->check(CLI::IsMember({"cover", "stretch", "none"}));
    stream
        ->add_option("--analyse", o.analyse,
                     "Frames whose backdrop is measured: first, every, or each N-th; default: first")
        ->type_name("WHICH");
    stream->add_option("--jobs", o.jobs, "How many frames to key at once; default: one more than cores")
        ->check(CLI::Range(1, 256));
    AddStartOption(*stream, o.start);
    stream->add_option("--action", o.action, "Read the parameters from this file; options override it")
        ->type_name("FILE");
    stream->add_flag("--quiet", o.quiet, "Show no progress and no warnings");
    stream->add_flag("--verbose", o.verbose, "Print the number of frames and their rate at the end");
    AddParameterOptions(*stream, o.parameters);
    stream->footer(kFooter);
    return {stream, RunStream};
}

}  // namespace frond
