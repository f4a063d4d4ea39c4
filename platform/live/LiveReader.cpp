// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "LiveReader"

#include "live/LiveReader.h"

#include <log/log.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "base/Monotonic.h"
#include "ffmpeg/AvError.h"
#include "live/LiveConverter.h"
#include "live/LiveInput.h"

namespace android {

namespace {

// How often a device that does not block is asked.
constexpr int64_t kPollUs = 2000;
// What is later than this is left out, as a driver would run out of buffers; but a source that
// never keeps up still gives something that often.
constexpr int64_t kMaxLagUs = 1000000;

LiveOptions complete(LiveOptions options) {
    if (options.clock == nullptr) options.clock = LiveClock::forSource(options.source);
    if (options.control == nullptr) options.control = new LiveControl;
    return options;
}

int64_t durationUs(const LiveBlock& block) {
    if (block.channels == 0) return 0;
    const auto frames = static_cast<int64_t>(block.samples.size()) / block.channels;
    return frames * 1000000 / block.sampleRate;
}

}  // namespace

LiveReader::LiveReader(const LiveOptions& options, bool isDevice)
    : mOptions(complete(options)),
      mControl(mOptions.control),
      mIsDevice(isDevice),
      mFrame(av_frame_alloc(), [](AVFrame* frame) { av_frame_free(&frame); }) {}

LiveReader::~LiveReader() = default;

std::unique_ptr<LiveReader> LiveReader::open(const LiveOptions& options, std::string* error) {
    LiveSource source;
    if (!parseLiveSource(options.source, &source, error)) return nullptr;
    auto input = source.scheme->open(source, options, error);
    if (input == nullptr) return nullptr;
    std::unique_ptr<LiveReader> reader(new LiveReader(options, source.isDevice()));
    reader->mInfo = input->info();
    reader->mInput = std::move(input);
    reader->mConverter = options.kind == LiveKind::kPicture
                                 ? createLivePictureConverter(reader->mOptions, reader->mInfo)
                                 : createLiveSoundConverter(reader->mOptions);
    return reader;
}

std::string LiveReader::soundError(const std::string& source) {
    LiveOptions options;
    options.source = source;
    options.kind = LiveKind::kSound;
    std::string error;
    open(options, &error);
    return error;
}

void LiveReader::start() {
    const int64_t now = monotonicUs();
    mOriginUs = mOptions.clock->start(now);
    mEarliestUs = now;
    mLastBlockUs = now;
}

LiveResult LiveReader::read(LiveBlock* block) {
    while (mFinal == LiveResult::kOk) {
        if (!mHasNext) {
            const LiveResult fetched = fetch();
            if (fetched != LiveResult::kOk) return fetched;
        }
        const int64_t earliestUs = mEarliestUs;
        const LiveResult waited = wait(mNextDueUs);
        if (waited != LiveResult::kOk) return waited;
        mHasNext = false;
        // A stall has ended: what should have come meanwhile is gone.
        if (mEarliestUs != earliestUs && mNext.timeUs < mEarliestUs) continue;
        const int64_t now = monotonicUs();
        if (isTooLate(now)) {
            ++mLate;
            continue;
        }
        mLastBlockUs = now;
        *block = std::move(mNext);
        mNext = LiveBlock();
        return LiveResult::kOk;
    }
    return mFinal;
}

bool LiveReader::isTooLate(int64_t now) const {
    return !mIsDevice && now - mNextDueUs > kMaxLagUs && now - mLastBlockUs < kMaxLagUs;
}

void LiveReader::interrupt() {
    mControl->setInterrupted(&mInterrupted, true);
}

// Gets the next block into mNext.
LiveResult LiveReader::fetch() {
    for (;;) {
        const LiveResult checked = wait(0);
        if (checked != LiveResult::kOk) return checked;
        const int err = mInput->read(mFrame.get());
        if (err == 0) {
            if (takeFrame()) return LiveResult::kOk;
        } else if (err == AVERROR(EAGAIN)) {
            const LiveResult waited = waitForDevice();
            if (waited != LiveResult::kOk) return waited;
        } else if (err != AVERROR_EOF) {
            return loseToAvError(err);
        } else if (mIsDevice) {
            return lose(ENODEV, "the device is gone");
        } else if (!mOptions.repeat || !mInput->rewind()) {
            return end();
        }
    }
}

LiveResult LiveReader::waitForDevice() {
    const int64_t now = monotonicUs();
    if (mOptions.silenceLimitUs > 0 && now - mLastBlockUs > mOptions.silenceLimitUs) {
        return loseToSilence();
    }
    return wait(now + kPollUs);
}

// False when the frame gives no block.
bool LiveReader::takeFrame() {
    const int64_t frameUs = mFrame->pts + (mIsDevice ? 0 : mOriginUs);
    // Pictures that are gone are not worth converting.
    if (mOptions.kind == LiveKind::kPicture && frameUs < mEarliestUs) {
        av_frame_unref(mFrame.get());
        return false;
    }
    int64_t shiftUs = 0;
    if (!mConverter->convert(mFrame.get(), &mNext, &shiftUs)) return false;
    mNext.timeUs = frameUs + shiftUs;
    trim(mEarliestUs);
    if (mOptions.kind == LiveKind::kSound && mNext.samples.empty()) return false;
    // Sound is there when its last sample is.
    mNextDueUs = mIsDevice ? 0 : mNext.timeUs + durationUs(mNext);
    mHasNext = true;
    return true;
}

// Takes samples off that are before the time.
void LiveReader::trim(int64_t earliestUs) {
    if (mNext.samples.empty() || mNext.timeUs >= earliestUs) return;
    const auto frames = static_cast<int64_t>(mNext.samples.size()) / mNext.channels;
    const int64_t gone =
            std::min(frames, ((earliestUs - mNext.timeUs) * mNext.sampleRate + 999999) / 1000000);
    mNext.samples.erase(mNext.samples.begin(),
                        mNext.samples.begin() + static_cast<ptrdiff_t>(gone * mNext.channels));
    mNext.timeUs += gone * 1000000 / mNext.sampleRate;
}

LiveResult LiveReader::wait(int64_t untilUs) {
    bool wasStalled = false;
    const LiveControl::Outcome outcome =
            mControl->waitUntil(untilUs, mOptions.silenceLimitUs, mInterrupted, &wasStalled);
    if (wasStalled) mEarliestUs = monotonicUs();
    switch (outcome) {
        case LiveControl::Outcome::kDue:
            return LiveResult::kOk;
        case LiveControl::Outcome::kInterrupted:
            mFinal = LiveResult::kInterrupted;
            return mFinal;
        case LiveControl::Outcome::kLost:
            return lose(ENODEV, "the device is gone");
        case LiveControl::Outcome::kTimedOut:
            break;
    }
    return loseToSilence();
}

LiveResult LiveReader::end() {
    mFinal = LiveResult::kEnd;
    return mFinal;
}

LiveResult LiveReader::loseToAvError(int averror) {
    return lose(AVUNERROR(averror) > 0 ? AVUNERROR(averror) : EIO, avErrorText(averror));
}

LiveResult LiveReader::loseToSilence() {
    return lose(ETIMEDOUT,
                "nothing came for " + std::to_string(mOptions.silenceLimitUs / 1000) + " ms");
}

LiveResult LiveReader::lose(int error, const std::string& text) {
    mError = error;
    mErrorText = text;
    mFinal = LiveResult::kLost;
    return mFinal;
}

}  // namespace android
