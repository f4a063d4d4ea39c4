// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/AMessage.h>
#include <stdint.h>

#include "CallbackRelay.h"

namespace android {

// What a decoding pipeline is told by its asynchronous MediaCodec. All operations run on the thread
// of the relay's looper, in the order in which the codec posted them, one at a time.
class BaseDecoder : virtual public AHandler {
  protected:
    ~BaseDecoder() override = default;

  public:
    // An input buffer is free.
    virtual void handleDecoderInputBuffer(uint32_t index) = 0;
    // An output buffer is ready; "flags" are MediaCodec's buffer flags, times are microseconds.
    virtual void handleDecoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size,
                                           int64_t timeUs, int32_t flags) = 0;
    // The format of the outputs that follow; the message belongs to the codec.
    virtual void handleDecoderOutputFormatChange(const sp<AMessage>& format) = 0;
    // The codec failed; `detail` is never null and lives for the call only.
    virtual void handleDecoderError(int32_t err, int32_t actionCode, const char* detail) = 0;

    // Unpacks callback messages of one codec and calls the pipeline, which it holds weakly: what
    // arrives after the pipeline is gone is dropped.
    class DecodeCBHandler : public CallbackRelay {
      public:
        explicit DecodeCBHandler(sp<BaseDecoder> decoder);

        void onMessageReceived(const sp<AMessage>& msg) override;

      private:
        wp<BaseDecoder> mPipeline;
    };
};

}  // namespace android
