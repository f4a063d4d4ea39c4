// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <filesystem>

#include "cli/PlayerProgram.h"

namespace oxa::test {
namespace {

// The libraries as an incomplete installation has them: without the modules.
TEST(ModuleCli, missingModuleIsToldAndLeavesNothing) {
    const TempDir libraries;
    for (const auto& entry : std::filesystem::directory_iterator(OXA_LIBRARY_FOLDER)) {
        if (entry.is_directory()) continue;
        std::filesystem::copy(entry.path(), libraries.file(entry.path().filename()));
    }
    const TempDir folder;
    const std::string output = folder.file("out.mp4");
    const std::string clip = mediaPath("bunny_480p_hevc.mp4");
    const struct {
        std::vector<std::string> arguments;
        bool works;
        const char* text;
    } kCases[] = {{{"transcode", clip, "-o", output, "--fps", "10"}, false, "the codec "},
                  {{"record", "--usb", "lavfi:testsrc2", "-o", output},
                   false,
                   "cannot load the platform's module"},
                  {{"play", clip}, true, "sdl.so"},
                  // What needs none works.
                  {{"transcode", clip, "-o", output, "--size", "160x90"}, true, "out.mp4"}};
    for (const auto& test : kCases) {
        SCOPED_TRACE(testing::PrintToString(test.arguments));
        EXPECT_THAT(namesIn(folder.path()), testing::IsEmpty());
        const ProcessResult result = player(test.arguments)
                                             .setEnvironment("LD_LIBRARY_PATH", libraries.path())
                                             .setEnvironment("DISPLAY", ":0")
                                             .run();
        EXPECT_EQ(result.exitCode == 0, test.works);
        EXPECT_EQ(result.signal, 0);
        EXPECT_FALSE(result.timedOut);
        EXPECT_THAT(linesOf(result.err), testing::Contains(testing::HasSubstr(test.text)));
    }
}

}  // namespace
}  // namespace oxa::test
