// The stand-in host: that it catches what it promises, with small modules that do one thing each.
#include "host/host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <thread>

#include "host/area_average.h"
#include "host/module.h"
#include "host/painting.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace {

// What the fake module does at selector 3. Module calls carry no context either.
std::function<void(FilterRecord&)> gAtStart;

// A module that keeps its state as a real one does, so that the walk has something to keep.
void FakeMain(std::int16_t selector, void* block, std::intptr_t* data, std::int16_t* result) {
    if (selector == filterSelectorAbout) return;
    auto& record = *static_cast<FilterRecord*>(block);
    *result = noErr;
    if (*data == 0) *data = reinterpret_cast<std::intptr_t>(record.handleProcs->newProc(16));
    if (*data == 0) {
        *result = memFullErr;
        return;
    }
    const Handle state = reinterpret_cast<Handle>(*data);
    if (record.handleProcs->lockProc(state, 1) == nullptr) {
        *result = memFullErr;
        return;
    }
    if (selector == filterSelectorStart && gAtStart) gAtStart(record);
    record.handleProcs->unlockProc(state);
}

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

// Two layers whose samples all differ from their neighbours; the upper one is the target.
Document SampleDocument(std::int32_t width, std::int32_t height, std::int32_t depth) {
    Document document = MakeDocument(width, height, depth);
    std::mt19937 random(7);
    for (const char* name : {"bottom", "top"}) {
        Layer layer = MakeLayer(document, name, 0);
        layer.transparency = MakeChannel(document, 0);
        for (Channel* channel :
             {&layer.colour[0], &layer.colour[1], &layer.colour[2], &*layer.transparency}) {
            for (std::int32_t y = 0; y < height; ++y) {
                for (std::int32_t x = 0; x < width; ++x) {
                    const unsigned range = depth == 8 ? 256 : kHostMaxSample16 + 1;
                    SetSample(document, *channel, x, y, static_cast<std::uint16_t>(random() % range));
                }
            }
        }
        document.layers.push_back(layer);
    }
    document.targetLayer = 1;
    return document;
}

class HostTest : public testing::Test {
  protected:
    void TearDown() override { gAtStart = nullptr; }

    RunResult Run(std::function<void(FilterRecord&)> atStart) {
        gAtStart = std::move(atStart);
        return RunFilter(*host_, FakeMain, document_, AskForParameters::kNo);
    }

    // How many violations of each kind a run brings, and that the host goes on after it.
    std::map<ViolationKind, int> ViolationsOf(std::function<void(FilterRecord&)> atStart) {
        ClearReport(*host_);
        EXPECT_EQ(Run(std::move(atStart)).result, noErr);
        std::map<ViolationKind, int> counts;
        for (const Violation& violation : ReportOf(*host_).violations) ++counts[violation.kind];
        return counts;
    }

    using Counts = std::map<ViolationKind, int>;

    HostPtr host_ = CreateHost();
    HostOptions& options_ = OptionsOf(*host_);
    Document document_ = SampleDocument(5, 4, 8);
};

TEST_F(HostTest, WalksTheSelectorsAndKeepsTheModulesState) {
    std::vector<std::string> lines;
    options_.trace = [&](const std::string& line) { lines.push_back(line); };
    const RunResult run = RunFilter(*host_, FakeMain, document_, AskForParameters::kYes);
    EXPECT_EQ(run.result, noErr);
    EXPECT_EQ(run.lastSelector, filterSelectorFinish);
    std::vector<std::string> expected = {"> PluginMain 1", "NewHandle 16 -> handle 1",
                                         "LockHandle handle 1 1 -> locked", "UnlockHandle handle 1",
                                         "< PluginMain 1 result 0"};
    for (const char* selector : {"2", "3", "5"}) {
        expected.insert(expected.end(), {std::string("> PluginMain ") + selector, expected[2], expected[3],
                                         std::string("< PluginMain ") + selector + " result 0"});
    }
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(ReportOf(*host_).fallibleCalls, 5);  // one handle, four locks

    const std::intptr_t data = DataWord(*host_);
    EXPECT_NE(data, 0);
    Run({});
    EXPECT_EQ(DataWord(*host_), data);
    CloseHost(*host_);
    EXPECT_EQ(CountLive(*host_).handles, 0);
    EXPECT_EQ(ViolationText(*host_), "");

    lines.clear();
    ShowAbout(*host_, FakeMain);
    EXPECT_EQ(lines, (std::vector<std::string>{"> PluginMain 0", "< PluginMain 0 result 0"}));
}

TEST_F(HostTest, RefusesASecondHostAndABrokenDocument) {
    EXPECT_THROW(CreateHost(), std::logic_error);
    document_.layers[1].colour[2].bytes.pop_back();
    EXPECT_THROW(Run({}), std::invalid_argument);
    document_ = MakeDocument(3, 3, 8);
    EXPECT_EQ(FaultOfDocument(document_), "there is neither a layer nor a flat picture");
    document_.flat = MakeLayer(document_, "flat", 1);
    EXPECT_EQ(FaultOfDocument(document_), "the target is no layer of the document");
    document_.targetLayer = kTargetFlat;
    EXPECT_EQ(FaultOfDocument(document_), "");
    EXPECT_EQ(Run([](FilterRecord& r) {
                  EXPECT_EQ(r.documentInfo->layersDescriptor, nullptr);
                  EXPECT_NE(r.documentInfo->mergedCompositeChannels, nullptr);
                  EXPECT_EQ(r.documentInfo->targetTransparency, nullptr);
              }).result,
              noErr);
}

TEST_F(HostTest, CatchesMisuseOfHandles) {
    const auto procs = [](FilterRecord& r) -> HandleProcs& { return *r.handleProcs; };
    EXPECT_EQ(ViolationsOf([&](FilterRecord& r) {
                  const Handle handle = procs(r).newProc(8);
                  procs(r).disposeProc(handle);
                  procs(r).disposeProc(handle);
                  char* foreign = nullptr;
                  procs(r).unlockProc(&foreign);
              }),
              (Counts{{ViolationKind::kBadHandle, 2}}));
    EXPECT_EQ(ViolationsOf([&](FilterRecord& r) {
                  const Handle handle = procs(r).newProc(8);
                  procs(r).unlockProc(handle);
                  procs(r).lockProc(handle, 1);
                  EXPECT_EQ(procs(r).setSizeProc(handle, 16), memFullErr);
                  procs(r).disposeProc(handle);
              }),
              (Counts{{ViolationKind::kLocking, 3}}));
    EXPECT_EQ(ViolationsOf([&](FilterRecord& r) { procs(r).lockProc(procs(r).newProc(8), 1); }),
              (Counts{{ViolationKind::kLocking, 1}, {ViolationKind::kLeak, 1}}));
    EXPECT_EQ(ViolationsOf([&](FilterRecord& r) {
                  const Handle handle = procs(r).newProc(8);
                  std::memcpy(*handle, "12345678", 8);
                  EXPECT_EQ(procs(r).setSizeProc(handle, 20), noErr);
                  EXPECT_EQ(procs(r).getSizeProc(handle), 20);
                  EXPECT_EQ(std::memcmp(*handle, "12345678", 8), 0);
                  procs(r).disposeProc(handle);
                  EXPECT_EQ(procs(r).newProc(-1), nullptr);
              }),
              (Counts{{ViolationKind::kBadArgument, 1}}));
}

TEST_F(HostTest, MovesUnlockedHandlesAndSpoilsTheirOldPlace) {
    EXPECT_EQ(ViolationsOf([](FilterRecord& r) {
                  const Handle handle = r.handleProcs->newProc(4);
                  std::memcpy(*handle, "abcd", 4);
                  char* stale = *handle;
                  char* locked = r.handleProcs->lockProc(handle, 1);
                  EXPECT_NE(locked, stale);
                  EXPECT_EQ(std::memcmp(locked, "abcd", 4), 0);
                  EXPECT_NE(std::memcmp(stale, "abcd", 4), 0);
                  EXPECT_EQ(r.handleProcs->lockProc(handle, 1), locked);
                  stale[0] = 'x';
                  r.handleProcs->unlockProc(handle);
                  r.handleProcs->unlockProc(handle);
                  r.handleProcs->disposeProc(handle);
              }),
              (Counts{{ViolationKind::kUseAfterFree, 1}}));

    options_.moveHandles = false;
    EXPECT_EQ(ViolationsOf([](FilterRecord& r) {
                  const Handle handle = r.handleProcs->newProc(4);
                  char* address = *handle;
                  EXPECT_EQ(r.handleProcs->lockProc(handle, 1), address);
                  r.handleProcs->unlockProc(handle);
                  r.handleProcs->disposeProc(handle);
              }),
              Counts{});
}

TEST_F(HostTest, CatchesMisuseOfBuffersAndBlocks) {
    EXPECT_EQ(
        ViolationsOf([](FilterRecord& r) {
            const PSBufferSuite& suite = Buffers(r);
            void* buffer = suite.New(nullptr, 10);
            void* same = buffer;
            EXPECT_EQ(static_cast<std::uint8_t*>(buffer)[9], 0xA5);
            EXPECT_EQ(suite.GetSize(buffer), 10u);
            static_cast<std::uint8_t*>(buffer)[10] = 1;
            suite.Dispose(&buffer);
            EXPECT_EQ(buffer, nullptr);
            suite.Dispose(&same);
            suite.New(nullptr, 3);
        }),
        (Counts{{ViolationKind::kOverrun, 1}, {ViolationKind::kBadPointer, 1}, {ViolationKind::kLeak, 1}}));
    EXPECT_EQ(ViolationsOf([](FilterRecord& r) {
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
              }),
              (Counts{{ViolationKind::kOverrun, 1},
                      {ViolationKind::kBadPointer, 2},
                      {ViolationKind::kUseAfterFree, 1},
                      {ViolationKind::kSuite, 1}}));
}

// A module's memory record for `columns` by `rows` samples at the buffer's head.
PixelMemoryDesc MemoryOf(void* data, std::int32_t columns, std::int32_t depth) {
    return {data, columns * depth, depth, 0, depth};
}

TEST_F(HostTest, ReadsAndWritesTheDocument) {
    for (const std::int32_t depth : {8, 16}) {
        document_ = SampleDocument(5, 4, depth);
        const Document before = document_;
        EXPECT_EQ(ViolationsOf([&](FilterRecord& r) {
                      const PSBufferSuite& buffers = Buffers(r);
                      const PSChannelPortsSuite& ports = Ports(r);
                      ReadImageDocumentDesc& info = *r.documentInfo;
                      ReadLayerDesc* top = info.layersDescriptor->next;
                      void* plane = buffers.New(nullptr, static_cast<std::uint32_t>(20 * depth / 8));
                      PixelMemoryDesc memory = MemoryOf(plane, 5, depth);
                      VRect all = {0, 0, 4, 5};
                      ReadChannelDesc* green = top->compositeChannelsList->next;
                      EXPECT_EQ(ports.ReadPixelsFromLevel(green->port, 0, &all, &memory), noErr);
                      EXPECT_EQ(std::memcmp(plane, before.layers[1].colour[1].bytes.data(),
                                            static_cast<std::size_t>(20 * depth / 8)),
                                0);
                      EXPECT_EQ(green->writePort, nullptr);
                      EXPECT_EQ(top->next, nullptr);

                      // Two columns of the green go to the target's blue, one row further down.
                      VRect part = {1, 3, 3, 5};
                      memory.data = static_cast<std::uint8_t*>(plane) + 3 * depth / 8;
                      ReadChannelDesc* blue = info.targetCompositeChannels->next->next;
                      Boolean can = 0;
                      EXPECT_EQ(ports.CanWrite(blue->writePort, &can), noErr);
                      EXPECT_TRUE(can);
                      EXPECT_EQ(ports.WritePixelsToBaseLevel(blue->writePort, &part, &memory), noErr);
                      buffers.Dispose(&plane);
                  }),
                  Counts{})
            << ViolationText(*host_);
        const Channel& blue = document_.layers[1].colour[2];
        for (std::int32_t y = 0; y < 4; ++y) {
            for (std::int32_t x = 0; x < 5; ++x) {
                const bool written = (y == 1 || y == 2) && x >= 3;
                EXPECT_EQ(SampleAt(document_, blue, x, y),
                          written ? SampleAt(before, before.layers[1].colour[1], x, y - 1)
                                  : SampleAt(before, before.layers[1].colour[2], x, y))
                    << "depth " << depth << " at " << x << ' ' << y;
            }
        }
        EXPECT_EQ(document_.layers[0].colour[2].bytes, before.layers[0].colour[2].bytes);
    }
}

TEST_F(HostTest, CatchesMisuseOfPorts) {
    document_.layers[1].colour[0].readable = false;
    document_.layers[1].colour[1].hasWritePort = false;
    document_.layers[1].transparency->writable = false;
    const Document before = document_;
    EXPECT_EQ(ViolationsOf([&](FilterRecord& r) {
                  const PSBufferSuite& buffers = Buffers(r);
                  const PSChannelPortsSuite& ports = Ports(r);
                  ReadChannelDesc* red = r.documentInfo->targetCompositeChannels;
                  ReadChannelDesc* transparency = r.documentInfo->targetTransparency;
                  void* plane = buffers.New(nullptr, 20);
                  PixelMemoryDesc memory = MemoryOf(plane, 5, 8);
                  VRect all = {0, 0, 4, 5};
                  Boolean can = 1;
                  EXPECT_EQ(ports.CanRead(red->port, &can), noErr);
                  EXPECT_FALSE(can);
                  EXPECT_EQ(red->next->writePort, nullptr);
                  EXPECT_NE(ports.ReadPixelsFromLevel(red->port, 0, &all, &memory), noErr);  // cannot
                  EXPECT_NE(ports.ReadPixelsFromLevel(red->writePort, 0, &all, &memory), noErr);
                  EXPECT_NE(ports.WritePixelsToBaseLevel(red->port, &all, &memory), noErr);
                  EXPECT_NE(ports.WritePixelsToBaseLevel(transparency->writePort, &all, &memory), noErr);
                  EXPECT_NE(ports.ReadPixelsFromLevel(nullptr, 0, &all, &memory), noErr);
                  buffers.Dispose(&plane);
              }),
              (Counts{{ViolationKind::kBadPort, 5}}));
    EXPECT_EQ(document_.layers[1].transparency->bytes, before.layers[1].transparency->bytes);
    EXPECT_EQ(document_.layers[1].colour[0].bytes, before.layers[1].colour[0].bytes);

    // A port of a document that is closed.
    const PIChannelPort stale = reinterpret_cast<PIChannelPort>(&document_);
    EXPECT_EQ(ViolationsOf([&](FilterRecord& r) {
                  Boolean can = 0;
                  EXPECT_NE(Ports(r).CanRead(stale, &can), noErr);
              }),
              (Counts{{ViolationKind::kBadPort, 1}}));
}

TEST_F(HostTest, CatchesMemoryAndRectanglesThatDoNotFit) {
    EXPECT_EQ(ViolationsOf([](FilterRecord& r) {
                  const PSBufferSuite& buffers = Buffers(r);
                  const PSChannelPortsSuite& ports = Ports(r);
                  const PIChannelPort port = r.documentInfo->targetCompositeChannels->next->port;
                  void* plane = buffers.New(nullptr, 19);  // one byte short
                  const auto read = [&](PixelMemoryDesc memory, VRect rect) {
                      EXPECT_NE(ports.ReadPixelsFromLevel(port, 0, &rect, &memory), noErr);
                  };
                  const VRect all = {0, 0, 4, 5};
                  read(MemoryOf(plane, 5, 8), all);
                  read(MemoryOf(plane, 5, 16), all);
                  read(MemoryOf(plane, 4, 8), all);  // rows overlap
                  read(MemoryOf(nullptr, 5, 8), all);
                  read({plane, 40, 8, 3, 8}, all);
                  read(MemoryOf(plane, 5, 8), {0, 0, 4, 6});
                  read(MemoryOf(plane, 5, 8), {-1, 0, 3, 5});
                  read(MemoryOf(plane, 5, 8), {2, 2, 2, 4});
                  void* freed = plane;
                  buffers.Dispose(&plane);
                  read(MemoryOf(freed, 5, 8), all);
              }),
              (Counts{{ViolationKind::kBadMemory, 5},
                      {ViolationKind::kBadRectangle, 3},
                      {ViolationKind::kUseAfterFree, 1}}));
}

TEST_F(HostTest, DeliversThePartInsideBoundsThatDoNotBeginAtZero) {
    document_.bounds = {2, -1, 6, 4};
    EXPECT_EQ(ViolationsOf([&](FilterRecord& r) {
                  void* plane = Buffers(r).New(nullptr, 20);
                  PixelMemoryDesc memory = MemoryOf(plane, 5, 8);
                  VRect asked = {0, 0, 4, 5};
                  const PIChannelPort port = r.documentInfo->targetCompositeChannels->port;
                  EXPECT_EQ(Ports(r).ReadPixelsFromLevel(port, 0, &asked, &memory), noErr);
                  EXPECT_EQ(asked.top, 2);
                  EXPECT_EQ(asked.right, 4);
                  const auto* bytes = static_cast<std::uint8_t*>(plane);
                  EXPECT_EQ(bytes[2 * 5], SampleAt(document_, document_.layers[1].colour[0], 1, 0));
                  EXPECT_EQ(bytes[3 * 5 + 3], SampleAt(document_, document_.layers[1].colour[0], 4, 1));
                  EXPECT_EQ(bytes[2 * 5 + 4], 0xA5);
                  EXPECT_EQ(bytes[0], 0xA5);
                  Buffers(r).Dispose(&plane);
              }),
              Counts{});

    document_.bounds = {2, 10, 6, 15};  // no column in common
    EXPECT_EQ(ViolationsOf([&](FilterRecord& r) {
                  std::uint8_t plane[20] = {};
                  PixelMemoryDesc memory = MemoryOf(plane, 5, 8);
                  VRect asked = {0, 0, 4, 5};
                  const PIChannelPort port = r.documentInfo->targetCompositeChannels->port;
                  EXPECT_EQ(Ports(r).ReadPixelsFromLevel(port, 0, &asked, &memory), noErr);
                  EXPECT_EQ(asked.bottom, 0);
                  EXPECT_EQ(asked.right, 0);
              }),
              Counts{});
}

// The mean over the area by its definition: every fraction of every source sample, in exact rationals.
std::uint16_t NaiveMean(const Document& document, const Channel& channel, const VRect& source, int rows,
                        int columns, int y, int x) {
    const std::int64_t h = HeightOf(source), w = WidthOf(source);
    const auto overlap = [](std::int64_t a0, std::int64_t a1, std::int64_t b0, std::int64_t b1) {
        return std::max<std::int64_t>(0, std::min(a1, b1) - std::max(a0, b0));
    };
    std::int64_t sum = 0;
    for (std::int64_t j = 0; j < h; ++j) {
        for (std::int64_t i = 0; i < w; ++i) {
            const std::int64_t area = overlap(j * rows, (j + 1) * rows, y * h, (y + 1) * h) *
                                      overlap(i * columns, (i + 1) * columns, x * w, (x + 1) * w);
            sum += area * SampleAt(document, channel, static_cast<std::int32_t>(source.left + i),
                                   static_cast<std::int32_t>(source.top + j));
        }
    }
    return static_cast<std::uint16_t>((2 * sum + w * h) / (2 * w * h));
}

TEST_F(HostTest, ScalesByAreaExactly) {
    for (const std::int32_t depth : {8, 16}) {
        document_ = SampleDocument(17, 13, depth);
        const Channel& red = document_.layers[1].colour[0];
        const VRect sources[] = {{0, 0, 13, 17}, {3, 2, 12, 9}, {12, 16, 13, 17}, {0, 5, 13, 6}};
        const VPoint sizes[] = {{13, 17}, {5, 4}, {1, 1}, {29, 40}, {13, 3}, {4, 31}};
        EXPECT_EQ(ViolationsOf([&](FilterRecord& r) {
                      const PIChannelPort port = r.documentInfo->targetCompositeChannels->port;
                      for (const VRect& source : sources) {
                          for (const VPoint& size : sizes) {
                              const auto bytes = static_cast<std::uint32_t>(size.v * size.h * depth / 8);
                              void* plane = Buffers(r).New(nullptr, bytes);
                              PixelMemoryDesc memory = MemoryOf(plane, size.h, depth);
                              PSScaling scaling = {source, {0, 0, size.v, size.h}};
                              VRect rect = scaling.destinationRect;
                              ASSERT_EQ(Ports(r).ReadScaledPixels(port, &rect, &scaling, &memory), noErr);
                              for (int y = 0; y < size.v; ++y) {
                                  for (int x = 0; x < size.h; ++x) {
                                      std::uint16_t got = static_cast<std::uint8_t*>(plane)[y * size.h + x];
                                      if (depth == 16)
                                          got = static_cast<std::uint16_t*>(plane)[y * size.h + x];
                                      ASSERT_EQ(got, NaiveMean(document_, red, source, size.v, size.h, y, x))
                                          << "source at " << source.top << ' ' << source.left << " to "
                                          << size.v << 'x' << size.h << " at " << y << ' ' << x;
                                  }
                              }
                              Buffers(r).Dispose(&plane);
                          }
                      }
                  }),
                  Counts{})
            << ViolationText(*host_);
    }
}

TEST_F(HostTest, ScaledReadsSurviveEmptySourcesAndPartialDestinations) {
    const Channel& red = document_.layers[1].colour[0];
    EXPECT_EQ(
        ViolationsOf([&](FilterRecord& r) {
            const PIChannelPort port = r.documentInfo->targetCompositeChannels->port;
            std::uint8_t plane[6] = {};  // the module's own memory is its own affair
            const auto read = [&](VRect source, VRect destination, VRect* rect, std::int32_t columns) {
                PixelMemoryDesc memory = MemoryOf(plane, columns, 8);
                PSScaling scaling = {source, destination};
                return Ports(r).ReadScaledPixels(port, rect, &scaling, &memory);
            };
            VRect rect = {0, 0, 2, 3};
            EXPECT_EQ(read({4, 5, 4, 5}, rect, &rect, 3), noErr);  // zoomed to nothing at the far corner
            for (const std::uint8_t sample : plane) EXPECT_EQ(sample, SampleAt(document_, red, 4, 3));

            // The lower right sample of an unscaled read alone.
            rect = {13, 24, 14, 25};
            EXPECT_EQ(read({0, 0, 4, 5}, {10, 20, 14, 25}, &rect, 1), noErr);
            EXPECT_EQ(plane[0], SampleAt(document_, red, 4, 3));

            rect = {0, 0, 2, 3};
            EXPECT_NE(read({0, 0, 5, 5}, rect, &rect, 3), noErr);
            EXPECT_NE(read({2, 0, 1, 5}, rect, &rect, 3), noErr);
            options_.shrinkScaledReads = true;
            EXPECT_EQ(read({0, 0, 4, 5}, rect, &rect, 3), noErr);
            EXPECT_EQ(rect.bottom, 1);
            EXPECT_EQ(rect.right, 2);
        }),
        (Counts{{ViolationKind::kBadRectangle, 2}}));
}

const Descriptor kRecorded = {{FourCC("RGre"), kTypeInteger, -500},
                              {FourCC("zzzz"), FourCC("TEXT"), 9},
                              {FourCC("Blog"), kTypeBoolean, 1}};

TEST_F(HostTest, DescriptorsGoThroughBothWays) {
    const std::vector<std::uint8_t> block = EncodeDescriptor(kRecorded);
    EXPECT_EQ(DecodeDescriptor(block.data(), block.size()), kRecorded);
    EXPECT_EQ(DecodeDescriptor(block.data(), block.size() - 4), std::nullopt);
    EXPECT_EQ(DecodeDescriptor("no descriptor at all", 20), std::nullopt);

    GiveDescriptor(*host_, kRecorded);
    OSErr closed = noErr;
    Descriptor seen;
    EXPECT_EQ(ViolationsOf([&](FilterRecord& r) {
                  PIDescriptorParameters& parameters = *r.descriptorParameters;
                  const ReadDescriptorProcs& read = *parameters.readDescriptorProcs;
                  const WriteDescriptorProcs& write = *parameters.writeDescriptorProcs;
                  const FourCharCode keys[] = {FourCC("RGre"), FourCC("Blog"), FourCC("OutA"), 0};
                  PIReadDescriptor token = read.openReadDescriptorProc(parameters.descriptor, keys);
                  DescriptorItem item;
                  std::int32_t flags = 0;
                  while (read.getKeyProc(token, &item.key, &item.type, &flags)) {
                      Boolean flag = 0;
                      item.value = 0;
                      if (item.type == kTypeInteger) {
                          EXPECT_NE(read.getBooleanProc(token, &flag), noErr);  // of the wrong type
                      } else if (item.type == kTypeBoolean) {
                          EXPECT_EQ(read.getBooleanProc(token, &flag), noErr);
                          item.value = flag;
                      }
                      seen.push_back(item);
                  }
                  closed = read.closeReadDescriptorProc(token);
                  r.handleProcs->disposeProc(parameters.descriptor);
                  PIWriteDescriptor out = write.openWriteDescriptorProc();
                  write.putIntegerProc(out, FourCC("RGre"), -500);
                  write.putBooleanProc(out, FourCC("Blog"), 1);
                  EXPECT_EQ(write.closeWriteDescriptorProc(out, &parameters.descriptor), noErr);
              }),
              Counts{});
    EXPECT_EQ(closed, errMissingParameter);
    EXPECT_EQ(
        seen,
        (Descriptor{{FourCC("RGre"), kTypeInteger, 0}, {FourCC("zzzz"), FourCC("TEXT"), 0}, kRecorded[2]}));
    EXPECT_EQ(KeptDescriptor(*host_), (Descriptor{kRecorded[0], kRecorded[2]}));
    CloseHost(*host_);
    EXPECT_EQ(KeptDescriptor(*host_), std::nullopt);
    EXPECT_EQ(ViolationText(*host_), "");
}

TEST_F(HostTest, CatchesMisuseOfDescriptorTokens) {
    GiveDescriptor(*host_, kRecorded);
    EXPECT_EQ(
        ViolationsOf([](FilterRecord& r) {
            PIDescriptorParameters& parameters = *r.descriptorParameters;
            const ReadDescriptorProcs& read = *parameters.readDescriptorProcs;
            const WriteDescriptorProcs& write = *parameters.writeDescriptorProcs;
            FourCharCode key, type;
            std::int32_t flags, value = 77;
            PIReadDescriptor token = read.openReadDescriptorProc(parameters.descriptor, nullptr);
            EXPECT_NE(read.getIntegerProc(token, &value), noErr);  // no key named
            EXPECT_TRUE(read.getKeyProc(token, &key, &type, &flags));
            EXPECT_EQ(read.getIntegerProc(token, &value), noErr);
            EXPECT_EQ(value, -500);
            EXPECT_NE(read.getIntegerProc(token, &value), noErr);  // fetched already
            r.handleProcs->disposeProc(parameters.descriptor);     // while it is read
            parameters.descriptor = nullptr;
            EXPECT_EQ(read.closeReadDescriptorProc(token), noErr);
            EXPECT_FALSE(read.getKeyProc(token, &key, &type, &flags));
            PIWriteDescriptor out = write.openWriteDescriptorProc();
            write.putIntegerProc(out, FourCC("RGre"), 1);
            write.putIntegerProc(out, FourCC("RGre"), 2);
        }),
        (Counts{{ViolationKind::kBadToken, 4}, {ViolationKind::kBadArgument, 1}, {ViolationKind::kLeak, 1}}));
}

TEST_F(HostTest, MakesAnyCallFail) {
    const auto module = [](FilterRecord& r) {
        const void* suite = nullptr;
        if (r.sSPBasic->AcquireSuite(kPSBufferSuite, kPSBufferSuiteVersion, &suite) != noErr) return;
        const auto& buffers = *static_cast<const PSBufferSuite*>(suite);
        void* buffer = buffers.New(nullptr, 20);
        void* block = nullptr;
        if (r.sSPBasic->AllocateBlock(4, &block) == noErr && block != nullptr) r.sSPBasic->FreeBlock(block);
        if (buffer != nullptr) buffers.Dispose(&buffer);
    };
    // Clean run: a handle, three locks, a suite, a buffer and a block.
    ASSERT_EQ(Run(module).result, noErr);
    EXPECT_EQ(ReportOf(*host_).fallibleCalls, 7);
    CloseHost(*host_);

    std::vector<OSErr> results;
    for (int n = 1; n <= 7; ++n) {
        ClearReport(*host_);
        options_.failAt = n;
        results.push_back(Run(module).result);
        CloseHost(*host_);
        EXPECT_EQ(ViolationText(*host_), "") << "call " << n;
    }
    EXPECT_EQ(results,
              (std::vector<OSErr>{memFullErr, memFullErr, memFullErr, noErr, noErr, noErr, memFullErr}));

    ClearReport(*host_);
    options_.failAt = 0;
    options_.failKindEnabled = true;
    options_.failKind = HostCall::kLockHandle;
    options_.failKindAt = 3;
    EXPECT_EQ(Run(module).lastSelector, filterSelectorFinish);
    options_.failKindAt = 0;
    EXPECT_EQ(Run(module).lastSelector, filterSelectorPrepare);

    options_.failKindEnabled = false;
    options_.missingSuites = {kPSBufferSuite};
    options_.allocateBlockGivesNull = true;
    Run([](FilterRecord& r) {
        const void* suite = &r;
        EXPECT_NE(r.sSPBasic->AcquireSuite(kPSBufferSuite, 1, &suite), noErr);
        EXPECT_NE(r.sSPBasic->AcquireSuite(kPSChannelPortsSuite, 1, &suite), noErr);  // another version
        EXPECT_EQ(suite, &r);
        void* block = &r;
        EXPECT_EQ(r.sSPBasic->AllocateBlock(4, &block), noErr);
        EXPECT_EQ(block, nullptr);
    });
}

TEST_F(HostTest, AnswersAbortProgressAndUrls) {
    options_.abortAt = 2;
    int total = 0;
    options_.progress = [&](std::int32_t, std::int32_t all) { total = all; };
    Run([](FilterRecord& r) {
        r.progressProc(1, 9);
        EXPECT_FALSE(r.abortProc());
        EXPECT_TRUE(r.abortProc());
        EXPECT_TRUE(r.abortProc());
        const auto& pages = SuiteOf<PSGetFileListSuite>(r, kPSGetFileListSuite, kPSGetFileListSuiteVersion);
        EXPECT_EQ(pages.BrowseUrl("https://a.example/"), noErr);
    });
    EXPECT_EQ(total, 9);
    EXPECT_EQ(ReportOf(*host_).abortCalls, 3);
    EXPECT_TRUE(ReportOf(*host_).aborted);
    EXPECT_EQ(ReportOf(*host_).urls, std::vector<std::string>{"https://a.example/"});
}

TEST_F(HostTest, CatchesWhatBreaksTheWalk) {
    EXPECT_EQ(ViolationsOf([](FilterRecord& r) {
                  r.inRect = {0, 0, 1, 1};
                  std::thread([&] { Buffers(r); }).join();
                  throw 1;
              }),
              (Counts{{ViolationKind::kThread, 1}, {ViolationKind::kCall, 2}, {ViolationKind::kLocking, 1}}));

    // The record of one call is no good in the next.
    FilterRecord* before = nullptr;
    OpenDocument(*host_, document_);
    gAtStart = [&](FilterRecord& r) { before = &r; };
    CallSelector(*host_, FakeMain, filterSelectorStart);
    gAtStart = [&](FilterRecord& r) {
        EXPECT_NE(before, &r);
        EXPECT_NE(before->sSPBasic, r.sSPBasic);
    };
    CallSelector(*host_, FakeMain, filterSelectorStart);
    EndRun(*host_);
}

TEST_F(HostTest, TakesDownAndComposesWhatIsShown) {
    const int width = 20, height = 3;
    EXPECT_EQ(ViolationsOf([&](FilterRecord& r) {
                  const PSBufferSuite& buffers = Buffers(r);
                  void* pixels = buffers.New(nullptr, 3 * width * height);
                  void* alpha = buffers.New(nullptr, width * height);
                  auto* bytes = static_cast<std::uint8_t*>(pixels);
                  for (int i = 0; i < 3 * width * height; ++i) bytes[i] = static_cast<std::uint8_t>(i);
                  std::memset(alpha, 0, width * height);
                  static_cast<std::uint8_t*>(alpha)[width + 1] = 255;
                  static_cast<std::uint8_t*>(alpha)[width + 2] = 51;
                  PSPixelMask mask = {nullptr, alpha, width, 1, kSimplePSMask};
                  PSPixelMap map{};
                  map.version = 2;
                  map.bounds = {5, 7, 5 + height, 7 + width};
                  map.imageMode = plugInModeRGBColor;
                  map.rowBytes = width;
                  map.colBytes = 1;
                  map.planeBytes = width * height;
                  map.baseAddr = pixels;
                  map.masks = &mask;
                  EXPECT_EQ(r.displayPixels(&map, &map.bounds, 30, 40, nullptr), noErr);
                  map.planeBytes = width * height + 1;  // the last plane ends past the block
                  EXPECT_NE(r.displayPixels(&map, &map.bounds, 30, 40, nullptr), noErr);
                  map.baseAddr = nullptr;
                  EXPECT_NE(r.displayPixels(&map, &map.bounds, 30, 40, nullptr), noErr);
                  buffers.Dispose(&pixels);
                  buffers.Dispose(&alpha);
              }),
              (Counts{{ViolationKind::kBadMemory, 1}}));
    ASSERT_EQ(ReportOf(*host_).displays.size(), 3u);
    const DisplayCall& shown = ReportOf(*host_).displays[0];
    EXPECT_EQ(shown.row, 30);
    EXPECT_EQ(shown.mask.rowBytes, width);
    EXPECT_EQ(shown.pixels[2 * width * height + 5], 2 * width * height + 5);
    const std::vector<std::uint32_t> composed = ComposeDisplay(shown);
    EXPECT_EQ(composed[0], 0xFFFFFFu);
    EXPECT_EQ(composed[kCheckSide], 0xCCCCCCu);
    EXPECT_EQ(composed[width + 1], 0x15518Du);  // 21, 81 and 141
    // A fifth of 22, 82 and 142 over white.
    EXPECT_EQ(composed[width + 2], 0xD0DCE8u);
}

#ifdef _WIN32
TEST_F(HostTest, PaintsIntoTheDeviceContext) {
    HDC context = CreateCompatibleDC(nullptr);
    BITMAPINFO info{};
    info.bmiHeader = {sizeof(BITMAPINFOHEADER), 8, -8, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* bits = nullptr;
    HBITMAP bitmap = CreateDIBSection(context, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    HGDIOBJ before = SelectObject(context, bitmap);
    Run([&](FilterRecord& r) {
        std::uint8_t pixels[3 * 6] = {1, 2, 3, 4, 5, 6, 11, 12, 13, 14, 15, 16, 21, 22, 23, 24, 25, 26};
        PSPixelMap map = {
            2, {0, 0, 2, 3}, plugInModeRGBColor, 3, 1, 6, pixels, nullptr, nullptr, 0, 0, nullptr, 0};
        EXPECT_EQ(r.displayPixels(&map, &map.bounds, 4, 5, context), noErr);
    });
    EXPECT_EQ(GetPixel(context, 5, 4), static_cast<COLORREF>(RGB(1, 11, 21)));
    EXPECT_EQ(GetPixel(context, 7, 5), static_cast<COLORREF>(RGB(6, 16, 26)));
    EXPECT_EQ(GetPixel(context, 4, 4), static_cast<COLORREF>(RGB(0, 0, 0)));
    SelectObject(context, before);
    DeleteObject(bitmap);
    DeleteDC(context);
}
#endif

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

TEST_F(HostTest, RefusesFilesThatAreNoModule) {
    std::string error;
    EXPECT_EQ(OpenModule("no-such-module", &error), nullptr);
    EXPECT_EQ(error, "cannot load the module no-such-module: no such file");
    std::ofstream("host-test-no-module.txt") << "not a library";
    EXPECT_EQ(OpenModule("host-test-no-module.txt", &error), nullptr);
    EXPECT_EQ(error.find("cannot load the module host-test-no-module.txt: "), 0u) << error;
    std::remove("host-test-no-module.txt");
}

// Tests run where the module was built. One that stayed in the process after its unloading would keep its
// file open and its unload step from running.
TEST_F(HostTest, WalksTheBuiltModuleAndUnloadsIt) {
    for (const std::int32_t depth : {8, 16}) {
        std::string error;
        ModulePtr module = OpenModule(kBuiltModule, &error);
        ASSERT_NE(module, nullptr) << error;
        EXPECT_TRUE(BuiltModuleIsLoaded());
        document_ = SampleDocument(61, 43, depth);
        document_.selection = MakeChannel(document_, depth == 8 ? 255 : kHostMaxSample16);
        const Document before = document_;
        const RunResult run = RunFilter(*host_, module->pluginMain, document_, AskForParameters::kYes);
        EXPECT_EQ(run.result, noErr);
        EXPECT_EQ(run.lastSelector, filterSelectorFinish);
        EXPECT_NE(document_.layers[1].colour[1].bytes, before.layers[1].colour[1].bytes);
        EXPECT_EQ(document_.layers[0].colour[1].bytes, before.layers[0].colour[1].bytes);
        EXPECT_EQ(KeptDescriptor(*host_).value_or(Descriptor{}).size(), 11u);
        CloseHost(*host_);
        module.reset();
        EXPECT_FALSE(BuiltModuleIsLoaded());
    }
    const LiveCounts live = CountLive(*host_);
    EXPECT_EQ(live.handles + live.buffers + live.blocks, 0);
    EXPECT_EQ(ViolationText(*host_), "");
}

}  // namespace
