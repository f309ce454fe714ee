// The resources of the built file as a host finds them.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>

#include "tests/support/scratch_folder.h"

namespace {

using namespace test_support;

// The bytes of a resource of the built module; empty when there is none.
Bytes Resource(const char* type, int id) {
    const HMODULE module = LoadLibraryExA(".\\MarbleFrondKeeper.8bf", nullptr, LOAD_LIBRARY_AS_DATAFILE);
    const HRSRC resource = FindResourceA(module, MAKEINTRESOURCEA(id), type);
    Bytes found;
    if (resource != nullptr) {
        const auto* bytes = static_cast<const std::uint8_t*>(LockResource(LoadResource(module, resource)));
        found.assign(bytes, bytes + SizeofResource(module, resource));
    }
    FreeLibrary(module);
    return found;
}

TEST(ModuleFile, ContainsItsResources) {
    Bytes properties = FileCase("properties");
    const std::string wide = "4668", narrow = "68xw";
    const auto code = std::search(properties.begin(), properties.end(), wide.begin(), wide.end());
    ASSERT_NE(code, properties.end());
    if (sizeof(void*) == 4) std::copy(narrow.begin(), narrow.end(), code);
    EXPECT_EQ(Resource("PIPL", 16000), properties);
    EXPECT_EQ(Resource("AETE", 16000), FileCase("terminology"));
    const Bytes version = Resource(MAKEINTRESOURCEA(16), 1);  // RT_VERSION, which counts letters in 16 bits
    std::string letters;
    for (std::size_t i = 0; i < version.size(); i += 2) letters += static_cast<char>(version[i]);
    EXPECT_NE(letters.find("MarbleFrondKeeper.8bf"), std::string::npos);
}

}  // namespace
