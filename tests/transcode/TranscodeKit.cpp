// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "transcode/TranscodeKit.h"

#include <cstdlib>
#include <filesystem>

#include "cli/PlayerProgram.h"

namespace oxa::test {

bool isTransportStream(const std::string& path) {
    return std::filesystem::path(path).extension() == ".ts";
}

int testRounds(int usual) {
    const char* rounds = getenv("OXA_TEST_ROUNDS");
    return rounds != nullptr ? std::max(1, atoi(rounds)) : usual;
}

ProcessResult transcode(const std::string& input, const std::string& output,
                        const std::string& options) {
    ProcessResult result =
            runPlayer(joined({"transcode", input, "-o", output, "--force"}, words(options)));
    EXPECT_EQ(result.exitCode, 0) << input << ": " << result.err << " signal " << result.signal;
    EXPECT_EQ(complaintsAbout(output), "") << input;
    return result;
}

std::string complaintsAbout(const std::string& path) {
    const char* known = isTransportStream(path) ? "-f mpegts -i" : "-i";
    const std::vector<std::string> arguments = joined(words(known), {path, "-map", "0"});
    // At the times that the file gives: rounded to a frame rate, two pictures may have one.
    return ProcessRunner(ffmpeg(joined(arguments, words("-enc_time_base -1 -f null -")))).run().err;
}

}  // namespace oxa::test
