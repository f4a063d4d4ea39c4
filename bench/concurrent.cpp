// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// Transcodes one file several times at once in one process, into one MP4 file each. Exit 0 when all
// are complete, 1 when one failed, 2 for wrong usage.

#include <OxaMediaCodecPlayer.h>
#include <android/log.h>
#include <errno.h>
#include <fcntl.h>
#include <oxa/host/FaultListener.h>
#include <string.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using android::AHandler;
using android::ALooper;
using android::AMessage;
using android::OK;
using android::OxaMediaCodecPlayer;
using android::sp;
using android::status_t;

namespace {

constexpr int kFirstOutput = 8;  // in the arguments
constexpr int32_t kOutputDescriptor = 7;
constexpr int32_t kContainerMpeg4 = 1;
constexpr std::chrono::seconds kStall(60);
constexpr int64_t kDrainUs = 60'000'000;

// Receives the player's reports and lets a thread wait for the end of the stream.
class EndWaiter : public AHandler {
  public:
    void onMessageReceived(const sp<AMessage>& message) override {
        if (message->what() != android::kWhatPlayerEOS) return;
        std::lock_guard<std::mutex> lock(mLock);
        mEnded = true;
        mReached.notify_one();
    }

    bool waitFor(std::chrono::milliseconds time) {
        std::unique_lock<std::mutex> lock(mLock);
        return mReached.wait_for(lock, time, [this] { return mEnded; });
    }

  private:
    std::mutex mLock;
    std::condition_variable mReached;
    bool mEnded = false;
};

bool step(status_t status, const char* name, const std::string& output) {
    if (status != OK) {
        fprintf(stderr, "%s: %s: %s (%d)\n", output.c_str(), name, strerror(-status), status);
    }
    return status == OK;
}

bool begin(const sp<OxaMediaCodecPlayer>& player, const char* input, int descriptor,
           const android::_AV_FORMAT_FORMAT& format, const std::string& output) {
    android::_OxaTranscodeConfig config = {};
    config.type = kOutputDescriptor;
    config.fmt = kContainerMpeg4;
    config.fileDesc = descriptor;
    return step(player->initiate(android::SourceTypeFile, false, true), "initiate", output) &&
           step(player->setDataSource(input), "setDataSource", output) &&
           step(player->setMuxer(config), "setMuxer", output) &&
           step(player->setTargetFormat(format), "setTargetFormat", output) &&
           step(player->prepare(), "prepare", output) && step(player->start(), "start", output);
}

// Waits for the end of the stream; false when nothing has moved for a long time.
bool waitForEnd(const sp<OxaMediaCodecPlayer>& player, EndWaiter& waiter,
                const std::string& output) {
    using Clock = std::chrono::steady_clock;
    android::_TRANSCODE_PROGRESS last = {-1, -1, 0};
    auto lastMove = Clock::now();
    while (!waiter.waitFor(std::chrono::seconds(1))) {
        android::_TRANSCODE_PROGRESS now = last;
        player->getTranscodeProgress(&now);
        if (now.videoFrames != last.videoFrames || now.audioTimeUs != last.audioTimeUs) {
            last = now;
            lastMove = Clock::now();
        } else if (Clock::now() - lastMove > kStall) {
            fprintf(stderr, "%s: nothing moves any more\n", output.c_str());
            return false;
        }
    }
    return true;
}

bool transcode(const char* input, const android::_AV_FORMAT_FORMAT& format,
               const sp<ALooper>& reports, const std::string& output) {
    const int descriptor = open(output.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        fprintf(stderr, "%s: %s\n", output.c_str(), strerror(errno));
        return false;
    }
    const sp<EndWaiter> waiter = new EndWaiter;
    reports->registerHandler(waiter);
    const sp<OxaMediaCodecPlayer> player =
            new OxaMediaCodecPlayer(true, format.channelCount > 0 ? 0 : android::CODEC_VIDEO_ONLY);
    player->mStatusHandler = waiter;
    const bool complete = begin(player, input, descriptor, format, output) &&
                          waitForEnd(player, *waiter, output) &&
                          step(player->drain(kDrainUs), "drain", output);
    player->stop();
    player->cleanup();
    reports->unregisterHandler(waiter->id());
    close(descriptor);
    return complete;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc <= kFirstOutput) {
        fprintf(stderr,
                "usage: %s INPUT WIDTH HEIGHT VIDEO_BIT_RATE KEY_FRAME_INTERVAL_S CHANNELS "
                "SAMPLE_RATE OUTPUT...\n",
                argv[0]);
        return 2;
    }
    // A pipeline that cannot be prepared is fatal, so what can be foreseen is tested before.
    if (access(argv[1], R_OK) != 0) {
        fprintf(stderr, "%s: %s\n", argv[1], strerror(errno));
        return 1;
    }
    __android_log_set_minimum_priority(ANDROID_LOG_ERROR);
    android::_AV_FORMAT_FORMAT format = {};
    format.width = atoi(argv[2]);
    format.height = atoi(argv[3]);
    format.bitRate = atoi(argv[4]);
    format.iFrameInterval = atoi(argv[5]);
    format.channelCount = atoi(argv[6]);
    format.sampleRate = atoi(argv[7]);
    format.deinterlace = -1;

    std::atomic<bool> allComplete{true};
    const int listener = oxa::host::addFaultListener([&](const oxa::host::Fault& fault) {
        fprintf(stderr, "%s: %s\n", fault.object.c_str(), fault.cause.c_str());
        if (fault.ended) allComplete = false;
    });
    const sp<ALooper> reports = new ALooper;
    reports->setName("Reports");
    reports->start();
    std::vector<std::thread> jobs;
    for (int i = kFirstOutput; i < argc; ++i) {
        jobs.emplace_back([&, i] {
            if (!transcode(argv[1], format, reports, argv[i])) allComplete = false;
        });
    }
    for (std::thread& job : jobs)
        job.join();
    reports->stop();
    oxa::host::removeFaultListener(listener);
    return allComplete ? 0 : 1;
}
