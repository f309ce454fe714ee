// frond_bench: the engine's speed by stage, variant, picture, size and depth.
//
//   frond_bench [--variant=NAME,...] [--stage=NAME,...] [--picture=NAME,...] [--size=MEGAPIXELS,...]
//               [--depth=BITS,...] [--workers=N,...] [--repeat=N] [options of Google Benchmark]
//
// Defaults: every variant that the machine runs, every stage, the plate, 2, 12 and 48 megapixels, 8 and 16
// bits, one worker, five repetitions. Several workers are measured by the clock.
// --benchmark_enable_random_interleaving=true alternates the variants within a repetition and needs one size
// and depth at a time. Every result is compared with that of the first variant. Exit code 1 after a
// difference, 2 after a wrong option. A picture may be the file of a photograph.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "bench/stages.h"
#include "bench/table.h"
#include "engine/variants.h"

namespace bench {
namespace {

using Names = std::vector<std::string>;

struct Options {
    Names variants, stages, pictures{"plate"}, sizes{"2", "12", "48"}, depths{"8", "16"}, workers{"1"},
        repeat{"5"};
};

Names Split(const std::string& list) {
    Names names;
    std::istringstream in(list);
    for (std::string name; std::getline(in, name, ',');) names.push_back(name);
    return names;
}

[[noreturn]] void Refuse(const std::string& message) {
    std::fprintf(stderr, "frond_bench: %s\n", message.c_str());
    std::exit(2);
}

// Removes our options from the command line and leaves the others to the library.
Options ReadOptions(int* argc, char** argv) {
    Options options;
    const std::map<std::string, Names*> known = {
        {"--variant", &options.variants}, {"--stage", &options.stages}, {"--picture", &options.pictures},
        {"--size", &options.sizes},       {"--depth", &options.depths}, {"--workers", &options.workers},
        {"--repeat", &options.repeat}};
    int kept = 1;
    for (int i = 1; i < *argc; ++i) {
        const std::string argument = argv[i];
        const std::size_t equals = argument.find('=');
        const auto option = known.find(argument.substr(0, equals));
        if (option == known.end() || equals == std::string::npos) {
            argv[kept++] = argv[i];
        } else {
            *option->second = Split(argument.substr(equals + 1));
        }
    }
    *argc = kept;
    return options;
}

void CheckNames(const Names& names, const char* const* known, const char* kind) {
    for (const std::string& name : names) {
        const char* const* each = known;
        while (*each != nullptr && name != *each) ++each;
        if (*each == nullptr) Refuse(std::string("there is no ") + kind + " named " + name);
    }
}

int Number(const std::string& text, int first, int last, const char* kind) {
    char* end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != 0 || number < first || number > last) {
        Refuse(text + " is not a " + kind + " from " + std::to_string(first) + " to " + std::to_string(last));
    }
    return static_cast<int>(number);
}

void FillIn(Options* options) {
    CheckNames(options->variants, keying::kVariantNames, "variant");
    CheckNames(options->stages, kStageNames, "stage");
    for (const std::string& picture : options->pictures) {
        if (!IsPictureFile(picture)) CheckNames({picture}, kPictureNames, "picture");
    }
    for (const std::string& variant : options->variants) {
        if (!keying::VariantRunsHere(variant.c_str()))
            Refuse("this machine does not run the variant " + variant);
    }
    if (options->variants.empty()) {
        for (const char* const* variant = keying::kVariantNames; *variant != nullptr; ++variant) {
            if (keying::VariantRunsHere(*variant)) options->variants.push_back(*variant);
        }
    }
    if (options->stages.empty()) {
        for (const char* const* stage = kStageNames; *stage != nullptr; ++stage)
            options->stages.push_back(*stage);
    }
    if (options->repeat.size() != 1) Refuse("--repeat takes one number");
}

// The results of the first variant, by stage and shape.
std::map<std::string, std::uint64_t> gFirstHashes;

void Measure(benchmark::State& state, const std::string& key, const std::string& stage,
             const std::string& variant, int workers, const Shape& shape) {
    double seconds = 0;
    std::int64_t pixels = 0;
    for (auto _ : state) {
        const Measured measured = RunStage(stage, variant, workers, shape);
        if (!measured.error.empty()) {
            state.SkipWithError(measured.error.c_str());
            return;
        }
        if (gFirstHashes.emplace(key, measured.hash).first->second != measured.hash) {
            state.SkipWithError("the result differs from that of the first variant");
            return;
        }
        state.SetIterationTime(measured.seconds);
        seconds += measured.seconds;
        pixels += measured.pixels;
    }
    state.counters[kNanosecondsCounter] = seconds * 1e9 / static_cast<double>(pixels);
    state.counters["Mpx/s"] = static_cast<double>(pixels) / 1e6 / seconds;
}

void Register(const Options& options, const std::string& picture, int size, int depth) {
    const int repetitions = Number(options.repeat[0], 1, 1000, "number of repetitions");
    const Shape shape{picture, size, depth};
    for (const std::string& stage : options.stages) {
        for (const std::string& variant : options.variants)
            for (const std::string& count : options.workers) {
                const int workers = Number(count, 1, 64, "number of workers");
                const std::string name = std::filesystem::path(picture).filename().string();
                const std::string key = stage + "/" + name + "/" + std::to_string(size) + " Mpx/" +
                                        std::to_string(depth) + " bits";
                const auto measure = [=](benchmark::State& state) {
                    Measure(state, key, stage, variant, workers, shape);
                };
                const std::string row = workers == 1 ? variant : variant + " x" + count;
                benchmark::RegisterBenchmark((key + "/" + row).c_str(), measure)
                    ->UseManualTime()
                    ->Iterations(1)
                    ->Repetitions(repetitions);
            }
    }
}

int Main(int argc, char** argv) {
    Options options = ReadOptions(&argc, argv);
    FillIn(&options);
    for (const std::string& picture : options.pictures) {
        for (const std::string& size : options.sizes) {
            for (const std::string& depth : options.depths) {
                if (depth != "8" && depth != "16") Refuse(depth + " bits: the depth is 8 or 16");
                Register(options, picture, Number(size, 1, 300, "size in megapixels"),
                         Number(depth, 8, 16, "depth"));
            }
        }
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    TableReporter table;
    benchmark::RunSpecifiedBenchmarks(&table);
    return table.AnyFailed() ? 1 : 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    try {
        return bench::Main(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "frond_bench: %s\n", error.what());
        return 2;
    }
}
