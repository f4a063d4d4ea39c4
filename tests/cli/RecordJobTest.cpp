// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "RecordJob.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <oxa/host/Cameras.h>
#include <oxa/host/EncoderPreset.h>
#include <oxa/host/HdmiSound.h>
#include <oxa/host/SoundOutput.h>

#include <future>

#include "CameraTrial.h"
#include "RecordFormat.h"
#include "support/Deadline.h"
#include "support/MediaProbe.h"
#include "support/TempDir.h"

namespace oxaplayer {
namespace {

using oxa::test::fileSize;
using oxa::test::MediaProbe;
using oxa::test::waitFor;
using testing::HasSubstr;

constexpr char kBoth[] = "lavfi:testsrc2=size=320x180:rate=30;sine";
constexpr char kPicture[] = "lavfi:testsrc2=size=320x180:rate=30";
constexpr char kSound[] = "lavfi:sine";
constexpr int64_t kSomething = 60'000;  // bytes: more than a second is on the disk

struct FaultCase {
    CaptureChoice choice;
    Only only;
    void (*fault)();
    const char* cause;
};

// What fails in the middle of a recording of the receiver.
void expectEndsWithItsCause(const FaultCase& test) {
    oxa::host::setEncoderPreset("ultrafast");
    oxa::host::useNullSound();
    const oxa::test::TempDir folder;
    const std::string path = folder.file("out.ts");
    CaptureSource source;
    ASSERT_FALSE(source.open(test.choice, test.only));
    android::_AV_FORMAT_FORMAT format = {};
    int32_t frameRate = 0;
    chooseAudioFormat(&format);
    if (source.hasVideo()) {
        android::CameraParameters camera;
        ASSERT_FALSE(readCameraParameters(source, &camera));
        ASSERT_FALSE(chooseVideoFormat({}, camera, source.isHdmi(), &format, &frameRate));
    }
    OutputFile output;
    ASSERT_FALSE(output.openInPlace(path, false, -1));
    CommonOptions common;
    common.quiet = true;
    Report report("record", common, -1);
    PlayOutputs preview;
    const auto queue = std::make_shared<EventQueue>();
    RecordJob job(
            {source, preview, output, Container::kMpeg2Ts, format, frameRate, {}, false, false},
            queue, &report);
    auto run = std::async(std::launch::async, [&job] { return job.run(); });
    EXPECT_TRUE(waitFor([&] { return fileSize(path) > (source.hasVideo() ? kSomething : 5'000); }));
    test.fault();
    const bool ended = run.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    EXPECT_TRUE(ended) << "goes on without its device";
    if (!ended) queue->push(Interrupted{});
    const auto failure = run.get();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind, FailureKind::kFailed);
    EXPECT_THAT(failure->text, HasSubstr(test.cause));
    ASSERT_FALSE(output.finish());
    const MediaProbe probe(path);
    ASSERT_TRUE(probe.ok()) << probe.error();
    ASSERT_EQ(probe.video() != nullptr, source.hasVideo());
    ASSERT_EQ(probe.audio() != nullptr, source.hasAudio());
    if (source.hasVideo()) {
        EXPECT_NEAR(probe.video()->frameCount, job.numbers().frames, 1);
        EXPECT_GT(probe.video()->frameCount, 10);
        EXPECT_EQ(probe.video()->decodeErrors, 0);
    }
}

TEST(RecordFault, endsTheRecordingWithItsCauseAndAPlayableFile) {
    const FaultCase kCases[] = {
            {{kBoth, {}, {}}, Only::kBoth, [] { oxa::host::loseCamera(0, true); }, "the camera '"},
            {{kPicture, {}, kSound},
             Only::kBoth,
             [] { oxa::host::loseHdmiSound(true); },
             "the sound 'lavfi:sine' has failed"},
            {{kSound, {}, {}},
             Only::kAudio,
             [] { oxa::host::endHdmiSoundService(); },
             "the sound 'lavfi:sine' has failed"}};
    for (const FaultCase& test : kCases) {
        SCOPED_TRACE(test.choice.source() + ": " + test.cause);
        expectEndsWithItsCause(test);
        oxa::host::clearCameras();
        oxa::host::useHdmiReceiverSound();
        oxa::host::startHdmiSoundService();
    }
}

}  // namespace
}  // namespace oxaplayer
