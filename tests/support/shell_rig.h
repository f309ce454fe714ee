// What the shell's tests share: documents in which every sample differs from its neighbours and from those of
// the other channels, faults, whole runs, and the state record made without a call through the entry point.
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
#include "support/checked_heap.h"
#include "tests/support/trace.h"

using namespace filter;

inline host::Channel PatternChannel(const host::Document& document, int seed, int depth = 0) {
    host::Channel channel = host::MakeChannel(document, 0, depth);
    const int width = host::WidthOf(document.bounds);
    for (int i = 0; i < width * host::HeightOf(document.bounds); ++i) {
        const int value = i % width * 7 + i / width * 13 + seed * 29;
        const int sample = host::DepthOf(document, channel) == 8
                               ? value % 256
                               : (value * 127) % (host::kHostMaxSample16 + 1);
        host::SetSample(document, channel, i % width, i / width, static_cast<std::uint16_t>(sample));
    }
    return channel;
}

inline host::Layer PatternLayer(const host::Document& document, int seed, bool withTransparency) {
    host::Layer layer = host::MakeLayer(document, "layer " + std::to_string(seed), 0);
    for (int i = 0; i < 3; ++i) layer.colour[i] = PatternChannel(document, seed + i);
    if (withTransparency) layer.transparency = PatternChannel(document, seed + 3);
    return layer;
}

// Layers from the bottom up; the second is the target and has transparency. The flat picture alone without
// layers.
inline host::Document PatternDocument(int width, int height, int depth, int layers) {
    host::Document document = host::MakeDocument(width, height, depth);
    for (int i = 0; i < layers; ++i) document.layers.push_back(PatternLayer(document, 10 * i, i > 0));
    if (layers == 0) document.flat = PatternLayer(document, 50, false);
    document.targetLayer = layers == 0 ? host::kTargetFlat : layers == 1 ? 0 : 1;
    return document;
}

// The same with a green backdrop behind all of the second layer, so that the keying has something to take
// away.
inline host::Document GreenDocument(int width, int height, int depth, int layers) {
    host::Document document = PatternDocument(width, height, depth, layers);
    for (int c = 0; c < 3; ++c) {
        host::Channel& channel = document.layers[1].colour[c];
        for (int i = 0; i < width * height; ++i) {
            const int backdrop = c != 1 ? 0 : depth == 8 ? 150 : 20000;
            const int sample = host::SampleAt(document, channel, i % width, i / width) / 4 + backdrop;
            host::SetSample(document, channel, i % width, i / width, static_cast<std::uint16_t>(sample));
        }
    }
    return document;
}

// A host whose n-th call of the kind fails; all of them for 0.
inline host::HostOptions FailingAt(host::HostCall kind, int n) {
    host::HostOptions options;
    options.failKindEnabled = true;
    options.failKind = kind;
    options.failKindAt = n;
    return options;
}

// What a trace's commands prepare: a document, and the host that holds it open.
struct RunSetup {
    host::Document document;
    host::HostOptions options;
    host::Descriptor descriptor;
};

// Carries out a command of a trace that prepares a run. "document" begins a new one.
inline void ChangeSetup(const std::string& word, std::istream& words, RunSetup* setup) {
    static const std::map<std::string, host::HostCall> kCalls = {
        {"CanRead", host::HostCall::kCanRead},
        {"ReadPixels", host::HostCall::kReadPixels},
        {"ReadScaledPixels", host::HostCall::kReadScaledPixels},
        {"New", host::HostCall::kNewBuffer},
        {"openReadDescriptor", host::HostCall::kOpenReadDescriptor},
        {"openWriteDescriptor", host::HostCall::kOpenWriteDescriptor},
    };
    host::Document& document = setup->document;
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
    } else if (word == "selection") {  // the depth, where it is not the document's
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
        host::Channel& channel = selected ? *document.selection
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
        setup->descriptor.push_back(
            {FourCC(key), name == "boolean" ? host::kTypeBoolean : host::kTypeInteger, a});
    } else {
        ADD_FAILURE() << "no command: " << word;
    }
}

// One run from the descriptor; expects a host that has nothing to complain of afterwards.
inline host::RunResult RunStrictly(host::Document& document, host::HostOptions options = {},
                                   const host::Descriptor& items = {}) {
    const host::HostPtr host = host::CreateHost(std::move(options));
    if (!items.empty()) host::GiveDescriptor(*host, items);
    const host::RunResult run = host::RunFilter(*host, PluginMain, document, host::AskForParameters::kNo);
    host::CloseHost(*host);
    EXPECT_EQ(host::ViolationText(*host), "");
    return run;
}

// A locked record over an open document, as the entry point would make it. The end checks that nothing is
// left.
struct ShellRig {
    explicit ShellRig(host::Document theDocument, host::HostOptions options = {},
                      const host::Descriptor& items = {})
        : document(std::move(theDocument)), host(host::CreateHost(std::move(options))) {
        host::OpenDocument(*host, document);
        if (!items.empty()) host::GiveDescriptor(*host, items);
        record = host::PrepareRecord(*host);
        gSPBasicSuite = record->sSPBasic;
        globals = AllocateGlobals(&result, record, record->handleProcs, sizeof(Globals), &data, ResetGlobals);
        EXPECT_NE(globals, nullptr);
    }
    ~ShellRig() {
        DisposePlanes(globals);
        UnlockHandle(record->handleProcs, reinterpret_cast<Handle>(data));
        DisposeHandle(record->handleProcs, reinterpret_cast<Handle>(data));
        DisposeHandle(record->handleProcs, record->parameters);
        host::EndRun(*host);
        host::CloseHost(*host);
        EXPECT_EQ(host::ViolationText(*host), "");
    }
    ShellRig(const ShellRig&) = delete;
    ShellRig& operator=(const ShellRig&) = delete;

    host::Document document;
    host::HostPtr host;
    FilterRecord* record = nullptr;
    std::int16_t result = 0;
    std::intptr_t data = 0;
    Globals* globals = nullptr;
};
