// The property list and the terminology as a host finds them in the built file, against bytes put together
// here from the parameter table.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "shell/parameter_table.h"

namespace {

constexpr WORD kResourceId = 16000;

// Little-endian numbers, codes and counted strings, as the resources hold them.
std::string Word(unsigned value) {
    return {static_cast<char>(value & 255), static_cast<char>(value >> 8 & 255)};
}

std::string Long(std::uint32_t value) {
    return Word(value & 0xffff) + Word(value >> 16);
}

std::string Code(const char (&code)[5]) {
    return Long(FourCC(code));
}

std::string Text(const std::string& text) {
    return static_cast<char>(text.size()) + text;
}

std::string Property(const char (&key)[5], std::string value, std::size_t length) {
    value.resize(length, '\0');
    return Code("8BIM") + Code(key) + Long(0) + Long(static_cast<std::uint32_t>(length)) + value;
}

// "SliderAdjBGLevel" is "Slider Adj BG Level" to a reader; these two names are spelt out further.
std::string DescriptionOf(const std::string& name) {
    if (name == "SliderSelectTransp") return "Slider Select Transparency";
    if (name == "SliderAdjBGLevel") return "Slider Adjust BG Level";
    std::string words;
    for (char letter : name) {
        if (letter >= 'A' && letter <= 'Z' && !words.empty()) words += ' ';
        words += letter;
    }
    return words;
}

// The bytes of a resource of the built module; empty when there is none.
std::string Resource(const char* type, int id = kResourceId) {
    const HMODULE module = LoadLibraryExA(".\\MarbleFrondKeeper.8bf", nullptr, LOAD_LIBRARY_AS_DATAFILE);
    const HRSRC resource = FindResourceA(module, MAKEINTRESOURCEA(id), type);
    std::string found;
    if (resource != nullptr) {
        const auto* bytes = static_cast<const char*>(LockResource(LoadResource(module, resource)));
        found.assign(bytes, SizeofResource(module, resource));
    }
    FreeLibrary(module);
    return found;
}

void ExpectResource(const char* type, const std::string& expected) {
    const std::string found = Resource(type);
    for (std::size_t i = 0; i < found.size() && i < expected.size(); ++i)
        ASSERT_EQ(found[i], expected[i]) << type << " at offset " << i;
    EXPECT_EQ(found.size(), expected.size());
}

TEST(ModuleFile, CarriesThePropertyList) {
    const std::string terms =
        Long(0) + Code("sdK1") + Code("sdK1") + Word(kResourceId) + "98b5a608-46ce-11d3-bd6b-0060b0a13dc4";
    std::string cases;
    for (int i = 0; i < 7; ++i) cases += std::string("\1\1\7\0", 4);
    ExpectResource(
        "PIPL",
        Word(1) + Long(0) + Long(10) + Property("kind", Code("8BFM"), 4) +
            Property("name", Text("Twin Plate Rig..."), 20) +
            Property("catg", Text("Marble Frond Keeper"), 24) + Property("vers", Long(0x00040000), 4) +
            (sizeof(void*) == 8 ? Property("8664", "PluginMain", 12) : Property("wx86", "PluginMain", 12)) +
            Property("hstm", terms, 56) + Property("mode", "\x10", 4) +
            Property("enbl", "in (PSHOP_ImageMode, RGBMode, RGB48Mode)", 44) + Property("wnsc", Long(1), 4) +
            Property("fici", cases, 28));
}

TEST(ModuleFile, CarriesTheTerminology) {
    std::string table = Word(1) + Word(1) + Word(0) + Word(0) + Word(1) + Text("Marble Frond Keeper") +
                        Text("MarbleFrond") + Long(kScriptEvent) + Word(1) + Word(1) + Word(1) +
                        Text("Twin Plate Rig") + Text("MarbleFrondKeeperPlugin filter plug-in") +
                        Long(kScriptEvent) + Long(kScriptEvent) + Code("null") + Text("") + Word(0) +
                        Code("#ImR") + Text("") + Word(0xB000) + Word(kParameterCount);
    for (const ParameterInfo& parameter : kParameters) {
        table += Text(parameter.name) + Long(parameter.key) +
                 (parameter.isFlag ? Code("bool") : Code("long")) + Text(DescriptionOf(parameter.name)) +
                 Word(0);
    }
    ExpectResource("AETE", table + Word(0) + Word(0) + Word(0));
}

TEST(ModuleFile, CarriesItsVersion) {
    std::string name;
    for (const char letter : std::string("MarbleFrondKeeper.8bf")) name += Word(letter);
    EXPECT_NE(Resource(MAKEINTRESOURCEA(16), 1).find(name), std::string::npos);  // RT_VERSION
}

}  // namespace
