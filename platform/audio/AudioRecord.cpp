// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AudioRecord"

#include <log/log.h>
#include <media/AudioRecord.h>
#include <oxa/host/FaultListener.h>
#include <pthread.h>

#include <algorithm>
#include <utility>

#include "audio/MicrophoneTable.h"
#include "audio/PcmFormat.h"
#include "audio/RecordBuffer.h"
#include "audio/SoundCapture.h"
#include "base/SessionState.h"

namespace android {

namespace {

constexpr uint32_t kMinSampleRate = 8000;
constexpr uint32_t kMaxSampleRate = 192000;
constexpr uint32_t kMaxChannels = 8;
constexpr audio_channel_mask_t kInputPositions = 0xFFFC;
constexpr uint32_t kMinPerSecond = 25;
// Half a second: a client that is late loses nothing, and decoders give large blocks.
constexpr uint32_t kRingPerSecond = 2;

// 0: not a mask of inputs.
uint32_t inputChannels(audio_channel_mask_t mask) {
    if ((mask & AUDIO_CHANNEL_INDEX_HDR) == 0 && (mask & ~kInputPositions) != 0) return 0;
    const uint32_t channels = audio_channel_count_from_in_mask(mask);
    return channels <= kMaxChannels ? channels : 0;
}

}  // namespace

// What a record captures from while it is active.
class AudioRecord::Input : public SoundCaptureClient {
  public:
    Input(const sp<Microphone>& microphone, uint32_t channels, uint32_t sampleRate,
          RecordBuffer* buffer)
        : mMicrophone(microphone), mBuffer(buffer) {
        mOptions.source = microphone->source;
        mOptions.kind = LiveKind::kSound;
        mOptions.control = microphone->control;
        mOptions.repeat = microphone->repeat;
        mOptions.channels = static_cast<int>(channels);
        mOptions.sampleRate = static_cast<int>(sampleRate);
    }

    bool open() {
        std::string error;
        mReader = LiveReader::open(mOptions, &error);
        if (mReader == nullptr) ALOGE("no microphone: %s", error.c_str());
        return mReader != nullptr;
    }

    void start() {
        mCapture = std::make_unique<SoundCapture>(mOptions, std::move(mReader), 0, this);
    }

    void onSound(LiveBlock block) override {
        const size_t frames = block.samples.size() / block.channels;
        mMicrophone->captured += frames;
        mMicrophone->level.add(block);
        mMicrophone->dropped += mBuffer->put(block.samples.data(), frames);
    }

    void onSoundEnd(int error, const std::string& text) override {
        mBuffer->endOfSound(!text.empty());
        oxa::host::Fault fault;
        fault.source = oxa::host::FaultSource::kSound;
        fault.ended = true;
        fault.object = mMicrophone->source;
        fault.cause = text.empty() ? "the source has ended" : text;
        fault.error = error;
        oxa::host::reportFault(fault);
    }

  private:
    const sp<Microphone> mMicrophone;
    RecordBuffer* const mBuffer;
    LiveOptions mOptions;
    std::unique_ptr<LiveReader> mReader;
    std::unique_ptr<SoundCapture> mCapture;  // last: its thread uses the others
};

AudioRecord::AudioRecord(audio_source_t inputSource, uint32_t sampleRate, audio_format_t format,
                         audio_channel_mask_t channelMask, const String16& /*opPackageName*/,
                         size_t frameCount, callback_t cbf, void* user, uint32_t notificationFrames,
                         audio_session_t sessionId, transfer_type transferType,
                         audio_input_flags_t /*flags*/, uid_t /*uid*/, pid_t /*pid*/,
                         const audio_attributes_t* /*pAttributes*/,
                         audio_port_handle_t /*selectedDeviceId*/,
                         audio_microphone_direction_t /*selectedMicDirection*/,
                         float /*selectedMicFieldDimension*/)
    : mInputSource(inputSource),
      mCallback(cbf),
      mUser(user),
      mSampleRate(sampleRate),
      mSessionId(sessionId) {
    mStatus = open(format, channelMask, frameCount, notificationFrames, transferType);
    if (mStatus == OK && mCallbackMode) {
        mCallbackThread = std::thread(oxa::host::inSession([this] { runCallback(); }));
    }
}

AudioRecord::~AudioRecord() {
    if (mCallbackThread.joinable()) {
        LOG_ALWAYS_FATAL_IF(mCallbackThread.get_id() == std::this_thread::get_id(),
                            "the callback has dropped the last reference to its record");
        mBuffer->quit();
        mCallbackThread.join();
    }
}

status_t AudioRecord::open(audio_format_t format, audio_channel_mask_t channelMask,
                           size_t frameCount, uint32_t notificationFrames,
                           transfer_type transferType) {
    size_t minFrameCount = 0;
    const status_t err = getMinFrameCount(&minFrameCount, mSampleRate, format, channelMask);
    if (err != OK || mInputSource < static_cast<int>(AUDIO_SOURCE_DEFAULT) ||
        mInputSource > static_cast<int>(AUDIO_SOURCE_MAX)) {
        ALOGE("no record for audio source %d, format %#x, channels %#x, %u Hz", mInputSource,
              format, channelMask, mSampleRate);
        return BAD_VALUE;
    }
    if (transferType == TRANSFER_DEFAULT) {
        transferType = mCallback != nullptr ? TRANSFER_CALLBACK : TRANSFER_SYNC;
    }
    mCallbackMode = transferType == TRANSFER_CALLBACK;
    if (mCallbackMode && mCallback == nullptr) return BAD_VALUE;
    if (!mCallbackMode && transferType != TRANSFER_SYNC) return INVALID_OPERATION;

    mChannelCount = inputChannels(channelMask);
    mFormat = format;
    mFrameSize = mChannelCount * audio_bytes_per_sample(format);
    mFrameCount = std::max<size_t>(frameCount, mSampleRate / kRingPerSecond);
    mNotificationFrames = std::min<size_t>(
            notificationFrames != 0 ? notificationFrames : minFrameCount / 2, mFrameCount);
    if (mSessionId == AUDIO_SESSION_ALLOCATE) {
        mSessionId = static_cast<audio_session_t>(
                AudioSystem::newAudioUniqueId(AUDIO_UNIQUE_ID_USE_SESSION));
    }
    mBuffer = std::make_unique<RecordBuffer>(mChannelCount, mFrameCount);
    return openInput() ? OK : NO_INIT;
}

bool AudioRecord::openInput() {
    auto input = std::make_unique<Input>(microphoneOf(mInputSource), mChannelCount, mSampleRate,
                                         mBuffer.get());
    if (!input->open()) return false;
    mInput = std::move(input);
    return true;
}

status_t AudioRecord::getMinFrameCount(size_t* frameCount, uint32_t sampleRate,
                                       audio_format_t format, audio_channel_mask_t channelMask) {
    if (frameCount == nullptr || sampleRate < kMinSampleRate || sampleRate > kMaxSampleRate ||
        !isPcmFormat(format) || inputChannels(channelMask) == 0) {
        return BAD_VALUE;
    }
    *frameCount = sampleRate / kMinPerSecond;
    return OK;
}

status_t AudioRecord::start(AudioSystem::sync_event_t /*event*/,
                            audio_session_t /*triggerSession*/) {
    if (mStatus != OK) return mStatus;
    Mutex::Autolock lock(mTransitionLock);
    if (mActive) return OK;
    if (mInput == nullptr && !openInput()) return NO_INIT;
    mBuffer->begin();
    mInput->start();
    mActive = true;
    return OK;
}

void AudioRecord::stop() {
    Mutex::Autolock lock(mTransitionLock);
    if (!mActive) return;
    mActive = false;
    mBuffer->end();
    mInput.reset();
}

ssize_t AudioRecord::read(void* buffer, size_t size, bool blocking) {
    if (mStatus != OK) return mStatus;
    if (mCallbackMode) return INVALID_OPERATION;
    if (buffer == nullptr && size != 0) return BAD_VALUE;
    const size_t wanted = size / mFrameSize;
    std::vector<int16_t> converted;
    if (mFormat != AUDIO_FORMAT_PCM_16_BIT) converted.resize(wanted * mChannelCount);
    auto* samples = converted.empty() ? static_cast<int16_t*>(buffer) : converted.data();
    const size_t frames = mBuffer->take(samples, wanted, blocking);
    if (!converted.empty()) pcmFrom16Bit(samples, mFormat, buffer, frames * mChannelCount);
    if (frames > 0 || size < mFrameSize) return static_cast<ssize_t>(frames * mFrameSize);
    return mBuffer->hasFailed() ? DEAD_OBJECT : WOULD_BLOCK;
}

void AudioRecord::runCallback() {
    pthread_setname_np(pthread_self(), "AudioRecord");
    std::vector<int16_t> samples(mNotificationFrames * mChannelCount);
    std::vector<char> pcm(mNotificationFrames * mFrameSize);
    Buffer offer;
    for (;;) {
        switch (mBuffer->waitForEvent(mNotificationFrames)) {
            case RecordBuffer::Event::kQuit:
                return;
            case RecordBuffer::Event::kOverrun:
                mCallback(EVENT_OVERRUN, mUser, nullptr);
                break;
            case RecordBuffer::Event::kData:
                offerData(&offer, samples.data(), pcm.data());
                break;
        }
    }
}

void AudioRecord::offerData(Buffer* offer, int16_t* samples, void* pcm) {
    uint32_t run = 0;
    offer->frameCount = mBuffer->peek(samples, mNotificationFrames, &run);
    offer->size = offer->frameCount * mFrameSize;
    pcmFrom16Bit(samples, mFormat, pcm, offer->frameCount * mChannelCount);
    offer->raw = pcm;
    ++offer->sequence;
    const size_t offered = offer->size;
    mCallback(EVENT_MORE_DATA, mUser, offer);
    const size_t consumed = std::min(offer->size, offered) / mFrameSize;
    if (consumed == 0) {
        mBuffer->waitBeforeRetry();
    } else {
        mBuffer->drop(consumed, run);
    }
}

}  // namespace android
