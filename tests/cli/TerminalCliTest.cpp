// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/PlayerProgram.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace oxa::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

// The program as in a terminal; what it writes there is in `out`.
ProcessResult runInTerminal(const std::string& arguments, const std::string& noColour,
                            const std::string& terminal = "xterm") {
    return ProcessRunner({"script", "-qec", OXA_PLAYER_PROGRAM " " + arguments, "/dev/null"})
            .setEnvironment("TERM", terminal)
            .setEnvironment("NO_COLOR", noColour)
            .run();
}

// A bar needs a job of more than a moment.
std::string shortJob(const TempDir& folder) {
    return "transcode " + mediaPath("friday_audio_starts_1200ms.mp4") + " -o " +
           folder.file("out.mp4") + " --size 160x120 --preset ultrafast";
}

TEST(Terminal, coloursErrorsTablesAndTheBar) {
    const TempDir folder;
    const ProcessResult error = runInTerminal("probe x.mp4", "");
    EXPECT_EQ(error.exitCode, 3);
    EXPECT_THAT(error.out, HasSubstr("\033[1;31moxaplayer: probe: \033[0mcannot open"));
    EXPECT_THAT(runInTerminal("probe", "").out, HasSubstr("\033[1;31moxaplayer:\033[0m probe: "));
    EXPECT_THAT(runInTerminal("probe " + mediaPath("roar.mp3"), "").out,
                HasSubstr("\033[1m" + mediaPath("roar.mp3") + "\033[0m"));
    EXPECT_THAT(runInTerminal(shortJob(folder), "").out, HasSubstr("\033[32m#"));
}

TEST(Terminal, isPlainWhereColourIsRefused) {
    const TempDir folder;
    const ProcessResult bar = runInTerminal(shortJob(folder), "1");
    EXPECT_EQ(bar.exitCode, 0) << bar.out;
    EXPECT_THAT(bar.out, HasSubstr("\r\033[K["));  // a bar nevertheless
    EXPECT_THAT(bar.out, AllOf(HasSubstr(" % "), HasSubstr(" fps  "), Not(HasSubstr("m#"))));
    EXPECT_THAT(runInTerminal("probe x.mp4", "1").out, Not(HasSubstr("\033")));
    EXPECT_THAT(runInTerminal("probe x.mp4", "", "dumb").out, Not(HasSubstr("\033")));
    EXPECT_THAT(runPlayer({"probe", mediaPath("roar.mp3")}).out, Not(HasSubstr("\033")));
}

}  // namespace
}  // namespace oxa::test
