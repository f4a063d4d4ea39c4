// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/HdmiSound.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iostream>

#include "live/LiveJob.h"
#include "support/LibraryJob.h"
#include "support/LibraryPlay.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

// ---- At once ------------------------------------------------------------------------------------

constexpr int kPlayers = 4;
constexpr int kTranscoders = 3;
constexpr std::chrono::minutes kRoundLimit{3};

void playAll() {
    EXPECT_EQ(LibraryPlay({mediaPath("flower_540p_h264_aac.mp4")}).playToEnd().ends, 1);
}

void transcodeAll(const std::string& output) {
    const std::string input = mediaPath("flower_540p_h264_aac.mp4");
    ASSERT_NO_FATAL_FAILURE(transcodeByLibrary(input, output));
    const MediaProbe source(input);
    const MediaProbe result(output);
    ASSERT_TRUE(result.ok()) << result.error();
    EXPECT_EQ(result.video()->frameCount, source.video()->frameCount);
}

// Eight at once: a receiver is recorded while seven others come and go. Each player that ends drops
// what is known of the receiver's signal, which the recording must outlive.
void recordBesideOthers(const std::string& folder) {
    LiveOptions options;
    options.output = folder + "/live.mp4";
    {
        LiveJob live(options);
        ASSERT_NO_FATAL_FAILURE(live.start());
        ASSERT_NO_FATAL_FAILURE(live.setRecording(true));
        std::vector<std::thread> others;
        for (int i = 0; i < kPlayers; ++i)
            others.emplace_back(playAll);
        for (int i = 0; i < kTranscoders; ++i)
            others.emplace_back(transcodeAll, folder + "/" + std::to_string(i) + ".mp4");
        for (std::thread& other : others)
            other.join();
        ASSERT_NO_FATAL_FAILURE(live.recordAnew(std::chrono::milliseconds(0)));
        ASSERT_NO_FATAL_FAILURE(live.waitForRecorded(0.5));
        live.stop();
    }
    const MediaProbe probe(options.output);
    ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
    EXPECT_EQ(probe.video()->decodeErrors, 0);
}

TEST(ManyPlayersTest, eightAtOnceDoNotHarmEachOther) {
    const TempDir folder;
    // The service is the process's and stays.
    host::startHdmiSoundService();
    repeat(1, testRounds(20), kRoundLimit, [&](int) { recordBesideOthers(folder.path()); });
}

// ---- One after the other ------------------------------------------------------------------------

constexpr std::chrono::seconds kCycleLimit{30};

// How far a player is taken before it is cleaned up.
enum class Depth { kInitiated, kPrepared, kStarted, kCount };

void playOnce(Depth depth, const std::string& /*folder*/) {
    LibraryPlay play({mediaPath("flower_540p_h264_aac.mp4")});
    if (depth == Depth::kInitiated) return;
    ASSERT_NO_FATAL_FAILURE(play.prepare());
    if (depth == Depth::kStarted) play.run();
}

void transcodeOnce(Depth depth, const std::string& folder) {
    LibraryJob job(mediaPath("flower_540p_h264_aac.mp4"), folder + "/out.mp4");
    if (depth == Depth::kInitiated) return;
    ASSERT_NO_FATAL_FAILURE(job.start());
    if (depth == Depth::kStarted) job.stopAndCleanUp();
}

template <bool kHdmi>
void liveOnce(Depth depth, const std::string& folder) {
    LiveOptions options = sourceOf(kHdmi);
    options.output = folder + "/out.mp4";
    LiveJob job(options);
    if (depth == Depth::kInitiated) return;
    ASSERT_NO_FATAL_FAILURE(job.prepare());
    if (depth != Depth::kStarted) return;
    job.run();
    ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
}

struct ModeCase : Named {
    void (*cycle)(Depth depth, const std::string& folder);
};

class CycleTest : public testing::TestWithParam<ModeCase> {};

// A player that comes and goes a thousand times leaves the process as it was.
TEST_P(CycleTest, leavesNothingBehind) {
    const TempDir folder;
    host::startHdmiSoundService();
    repeat(20, testRounds(1000), kCycleLimit, [&](int round) {
        const auto depth = static_cast<Depth>(round % static_cast<int>(Depth::kCount));
        GetParam().cycle(depth, folder.path());
    });
}

INSTANTIATE_TEST_SUITE_P(Modes, CycleTest,
                         testing::Values(ModeCase{"Play", playOnce},
                                         ModeCase{"Transcode", transcodeOnce},
                                         ModeCase{"Hdmi", liveOnce<true>},
                                         ModeCase{"Usb", liveOnce<false>}),
                         rowName<ModeCase>);

// ---- One long recording -------------------------------------------------------------------------

constexpr double kSettledS = 30;
// The index of an MP4 and the notes of the recording display grow with the number of pictures.
constexpr int64_t kGrowthBytesPerMinute = 600 << 10;
constexpr int64_t kGrowthBytes = 4 << 20;

int64_t residentBytes() {
    int64_t totalPages = 0;
    int64_t residentPages = 0;
    std::ifstream("/proc/self/statm") >> totalPages >> residentPages;
    return residentPages * sysconf(_SC_PAGESIZE);
}

int soakMinutes() {
    const char* text = std::getenv("OXA_TEST_SOAK_MINUTES");
    return text != nullptr ? std::atoi(text) : 30;
}

TEST(LongRecordingTest, keepsItsMemoryAndAllPictures) {
    const TempDir folder;
    LiveOptions options;
    options.output = folder.file("out.mp4");
    const double seconds = soakMinutes() * 60.0;
    host::startHdmiSoundService();
    uint64_t dropped = 0;
    repeat(1, 1, std::chrono::minutes(soakMinutes() + 2), [&](int round) {
        LiveJob job(options);
        ASSERT_NO_FATAL_FAILURE(job.start());
        if (round == 0) return;
        ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
        ASSERT_NO_FATAL_FAILURE(job.waitForRecorded(kSettledS));
        const int64_t settledBytes = residentBytes();
        ASSERT_NO_FATAL_FAILURE(job.waitForRecorded(seconds));
        const int64_t growth = residentBytes() - settledBytes;
        EXPECT_LT(growth, kGrowthBytes + soakMinutes() * kGrowthBytesPerMinute);
        dropped = job.lostPictures();
        std::cout << "resident " << settledBytes << " bytes, " << growth << " more at the end; "
                  << dropped << " pictures dropped\n";
        job.stop();
    });
    if (HasFatalFailure()) return;
    const MediaProbe probe(options.output);
    ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
    EXPECT_GE(probe.video()->frameCount + static_cast<int64_t>(dropped), 30 * seconds);
    EXPECT_EQ(probe.video()->decodeErrors, 0);
    EXPECT_NEAR(probe.audio()->durationUs() / 1e6, probe.video()->durationUs() / 1e6, 0.5);
}

}  // namespace
}  // namespace oxa::test
