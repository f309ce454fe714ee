// Files of a test's own: a folder that is gone when the test ends, and bytes put together by hand.
#pragma once

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "gtest/gtest.h"

struct ScratchFolder {
    std::filesystem::path path;

    ScratchFolder() {
        static std::atomic<int> count{0};
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        const std::string name = std::string("scratch-") + test->test_suite_name() + "-" + test->name() +
                                 "-" + std::to_string(count++);
        path = std::filesystem::current_path() / "scratch" / name;
        std::filesystem::remove_all(path);
        std::filesystem::create_directories(path);
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::filesystem::path operator/(const std::string& name) const { return path / name; }

    // How many entries it holds, whatever their names.
    int Count() const {
        int count = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(path)) ++count;
        return count;
    }
};

using Bytes = std::vector<std::uint8_t>;

inline void WriteBytes(const std::filesystem::path& path, const Bytes& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

enum class Order { kBigEndian, kLittleEndian };

inline void Append(Bytes& bytes, std::uint32_t value, int size, Order order = Order::kBigEndian) {
    for (int i = 0; i < size; ++i) {
        const int shift = 8 * (order == Order::kBigEndian ? size - 1 - i : i);
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

inline void Append(Bytes& bytes, const std::string& text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}
