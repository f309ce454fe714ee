// The checked heap and the lazily acquired suite over the stand-in host's broker: a script of allocations and
// releases, with what the host is asked for and what the debugger's output says.
#include "support/checked_heap.h"

#include <cstring>

#include "support/debug_output.h"
#include "support/lazy_suite.h"
#include "tests/shell_rig.h"

namespace {

void* gServedAgain = nullptr;  // what ServeAgain hands out
Trace* gFindings = nullptr;    // where the debugger's output goes

SPErr ServeAgain(std::size_t, void** block) {
    *block = gServedAgain;
    return noErr;
}

unsigned char* New(std::size_t size) {
    return static_cast<unsigned char*>(CheckedNew(size));
}

struct CheckedHeapTest : testing::Test {
    CheckedHeapTest() {
        trace.hasBlocks = true;
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
    void TryNew(std::size_t size) {
        Try<HeapFailure>([size] { CheckedNew(size); });
    }
    // A block of the heap at an address that the broker has served before.
    void NewAgain(unsigned char* address) {
        SPBasicSuite repeating = *BasicSuite();
        repeating.AllocateBlock = ServeAgain;
        gServedAgain = address - 4;
        gSPBasicSuite = &repeating;
        EXPECT_EQ(New(0), address);
        gSPBasicSuite = BasicSuite();
    }
    void AddTable() {
        std::string line = "count " + std::to_string(gCheckedHeap.count) + ", sizes";
        for (int i = 0; i < 4; ++i) line += ' ' + std::to_string(gCheckedHeap.sizes[i]);
        trace.Add(line);
    }

    Trace trace;
    HostPtr host;
};

TEST_F(CheckedHeapTest, DoesWhatItsTraceSays) {
    trace.Begin("blocks between signatures");
    for (std::size_t size : {0, 1, 5, 100}) {
        unsigned char* address = New(size);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(address) - 4, size + 8), std::string(size + 8, 'A'));
        CheckedDelete(address);
    }
    for (int offset : {-4, -1, 0, 6, 7, 10}) {
        trace.Begin("damage at offset " + std::to_string(offset) + " of 7 bytes");
        unsigned char *address = New(7), *other = New(3);
        address[offset] = 0;
        CheckedDelete(other);
        CheckedDelete(address);
    }
    trace.Begin("failures");
    TryNew(SIZE_MAX);  // the total would wrap
    TryNew(0x7FFFFFFF);
    OptionsOf(*host).failAt = ReportOf(*host).fallibleCalls + 1;
    TryNew(1);
    OptionsOf(*host).allocateBlockGivesNull = true;
    EXPECT_EQ(New(1), nullptr);
    OptionsOf(*host).allocateBlockGivesNull = false;
    CheckedDelete(nullptr);
    gSPBasicSuite = nullptr;
    TryNew(1);
    CheckedDelete(nullptr);
    gSPBasicSuite = BasicSuite();

    trace.Begin("a release closes the gap");
    unsigned char *a = New(1), *b = New(2), *c = New(3);
    CheckedDelete(b);
    EXPECT_TRUE(gCheckedHeap.blocks[0] == a && gCheckedHeap.blocks[1] == c && !gCheckedHeap.blocks[2]);
    AddTable();
    SweepCheckedHeap();
    CheckedDelete(c);
    NewAgain(a);
    AddTable();
    CheckedDelete(a);
    SweepCheckedHeap();

    // Without a size the signature behind a block is looked for in front of it.
    for (const bool isSigned : {false, true}) {
        trace.Begin(isSigned ? "a foreign address behind eight bytes 0x41" : "a foreign address");
        unsigned char* own = isSigned ? nullptr : New(1);
        void* foreign = nullptr;
        gSPBasicSuite->AllocateBlock(16, &foreign);
        if (isSigned) std::memset(foreign, 'A', 8);
        CheckedDelete(static_cast<unsigned char*>(foreign) + (isSigned ? 8 : 4));
        if (isSigned) gSPBasicSuite->FreeBlock(foreign);
        if (!isSigned) CheckedDelete(own);
    }
    EXPECT_TRUE(MatchesTrace(trace.text, "checked_heap"));
}

// A full table serves without an entry. A release then writes into the fields behind the arrays, and leaves
// the count at -1; the table is of no use any more, and harms nothing.
TEST_F(CheckedHeapTest, AFullTableDoesWhatItsTraceSays) {
    trace.hasBlocks = false;
    std::vector<unsigned char*> blocks;
    for (std::size_t size = 0; size < kCheckedBlocks; ++size) blocks.push_back(New(size));
    trace.Begin("full");
    unsigned char* unknown = New(40);
    AddTable();
    CheckedDelete(unknown);
    trace.Begin("the release of block 100");
    void* firstSizes = nullptr;
    std::memcpy(&firstSizes, gCheckedHeap.sizes, sizeof firstSizes);
    CheckedDelete(blocks[100]);
    EXPECT_TRUE(gCheckedHeap.count == -1 && gCheckedHeap.blocks[99] == blocks[99] &&
                gCheckedHeap.blocks[498] == blocks[499]);
    EXPECT_EQ(gCheckedHeap.blocks[499], firstSizes) << "the sizes behind the array, taken for an address";
    EXPECT_EQ(gCheckedHeap.sizes[0], 0);
    EXPECT_EQ(gCheckedHeap.sizes[1], sizeof(void*) == 8 ? 0 : 1 + 8) << "an address covers two sizes, or one";
    EXPECT_EQ(gCheckedHeap.sizes[100], 101 + 8);
    EXPECT_EQ(gCheckedHeap.sizes[499], kCheckedBlocks) << "the count, taken for a size";

    trace.Begin("three new blocks, of which the second is released");
    blocks[100] = New(5);
    blocks.push_back(New(6));
    blocks.push_back(New(7));
    AddTable();
    CheckedDelete(blocks[500]);
    EXPECT_TRUE(gCheckedHeap.blocks[0] == blocks[501] && gCheckedHeap.blocks[1] == blocks[2] &&
                gCheckedHeap.blocks[2] == nullptr && gCheckedHeap.blocks[3] == blocks[3]);
    AddTable();
    trace.Begin("a block beyond the count, served again and released");
    NewAgain(blocks[50]);
    CheckedDelete(blocks[50]);
    AddTable();
    trace.Begin("the others");
    Trace others;
    gFindings = &others;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        if (i != 50 && i != 500) CheckedDelete(blocks[i]);
    }
    for (const char* finding : {"NO SIZE", "AT BEGINNING", "AT END", "EMPTY", "NOT FOUND"}) {
        int count = 0;
        for (std::size_t at = 0; (at = others.text.find(finding, at)) != std::string::npos; ++at) ++count;
        trace.Add(std::string(finding) + ": " + std::to_string(count));
    }
    EXPECT_EQ(CountLive(*host).blocks, 0);
    EXPECT_TRUE(MatchesTrace(trace.text, "checked_heap_full"));
}

TEST_F(CheckedHeapTest, LazySuitesAreAcquiredAtFirstUse) {
    LazySuite lazy = {nullptr, 1, "Photoshop Buffer Suite for Plug-ins", 0};
    const auto acquire = [&] { EXPECT_NE(AcquireLazySuite(&lazy), nullptr); };
    ReleaseLazySuite(&lazy);  // never acquired
    for (int use = 0; use < 2; ++use) acquire();
    for (int end = 0; end < 2; ++end) ReleaseLazySuite(&lazy);
    OptionsOf(*host).missingSuites = {lazy.name};
    Try<SuiteFailure>(acquire);
    EXPECT_EQ(lazy.lastError, -1);
    OptionsOf(*host).missingSuites = {};
    acquire();  // a failed acquisition is tried again
    gSPBasicSuite = nullptr;
    ReleaseLazySuite(&lazy);
    lazy.suite = nullptr;
    Try<SuiteFailure>(acquire);
    EXPECT_TRUE(MatchesTrace(trace.text, "lazy_suite"));
}

}  // namespace
