// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/MediaSource.h>
#include <utils/RefBase.h>
#include <utils/String16.h>
#include <utils/Vector.h>

namespace android {

class IMediaRecorderClient;

// Writes tracks into a container.
struct MediaWriter : public RefBase {
    // Before start only.
    virtual status_t addSource(const sp<MediaSource>& source) = 0;

    // All tracks have ended.
    virtual bool reachedEOS() = 0;

    // Starts all sources and begins to read them.
    virtual status_t start(MetaData* params = nullptr) = 0;

    // Stops all sources and finishes the file; may take long.
    virtual status_t stop() = 0;
    virtual status_t pause() = 0;

    virtual status_t setCaptureRate(float /*captureFps*/) { return ERROR_UNSUPPORTED; }
    virtual void setMaxFileSize(int64_t bytes) { mMaxFileSizeLimitBytes = bytes; }
    virtual void setMaxFileDuration(int64_t durationUs) { mMaxFileDurationLimitUs = durationUs; }
    virtual void setListener(const sp<IMediaRecorderClient>& /*listener*/) {}
    virtual status_t dump(int /*fd*/, const Vector<String16>& /*args*/) { return OK; }
    virtual void setStartTimeOffsetMs(int /*ms*/) {}
    virtual int32_t getStartTimeOffsetMs() const { return 0; }
    virtual status_t setNextFd(int /*fd*/) { return INVALID_OPERATION; }

  protected:
    ~MediaWriter() override = default;

    int64_t mMaxFileSizeLimitBytes = 0;
    int64_t mMaxFileDurationLimitUs = 0;
};

}  // namespace android
