// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "BaseDecoder"

#include "BaseDecoder.h"

#include "CodecCallback.h"

namespace android {

BaseDecoder::DecodeCBHandler::DecodeCBHandler(sp<BaseDecoder> decoder) : mPipeline(decoder) {}

void BaseDecoder::DecodeCBHandler::onMessageReceived(const sp<AMessage>& msg) {
    if (handleVerdict(msg)) return;
    CodecCallback callback;
    if (!unpackCodecCallback(msg, __FILE__, &callback)) return;
    if (callback.id == MediaCodec::CB_ERROR) setCodecFailed();
    sp<BaseDecoder> pipeline = mPipeline.promote();
    if (pipeline == NULL) return;
    switch (callback.id) {
        case MediaCodec::CB_INPUT_AVAILABLE:
            pipeline->handleDecoderInputBuffer(callback.index);
            break;
        case MediaCodec::CB_OUTPUT_AVAILABLE:
            pipeline->handleDecoderOutputBuffer(callback.index, callback.offset, callback.size,
                                                callback.timeUs, callback.flags);
            break;
        case MediaCodec::CB_ERROR:
            pipeline->handleDecoderError(callback.err, callback.actionCode,
                                         callback.detail.c_str());
            break;
        case MediaCodec::CB_OUTPUT_FORMAT_CHANGED:
            pipeline->handleDecoderOutputFormatChange(callback.format);
            break;
    }
}

}  // namespace android
