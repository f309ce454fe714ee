#include "tests/support/trace.h"

#include "shell/globals.h"
#include "support/message_box.h"
#include "tests/support/kept_text.h"

namespace test_support {

namespace {

Trace* gMessageListener = nullptr;

// NAME is FOLDER/TRACE.
std::string PathOf(const std::string& name) {
    const std::size_t slash = name.find('/');
    return "tests/" + name.substr(0, slash) + "/traces" + name.substr(slash) + ".trace";
}

}  // namespace

Trace::~Trace() {
    if (gMessageListener == this) gMessageListener = nullptr;
}

void Trace::Add(const std::string& line) {
    static const std::string kState = "NewHandle " + std::to_string(sizeof(filter::Globals)) + ' ';
    const bool isState = line.compare(0, kState.size(), kState) == 0;
    text += (isState ? "NewHandle sizeof(Globals) " + line.substr(kState.size()) : line) + '\n';
}

void Trace::Begin(const std::string& title) {
    text += (text.empty() ? "== " : "\n== ") + title + '\n';
}

HostOptions Trace::Listen(HostOptions options) {
    gMessageListener = this;
    options.trace = [this](const std::string& line) { Add(line); };
    return options;
}

testing::AssertionResult MatchesTrace(const std::string& text, const std::string& name) {
    return MatchesKeptText(text, PathOf(name));
}

testing::AssertionResult Trace::Follow(const std::string& name, const Command& carryOut) {
    std::istringstream script(KeptText(PathOf(name)));
    for (std::string line; std::getline(script, line);) {
        const std::string mark = line.substr(0, line.find(' '));
        if (mark == "==") Begin(line.substr(3));
        if (mark == "$" || mark == "#") Add(line);
        if (mark != "$") continue;
        std::istringstream words(line.substr(2));
        std::string word;
        words >> word;
        carryOut(word, words);
    }
    return MatchesTrace(text, name);
}

}  // namespace test_support

// Replaces the module's own, which would wait for a user.
void filter::ShowMessage(const char* text, const char* caption) {
    if (test_support::gMessageListener != nullptr)
        test_support::gMessageListener->Add(std::string("message ") + caption + ": " + text);
}
