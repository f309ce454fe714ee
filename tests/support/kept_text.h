// Texts that tests compare their results with, kept under tests/ and copied by the build. Tests run in the
// folder of the build and name the files as in the project: tests/ui/traces/preview.trace.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace test_support {

// The file's text; empty when there is none.
std::string KeptText(const std::string& path);

// Whether the text is that of the file. If it is not, the message shows the first line that differs, and the
// text is written to found/PATH, from where scripts/remake_traces.sh copies it to the project.
testing::AssertionResult MatchesKeptText(const std::string& text, const std::string& path);

}  // namespace test_support
