// Text for a terminal: one line, without control characters.
#pragma once

#include <filesystem>
#include <string>

namespace images {

// UTF-8 text whose control characters and invalid bytes are escaped: \n, \t or \x1B.
std::string EscapeUnprintable(const std::string& text);

// A path in UTF-8 for messages, escaped.
std::string DisplayName(const std::filesystem::path& path);

// A library's message in one line, without line breaks and without a final full stop.
std::string ToSingleLine(const std::string& text);

}  // namespace images
