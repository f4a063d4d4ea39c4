// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>
#include <utils/Errors.h>

namespace android {

class MediaBufferBase;
class MetaDataBase;

// A track of an extractor. Those of this platform are not handed out.
struct MediaTrack {
    MediaTrack() = default;
    virtual ~MediaTrack() = default;

    virtual status_t start() = 0;
    virtual status_t stop() = 0;
    virtual status_t getFormat(MetaDataBase& format) = 0;

    // How a read is to be done.
    struct ReadOptions {
        enum SeekMode : int32_t {
            SEEK_PREVIOUS_SYNC = 0,
            SEEK_NEXT_SYNC = 1,
            SEEK_CLOSEST_SYNC = 2,
            SEEK_CLOSEST = 3,
            SEEK_FRAME_INDEX = 4,
        };

        // Everything back to the defaults.
        void reset() { *this = ReadOptions(); }

        // Microseconds.
        void setSeekTo(int64_t timeUs, SeekMode mode = SEEK_CLOSEST_SYNC) {
            mHasSeek = true;
            mSeekTimeUs = timeUs;
            mSeekMode = mode;
        }
        void clearSeekTo() { mHasSeek = false; }
        void clearNonPersist() { clearSeekTo(); }
        bool getSeekTo(int64_t* timeUs, SeekMode* mode) const {
            if (!mHasSeek) return false;
            *timeUs = mSeekTimeUs;
            *mode = mSeekMode;
            return true;
        }

        void setNonBlocking() { mNonBlocking = true; }
        void clearNonBlocking() { mNonBlocking = false; }
        bool getNonBlocking() const { return mNonBlocking; }

      private:
        bool mHasSeek = false;
        bool mNonBlocking = false;
        int64_t mSeekTimeUs = 0;
        SeekMode mSeekMode = SEEK_CLOSEST_SYNC;
    };

    virtual status_t read(MediaBufferBase** buffer, const ReadOptions* options = nullptr) = 0;

  private:
    MediaTrack(const MediaTrack&) = delete;
    MediaTrack& operator=(const MediaTrack&) = delete;
};

}  // namespace android
