// The checked heap over a broker of its own: what a block looks like, what is reported and when, and how the
// table behaves at its limits. And the lazily acquired suite, which hangs on the same broker.
#include "support/checked_heap.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/debug_output.h"
#include "support/lazy_suite.h"

namespace {

constexpr std::size_t kMargin =
    16;  // readable memory in front of each block: a report looks 4 bytes before it

struct Broker {
    std::map<void*, std::unique_ptr<unsigned char[]>> live;
    std::vector<std::size_t> asked;
    std::vector<void*> freed;
    std::vector<std::string> released;
    std::string output;
    SPErr failure = 0;
    bool givesNull = false;
    void* again = nullptr;  // handed out in place of a new block
    int acquisitions = 0;
};

Broker* broker = nullptr;

SPErr Allocate(std::size_t size, void** block) {
    broker->asked.push_back(size);
    *block = nullptr;
    if (broker->failure != 0 || broker->givesNull) return broker->failure;
    if (broker->again != nullptr) {
        *block = broker->again;
        return 0;
    }
    auto memory = std::make_unique<unsigned char[]>(kMargin + size);
    *block = memory.get() + kMargin;
    broker->live[*block] = std::move(memory);
    return 0;
}

SPErr Free(void* block) {
    broker->freed.push_back(block);
    broker->live.erase(block);
    return 0;
}

SPErr Acquire(const char*, std::int32_t version, const void** suite) {
    ++broker->acquisitions;
    *suite = broker;
    return broker->failure != 0 ? broker->failure : version - 4;
}

SPErr Release(const char* name, std::int32_t) {
    broker->released.push_back(name);
    return 0;
}

class CheckedHeapTest : public testing::Test {
  protected:
    void SetUp() override {
        broker = &state;
        suite.AcquireSuite = Acquire;
        suite.ReleaseSuite = Release;
        suite.AllocateBlock = Allocate;
        suite.FreeBlock = Free;
        gSPBasicSuite = &suite;
        gCheckedHeap = {};
        gDebugOutput = [](const char* line) { broker->output += line; };
    }
    void TearDown() override {
        gSPBasicSuite = nullptr;
        gCheckedHeap = {};
        gDebugOutput = nullptr;
        broker = nullptr;
    }

    std::string TakeOutput() { return std::exchange(state.output, {}); }

    Broker state;
    SPBasicSuite suite{};
};

unsigned char* New(std::size_t size) {
    return static_cast<unsigned char*>(CheckedNew(size));
}

int CodeRaised(std::size_t size) {
    try {
        CheckedNew(size);
    } catch (const HeapFailure& failure) {
        return failure.code;
    }
    return 0;
}

TEST_F(CheckedHeapTest, BlocksLieBetweenSignatures) {
    for (std::size_t size : {0, 1, 5, 100}) {
        unsigned char* address = New(size);
        EXPECT_EQ(size + 8, state.asked.back());
        EXPECT_EQ(std::string(size + 8, 'A'), std::string(reinterpret_cast<char*>(address) - 4, size + 8));
        EXPECT_EQ(address, gCheckedHeap.blocks[0]);
        EXPECT_EQ(static_cast<int>(size + 8), gCheckedHeap.sizes[0]);
        CheckedDelete(address);
        EXPECT_EQ(address - 4, state.freed.back());
        EXPECT_EQ(0, gCheckedHeap.count);
    }
    EXPECT_EQ("", state.output);
}

TEST_F(CheckedHeapTest, DamageIsReportedAtReleaseOnly) {
    const struct {
        int offset;
        const char* expected;
    } kCases[] = {
        {-4, "MW:BAD SIGNATURE AT BEGINNING!\n"}, {-1, "MW:BAD SIGNATURE AT BEGINNING!\n"}, {0, ""}, {6, ""},
        {7, "MW:BAD SIGNATURE AT END!\n"},        {10, "MW:BAD SIGNATURE AT END!\n"},
    };
    for (const auto& damage : kCases) {
        unsigned char* address = New(7);
        unsigned char* other = New(3);
        address[damage.offset] = 0;
        CheckedDelete(other);
        EXPECT_EQ("", TakeOutput()) << "at offset " << damage.offset;
        CheckedDelete(address);
        EXPECT_EQ(damage.expected, TakeOutput()) << "at offset " << damage.offset;
    }
    EXPECT_TRUE(state.live.empty()) << "a damaged block is freed all the same";
}

TEST_F(CheckedHeapTest, FailuresRaiseTheirCodes) {
    EXPECT_EQ(memFullErr, CodeRaised(SIZE_MAX)) << "the total would wrap";
    EXPECT_EQ(memFullErr, CodeRaised(0x7FFFFFFF)) << "more than the table's sizes hold";
    EXPECT_TRUE(state.asked.empty());
    state.failure = 77;
    EXPECT_EQ(memFullErr, CodeRaised(1));
    state.failure = 0;
    state.givesNull = true;
    EXPECT_EQ(nullptr, CheckedNew(1));
    EXPECT_EQ(0, gCheckedHeap.count);

    gSPBasicSuite = nullptr;
    EXPECT_EQ(kNoSuiteBroker, CodeRaised(1));
    CheckedDelete(nullptr);
    EXPECT_TRUE(state.freed.empty());
    gSPBasicSuite = &suite;
    CheckedDelete(nullptr);
    EXPECT_EQ(std::vector<void*>{nullptr}, state.freed) << "a null address is handed on";
    EXPECT_EQ("", state.output);
}

TEST_F(CheckedHeapTest, ReleaseClosesTheGap) {
    unsigned char* a = New(1);
    unsigned char* b = New(2);
    unsigned char* c = New(3);
    CheckedDelete(b);
    EXPECT_EQ(2, gCheckedHeap.count);
    EXPECT_EQ(a, gCheckedHeap.blocks[0]);
    EXPECT_EQ(c, gCheckedHeap.blocks[1]);
    EXPECT_EQ(nullptr, gCheckedHeap.blocks[2]);
    EXPECT_EQ(9, gCheckedHeap.sizes[0]);
    EXPECT_EQ(11, gCheckedHeap.sizes[1]);
    EXPECT_EQ(0, gCheckedHeap.sizes[2]);

    SweepCheckedHeap();
    EXPECT_EQ("MW:INDEX NOT ZERO!\nMW:MEMORY NOT ZERO!\nMW:MEMORY NOT ZERO!\n", TakeOutput());
    CheckedDelete(c);
    CheckedDelete(a);
    SweepCheckedHeap();
    EXPECT_EQ("", state.output);
}

TEST_F(CheckedHeapTest, ForeignAddressesAreReportedAndFreed) {
    void* foreign = nullptr;
    Allocate(16, &foreign);
    auto* address = static_cast<unsigned char*>(foreign) + 4;
    unsigned char* own = New(1);
    CheckedDelete(address);
    EXPECT_EQ("MW:BAD SIGNATURE AT BEGINNING!\nMW:NO SIZE!\nMW:BAD SIGNATURE AT END!\nMW:NOT FOUND!\n",
              TakeOutput());
    EXPECT_EQ(foreign, state.freed.back());
    EXPECT_EQ(1, gCheckedHeap.count);
    CheckedDelete(own);

    // Without a size the signature behind the block is looked for in front of it.
    Allocate(16, &foreign);
    address = static_cast<unsigned char*>(foreign) + 4;
    std::memset(address - 8, 'A', 8);
    CheckedDelete(address);
    EXPECT_EQ("MW:NO SIZE!\nMW:EMPTY!\n", TakeOutput());
    EXPECT_EQ(foreign, state.freed.back());
}

TEST_F(CheckedHeapTest, AnAddressServedTwiceIsEnteredOnce) {
    unsigned char* address = New(8);
    state.again = address - 4;
    EXPECT_EQ(address, CheckedNew(2));
    EXPECT_EQ("MW:MEMCHECK AGAIN!\n", TakeOutput());
    EXPECT_EQ(1, gCheckedHeap.count);
    EXPECT_EQ(16, gCheckedHeap.sizes[0]);
    CheckedDelete(address);
}

TEST_F(CheckedHeapTest, AFullTableServesWithoutEntry) {
    std::vector<unsigned char*> blocks;
    for (int i = 0; i < kCheckedBlocks; ++i) blocks.push_back(New(i));
    EXPECT_EQ("", TakeOutput());
    unsigned char* unknown = New(40);
    EXPECT_EQ("MW:MEMCHECK FULL!\n", TakeOutput());
    EXPECT_EQ(kCheckedBlocks, gCheckedHeap.count);
    CheckedDelete(unknown);
    EXPECT_EQ("MW:NO SIZE!\nMW:BAD SIGNATURE AT END!\nMW:NOT FOUND!\n", TakeOutput());
    EXPECT_EQ(unknown - 4, state.freed.back());
}

// The compaction of a full table takes in the fields behind the arrays and clears what lies there.
TEST_F(CheckedHeapTest, ReleaseFromAFullTableWritesIntoTheNextFields) {
    std::vector<unsigned char*> blocks;
    for (int i = 0; i < kCheckedBlocks; ++i) blocks.push_back(New(i));
    void* firstSizes = nullptr;
    std::memcpy(&firstSizes, gCheckedHeap.sizes, sizeof firstSizes);

    CheckedDelete(blocks[100]);
    EXPECT_EQ("", TakeOutput());
    EXPECT_EQ(-1, gCheckedHeap.count);
    EXPECT_EQ(blocks[99], gCheckedHeap.blocks[99]);
    EXPECT_EQ(blocks[101], gCheckedHeap.blocks[100]);
    EXPECT_EQ(blocks[499], gCheckedHeap.blocks[498]);
    EXPECT_EQ(firstSizes, gCheckedHeap.blocks[499]) << "the sizes behind the array, taken for an address";
    EXPECT_EQ(0, gCheckedHeap.sizes[0]);
    EXPECT_EQ(sizeof(void*) == 8 ? 0 : 1 + 8, gCheckedHeap.sizes[1]) << "an address covers two sizes, or one";
    EXPECT_EQ(2 + 8, gCheckedHeap.sizes[2]);
    EXPECT_EQ(101 + 8, gCheckedHeap.sizes[100]);
    EXPECT_EQ(kCheckedBlocks, gCheckedHeap.sizes[499]) << "the count, taken for a size";

    // The table is of no use any more, and harms nothing: all blocks are served and freed.
    CheckedDelete(New(5));
    for (unsigned char* block : blocks) {
        if (block != blocks[100]) CheckedDelete(block);
    }
    EXPECT_TRUE(state.live.empty());
    EXPECT_EQ(static_cast<std::size_t>(kCheckedBlocks + 1), state.freed.size());
}

TEST_F(CheckedHeapTest, LazySuitesAreAcquiredAtFirstUse) {
    LazySuite lazy = {nullptr, 4, "a suite", 0};
    ReleaseLazySuite(&lazy);
    EXPECT_TRUE(state.released.empty()) << "never acquired";

    EXPECT_EQ(broker, AcquireLazySuite(&lazy));
    EXPECT_EQ(broker, AcquireLazySuite(&lazy));
    EXPECT_EQ(1, state.acquisitions);
    ReleaseLazySuite(&lazy);
    ReleaseLazySuite(&lazy);
    EXPECT_EQ(std::vector<std::string>{"a suite"}, state.released);

    const auto codeRaised = [](LazySuite* handle) {
        try {
            AcquireLazySuite(handle);
        } catch (const SuiteFailure& failure) {
            return failure.code;
        }
        return 0;
    };
    lazy = {nullptr, 5, "a suite", 0};
    EXPECT_EQ(1, codeRaised(&lazy));
    EXPECT_EQ(1, lazy.lastError);
    EXPECT_EQ(nullptr, lazy.suite) << "a failed acquisition is tried again";
    gSPBasicSuite = nullptr;
    EXPECT_EQ(0x5061726D, codeRaised(&lazy));
}

}  // namespace
