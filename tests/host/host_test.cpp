// The stand-in host: each check that it promises, with small steps of a module. Its answers and violations
// are compared with the traces.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <numeric>
#include <thread>

#include "host/host_state.h"
#include "host/painting.h"
#include "tests/support/test_shell.h"
#include "tests/support/trace.h"

namespace {

using namespace test_support;

const PSBufferSuite& gBuffers = *BufferSuite();
const PSChannelPortsSuite& gPorts = *ChannelPortsSuite();

// A module's memory record for rows of `columns` samples from the address on.
PixelMemoryDesc MemoryOf(void* data, std::int32_t columns, std::int32_t depth) {
    return {data, columns * depth, depth, 0, depth};
}

class HostTest : public testing::Test {
  protected:
    // A run of one step, which the trace gets under its title.
    void Run(const char* title, const std::function<void(FilterRecord&)>& step) {
        trace_.Begin(title);
        options_.trace = [this](const std::string& line) { trace_.Add(line); };
        OpenDocument(*host_, document_);
        step(*PrepareRecord(*host_));
        EndRun(*host_);
        options_.trace = nullptr;
    }

    // Reads from the target's channel of the number.
    static SPErr Read(FilterRecord& r, int channel, const PixelMemoryDesc& memory, VRect rect) {
        const ReadChannelDesc* record = r.documentInfo->targetCompositeChannels;
        return gPorts.ReadPixelsFromLevel((channel == 0 ? record : record->next)->port, 0, &rect, &memory);
    }

    // Gives the bottom of what was delivered; -1 where the host refuses.
    static std::int32_t ReadScaled(FilterRecord& r, void* plane, std::int32_t depth, const VRect& source,
                                   const VRect& destination, VRect rect) {
        const PixelMemoryDesc memory = MemoryOf(plane, WidthOf(rect), depth);
        const PSScaling scaling = {source, destination};
        const PIChannelPort port = r.documentInfo->targetCompositeChannels->port;
        return gPorts.ReadScaledPixels(port, &rect, &scaling, &memory) == noErr ? rect.bottom : -1;
    }

    const Channel& Red() const { return document_.layers[1].colour[0]; }

    HostPtr host_ = CreateHost();
    HostOptions& options_ = OptionsOf(*host_);
    Document document_ = PatternDocument(5, 4, 8, 2);
    struct Trace trace_;  // and not the function of the host
};

// ---- Selectors
// ---------------------------------------------------------------------------------------------

TEST_F(HostTest, RefusesASecondHostAndAnInvalidDocument) {
    EXPECT_THROW(CreateHost(), std::logic_error);
    document_.targetLayer = 2;
    EXPECT_EQ(ValidateDocument(document_), "the target is not a layer of the document");
    EXPECT_THROW(OpenDocument(*host_, document_), std::invalid_argument);
}

TEST_F(HostTest, WatchesSelectorCalls) {
    static const void* before;  // the record of one call is invalid in the next
    const auto module = [](std::int16_t, void* block, std::intptr_t*, std::int16_t*) {
        auto& record = *static_cast<FilterRecord*>(block);
        EXPECT_NE(record.handleProcs, before);
        before = record.handleProcs;
        record.handleProcs->lockProc(record.handleProcs->newProc(8), 1);
        record.descriptorParameters->writeDescriptorProcs->openWriteDescriptorProc();
        record.handleProcs->getSizeProc(nullptr);
        std::thread([&record] { record.abortProc(); }).join();
        record.inRect = {0, 0, 1, 1};
        throw 1;
    };
    Run("a lock and a token that are not released, a missing service, another thread, tiles, an exception",
        [&](FilterRecord&) {
            for (int call = 1; call <= 2; ++call) CallSelector(*host_, module, filterSelectorStart);
        });
    options_.abortAt = 4;  // two calls were earlier
    Run("an abort from the second call on", [](FilterRecord& r) {
        for (int call = 1; call <= 3; ++call) r.abortProc();
    });
    EXPECT_TRUE(MatchesTrace(trace_.text, "host/walk"));
}

// ---- Memory -----------------------------------------------------------------------------------------------

TEST_F(HostTest, WatchesMemory) {
    Run("handles", [](FilterRecord& r) {
        const HandleProcs& procs = *r.handleProcs;
        procs.newProc(-1);
        const Handle handle = procs.newProc(4);
        std::memcpy(*handle, "abcd", 4);
        char* stale = *handle;
        procs.unlockProc(handle);  // without a lock
        char* locked = procs.lockProc(handle, 1);
        EXPECT_EQ(std::memcmp(locked, "abcd", 4), 0);
        EXPECT_NE(std::memcmp(stale, "abcd", 4), 0);
        stale[0] = 'x';  // the block's address before the lock
        EXPECT_EQ(procs.lockProc(handle, 0), locked);
        procs.disposeProc(handle);  // while locked
        procs.disposeProc(handle);  // twice
        char* foreign = nullptr;
        procs.unlockProc(&foreign);
    });
    Run("buffers", [](FilterRecord&) {
        void* buffer = gBuffers.New(nullptr, 10);
        void* same = buffer;
        EXPECT_EQ(static_cast<std::uint8_t*>(buffer)[9], 0xA5);
        static_cast<std::uint8_t*>(buffer)[10] = 1;
        gBuffers.Dispose(&buffer);
        EXPECT_EQ(buffer, nullptr);
        gBuffers.Dispose(&same);
        gBuffers.New(nullptr, 3);  // never disposed of
    });
    Run("blocks and suites", [](FilterRecord& r) {
        void *block = nullptr, *own = nullptr;
        r.sSPBasic->AllocateBlock(6, &block);
        static_cast<std::uint8_t*>(block)[-1] = 1;
        r.sSPBasic->FreeBlock(&own);
        r.sSPBasic->FreeBlock(static_cast<char*>(block) + 1);
        EXPECT_EQ(r.sSPBasic->FreeBlock(block), noErr);
        static_cast<std::uint8_t*>(block)[0] = 1;
        EXPECT_EQ(r.sSPBasic->FreeBlock(nullptr), noErr);
        r.sSPBasic->ReleaseSuite(kPSGetFileListSuite, 4);
        const void* suite = nullptr;
        r.sSPBasic->AcquireSuite(kPSChannelPortsSuite, 1, &suite);  // another version
    });
    EXPECT_TRUE(MatchesTrace(trace_.text, "host/memory"));
}

TEST_F(HostTest, KeepsGuardsAndCountsWhenLean) {
    options_ = LeanOptions();
    OpenDocument(*host_, document_);
    const HandleProcs& procs = *PrepareRecord(*host_)->handleProcs;
    const Handle handle = procs.newProc(4);
    const char* address = *handle;
    EXPECT_EQ(procs.lockProc(handle, 1), address);
    void *buffer = gBuffers.New(nullptr, 10), *empty = gBuffers.New(nullptr, 0);
    static_cast<std::uint8_t*>(buffer)[10] = 1;
    gBuffers.Dispose(&buffer);
    gBuffers.Dispose(&empty);
    EXPECT_TRUE(host_->memory.quarantine.empty());
    EndRun(*host_);
    EXPECT_EQ(ViolationText(*host_),
              "buffer 1 of 10 bytes was written past its ends\nhandle 1 of 4 bytes is left at the end of the "
              "run\n");
}

// ---- Channel ports ----------------------------------------------------------------------------------------

TEST_F(HostTest, WatchesPorts) {
    Layer& target = document_.layers[1];
    target.colour[0].readable = target.transparency->writable = target.colour[1].hasWritePort = false;
    Run("ports without access, of the other direction, null and unknown", [this](FilterRecord& r) {
        ReadChannelDesc* red = r.documentInfo->targetCompositeChannels;
        EXPECT_EQ(red->next->writePort, nullptr);
        std::uint8_t plane[20];
        const PixelMemoryDesc memory = MemoryOf(plane, 5, 8);
        VRect all = {0, 0, 4, 5};
        Boolean can = 1;
        gPorts.CanRead(red->port, &can);
        for (const PIChannelPort port : {red->port, red->writePort, PIChannelPort{nullptr}})
            EXPECT_NE(gPorts.ReadPixelsFromLevel(port, 0, &all, &memory), noErr);
        for (const PIChannelPort port : {red->port, r.documentInfo->targetTransparency->writePort})
            EXPECT_NE(gPorts.WritePixelsToBaseLevel(port, &all, &memory), noErr);
        EXPECT_NE(gPorts.CanRead(reinterpret_cast<PIChannelPort>(&document_), &can), noErr);
    });
    target.colour[0].readable = true;
    Run("memory and rectangles that do not fit", [](FilterRecord& r) {
        void* plane = gBuffers.New(nullptr, 19);  // one byte short
        void* wide = gBuffers.New(nullptr, 200);
        const VRect all = {0, 0, 4, 5};
        Read(r, 1, MemoryOf(plane, 5, 8), all);
        Read(r, 1, MemoryOf(wide, 5, 16), all);  // wrong depth
        Read(r, 1, MemoryOf(wide, 4, 8), all);   // rows overlap
        Read(r, 1, MemoryOf(nullptr, 5, 8), all);
        Read(r, 1, {wide, 40, 8, 3, 8}, all);  // not whole bytes
        Read(r, 1, {wide, 40, 4, 0, 8}, all);
        Read(r, 1, MemoryOf(wide, 6, 8), {0, 0, 4, 6});
        Read(r, 1, MemoryOf(wide, 5, 8), {-1, 0, 3, 5});
        Read(r, 1, MemoryOf(wide, 5, 8), {2, 2, 2, 4});
        ReadScaled(r, wide, 8, {0, 0, 5, 5}, {0, 0, 2, 3}, {0, 0, 2, 3});
        ReadScaled(r, wide, 8, {2, 0, 1, 5}, {0, 0, 2, 3}, {0, 0, 2, 3});
        gBuffers.Dispose(&plane);
        const PixelMemoryDesc freed = MemoryOf(wide, 5, 8);
        gBuffers.Dispose(&wide);
        Read(r, 1, freed, all);
    });
    document_.bounds = {2, -1, 6, 4};
    Run("reads from 0, 0 with bounds away from 0", [this](FilterRecord& r) {
        std::uint8_t plane[4][5] = {};
        EXPECT_EQ(Read(r, 0, MemoryOf(plane, 5, 8), {0, 0, 4, 5}), noErr);
        EXPECT_TRUE(plane[2][0] == SampleAt(document_, Red(), 1, 0) && plane[1][0] == 0);
        EXPECT_TRUE(plane[3][3] == SampleAt(document_, Red(), 4, 1) && plane[2][4] == 0);
        document_.bounds = {2, 10, 6, 15};  // no common column
        EXPECT_EQ(Read(r, 0, MemoryOf(plane, 5, 8), {0, 0, 4, 5}), noErr);
    });
    EXPECT_TRUE(MatchesTrace(trace_.text, "host/ports"));
}

// The mean over the area by definition: the source is enlarged by the size of the destination, and each
// destination sample is the mean of as many samples as the source has.
std::uint16_t Mean(const Document& document, const Channel& channel, const VRect& source, VPoint size, int y,
                   int x) {
    const int h = HeightOf(source), w = WidthOf(source);
    std::int64_t sum = 0;
    for (int j = y * h; j < (y + 1) * h; ++j) {
        for (int i = x * w; i < (x + 1) * w; ++i)
            sum += SampleAt(document, channel, source.left + i / size.h, source.top + j / size.v);
    }
    return static_cast<std::uint16_t>((2 * sum + w * h) / (2 * w * h));
}

TEST_F(HostTest, ScalesByAreaExactly) {
    for (const std::int32_t depth : {8, 16}) {
        document_ = PatternDocument(17, 13, depth, 2);
        Run("", [&](FilterRecord& r) {
            for (const VRect& source :
                 {VRect{0, 0, 13, 17}, {3, 2, 12, 9}, {12, 16, 13, 17}, {0, 5, 13, 6}}) {
                for (const VPoint& size : {VPoint{13, 17}, {5, 4}, {1, 1}, {29, 40}, {13, 3}, {4, 31}}) {
                    Document scaled = MakeDocument(size.h, size.v, depth);
                    Channel plane = MakeChannel(scaled, 0), expected = plane;
                    for (int i = 0; i < size.v * size.h; ++i) {
                        const int x = i % size.h, y = i / size.h;
                        SetSample(scaled, expected, x, y, Mean(document_, Red(), source, size, y, x));
                    }
                    EXPECT_EQ(ReadScaled(r, plane.bytes.data(), depth, source, scaled.bounds, scaled.bounds),
                              size.v);
                    EXPECT_EQ(plane.bytes, expected.bytes);
                }
            }
        });
    }
}

TEST_F(HostTest, ScalesEmptySourcesAndPartsOfTheDestination) {
    Run("", [this](FilterRecord& r) {
        const int last = SampleAt(document_, Red(), 4, 3);
        std::uint8_t plane[6] = {};
        ReadScaled(r, plane, 8, {4, 5, 4, 5}, {0, 0, 2, 3}, {0, 0, 2, 3});  // empty, at the far corner
        for (const std::uint8_t sample : plane) EXPECT_EQ(sample, last);
        plane[0] = static_cast<std::uint8_t>(~last);
        ReadScaled(r, plane, 8, {0, 0, 4, 5}, {10, 20, 14, 25}, {13, 24, 14, 25});  // only the last sample
        EXPECT_EQ(plane[0], last);
        options_.shrinkScaledReads = true;
        EXPECT_EQ(ReadScaled(r, plane, 8, {0, 0, 4, 5}, {0, 0, 2, 3}, {0, 0, 2, 3}), 1);
    });
}

// ---- Descriptors ------------------------------------------------------------------------------------------

TEST_F(HostTest, WatchesDescriptors) {
    SetDescriptor(*host_, {{FourCC("RGre"), kTypeInteger, -500},
                           {FourCC("zzzz"), FourCC("TEXT"), 9},
                           {FourCC("Blog"), kTypeBoolean, 1}});
    Run("a reader and a writer", [](FilterRecord& r) {
        PIDescriptorParameters& parameters = *r.descriptorParameters;
        const ReadDescriptorProcs& read = *parameters.readDescriptorProcs;
        const WriteDescriptorProcs& write = *parameters.writeDescriptorProcs;
        FourCharCode keys[] = {FourCC("RGre"), FourCC("Blog"), FourCC("OutA"), 0};
        const PIReadDescriptor token = read.openReadDescriptorProc(parameters.descriptor, keys);
        FourCharCode key = 0, type = 0;
        std::int32_t value = 77, flags = 0;
        read.getIntegerProc(token, &value);  // before a key
        while (read.getKeyProc(token, &key, &type, &flags)) read.getIntegerProc(token, &value);
        read.getIntegerProc(token, &value);                 // already fetched
        r.handleProcs->disposeProc(parameters.descriptor);  // while open
        read.closeReadDescriptorProc(token);
        EXPECT_FALSE(read.getKeyProc(token, &key, &type, &flags));
        const PIWriteDescriptor out = write.openWriteDescriptorProc();
        write.putBooleanProc(out, FourCC("Blog"), 1);
        write.putIntegerProc(out, FourCC("Blog"), 2);  // the key again
        Handle written = nullptr;
        write.closeWriteDescriptorProc(out, &written);
        r.handleProcs->disposeProc(written);
    });
    EXPECT_TRUE(MatchesTrace(trace_.text, "host/tokens"));
}

// ---- Displayed pixels
// --------------------------------------------------------------------------------------

TEST_F(HostTest, RecordsAndComposesDisplayedPixels) {
    constexpr int kWidth = 20, kPlane = 3 * kWidth;
    Run("a map, a map that ends past its block, a map without pixels", [](FilterRecord& r) {
        void* pixels = gBuffers.New(nullptr, 3 * kPlane);
        std::uint8_t* const first = static_cast<std::uint8_t*>(pixels);
        std::iota(first, first + 3 * kPlane, std::uint8_t{0});
        std::uint8_t alpha[kPlane] = {};
        alpha[kWidth + 1] = 255;
        alpha[kWidth + 2] = 51;
        PSPixelMask mask = {nullptr, alpha, kWidth, 1, kSimplePSMask};
        PSPixelMap map = {
            2, {5, 7, 8, 27}, plugInModeRGBColor, kWidth, 1, kPlane, pixels, nullptr, &mask, 0, 0, nullptr,
            0};
        for (void* base : {pixels, pixels, static_cast<void*>(nullptr)}) {
            map.baseAddr = base;
            r.displayPixels(&map, &map.bounds, 30, 40, nullptr);
            map.planeBytes = kPlane + 1;
        }
        gBuffers.Dispose(&pixels);
    });
    EXPECT_TRUE(MatchesTrace(trace_.text, "host/display"));
    const DisplayCall& shown = ReportOf(*host_).displays.at(0);
    EXPECT_EQ(shown.pixels[2 * kPlane + 5], 2 * kPlane + 5);
    const std::vector<std::uint32_t> composed = ComposeDisplay(shown);
    EXPECT_EQ(composed[0], 0xFFFFFFu);
    EXPECT_EQ(composed[kCheckerSize], 0xCCCCCCu);
    EXPECT_EQ(composed[kWidth + 1], 0x15518Du);  // 21, 81 and 141
    EXPECT_EQ(composed[kWidth + 2], 0xD0DCE8u);  // a fifth of 22, 82 and 142 over white
}

}  // namespace
