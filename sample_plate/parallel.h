// Calls work(row) for each row on all cores, in any order. Rows must not depend on each other.
#pragma once

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace sample_plate {

template <typename Work>
void ForEachRow(int rows, const Work& work) {
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    std::atomic<int> next{0};
    const auto run = [&] {
        for (int row = next++; row < rows; row = next++) work(row);
    };
    std::vector<std::thread> helpers;
    for (unsigned i = 1; i < cores; ++i) helpers.emplace_back(run);
    run();
    for (std::thread& helper : helpers) helper.join();
}

}  // namespace sample_plate
