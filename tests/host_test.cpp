// The stand-in host: that it catches what it promises, with small steps of a module that do one thing each.
#include "host/host.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <map>
#include <thread>

#include "host/module.h"
#include "host/painting.h"
#include "tests/shell_rig.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace {

using Kind = ViolationKind;
using Counts = std::map<ViolationKind, int>;
template <class Suite>
const Suite& SuiteOf(FilterRecord& record, const char* name, std::int32_t version) {
    const void* suite = nullptr;
    record.sSPBasic->AcquireSuite(name, version, &suite);
    return *static_cast<const Suite*>(suite);
}

const PSBufferSuite& Buffers(FilterRecord& record) {
    return SuiteOf<PSBufferSuite>(record, kPSBufferSuite, kPSBufferSuiteVersion);
}

const PSChannelPortsSuite& Ports(FilterRecord& record) {
    return SuiteOf<PSChannelPortsSuite>(record, kPSChannelPortsSuite, kPSChannelPortsSuiteVersion);
}

// A module's memory record for rows of `columns` samples from the address on.
PixelMemoryDesc MemoryOf(void* data, std::int32_t columns, std::int32_t depth) {
    return {data, columns * depth, depth, 0, depth};
}

class HostTest : public testing::Test {
  protected:
    // How many violations of each kind the step brings, and the end of the run after it.
    void Expect(const char* what, const Counts& expected, const std::function<void(FilterRecord&)>& step) {
        ClearReport(*host_);
        OpenDocument(*host_, document_);
        step(*PrepareRecord(*host_));
        EndRun(*host_);
        Counts counts;
        for (const Violation& violation : ReportOf(*host_).violations) ++counts[violation.kind];
        EXPECT_EQ(counts, expected) << what << '\n' << ViolationText(*host_);
    }

    const Channel& Red() const { return document_.layers[1].colour[0]; }

    HostPtr host_ = CreateHost();
    HostOptions& options_ = OptionsOf(*host_);
    Document document_ = PatternDocument(5, 4, 8, 2);
};

// ---- The walk ---------------------------------------------------------------------------------------------

TEST_F(HostTest, RefusesASecondHostAndABrokenDocument) {
    EXPECT_THROW(CreateHost(), std::logic_error);
    document_.targetLayer = 2;
    EXPECT_EQ(FaultOfDocument(document_), "the target is no layer of the document");
    EXPECT_THROW(OpenDocument(*host_, document_), std::invalid_argument);
}

TEST_F(HostTest, CatchesWhatBreaksTheWalk) {
    static const void* before;  // the record of one call is no good in the next
    const auto module = [](std::int16_t, void* block, std::intptr_t*, std::int16_t*) {
        auto& record = *static_cast<FilterRecord*>(block);
        EXPECT_NE(before, record.handleProcs);
        before = record.handleProcs;
        record.handleProcs->lockProc(record.handleProcs->newProc(8), 1);
        record.descriptorParameters->writeDescriptorProcs->openWriteDescriptorProc();
        std::thread([&record] { Buffers(record); }).join();
        record.inRect = {0, 0, 1, 1};
        throw 1;
    };
    const Counts expected = {{Kind::kThread, 2}, {Kind::kCall, 4}, {Kind::kLocking, 2}, {Kind::kLeak, 4}};
    Expect("a lock and a token that are left, another thread, tiles, an exception", expected,
           [&](FilterRecord&) {
               for (int call = 1; call <= 2; ++call) CallSelector(*host_, module, filterSelectorStart);
           });
}

TEST_F(HostTest, MakesAnyCallFailAndAborts) {
    const OSErr codes[] = {memFullErr, memFullErr, errPlugInHostInsufficient};  // a handle, a lock, a suite
    for (options_.failAt = 1; options_.failAt <= 3; ++options_.failAt) {
        ClearReport(*host_);
        EXPECT_EQ(RunFilter(*host_, PluginMain, document_, AskForParameters::kNo).result,
                  codes[options_.failAt - 1]);
        CloseHost(*host_);
    }
    options_.abortAt = 2;
    Expect("aborts", {}, [](FilterRecord& r) {
        for (int call = 1; call <= 3; ++call) EXPECT_EQ(r.abortProc(), call >= 2);
    });
    EXPECT_TRUE(ReportOf(*host_).aborted);
}

// ---- Memory -----------------------------------------------------------------------------------------------

TEST_F(HostTest, CatchesMisuseOfHandles) {
    const Counts expected = {
        {Kind::kBadHandle, 2}, {Kind::kBadArgument, 1}, {Kind::kLocking, 3}, {Kind::kUseAfterFree, 1}};
    Expect("handles", expected, [](FilterRecord& r) {
        const HandleProcs& procs = *r.handleProcs;
        EXPECT_EQ(procs.newProc(-1), nullptr);
        const Handle handle = procs.newProc(4);
        std::memcpy(*handle, "abcd", 4);
        char* stale = *handle;
        procs.unlockProc(handle);  // unlocked without a lock
        char* locked = procs.lockProc(handle, 1);
        EXPECT_EQ(std::memcmp(locked, "abcd", 4), 0);
        EXPECT_NE(std::memcmp(stale, "abcd", 4), 0);
        stale[0] = 'x';  // written to where it stood before its locking
        EXPECT_EQ(procs.lockProc(handle, 1), locked);
        EXPECT_EQ(procs.setSizeProc(handle, 20), memFullErr);  // resized while locked
        procs.unlockProc(handle);
        procs.unlockProc(handle);
        EXPECT_EQ(procs.setSizeProc(handle, 20), noErr);
        EXPECT_EQ(procs.getSizeProc(handle), 20);
        EXPECT_EQ(std::memcmp(*handle, "abcd", 4), 0);
        procs.lockProc(handle, 1);
        procs.disposeProc(handle);  // disposed of while locked
        procs.disposeProc(handle);  // and once more
        char* foreign = nullptr;
        procs.unlockProc(&foreign);
    });
}

TEST_F(HostTest, CatchesMisuseOfBuffersAndBlocks) {
    Expect("a buffer", {{Kind::kOverrun, 1}, {Kind::kBadPointer, 1}, {Kind::kLeak, 1}}, [](FilterRecord& r) {
        const PSBufferSuite& suite = Buffers(r);
        void* buffer = suite.New(nullptr, 10);
        void* same = buffer;
        EXPECT_EQ(static_cast<std::uint8_t*>(buffer)[9], 0xA5);
        static_cast<std::uint8_t*>(buffer)[10] = 1;
        suite.Dispose(&buffer);
        EXPECT_EQ(buffer, nullptr);
        suite.Dispose(&same);
        suite.New(nullptr, 3);
    });
    const Counts expected = {
        {Kind::kOverrun, 1}, {Kind::kBadPointer, 2}, {Kind::kUseAfterFree, 1}, {Kind::kSuite, 1}};
    Expect("a block and a suite", expected, [](FilterRecord& r) {
        void* block = nullptr;
        EXPECT_EQ(r.sSPBasic->AllocateBlock(6, &block), noErr);
        static_cast<std::uint8_t*>(block)[-1] = 1;
        int own = 0;
        EXPECT_NE(r.sSPBasic->FreeBlock(&own), noErr);
        EXPECT_NE(r.sSPBasic->FreeBlock(static_cast<char*>(block) + 1), noErr);
        EXPECT_EQ(r.sSPBasic->FreeBlock(block), noErr);
        static_cast<std::uint8_t*>(block)[0] = 1;
        EXPECT_EQ(r.sSPBasic->FreeBlock(nullptr), noErr);
        EXPECT_NE(r.sSPBasic->ReleaseSuite(kPSGetFileListSuite, 4), noErr);
        const void* suite = nullptr;
        EXPECT_NE(r.sSPBasic->AcquireSuite(kPSChannelPortsSuite, 1, &suite), noErr) << "another version";
    });
}

// ---- Channel ports ----------------------------------------------------------------------------------------

TEST_F(HostTest, CatchesMisuseOfPorts) {
    Layer& target = document_.layers[1];
    target.colour[0].readable = false;
    target.colour[1].hasWritePort = false;
    target.transparency->writable = false;
    const Layer before = target;
    Expect("ports the wrong way round", {{Kind::kBadPort, 6}}, [this](FilterRecord& r) {
        const PSChannelPortsSuite& ports = Ports(r);
        ReadChannelDesc* red = r.documentInfo->targetCompositeChannels;
        EXPECT_EQ(red->next->writePort, nullptr);
        std::uint8_t plane[20];
        PixelMemoryDesc memory = MemoryOf(plane, 5, 8);
        VRect all = {0, 0, 4, 5};
        Boolean can = 1;
        EXPECT_EQ(ports.CanRead(red->port, &can), noErr);
        EXPECT_FALSE(can);
        EXPECT_NE(ports.ReadPixelsFromLevel(red->port, 0, &all, &memory), noErr);
        EXPECT_NE(ports.ReadPixelsFromLevel(red->writePort, 0, &all, &memory), noErr);
        EXPECT_NE(ports.WritePixelsToBaseLevel(red->port, &all, &memory), noErr);
        const PIChannelPort transparency = r.documentInfo->targetTransparency->writePort;
        EXPECT_NE(ports.WritePixelsToBaseLevel(transparency, &all, &memory), noErr);
        EXPECT_NE(ports.ReadPixelsFromLevel(nullptr, 0, &all, &memory), noErr);
        EXPECT_NE(ports.CanRead(reinterpret_cast<PIChannelPort>(&document_), &can), noErr);
    });
    EXPECT_EQ(target.transparency->bytes, before.transparency->bytes);
    EXPECT_EQ(target.colour[0].bytes, before.colour[0].bytes);
}

TEST_F(HostTest, CatchesMemoryAndRectanglesThatDoNotFit) {
    const Counts expected = {{Kind::kBadMemory, 6}, {Kind::kBadRectangle, 5}, {Kind::kUseAfterFree, 1}};
    Expect("reads", expected, [](FilterRecord& r) {
        const PSChannelPortsSuite& ports = Ports(r);
        const PIChannelPort port = r.documentInfo->targetCompositeChannels->next->port;
        void* plane = Buffers(r).New(nullptr, 19);  // one byte short
        void* wide = Buffers(r).New(nullptr, 200);
        const auto read = [&](PixelMemoryDesc memory, VRect rect) {
            EXPECT_NE(ports.ReadPixelsFromLevel(port, 0, &rect, &memory), noErr);
        };
        const auto scale = [&](VRect source) {
            PixelMemoryDesc memory = MemoryOf(wide, 3, 8);
            VRect rect = {0, 0, 2, 3};
            const PSScaling scaling = {source, rect};
            EXPECT_NE(ports.ReadScaledPixels(port, &rect, &scaling, &memory), noErr);
        };
        const VRect all = {0, 0, 4, 5};
        read(MemoryOf(plane, 5, 8), all);
        read(MemoryOf(wide, 5, 16), all);  // another depth
        read(MemoryOf(wide, 4, 8), all);   // rows overlap
        read(MemoryOf(nullptr, 5, 8), all);
        read({wide, 40, 8, 3, 8}, all);  // no whole bytes
        read({wide, 40, 4, 0, 8}, all);
        read(MemoryOf(wide, 6, 8), {0, 0, 4, 6});
        read(MemoryOf(wide, 5, 8), {-1, 0, 3, 5});
        read(MemoryOf(wide, 5, 8), {2, 2, 2, 4});
        scale({0, 0, 5, 5});
        scale({2, 0, 1, 5});
        void* freed = wide;
        Buffers(r).Dispose(&plane);
        Buffers(r).Dispose(&wide);
        read(MemoryOf(freed, 5, 8), all);
    });
}

TEST_F(HostTest, DeliversThePartInsideBoundsThatDoNotBeginAtZero) {
    document_.bounds = {2, -1, 6, 4};
    Expect("a read from 0, 0", {}, [this](FilterRecord& r) {
        std::uint8_t plane[4][5] = {};
        PixelMemoryDesc memory = MemoryOf(plane, 5, 8);
        VRect rect = {0, 0, 4, 5};
        const PIChannelPort port = r.documentInfo->targetCompositeChannels->port;
        EXPECT_EQ(Ports(r).ReadPixelsFromLevel(port, 0, &rect, &memory), noErr);
        EXPECT_TRUE(rect.top == 2 && rect.left == 0 && rect.bottom == 4 && rect.right == 4);
        EXPECT_EQ(plane[2][0], SampleAt(document_, Red(), 1, 0));
        EXPECT_EQ(plane[3][3], SampleAt(document_, Red(), 4, 1));
        EXPECT_TRUE(plane[1][0] == 0 && plane[2][4] == 0);
        document_.bounds = {2, 10, 6, 15};  // no column in common
        rect = {0, 0, 4, 5};
        EXPECT_EQ(Ports(r).ReadPixelsFromLevel(port, 0, &rect, &memory), noErr);
        EXPECT_TRUE(rect.bottom == 0 && rect.right == 0);
    });
}

// The mean over the area by its definition: every fraction of every source sample, in whole numbers.
std::uint16_t NaiveMean(const Document& document, const Channel& channel, const VRect& source, VPoint size,
                        int y, int x) {
    const std::int64_t h = HeightOf(source), w = WidthOf(source);
    const auto overlap = [](std::int64_t a0, std::int64_t a1, std::int64_t b0, std::int64_t b1) {
        return std::max<std::int64_t>(0, std::min(a1, b1) - std::max(a0, b0));
    };
    std::int64_t sum = 0;
    for (int j = 0; j < h; ++j) {
        for (int i = 0; i < w; ++i) {
            sum += overlap(j * size.v, (j + 1) * size.v, y * h, (y + 1) * h) *
                   overlap(i * size.h, (i + 1) * size.h, x * w, (x + 1) * w) *
                   SampleAt(document, channel, source.left + i, source.top + j);
        }
    }
    return static_cast<std::uint16_t>((2 * sum + w * h) / (2 * w * h));
}

TEST_F(HostTest, ScalesByAreaExactly) {
    for (const std::int32_t depth : {8, 16}) {
        document_ = PatternDocument(17, 13, depth, 2);
        Expect("scaled reads", {}, [&](FilterRecord& r) {
            const PIChannelPort port = r.documentInfo->targetCompositeChannels->port;
            for (const VRect& source :
                 {VRect{0, 0, 13, 17}, {3, 2, 12, 9}, {12, 16, 13, 17}, {0, 5, 13, 6}}) {
                for (const VPoint& size : {VPoint{13, 17}, {5, 4}, {1, 1}, {29, 40}, {13, 3}, {4, 31}}) {
                    Document scaled = MakeDocument(size.h, size.v, depth);
                    const Channel plane = MakeChannel(scaled, 0);
                    PixelMemoryDesc memory =
                        MemoryOf(const_cast<std::uint8_t*>(plane.bytes.data()), size.h, depth);
                    VRect rect = scaled.bounds;
                    const PSScaling scaling = {source, rect};
                    ASSERT_EQ(Ports(r).ReadScaledPixels(port, &rect, &scaling, &memory), noErr);
                    for (int i = 0; i < size.v * size.h; ++i) {
                        const int x = i % size.h, y = i / size.h;
                        ASSERT_EQ(SampleAt(scaled, plane, x, y),
                                  NaiveMean(document_, Red(), source, size, y, x))
                            << "source at " << source.top << ' ' << source.left << " to " << size.v << 'x'
                            << size.h << " at " << y << ' ' << x;
                    }
                }
            }
        });
    }
}

TEST_F(HostTest, ScalesEmptySourcesAndPartsOfTheDestination) {
    Expect("scaled reads", {}, [this](FilterRecord& r) {
        const PIChannelPort port = r.documentInfo->targetCompositeChannels->port;
        std::uint8_t plane[6] = {};
        const auto read = [&](VRect source, VRect destination, VRect rect) {
            PixelMemoryDesc memory = MemoryOf(plane, WidthOf(rect), 8);
            const PSScaling scaling = {source, destination};
            EXPECT_EQ(Ports(r).ReadScaledPixels(port, &rect, &scaling, &memory), noErr);
            return rect;
        };
        const int last = SampleAt(document_, Red(), 4, 3);
        read({4, 5, 4, 5}, {0, 0, 2, 3}, {0, 0, 2, 3});  // zoomed to nothing at the far corner
        for (const std::uint8_t sample : plane) EXPECT_EQ(sample, last);
        plane[0] = static_cast<std::uint8_t>(~last);
        read({0, 0, 4, 5}, {10, 20, 14, 25}, {13, 24, 14, 25});  // the lower right sample alone
        EXPECT_EQ(plane[0], last);
        options_.shrinkScaledReads = true;
        const VRect shrunk = read({0, 0, 4, 5}, {0, 0, 2, 3}, {0, 0, 2, 3});
        EXPECT_TRUE(shrunk.bottom == 1 && shrunk.right == 2);
    });
}

// ---- Descriptors ------------------------------------------------------------------------------------------

TEST_F(HostTest, DescriptorsGoThroughBothWaysAndTokensAreWatched) {
    const Descriptor given = {{FourCC("RGre"), kTypeInteger, -500},
                              {FourCC("zzzz"), FourCC("TEXT"), 9},
                              {FourCC("Blog"), kTypeBoolean, 1}};
    GiveDescriptor(*host_, given);
    const Counts expected = {{Kind::kBadToken, 4}, {Kind::kBadArgument, 1}};
    Expect("tokens", expected, [&given](FilterRecord& r) {
        PIDescriptorParameters& parameters = *r.descriptorParameters;
        const ReadDescriptorProcs& read = *parameters.readDescriptorProcs;
        const WriteDescriptorProcs& write = *parameters.writeDescriptorProcs;
        const FourCharCode keys[] = {FourCC("RGre"), FourCC("Blog"), FourCC("OutA"), 0};
        const PIReadDescriptor token = read.openReadDescriptorProc(parameters.descriptor, keys);
        std::int32_t value = 77, flags = 0;
        EXPECT_NE(read.getIntegerProc(token, &value), noErr);  // no key named
        DescriptorItem item;
        for (const DescriptorItem& wanted : given) {
            EXPECT_TRUE(read.getKeyProc(token, &item.key, &item.type, &flags));
            EXPECT_TRUE(item.key == wanted.key && item.type == wanted.type);
            EXPECT_EQ(read.getIntegerProc(token, &value) == noErr, item.type == kTypeInteger);
        }
        EXPECT_EQ(value, -500);
        EXPECT_NE(read.getIntegerProc(token, &value), noErr);  // fetched already
        EXPECT_FALSE(read.getKeyProc(token, &item.key, &item.type, &flags));
        r.handleProcs->disposeProc(parameters.descriptor);  // while it is read
        EXPECT_EQ(read.closeReadDescriptorProc(token), errMissingParameter);
        EXPECT_FALSE(read.getKeyProc(token, &item.key, &item.type, &flags));
        const PIWriteDescriptor out = write.openWriteDescriptorProc();
        write.putBooleanProc(out, FourCC("Blog"), 1);
        write.putIntegerProc(out, FourCC("Blog"), 2);  // a second of the key
        Handle written = nullptr;
        EXPECT_EQ(write.closeWriteDescriptorProc(out, &written), noErr);
        r.handleProcs->disposeProc(written);
    });
}

// ---- What is shown ----------------------------------------------------------------------------------------

TEST_F(HostTest, TakesDownAndComposesWhatIsShown) {
    constexpr int kWidth = 20, kHeight = 3, kPlane = kWidth * kHeight;
    Expect("a map, one that ends past its block, one without pixels", {{Kind::kBadMemory, 1}},
           [](FilterRecord& r) {
               void* pixels = Buffers(r).New(nullptr, 3 * kPlane);
               for (int i = 0; i < 3 * kPlane; ++i)
                   static_cast<std::uint8_t*>(pixels)[i] = static_cast<std::uint8_t>(i);
               std::uint8_t alpha[kPlane] = {};
               alpha[kWidth + 1] = 255;
               alpha[kWidth + 2] = 51;
               PSPixelMask mask = {nullptr, alpha, kWidth, 1, kSimplePSMask};
               PSPixelMap map{};
               map.version = 2;
               map.bounds = {5, 7, 5 + kHeight, 7 + kWidth};
               map.imageMode = plugInModeRGBColor;
               map.rowBytes = kWidth;
               map.colBytes = 1;
               map.planeBytes = kPlane;
               map.baseAddr = pixels;
               map.masks = &mask;
               EXPECT_EQ(r.displayPixels(&map, &map.bounds, 30, 40, nullptr), noErr);
               map.planeBytes = kPlane + 1;
               EXPECT_NE(r.displayPixels(&map, &map.bounds, 30, 40, nullptr), noErr);
               map.baseAddr = nullptr;
               EXPECT_NE(r.displayPixels(&map, &map.bounds, 30, 40, nullptr), noErr);
               Buffers(r).Dispose(&pixels);
           });
    ASSERT_EQ(ReportOf(*host_).displays.size(), 3u);
    const DisplayCall& shown = ReportOf(*host_).displays[0];
    EXPECT_EQ(shown.row, 30);
    EXPECT_EQ(shown.pixels[2 * kPlane + 5], 2 * kPlane + 5);
    const std::vector<std::uint32_t> composed = ComposeDisplay(shown);
    EXPECT_EQ(composed[0], 0xFFFFFFu);
    EXPECT_EQ(composed[kCheckSide], 0xCCCCCCu);
    EXPECT_EQ(composed[kWidth + 1], 0x15518Du);  // 21, 81 and 141
    EXPECT_EQ(composed[kWidth + 2], 0xD0DCE8u);  // a fifth of 22, 82 and 142 over white
}

#ifdef _WIN32
constexpr char kBuiltModule[] = "MarbleFrondKeeper.8bf";
bool BuiltModuleIsLoaded() {
    return GetModuleHandleA(kBuiltModule) != nullptr;
}
#else
constexpr char kBuiltModule[] = "MarbleFrondKeeper.so";
bool BuiltModuleIsLoaded() {
    void* const module = dlopen("./MarbleFrondKeeper.so", RTLD_NOW | RTLD_NOLOAD);
    if (module != nullptr) dlclose(module);
    return module != nullptr;
}
#endif

// Tests run where the module was built. One that stayed in the process after its unloading would keep its
// file open and its unload step from running.
TEST_F(HostTest, WalksTheBuiltModuleAndUnloadsIt) {
    std::string walk, error;
    options_.trace = [&walk](const std::string& line) {
        if (line.compare(0, 2, "> ") == 0) walk += line.back();
    };
    for (int run = 1; run <= 2; ++run) {
        ModulePtr module = OpenModule(kBuiltModule, &error);
        ASSERT_NE(module, nullptr) << error;
        EXPECT_TRUE(BuiltModuleIsLoaded());
        ShowAbout(*host_, [](std::int16_t, void*, std::intptr_t*, std::int16_t*) {});
        RunFilter(*host_, module->pluginMain, document_, AskForParameters::kYes);
        CloseHost(*host_);
        module.reset();
        EXPECT_FALSE(BuiltModuleIsLoaded());
    }
    EXPECT_EQ(walk, "0123501235");
    const LiveCounts live = CountLive(*host_);
    EXPECT_EQ(live.handles + live.buffers + live.blocks, 0);
    EXPECT_EQ(ViolationText(*host_), "");
}

}  // namespace
