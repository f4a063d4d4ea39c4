// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "HdmiReceiver"

#include <oxa/host/HdmiReceiver.h>
#include <oxa/host/HdmiSound.h>
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

constexpr char kWrongVideo[] =
        "Type:HDMIRx\nStatus:Ready\nWidth:-1\nHeight:99999999999\nScanMode:Sideways\nColor:Grey\n"
        "Fps:many\n";
constexpr char kWrongAudio[] = "Ready:perhaps\nFreq:-48000\nno more\n";
constexpr char kWrongState[] = "?\n";

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
        : mOptions(options), mSignal(signal), mTold(options) {}

    ~HdmiReceiver() override {
        if (!mPublished) return;
        setPlugged(false);
        CameraRegistry::instance().remove(mOptions.camera);
        removeFiles();
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
        mTold.width = width;
        mTold.height = height;
        mPictures.width = width;
        mPictures.height = height;
        changePicturesLocked();
    }

    void setFrameRate(int frameRate) override {
        AnnotatedLock lock(mLock);
        mTold.frameRate = frameRate;
        mPictures.frameRate = frameRate;
        changePicturesLocked();
    }

    void setProgressive(bool progressive) override {
        AnnotatedLock lock(mLock);
        mTold.progressive = progressive;
        mPictures.interlaced = !progressive;
        changePicturesLocked();
    }

    // The files come first, as with the plug.
    void setSampleRate(int sampleRate) override {
        {
            AnnotatedLock lock(mLock);
            mTold.sampleRate = sampleRate;
            writeAllLocked();
        }
        setHdmiSoundRate(sampleRate);
    }

    void setDriverFiles(DriverFiles files) override {
        AnnotatedLock lock(mLock);
        mFiles = files;
        writeAllLocked();
    }

    bool isReady() override {
        AnnotatedLock lock(mLock);
        return mPlugged && mFiles == DriverFiles::kRight;
    }

    bool hasAudio() override {
        AnnotatedLock lock(mLock);
        return mPlugged && mFiles == DriverFiles::kRight && mAudio;
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

    void changePicturesLocked() REQUIRES(mLock) {
        mSignal->camera()->control()->setSignal(mPictures);
        writeAllLocked();
    }

    std::string videoInfoLocked() const REQUIRES(mLock) {
        if (mFiles == DriverFiles::kWrong) return kWrongVideo;
        if (!mPlugged) return "Type:HDMIRx\nStatus:NotReady\n";
        return "Type:HDMIRx\nStatus:Ready\nWidth:" + std::to_string(mTold.width) +
               "\nHeight:" + std::to_string(mTold.height) +
               "\nScanMode:" + (mTold.progressive ? "Progressive" : "Interlaced") +
               "\nColor:YUV422\nFps:" + std::to_string(mTold.frameRate) + "\n";
    }

    std::string audioInfoLocked() const REQUIRES(mLock) {
        if (mFiles == DriverFiles::kWrong) return kWrongAudio;
        if (!mPlugged || !mAudio) return "Ready:0\n";
        return "Ready:1\nFreq:" + std::to_string(mTold.sampleRate) + "\nSPDIF Type:LPCM\n";
    }

    std::string plugStateLocked() const REQUIRES(mLock) {
        if (mFiles == DriverFiles::kWrong) return kWrongState;
        return mPlugged ? "1\n" : "0\n";
    }

    int writeAllLocked() const REQUIRES(mLock) {
        if (mFiles == DriverFiles::kMissing) {
            removeFiles();
            return 0;
        }
        int error = writeFile(mOptions.deviceRoot + kVideoInfo, videoInfoLocked());
        if (error == 0) error = writeFile(mOptions.deviceRoot + kAudioInfo, audioInfoLocked());
        if (error == 0) error = writeFile(mOptions.deviceRoot + kPlugState, plugStateLocked());
        return error;
    }

    void removeFiles() const {
        for (const char* path : {kVideoInfo, kAudioInfo, kPlugState}) {
            ::unlink((mOptions.deviceRoot + path).c_str());
        }
    }

    const HdmiReceiverOptions mOptions;
    const sp<HdmiSignal> mSignal;
    bool mPublished = false;  // set before others see it
    AnnotatedMutex mLock;
    HdmiReceiverOptions mTold GUARDED_BY(mLock);  // the signal at this moment
    android::LiveSignal mPictures GUARDED_BY(mLock);
    DriverFiles mFiles GUARDED_BY(mLock) = DriverFiles::kRight;
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
