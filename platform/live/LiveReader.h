// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/RefBase.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "graphics/Picture.h"
#include "graphics/PictureQueue.h"
#include "live/LiveClock.h"
#include "live/LiveControl.h"
#include "live/LiveSource.h"

struct AVFrame;

namespace android {

class LiveConverter;
class LiveInput;

enum class LiveKind { kPicture, kSound };

struct LiveOptions {
    std::string source;  // as parseLiveSource() takes it
    LiveKind kind = LiveKind::kPicture;
    sp<LiveClock> clock;      // null: LiveClock::forSource(source)
    sp<LiveControl> control;  // null: nobody controls it
    bool repeat = false;      // a file begins again at its end
    // A source that gives nothing for so long has failed; 0: never.
    int64_t silenceLimitUs = 3000000;

    // 0: as the source has it.
    int width = 0;
    int height = 0;
    int frameRate = 0;  // at most so many pictures a second
    int channels = 0;
    int sampleRate = 0;
};

// The source's own figures; those of the other kind are 0.
struct LiveInfo {
    int width = 0;
    int height = 0;
    double frameRate = 0;  // 0: not known
    int sampleRate = 0;
};

// One picture, or a piece of sound.
struct LiveBlock {
    int64_t timeUs = 0;            // CLOCK_MONOTONIC: when it was captured, or its first sample
    sp<Picture> picture;           // 8 bits, 4:2:0
    PictureFormat format;          // of the picture
    std::vector<int16_t> samples;  // interleaved
    int channels = 0;
    int sampleRate = 0;
};

enum class LiveResult {
    kOk,
    kEnd,          // a file or graph has ended, after its last block
    kLost,         // the source has failed; see errorText()
    kInterrupted,  // by interrupt()
};

// Reads pictures or sound from a live source, in real time: from a device as they come, from a file
// or a filter graph when their times have come on the monotonic clock. Like with a device, what is
// over when start() is called, or passes while nobody reads for long, is gone. One thread reads;
// interrupt() may come from any.
class LiveReader {
  public:
    // Opens the source, which takes as long as it does. Null, with the reason in one line, when it
    // cannot be opened or has nothing of the kind.
    static std::unique_ptr<LiveReader> open(const LiveOptions& options, std::string* error);
    // Why it cannot be opened as sound; empty when it can.
    static std::string soundError(const std::string& source);
    ~LiveReader();

    const LiveInfo& info() const { return mInfo; }

    // Once, before the first read(). The first start among the readers of one clock is the source's
    // beginning.
    void start();

    // Waits for the next block. After anything but kOk only that result follows.
    LiveResult read(LiveBlock* block);

    // Ends a read() that waits, and all that follow.
    void interrupt();

    // Why the source was lost, in one line, and its errno (0: none).
    const std::string& errorText() const { return mErrorText; }
    int error() const { return mError; }
    // Blocks that were left out since the reader could not keep up.
    uint64_t late() const { return mLate; }

  private:
    LiveReader(const LiveOptions& options, bool isDevice);

    LiveResult fetch();
    LiveResult wait(int64_t untilUs);
    LiveResult waitForDevice();
    LiveResult end();
    LiveResult lose(int error, const std::string& text);
    LiveResult loseToSilence();
    LiveResult loseToAvError(int averror);
    bool takeFrame();
    void trim(int64_t earliestUs);
    bool isTooLate(int64_t nowUs) const;

    const LiveOptions mOptions;
    const sp<LiveControl> mControl;
    const bool mIsDevice;
    LiveInfo mInfo;
    std::unique_ptr<LiveInput> mInput;
    std::unique_ptr<LiveConverter> mConverter;
    const std::unique_ptr<AVFrame, void (*)(AVFrame*)> mFrame;
    bool mInterrupted = false;  // guarded by mControl

    // The reading thread's.
    LiveBlock mNext;
    bool mHasNext = false;
    int64_t mNextDueUs = 0;
    int64_t mOriginUs = 0;
    int64_t mEarliestUs = 0;  // what is before is gone
    int64_t mLastBlockUs = 0;
    LiveResult mFinal = LiveResult::kOk;
    std::string mErrorText;
    int mError = 0;
    uint64_t mLate = 0;
};

}  // namespace android
