// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "RxCapture"

#include "hdmi/RxCapture.h"

#include <oxa/host/FaultListener.h>

#include <cerrno>
#include <utility>

#include "base/Monotonic.h"
#include "hdmi/HdmiSignal.h"

namespace android {

namespace {

constexpr int64_t kSilenceLimitUs = 3000000;
constexpr int64_t kRetryUs = 500000;

}  // namespace

void RxCapture::start(int channels) {
    AnnotatedLock lock(mLock);
    if (mCapture != nullptr && mChannels == channels) return;
    mChannels = channels;
    startLocked();
}

void RxCapture::stop() {
    AnnotatedLock lock(mLock);
    stopLocked();
}

void RxCapture::restart() {
    AnnotatedLock lock(mLock);
    if (mCapture != nullptr) startLocked();
}

void RxCapture::startLocked() {
    stopLocked();
    mSoundUs = monotonicUs();
    mSilenceTold = false;
    mFailureTold = false;
    LiveOptions options;
    if (!mInput(&options)) {
        report("there is no HDMI receiver", ENODEV, false);
        return;
    }
    options.kind = LiveKind::kSound;
    if (options.channels == 0) options.channels = mChannels;
    // It outlasts any silence; see noteSilence().
    options.silenceLimitUs = 0;
    mCapture = std::make_unique<SoundCapture>(options, nullptr, kRetryUs, this);
    mRunning = true;
}

void RxCapture::stopLocked() {
    mRunning = false;
    mCapture.reset();
    mMonitor.close();
}

void RxCapture::setRecorded(bool recorded) {
    if (recorded) {
        mSoundUs = monotonicUs();
        const sp<HdmiSignal> signal = HdmiSignal::current();
        mQueue.begin(mSoundUs, [signal] {
            return signal != nullptr ? signal->camera()->recordedFromUs()
                                     : RegisteredCamera::kNotRecorded;
        });
    } else {
        mQueue.end();
    }
    mRecorded = recorded;
}

bool RxCapture::takeBlock(size_t maxBytes, RxBlock* block) {
    if (mQueue.take(maxBytes, block)) return true;
    noteSilence();
    return false;
}

void RxCapture::onSound(LiveBlock sound) {
    mSoundUs = monotonicUs();
    mSilenceTold = false;
    mFailureTold = false;
    mLevel.add(sound);
    mQueue.add(sound);
    if (mMonitored) {
        mMonitor.play(sound);
    } else {
        mMonitor.close();
    }
}

void RxCapture::onSoundEnd(int error, const std::string& text) {
    mMonitor.close();
    if (text.empty()) {
        report("the source has ended", 0, true);
    } else if (!mFailureTold.exchange(true)) {
        report(text, error, false);
    }
}

// Whoever records asks all the time, so this is where silence is noticed.
void RxCapture::noteSilence() {
    if (monotonicUs() - mSoundUs < kSilenceLimitUs || mSilenceTold.exchange(true)) return;
    report("nothing came for " + std::to_string(kSilenceLimitUs / 1000) + " ms", ETIMEDOUT, false);
}

void RxCapture::report(const std::string& cause, int error, bool ended) {
    oxa::host::Fault fault;
    fault.source = oxa::host::FaultSource::kSound;
    fault.ended = ended;
    fault.object = "HDMI audio service";
    fault.cause = cause;
    fault.error = error;
    oxa::host::reportFault(fault);
}

}  // namespace android
