#include "images/text.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace images {

namespace {

// The length of the UTF-8 character at this offset in bytes; 0 for an invalid one.
std::size_t Utf8Length(const std::string& text, std::size_t at) {
    const auto byte = [&](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
    };
    const int lead = byte(at);
    const std::size_t size = lead < 0x80                   ? 1
                             : lead >= 0xC2 && lead < 0xE0 ? 2
                             : lead >= 0xE0 && lead < 0xF0 ? 3
                             : lead >= 0xF0 && lead < 0xF5 ? 4
                                                           : 0;
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) return 0;
    }
    return size;
}

// Terminals interpret the controls below 0x20, 0x7F, and U+0080 to U+009F.
bool IsControl(const std::string& text, std::size_t at) {
    const auto first = static_cast<unsigned char>(text[at]);
    return first < 0x20 || first == 0x7F ||
           (first == 0xC2 && static_cast<unsigned char>(text[at + 1]) < 0xA0);
}

}  // namespace

std::string EscapeUnprintable(const std::string& text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = Utf8Length(text, at);
        if (size > 0 && !IsControl(text, at)) {
            result.append(text, at, size);
            at += size;
            continue;
        }
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\x%02X",
                      static_cast<unsigned>(static_cast<unsigned char>(text[at])));
        result += text[at] == '\n' ? "\\n" : text[at] == '\t' ? "\\t" : escape;
        ++at;
    }
    return result;
}

std::string DisplayName(const std::filesystem::path& path) {
    return EscapeUnprintable(path.u8string());
}

std::string ToSingleLine(const std::string& text) {
    std::string line = text;
    std::replace_if(
        line.begin(), line.end(), [](unsigned char c) { return std::iscntrl(c) != 0; }, ' ');
    const std::size_t end = line.find_last_not_of(" .");
    return end == std::string::npos ? "no reason given" : line.substr(0, end + 1);
}

}  // namespace images
