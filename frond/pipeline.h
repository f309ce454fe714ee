// A pipeline for items in a row: they are read ahead, keyed one at a time, and encoded and written behind.
// Several threads read and encode. What is keyed, written and reported is in the order of the items, with any
// number of threads.
#pragma once

#include <cstddef>
#include <functional>

namespace frond {

// What is done with an item, by its number from 0. Each function is called once for each item, in this order.
// An item is under way from its start of `read` to its end of `write`.
struct PipelineStages {
    std::function<void(std::size_t)> read;    // on any thread, for several items at once; throws nothing
    std::function<void(std::size_t)> key;     // on the caller's thread; throws nothing
    std::function<void(std::size_t)> encode;  // like `read`
    std::function<void(std::size_t)> write;   // on any thread, for one item at a time; throws nothing
    std::function<void(std::size_t)> report;  // on the caller's thread; an exception ends the pipeline

    // Returns the item, not after the given one, whose `read` must have returned before that of the given one
    // begins. Null: each item is read by itself.
    std::function<std::size_t(std::size_t)> readsAfter = nullptr;
};

// Items under way at most, with `jobs` threads that read, encode and write: one for each thread, one that is
// keyed, and one between two stages. With one job one item.
constexpr std::size_t ItemsUnderWay(int jobs) {
    return jobs > 1 ? static_cast<std::size_t>(jobs) + 2 : 1;
}

// Runs `count` items through the stages. With one job, or when no thread can be started, every stage runs on
// the caller's thread, item after item. Returns when all items are reported. An exception of `report` leaves
// it when the stages that have begun are done; further stages are not called.
void RunPipeline(std::size_t count, int jobs, const PipelineStages& stages);

// The cores that this process may use; at least 1.
int AvailableCores();

}  // namespace frond
