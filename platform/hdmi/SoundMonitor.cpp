// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "SoundMonitor"

#include "hdmi/SoundMonitor.h"

#include <log/log.h>

namespace android {

void SoundMonitor::play(const LiveBlock& sound) {
    if (sound.channels != mChannels || sound.sampleRate != mSampleRate) {
        close();
        open(sound);
    }
    if (mTrack == nullptr) return;
    mTrack->write(sound.samples.data(), sound.samples.size() * sizeof(int16_t), false);
}

void SoundMonitor::close() {
    mTrack.clear();
    mChannels = 0;
    mSampleRate = 0;
}

void SoundMonitor::open(const LiveBlock& sound) {
    mChannels = sound.channels;
    mSampleRate = sound.sampleRate;
    sp<AudioTrack> track = new AudioTrack(AUDIO_STREAM_MUSIC, mSampleRate, AUDIO_FORMAT_PCM_16_BIT,
                                          audio_channel_out_mask_from_count(mChannels));
    status_t err = track->initCheck();
    if (err == OK) err = track->start();
    if (err == OK) {
        mTrack = track;
    } else {
        ALOGE("the sound cannot be monitored: %d", err);
    }
}

}  // namespace android
