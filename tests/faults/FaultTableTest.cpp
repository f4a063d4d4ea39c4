// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// What can go wrong below each of the program's jobs: what its user is told, and what is on the
// disk afterwards.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <ostream>
#include <string>
#include <vector>

#include "cli/PlayerProgram.h"
#include "faults/FaultPlan.h"
#include "support/MediaProbe.h"
#include "support/ProcessRunner.h"
#include "support/TempDir.h"
#include "support/TestClips.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::chrono::seconds kTimeLimit{100};
constexpr int kSeconds = 3;
constexpr int kFrameRate = 25;

enum class Job { kTranscode, kPlay, kRecord };
enum class Left {
    kNothing,   // no file at all
    kPlayable,  // a file that ends early
    kWhole,     // everything
};

struct FaultCase {
    const char* name;
    Job job;
    const char* fault;
    int exitCode;
    const char* message;  // in its one line, empty: none
    Left left;
    const char* extension = "mp4";
};
void PrintTo(const FaultCase& value, std::ostream* out) {
    *out << value.name;
}

std::string faultyInput() {
    ClipOptions options;
    options.extension = "mkv";
    options.seconds = kSeconds;
    options.frameRateNum = kFrameRate;
    options.videoArguments = {"-b:v", "800k", "-minrate", "800k", "-bufsize", "200k"};
    return testClip(options);
}

class FaultTableTest : public testing::TestWithParam<FaultCase> {
  protected:
    std::vector<std::string> command() const {
        switch (GetParam().job) {
            case Job::kTranscode:
                return {"transcode", faultyInput(), "-o", output(), "--preset", "ultrafast"};
            case Job::kPlay:
                return {"play", faultyInput(), "--display", "null", "--sound", "null"};
            case Job::kRecord:
                break;
        }
        return {"record",
                "--usb",
                "lavfi:testsrc2=size=320x240:rate=25;sine",
                "-o",
                output(),
                "--duration",
                std::to_string(kSeconds),
                "--preset",
                "ultrafast"};
    }
    std::string output() const { return mFolder.file(std::string("out.") + GetParam().extension); }
    ProcessResult run() const {
        std::vector<std::string> command = this->command();
        command.insert(command.begin(), OXA_FAULTY_PROGRAM);
        command.push_back("--quiet");
        ProcessRunner runner(command);
        runner.setEnvironment(kFaultVariable, GetParam().fault).setTimeLimit(kTimeLimit);
        if (testing::Matches(HasSubstr("silent"))(GetParam().fault)) runner.leavesThreads();
        return runner.run();
    }
    // A recording ends when this machine gets to it.
    static int mostMorePictures() { return GetParam().job == Job::kRecord ? kFrameRate : 1; }
    void expectLeft() const {
        if (GetParam().left == Left::kNothing) {
            EXPECT_THAT(namesIn(mFolder.path()), IsEmpty());
            return;
        }
        EXPECT_EQ(namesIn(mFolder.path()).size(), 1U);
        const MediaProbe probe(output());
        ASSERT_TRUE(probe.ok()) << probe.error();
        ASSERT_NE(probe.video(), nullptr);
        ASSERT_NE(probe.audio(), nullptr);
        // A transport stream may be cut within its last picture.
        const bool isCut = GetParam().left == Left::kPlayable && isTransportStream(output());
        EXPECT_LE(probe.video()->decodeErrors, isCut ? 1 : 0);
        EXPECT_EQ(probe.audio()->decodeErrors, 0);
        if (GetParam().left == Left::kWhole) {
            EXPECT_GE(probe.video()->frameCount, kSeconds * kFrameRate - 1);
            EXPECT_LE(probe.video()->frameCount, kSeconds * kFrameRate + mostMorePictures());
        } else {
            EXPECT_GT(probe.video()->frameCount, 5);
            EXPECT_LT(probe.video()->frameCount, kSeconds * kFrameRate - 5);
        }
    }

    const TempDir mFolder;
};

TEST_P(FaultTableTest, isToldAndLosesNothing) {
    const FaultCase& test = GetParam();
    const ProcessResult result = run();
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.exitCode, test.exitCode) << result.err;
    const std::vector<std::string> lines = linesOf(result.err);
    if (*test.message == '\0') {
        EXPECT_THAT(lines, IsEmpty());
    } else {
        ASSERT_EQ(lines.size(), 1U) << result.err;
        EXPECT_THAT(lines[0], HasSubstr(test.message));
    }
    if (test.job != Job::kPlay) expectLeft();
}

std::string nameOf(const testing::TestParamInfo<FaultCase>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Reading, FaultTableTest,
                         testing::Values(FaultCase{"TranscodeReadError", Job::kTranscode,
                                                   "read-error@150000", 3, "Input/output error",
                                                   Left::kNothing},
                                         FaultCase{"TranscodeShortReads", Job::kTranscode,
                                                   "short-reads", 0, "", Left::kWhole},
                                         FaultCase{"PlayReadError", Job::kPlay, "read-error@150000",
                                                   3, "Input/output error", Left::kNothing},
                                         FaultCase{"PlayShortReads", Job::kPlay, "short-reads", 0,
                                                   "", Left::kNothing}),
                         nameOf);

INSTANTIATE_TEST_SUITE_P(
        Writing, FaultTableTest,
        testing::Values(FaultCase{"TranscodeWriteErrorMp4", Job::kTranscode, "write-error@100000",
                                  4, "Input/output error", Left::kNothing},
                        FaultCase{"TranscodeWriteErrorTs", Job::kTranscode, "write-error@100000", 4,
                                  "Input/output error", Left::kNothing, "ts"},
                        FaultCase{"TranscodeDiskFullMp4", Job::kTranscode, "disk-full@100000", 4,
                                  "No space left on device", Left::kNothing},
                        FaultCase{"TranscodeDiskFullTs", Job::kTranscode, "disk-full@100000", 4,
                                  "No space left on device", Left::kNothing, "ts"},
                        FaultCase{"TranscodeShortWritesMp4", Job::kTranscode, "short-writes", 0, "",
                                  Left::kWhole},
                        FaultCase{"TranscodeSlowWritesTs", Job::kTranscode, "slow-writes@3000", 0,
                                  "", Left::kWhole, "ts"},
                        FaultCase{"TranscodeSyncError", Job::kTranscode, "sync-error", 4,
                                  "Input/output error", Left::kNothing},
                        FaultCase{"RecordWriteErrorMp4", Job::kRecord, "write-error@390000", 4,
                                  "Input/output error", Left::kPlayable},
                        FaultCase{"RecordWriteErrorTs", Job::kRecord, "write-error@390000", 4,
                                  "Input/output error", Left::kPlayable, "ts"},
                        FaultCase{"RecordDiskFullMp4", Job::kRecord, "disk-full@390000", 4,
                                  "No space left on device", Left::kPlayable},
                        FaultCase{"RecordDiskFullTs", Job::kRecord, "disk-full@390000", 4,
                                  "No space left on device", Left::kPlayable, "ts"},
                        FaultCase{"RecordShortWritesMp4", Job::kRecord, "short-writes", 0, "",
                                  Left::kWhole},
                        FaultCase{"RecordSlowWritesMp4", Job::kRecord, "slow-writes@3000", 0, "",
                                  Left::kWhole},
                        FaultCase{"RecordSlowWritesTs", Job::kRecord, "slow-writes@3000", 0, "",
                                  Left::kWhole, "ts"},
                        FaultCase{"RecordEarlySyncError", Job::kRecord, "early-sync-error", 4,
                                  "Input/output error", Left::kWhole},
                        FaultCase{"RecordEarlySyncErrorTs", Job::kRecord, "early-sync-error", 4,
                                  "Input/output error", Left::kWhole, "ts"},
                        FaultCase{"RecordSyncError", Job::kRecord, "sync-error", 4,
                                  "Input/output error", Left::kWhole}),
        nameOf);

INSTANTIATE_TEST_SUITE_P(
        Codecs, FaultTableTest,
        testing::Values(FaultCase{"TranscodeEncoderError", Job::kTranscode, "encoder-error@30", 1,
                                  "c2.linux.avc.encoder: the codec has failed", Left::kNothing},
                        FaultCase{"TranscodeEncoderWithoutStart", Job::kTranscode,
                                  "encoder-error@0", 1,
                                  "c2.linux.avc.encoder: the codec cannot be started",
                                  Left::kNothing},
                        FaultCase{"RecordEncoderError", Job::kRecord, "encoder-error@30", 1,
                                  "c2.linux.avc.encoder: the codec has failed", Left::kPlayable},
                        FaultCase{"TranscodeSilentDecoder", Job::kTranscode, "silent-decoder@10", 1,
                                  "nothing was read or written for 30 seconds", Left::kNothing},
                        FaultCase{"PlaySilentDecoder", Job::kPlay, "silent-decoder@10", 1,
                                  "nothing was played for 30 seconds", Left::kNothing}),
        nameOf);

INSTANTIATE_TEST_SUITE_P(
        Devices, FaultTableTest,
        testing::Values(FaultCase{"RecordCameraLost", Job::kRecord, "camera-lost@200000", 1,
                                  "has failed: ", Left::kPlayable},
                        FaultCase{"RecordCameraStalls", Job::kRecord, "camera-stalls@200000", 1,
                                  "has failed: ", Left::kPlayable},
                        FaultCase{"RecordMicrophoneLost", Job::kRecord, "microphone-lost@200000", 1,
                                  "has failed: ", Left::kPlayable}),
        nameOf);

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

// The sanitizers need address space without limit.
class MemoryLimitTest : public testing::TestWithParam<int> {};

TEST_P(MemoryLimitTest, endsInOneLineWithoutAPartialFile) {
    const TempDir folder;
    const ProcessResult result = ProcessRunner({OXA_PLAYER_PROGRAM, "transcode", faultyInput(),
                                                "-o", folder.file("out.mp4"), "--quiet"})
                                         .setMemoryLimit(int64_t{GetParam()} << 20)
                                         .setTimeLimit(kTimeLimit)
                                         .run();
    EXPECT_FALSE(result.timedOut);
    // A codec that cannot be started is a fatal assertion of the library.
    if (result.signal != 0) {
        EXPECT_EQ(result.signal, SIGABRT);
        EXPECT_THAT(result.err, HasSubstr("CHECK("));
    }
    if (result.exitCode == 0) {
        EXPECT_EQ(MediaProbe(folder.file("out.mp4")).video()->frameCount, kSeconds * kFrameRate);
    } else {
        EXPECT_EQ(linesOf(result.err).size(), 1U) << result.err;
        EXPECT_THAT(namesIn(folder.path()), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(MiB, MemoryLimitTest, testing::Values(250, 350, 450, 520, 700));

#endif

}  // namespace
}  // namespace oxa::test
