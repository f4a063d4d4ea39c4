// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>

namespace android {

struct MediaTrack {
    // How a read is to be done.
    struct ReadOptions {
        enum SeekMode : int32_t {
            SEEK_PREVIOUS_SYNC = 0,
            SEEK_NEXT_SYNC = 1,
            SEEK_CLOSEST_SYNC = 2,
            SEEK_CLOSEST = 3,
            SEEK_FRAME_INDEX = 4,
        };

        // Microseconds.
        void setSeekTo(int64_t timeUs, SeekMode mode = SEEK_CLOSEST_SYNC) {
            mHasSeek = true;
            mSeekTimeUs = timeUs;
            mSeekMode = mode;
        }
        void clearSeekTo() { mHasSeek = false; }
        bool getSeekTo(int64_t* timeUs, SeekMode* mode) const {
            if (!mHasSeek) return false;
            *timeUs = mSeekTimeUs;
            *mode = mSeekMode;
            return true;
        }

      private:
        bool mHasSeek = false;
        int64_t mSeekTimeUs = 0;
        SeekMode mSeekMode = SEEK_CLOSEST_SYNC;
    };
};

}  // namespace android
