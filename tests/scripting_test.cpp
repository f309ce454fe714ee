// The parameters in the host's descriptor.
#include "shell/scripting.h"

#include <cstring>

#include "tests/shell_rig.h"

namespace {

TEST(ReadScriptParameters, DecidesOnTheDialog) {
    for (bool usable : {true, false}) {
        for (std::int16_t playInfo : {plugInDialogDontDisplay, plugInDialogDisplay, plugInDialogSilent}) {
            for (std::uint8_t before : {0, 1}) {
                ShellRig rig(PatternDocument(4, 3, 8, 2), {}, {{FourCC("RGre"), kTypeInteger, 5}});
                PIDescriptorParameters& parameters = *rig.record->descriptorParameters;
                parameters.playInfo = playInfo;
                if (!usable) parameters.descriptorParametersVersion = 1;
                ParametersOf(rig.globals)->showDialog = before;
                rig.globals->SliderRestoreBlack = 99;
                ReadScriptParameters(rig.globals);
                EXPECT_EQ(20, rig.globals->SliderRestoreBlack) << "what no item says has its default";
                EXPECT_EQ(usable ? playInfo == plugInDialogDisplay : before,
                          ParametersOf(rig.globals)->showDialog)
                    << usable << ' ' << playInfo << ' ' << int{before};
                EXPECT_EQ(usable, parameters.descriptor == nullptr) << "reading consumes it";
            }
        }
    }
}

// Every one of the procs must be there, of the one version known.
TEST(DescriptorParameters, AreUsableOnlyWhole) {
    ShellRig rig(PatternDocument(4, 3, 8, 2));
    const PIDescriptorParameters sound = *rig.record->descriptorParameters;
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

}  // namespace
