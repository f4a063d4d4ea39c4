// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "HdmiReceiver"

#include <oxa/host/HdmiReceiver.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <filesystem>
#include <utility>

#include "base/AnnotatedMutex.h"
#include "hdmi/HdmiSignal.h"
#include "live/LiveReader.h"

namespace oxa::host {

namespace {

using android::AnnotatedLock;
using android::AnnotatedMutex;
using android::CameraRegistry;
using android::HdmiSignal;
using android::sp;

constexpr char kVideoInfo[] = "/sys/devices/virtual/video4linux/video250/hdmirx_video_info";
constexpr char kAudioInfo[] = "/sys/devices/virtual/video4linux/video250/hdmirx_audio_info";
constexpr char kPlugState[] = "/sys/devices/virtual/switch/rx_video/state";

// Replaces a whole file, so that nobody reads half of it. Returns an errno.
int writeFile(const std::string& path, const std::string& text) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    const std::string fresh = path + ".new";
    FILE* const file = fopen(fresh.c_str(), "we");
    if (file == nullptr) return errno;
    const bool written = fwrite(text.data(), 1, text.size(), file) == text.size();
    const int error = errno;
    if (fclose(file) != 0 || !written) return written ? errno : error;
    return rename(fresh.c_str(), path.c_str()) == 0 ? 0 : errno;
}

std::string testSource(const HdmiReceiverOptions& options) {
    return "lavfi:testsrc2=size=" + std::to_string(options.width) + "x" +
           std::to_string(options.height) + ":rate=" + std::to_string(options.frameRate) +
           "[out0];sine=frequency=440:sample_rate=" + std::to_string(options.sampleRate) +
           ",aformat=channel_layouts=stereo[out1]";
}

class HdmiReceiver : public SimulatedHdmiReceiver {
  public:
    HdmiReceiver(const HdmiReceiverOptions& options, const sp<HdmiSignal>& signal)
        : mOptions(options), mSignal(signal), mWidth(options.width), mHeight(options.height) {}

    ~HdmiReceiver() override {
        if (!mPublished) return;
        setPlugged(false);
        CameraRegistry::instance().remove(mOptions.camera);
        for (const char* path : {kVideoInfo, kAudioInfo, kPlugState}) {
            ::unlink((mOptions.deviceRoot + path).c_str());
        }
        HdmiSignal::setCurrent(nullptr);
    }

    bool publish(std::string* error) {
        if (!HdmiSignal::setCurrent(mSignal)) {
            *error = "there is an HDMI receiver already";
            return false;
        }
        mPublished = true;
        CameraRegistry::instance().add(mSignal->camera());
        AnnotatedLock lock(mLock);
        const int failure = writeAllLocked();
        if (failure != 0) {
            *error = "cannot write below '" + mOptions.deviceRoot + "': " + strerror(failure);
        }
        return failure == 0;
    }

    void unplug() override { setPlugged(false); }
    void plug() override { setPlugged(true); }

    void setSize(int width, int height) override {
        AnnotatedLock lock(mLock);
        mWidth = width;
        mHeight = height;
        mSignal->camera()->control()->setPictureSize(width, height);
        writeAllLocked();
    }

    void loseAudio() override { setAudio(false); }
    void restoreAudio() override { setAudio(true); }
    void stall() override { mSignal->setStalled(true); }
    void resume() override { mSignal->setStalled(false); }

  private:
    // The files come first: who hears of the change reads them.
    void setPlugged(bool plugged) {
        {
            AnnotatedLock lock(mLock);
            mPlugged = plugged;
            writeAllLocked();
        }
        mSignal->setPlugged(plugged);
    }

    void setAudio(bool present) {
        {
            AnnotatedLock lock(mLock);
            mAudio = present;
            writeAllLocked();
        }
        mSignal->setSoundLost(!present);
    }

    std::string videoInfoLocked() const REQUIRES(mLock) {
        if (!mPlugged) return "Type:HDMIRx\nStatus:NotReady\n";
        return "Type:HDMIRx\nStatus:Ready\nWidth:" + std::to_string(mWidth) +
               "\nHeight:" + std::to_string(mHeight) +
               "\nScanMode:" + (mOptions.progressive ? "Progressive" : "Interlaced") +
               "\nColor:YUV422\nFps:" + std::to_string(mOptions.frameRate) + "\n";
    }

    std::string audioInfoLocked() const REQUIRES(mLock) {
        if (!mPlugged || !mAudio) return "Ready:0\n";
        return "Ready:1\nFreq:" + std::to_string(mOptions.sampleRate) + "\nSPDIF Type:LPCM\n";
    }

    int writeAllLocked() const REQUIRES(mLock) {
        int error = writeFile(mOptions.deviceRoot + kVideoInfo, videoInfoLocked());
        if (error == 0) error = writeFile(mOptions.deviceRoot + kAudioInfo, audioInfoLocked());
        if (error == 0)
            error = writeFile(mOptions.deviceRoot + kPlugState, mPlugged ? "1\n" : "0\n");
        return error;
    }

    const HdmiReceiverOptions mOptions;
    const sp<HdmiSignal> mSignal;
    bool mPublished = false;  // set before others see it
    AnnotatedMutex mLock;
    int mWidth GUARDED_BY(mLock);
    int mHeight GUARDED_BY(mLock);
    bool mPlugged GUARDED_BY(mLock) = true;
    bool mAudio GUARDED_BY(mLock) = true;
};

// Takes the signal's figures from the source.
bool ask(HdmiReceiverOptions* options, std::string* error) {
    android::LiveOptions live;
    live.source = options->source;
    auto reader = android::LiveReader::open(live, error);
    if (reader == nullptr) return false;
    options->width = reader->info().width;
    options->height = reader->info().height;
    if (reader->info().frameRate > 0) {
        options->frameRate = static_cast<int>(std::lround(reader->info().frameRate));
    }
    live.kind = android::LiveKind::kSound;
    reader = android::LiveReader::open(live, error);
    if (reader == nullptr) return false;
    options->sampleRate = reader->info().sampleRate;
    return true;
}

}  // namespace

std::unique_ptr<SimulatedHdmiReceiver> SimulatedHdmiReceiver::create(
        const HdmiReceiverOptions& options, std::string* error) {
    HdmiReceiverOptions complete = options;
    if (complete.source.empty()) complete.source = testSource(options);
    if (!ask(&complete, error)) return nullptr;
    const sp<HdmiSignal> signal =
            new HdmiSignal(complete.source, complete.sampleRate, complete.camera);
    auto receiver = std::make_unique<HdmiReceiver>(complete, signal);
    if (!receiver->publish(error)) return nullptr;
    return receiver;
}

}  // namespace oxa::host
