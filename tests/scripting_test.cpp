// The parameters in the host's descriptor.
#include "shell/scripting.h"

#include <cstring>

#include "shell/parameter_table.h"
#include "shell/plugin_main.h"
#include "tests/shell_rig.h"

namespace {

// A rig whose open descriptor holds the given items.
struct ScriptRig : ShellRig {
    explicit ScriptRig(const Descriptor& items, HostOptions options = {})
        : ShellRig(PatternDocument(4, 3, 8, 2), std::move(options), items) {}
};

TEST(ReadScriptParameters, OverlaysTheDefaultsWithWhatIsThere) {
    ScriptRig rig({{FourCC("OrgP"), kTypeBoolean, 1},
                   {FourCC("what"), kTypeInteger, 9},
                   {FourCC("RGre"), kTypeInteger, 500},
                   {FourCC("SKTp"), kTypeInteger, -5}});
    rig.globals->SliderRestoreBlack = 99;
    ReadScriptParameters(rig.globals);
    EXPECT_EQ(0, rig.result) << "keys that are missing are no failure";
    EXPECT_EQ(500, rig.globals->SliderRemoveGreen) << "no range is checked";
    EXPECT_EQ(-5, rig.globals->SliderScaleTransp);
    EXPECT_EQ(1, rig.globals->FlagOrgPhoto);
    EXPECT_EQ(20, rig.globals->SliderRestoreBlack);
    EXPECT_EQ(1, rig.globals->FlagRealityInteg);
    EXPECT_EQ(nullptr, rig.record->descriptorParameters->descriptor) << "reading consumes it";
}

TEST(ReadScriptParameters, PassesOnOtherClosingCodes) {
    for (const OSErr code : {OSErr{errMissingParameter}, OSErr{-43}, OSErr{7}}) {
        HostOptions options;
        options.closeReadCode = code;
        ScriptRig rig({{FourCC("RGre"), kTypeInteger, 5}}, options);
        rig.record->descriptorParameters->playInfo = plugInDialogDisplay;
        ReadScriptParameters(rig.globals);
        EXPECT_EQ(code == errMissingParameter ? 0 : code, rig.result);
        EXPECT_EQ(5, rig.globals->SliderRemoveGreen);
        EXPECT_EQ(1, ParametersOf(rig.globals)->showDialog);
    }
}

TEST(ReadScriptParameters, DecidesOnTheDialog) {
    for (bool usable : {true, false}) {
        for (std::int16_t playInfo : {plugInDialogDontDisplay, plugInDialogDisplay, plugInDialogSilent}) {
            for (std::uint8_t before : {0, 1}) {
                ScriptRig rig({{FourCC("RGre"), kTypeInteger, 5}});
                PIDescriptorParameters* parameters = rig.record->descriptorParameters;
                parameters->playInfo = playInfo;
                if (!usable) parameters->descriptorParametersVersion = 1;
                ParametersOf(rig.globals)->showDialog = before;
                ReadScriptParameters(rig.globals);
                const bool opens = usable ? playInfo == plugInDialogDisplay : before == 1;
                EXPECT_EQ(opens, ParametersOf(rig.globals)->showDialog == 1)
                    << usable << ' ' << playInfo << ' ' << int{before};
                EXPECT_EQ(usable, parameters->descriptor == nullptr);
            }
        }
    }
}

// Every one of the procs must be there, of the one version known.
TEST(DescriptorParameters, AreUsableOnlyWhole) {
    ScriptRig rig({});
    const PIDescriptorParameters sound = *rig.record->descriptorParameters;
    EXPECT_TRUE(DescriptorParametersUsable(&sound));
    EXPECT_FALSE(DescriptorParametersUsable(nullptr));
    PIDescriptorParameters parameters = sound;
    const auto usableWithout = [&parameters](auto procs, std::size_t firstProc, int index) {
        const void* none = nullptr;
        std::memcpy(reinterpret_cast<char*>(&procs) + firstProc + index * sizeof none, &none, sizeof none);
        if constexpr (std::is_same_v<decltype(procs), ReadDescriptorProcs>) {
            parameters.readDescriptorProcs = &procs;
        } else {
            parameters.writeDescriptorProcs = &procs;
        }
        return DescriptorParametersUsable(&parameters);
    };
    for (int i = 0; i < kReadDescriptorProcsCount; ++i) {
        EXPECT_FALSE(usableWithout(*sound.readDescriptorProcs,
                                   offsetof(ReadDescriptorProcs, openReadDescriptorProc), i))
            << "read proc " << i;
    }
    parameters = sound;
    for (int i = 0; i < kWriteDescriptorProcsCount; ++i) {
        EXPECT_FALSE(usableWithout(*sound.writeDescriptorProcs,
                                   offsetof(WriteDescriptorProcs, openWriteDescriptorProc), i))
            << "write proc " << i;
    }
    parameters = sound;
    parameters.readDescriptorProcs = nullptr;
    EXPECT_FALSE(DescriptorParametersUsable(&parameters));
    parameters = sound;
    parameters.writeDescriptorProcs = nullptr;
    EXPECT_FALSE(DescriptorParametersUsable(&parameters));

    const auto usableWith = [&](auto change) {
        ReadDescriptorProcs read = *sound.readDescriptorProcs;
        WriteDescriptorProcs write = *sound.writeDescriptorProcs;
        change(read, write);
        parameters = sound;
        parameters.readDescriptorProcs = &read;
        parameters.writeDescriptorProcs = &write;
        return DescriptorParametersUsable(&parameters);
    };
    EXPECT_FALSE(usableWith([](auto& read, auto&) { read.readDescriptorProcsVersion = 1; }));
    EXPECT_FALSE(usableWith([](auto& read, auto&) { read.numReadDescriptorProcs = 17; }));
    EXPECT_FALSE(usableWith([](auto&, auto& write) { write.writeDescriptorProcsVersion = -1; }));
    EXPECT_FALSE(usableWith([](auto&, auto& write) { write.numWriteDescriptorProcs = 15; }));
    EXPECT_TRUE(usableWith([](auto& read, auto& write) {
        read.numReadDescriptorProcs = 19;
        write.numWriteDescriptorProcs = 17;
    }));
}

TEST(WriteScriptParameters, ReplacesTheDescriptorAndAsksForNoDialog) {
    ScriptRig rig({{FourCC("RGre"), kTypeInteger, 5}});
    PIDescriptorParameters* parameters = rig.record->descriptorParameters;
    parameters->recordInfo = plugInDialogNone;
    WriteScriptParameters(rig.globals);
    EXPECT_EQ(plugInDialogOptional, parameters->recordInfo);
    EXPECT_NE(nullptr, parameters->descriptor);
    DisposeHandle(rig.record->handleProcs, parameters->descriptor);
    parameters->descriptor = nullptr;
}

TEST(WriteScriptParameters, ARunIsRecordedAndReplayed) {
    Document document = PatternDocument(6, 5, 8, 2);
    HostPtr host = CreateHost();
    Descriptor recorded;
    for (int i = 0; i < kParameterCount; ++i) {
        const bool flag = kParameters[i].isFlag;
        recorded.push_back({kParameters[i].key, flag ? kTypeBoolean : kTypeInteger,
                            flag ? 1 - kParameters[i].defaultValue : 3 * i + 1});
    }
    GiveDescriptor(*host, {recorded.rbegin(), recorded.rend()});
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, RunFilter(*host, PluginMain, document, AskForParameters::kNo).result);
        EXPECT_EQ(recorded, KeptDescriptor(*host)) << "all eleven, in the terminology's order";
    }
    CloseHost(*host);
    EXPECT_EQ("", ViolationText(*host));
}

}  // namespace
