// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "LivePictureConverter"

#include <log/log.h>

#include <algorithm>

#include "ffmpeg/AvPicture.h"
#include "ffmpeg/PictureConversion.h"
#include "ffmpeg/TimeBase.h"
#include "live/FieldWeaver.h"
#include "live/LiveConverter.h"

namespace android {

namespace {

// A source whose rate is so little above the wanted one is left alone.
constexpr double kRateTolerance = 1.05;
// A picture may come so much of an interval too early and still count for its place.
constexpr double kPlaceTolerance = 0.1;

// Thins pictures evenly.
class PictureThinner {
  public:
    // Whether a rate of `rate` (0: any) has a place for the picture.
    bool hasPlace(int64_t timeUs, int rate) {
        if (rate != mRate) mStarted = false;
        mRate = rate;
        if (rate == 0) return true;
        if (!mStarted) mFirstTimeUs = timeUs;
        const auto place = static_cast<int64_t>(
                static_cast<double>(timeUs - mFirstTimeUs) * rate / 1e6 + kPlaceTolerance);
        if (mStarted && place <= mLastPlace) return false;
        mStarted = true;
        mLastPlace = place;
        return true;
    }

  private:
    int mRate = 0;
    bool mStarted = false;
    int64_t mFirstTimeUs = 0;
    int64_t mLastPlace = 0;
};

class LivePictureConverter : public LiveConverter {
  public:
    LivePictureConverter(const LiveOptions& options, const LiveInfo& info)
        : mControl(options.control), mSourceRate(info.frameRate), mRate(limit(options.frameRate)) {
        mWanted.width = options.width;
        mWanted.height = options.height;
        mFit.start(mWanted, kMicroseconds);
    }

    bool convert(AVFrame* frame, LiveBlock* block, int64_t* shiftUs) override {
        *shiftUs = 0;
        const int64_t timeUs = frame->pts;
        if (!asSignal(frame) || !mThinner.hasPlace(timeUs, mRate)) {
            av_frame_unref(frame);
            return false;
        }
        int err = mFit.push(frame);
        if (err >= 0) err = mFit.pull(frame);
        if (err < 0) {
            ALOGW("a picture cannot be converted (%d)", err);
            return false;
        }
        block->format = pictureFormatOf(*frame);
        block->picture = new AvPicture(frame, timeUs);
        return true;
    }

  private:
    // 0: the source is not faster.
    int limit(int rate) const {
        return mSourceRate == 0 || mSourceRate > rate * kRateTolerance ? rate : 0;
    }

    // What the source would deliver after a change of its signal. False when that is nothing.
    bool asSignal(AVFrame* frame) {
        const LiveSignal signal = mControl != nullptr ? mControl->signal() : LiveSignal();
        if (!mSignalThinner.hasPlace(frame->pts, limit(signal.frameRate))) return false;
        if (signal.width != mSize.width || signal.height != mSize.height) {
            mSize.width = signal.width;
            mSize.height = signal.height;
            mResize.start(mSize, kMicroseconds);
        }
        if (mSize.width > 0 && (mResize.push(frame) < 0 || mResize.pull(frame) < 0)) return false;
        if (!signal.interlaced) mFields.forget();
        return !signal.interlaced || mFields.weave(frame) >= 0;
    }

    const sp<LiveControl> mControl;
    const double mSourceRate;
    const int mRate;
    PictureThinner mThinner;
    Conversion mWanted;
    PictureConversion mFit;
    PictureThinner mSignalThinner;
    Conversion mSize;
    PictureConversion mResize;
    FieldWeaver mFields;
};

}  // namespace

std::unique_ptr<LiveConverter> createLivePictureConverter(const LiveOptions& options,
                                                          const LiveInfo& info) {
    return std::make_unique<LivePictureConverter>(options, info);
}

}  // namespace android
