// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AudioRxEncoder"

#include "AudioRxEncoder.h"

#include <android/hidl/allocator/1.0/IAllocator.h>
#include <fcntl.h>
#include <gui/Surface.h>
#include <hidlmemory/mapping.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/foundation/MediaDefs.h>
#include <mediadrm/ICrypto.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#include <utils/Timers.h>

#include <algorithm>

#include "FixedSites.h"

// For assertions of code that several pipelines share.
#define HERE (sites::CheckSite{sites::AudioRxEncoder::kFile, __LINE__})

namespace android {

using hardware::Return;
using hardware::Void;
using hidl::allocator::V1_0::IAllocator;
using ::vendor::oxa::audioutil::V1_0::IAudioUtil;
using ::vendor::oxa::audioutil::V1_0::IAudioUtilCallback;

namespace {

constexpr char kVideoSwitchFile[] = "/sys/devices/virtual/switch/rx_video/state";
constexpr size_t kVideoSwitchSize = 32;
constexpr int kEventVideoHotplug = 0;
constexpr int32_t kSharedSize = 16384;
// Some twenty seconds.
constexpr int64_t kMaxFrameBytes = 4 << 20;
constexpr int64_t kFirstPollDelayUs = 10000;
constexpr int64_t kPollDelayUs = 15000;
constexpr nsecs_t kInputPollNs = 10000;
// States of a block that is none.
constexpr int32_t kStateError = -1;
constexpr int32_t kStateNoBlock = 3;

constexpr auto kTrackKind =
        TrackEncoder::Kind::audio(LOG_TAG, sites::AudioRxEncoder::kEncoderTexts);

}  // namespace

// The service keeps it as long as it likes; it refers to the encoder only until detach().
class AudioRxEncoder::AudioCallback : public IAudioUtilCallback {
  public:
    explicit AudioCallback(AudioRxEncoder* encoder) : mEncoder(encoder) {}

    // Waits for an event that is being handled.
    void detach() {
        Mutex::Autolock lock(mLock);
        mEncoder = NULL;
    }

    Return<void> handleEvent(int32_t event) override {
        if (event != kEventVideoHotplug) return Void();
        char text[kVideoSwitchSize] = {};
        int fd = open(devicePath(kVideoSwitchFile).c_str(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0) {
            // The last byte stays 0; without a text the number is 0.
            if (read(fd, text, sizeof(text) - 1) < 0) text[0] = '\0';
            close(fd);
        }
        Mutex::Autolock lock(mLock);
        if (mEncoder != NULL) mEncoder->notifyHotplug(atoi(text));
        return Void();
    }

  private:
    Mutex mLock;
    AudioRxEncoder* mEncoder GUARDED_BY(mLock);
};

AudioRxEncoder::AudioRxEncoder()
    : mPid(getpid()),
      mTrackEncoder(kTrackKind, {mEncoder, mMuxer, mEncoderLooper, mCBLooper, mEncodeCBHandler,
                                 mAudioTrackIndex}) {
    connectService();
    allocateSharedMemory();
}

AudioRxEncoder::~AudioRxEncoder() {
    ALOGD("[HDMIRx] remove callback PID:%d", mPid);
    if (mAudioUtil != NULL) answered(mAudioUtil->removeRxCallback(mPid));
    mAudioCallback->detach();
    mMemory.clear();
    if (mResampler != NULL) release_resampler(mResampler);
    // A reset with recording on has released it already.
    if (mEncoder != NULL) mTrackEncoder.stopCallbacks();
    mTrackEncoder.release();
    dropFrames();
}

// A failed call that nobody looks at ends the process.
bool AudioRxEncoder::answered(const hardware::details::return_status& result) {
    if (result.isOk()) return true;
    if (!mServiceErrorTold.exchange(true)) {
        ALOGE("[HDMIRx] the audio service does not answer: %s", result.description().c_str());
    }
    return false;
}

void AudioRxEncoder::connectService() {
    mAudioUtil = IAudioUtil::getService("default", false);
    mAudioCallback = new AudioCallback(this);
    ALOGD("[HDMIRx] register callback PID:%d", mPid);
    if (mAudioUtil != NULL) answered(mAudioUtil->registerRxCallback(mPid, mAudioCallback));
}

void AudioRxEncoder::allocateSharedMemory() {
    sp<IAllocator> allocator = IAllocator::getService("ashmem");
    if (allocator == NULL) return;
    auto allocated = allocator->allocate(
            kSharedSize, [this](bool success, const hardware::hidl_memory& memory) {
                if (!success)
                    ALOGE("Failed to allocate memory: %d", sites::AudioRxEncoder::kNotAllocated);
                mSharedMemory = memory;
                // By design also after a failure.
                ALOGI("Success to allocate memory: %d", sites::AudioRxEncoder::kAllocated);
            });
    if (!allocated.isOk()) return;
    mMemory = hardware::mapMemory(mSharedMemory);
    // Nothing is mapped after a failure; blocks are dropped then.
    if (mMemory != NULL) mSharedBase = mMemory->getPointer().withDefault(NULL);
}

void AudioRxEncoder::notifyHotplug(int state) {
    ALOGD("[%s][HDMIRx] state: %d", __FUNCTION__, state);
    // By way of this handler's thread: the owner comes and goes on threads of its own.
    sp<AMessage> msg = new AMessage(kWhatHDMIRxVideoHotplug, this);
    msg->setInt32("rx-video", state);
    msg->post();
}

// ---- Public calls ------------------------------------------------------------------------------

status_t AudioRxEncoder::setAudioSource(int /* source */) {
    CHECK(mState == UNINITIALIZED);
    mState = INITIALIZED;
    return OK;
}

status_t AudioRxEncoder::configure(const _AV_FORMAT_FORMAT* format) {
    ALOGD("%s[%d]: channel-count=%d, sample-rate=%d", SITE(sites::AudioRxEncoder::kConfigure),
          format->channelCount, format->sampleRate);
    // The missing space is part of the text that field tools know.
    // clang-format off
    CHECK(mState == INITIALIZED || mState ==STARTED);
    // clang-format on
    mChannelCount = format->channelCount;
    mSampleRate = format->sampleRate;
    if (mState != STARTED) mState = CONFIGURED;
    return OK;
}

status_t AudioRxEncoder::prepare() {
    CHECK(mState == CONFIGURED);
    mState = PREPARED;
    return OK;
}

status_t AudioRxEncoder::start(int64_t /* startTimeUs */) {
    CHECK(mState == PREPARED);
    mState = STARTED;
    status_t err = mRecord ? mEncoder->start() : OK;
    if (mAudioUtil != NULL) answered(mAudioUtil->setRxRender(1, mSampleRate, mChannelCount));
    ALOGD("start render");
    return err;
}

status_t AudioRxEncoder::setPlayback(int flag) {
    ALOGD("%s[%d]: %s audio render", SITE(sites::AudioRxEncoder::kSetPlayback),
          flag ? "enable" : "disable");
    if (mAudioUtil != NULL) answered(mAudioUtil->setRxPlayback(flag != 0));
    return OK;
}

status_t AudioRxEncoder::setRecord(int flag, int64_t /* startTimeUs */) {
    ALOGD("%s[%d]: %s audio encode", SITE(sites::AudioRxEncoder::kSetRecord),
          flag ? "enable" : "disable");
    bool enable = flag != 0;
    if (enable == mRecord) return OK;
    if (enable) {
        mRecord = true;
        configureEncoder();
        if (mState == STARTED) CHECK(mEncoder->start() == OK);
    } else {
        mRecord = false;
        if (mState == STARTED)
            CHECK_TEXT(mTrackEncoder.stop() == OK, (HERE).file, __LINE__, "mEncoder->stop() == OK");
        releaseEncoder();
        postReport(kWhatStopTranscode, AMSG_STOP_ITEM, STOP_AUDIO);
    }
    if (mAudioUtil != NULL) answered(mAudioUtil->setRxRecord(enable));
    if (mRecord) postFirstPoll();
    return OK;
}

status_t AudioRxEncoder::setMuxer(const sp<OxaMediaMuxer>& muxer) {
    mMuxer = muxer;
    return OK;
}

status_t AudioRxEncoder::stop() {
    mState = STOPPED;
    if (!mRecord) return OK;
    status_t err = mTrackEncoder.stop();
    postReport(kWhatStopTranscode, AMSG_STOP_ITEM, STOP_AUDIO);
    return err;
}

status_t AudioRxEncoder::reset() {
    ALOGD("%s[%d]", SITE(sites::AudioRxEncoder::kReset));
    if (mAudioUtil != NULL) answered(mAudioUtil->setRxRender(0, 0, 0));
    ALOGD("stop render");
    // An input callback that waits for sound ends with the recording, and before the encoder.
    if (mRecord.exchange(false)) {
        mTrackEncoder.stopCallbacks();
        releaseEncoder();
    }
    mState = UNINITIALIZED;
    return OK;
}

// ---- Blocks of sound ---------------------------------------------------------------------------

void AudioRxEncoder::onMessageReceived(const sp<AMessage>& msg) {
    int32_t state;
    switch (msg->what()) {
        case kWhatReadRxAudio:
            if (!isCurrentPoll(msg)) break;
            onReadRxAudio();
            if (isCurrentPoll(msg)) msg->post(kPollDelayUs);
            break;
        case kWhatHDMIRxVideoHotplug:
            CHECK(msg->findInt32("rx-video", &state));
            postReport(kWhatHDMIRxVideoHotplug, "rx-video", state);
            break;
        default:
            ALOGI("In [%d] what [%x]", sites::AudioRxEncoder::kUnknownWhat, msg->what());
            TRESPASS_SITE(sites::AudioRxEncoder::kUnknownRequest);
    }
}

// Recording may be switched off and on between two polls: the old row of polls ends then.
void AudioRxEncoder::postFirstPoll() {
    sp<AMessage> msg = new AMessage(kWhatReadRxAudio, this);
    msg->setInt32("recording", ++mRecordingCount);
    msg->post(kFirstPollDelayUs);
}

bool AudioRxEncoder::isCurrentPoll(const sp<AMessage>& msg) const {
    int32_t recording;
    return isRecording() && msg->findInt32("recording", &recording) && recording == mRecordingCount;
}

void AudioRxEncoder::onReadRxAudio() {
    if (mAudioUtil == NULL) return;
    answered(mAudioUtil->readRxAudio(
            mSharedMemory, [this](int64_t timeStampUs, int32_t size, int32_t channelCount,
                                  int32_t sampleRate, int32_t state) {
                handleBlock(timeStampUs, size, channelCount, sampleRate, state);
            }));
}

void AudioRxEncoder::handleBlock(int64_t timeStampUs, int32_t size, int32_t channelCount,
                                 int32_t sampleRate, int32_t state) {
    if (state == kStateError || state == kStateNoBlock || timeStampUs < 0) return;
    // Whoever switches recording off clears the start time, and this must not set it again.
    Mutex::Autolock lock(mLock);
    if (!isRecording()) return;
    if (mStartTimeUs < 0) {
        mStartTimeUs = timeStampUs;
        ALOGI("mStartTimeUs = %lld", (long long)mStartTimeUs);
    }
    if (channelCount < 1 || size < 1 || sampleRate < 1 || mSharedBase == NULL) return;
    // The service's word is not taken for what is in the region.
    size = std::min(size, kSharedSize);
    _RxAudioFrame in = {mSharedBase,  size,      size, timeStampUs - mStartTimeUs,
                        channelCount, sampleRate};
    _RxAudioFrame out = {NULL, 0, 0, 0, mChannelCount, mSampleRate};
    if (resampleAudio(in, &out)) pushFrame(out);
}

// While the muxer does not take any the oldest sound is given up; times tell where the rest
// belongs.
void AudioRxEncoder::pushFrame(const _RxAudioFrame& frame) {
    mFrames.push_back(frame);
    mFrameBytes += frame.bufferSize;
    if (mFrameBytes <= kMaxFrameBytes) return;
    ALOGW_IF(!mSoundDropped, "[HDMIRx] nobody takes the sound: the oldest is given up");
    mSoundDropped = true;
    while (mFrameBytes > kMaxFrameBytes)
        free(popFrame().buffer);
}

AudioRxEncoder::_RxAudioFrame AudioRxEncoder::popFrame() {
    const _RxAudioFrame frame = *mFrames.begin();
    mFrames.erase(mFrames.begin());
    mFrameBytes -= frame.bufferSize;
    return frame;
}

bool AudioRxEncoder::resampleAudio(const _RxAudioFrame& in, _RxAudioFrame* out) {
    return in.sampleRate != out->sampleRate ? convertRate(in, out) : copyBlock(in, out);
}

bool AudioRxEncoder::convertRate(const _RxAudioFrame& in, _RxAudioFrame* out) {
    // Counted with the channels of the output, by design.
    int32_t outFrameSize = out->channelCount * static_cast<int32_t>(sizeof(int16_t));
    int64_t inFrames = in.size / outFrameSize;
    int64_t outFrames = inFrames * out->sampleRate / in.sampleRate + 1;
    // So slow a block may become hundreds of megabytes; the queue would give it up at once.
    if (outFrames * outFrameSize > kMaxFrameBytes) return false;
    if (mResampler == NULL) {
        if (create_resampler(in.sampleRate, out->sampleRate, in.channelCount,
                             RESAMPLER_QUALITY_DEFAULT, NULL, &mResampler) != 0) {
            return false;
        }
        mResamplerChannels = in.channelCount;
    }
    out->bufferSize = static_cast<int32_t>(outFrames * outFrameSize);
    // The resampler knows the channels of the block that it was made for, in both directions; with
    // more of them than the output has it must neither read nor write beyond the buffers.
    int64_t resamplerFrameSize = mResamplerChannels * static_cast<int64_t>(sizeof(int16_t));
    size_t inCount = std::min(inFrames, kSharedSize / resamplerFrameSize);
    size_t outCount = std::min(outFrames, out->bufferSize / resamplerFrameSize);
    out->buffer = calloc(1, out->bufferSize);
    if (out->buffer == NULL) return false;
    out->timeUs = in.timeUs;
    mResampler->resample_from_input(mResampler, static_cast<int16_t*>(in.buffer), &inCount,
                                    static_cast<int16_t*>(out->buffer), &outCount);
    out->size = std::min(static_cast<int32_t>(outCount) * outFrameSize, out->bufferSize);
    return true;
}

bool AudioRxEncoder::copyBlock(const _RxAudioFrame& in, _RxAudioFrame* out) {
    out->buffer = malloc(in.size);
    if (out->buffer == NULL) return false;
    out->bufferSize = in.bufferSize;
    out->size = in.size;
    out->timeUs = in.timeUs;
    memcpy(out->buffer, mSharedBase, in.size);
    return true;
}

void AudioRxEncoder::dropFrames() {
    Mutex::Autolock lock(mLock);
    for (const _RxAudioFrame& frame : mFrames)
        free(frame.buffer);
    mFrames.clear();
    mFrameBytes = 0;
    mSoundDropped = false;
    mStartTimeUs = -1;
}

// ---- Encoder -----------------------------------------------------------------------------------

void AudioRxEncoder::configureEncoder() {
    mTrackEncoder.begin();
    mTrackEncoder.create(MEDIA_MIMETYPE_AUDIO_AAC, HERE);
    ALOGD("%d  %d", mChannelCount.load(), mSampleRate.load());
    sp<AMessage> format = newAacFormat(mChannelCount, mSampleRate, kSharedSize);
    mTrackEncoder.attachRelay(this, HERE);
    mTrackEncoder.configure(format, HERE);
    ALOGD("%s:%d configure audio encoder success", SITE(sites::AudioRxEncoder::kEncoderConfigured));
}

void AudioRxEncoder::releaseEncoder() {
    if (mEncoder == NULL) return;
    CHECK(mEncoder->release() == OK);
    mEncoder.clear();
    mMuxer.clear();
    mTrackEncoder.release();
    dropFrames();
    ALOGD("%s[%d]: Reset audio encoder done", SITE(sites::AudioRxEncoder::kEncoderReleased));
}

void AudioRxEncoder::handleEncoderInputBuffer(uint32_t index) {
    _RxAudioFrame frame;
    if (!waitForFrame(&frame)) return;
    mTrackEncoder.queueSound(index, frame.buffer, frame.size, frame.timeUs, HERE);
    free(frame.buffer);
}

// Waits in short polls and takes the oldest frame; false when recording has ended.
bool AudioRxEncoder::waitForFrame(_RxAudioFrame* frame) {
    Mutex::Autolock lock(mLock);
    while (mFrames.empty()) {
        if (!isRecording()) return false;
        mCond.waitRelative(mLock, kInputPollNs);
    }
    if (!isRecording()) return false;
    *frame = popFrame();
    return true;
}

void AudioRxEncoder::handleEncoderOutputBuffer(uint32_t index, uint32_t /* offset */, uint32_t size,
                                               int64_t timeUs, int32_t flags) {
    if (!isRecording()) return;
    sp<MediaCodecBuffer> buffer;
    status_t err = mEncoder->getOutputBuffer(index, &buffer);
    if (!mEncodeCBHandler->accepted(err, LOG_TAG, HERE)) return;
    if (buffer != NULL) {
        mTrackEncoder.write(buffer, 0, size, timeUs, flags, sites::AudioRxEncoder::kWriteSample);
    }
    mEncoder->releaseOutputBuffer(index);
}

void AudioRxEncoder::handleEncoderOutputFormatChange(const sp<AMessage>& format) {
    if (mTrackEncoder.addTrack(format, newReport(kWhatTrackAdded, AMSG_TRACK_ITEM, AUDIO_TRACK),
                               sites::AudioRxEncoder::kTrackAdded) == OK)
        return;
    ALOGE("%s:%d Unavailable audio track", SITE(sites::AudioRxEncoder::kTrackRefused));
    postReport(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSAudioReached);
}

void AudioRxEncoder::handleEncoderError(int32_t err, int32_t actionCode, const char* detail) {
    mTrackEncoder.logError(__LINE__, err, actionCode, detail);
}

}  // namespace android
