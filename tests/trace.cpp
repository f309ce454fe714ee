#include "tests/trace.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

#include "shell/globals.h"
#include "ui/message_box.h"

namespace {

Trace* messageListener = nullptr;

std::vector<std::string> LinesOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

std::string Excerpt(const std::vector<std::string>& lines, std::size_t first, std::size_t end,
                    const char* mark) {
    std::string text;
    for (std::size_t i = first; i < end && i < lines.size(); ++i) text += mark + lines[i] + '\n';
    return text.empty() ? std::string(mark) + "(the end)\n" : text;
}

}  // namespace

// Takes the place of the module's own, which would wait for a user.
void ShowMessage(const char* text, const char* caption) {
    if (messageListener != nullptr) messageListener->Add(std::string("message ") + caption + ": " + text);
}

Trace::~Trace() {
    if (messageListener == this) messageListener = nullptr;
}

void Trace::Add(const std::string& line) {
    if (!hasBlocks && line.find("eBlock ") != line.npos) {
        const std::string kFails = "the next call fails\n";
        const bool fails = text.size() >= kFails.size() &&
                           text.compare(text.size() - kFails.size(), kFails.size(), kFails) == 0;
        if (fails) text += line.substr(0, line.find(' ')) + '\n';
        return;
    }
    static const std::string kState = "NewHandle " + std::to_string(sizeof(Globals)) + ' ';
    if (line.compare(0, kState.size(), kState) != 0) {
        text += line + '\n';
    } else {
        text += "NewHandle sizeof(Globals) " + line.substr(kState.size()) + '\n';
    }
}

void Trace::Begin(const std::string& title) {
    text += (text.empty() ? "== " : "\n== ") + title + '\n';
}

HostOptions Trace::Listen(HostOptions options) {
    messageListener = this;
    options.trace = [this](const std::string& line) { Add(line); };
    return options;
}

testing::AssertionResult MatchesTrace(const std::string& text, const std::string& name) {
    const std::filesystem::path file = name + ".trace";
    std::ifstream kept("traces" / file, std::ios::binary);
    const std::string expected{std::istreambuf_iterator<char>(kept), {}};
    if (text == expected && !text.empty()) return testing::AssertionSuccess();

    std::filesystem::create_directories("traces/found");
    std::ofstream("traces/found" / file, std::ios::binary) << text;
    constexpr std::size_t kContext = 3;
    const std::vector<std::string> before = LinesOf(expected), now = LinesOf(text);
    std::size_t i = 0;
    while (i < before.size() && i < now.size() && before[i] == now[i]) ++i;
    return testing::AssertionFailure() << name << ".trace, line " << i + 1 << ":\n"
                                       << Excerpt(before, i < kContext ? 0 : i - kContext, i, "            ")
                                       << Excerpt(before, i, i + kContext, "  expected: ")
                                       << Excerpt(now, i, i + kContext, "  found:    ");
}
