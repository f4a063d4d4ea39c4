// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <binder/IInterface.h>
#include <binder/IMemory.h>
#include <stdint.h>
#include <utils/Timers.h>

#include <vector>

struct native_handle;
typedef struct native_handle native_handle_t;

namespace android {

// Who takes recorded pictures from a camera that delivers them by callback.
class ICameraRecordingProxyListener : public IInterface {
  public:
    ~ICameraRecordingProxyListener() override = default;

    virtual void dataCallbackTimestamp(nsecs_t timestamp, int32_t msgType,
                                       const sp<IMemory>& data) = 0;
    virtual void recordingFrameHandleCallbackTimestamp(nsecs_t timestamp,
                                                       native_handle_t* handle) = 0;
    virtual void recordingFrameHandleCallbackTimestampBatch(
            const std::vector<nsecs_t>& timestamps,
            const std::vector<native_handle_t*>& handles) = 0;
};

class BnCameraRecordingProxyListener : public BnInterface<ICameraRecordingProxyListener> {};

}  // namespace android
