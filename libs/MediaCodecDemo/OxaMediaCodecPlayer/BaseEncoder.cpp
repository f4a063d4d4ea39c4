// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "BaseEncoder"

#include "BaseEncoder.h"

#include "CodecCallback.h"

namespace android {

BaseEncoder::EncodeCBHandler::EncodeCBHandler(sp<BaseEncoder> encoder) : mPipeline(encoder) {}

void BaseEncoder::EncodeCBHandler::onMessageReceived(const sp<AMessage>& msg) {
    if (handleVerdict(msg)) return;
    CodecCallback callback;
    if (!unpackCodecCallback(msg, __FILE__, &callback)) return;
    if (callback.id == MediaCodec::CB_ERROR) setCodecFailed();
    sp<BaseEncoder> pipeline = mPipeline.promote();
    if (pipeline == NULL) return;
    switch (callback.id) {
        case MediaCodec::CB_INPUT_AVAILABLE:
            pipeline->handleEncoderInputBuffer(callback.index);
            break;
        case MediaCodec::CB_OUTPUT_AVAILABLE:
            pipeline->handleEncoderOutputBuffer(callback.index, callback.offset, callback.size,
                                                callback.timeUs, callback.flags);
            break;
        case MediaCodec::CB_ERROR:
            pipeline->handleEncoderError(callback.err, callback.actionCode,
                                         callback.detail.c_str());
            break;
        case MediaCodec::CB_OUTPUT_FORMAT_CHANGED:
            pipeline->handleEncoderOutputFormatChange(callback.format);
            break;
    }
}

}  // namespace android
