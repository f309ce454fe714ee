#include "tests/support/kept_text.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace test_support {

std::string KeptText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

testing::AssertionResult MatchesKeptText(const std::string& text, const std::string& path) {
    const std::string kept = KeptText(path);
    if (text == kept && !text.empty()) return testing::AssertionSuccess();
    const std::filesystem::path found = "found/" + path;
    std::filesystem::create_directories(found.parent_path());
    std::ofstream(found, std::ios::binary) << text;

    const auto different = std::mismatch(text.begin(), text.end(), kept.begin(), kept.end()).first;
    const auto number = 1 + std::count(text.begin(), different, '\n');
    std::size_t begin = 0;
    for (auto line = number; line > 1; --line) begin = text.find('\n', begin) + 1;
    const auto lineOf = [begin](const std::string& of) {
        return of.substr(begin, of.find('\n', begin) - begin);
    };
    return testing::AssertionFailure() << path << ", line " << number << ":\n  expected: " << lineOf(kept)
                                       << "\n  found:    " << lineOf(text);
}

}  // namespace test_support
