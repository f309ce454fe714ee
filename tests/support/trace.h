// The calls of a run as text, compared line by line with a kept trace, which is read in review.
// scripts/remake_traces.sh replaces the kept traces.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>

#include "host/host.h"

namespace test_support {

using namespace host;

// A text in the making. Not safe for threads.
struct Trace {
    Trace() = default;
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;
    ~Trace();

    std::string text;

    // Appends a line of HostOptions::trace. Sizes that differ between platforms become names.
    void Add(const std::string& line);
    // A blank line and a title for what follows.
    void Begin(const std::string& title);
    // The options with this trace as their listener, and as that of the message boxes of the logic linked
    // into this program; the trace outlives the host.
    HostOptions Listen(HostOptions options = {});

    // Follows the script within the trace of that name: its titles, comments ("# ...") and commands ("$
    // ..."). All are copied to the text, and carryOut gets the first word of each command and the rest of its
    // line. At the end the text must match the whole trace.
    using Command = std::function<void(const std::string& word, std::istream& words)>;
    testing::AssertionResult Follow(const std::string& name, const Command& carryOut);
};

// Whether the text is the trace of the name FOLDER/TRACE, kept in tests/FOLDER/traces/TRACE.trace.
testing::AssertionResult MatchesTrace(const std::string& text, const std::string& name);

}  // namespace test_support
