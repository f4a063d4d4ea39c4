// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AudioTrack"

#include <log/log.h>
#include <media/AudioTrack.h>
#include <oxa/host/FaultListener.h>
#include <pthread.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "audio/PcmFormat.h"
#include "audio/SoundOutputChoice.h"
#include "audio/TrackBuffer.h"
#include "base/SessionState.h"

namespace android {

namespace {

constexpr uint32_t kUsualSampleRate = 48000;
constexpr uint32_t kMaxSampleRate = 768000;
// Two of the largest buffers that decoders give.
constexpr size_t kTwoDecoderBuffers = size_t{2} * 2048;
// A callback can be asked at any time, and who monitors a microphone wants little delay.
constexpr size_t kCallbackShare = 5;

bool validStream(audio_stream_type_t type) {
    return type >= AUDIO_STREAM_DEFAULT && type <= AUDIO_STREAM_ASSISTANT;
}

void reportStuckOutput() {
    oxa::host::Fault fault;
    fault.source = oxa::host::FaultSource::kSound;
    fault.object = "sound output";
    fault.cause = "takes no more sound";
    oxa::host::reportFault(fault);
}

}  // namespace

AudioTrack::AudioTrack(audio_stream_type_t streamType, uint32_t sampleRate, audio_format_t format,
                       audio_channel_mask_t channelMask, size_t frameCount,
                       audio_output_flags_t /*flags*/, callback_t cbf, void* user,
                       int32_t notificationFrames, audio_session_t sessionId,
                       transfer_type transferType, const audio_offload_info_t* /*offloadInfo*/,
                       uid_t /*uid*/, pid_t /*pid*/, const audio_attributes_t* /*pAttributes*/,
                       bool /*doNotReconnect*/, float /*maxRequiredSpeed*/,
                       audio_port_handle_t /*selectedDeviceId*/,
                       const std::string& /*opPackageName*/)
    : mCallback(cbf), mUser(user), mSessionId(sessionId) {
    mStatus = open(streamType, sampleRate, format, channelMask, frameCount, notificationFrames,
                   transferType);
    if (mStatus == OK && mCallbackMode) {
        mCallbackThread = std::thread(oxa::host::inSession([this] { runCallback(); }));
    }
}

AudioTrack::AudioTrack(audio_stream_type_t /*streamType*/, uint32_t /*sampleRate*/,
                       audio_format_t /*format*/, audio_channel_mask_t /*channelMask*/,
                       const sp<IMemory>& /*sharedBuffer*/, audio_output_flags_t /*flags*/,
                       callback_t cbf, void* user, int32_t /*notificationFrames*/,
                       audio_session_t sessionId, transfer_type /*transferType*/,
                       const audio_offload_info_t* /*offloadInfo*/, uid_t /*uid*/, pid_t /*pid*/,
                       const audio_attributes_t* /*pAttributes*/, bool /*doNotReconnect*/,
                       float /*maxRequiredSpeed*/, const std::string& /*opPackageName*/)
    : mCallback(cbf), mUser(user), mStatus(INVALID_OPERATION), mSessionId(sessionId) {
    ALOGE("sound in shared memory is not played");
}

AudioTrack::~AudioTrack() {
    if (mCallbackThread.joinable()) {
        LOG_ALWAYS_FATAL_IF(mCallbackThread.get_id() == std::this_thread::get_id(),
                            "the callback has dropped the last reference to its track");
        mBuffer->quit();
        mCallbackThread.join();
    }
    if (mSink != nullptr) mSink->stop();
}

status_t AudioTrack::open(audio_stream_type_t streamType, uint32_t sampleRate,
                          audio_format_t format, audio_channel_mask_t channelMask,
                          size_t frameCount, int32_t notificationFrames,
                          transfer_type transferType) {
    size_t minFrameCount = 0;
    const status_t err = getMinFrameCount(&minFrameCount, streamType, sampleRate);
    const uint32_t channels = audio_channel_count_from_out_mask(channelMask);
    if (err != OK || !isPcmFormat(format) || channels < 1 ||
        audio_channel_out_mask_from_count(channels) == AUDIO_CHANNEL_INVALID) {
        ALOGE("no track for stream type %d, format %#x, channels %#x, %u Hz", streamType, format,
              channelMask, sampleRate);
        return BAD_VALUE;
    }
    if (transferType == TRANSFER_DEFAULT) {
        transferType = mCallback != nullptr ? TRANSFER_CALLBACK : TRANSFER_SYNC;
    }
    mCallbackMode = transferType == TRANSFER_CALLBACK;
    if (mCallbackMode && mCallback == nullptr) return BAD_VALUE;
    if (!mCallbackMode && transferType != TRANSFER_SYNC) return INVALID_OPERATION;

    mSampleRate = sampleRate != 0 ? sampleRate : kUsualSampleRate;
    mChannelCount = channels;
    mFormat = format;
    mFrameSize = mChannelCount * audio_bytes_per_sample(format);
    if (mCallbackMode) minFrameCount /= kCallbackShare;
    mFrameCount = std::max(frameCount, minFrameCount);
    mNotificationFrames = std::min<size_t>(std::max(0, notificationFrames), mFrameCount);
    if (mNotificationFrames == 0) mNotificationFrames = mFrameCount / 2;
    if (mSessionId == AUDIO_SESSION_ALLOCATE) {
        mSessionId = static_cast<audio_session_t>(
                AudioSystem::newAudioUniqueId(AUDIO_UNIQUE_ID_USE_SESSION));
    }

    const SoundFormat soundFormat{static_cast<int>(mSampleRate), static_cast<int>(channels),
                                  channelMask};
    const audio_hw_sync_t hwSync = AudioSystem::getAudioHwSyncForSession(mSessionId);
    mBuffer = std::make_unique<TrackBuffer>(soundFormat, mFrameCount,
                                            SessionClock::forHwSync(static_cast<int32_t>(hwSync)));
    mSink = openSoundSink(soundFormat, mBuffer.get());
    if (mSink == nullptr) return NO_INIT;
    mBuffer->setSinkTimes(mSink->latencyUs(), mSink->blockUs());
    return OK;
}

status_t AudioTrack::getMinFrameCount(size_t* frameCount, audio_stream_type_t streamType,
                                      uint32_t sampleRate) {
    if (frameCount == nullptr || !validStream(streamType) || sampleRate > kMaxSampleRate) {
        return BAD_VALUE;
    }
    const size_t halfSecond = (sampleRate != 0 ? sampleRate : kUsualSampleRate) / 2;
    *frameCount = std::max(halfSecond, kTwoDecoderBuffers);
    return OK;
}

status_t AudioTrack::initCheck() const {
    return mStatus;
}

status_t AudioTrack::start() {
    if (mStatus != OK) return mStatus;
    Mutex::Autolock lock(mTransitionLock);
    if (mState == State::kActive) return INVALID_OPERATION;
    mBuffer->begin();
    const status_t err = mSink->start();
    if (err != OK) {
        mBuffer->end();
        return err;
    }
    mState = State::kActive;
    return OK;
}

void AudioTrack::stop() {
    Mutex::Autolock lock(mTransitionLock);
    if (mState == State::kActive) {
        mState = State::kStopping;
        mBuffer->drain();
        if (mBuffer->takeStuck()) reportStuckOutput();
        mSink->stop();
    } else if (mState != State::kPaused) {
        return;
    }
    mBuffer->clear();
    mState = State::kStopped;
}

bool AudioTrack::stopped() const {
    return mState != State::kActive;
}

void AudioTrack::flush() {
    Mutex::Autolock lock(mTransitionLock);
    if (mStatus != OK || mState == State::kActive) return;
    mBuffer->clear();
    mState = State::kFlushed;
}

void AudioTrack::pause() {
    Mutex::Autolock lock(mTransitionLock);
    if (mState != State::kActive) return;
    mState = State::kPaused;
    mSink->stop();
    mBuffer->end();
}

ssize_t AudioTrack::write(const void* buffer, size_t size, bool blocking) {
    if (mStatus != OK) return mStatus;
    if (mCallbackMode) return INVALID_OPERATION;
    if (size > static_cast<size_t>(std::numeric_limits<ssize_t>::max()) ||
        (buffer == nullptr && size != 0)) {
        return BAD_VALUE;
    }
    const size_t frames = size / mFrameSize;
    if (frames == 0) return 0;
    const size_t written = writePcm(buffer, frames, blocking);
    if (mBuffer->takeStuck()) reportStuckOutput();
    if (written == 0) return WOULD_BLOCK;
    return static_cast<ssize_t>(written * mFrameSize);
}

size_t AudioTrack::writePcm(const void* pcm, size_t frames, bool blocking) {
    if (mFormat == AUDIO_FORMAT_PCM_16_BIT) {
        return mBuffer->write(static_cast<const int16_t*>(pcm), frames, blocking);
    }
    std::vector<int16_t> samples(frames * mChannelCount);
    pcmTo16Bit(pcm, mFormat, samples.data(), samples.size());
    return mBuffer->write(samples.data(), frames, blocking);
}

uint32_t AudioTrack::latency() {
    if (mStatus != OK) return 0;
    return static_cast<uint32_t>((framesToUs(mFrameCount, mSampleRate) + mSink->latencyUs()) /
                                 1000);
}

status_t AudioTrack::setVolume(float volume) {
    if (mStatus != OK) return mStatus;
    if (!(volume >= 0.0f && volume <= 1.0f)) return BAD_VALUE;
    mBuffer->setVolume(volume);
    return OK;
}

status_t AudioTrack::getPosition(uint32_t* position) {
    if (position == nullptr) return BAD_VALUE;
    if (mStatus != OK) return mStatus;
    *position = static_cast<uint32_t>(mBuffer->position());
    return OK;
}

void AudioTrack::runCallback() {
    pthread_setname_np(pthread_self(), "AudioTrack");
    std::vector<char> pcm(mNotificationFrames * mFrameSize);
    Buffer request;
    for (;;) {
        switch (mBuffer->waitForNeed(mNotificationFrames)) {
            case TrackBuffer::Need::kNothingMore:
                return;
            case TrackBuffer::Need::kUnderrunReport:
                mCallback(EVENT_UNDERRUN, mUser, nullptr);
                break;
            case TrackBuffer::Need::kData:
                if (!askForData(&request, pcm.data())) return;
                break;
        }
    }
}

// False when the callback cannot be asked again.
bool AudioTrack::askForData(Buffer* request, void* pcm) {
    const size_t offered = mNotificationFrames * mFrameSize;
    request->frameCount = mNotificationFrames;
    request->size = offered;
    request->raw = pcm;
    ++request->sequence;
    mCallback(EVENT_MORE_DATA, mUser, request);
    if (request->size > offered) {
        ALOGE("the callback delivered %zu bytes for %zu", request->size, offered);
        return false;
    }
    const size_t frames = request->size / mFrameSize;
    if (frames == 0) {
        mBuffer->waitBeforeRetry();
    } else {
        writePcm(pcm, frames, false);
    }
    return true;
}

}  // namespace android
