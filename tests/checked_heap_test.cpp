// The checked heap over a broker of its own: what a block looks like, what is reported and when, and how the
// table behaves at its limits. And the lazily acquired suite, which hangs on the same broker.
#include "support/checked_heap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/debug_output.h"
#include "support/lazy_suite.h"

namespace {

// Readable memory in front of each block: a report looks 4 bytes before it.
constexpr std::size_t kMargin = 16;

// What the broker is told to do and what it was asked, for one test.
struct Broker {
    SPErr failure = 0;
    bool givesNull = false;
    void* again = nullptr;  // handed out in place of a new block
    std::map<void*, std::unique_ptr<unsigned char[]>> live;
    std::vector<void*> freed;
    std::size_t asked = 0;  // bytes of the last block
    std::vector<std::string> suiteCalls;
    std::string output;
} broker;

SPErr Allocate(std::size_t size, void** block) {
    broker.asked = size;
    *block = broker.again;
    if (broker.failure != 0 || broker.givesNull || broker.again != nullptr) return broker.failure;
    auto memory = std::make_unique<unsigned char[]>(kMargin + size);
    *block = memory.get() + kMargin;
    broker.live[*block] = std::move(memory);
    return 0;
}

SPErr Free(void* block) {
    broker.freed.push_back(block);
    broker.live.erase(block);
    return 0;
}

SPErr Acquire(const char* name, std::int32_t, const void** suite) {
    broker.suiteCalls.push_back(std::string("acquire ") + name);
    *suite = &broker;
    return broker.failure;
}

SPErr Release(const char* name, std::int32_t) {
    broker.suiteCalls.push_back(std::string("release ") + name);
    return 0;
}

class CheckedHeapTest : public testing::Test {
  protected:
    CheckedHeapTest() {
        suite.AcquireSuite = Acquire;
        suite.ReleaseSuite = Release;
        suite.AllocateBlock = Allocate;
        suite.FreeBlock = Free;
        gSPBasicSuite = &suite;
        gDebugOutput = [](const char* line) { broker.output += line; };
    }
    ~CheckedHeapTest() override {
        gSPBasicSuite = nullptr;
        gDebugOutput = nullptr;
        gCheckedHeap = {};
        broker = {};
    }
    SPBasicSuite suite{};
};

std::string TakeOutput() {
    return std::exchange(broker.output, {});
}

unsigned char* New(std::size_t size) {
    return static_cast<unsigned char*>(CheckedNew(size));
}

// The code that a call raises; 0 when it raises none.
template <class Failure, class Call>
int CodeRaised(Call call) {
    try {
        call();
    } catch (const Failure& failure) {
        return failure.code;
    }
    return 0;
}

int CodeOfNew(std::size_t size) {
    return CodeRaised<HeapFailure>([size] { CheckedNew(size); });
}

TEST_F(CheckedHeapTest, BlocksLieBetweenSignatures) {
    for (std::size_t size : {0, 1, 5, 100}) {
        unsigned char* address = New(size);
        EXPECT_EQ(broker.asked, size + 8);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(address) - 4, size + 8), std::string(size + 8, 'A'));
        CheckedDelete(address);
        EXPECT_EQ(broker.freed.back(), address - 4);
    }
    EXPECT_EQ(gCheckedHeap.count, 0);
    EXPECT_EQ(broker.output, "");
}

TEST_F(CheckedHeapTest, DamageIsReportedAtReleaseOnly) {
    const std::pair<int, const char*> damages[] = {
        {-4, "MW:BAD SIGNATURE AT BEGINNING!\n"}, {-1, "MW:BAD SIGNATURE AT BEGINNING!\n"}, {0, ""}, {6, ""},
        {7, "MW:BAD SIGNATURE AT END!\n"},        {10, "MW:BAD SIGNATURE AT END!\n"},
    };
    for (const auto& [offset, report] : damages) {
        unsigned char *address = New(7), *other = New(3);
        address[offset] = 0;
        CheckedDelete(other);
        EXPECT_EQ(TakeOutput(), "") << "at offset " << offset;
        CheckedDelete(address);
        EXPECT_EQ(TakeOutput(), report) << "at offset " << offset;
    }
    EXPECT_TRUE(broker.live.empty()) << "a damaged block is freed all the same";
}

TEST_F(CheckedHeapTest, FailuresRaiseTheirCodes) {
    EXPECT_EQ(CodeOfNew(SIZE_MAX), memFullErr) << "the total would wrap";
    EXPECT_EQ(CodeOfNew(0x7FFFFFFF), memFullErr) << "more than the table's sizes hold";
    EXPECT_EQ(broker.asked, 0u);
    broker.failure = 77;
    EXPECT_EQ(CodeOfNew(1), memFullErr);
    broker.failure = 0;
    broker.givesNull = true;
    EXPECT_EQ(CheckedNew(1), nullptr);
    EXPECT_EQ(gCheckedHeap.count, 0);

    gSPBasicSuite = nullptr;
    EXPECT_EQ(CodeOfNew(1), kNoSuiteBroker);
    CheckedDelete(nullptr);
    EXPECT_TRUE(broker.freed.empty());
    gSPBasicSuite = &suite;
    CheckedDelete(nullptr);
    EXPECT_EQ(broker.freed, std::vector<void*>{nullptr}) << "a null address is handed on";
    EXPECT_EQ(broker.output, "");
}

TEST_F(CheckedHeapTest, ReleaseClosesTheGap) {
    unsigned char *a = New(1), *b = New(2), *c = New(3);
    CheckedDelete(b);
    EXPECT_EQ(gCheckedHeap.count, 2);
    EXPECT_EQ(std::vector<void*>(gCheckedHeap.blocks, gCheckedHeap.blocks + 3),
              (std::vector<void*>{a, c, nullptr}));
    EXPECT_EQ(std::vector<int>(gCheckedHeap.sizes, gCheckedHeap.sizes + 3), (std::vector<int>{9, 11, 0}));
    SweepCheckedHeap();
    EXPECT_EQ(TakeOutput(), "MW:INDEX NOT ZERO!\nMW:MEMORY NOT ZERO!\nMW:MEMORY NOT ZERO!\n");
    CheckedDelete(c);
    CheckedDelete(a);
    SweepCheckedHeap();
    EXPECT_EQ(broker.output, "");
}

TEST_F(CheckedHeapTest, ForeignAddressesAreReportedAndFreed) {
    void* foreign = nullptr;
    Allocate(16, &foreign);
    auto* address = static_cast<unsigned char*>(foreign) + 4;
    unsigned char* own = New(1);
    CheckedDelete(address);
    EXPECT_EQ(TakeOutput(),
              "MW:BAD SIGNATURE AT BEGINNING!\nMW:NO SIZE!\nMW:BAD SIGNATURE AT END!\nMW:NOT FOUND!\n");
    EXPECT_EQ(broker.freed.back(), foreign);
    CheckedDelete(own);

    // Without a size the signature behind the block is looked for in front of it.
    Allocate(16, &foreign);
    address = static_cast<unsigned char*>(foreign) + 4;
    std::memset(address - 8, 'A', 8);
    CheckedDelete(address);
    EXPECT_EQ(TakeOutput(), "MW:NO SIZE!\nMW:EMPTY!\n");
    EXPECT_EQ(broker.freed.back(), foreign);
}

TEST_F(CheckedHeapTest, AnAddressServedTwiceIsEnteredOnce) {
    unsigned char* address = New(8);
    broker.again = address - 4;
    EXPECT_EQ(CheckedNew(2), address);
    EXPECT_EQ(TakeOutput(), "MW:MEMCHECK AGAIN!\n");
    EXPECT_EQ(gCheckedHeap.count, 1);
    EXPECT_EQ(gCheckedHeap.sizes[0], 16);
    CheckedDelete(address);
}

TEST_F(CheckedHeapTest, AFullTableServesWithoutEntryAndItsReleaseWritesIntoTheNextFields) {
    std::vector<unsigned char*> blocks;
    for (std::size_t size = 0; size < kCheckedBlocks; ++size) blocks.push_back(New(size));
    EXPECT_EQ(TakeOutput(), "");
    unsigned char* unknown = New(40);
    EXPECT_EQ(TakeOutput(), "MW:MEMCHECK FULL!\n");
    EXPECT_EQ(gCheckedHeap.count, kCheckedBlocks);
    CheckedDelete(unknown);
    EXPECT_EQ(TakeOutput(), "MW:NO SIZE!\nMW:BAD SIGNATURE AT END!\nMW:NOT FOUND!\n");
    EXPECT_EQ(broker.freed.back(), unknown - 4);

    // The compaction takes in the fields behind the arrays and clears what lies there.
    void* firstSizes = nullptr;
    std::memcpy(&firstSizes, gCheckedHeap.sizes, sizeof firstSizes);
    CheckedDelete(blocks[100]);
    EXPECT_EQ(TakeOutput(), "");
    EXPECT_EQ(gCheckedHeap.count, -1);
    EXPECT_EQ(gCheckedHeap.blocks[99], blocks[99]);
    EXPECT_EQ(gCheckedHeap.blocks[498], blocks[499]);
    EXPECT_EQ(gCheckedHeap.blocks[499], firstSizes) << "the sizes behind the array, taken for an address";
    EXPECT_EQ(gCheckedHeap.sizes[0], 0);
    EXPECT_EQ(gCheckedHeap.sizes[1], sizeof(void*) == 8 ? 0 : 1 + 8) << "an address covers two sizes, or one";
    EXPECT_EQ(gCheckedHeap.sizes[100], 101 + 8);
    EXPECT_EQ(gCheckedHeap.sizes[499], kCheckedBlocks) << "the count, taken for a size";

    // The table is of no use any more, and harms nothing: all blocks are served and freed.
    blocks[100] = New(5);
    for (unsigned char* block : blocks) CheckedDelete(block);
    EXPECT_TRUE(broker.live.empty());
    EXPECT_EQ(broker.freed.size(), static_cast<std::size_t>(kCheckedBlocks + 2));
}

TEST_F(CheckedHeapTest, LazySuitesAreAcquiredAtFirstUse) {
    LazySuite lazy = {nullptr, 4, "suite", 0};
    ReleaseLazySuite(&lazy);  // never acquired
    for (int use = 0; use < 2; ++use) EXPECT_EQ(AcquireLazySuite(&lazy), &broker);
    for (int end = 0; end < 2; ++end) ReleaseLazySuite(&lazy);
    EXPECT_EQ(broker.suiteCalls, (std::vector<std::string>{"acquire suite", "release suite"}));

    const auto acquire = [&] { AcquireLazySuite(&lazy); };
    broker.failure = 1;
    EXPECT_EQ(CodeRaised<SuiteFailure>(acquire), 1);
    EXPECT_EQ(lazy.lastError, 1);
    EXPECT_EQ(lazy.suite, nullptr) << "a failed acquisition is tried again";
    gSPBasicSuite = nullptr;
    EXPECT_EQ(CodeRaised<SuiteFailure>(acquire), 0x5061726D);
}

}  // namespace
