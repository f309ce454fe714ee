// The checked heap and the lazily acquired suite over the stand-in host's memory services. The traces have
// scripts of allocations and releases, the calls of the host and the debugger's output.
#include "support/checked_heap.h"

#include <algorithm>
#include <cstring>
#include <map>

#include "support/debug_output.h"
#include "support/lazy_suite.h"
#include "support/module_state.h"
#include "tests/support/test_shell.h"

namespace {

using namespace test_support;

unsigned char* gServedAgain = nullptr;  // what ServeAgain returns
Trace* gFindings = nullptr;             // where the debugger's output goes

SPErr ServeAgain(std::size_t, void** block) {
    *block = gServedAgain - 4;
    return noErr;
}

struct CheckedHeapTest : testing::Test {
    CheckedHeapTest() {
        host = CreateHost(trace.Listen());
        gSPBasicSuite = BasicSuite();
        gFindings = &trace;
        gDebugOutput = [](const char* line) { gFindings->Add(std::string(line, std::strlen(line) - 1)); };
    }
    ~CheckedHeapTest() override {
        gDebugOutput = nullptr;
        gSPBasicSuite = nullptr;
        gCheckedHeap = {};
    }

    // The code that a call raises is part of the trace.
    template <class Failure, class Call>
    void Try(Call call) {
        try {
            call();
        } catch (const Failure& failure) {
            trace.Add("raised " + std::to_string(failure.code));
        }
    }
    void New(int size) {
        void* block = nullptr;
        Try<HeapFailure>([&] { block = CheckedNew(static_cast<std::size_t>(size)); });
        if (block == nullptr) return;
        blocks.push_back(static_cast<unsigned char*>(block));
        EXPECT_EQ(std::string(static_cast<char*>(block) - 4, size + 8), std::string(size + 8, 'A'));
    }
    // A block of the heap at an address that was allocated before.
    void NewAgain(unsigned char* address) {
        SPBasicSuite repeating = *BasicSuite();
        repeating.AllocateBlock = ServeAgain;
        gServedAgain = address;
        gSPBasicSuite = &repeating;
        EXPECT_EQ(CheckedNew(0), address);
        gSPBasicSuite = BasicSuite();
    }
    // Releases all other blocks and counts the findings in the debugger's output.
    void DeleteRest() {
        Trace others;
        gFindings = &others;
        for (unsigned char* block : blocks) {
            if (block != nullptr) CheckedDelete(block);
        }
        for (const char* finding : {"NO SIZE", "AT BEGINNING", "AT END", "EMPTY", "NOT FOUND"}) {
            int count = 0;
            for (std::size_t at = 0; (at = others.text.find(finding, at)) != std::string::npos; ++at) ++count;
            trace.Add(std::string(finding) + ": " + std::to_string(count));
        }
        EXPECT_EQ(CountLive(*host).blocks, 0);
    }
    // The count, and the block's number and size for each slot from the first to the last.
    void AddTable(int first, int last) {
        const std::int32_t firstSizes[] = {8, 9};
        std::string line = "count " + std::to_string(gCheckedHeap.count);
        for (int slot = first; slot <= last; ++slot) {
            void* const block = gCheckedHeap.blocks[slot];
            const auto number = std::find(blocks.begin() + 1, blocks.end(), block) - blocks.begin();
            const bool isSizes = std::memcmp(&block, firstSizes, sizeof block) == 0;
            line += block == nullptr ? ", null" : isSizes ? ", sizes" : ", " + std::to_string(number);
            line += " of " + std::to_string(gCheckedHeap.sizes[slot]);
        }
        trace.Add(line);
    }

    // Carries out the commands of the trace, each with two numbers at most.
    testing::AssertionResult Follows(const char* name) {
        const std::map<std::string, std::function<void(int, int)>> commands = {
            {"new", [this](int size, int) { New(size); }},
            {"new-many",
             [this](int count, int) {
                 for (int size = 0; size < count; ++size) New(size);
             }},
            {"new-again", [this](int block, int) { NewAgain(blocks[block]); }},
            {"clear", [this](int block, int offset) { blocks[block][offset] = 0; }},
            {"delete",
             [this](int block, int offset) {
                 CheckedDelete(blocks[block] + offset);
                 if (offset == 0) blocks[block] = nullptr;
             }},
            {"delete-rest", [this](int, int) { DeleteRest(); }},
            {"clear-size", [](int slot, int) { gCheckedHeap.sizes[slot] = 0; }},
            {"sweep", [](int, int) { ReportLiveBlocks(); }},
            {"table", [this](int first, int last) { AddTable(first, last); }},
            // An address covers two sizes, or one.
            {"expect-size-1",
             [](int, int) { EXPECT_EQ(gCheckedHeap.sizes[1], sizeof(void*) == 8 ? 0 : 1 + 8); }},
            {"foreign",
             [this](int size, int filled) {
                 void* block = nullptr;
                 gSPBasicSuite->AllocateBlock(size, &block);
                 std::memset(block, 'A', filled);
                 blocks.push_back(static_cast<unsigned char*>(block));
             }},
            {"free", [this](int block, int) { gSPBasicSuite->FreeBlock(blocks[block]); }},
            {"fail", [this](int, int) { OptionsOf(*host).failAt = ReportOf(*host).fallibleCalls + 1; }},
            {"null", [this](int isNull, int) { OptionsOf(*host).allocateBlockGivesNull = isNull != 0; }},
            {"broker", [](int isThere, int) { gSPBasicSuite = isThere != 0 ? BasicSuite() : nullptr; }},
            {"acquire",
             [this](int, int) {
                 Try<SuiteFailure>([this] { EXPECT_NE(AcquireLazySuite(&lazy), nullptr); });
                 trace.Add("last error " + std::to_string(lazy.lastError));
             }},
            {"release", [this](int, int) { ReleaseLazySuite(&lazy); }},
            {"forget", [this](int, int) { lazy.suite = nullptr; }},
            {"missing", [this](int count, int) { OptionsOf(*host).missingSuites.assign(count, lazy.name); }},
        };
        return trace.Follow(std::string("shell/") + name,
                            [&commands](const std::string& word, std::istream& words) {
                                int first = 0, second = 0;
                                words >> first >> second;
                                commands.at(word)(first, second);
                            });
    }

    Trace trace;
    HostPtr host;
    std::vector<unsigned char*> blocks = {nullptr};  // with numbers from 1 on; a released one is null
    LazySuite lazy = {nullptr, 1, "Photoshop Buffer Suite for Plug-ins", 0};
};

TEST_F(CheckedHeapTest, MatchesItsTrace) {
    EXPECT_TRUE(Follows("checked_heap"));
}

// With a full table blocks are allocated without an entry. A release then writes into the fields behind the
// arrays and leaves the count at -1. The table is unusable from then on, but harmless.
TEST_F(CheckedHeapTest, FullTableMatchesItsTrace) {
    OptionsOf(*host).trace = nullptr;  // the findings are enough
    EXPECT_TRUE(Follows("checked_heap_full"));
}

TEST_F(CheckedHeapTest, LazySuitesAreAcquiredAtFirstUse) {
    EXPECT_TRUE(Follows("lazy_suite"));
}

}  // namespace
