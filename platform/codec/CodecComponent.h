// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gui/IGraphicBufferProducer.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>
#include <media/stagefright/foundation/AString.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>

#include "graphics/Picture.h"

namespace android {

class Surface;

// One filled input buffer on its way to the component. `buffer` stays untouched by MediaCodec
// until the component has called Client::onInputConsumed with `index`.
struct CodecInput {
    size_t index = 0;
    sp<MediaCodecBuffer> buffer;
    int64_t timeUs = 0;
    uint32_t flags = 0;  // MediaCodec::BufferFlags
};

// One result of the component: bytes, or a picture that occupies a place of the output surface.
// MediaCodec gives every output back exactly once with CodecComponent::releaseOutput.
struct CodecOutput {
    sp<ABuffer> data;     // null for a picture
    sp<Picture> picture;  // null for bytes and for the empty end-of-stream output
    int64_t timeUs = 0;
    uint32_t flags = 0;  // MediaCodec::BufferFlags
};

// A decoder or encoder behind MediaCodec, one object for each codec instance. None of the calls
// waits for media work; the component does that work on a worker thread of its own and reports
// through Client.
//
// MediaCodec makes its calls on its looper, one at a time, but for queueInput() and
// releaseOutput(). These two come on the client's threads between start() and stop(), with
// MediaCodec's lock held, also beside a call on the looper: they must not wait for anything.
class CodecComponent : public RefBase {
  public:
    // Implemented by MediaCodec. Called on the worker thread (onOutputFormat also inside start()),
    // without a lock of the component's: it takes MediaCodec's lock, and waits for nothing else.
    class Client {
      public:
        virtual ~Client() = default;
        virtual void onInputConsumed(size_t index) = 0;
        virtual void onOutputFormat(const sp<AMessage>& format) = 0;
        virtual void onOutput(const CodecOutput& output) = 0;
        // Nothing follows, unless `actionCode` is ACTION_CODE_TRANSIENT. Never for bad data.
        virtual void onError(status_t err, int32_t actionCode = ACTION_CODE_FATAL) = 0;
    };

    // The platform-like component name, e.g. "c2.linux.avc.encoder".
    virtual AString name() const = 0;

    // `surface` is the output surface of a video decoder, else null. Checks and keeps the format;
    // a wrong one is BAD_VALUE, a surface that another producer has is -EINVAL. After stop() the
    // component may be configured again.
    virtual status_t configure(const sp<AMessage>& format, const sp<Surface>& surface) = 0;

    // Valid after configure. Input buffers: how many MediaCodec makes, and how large.
    virtual size_t inputCount() const = 0;
    virtual size_t inputCapacity() const = 0;

    // Encoders with pictures as input only; others answer INVALID_OPERATION.
    virtual status_t createInputSurface(sp<IGraphicBufferProducer>* /*producer*/) {
        return INVALID_OPERATION;
    }

    // Opens the codec and starts the worker. Encoders report their output format before it returns.
    // `client` must live until stop() has returned.
    virtual status_t start(Client* client) = 0;

    // Ends the worker (flag, wake, join), drops all inputs and outputs and lets go of the surface;
    // no Client call is made after it returned. Harmless when not started or not configured.
    virtual void stop() = 0;

    // As stop(), but an input surface and its producer stay connected: of one that has made an
    // input surface start() goes on, any other must be configured again.
    virtual void flush() { stop(); }

    virtual void queueInput(const CodecInput& input) = 0;

    // Gives an output back; `render` queues its picture to the surface with that time.
    virtual void releaseOutput(const CodecOutput& output, bool render, int64_t timestampNs) = 0;

    // The input surface gets no more pictures. INVALID_OPERATION without one, or when repeated.
    virtual status_t signalEndOfInputStream() { return INVALID_OPERATION; }

    // Changes while running, e.g. "video-bitrate" or "request-sync"; unknown keys are ignored.
    virtual status_t setParameters(const sp<AMessage>& /*params*/) { return OK; }
};

}  // namespace android
