// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <utility>
#include <vector>

#include "cli/PlayerProgram.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace oxa::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

// The libraries as an incomplete installation has them: without the modules.
class ModuleCliTest : public testing::Test {
  protected:
    void SetUp() override {
        for (const auto& entry : std::filesystem::directory_iterator(OXA_LIBRARY_FOLDER)) {
            if (entry.is_directory()) continue;
            std::filesystem::copy(entry.path(), mLibraries.file(entry.path().filename()));
        }
    }
    ProcessResult run(const std::vector<std::string>& arguments) const {
        return player(arguments)
                .setEnvironment("LD_LIBRARY_PATH", mLibraries.path())
                .setEnvironment("DISPLAY", ":0")
                .run();
    }

    const TempDir mLibraries;
    const TempDir mFolder;
    const std::string mOutput = mFolder.file("out.mp4");
    const std::string mClip = mediaPath("bunny_480p_hevc.mp4");
};

TEST_F(ModuleCliTest, whatNeedsNoneWorks) {
    const ProcessResult result = run({"transcode", mClip, "-o", mOutput, "--size", "160x90"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
}

TEST_F(ModuleCliTest, missingModuleIsToldAndLeavesNothing) {
    for (const auto& [arguments, text] :
         {std::pair{std::vector<std::string>{"transcode", mClip, "-o", mOutput, "--fps", "10"},
                    "the codec "},
          std::pair{std::vector<std::string>{"record", "--usb", "lavfi:testsrc2", "-o", mOutput},
                    "cannot load the platform's module"}}) {
        SCOPED_TRACE(arguments[0]);
        const ProcessResult result = run(arguments);
        EXPECT_NE(result.exitCode, 0);
        EXPECT_EQ(result.signal, 0);
        EXPECT_FALSE(result.timedOut);
        EXPECT_THAT(linesOf(result.err), Contains(HasSubstr(text)));
        EXPECT_THAT(namesIn(mFolder.path()), IsEmpty());
    }
}

TEST_F(ModuleCliTest, playsWithoutScreenAndSoundCard) {
    const ProcessResult result = run({"play", mClip});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(linesOf(result.err), Contains(HasSubstr("sdl.so")));
}

}  // namespace
}  // namespace oxa::test
