// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <oxa/host/HdmiReceiver.h>
#include <oxa/host/HdmiSound.h>

#include <cmath>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "camera/HdmiSignal.h"
#include "live/LiveReader.h"
#include "platform/hidl/RxClient.h"
#include "support/Deadline.h"
#include "support/Sound.h"
#include "support/TempDir.h"

namespace android {
namespace {

using namespace oxa::test;
using oxa::host::HdmiReceiverOptions;
using oxa::host::SimulatedHdmiReceiver;

constexpr int kRate = 48000;
constexpr double kToleranceUs = 5000;

// White and a tone for the first tenth of each second.
constexpr char kFlashAndBeep[] =
        "lavfi:color=black:size=64x64:rate=30,format=gray,geq=lum='255*lt(mod(T\\,1)\\,0.1)',"
        "format=yuv420p[out0];aevalsrc='0.5*sin(2*PI*1000*t)*lt(mod(t\\,1)\\,0.1)':s=48000"
        ":c=stereo[out1]";

// Notes when the picture becomes white.
class FlashWatch {
  public:
    explicit FlashWatch(const sp<HdmiSignal>& signal) {
        LiveOptions options;
        options.source = signal->source();
        options.clock = signal->clock();
        options.control = signal->pictureControl();
        std::string error;
        mReader = LiveReader::open(options, &error);
        EXPECT_NE(nullptr, mReader) << error;
        mReader->start();
        mThread = std::thread([this] { run(); });
    }
    ~FlashWatch() {
        mReader->interrupt();
        mThread.join();
    }

    std::vector<double> flashes() const {
        std::lock_guard<std::mutex> lock(mLock);
        return mFlashes;
    }

  private:
    void run() {
        bool wasWhite = true;
        LiveBlock block;
        while (mReader->read(&block) == LiveResult::kOk) {
            const bool isWhite = block.picture->planes().planes[0].data[0] > 128;
            if (isWhite && !wasWhite) {
                std::lock_guard<std::mutex> lock(mLock);
                mFlashes.push_back(static_cast<double>(block.timeUs));
            }
            wasWhite = isWhite;
        }
    }

    std::unique_ptr<LiveReader> mReader;
    mutable std::mutex mLock;
    std::vector<double> mFlashes;  // guarded by mLock
    std::thread mThread;
};

// OXA_TEST_SECONDS makes it longer.
size_t flashesToSee() {
    const char* const seconds = getenv("OXA_TEST_SECONDS");
    return seconds != nullptr ? std::strtoul(seconds, nullptr, 10) : 3;
}

// The stamps of the service and those of the pictures, on one clock, stay together.
TEST(HdmiSyncTest, BeepsComeWithTheirFlashes) {
    const TempDir root;
    HdmiReceiverOptions options;
    options.deviceRoot = root.path();
    options.source = kFlashAndBeep;
    std::string error;
    const auto receiver = SimulatedHdmiReceiver::create(options, &error);
    ASSERT_NE(nullptr, receiver) << error;
    oxa::host::startHdmiSoundService();

    const size_t count = flashesToSee();
    const FlashWatch watch(HdmiSignal::current());
    RxClient client;
    client.start();
    ASSERT_TRUE(client.pollUntil([&] { return watch.flashes().size() >= count; },
                                 std::chrono::seconds(10 + 2 * count)));
    ASSERT_TRUE(client.pollFrames(client.frames() + kRate / 5));

    // From the stamps alone: the samples of each block are where its time says.
    std::vector<double> beeps;
    const Sound sound = soundFromPcm(client.samples(), 2, kRate);
    for (const double position : beepPositions(sound.channel(0), kRate)) {
        double left = position;
        for (const RxAnswer& block : client.blocks()) {
            const auto frames = static_cast<double>(block.samples.size()) / 2;
            if (left < frames) {
                beeps.push_back(static_cast<double>(block.timeUs) + left * 1e6 / kRate);
                break;
            }
            left -= frames;
        }
    }
    size_t compared = 0;
    double worst = 0;
    for (const double flash : watch.flashes()) {
        for (const double beep : beeps) {
            if (std::abs(beep - flash) > 500000) continue;
            ++compared;
            worst = std::max(worst, std::abs(beep - flash));
            EXPECT_NEAR(flash, beep, kToleranceUs);
        }
    }
    EXPECT_GE(compared, count - 1);
    RecordProperty("worst_offset_us", static_cast<int>(worst));
}

}  // namespace
}  // namespace android
