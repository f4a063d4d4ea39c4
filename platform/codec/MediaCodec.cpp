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
#include <oxa/host/CodecConfig.h>
#include <oxa/host/FaultListener.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "codec/CodecComponent.h"
#include "codec/CodecFormats.h"
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
    kWhatSignalEndOfInputStream = 'eois',
    kWhatGetInputFormat = 'ginf',
    kWhatGetOutputFormat = 'gouf',
    kWhatGetName = 'gnam',
    kWhatSetParameters = 'sprm',
    kWhatComponentError = 'cerr',
};

// What stands in a picture's output buffer: its pixels are not for the client.
constexpr size_t kPictureHandleSize = 8;

}  // namespace

// The component's client for the time from one start to the next stop.
class MediaCodec::RunClient : public CodecComponent::Client {
  public:
    RunClient(MediaCodec* codec, int32_t run) : mCodec(codec), mRun(run) {}

    void onInputConsumed(size_t index) override { mCodec->giveInput(mRun, index); }

    void onOutputFormat(const sp<AMessage>& format) override {
        mCodec->changeOutputFormat(mRun, format);
    }

    void onOutput(const CodecOutput& output) override { mCodec->giveOutput(mRun, output); }

    // Through the looper: what follows stops the component, which no thread of its own can do.
    void onError(status_t err, int32_t actionCode) override {
        const sp<AMessage> msg = new AMessage(kWhatComponentError, mCodec);
        msg->setInt32("run", mRun);
        msg->setInt32("err", err);
        msg->setInt32("actionCode", actionCode);
        msg->post();
    }

  private:
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
    Mutex::Autolock lock(mLock);
    if (!isExecuting()) return INVALID_OPERATION;
    if (mStickyError != OK) return mStickyError;
    CodecInput input;
    input.index = index - mInputBase;
    input.timeUs = presentationTimeUs;
    input.flags = flags;
    if (input.index >= mInputs.size()) return -ERANGE;
    InputSlot& slot = mInputs[input.index];
    if (!slot.isClients) return -EACCES;
    const size_t capacity = slot.buffer->capacity();
    if (offset > capacity || size > capacity - offset) return -EINVAL;
    slot.buffer->setRange(offset, size);
    slot.isClients = false;
    input.buffer = slot.buffer;
    if (flags & BUFFER_FLAG_EOS) {
        mInputEnded = true;
        mInputEndTimeUs = presentationTimeUs;
    }
    mComponent->queueInput(input);
    return OK;
}

status_t MediaCodec::renderOutputBufferAndRelease(size_t index, int64_t timestampNs) {
    return giveBackOutput(index, true, &timestampNs);
}

status_t MediaCodec::renderOutputBufferAndRelease(size_t index) {
    return giveBackOutput(index, true, nullptr);
}

status_t MediaCodec::releaseOutputBuffer(size_t index) {
    return giveBackOutput(index, false, nullptr);
}

status_t MediaCodec::giveBackOutput(size_t index, bool render, const int64_t* timestampNs) {
    Mutex::Autolock lock(mLock);
    if (!isExecuting()) return INVALID_OPERATION;
    if (mStickyError != OK) return mStickyError;
    const size_t slot = index - mOutputBase;
    if (slot >= mOutputs.size()) return -ERANGE;
    if (!mOutputs[slot].isClients) return -EACCES;
    const CodecOutput output = mOutputs[slot].output;
    mOutputs[slot] = OutputSlot();
    const int64_t timeNs = timestampNs == nullptr ? output.timeUs * 1000 : *timestampNs;
    // Codec-specific data is no output of the component's.
    if (output.flags & BUFFER_FLAG_CODECCONFIG) return OK;
    mComponent->releaseOutput(output, render, timeNs);
    return OK;
}

status_t MediaCodec::signalEndOfInputStream() {
    return postCommand(kWhatSignalEndOfInputStream);
}

status_t MediaCodec::getInputBuffer(size_t index, sp<MediaCodecBuffer>* buffer) {
    buffer->clear();
    Mutex::Autolock lock(mLock);
    const size_t slot = index - mInputBase;
    if (slot >= mInputs.size() || !mInputs[slot].isClients) return INVALID_OPERATION;
    *buffer = mInputs[slot].buffer;
    return OK;
}

status_t MediaCodec::getOutputBuffer(size_t index, sp<MediaCodecBuffer>* buffer) {
    buffer->clear();
    Mutex::Autolock lock(mLock);
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
    if (msg->what() == kWhatComponentError) {
        onComponentError(msg);
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
        case kWhatSignalEndOfInputStream:
            return onSignalEndOfInputStream();
        case kWhatGetInputFormat:
            return onGetFormat(mInputFormat, response);
        case kWhatGetOutputFormat:
            return onGetFormat(outputFormat(), response);
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
    setState(INITIALIZED);
    return OK;
}

status_t MediaCodec::onSetCallback(const sp<AMessage>& msg) {
    if (mState == UNINITIALIZED || isExecuting()) return INVALID_OPERATION;
    Mutex::Autolock lock(mLock);
    msg->findMessage("callback", &mCallback);
    return OK;
}

status_t MediaCodec::onConfigure(const sp<AMessage>& msg) {
    sp<AMessage> format;
    sp<RefBase> surface;
    int32_t flags = 0;
    msg->findMessage("format", &format);
    // Refused before it reaches the codec, whose callback stays.
    if (isVideo(mMime) && !isSizePossible(format)) return BAD_VALUE;
    if (mState != INITIALIZED) return INVALID_OPERATION;
    msg->findObject("surface", &surface);
    msg->findInt32("flags", &flags);

    const bool encoder = (flags & CONFIGURE_FLAG_ENCODE) != 0;
    format->setInt32("flags", flags);
    if (encoder) format->setInt32("encoder", 1);
    if (surface != nullptr) format->setObject("native-window", surface);
    mSurface = static_cast<Surface*>(surface.get());

    const status_t err = configureComponent(format, encoder);
    if (err != OK) {
        mComponent->stop();
        clear(INITIALIZED);
    }
    return err;
}

status_t MediaCodec::configureComponent(const sp<AMessage>& format, bool encoder) {
    const CodecDirection direction = mRow->direction;
    if (encoder != (direction == CodecDirection::kEncoder)) return UNKNOWN_ERROR;
    if (!isFormatWhole(mMime, direction, format)) return BAD_VALUE;
    const status_t err = mComponent->configure(format, mSurface);
    if (err != OK) return err;
    mFormat = format;
    mInputFormat = inputFormatOf(mMime, direction, format, mComponent->inputCapacity());
    Mutex::Autolock lock(mLock);
    mOutputFormat = outputFormatOf(mMime, direction, format);
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
    // Before the component starts: the client may give its first output back at once.
    setState(STARTED);
    mRunClient = std::make_unique<RunClient>(this, mRun);
    const status_t err = mComponent->start(mRunClient.get());
    if (err != OK) {
        reportFailure("cannot be started", err);
        endRun(INITIALIZED);
        clear(INITIALIZED);
        return err;
    }
    // After start(), so that a format which it has reported comes before the inputs.
    const size_t inputs = mHasInputSurface ? 0 : mComponent->inputCount();
    for (size_t slot = 0; slot < inputs; ++slot)
        giveInput(mRun, slot);
    return OK;
}

status_t MediaCodec::onStop() {
    if (mState == UNINITIALIZED) return INVALID_OPERATION;
    if (mStickyError != OK) return mStickyError;
    endRun(INITIALIZED);
    mComponent->stop();
    clear(INITIALIZED);
    return OK;
}

status_t MediaCodec::onRelease() {
    endRun(UNINITIALIZED);
    if (mComponent != nullptr) mComponent->stop();
    mComponent.clear();
    clear(UNINITIALIZED);
    return OK;
}

status_t MediaCodec::onFlush() {
    if (!isExecuting()) return INVALID_OPERATION;
    if (mStickyError != OK) return mStickyError;
    if (mState == FLUSHED) return OK;
    endRun(FLUSHED);
    return mHasInputSurface ? OK : mComponent->configure(mFormat, mSurface);
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
    sp<AMessage> params;
    msg->findMessage("params", &params);
    if (params == nullptr) return BAD_VALUE;
    // There is nothing yet, or no more, that could be changed.
    return isConfigured() ? mComponent->setParameters(params) : OK;
}

// ---- The component's reports, on its worker's thread (the first inputs: on the looper)

void MediaCodec::giveInput(int32_t run, size_t slot) {
    sp<AMessage> callback;
    {
        Mutex::Autolock lock(mLock);
        if (run != mRun) return;
        mInputs[slot].buffer->meta()->clear();
        mInputs[slot].buffer->setRange(0, mInputs[slot].buffer->capacity());
        if (mInputEnded) return;
        mInputs[slot].isClients = true;
        callback = newCallback(CB_INPUT_AVAILABLE);
        if (callback == nullptr) return;
        callback->setInt32("index", static_cast<int32_t>(mInputBase + slot));
    }
    callback->post();
}

void MediaCodec::changeOutputFormat(int32_t run, const sp<AMessage>& format) {
    sp<AMessage> callback;
    {
        Mutex::Autolock lock(mLock);
        if (run != mRun) return;
        mOutputFormat = format;
        callback = newCallback(CB_OUTPUT_FORMAT_CHANGED);
        if (callback == nullptr) return;
        callback->setMessage("format", format);
    }
    callback->post();
    if (mRow->direction == CodecDirection::kEncoder && oxa::host::codecConfigOutput()) {
        CodecOutput config;
        config.data = codecConfigOf(format);
        config.flags = BUFFER_FLAG_CODECCONFIG;
        giveOutput(run, config);
    }
}

void MediaCodec::giveOutput(int32_t run, CodecOutput output) {
    sp<ABuffer> data = output.data;
    if (data == nullptr) {
        data = new ABuffer(kPictureHandleSize);
        memset(data->base(), 0, kPictureHandleSize);
    }
    sp<AMessage> callback;
    {
        Mutex::Autolock lock(mLock);
        if (run != mRun) return;
        const size_t slot = freeOutputSlot();
        // The end of a stream without content has no time but its input's.
        if (!mHasOutput && (output.flags & BUFFER_FLAG_EOS) && data->size() == 0) {
            output.timeUs = mInputEndTimeUs;
        }
        mHasOutput = mHasOutput || (output.flags & BUFFER_FLAG_CODECCONFIG) == 0;
        const sp<MediaCodecBuffer> buffer = new MediaCodecBuffer(mOutputFormat, data);
        buffer->meta()->setInt64("timeUs", output.timeUs);
        buffer->meta()->setInt32("flags", static_cast<int32_t>(output.flags));
        mOutputs[slot] = {output, buffer, true};
        callback = newCallback(CB_OUTPUT_AVAILABLE);
        if (callback == nullptr) return;
        callback->setInt32("index", static_cast<int32_t>(mOutputBase + slot));
    }
    callback->setSize("offset", data->offset());
    callback->setSize("size", data->size());
    callback->setInt64("timeUs", output.timeUs);
    callback->setInt32("flags", static_cast<int32_t>(output.flags));
    callback->post();
}

size_t MediaCodec::freeOutputSlot() {
    size_t slot = 0;
    while (slot < mOutputs.size() && mOutputs[slot].isClients)
        ++slot;
    if (slot == mOutputs.size()) mOutputs.emplace_back();
    return slot;
}

void MediaCodec::onComponentError(const sp<AMessage>& msg) {
    int32_t run = 0;
    status_t err = OK;
    int32_t actionCode = ACTION_CODE_FATAL;
    msg->findInt32("run", &run);
    msg->findInt32("err", &err);
    msg->findInt32("actionCode", &actionCode);
    if (run != mRun) return;
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
        case ACTION_CODE_TRANSIENT: {
            Mutex::Autolock lock(mLock);
            mStickyError = err;
            break;
        }
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
    Mutex::Autolock lock(mLock);
    mInputs.resize(mComponent->inputCount());
    for (InputSlot& slot : mInputs) {
        slot.buffer = new MediaCodecBuffer(mInputFormat, new ABuffer(mComponent->inputCapacity()));
    }
}

void MediaCodec::endRun(State next) {
    if (mRunClient == nullptr) return;
    std::vector<InputSlot> inputs;
    std::vector<OutputSlot> outputs;
    {
        // From here on calls are refused and reports dropped. The lock is not held while the
        // component stops: its worker, which is joined, may be waiting for it.
        Mutex::Autolock lock(mLock);
        mState = next;
        ++mRun;
        mInputEnded = false;
        mInputEndTimeUs = 0;
        mHasOutput = false;
        inputs.swap(mInputs);
        outputs.swap(mOutputs);
        mInputBase += inputs.size();
        mOutputBase += outputs.size();
    }
    if (next == FLUSHED) {
        mComponent->flush();
    } else {
        mComponent->stop();
    }
    mRunClient.reset();
    for (const InputSlot& slot : inputs)
        slot.buffer->meta()->clear();
}

void MediaCodec::clear(State state) {
    mFormat.clear();
    mInputFormat.clear();
    mSurface.clear();
    mHasInputSurface = false;
    mEndSignalled = false;
    Mutex::Autolock lock(mLock);
    mCallback.clear();
    mOutputFormat.clear();
    mStickyError = OK;
    mState = state;
}

void MediaCodec::setState(State state) {
    Mutex::Autolock lock(mLock);
    mState = state;
}

sp<AMessage> MediaCodec::outputFormat() const {
    Mutex::Autolock lock(mLock);
    return mOutputFormat;
}

}  // namespace android
