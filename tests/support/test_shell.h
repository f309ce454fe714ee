// Shared by the tests of the shell: documents in which every sample differs from its neighbours and from the
// other channels, hosts with faults, whole runs, and a state record without a call of the entry point.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "host/document.h"
#include "host/host.h"
#include "plugin/plugin_main.h"
#include "shell/globals.h"
#include "shell/handles.h"
#include "support/module_state.h"
#include "tests/support/trace.h"

namespace test_support {

using namespace host;
using namespace filter;

inline Channel PatternChannel(const Document& document, int seed, int depth = 0) {
    Channel channel = MakeChannel(document, 0, depth);
    const int width = WidthOf(document.bounds);
    for (int i = 0; i < width * HeightOf(document.bounds); ++i) {
        const int value = i % width * 7 + i / width * 13 + seed * 29;
        const int sample =
            DepthOf(document, channel) == 8 ? value % 256 : (value * 127) % (kHostMaxSample16 + 1);
        SetSample(document, channel, i % width, i / width, static_cast<std::uint16_t>(sample));
    }
    return channel;
}

inline Layer PatternLayer(const Document& document, int seed, bool withTransparency) {
    Layer layer = MakeLayer(document, "layer " + std::to_string(seed), 0);
    for (int i = 0; i < 3; ++i) layer.colour[i] = PatternChannel(document, seed + i);
    if (withTransparency) layer.transparency = PatternChannel(document, seed + 3);
    return layer;
}

// Layers from the bottom up. The second is the target and has transparency. With 0 layers the document has
// the flat picture alone.
inline Document PatternDocument(int width, int height, int depth, int layers) {
    Document document = MakeDocument(width, height, depth);
    for (int i = 0; i < layers; ++i) document.layers.push_back(PatternLayer(document, 10 * i, i > 0));
    if (layers == 0) document.flat = PatternLayer(document, 50, false);
    document.targetLayer = layers == 0 ? kTargetFlat : layers == 1 ? 0 : 1;
    return document;
}

// The same with a green backdrop in the second layer.
inline Document GreenDocument(int width, int height, int depth, int layers) {
    Document document = PatternDocument(width, height, depth, layers);
    for (int c = 0; c < 3; ++c) {
        Channel& channel = document.layers[1].colour[c];
        for (int i = 0; i < width * height; ++i) {
            const int backdrop = c != 1 ? 0 : depth == 8 ? 150 : 20000;
            const int sample = SampleAt(document, channel, i % width, i / width) / 4 + backdrop;
            SetSample(document, channel, i % width, i / width, static_cast<std::uint16_t>(sample));
        }
    }
    return document;
}

// A host whose n-th call of the kind fails; 0: all of them.
inline HostOptions FailingAt(HostCall kind, int n) {
    HostOptions options;
    options.failKindEnabled = true;
    options.failKind = kind;
    options.failKindAt = n;
    return options;
}

// What a trace's commands prepare.
struct RunSetup {
    Document document;
    HostOptions options;
    Descriptor descriptor;
};

// Carries out a command that prepares a run. "document" begins a new setup.
inline void ChangeSetup(const std::string& word, std::istream& words, RunSetup* setup) {
    static const std::map<std::string, HostCall> kCalls = {
        {"CanRead", HostCall::kCanRead},
        {"ReadPixels", HostCall::kReadPixels},
        {"ReadScaledPixels", HostCall::kReadScaledPixels},
        {"New", HostCall::kNewBuffer},
        {"openReadDescriptor", HostCall::kOpenReadDescriptor},
        {"openWriteDescriptor", HostCall::kOpenWriteDescriptor},
    };
    Document& document = setup->document;
    std::string name;
    int a = 0, b = 0, c = 0, d = 0;
    if (word == "document") {  // width, height, depth, layers
        words >> a >> b >> c >> d;
        *setup = {PatternDocument(a, b, c, d), {}, {}};
    } else if (word == "bounds") {
        words >> a >> b >> c >> d;
        document.bounds = {a, b, c, d};
    } else if (word == "target") {
        words >> document.targetLayer;
    } else if (word == "selection") {  // depth, if it differs from the document's
        words >> a;
        document.selection = PatternChannel(document, 90, a);
    } else if (word == "fourth-channel") {  // layer
        words >> a;
        document.layers[a].colour.push_back(PatternChannel(document, 77));
    } else if (word == "transparency") {  // layer, depth
        words >> a >> b;
        document.layers[a].transparency = PatternChannel(document, 80, b);
    } else if (word == "withhold") {  // a service, and a channel: of the selection, or layer and index
        words >> name >> a >> b;
        const bool selected = words.fail();
        Channel& channel = selected ? *document.selection
                           : b == 3 ? *document.layers[a].transparency
                                    : document.layers[a].colour[b];
        (name == "reading"   ? channel.readable
         : name == "writing" ? channel.writable
                             : channel.hasWritePort) = false;
    } else if (word == "fail") {  // the call, which of its kind or 0 for all
        words >> name >> a;
        setup->options = FailingAt(kCalls.at(name), a);
    } else if (word == "item") {  // of the descriptor: key, type, value
        char key[5] = {};
        words.width(sizeof key);
        words >> key >> name >> a;
        setup->descriptor.push_back({FourCC(key), name == "boolean" ? kTypeBoolean : kTypeInteger, a});
    } else {
        ADD_FAILURE() << "no command: " << word;
    }
}

// One run from the descriptor without a violation.
inline RunResult RunStrictly(Document& document, HostOptions options = {}, const Descriptor& items = {}) {
    const HostPtr host = CreateHost(std::move(options));
    if (!items.empty()) SetDescriptor(*host, items);
    const RunResult run = RunFilter(*host, PluginMain, document, AskForParameters::kNo);
    CloseHost(*host);
    EXPECT_EQ(ViolationText(*host), "");
    return run;
}

// A locked state record with an open document, as the entry point makes it. The destructor checks for leaks
// and violations.
struct TestShell {
    explicit TestShell(Document theDocument, HostOptions options = {}, const Descriptor& items = {})
        : document(std::move(theDocument)), host(CreateHost(std::move(options))) {
        OpenDocument(*host, document);
        if (!items.empty()) SetDescriptor(*host, items);
        record = PrepareRecord(*host);
        gSPBasicSuite = record->sSPBasic;
        globals = AllocateGlobals(&result, record, record->handleProcs, sizeof(Globals), &data, ResetGlobals);
        EXPECT_NE(globals, nullptr);
    }
    ~TestShell() {
        DisposePlanes(globals);
        UnlockHandle(record->handleProcs, reinterpret_cast<Handle>(data));
        DisposeHandle(record->handleProcs, reinterpret_cast<Handle>(data));
        DisposeHandle(record->handleProcs, record->parameters);
        EndRun(*host);
        CloseHost(*host);
        EXPECT_EQ(ViolationText(*host), "");
    }
    TestShell(const TestShell&) = delete;
    TestShell& operator=(const TestShell&) = delete;

    Document document;
    HostPtr host;
    FilterRecord* record = nullptr;
    std::int16_t result = 0;
    std::intptr_t data = 0;
    Globals* globals = nullptr;
};

}  // namespace test_support
