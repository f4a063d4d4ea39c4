// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "modules/sdl/SdlSink.h"

#include <SDL.h>
#include <dlfcn.h>

#include <algorithm>

#include "base/AlsaLog.h"
#include "base/AnnotatedMutex.h"
#include "base/Monotonic.h"
#include "modules/sdl/SdlLog.h"
#include "modules/sdl/SdlSubsystemLock.h"

namespace android {

namespace {

// 11 to 16 ms at the usual rates.
constexpr int kDeviceFrames = 512;
constexpr int kDeviceFramesAtHighRates = 1024;
constexpr int kHighRate = 64000;

class NoSource : public SoundSource {
  public:
    void fill(int16_t* samples, size_t frames, int64_t /*heardAtUs*/) override {
        std::fill_n(samples, frames * kChannels, 0);
    }
    static constexpr int kChannels = 2;
};

}  // namespace

SdlSink::~SdlSink() {
    AnnotatedLock lock(sdlSubsystemLock());
    if (mDevice != 0) SDL_CloseAudioDevice(mDevice);
    if (mInitialised) SDL_QuitSubSystem(SDL_INIT_AUDIO);
}

std::string SdlSink::probe() {
    constexpr int kUsualRate = 48000;
    NoSource source;
    SdlSink sink;
    sink.open({kUsualRate, NoSource::kChannels, 0}, &source);
    return sink.error();
}

status_t SdlSink::open(const SoundFormat& format, SoundSource* source) {
    mFormat = format;
    mSource = source;
    mMap = channelMap(format.channels);

    AnnotatedLock lock(sdlSubsystemLock());
    routeAlsaLog(dlsym(RTLD_DEFAULT, kAlsaHandlerSetter));
    routeSdlLog();
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    mInitialised = SDL_InitSubSystem(SDL_INIT_AUDIO) == 0;
    if (mInitialised) {
        SDL_AudioSpec wanted = {};
        wanted.freq = format.sampleRate;
        wanted.format = AUDIO_S16SYS;
        wanted.channels = static_cast<uint8_t>(mMap.empty() ? format.channels : mMap.size());
        wanted.samples = format.sampleRate > kHighRate ? kDeviceFramesAtHighRates : kDeviceFrames;
        wanted.callback = onPull;
        wanted.userdata = this;
        mLatencyUs = framesToUs(wanted.samples, format.sampleRate);
        mDevice = SDL_OpenAudioDevice(nullptr, 0, &wanted, nullptr, 0);
    }
    if (mDevice != 0) return OK;
    mError = SDL_GetError();
    return NO_INIT;
}

status_t SdlSink::start() {
    mRunning = true;
    SDL_PauseAudioDevice(mDevice, 0);
    return OK;
}

void SdlSink::stop() {
    if (!mRunning) return;
    mRunning = false;
    // Takes the device's lock, so no callback is running afterwards.
    SDL_PauseAudioDevice(mDevice, 1);
}

// SDL's layouts of 5 and 7 channels (4.1; 6.1 with side channels) are others than ours.
SdlSink::ChannelMap SdlSink::channelMap(int channels) {
    switch (channels) {
        case 5:  // played as 5.1
            return {0, 1, 2, kSilent, 3, 4};
        case 7:
            return {0, 1, 2, 3, 6, 4, 5};
        default:
            return {};
    }
}

void SdlSink::onPull(void* sink, uint8_t* bytes, int size) {
    SdlSink* self = static_cast<SdlSink*>(sink);
    const size_t channels = self->mMap.empty() ? self->mFormat.channels : self->mMap.size();
    self->pull(reinterpret_cast<int16_t*>(bytes), size / (channels * sizeof(int16_t)));
}

void SdlSink::pull(int16_t* samples, size_t frames) {
    const int64_t heardAtUs = monotonicUs() + mLatencyUs;
    if (mMap.empty()) {
        mSource->fill(samples, frames, heardAtUs);
        return;
    }
    const size_t channels = mFormat.channels;
    mSamples.resize(frames * channels);
    mSource->fill(mSamples.data(), frames, heardAtUs);
    for (size_t frame = 0; frame < frames; ++frame) {
        for (const int from : mMap) {
            *samples++ = from == kSilent ? 0 : mSamples[frame * channels + from];
        }
    }
}

}  // namespace android
