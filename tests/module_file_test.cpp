// The property list and the terminology as a host finds them in the built file, against bytes put together
// here from the parameter table.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

#include "shell/parameter_table.h"

namespace {

constexpr WORD kResourceId = 16000;

// Appends little-endian numbers, codes and strings to a text of bytes.
struct Bytes {
    std::string text;

    Bytes& Word(unsigned value) {
        text += static_cast<char>(value & 255);
        text += static_cast<char>(value >> 8 & 255);
        return *this;
    }
    Bytes& Long(std::uint32_t value) { return Word(value & 0xffff).Word(value >> 16); }
    Bytes& Code(const char (&code)[5]) { return Long(FourCC(code)); }
    Bytes& String(const std::string& string) {
        text += static_cast<char>(string.size());
        text += string;
        return *this;
    }
    Bytes& Property(const char (&key)[5], std::string value, std::size_t length) {
        value.resize(length, '\0');
        Code("8BIM").Code(key).Long(0).Long(static_cast<std::uint32_t>(length));
        text += value;
        return *this;
    }
};

std::string Pascal(const std::string& string) {
    return Bytes().String(string).text;
}

std::string ExpectedPropertyList() {
    Bytes terms;
    terms.Long(0).Code("sdK1").Code("sdK1").Word(kResourceId);
    terms.text += "98b5a608-46ce-11d3-bd6b-0060b0a13dc4";
    std::string cases;
    for (int i = 0; i < 7; ++i) cases += std::string("\1\1\7\0", 4);

    Bytes list;
    list.Word(1).Long(0).Long(10);
    list.Property("kind", Bytes().Code("8BFM").text, 4);
    list.Property("name", Pascal("Twin Plate Rig..."), 20);
    list.Property("catg", Pascal("Marble Frond Keeper"), 24);
    list.Property("vers", Bytes().Long(0x00040000).text, 4);
    if (sizeof(void*) == 8)
        list.Property("8664", "PluginMain", 12);
    else
        list.Property("wx86", "PluginMain", 12);
    list.Property("hstm", terms.text, 56);
    list.Property("mode", "\x10", 4);
    list.Property("enbl", "in (PSHOP_ImageMode, RGBMode, RGB48Mode)", 44);
    list.Property("wnsc", Bytes().Long(1).text, 4);
    list.Property("fici", cases, 28);
    return list.text;
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

std::string ExpectedTerminology() {
    Bytes table;
    table.Word(1).Word(1).Word(0).Word(0).Word(1);
    table.String("Marble Frond Keeper").String("MarbleFrond").Long(kScriptEvent).Word(1).Word(1).Word(1);
    table.String("Twin Plate Rig").String("MarbleFrondKeeperPlugin filter plug-in");
    table.Long(kScriptEvent).Long(kScriptEvent).Code("null").String("").Word(0);
    table.Code("#ImR").String("").Word(0xB000);
    table.Word(kParameterCount);
    for (const ParameterInfo& parameter : kParameters) {
        table.String(parameter.name).Long(parameter.key);
        table.Long(parameter.isFlag ? FourCC("bool") : FourCC("long"));
        table.String(DescriptionOf(parameter.name)).Word(0);
    }
    table.Word(0).Word(0).Word(0);
    return table.text;
}

class ModuleFile : public ::testing::Test {
  protected:
    void SetUp() override {
        module = LoadLibraryExA(".\\MarbleFrondKeeper.8bf", nullptr, LOAD_LIBRARY_AS_DATAFILE);
        ASSERT_NE(module, nullptr);
    }
    void TearDown() override { FreeLibrary(module); }

    std::string Resource(const char* type, const char* name) {
        const HRSRC found = FindResourceA(module, name, type);
        if (!found) return "no such resource";
        const void* bytes = LockResource(LoadResource(module, found));
        return std::string(static_cast<const char*>(bytes), SizeofResource(module, found));
    }

    HMODULE module = nullptr;
};

void ExpectSameBytes(const std::string& found, const std::string& expected) {
    for (std::size_t i = 0; i < found.size() && i < expected.size(); ++i)
        ASSERT_EQ(found[i], expected[i]) << "at offset " << i;
    EXPECT_EQ(found.size(), expected.size());
}

TEST_F(ModuleFile, CarriesThePropertyList) {
    ExpectSameBytes(Resource("PIPL", MAKEINTRESOURCEA(kResourceId)), ExpectedPropertyList());
}

TEST_F(ModuleFile, CarriesTheTerminology) {
    const std::string terminology = Resource("AETE", MAKEINTRESOURCEA(kResourceId));
    ExpectSameBytes(terminology, ExpectedTerminology());
    EXPECT_EQ(terminology.size(), 644u);
}

TEST_F(ModuleFile, CarriesItsVersion) {
    const std::string version = Resource(MAKEINTRESOURCEA(16) /* RT_VERSION */, MAKEINTRESOURCEA(1));
    const std::wstring name = L"MarbleFrondKeeper.8bf";
    EXPECT_NE(version.find(std::string(reinterpret_cast<const char*>(name.data()), name.size() * 2)),
              std::string::npos);
}

}  // namespace
