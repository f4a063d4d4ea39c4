// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "MediaCodec"

#include <gui/IGraphicBufferProducer.h>
#include <gui/Surface.h>
#include <log/log.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/ADebug.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>
#include <mediadrm/ICrypto.h>
#include <oxa/host/FaultListener.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

#include "codec/CodecComponent.h"
#include "codec/ComponentTable.h"
#include "foundation/TimerSlack.h"

namespace android {

namespace {

enum {
    kWhatInit = 'init',
    kWhatSetCallback = 'scbk',
    kWhatConfigure = 'conf',
    kWhatCreateInputSurface = 'cisf',
    kWhatStart = 'strt',
    kWhatStop = 'stop',
    kWhatReset = 'rset',
    kWhatRelease = 'rels',
    kWhatFlush = 'flus',
    kWhatQueueInput = 'quin',
    kWhatReleaseOutput = 'rlou',
    kWhatSignalEndOfInputStream = 'eois',
    kWhatGetInputFormat = 'ginf',
    kWhatGetOutputFormat = 'gouf',
    kWhatGetName = 'gnam',
    kWhatSetParameters = 'sprm',
    kWhatComponentEvent = 'cevt',
};

// What stands in a picture's output buffer: its pixels are not for the client.
constexpr size_t kPictureHandleSize = 8;

bool isSizePossible(const sp<AMessage>& format) {
    int32_t width = 0;
    int32_t height = 0;
    format->findInt32("width", &width);
    format->findInt32("height", &height);
    return width >= 0 && height >= 0 && static_cast<int64_t>(width) * height <= INT_MAX / 4;
}

}  // namespace

// What a component reports, on its way to the looper.
class MediaCodec::ComponentEvent : public RefBase {
  public:
    enum Kind { kInputsReady, kInputConsumed, kOutputFormat, kOutput, kError };

    explicit ComponentEvent(Kind kind) : mKind(kind) {}

    const Kind mKind;
    size_t mSlot = 0;
    sp<AMessage> mFormat;
    CodecOutput mOutput;
    status_t mErr = OK;
    int32_t mActionCode = ACTION_CODE_FATAL;
};

// The component's client for the time from one start to the next stop.
class MediaCodec::RunClient : public CodecComponent::Client {
  public:
    RunClient(MediaCodec* codec, int32_t run) : mCodec(codec), mRun(run) {}

    void onInputConsumed(size_t index) override {
        const sp<ComponentEvent> event = new ComponentEvent(ComponentEvent::kInputConsumed);
        event->mSlot = index;
        post(event);
    }

    void onOutputFormat(const sp<AMessage>& format) override {
        const sp<ComponentEvent> event = new ComponentEvent(ComponentEvent::kOutputFormat);
        event->mFormat = format;
        post(event);
    }

    void onOutput(const CodecOutput& output) override {
        const sp<ComponentEvent> event = new ComponentEvent(ComponentEvent::kOutput);
        event->mOutput = output;
        post(event);
    }

    void onError(status_t err, int32_t actionCode) override {
        const sp<ComponentEvent> event = new ComponentEvent(ComponentEvent::kError);
        event->mErr = err;
        event->mActionCode = actionCode;
        post(event);
    }

    void onInputsReady() { post(new ComponentEvent(ComponentEvent::kInputsReady)); }

  private:
    void post(const sp<ComponentEvent>& event) {
        const sp<AMessage> msg = new AMessage(kWhatComponentEvent, mCodec);
        msg->setInt32("run", mRun);
        msg->setObject("event", event);
        msg->post();
    }

    MediaCodec* const mCodec;  // outlives the run: it stops the component first
    const int32_t mRun;
};

struct MediaCodec::InputSlot {
    sp<MediaCodecBuffer> buffer;
    bool isClients = false;
};

struct MediaCodec::OutputSlot {
    CodecOutput output;
    sp<MediaCodecBuffer> buffer;
    bool isClients = false;
};

sp<MediaCodec> MediaCodec::CreateByType(const sp<ALooper>& looper, const AString& mime,
                                        bool encoder, status_t* err, pid_t /*pid*/, uid_t /*uid*/) {
    const auto direction = encoder ? CodecDirection::kEncoder : CodecDirection::kDecoder;
    return create(looper, findComponent(mime, direction), mime, err);
}

sp<MediaCodec> MediaCodec::CreateByComponentName(const sp<ALooper>& looper, const AString& name,
                                                 status_t* err, pid_t /*pid*/, uid_t /*uid*/) {
    const ComponentRow* row = findComponentByName(name);
    return create(looper, row, row == nullptr ? AString() : AString(row->type), err);
}

sp<MediaCodec> MediaCodec::create(const sp<ALooper>& looper, const ComponentRow* row,
                                  const AString& mime, status_t* err) {
    status_t result = NAME_NOT_FOUND;
    sp<MediaCodec> codec;
    if (row != nullptr) {
        codec = new MediaCodec(looper);
        codec->mRow = row;
        codec->mMime = mime;
        looper->registerHandler(codec);
        result = codec->postCommand(kWhatInit);
        if (result != OK) codec.clear();
    }
    if (err != nullptr) *err = result;
    return codec;
}

MediaCodec::MediaCodec(const sp<ALooper>& looper) : mLooper(looper) {}

MediaCodec::~MediaCodec() {
    CHECK_EQ(mState, UNINITIALIZED);
    mLooper->unregisterHandler(id());
}

// ---- Calls, on the client's threads

status_t MediaCodec::postAndAwait(const sp<AMessage>& command, sp<AMessage>* response) {
    status_t err = command->postAndAwaitResponse(response);
    if (err != OK) return err;
    (*response)->findInt32("err", &err);
    return err;
}

status_t MediaCodec::postCommand(uint32_t what) const {
    sp<AMessage> response;
    return postAndAwait(new AMessage(what, this), &response);
}

status_t MediaCodec::setCallback(const sp<AMessage>& callback) {
    const sp<AMessage> msg = new AMessage(kWhatSetCallback, this);
    msg->setMessage("callback", callback);
    sp<AMessage> response;
    return postAndAwait(msg, &response);
}

status_t MediaCodec::configure(const sp<AMessage>& format, const sp<Surface>& nativeWindow,
                               const sp<ICrypto>& /*crypto*/, uint32_t flags) {
    const sp<AMessage> msg = new AMessage(kWhatConfigure, this);
    msg->setMessage("format", format);
    msg->setObject("surface", nativeWindow);
    msg->setInt32("flags", static_cast<int32_t>(flags));
    sp<AMessage> response;
    return postAndAwait(msg, &response);
}

status_t MediaCodec::createInputSurface(sp<IGraphicBufferProducer>* bufferProducer) {
    const sp<AMessage> msg = new AMessage(kWhatCreateInputSurface, this);
    // An interface has no static_cast from RefBase: the result goes to where the pointer says.
    msg->setPointer("producer", bufferProducer);
    sp<AMessage> response;
    return postAndAwait(msg, &response);
}

status_t MediaCodec::start() {
    return postCommand(kWhatStart);
}

status_t MediaCodec::stop() {
    return postCommand(kWhatStop);
}

status_t MediaCodec::reset() {
    return postCommand(kWhatReset);
}

status_t MediaCodec::release() {
    return postCommand(kWhatRelease);
}

status_t MediaCodec::flush() {
    return postCommand(kWhatFlush);
}

status_t MediaCodec::queueInputBuffer(size_t index, size_t offset, size_t size,
                                      int64_t presentationTimeUs, uint32_t flags,
                                      AString* errorDetailMsg) {
    if (errorDetailMsg != nullptr) errorDetailMsg->clear();
    // Whoever feeds an encoder polls for data, and has no picture to show at its time.
    if (mRow->direction == CodecDirection::kEncoder) relaxLooperSlack();
    const sp<AMessage> msg = new AMessage(kWhatQueueInput, this);
    msg->setSize("index", index);
    msg->setSize("offset", offset);
    msg->setSize("size", size);
    msg->setInt64("timeUs", presentationTimeUs);
    msg->setInt32("flags", static_cast<int32_t>(flags));
    sp<AMessage> response;
    return postAndAwait(msg, &response);
}

status_t MediaCodec::renderOutputBufferAndRelease(size_t index, int64_t timestampNs) {
    return postReleaseOutput(index, true, &timestampNs);
}

status_t MediaCodec::renderOutputBufferAndRelease(size_t index) {
    return postReleaseOutput(index, true, nullptr);
}

status_t MediaCodec::releaseOutputBuffer(size_t index) {
    return postReleaseOutput(index, false, nullptr);
}

status_t MediaCodec::postReleaseOutput(size_t index, bool render, const int64_t* timestampNs) {
    const sp<AMessage> msg = new AMessage(kWhatReleaseOutput, this);
    msg->setSize("index", index);
    msg->setInt32("render", render);
    if (timestampNs != nullptr) msg->setInt64("timestampNs", *timestampNs);
    sp<AMessage> response;
    return postAndAwait(msg, &response);
}

status_t MediaCodec::signalEndOfInputStream() {
    return postCommand(kWhatSignalEndOfInputStream);
}

status_t MediaCodec::getInputBuffer(size_t index, sp<MediaCodecBuffer>* buffer) {
    buffer->clear();
    std::lock_guard<std::mutex> lock(mBufferLock);
    const size_t slot = index - mInputBase;
    if (slot >= mInputs.size() || !mInputs[slot].isClients) return INVALID_OPERATION;
    *buffer = mInputs[slot].buffer;
    return OK;
}

status_t MediaCodec::getOutputBuffer(size_t index, sp<MediaCodecBuffer>* buffer) {
    buffer->clear();
    std::lock_guard<std::mutex> lock(mBufferLock);
    const size_t slot = index - mOutputBase;
    if (slot >= mOutputs.size() || !mOutputs[slot].isClients) return INVALID_OPERATION;
    *buffer = mOutputs[slot].buffer;
    return OK;
}

status_t MediaCodec::getFormat(uint32_t what, sp<AMessage>* format) const {
    sp<AMessage> response;
    const status_t err = postAndAwait(new AMessage(what, this), &response);
    if (err == OK) response->findMessage("format", format);
    return err;
}

status_t MediaCodec::getInputFormat(sp<AMessage>* format) const {
    return getFormat(kWhatGetInputFormat, format);
}

status_t MediaCodec::getOutputFormat(sp<AMessage>* format) const {
    return getFormat(kWhatGetOutputFormat, format);
}

status_t MediaCodec::getOutputFormat(size_t index, sp<AMessage>* format) {
    sp<MediaCodecBuffer> buffer;
    const status_t err = getOutputBuffer(index, &buffer);
    if (err == OK) *format = buffer->format();
    return err;
}

status_t MediaCodec::getName(AString* componentName) const {
    sp<AMessage> response;
    const status_t err = postAndAwait(new AMessage(kWhatGetName, this), &response);
    if (err == OK) response->findString("name", componentName);
    return err;
}

status_t MediaCodec::setParameters(const sp<AMessage>& params) {
    const sp<AMessage> msg = new AMessage(kWhatSetParameters, this);
    msg->setMessage("params", params);
    sp<AMessage> response;
    return postAndAwait(msg, &response);
}

status_t MediaCodec::requestIDRFrame() {
    const sp<AMessage> params = new AMessage;
    params->setInt32("request-sync", 0);
    return setParameters(params);
}

// ---- Their handling, on the looper

void MediaCodec::onMessageReceived(const sp<AMessage>& msg) {
    if (msg->what() == kWhatComponentEvent) {
        onComponentEvent(msg);
        return;
    }
    const sp<AMessage> response = new AMessage;
    response->setInt32("err", handleCommand(msg, response));
    sp<AReplyToken> replyId;
    CHECK(msg->senderAwaitsResponse(&replyId));
    response->postReply(replyId);
}

status_t MediaCodec::handleCommand(const sp<AMessage>& msg, const sp<AMessage>& response) {
    switch (msg->what()) {
        case kWhatInit:
            return onInit();
        case kWhatSetCallback:
            return onSetCallback(msg);
        case kWhatConfigure:
            return onConfigure(msg);
        case kWhatCreateInputSurface:
            return onCreateInputSurface(msg);
        case kWhatStart:
            return onStart();
        case kWhatStop:
            return onStop();
        case kWhatReset:
            onRelease();
            return onInit();
        case kWhatRelease:
            return onRelease();
        case kWhatFlush:
            return onFlush();
        case kWhatQueueInput:
            return onQueueInput(msg);
        case kWhatReleaseOutput:
            return onReleaseOutput(msg);
        case kWhatSignalEndOfInputStream:
            return onSignalEndOfInputStream();
        case kWhatGetInputFormat:
            return onGetFormat(mInputFormat, response);
        case kWhatGetOutputFormat:
            return onGetFormat(mOutputFormat, response);
        case kWhatGetName:
            if (mComponent == nullptr) return INVALID_OPERATION;
            response->setString("name", mComponent->name());
            return OK;
        case kWhatSetParameters:
            return onSetParameters(msg);
        default:
            TRESPASS();
    }
}

status_t MediaCodec::onInit() {
    mComponent = mRow->create(mMime);
    if (mComponent == nullptr) return NAME_NOT_FOUND;
    mState = INITIALIZED;
    return OK;
}

status_t MediaCodec::onSetCallback(const sp<AMessage>& msg) {
    if (mState == UNINITIALIZED || isExecuting()) return INVALID_OPERATION;
    msg->findMessage("callback", &mCallback);
    return OK;
}

status_t MediaCodec::onConfigure(const sp<AMessage>& msg) {
    if (mState != INITIALIZED) return INVALID_OPERATION;
    sp<AMessage> format;
    sp<RefBase> surface;
    int32_t flags = 0;
    msg->findMessage("format", &format);
    msg->findObject("surface", &surface);
    msg->findInt32("flags", &flags);

    const bool encoder = (flags & CONFIGURE_FLAG_ENCODE) != 0;
    format->setInt32("flags", flags);
    if (encoder) format->setInt32("encoder", 1);
    if (surface != nullptr) format->setObject("native-window", surface);
    mSurface = static_cast<Surface*>(surface.get());

    status_t err = BAD_VALUE;
    if (isSizePossible(format) && encoder == (mRow->direction == CodecDirection::kEncoder)) {
        err = mComponent->configure(format, mSurface);
    }
    if (err != OK) {
        mComponent->stop();
        clear(INITIALIZED);
        return err;
    }
    mInputFormat = format;
    mOutputFormat = new AMessage;
    mState = CONFIGURED;
    return OK;
}

status_t MediaCodec::onCreateInputSurface(const sp<AMessage>& msg) {
    if (mState != CONFIGURED || mHasInputSurface) return INVALID_OPERATION;
    void* producer = nullptr;
    msg->findPointer("producer", &producer);
    const status_t err =
            mComponent->createInputSurface(static_cast<sp<IGraphicBufferProducer>*>(producer));
    mHasInputSurface = err == OK;
    return err;
}

status_t MediaCodec::onStart() {
    if (mState != CONFIGURED && mState != FLUSHED) return INVALID_OPERATION;
    if (!mHasInputSurface) makeInputs();
    mRunClient = std::make_unique<RunClient>(this, mRun);
    const status_t err = mComponent->start(mRunClient.get());
    if (err != OK) {
        reportFailure("cannot be started", err);
        endRun();
        clear(INITIALIZED);
        return err;
    }
    mState = STARTED;
    // As an event, so that a format which start() has reported comes before the inputs.
    mRunClient->onInputsReady();
    return OK;
}

status_t MediaCodec::onStop() {
    if (mState == UNINITIALIZED) return INVALID_OPERATION;
    if (mStickyError != OK) return mStickyError;
    endRun();
    mComponent->stop();
    clear(INITIALIZED);
    return OK;
}

status_t MediaCodec::onRelease() {
    endRun();
    if (mComponent != nullptr) mComponent->stop();
    mComponent.clear();
    clear(UNINITIALIZED);
    return OK;
}

status_t MediaCodec::onFlush() {
    if (!isExecuting() || mRow->direction == CodecDirection::kEncoder) return INVALID_OPERATION;
    if (mStickyError != OK) return mStickyError;
    endRun();
    mState = FLUSHED;
    return mComponent->configure(mInputFormat, mSurface);
}

status_t MediaCodec::onQueueInput(const sp<AMessage>& msg) {
    if (!isExecuting()) return INVALID_OPERATION;
    if (mStickyError != OK) return mStickyError;
    size_t index = 0;
    size_t offset = 0;
    size_t size = 0;
    int32_t flags = 0;
    CodecInput input;
    msg->findSize("index", &index);
    msg->findSize("offset", &offset);
    msg->findSize("size", &size);
    msg->findInt64("timeUs", &input.timeUs);
    msg->findInt32("flags", &flags);
    input.flags = static_cast<uint32_t>(flags);
    {
        std::lock_guard<std::mutex> lock(mBufferLock);
        input.index = index - mInputBase;
        if (input.index >= mInputs.size()) return -ERANGE;
        InputSlot& slot = mInputs[input.index];
        if (!slot.isClients) return -EACCES;
        const size_t capacity = slot.buffer->capacity();
        if (offset > capacity || size > capacity - offset) return -EINVAL;
        slot.buffer->setRange(offset, size);
        slot.isClients = false;
        input.buffer = slot.buffer;
    }
    if (input.flags & BUFFER_FLAG_EOS) mInputEnded = true;
    mComponent->queueInput(input);
    return OK;
}

status_t MediaCodec::onReleaseOutput(const sp<AMessage>& msg) {
    if (!isExecuting()) return INVALID_OPERATION;
    if (mStickyError != OK) return mStickyError;
    size_t index = 0;
    int32_t render = 0;
    msg->findSize("index", &index);
    msg->findInt32("render", &render);
    CodecOutput output;
    {
        std::lock_guard<std::mutex> lock(mBufferLock);
        const size_t slot = index - mOutputBase;
        if (slot >= mOutputs.size()) return -ERANGE;
        if (!mOutputs[slot].isClients) return -EACCES;
        output = mOutputs[slot].output;
        mOutputs[slot] = OutputSlot();
    }
    int64_t timestampNs = output.timeUs * 1000;
    msg->findInt64("timestampNs", &timestampNs);
    mComponent->releaseOutput(output, render != 0, timestampNs);
    return OK;
}

status_t MediaCodec::onSignalEndOfInputStream() {
    if (!isConfigured() || !mHasInputSurface || mEndSignalled) return INVALID_OPERATION;
    const status_t err = mComponent->signalEndOfInputStream();
    mEndSignalled = err == OK;
    return err;
}

status_t MediaCodec::onGetFormat(const sp<AMessage>& format, const sp<AMessage>& response) const {
    if (!isConfigured()) return INVALID_OPERATION;
    response->setMessage("format", format);
    return OK;
}

status_t MediaCodec::onSetParameters(const sp<AMessage>& msg) {
    if (!isConfigured()) return INVALID_OPERATION;
    sp<AMessage> params;
    msg->findMessage("params", &params);
    return params == nullptr ? BAD_VALUE : mComponent->setParameters(params);
}

// ---- The component's reports, on the looper

void MediaCodec::onComponentEvent(const sp<AMessage>& msg) {
    int32_t run = 0;
    sp<RefBase> object;
    msg->findInt32("run", &run);
    msg->findObject("event", &object);
    if (run != mRun) return;
    const auto& event = *static_cast<ComponentEvent*>(object.get());
    switch (event.mKind) {
        case ComponentEvent::kInputsReady:
            onInputsReady();
            break;
        case ComponentEvent::kInputConsumed:
            onInputConsumed(event.mSlot);
            break;
        case ComponentEvent::kOutputFormat:
            onOutputFormat(event.mFormat);
            break;
        case ComponentEvent::kOutput:
            onOutput(event);
            break;
        case ComponentEvent::kError:
            onComponentError(event.mErr, event.mActionCode);
            break;
    }
}

void MediaCodec::onInputsReady() {
    for (size_t slot = 0; slot < mInputs.size(); ++slot)
        onInputConsumed(slot);
}

void MediaCodec::onInputConsumed(size_t slot) {
    // Only this thread changes the list, and the buffer is not the client's yet.
    mInputs[slot].buffer->meta()->clear();
    if (mInputEnded) return;
    size_t index;
    {
        std::lock_guard<std::mutex> lock(mBufferLock);
        mInputs[slot].isClients = true;
        index = mInputBase + slot;
    }
    const sp<AMessage> callback = newCallback(CB_INPUT_AVAILABLE);
    if (callback == nullptr) return;
    callback->setInt32("index", static_cast<int32_t>(index));
    callback->post();
}

void MediaCodec::onOutputFormat(const sp<AMessage>& format) {
    mOutputFormat = format;
    const sp<AMessage> callback = newCallback(CB_OUTPUT_FORMAT_CHANGED);
    if (callback == nullptr) return;
    callback->setMessage("format", mOutputFormat);
    callback->post();
}

void MediaCodec::onOutput(const ComponentEvent& event) {
    sp<ABuffer> data = event.mOutput.data;
    if (data == nullptr) {
        data = new ABuffer(kPictureHandleSize);
        memset(data->base(), 0, kPictureHandleSize);
    }
    size_t slot = 0;
    size_t index;
    {
        std::lock_guard<std::mutex> lock(mBufferLock);
        while (slot < mOutputs.size() && mOutputs[slot].isClients)
            ++slot;
        if (slot == mOutputs.size()) mOutputs.emplace_back();
        mOutputs[slot].output = event.mOutput;
        mOutputs[slot].buffer = new MediaCodecBuffer(mOutputFormat, data);
        mOutputs[slot].isClients = true;
        index = mOutputBase + slot;
    }
    const sp<AMessage> callback = newCallback(CB_OUTPUT_AVAILABLE);
    if (callback == nullptr) return;
    callback->setInt32("index", static_cast<int32_t>(index));
    callback->setSize("offset", data->offset());
    callback->setSize("size", data->size());
    callback->setInt64("timeUs", event.mOutput.timeUs);
    callback->setInt32("flags", static_cast<int32_t>(event.mOutput.flags));
    callback->post();
}

void MediaCodec::onComponentError(status_t err, int32_t actionCode) {
    // First, so that whoever hears of both hears the better cause before.
    const bool isFatal =
            actionCode != ACTION_CODE_TRANSIENT && actionCode != ACTION_CODE_RECOVERABLE;
    if (isFatal) reportFailure("has failed", err);
    const sp<AMessage> callback = newCallback(CB_ERROR);
    if (callback != nullptr) {
        callback->setInt32("err", err);
        callback->setInt32("actionCode", actionCode);
        callback->post();
    }
    switch (actionCode) {
        case ACTION_CODE_TRANSIENT:
            mStickyError = err;
            break;
        case ACTION_CODE_RECOVERABLE:
            onStop();
            break;
        default:
            onRelease();
            break;
    }
}

void MediaCodec::reportFailure(const char* what, status_t err) const {
    oxa::host::Fault fault;
    fault.source = mRow->direction == CodecDirection::kEncoder ? oxa::host::FaultSource::kEncoder
                                                               : oxa::host::FaultSource::kDecoder;
    fault.ended = true;
    fault.object = mComponent->name().c_str();
    fault.cause = std::string("the codec ") + what + " (status " + std::to_string(err) + ")";
    oxa::host::reportFault(fault);
}

sp<AMessage> MediaCodec::newCallback(int32_t callbackId) const {
    if (mCallback == nullptr) return nullptr;
    const sp<AMessage> callback = mCallback->dup();
    callback->setInt32("callbackID", callbackId);
    return callback;
}

// ---- Runs

void MediaCodec::makeInputs() {
    std::lock_guard<std::mutex> lock(mBufferLock);
    mInputs.resize(mComponent->inputCount());
    for (InputSlot& slot : mInputs) {
        slot.buffer = new MediaCodecBuffer(mInputFormat, new ABuffer(mComponent->inputCapacity()));
    }
}

void MediaCodec::endRun() {
    if (mRunClient == nullptr) return;
    mComponent->stop();
    mRunClient.reset();
    ++mRun;
    mInputEnded = false;
    std::vector<InputSlot> inputs;
    std::vector<OutputSlot> outputs;
    {
        std::lock_guard<std::mutex> lock(mBufferLock);
        inputs.swap(mInputs);
        outputs.swap(mOutputs);
        mInputBase += inputs.size();
        mOutputBase += outputs.size();
    }
    for (const InputSlot& slot : inputs)
        slot.buffer->meta()->clear();
}

void MediaCodec::clear(State state) {
    mCallback.clear();
    mInputFormat.clear();
    mOutputFormat.clear();
    mSurface.clear();
    mStickyError = OK;
    mHasInputSurface = false;
    mEndSignalled = false;
    mState = state;
}

}  // namespace android
