// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "LivePictureConverter"

#include <log/log.h>

#include <algorithm>

#include "ffmpeg/AvPicture.h"
#include "ffmpeg/PictureConversion.h"
#include "ffmpeg/TimeBase.h"
#include "live/LiveConverter.h"

namespace android {

namespace {

// A source whose rate is so little above the wanted one is left alone.
constexpr double kRateTolerance = 1.05;
// A picture may come so much of an interval too early and still count for its place.
constexpr double kPlaceTolerance = 0.1;

class LivePictureConverter : public LiveConverter {
  public:
    LivePictureConverter(const LiveOptions& options, const LiveInfo& info)
        : mControl(options.control),
          mRate(info.frameRate == 0 || info.frameRate > options.frameRate * kRateTolerance
                        ? options.frameRate
                        : 0) {
        mWanted.width = options.width;
        mWanted.height = options.height;
        mFit.start(mWanted, kMicroseconds);
    }

    bool convert(AVFrame* frame, LiveBlock* block, int64_t* shiftUs) override {
        *shiftUs = 0;
        const int64_t timeUs = frame->pts;
        if (!hasPlace(timeUs) || !resizeSource(frame)) {
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
    // Thins the pictures evenly to the wanted rate.
    bool hasPlace(int64_t timeUs) {
        if (mRate == 0) return true;
        if (!mStarted) mFirstTimeUs = timeUs;
        const auto place = static_cast<int64_t>(
                static_cast<double>(timeUs - mFirstTimeUs) * mRate / 1e6 + kPlaceTolerance);
        if (mStarted && place <= mLastPlace) return false;
        mStarted = true;
        mLastPlace = place;
        return true;
    }

    // What the source would deliver after a change of its signal.
    bool resizeSource(AVFrame* frame) {
        Conversion signal;
        if (mControl != nullptr) mControl->pictureSize(&signal.width, &signal.height);
        if (signal.width == 0) return true;
        if (signal.width != mSignalWidth || signal.height != mSignalHeight) {
            mSignal.start(signal, kMicroseconds);
            mSignalWidth = signal.width;
            mSignalHeight = signal.height;
        }
        return mSignal.push(frame) >= 0 && mSignal.pull(frame) >= 0;
    }

    const sp<LiveControl> mControl;
    const int mRate;
    Conversion mWanted;
    PictureConversion mFit;
    PictureConversion mSignal;
    int mSignalWidth = 0;
    int mSignalHeight = 0;
    bool mStarted = false;
    int64_t mFirstTimeUs = 0;
    int64_t mLastPlace = 0;
};

}  // namespace

std::unique_ptr<LiveConverter> createLivePictureConverter(const LiveOptions& options,
                                                          const LiveInfo& info) {
    return std::make_unique<LivePictureConverter>(options, info);
}

}  // namespace android
