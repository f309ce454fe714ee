// A test's own folder, which is removed when the test ends, and small files that are written out in
// tests/support/files.txt.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

namespace test_support {

struct ScratchFolder {
    std::filesystem::path path;

    ScratchFolder() {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        path = std::filesystem::current_path() / "scratch" / test->test_suite_name() / test->name();
        std::filesystem::remove_all(path);
        std::filesystem::create_directories(path);
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::filesystem::path operator/(const std::string& name) const {
        return path / std::filesystem::u8path(name);
    }
};

using Bytes = std::vector<std::uint8_t>;

// The number of entries in the folder.
inline int CountFiles(const std::filesystem::path& folder) {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

// Bytes or a string as a file.
template <class Text>
void WriteBytes(const std::filesystem::path& path, const Text& bytes) {
    std::ofstream(path, std::ios::binary) << std::string(bytes.begin(), bytes.end());
}

// The file of that name in files.txt, whose first lines describe the notation; empty when there is none.
inline Bytes FileCase(const std::string& name) {
    static const std::regex kWord("#|(?:\"([^\"]*)\"|([0-9A-F]+))(?:\\*([0-9]+))?");
    std::ifstream file("tests/support/files.txt");
    Bytes bytes;
    bool isInside = false;
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("== ", 0) == 0) {
            isInside = line == "== " + name;
            continue;
        }
        for (std::sregex_iterator at(line.begin(), line.end(), kWord), end; isInside && at != end; ++at) {
            if (at->str() == "#") break;
            std::string text = at->str(1);
            const std::string digits = at->str(2);
            for (std::size_t i = 0; i < digits.size(); i += 2) {
                text += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
            }
            for (int i = (*at)[3].matched ? std::stoi(at->str(3)) : 1; i > 0; --i) {
                bytes.insert(bytes.end(), text.begin(), text.end());
            }
        }
    }
    return bytes;
}

}  // namespace test_support
