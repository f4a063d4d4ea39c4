// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <oxa/host/EncoderPreset.h>
#include <oxa/host/HdmiReceiver.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "camera/HdmiSignal.h"
#include "live/LiveReader.h"
#include "platform/camera/CameraJob.h"
#include "platform/camera/CameraKit.h"
#include "support/TempDir.h"

namespace oxa::test {
namespace {

using namespace android;

constexpr int kSeconds = 60;
constexpr int kWarmUpSeconds = 10;

int64_t residentKiB() {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word) {
        if (word != "VmRSS:") continue;
        int64_t value = 0;
        status >> value;
        return value;
    }
    return 0;
}

struct SoakCase {
    int width;
    int height;
    int rate;
};

class CameraSoak : public testing::TestWithParam<SoakCase> {};

// A minute of a television's usual signals, with its sound beside: no picture may be dropped, the
// steps between pictures stay even, the sound keeps the picture's clock, memory stays flat.
TEST_P(CameraSoak, RecordsAMinuteWithoutLoss) {
    // The fastest encoder: what is tested is the way to it.
    host::setEncoderPreset("ultrafast");
    const TempDir directory;
    host::HdmiReceiverOptions options;
    options.deviceRoot = directory.path();
    options.width = GetParam().width;
    options.height = GetParam().height;
    options.frameRate = GetParam().rate;
    std::string error;
    const auto receiver = host::SimulatedHdmiReceiver::create(options, &error);
    ASSERT_NE(nullptr, receiver) << error;
    const sp<HdmiSignal> signal = HdmiSignal::current();
    const sp<CameraSource> source =
            CameraSource::CreateFromCamera(nullptr, nullptr, 0, String16("test"), 0, 0,
                                           Size(options.width, options.height), 30, nullptr);
    ASSERT_EQ(OK, source->initCheck());

    LiveOptions live;
    live.source = signal->source();
    live.kind = LiveKind::kSound;
    live.clock = signal->clock();
    live.control = signal->soundControl();
    const std::unique_ptr<LiveReader> sound = LiveReader::open(live, &error);
    ASSERT_NE(nullptr, sound) << error;
    int64_t firstUs = -1;
    int64_t frames = 0;
    int64_t largestErrorUs = 0;
    int64_t earlyKiB = 0;
    int64_t latestKiB = 0;
    std::thread listening([&] {
        LiveBlock block;
        sound->start();
        while (sound->read(&block) == LiveResult::kOk) {
            if (firstUs < 0) firstUs = block.timeUs;
            const int64_t offUs = block.timeUs - firstUs - frames * 1000000 / 48000;
            largestErrorUs = std::max(largestErrorUs, std::abs(offUs));
            frames += static_cast<int64_t>(block.samples.size()) / block.channels;
            latestKiB = residentKiB();
            if (frames < kWarmUpSeconds * 48000) earlyKiB = latestKiB;
        }
    });

    CameraJob job(source, {options.width, options.height, 0, kSeconds * 30});
    EXPECT_TRUE(job.run());
    sound->interrupt();
    listening.join();

    const host::CameraFigures figures = host::cameraFigures(0);
    EXPECT_EQ(0u, figures.recordingDropped);
    EXPECT_EQ(0u, figures.late);
    ASSERT_EQ(static_cast<size_t>(kSeconds * 30), job.timesUs().size());
    for (size_t i = 0; i < job.timesUs().size(); ++i) {
        ASSERT_NEAR(static_cast<double>(i) * 1e6 / 30, static_cast<double>(job.timesUs()[i]), 20);
    }
    EXPECT_GT(frames, (kSeconds - 1) * 48000);
    EXPECT_LT(largestErrorUs, 1000);
    // The encoded pictures are kept by this test: 4 Mbit/s.
    const int64_t keptKiB = 4000 / 8 * (kSeconds - kWarmUpSeconds);
    EXPECT_LT(latestKiB - earlyKiB, keptKiB + 16384);
    std::cout << "resident after " << kWarmUpSeconds << " s: " << earlyKiB
              << " KiB, at the end: " << latestKiB << " KiB; sound off its place by at most "
              << largestErrorUs << " us\n";
}

INSTANTIATE_TEST_SUITE_P(Signals, CameraSoak,
                         testing::Values(SoakCase{1920, 1080, 30}, SoakCase{1280, 720, 60}),
                         [](const auto& info) {
                             return std::to_string(info.param.height) + "p" +
                                    std::to_string(info.param.rate);
                         });

}  // namespace
}  // namespace oxa::test
