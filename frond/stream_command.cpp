// frond stream: keys raw frames from standard input to standard output, with the engine as a library.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>

#include "frond/engine_settings.h"
#include "frond/frame_stream.h"
#include "frond/keying_options.h"
#include "frond/pipeline.h"

namespace frond {

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    std::string size, overStream, analyse = "first";
    KeyingOptions keying;
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
    return gOptions.keying.jobs > 0 ? gOptions.keying.jobs : AvailableCores() + 1;
}

void RequireOtherInputs() {
    const KeyingOptions& keying = gOptions.keying;
    for (const std::string& input :
         {keying.over.empty() ? "" : keying.over[0], gOptions.overStream, keying.action}) {
        if (input == "-") throw Failure(kBadUsage, "standard input has the frames; name a file");
    }
}

void RequireBackground(const keying::Settings& settings) {
    if (!gOptions.keying.over.empty() && !gOptions.overStream.empty())
        throw Failure(kBadUsage, "give --over or --over-stream, not both");
    if (gOptions.keying.over.empty() && gOptions.overStream.empty() && !settings.outputAlpha)
        throw Failure(kBadUsage,
                      "no background; give one with --over or --over-stream, or use --transparent");
}

struct Progress {
    ProgressBar bar{gOptions.keying.quiet};
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
    if (gOptions.keying.verbose) std::fprintf(stderr, "%s\n", RateText(progress).c_str());
}

ExitCode RunStream() {
    InstallInterruptHandlers();
    FrameStream stream;
    ParseSize(gOptions.size, stream);
    stream.interval = ParseInterval(gOptions.analyse);
    RequireOtherInputs();
    Backgrounds backgrounds;
    AddBackground(backgrounds, gOptions.keying);
    stream.settings = ToEngineSettings(backgrounds[0].parameters);
    RequireBackground(stream.settings);
    if (stream.settings.showMatte && stream.settings.blendEdges && !gOptions.keying.quiet)
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
    KeyingOptions& o = gOptions.keying;
    stream->add_option("--size", gOptions.size, "WIDTHxHEIGHT of the frames in pixels")
        ->type_name("SIZE")
        ->required();
    stream->add_option("--over", o.over, "The new background, a picture")
        ->type_name("BACKGROUND")
        ->expected(1);
    stream
        ->add_option("--over-stream", gOptions.overStream,
                     "The new background, raw frames like the input's; the last one stays")
        ->type_name("FILE");
    AddFitOption(*stream, o);
    stream
        ->add_option("--analyse", gOptions.analyse,
                     "Frames whose backdrop is measured: first, every, or each N-th; default: first")
        ->type_name("WHICH");
    stream->add_option("--jobs", o.jobs, "How many frames to key at once; default: one more than cores")
        ->check(CLI::Range(1, 256));
    AddSettingsOptions(*stream, o);
    stream->option_defaults()->group("Options");
    stream->add_flag("--quiet", o.quiet, "Show no progress and no warnings");
    stream->add_flag("--verbose", o.verbose, "Print the number of frames and their rate at the end");
    AddParameterOptions(*stream, o.parameters);
    stream->footer(kFooter);
    return {stream, RunStream};
}

}  // namespace frond
