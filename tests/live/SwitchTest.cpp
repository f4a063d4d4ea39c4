// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>

#include "live/LiveJob.h"
#include "support/LogCapture.h"
#include "support/Watchdog.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

using std::chrono::milliseconds;

constexpr std::chrono::seconds kSwitchLimit{60};
// Longer than the second that a default name tells.
constexpr double kRecordingS = 1.1;
constexpr double kShortRecordingS = 0.5;

// How many descriptors of this process refer to the file.
int descriptorsOf(const std::string& path) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        count += std::filesystem::read_symlink(entry.path(), gone) == path;
    }
    return count;
}

void expectWholeFromZero(const std::string& path, double seconds) {
    SCOPED_TRACE(path);
    const MediaProbe probe(path);
    ASSERT_TRUE(probe.ok()) << probe.error();
    EXPECT_EQ(complaintsAbout(path), "");
    ASSERT_NE(probe.video(), nullptr);
    ASSERT_NE(probe.audio(), nullptr);
    EXPECT_EQ(probe.video()->firstUs(), 0);
    EXPECT_GE(probe.video()->durationUs(), seconds * 1e6);
    EXPECT_LT(std::abs(probe.audio()->firstUs()), 150'000);
    EXPECT_GT(probe.audio()->frameCount, 0);
    for (const StreamProbe& stream : probe.streams()) {
        EXPECT_EQ(stream.decodeErrors, 0);
        EXPECT_TRUE(stream.decodingTimesRise);
    }
}

double longestGapS(const std::vector<oxa::host::RecordedPicture>& pictures) {
    int64_t longestUs = 0;
    for (size_t i = 1; i < pictures.size(); ++i)
        longestUs = std::max(longestUs, pictures[i].arrivalUs - pictures[i - 1].arrivalUs);
    return longestUs / 1e6;
}

void expectPreviewEnds(const LiveJob& job) {
    const uint64_t shown = job.display().figures().shown;
    EXPECT_FALSE(
            waitFor([&] { return job.display().figures().shown > shown + 1; }, milliseconds(200)));
}

void expectPreviewGoesOn(const LiveJob& job) {
    const uint64_t shown = job.display().figures().shown;
    ASSERT_TRUE(waitFor([&] { return job.display().figures().shown > shown + 2; }));
}

class SwitchTest : public testing::TestWithParam<bool> {};

TEST_P(SwitchTest, eachRecordingIsAFileFromZeroWhileThePreviewGoesOn) {
    const int rounds = testRounds(3);
    LiveJob job(sourceOf(GetParam()));
    const Watchdog watchdog("switching recordings", kSwitchLimit * rounds);
    ASSERT_NO_FATAL_FAILURE(job.start());
    ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
    for (int round = 1; round < rounds; ++round) {
        ASSERT_NO_FATAL_FAILURE(expectPreviewGoesOn(job));
        ASSERT_NO_FATAL_FAILURE(job.waitForRecorded(kRecordingS));
        ASSERT_NO_FATAL_FAILURE(job.setRecording(false));
        const std::string file = job.defaultRecordings().back();
        ASSERT_TRUE(waitFor([&] { return descriptorsOf(file) == 0; })) << "it is not finished";
        expectWholeFromZero(file, kRecordingS);
        ASSERT_NO_FATAL_FAILURE(expectPreviewGoesOn(job));
        ASSERT_NO_FATAL_FAILURE(job.recordAnew(milliseconds(0)));
    }
    ASSERT_NO_FATAL_FAILURE(job.waitForRecorded(kRecordingS));
    const double gapS = longestGapS(job.display().pictures());
    job.stop();
    expectPreviewEnds(job);

    const std::vector<std::string> files = job.defaultRecordings();
    EXPECT_EQ(static_cast<int>(files.size()), rounds);
    expectWholeFromZero(files.back(), kRecordingS);
    android::_RECORDING_PROGRESS progress;
    EXPECT_EQ(job.player().getRecordingProgress(&progress), android::OK);
    EXPECT_EQ(progress.videoFrames, MediaProbe(files.back()).video()->frameCount);
    std::cout << "longest gap in the preview over " << rounds << " recordings: " << gapS * 1000
              << " ms\n";
}

// A descriptor is good for one recording: the client would not know what a second one overwrites.
TEST_P(SwitchTest, aDescriptorIsClosedWithItsRecording) {
    const TempDir folder;
    const std::string output = folder.file("out.mp4");
    const int descriptor = open(output.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(descriptor, 0);
    {
        LiveOptions live = sourceOf(GetParam());
        live.outputDescriptor = descriptor;
        LiveJob job(live);
        ASSERT_NO_FATAL_FAILURE(job.start());
        ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
        ASSERT_NO_FATAL_FAILURE(job.waitForRecorded(kShortRecordingS));
        EXPECT_GT(descriptorsOf(output), 1);
        ASSERT_NO_FATAL_FAILURE(job.setRecording(false));
        EXPECT_TRUE(waitFor([&] { return descriptorsOf(output) == 1; }))
                << "all but the client's must be closed";
        const android::LogCapture log;
        ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
        EXPECT_TRUE(log.contains("OxaMediaCodecPlayer", "recording stays off"));
        EXPECT_EQ(descriptorsOf(output), 1);
        EXPECT_TRUE(job.defaultRecordings().empty());
        job.stop();
    }
    EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC) << "the client's own stays open";
    close(descriptor);
    expectWholeFromZero(output, kShortRecordingS);
}

TEST_P(SwitchTest, aDescriptorThatWasNotUsedIsClosedByASwitchOffAfterTheStop) {
    const TempDir folder;
    const std::string output = folder.file("out.mp4");
    LiveOptions live = sourceOf(GetParam());
    live.outputDescriptor = open(output.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(live.outputDescriptor, 0);
    LiveJob job(live);
    ASSERT_NO_FATAL_FAILURE(job.start());
    job.stop();
    const int before = descriptorsOf(output);
    ASSERT_NO_FATAL_FAILURE(job.setRecording(false));
    EXPECT_EQ(descriptorsOf(output), before - 1);
    const android::LogCapture log;
    job.cleanUp();
    job.cleanUp();
    EXPECT_TRUE(log.contains("OxaMediaCodecPlayer", "close mOutputFormat.fileDesc -1"));
    close(live.outputDescriptor);
}

// It is that of the next recording; one that cannot be opened changes nothing.
TEST_P(SwitchTest, anOutputThatIsSetMeanwhileLeavesTheRecordingAlone) {
    const TempDir folder;
    LiveOptions live = sourceOf(GetParam());
    live.output = folder.file("first.mp4");
    // What was in a file is gone.
    constexpr int64_t kFormerBytes = 8 << 20;
    for (const char* name : {"first.mp4", "second.mp4"})
        ASSERT_TRUE(writeFile(folder.file(name), std::string(kFormerBytes, 'x')));
    LiveJob job(live);
    ASSERT_NO_FATAL_FAILURE(job.start());
    ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
    EXPECT_EQ(job.setOutput(folder.file("none/x.mp4")), android::UNKNOWN_ERROR);
    ASSERT_NO_FATAL_FAILURE(job.waitForRecorded(kShortRecordingS));
    EXPECT_EQ(job.setOutput(folder.file("first.mp4")), android::OK) << "its own, left as it is";
    EXPECT_EQ(job.setOutput(folder.file("second.mp4")), android::OK);
    ASSERT_NO_FATAL_FAILURE(job.recordAnew(milliseconds(0)));
    expectWholeFromZero(folder.file("first.mp4"), kShortRecordingS);
    ASSERT_NO_FATAL_FAILURE(job.waitForRecorded(kShortRecordingS));
    EXPECT_EQ(job.setOutput(folder.file("none/x.mp4")), android::UNKNOWN_ERROR);
    job.stop();
    expectWholeFromZero(folder.file("second.mp4"), kShortRecordingS);
    for (const char* name : {"first.mp4", "second.mp4"})
        EXPECT_LT(fileSize(folder.file(name)), kFormerBytes);
}

INSTANTIATE_TEST_SUITE_P(Sources, SwitchTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "Hdmi" : "Usb"; });

}  // namespace
}  // namespace oxa::test
