// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/Cameras.h>
#include <oxa/host/HdmiSound.h>
#include <oxa/host/Microphones.h>
#include <oxa/jobs/Cleanup.h>
#include <system/audio.h>

#include <filesystem>
#include <future>

#include "jobs/JobKit.h"
#include "support/MediaProbe.h"

namespace oxa::jobs {
namespace {

using test::fileSize;
using test::MediaProbe;
using test::waitFor;
using testing::HasSubstr;

constexpr char kBoth[] = "lavfi:testsrc2=size=320x180:rate=30;sine";
constexpr char kPicture[] = "lavfi:testsrc2=size=320x180:rate=30";
constexpr char kSound[] = "lavfi:sine";
constexpr int64_t kSomePictures = 60'000;  // bytes: more than a second is on the disk
constexpr int64_t kSomeSound = 5'000;

struct FaultCase {
    LiveSource source;
    Only only;
    void (*fault)();
    const char* cause;
};

// What fails in the middle of a recording of the receiver.
void expectEndsWithItsCause(const FaultCase& test) {
    const test::TempDir folder;
    const bool hasVideo = test.only != Only::kAudio;
    RecordOptions options = quickRecord(folder.file("out.ts"), test.source);
    options.only = test.only;
    Record job(options);
    auto run = std::async(std::launch::async, [&job] { return job.run(); });
    EXPECT_TRUE(waitFor(
            [&] { return fileSize(options.output) > (hasVideo ? kSomePictures : kSomeSound); }));
    test.fault();
    const bool ended = run.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    EXPECT_TRUE(ended) << "goes on without its device";
    job.cancel();
    const Result result = run.get();
    EXPECT_EQ(result.failure.kind, FailureKind::kFailed);
    EXPECT_THAT(result.failure.text, HasSubstr(test.cause));
    EXPECT_THAT(result.files, testing::ElementsAre(options.output));
    const MediaProbe probe(options.output);
    ASSERT_TRUE(probe.ok()) << probe.error();
    ASSERT_EQ(probe.video() != nullptr, hasVideo);
    ASSERT_NE(probe.audio(), nullptr);
    if (!hasVideo) return;
    EXPECT_NEAR(probe.video()->frameCount, result.total.pictures, 1);
    EXPECT_GT(probe.video()->frameCount, 10);
    EXPECT_EQ(probe.video()->decodeErrors, 0);
}

TEST(RecordFault, endsTheRecordingWithItsCauseAndAPlayableFile) {
    constexpr auto kHdmi = LiveSource::Kind::kHdmi;
    constexpr auto kCamera = LiveSource::Kind::kCamera;
    constexpr char kNoCamera[] = "the camera '";
    constexpr char kNoSound[] = "the sound 'lavfi:sine' has failed";
    const auto mute = [] { host::stallMicrophone(AUDIO_SOURCE_DEFAULT, true); };
    const FaultCase kCases[] = {
            {{kHdmi, kBoth, {}}, Only::kBoth, [] { host::loseCamera(0, true); }, kNoCamera},
            {{kHdmi, kPicture, kSound}, Only::kBoth, [] { host::loseHdmiSound(true); }, kNoSound},
            {{kHdmi, kSound, {}}, Only::kAudio, [] { host::endHdmiSoundService(); }, kNoSound},
            {{kHdmi, kBoth, {}}, Only::kBoth, [] { host::stallCamera(0, true); }, kNoCamera},
            {{kCamera, kPicture, kSound}, Only::kBoth, mute, kNoSound}};
    for (const FaultCase& test : kCases) {
        SCOPED_TRACE(test.source.name + ": " + test.cause);
        expectEndsWithItsCause(test);
        host::clearCameras();
        host::clearMicrophones();
        host::startHdmiSoundService();
    }
}

// Loses the camera when it was found to be there, but has not begun; and puts it back later.
class LosingListener : public JobListener {
  public:
    void onStart(const JobStart& /*start*/) override { host::loseCamera(0, true); }
    void onReconnect() override { host::loseCamera(0, mLost++ == 0); }
    void onWarning(const std::string& text) override {
        if (text.find("is gone") != std::string::npos) host::loseCamera(0, false);
    }
    int lost() const { return mLost; }

  private:
    int mLost = 0;
};

TEST(RecordFault, aCameraThatGoesBeforeItsStartIsAnOrdinaryFailureOrAwaited) {
    for (const auto kind : {LiveSource::Kind::kCamera, LiveSource::Kind::kHdmi}) {
        for (const bool reconnect : {false, true}) {
            const test::TempDir folder;
            RecordOptions options = quickRecord(folder.file("out.ts"), {kind, kBoth, {}});
            options.only = Only::kVideo;  // sound may begin before
            options.durationUs = 300'000;
            options.reconnect = reconnect;
            // What the receiver shows stays smaller.
            if (kind == LiveSource::Kind::kHdmi) options.size = Size{640, 360};
            LosingListener listener;
            const Result result = Record(options, &listener).run();
            EXPECT_EQ(listener.lost(), reconnect ? 2 : 0);
            EXPECT_EQ(result.ok(), reconnect) << result.failure.text;
            EXPECT_EQ(result.files.size(), reconnect ? 1u : 0u);
            EXPECT_EQ(std::filesystem::is_empty(folder.path()), !reconnect);
            if (reconnect) continue;
            EXPECT_EQ(result.failure.kind, FailureKind::kFailed);
            EXPECT_THAT(result.failure.text, HasSubstr("is gone"));
        }
    }
}

// As a second signal does, while the first one is still obeyed.
TEST(RecordFault, aCleanupDoesNotTakeAwayACancelledRecording) {
    const test::TempDir folder;
    const RecordOptions options =
            quickRecord(folder.file("out.ts"), {LiveSource::Kind::kCamera, kBoth, {}});
    HearingListener listener;
    Record job(options, &listener);
    auto run = std::async(std::launch::async, [&job] { return job.run(); });
    EXPECT_TRUE(waitFor([&] { return fileSize(options.output) > kSomeSound; }));
    job.cancel();
    EXPECT_TRUE(waitFor([&] { return listener.mIsCancelling.load(); }));
    removeUnfinished();
    run.get();
    EXPECT_GT(fileSize(options.output), kSomeSound);
}

}  // namespace
}  // namespace oxa::jobs
