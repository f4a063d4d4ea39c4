// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// What can go wrong below each of the program's jobs: what its user is told, and what is on the
// disk afterwards.

#include <csignal>

#include "cli/PlayerProgram.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::chrono::seconds kTimeLimit{100};
constexpr int kSeconds = 3;
constexpr int kFrameRate = 25;

enum Job { kTranscode, kRemux, kPlay, kRecord };
enum Left {
    kNothing,   // no file at all
    kPlayable,  // a file that ends early
    kWhole,     // everything
};

struct FaultCase : Named {
    Job job;
    const char* fault;
    int exitCode;
    const char* message;  // in its one line, empty: none
    Left left;
    const char* extension = "mp4";
};

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
        if (GetParam().job == kTranscode) {
            return {"transcode", faultyInput(), "-o", output(), "--preset", "ultrafast"};
        }
        if (GetParam().job == kRemux) return {"remux", faultyInput(), "-o", output()};
        if (GetParam().job == kPlay) {
            return {"play", faultyInput(), "--display", "null", "--sound", "null"};
        }
        return joined(words("record --usb lavfi:testsrc2=size=320x240:rate=25;sine "
                            "--preset ultrafast --video-bitrate 1200k"),
                      {"-o", output(), "--duration", std::to_string(seconds())});
    }
    // A slow machine writes what brings a fault about long after it was captured: a recording that
    // is to fail must not be complete by then.
    static int seconds() {
        return GetParam().job == kRecord && GetParam().left == kPlayable ? 10 * kSeconds : kSeconds;
    }
    std::string output() const { return mFolder.file(std::string("out.") + GetParam().extension); }
    ProcessResult run() const {
        ProcessRunner runner(
                joined(joined({OXA_FAULTY_PROGRAM}, command()), {"--quiet", "--json"}));
        runner.setEnvironment("OXA_FAULT", GetParam().fault).setTimeLimit(kTimeLimit);
        const auto isSilent = testing::AnyOf(HasSubstr("silent"), HasSubstr("hangs"));
        if (testing::Matches(isSilent)(GetParam().fault)) {
            runner.setEnvironment("OXA_STALL_SECONDS", "3").leavesThreads();
        }
        return runner.run();
    }
    // A recording ends when this machine gets to it.
    static int mostMorePictures() { return GetParam().job == kRecord ? kFrameRate : 1; }
    // A recording drops what this machine does not get to, and says so.
    void expectLeft(const nlohmann::json& result) const {
        if (GetParam().left == kNothing) {
            EXPECT_THAT(namesIn(mFolder.path()), IsEmpty());
            return;
        }
        EXPECT_EQ(namesIn(mFolder.path()).size(), 1U);
        const MediaProbe probe(output());
        ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
        // A transport stream may be cut within its last picture or its last sound.
        const int mostErrors = GetParam().left == kPlayable && isTransportStream(output()) ? 1 : 0;
        EXPECT_LE(probe.video()->decodeErrors, mostErrors);
        EXPECT_LE(probe.audio()->decodeErrors, mostErrors);
        if (GetParam().left == kWhole) {
            const int dropped = result.value("dropped", 0);
            EXPECT_GE(probe.video()->frameCount, kSeconds * kFrameRate - 1 - dropped);
            EXPECT_LE(probe.video()->frameCount, kSeconds * kFrameRate + mostMorePictures());
        } else {
            EXPECT_GT(probe.video()->frameCount, 5);
            EXPECT_LT(probe.video()->frameCount, seconds() * kFrameRate - 5);
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
    const auto events = eventsOf(result.out);
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back()["exit"], test.exitCode);
    if (test.job != kPlay) expectLeft(events.back());
}

constexpr char kIoError[] = "Input/output error";
constexpr char kFull[] = "No space left on device";
constexpr char kEncoderFailed[] = "c2.linux.avc.encoder: the codec has failed";
constexpr char kEncoderNotStarted[] = "c2.linux.avc.encoder: the codec cannot be started";
constexpr char kNothingRead[] = "nothing was read or written for 3 seconds";
constexpr char kNothingPlayed[] = "nothing was played for 3 seconds";
constexpr char kFailed[] = "has failed: ";

const FaultCase kFaults[] = {
        // Reading.
        {"TranscodeReadError", kTranscode, "read-error@150000", 3, kIoError, kNothing},
        {"TranscodeShortReads", kTranscode, "short-reads", 0, "", kWhole},
        {"PlayReadError", kPlay, "read-error@150000", 3, kIoError, kNothing},
        {"PlayShortReads", kPlay, "short-reads", 0, "", kNothing},
        {"TranscodeReadHangs", kTranscode, "read-hangs@150000", 1, kNothingRead, kNothing},
        {"RemuxReadHangs", kRemux, "read-hangs@150000", 1, kNothingRead, kNothing},
        {"PlayReadHangs", kPlay, "read-hangs@150000", 1, kNothingPlayed, kNothing},
        // Writing.
        {"TranscodeWriteErrorMp4", kTranscode, "write-error@100000", 4, kIoError, kNothing},
        {"TranscodeWriteErrorTs", kTranscode, "write-error@100000", 4, kIoError, kNothing, "ts"},
        {"TranscodeDiskFullMp4", kTranscode, "disk-full@100000", 4, kFull, kNothing},
        {"TranscodeDiskFullTs", kTranscode, "disk-full@100000", 4, kFull, kNothing, "ts"},
        {"TranscodeShortWritesMp4", kTranscode, "short-writes", 0, "", kWhole},
        {"TranscodeSlowWritesTs", kTranscode, "slow-writes@3000", 0, "", kWhole, "ts"},
        {"TranscodeSyncError", kTranscode, "sync-error", 4, kIoError, kNothing},
        {"TranscodeFirstSyncError", kTranscode, "sync-error@1", 4, kIoError, kNothing},
        {"TranscodeSecondSyncError", kTranscode, "sync-error@2", 4, kIoError, kNothing},
        {"TranscodeLastSyncError", kTranscode, "sync-error@3", 4, kIoError, kNothing},
        {"RecordFirstSyncError", kRecord, "sync-error@1", 4, kIoError, kWhole},
        {"RecordSecondSyncError", kRecord, "sync-error@2", 4, kIoError, kWhole},
        {"RecordLastSyncError", kRecord, "sync-error@3", 4, kIoError, kWhole},
        {"RecordWriteErrorMp4", kRecord, "write-error@390000", 4, kIoError, kPlayable},
        {"RecordWriteErrorTs", kRecord, "write-error@390000", 4, kIoError, kPlayable, "ts"},
        {"RecordDiskFullMp4", kRecord, "disk-full@390000", 4, kFull, kPlayable},
        {"RecordDiskFullTs", kRecord, "disk-full@390000", 4, kFull, kPlayable, "ts"},
        {"RecordShortWritesMp4", kRecord, "short-writes", 0, "", kWhole},
        {"RecordSlowWritesMp4", kRecord, "slow-writes@3000", 0, "", kWhole},
        {"RecordSlowWritesTs", kRecord, "slow-writes@3000", 0, "", kWhole, "ts"},
        {"RecordEarlySyncError", kRecord, "early-sync-error", 4, kIoError, kWhole},
        {"RecordEarlySyncErrorTs", kRecord, "early-sync-error", 4, kIoError, kWhole, "ts"},
        {"RecordSyncError", kRecord, "sync-error", 4, kIoError, kWhole},
        // Codecs.
        {"TranscodeEncoderError", kTranscode, "encoder-error@30", 1, kEncoderFailed, kNothing},
        {"TranscodeEncoderWithoutStart", kTranscode, "encoder-error@0", 1, kEncoderNotStarted,
         kNothing},
        {"RecordEncoderError", kRecord, "encoder-error@30", 1, kEncoderFailed, kPlayable},
        {"TranscodeSilentDecoder", kTranscode, "silent-decoder@10", 1, kNothingRead, kNothing},
        {"PlaySilentDecoder", kPlay, "silent-decoder@10", 1, kNothingPlayed, kNothing},
        // Devices.
        {"RecordCameraLost", kRecord, "camera-lost@200000", 1, kFailed, kPlayable},
        {"RecordCameraStalls", kRecord, "camera-stalls@200000", 1, kFailed, kPlayable},
        {"RecordMicrophoneLost", kRecord, "microphone-lost@200000", 1, kFailed, kPlayable},
};

INSTANTIATE_TEST_SUITE_P(Jobs, FaultTableTest, testing::ValuesIn(kFaults), rowName<FaultCase>);

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
