// All fuzzers as tests:
//
//   fuzz_NAME --fixed=COUNT FILE...
//
// runs the files and then COUNT mutations of them, which a fixed seed chooses: the same inputs in every run.
// libFuzzer chooses by coverage, which can depend on addresses and so differs from run to run. An input that
// fails is written to fuzz_NAME-failed.
#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);
extern "C" void __sanitizer_set_death_callback(void (*callback)());

namespace {

using Input = std::vector<std::uint8_t>;

Input gCurrent;
std::string gFailedPath;

void KeepInput() {
    std::ofstream(gFailedPath, std::ios::binary)
        .write(reinterpret_cast<const char*>(gCurrent.data()), static_cast<std::streamsize>(gCurrent.size()));
}

void KeepInputAndAbort(int) {
    KeepInput();
    std::signal(SIGABRT, SIG_DFL);
    std::abort();
}

// Changes a few bytes at a random place.
void Mutate(const std::vector<Input>& corpus, std::mt19937* draws, Input* input) {
    const auto below = [&](std::size_t count) { return (*draws)() % count; };
    const std::size_t at = below(input->size() + 1), left = input->size() - at;
    const auto place = input->begin() + static_cast<std::ptrdiff_t>(at);
    const std::uint8_t extremes[] = {0, 1, 0x7f, 0x80, 0xff, '0', '9', '-'};
    switch (below(5)) {
        case 0:  // erased
            input->erase(place, place + static_cast<std::ptrdiff_t>(std::min<std::size_t>(below(8), left)));
            break;
        case 1:  // repeated
            input->insert(place, 1 + below(8), static_cast<std::uint8_t>(below(256)));
            break;
        case 2:  // changed in one bit
            if (left > 0) *place ^= static_cast<std::uint8_t>(1 << below(8));
            break;
        case 3:  // at an end of its range
            if (left > 0) *place = extremes[below(sizeof extremes)];
            break;
        default: {  // taken from another input
            const Input& other = corpus[below(corpus.size())];
            const std::size_t from = below(other.size() + 1);
            const std::size_t count = std::min<std::size_t>(below(64), other.size() - from);
            input->insert(place, other.data() + from, other.data() + from + count);
        }
    }
}

void Run(const Input& input) {
    gCurrent = input;
    LLVMFuzzerTestOneInput(gCurrent.data(), gCurrent.size());
}

std::vector<Input> RunFiles(int count, char** names) {
    std::vector<Input> inputs;
    for (int i = 0; i < count; ++i) {
        std::ifstream file(names[i], std::ios::binary);
        if (!file) {
            std::fprintf(stderr, "cannot read %s\n", names[i]);
            std::exit(1);
        }
        inputs.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
        Run(inputs.back());
    }
    return inputs;
}

void RunMutations(const std::vector<Input>& corpus, int count) {
    std::mt19937 draws(1);
    std::uint32_t sum = 0;
    for (int n = 0; n < count; ++n) {
        Input input = corpus[draws() % corpus.size()];
        for (std::size_t changes = 1 + draws() % 6; changes > 0; --changes) Mutate(corpus, &draws, &input);
        Run(input);
        for (const std::uint8_t byte : input) sum = sum * 31 + byte;
    }
    std::printf("%zu files and %d inputs of sum %08x\n", corpus.size(), count, static_cast<unsigned>(sum));
}

}  // namespace

// libFuzzer calls this before it reads its own arguments.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    char** const names = *argv;
    if (*argc < 3 || std::strncmp(names[1], "--fixed=", 8) != 0) return 0;
    gFailedPath = std::string(names[0]) + "-failed";
    __sanitizer_set_death_callback(KeepInput);
    std::signal(SIGABRT, KeepInputAndAbort);
    RunMutations(RunFiles(*argc - 2, names + 2), std::atoi(names[1] + 8));
    std::exit(0);
}
