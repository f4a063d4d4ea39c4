// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/MediaTrack.h>
#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/MetaData.h>
#include <utils/RefBase.h>

namespace android {

class MediaBufferBase;

// A track that gives buffers on demand.
struct MediaSource : public virtual RefBase {
    // To be called before anything else; does not block.
    virtual status_t start(MetaData* params = nullptr) = 0;

    // Every buffer that was read must have been released before. Afterwards nothing can be read.
    virtual status_t stop() = 0;

    virtual sp<MetaData> getFormat() = 0;

    typedef MediaTrack::ReadOptions ReadOptions;

    // Blocks for the next buffer, which the caller releases. ERROR_END_OF_STREAM at the end.
    virtual status_t read(MediaBufferBase** buffer, const ReadOptions* options = nullptr) = 0;

    virtual status_t pause() { return ERROR_UNSUPPORTED; }
    virtual status_t setStopTimeUs(int64_t /*stopTimeUs*/) { return ERROR_UNSUPPORTED; }

  protected:
    ~MediaSource() override = default;
};

}  // namespace android
