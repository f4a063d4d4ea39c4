// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <binder/IInterface.h>
#include <binder/IMemory.h>
#include <stdint.h>
#include <system/camera.h>
#include <utils/Timers.h>

#include <vector>

struct native_handle;
typedef struct native_handle native_handle_t;

namespace android::hardware {

// Whom a camera calls back. On Linux only notifyCallback() is ever called: recorded pictures go to
// the video target.
class ICameraClient : public IInterface {
  public:
    ~ICameraClient() override = default;

    virtual void notifyCallback(int32_t msgType, int32_t ext1, int32_t ext2) = 0;
    virtual void dataCallback(int32_t msgType, const sp<IMemory>& data,
                              camera_frame_metadata_t* metadata) = 0;
    virtual void dataCallbackTimestamp(nsecs_t timestamp, int32_t msgType,
                                       const sp<IMemory>& data) = 0;
    virtual void recordingFrameHandleCallbackTimestamp(nsecs_t timestamp,
                                                       native_handle_t* handle) = 0;
    virtual void recordingFrameHandleCallbackTimestampBatch(
            const std::vector<nsecs_t>& timestamps,
            const std::vector<native_handle_t*>& handles) = 0;
};

class BnCameraClient : public BnInterface<ICameraClient> {};

}  // namespace android::hardware
