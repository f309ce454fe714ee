// The parameters in the host's descriptor.
#include "shell/scripting.h"

#include <cstring>

#include "shell/parameter_table.h"
#include "tests/shell_rig.h"

namespace {

// A rig whose open descriptor holds the given items.
struct ScriptRig : ShellRig {
    explicit ScriptRig(const Descriptor& items, HostOptions options = {})
        : ShellRig(PatternDocument(4, 3, 8, 2), std::move(options), items) {}

    PIDescriptorParameters& Parameters() { return *record->descriptorParameters; }
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
}

TEST(ReadScriptParameters, PassesOnOtherClosingCodes) {
    for (const OSErr code : {OSErr{errMissingParameter}, OSErr{-43}, OSErr{7}}) {
        HostOptions options;
        options.closeReadCode = code;
        ScriptRig rig({{FourCC("RGre"), kTypeInteger, 5}}, options);
        ReadScriptParameters(rig.globals);
        EXPECT_EQ(code == errMissingParameter ? 0 : code, rig.result);
        EXPECT_EQ(5, rig.globals->SliderRemoveGreen);
    }
}

TEST(ReadScriptParameters, DecidesOnTheDialog) {
    for (bool usable : {true, false}) {
        for (std::int16_t playInfo : {plugInDialogDontDisplay, plugInDialogDisplay, plugInDialogSilent}) {
            for (std::uint8_t before : {0, 1}) {
                ScriptRig rig({{FourCC("RGre"), kTypeInteger, 5}});
                rig.Parameters().playInfo = playInfo;
                if (!usable) rig.Parameters().descriptorParametersVersion = 1;
                ParametersOf(rig.globals)->showDialog = before;
                ReadScriptParameters(rig.globals);
                EXPECT_EQ(usable ? playInfo == plugInDialogDisplay : before,
                          ParametersOf(rig.globals)->showDialog)
                    << usable << ' ' << playInfo << ' ' << int{before};
                EXPECT_EQ(usable, rig.Parameters().descriptor == nullptr) << "reading consumes it";
            }
        }
    }
}

// Every one of the procs must be there, of the one version known.
TEST(DescriptorParameters, AreUsableOnlyWhole) {
    ScriptRig rig({});
    const PIDescriptorParameters sound = rig.Parameters();
    PIDescriptorParameters parameters;
    ReadDescriptorProcs read;
    WriteDescriptorProcs write;
    const auto usableAfter = [&](auto change) {
        read = *sound.readDescriptorProcs;
        write = *sound.writeDescriptorProcs;
        parameters = sound;
        parameters.readDescriptorProcs = &read;
        parameters.writeDescriptorProcs = &write;
        change();
        return DescriptorParametersUsable(&parameters);
    };
    const auto clear = [](void* firstProc, int index) {
        std::memset(static_cast<char*>(firstProc) + index * sizeof(void*), 0, sizeof(void*));
    };
    EXPECT_FALSE(DescriptorParametersUsable(nullptr));
    EXPECT_TRUE(usableAfter([&] { read.numReadDescriptorProcs = write.numWriteDescriptorProcs = 19; }));
    for (int i = 0; i < kReadDescriptorProcsCount; ++i) {
        EXPECT_FALSE(usableAfter([&] { clear(&read.openReadDescriptorProc, i); })) << "read proc " << i;
    }
    for (int i = 0; i < kWriteDescriptorProcsCount; ++i) {
        EXPECT_FALSE(usableAfter([&] { clear(&write.openWriteDescriptorProc, i); })) << "write proc " << i;
    }
    EXPECT_FALSE(usableAfter([&] { parameters.readDescriptorProcs = nullptr; }));
    EXPECT_FALSE(usableAfter([&] { parameters.writeDescriptorProcs = nullptr; }));
    EXPECT_FALSE(usableAfter([&] { read.readDescriptorProcsVersion = 1; }));
    EXPECT_FALSE(usableAfter([&] { read.numReadDescriptorProcs = 17; }));
    EXPECT_FALSE(usableAfter([&] { write.writeDescriptorProcsVersion = -1; }));
    EXPECT_FALSE(usableAfter([&] { write.numWriteDescriptorProcs = 15; }));
}

TEST(WriteScriptParameters, AsksForNoDialogAtAReplay) {
    ScriptRig rig({});
    rig.Parameters().recordInfo = plugInDialogNone;
    WriteScriptParameters(rig.globals);
    EXPECT_EQ(plugInDialogOptional, rig.Parameters().recordInfo);
    DisposeHandle(rig.record->handleProcs, rig.Parameters().descriptor);
}

TEST(WriteScriptParameters, ARunIsRecordedAndReplayed) {
    Document document = PatternDocument(6, 5, 8, 2);
    const HostPtr host = CreateHost();
    Descriptor recorded;
    for (int i = 0; i < kParameterCount; ++i) {
        const bool flag = kParameters[i].isFlag;
        recorded.push_back({kParameters[i].key, flag ? kTypeBoolean : kTypeInteger,
                            flag ? 1 - kParameters[i].defaultValue : 3 * i + 1});
    }
    GiveDescriptor(*host, {recorded.rbegin(), recorded.rend()});
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, RunFilter(*host, PluginMain, document, AskForParameters::kNo).result);
        EXPECT_EQ(recorded, KeptDescriptor(*host)) << "all, in the terminology's order";
    }
    CloseHost(*host);
    EXPECT_EQ("", ViolationText(*host));
}

}  // namespace
