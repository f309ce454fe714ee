// The engine's cases, calculated by hand and kept as text in tests/engine/cases.
//
//   # comment
//   with SETTINGS                     of all cases that follow, up to the next such line
//   case NAME SETTINGS : PIXELS => NUMBERS
//        PIXELS                       a line that begins with a space continues the last case
//
// SETTINGS are words or name=NUMBERS; a case's own override those of `with`. PIXELS are separated by |, each
// "[count of] TOP [over BOTTOM] [-> RESULT]": red, green, blue and alpha, the bottom without alpha. NUMBERS
// are separated by commas or spaces: a number, a quotient a/b, * for a number that the case does not test, ~f
// for the share f of kFineAlpha, truncated; NxV is V, N times.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>

#include "tests/support/scenes.h"
#include "tests/support/test_engine.h"

namespace test_support {

using Numbers = std::vector<double>;
constexpr double kAny = -1;
// A top alpha for a preview of a 16-bit document, which resolves alpha in steps of 1 / 50003.
constexpr int kFineAlpha = 50003;

struct CasePixel {
    Numbers top, bottom, expected;
};

struct Case {
    std::string name;
    std::map<std::string, Numbers> settings;
    std::vector<CasePixel> pixels;
    Numbers expected;

    bool Has(const char* setting) const { return settings.count(setting) != 0; }
    double Value(const char* setting, double otherwise) const {
        return Has(setting) ? settings.at(setting).at(0) : otherwise;
    }
};

inline Numbers NumbersOf(std::string text) {
    for (char& c : text) c = c == ',' ? ' ' : c;
    std::istringstream words(text);
    Numbers numbers;
    for (std::string word; words >> word;) {
        std::size_t count = 1;
        if (word.find('x') != std::string::npos) {
            count = std::stoul(word);
            word.erase(0, word.find('x') + 1);
        }
        const bool fine = word[0] == '~';
        const std::size_t slash = word.find('/');
        double number = word == "*" ? kAny : std::stod(word.substr(fine));
        if (slash != std::string::npos) number /= std::stod(word.substr(slash + 1));
        numbers.insert(numbers.end(), count, fine ? static_cast<int>(kFineAlpha * number) : number);
    }
    return numbers;
}

// Returns the text before the mark, or all of it without a mark, and removes both from the text.
inline std::string CutAt(const char* mark, std::string* text) {
    const std::size_t at = text->find(mark);
    const std::string before = text->substr(0, at);
    text->erase(0, at == std::string::npos ? at : at + std::strlen(mark));
    return before;
}

inline void ReadSettings(const std::string& text, std::map<std::string, Numbers>* settings) {
    std::istringstream words(text);
    for (std::string value; words >> value;) {
        const std::string name = CutAt("=", &value);
        (*settings)[name] = NumbersOf(value);
    }
}

inline Case CaseOf(std::string text, std::map<std::string, Numbers> settings) {
    Case c;
    std::string body = CutAt("=>", &text);
    c.expected = NumbersOf(text);
    std::string head = CutAt(":", &body);
    head.erase(0, std::strlen("case "));
    c.name = CutAt(" ", &head);
    ReadSettings(head, &settings);
    c.settings = settings;
    while (!body.empty()) {
        std::string result = CutAt("|", &body), count = "1";
        if (result.find_first_not_of(' ') == std::string::npos) continue;
        std::string bottom = CutAt("->", &result);
        if (bottom.find(" of ") != std::string::npos) count = CutAt(" of ", &bottom);
        const std::string top = CutAt("over", &bottom);
        c.pixels.insert(c.pixels.end(), std::stoul(count),
                        {NumbersOf(top), NumbersOf(bottom), NumbersOf(result)});
    }
    return c;
}

// All cases of tests/engine/cases/NAME.cases.
inline std::vector<Case> ReadCases(const std::string& name) {
    std::ifstream file("tests/engine/cases/" + name + ".cases");
    std::vector<Case> cases;
    std::map<std::string, Numbers> settings;
    std::string text;
    const auto finish = [&] {
        if (!text.empty()) cases.push_back(CaseOf(text, settings));
        text.clear();
    };
    for (std::string line; std::getline(file, line);) {
        line = CutAt("#", &line);
        if (line.rfind("with ", 0) == 0) {
            finish();
            settings.clear();
            ReadSettings(line.substr(std::strlen("with ")), &settings);
        } else if (line.rfind("case ", 0) == 0) {
            finish();
            text = line;
        } else if (!text.empty()) {
            text += "|" + line;
        }
    }
    finish();
    EXPECT_FALSE(cases.empty()) << name;
    return cases;
}

// An engine with what the case sets:
//   full8, preview8, full16, preview16   the kind of run
//   width                                all pixels in one row without it
//   alpha                                the top alpha of pixels that state three numbers
//   backdrop, meanG                      a uniform backdrop; the mean of its key channel, if that differs
//   blue, photo, view, blend, transparency; adjust, remove, black, alter, select, scale
//                                        flags, all others off, and sliders, all others at their defaults
inline std::unique_ptr<TestEngine> EngineOf(const Case& c) {
    const char* const kinds[] = {"full8", "preview8", "full16", "preview16"};
    const auto kind = std::find_if(kinds, std::end(kinds), [&](const char* name) { return c.Has(name); });
    EXPECT_NE(kind, std::end(kinds)) << c.name;
    const auto count = static_cast<std::int32_t>(c.pixels.size());
    const auto width = static_cast<std::int32_t>(c.Value("width", count));
    auto engine = std::make_unique<TestEngine>(width, count / width, kRunKinds[kind - kinds]);
    for (const auto& flag : kFlags) engine->settings.*flag.field = c.Has(flag.name);
    for (const auto& slider : kSliders)
        engine->settings.*slider.field = c.Value(slider.name, engine->settings.*slider.field);
    if (c.Has("backdrop")) {
        const Numbers& backdrop = c.settings.at("backdrop");
        engine->SetUniformBackdrop(backdrop.at(0), backdrop.at(1), backdrop.at(2));
        engine->backdrop.meanG = c.Value("meanG", backdrop[1]);
    }
    for (std::size_t n = 0; n < c.pixels.size(); ++n) {
        const CasePixel& p = c.pixels[n];
        const auto i = static_cast<std::int64_t>(n);
        for (std::size_t channel = 0; channel < 3; ++channel) {
            engine->Set(static_cast<Plane>(kTopR + channel), i,
                        static_cast<std::uint16_t>(p.top.at(channel)));
            if (p.bottom.empty()) continue;
            engine->Set(static_cast<Plane>(kBottomR + channel), i,
                        static_cast<std::uint16_t>(p.bottom.at(channel)));
        }
        const double alpha = p.top.size() > 3 ? p.top[3] : c.Value("alpha", engine->planes.maxSample);
        engine->Set(kTopA, i, static_cast<std::uint16_t>(alpha));
    }
    return engine;
}

// Keys the case and compares its pixels. `analysed`: after an analysis. `exchanged`: green and blue of the
// top layer and of the result are exchanged, so a case has logical channels. `differs`: the result must
// differ.
inline void ExpectPicture(const Case& c) {
    const std::unique_ptr<TestEngine> engine = EngineOf(c);
    if (c.Has("exchanged")) engine->ExchangePlanes(kTopG, kTopB);
    if (c.Has("analysed")) engine->Analyse();
    engine->Key();
    if (c.Has("exchanged")) engine->ExchangePlanes(kOutG, kOutB);
    for (std::size_t n = 0; n < c.pixels.size(); ++n) {
        Numbers expected = c.pixels[n].expected, found;
        expected.resize(std::size(kOutputs), kAny);
        for (double value : expected) {
            const Plane plane = kOutputs[found.size()];
            found.push_back(value == kAny ? kAny : engine->Get(plane, static_cast<std::int64_t>(n)));
        }
        EXPECT_EQ(found == expected, !c.Has("differs"))
            << c.name << ", pixel " << n << ": " << testing::PrintToString(expected) << ", found "
            << testing::PrintToString(found);
    }
    EXPECT_TRUE(engine->GuardsIntact()) << c.name;
}

inline void ExpectPictures(const std::string& file) {
    for (const Case& c : ReadCases(file)) ExpectPicture(c);
}

}  // namespace test_support
