// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "SoundOutput"

#include <errno.h>
#include <log/log.h>
#include <oxa/host/SoundOutput.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

#include "audio/PacedSink.h"
#include "audio/SoundDeviceModule.h"
#include "audio/SoundOutputChoice.h"
#include "audio/WavFile.h"
#include "base/AnnotatedMutex.h"
#include "base/Module.h"
#include "base/SessionState.h"

namespace android {

namespace {

std::unique_ptr<SoundSink> openPacedSink(std::unique_ptr<SoundConsumer> consumer,
                                         const SoundFormat& format, SoundSource* source) {
    auto sink = std::make_unique<PacedSink>(std::move(consumer));
    if (sink->open(format, source) != OK) return nullptr;
    return sink;
}

std::unique_ptr<SoundSink> openDeviceSink(const SoundFormat& format, SoundSource* source) {
    std::string error;
    const auto* module = loadModule<SoundDeviceModule>(&error);
    auto sink = module != nullptr ? module->openSound(format, source, &error) : nullptr;
    if (sink != nullptr) return sink;
    ALOGW("no sound device (%s), playing silently", error.c_str());
    return openPacedSink(nullptr, format, source);
}

std::unique_ptr<SoundSink> openNullSink(const SoundFormat& format, SoundSource* source) {
    return openPacedSink(nullptr, format, source);
}

oxa::host::SessionValue<SoundSinkFactory> gFactory(openDeviceSink);

oxa::host::SessionValue<std::shared_ptr<oxa::host::SoundVolume>> gVolume(
        std::make_shared<oxa::host::SoundVolume>());

// "name.wav" for the first track, "name-2.wav" for the second.
std::string numberedPath(const std::string& path, int number) {
    if (number == 1) return path;
    const size_t slash = path.rfind('/');
    size_t dot = path.rfind('.');
    const size_t nameBegin = slash == std::string::npos ? 0 : slash + 1;
    if (dot == std::string::npos || dot <= nameBegin) dot = path.size();
    return path.substr(0, dot) + "-" + std::to_string(number) + path.substr(dot);
}

class RecordingConsumer : public SoundConsumer {
  public:
    explicit RecordingConsumer(std::shared_ptr<oxa::host::SoundRecording> recording)
        : mRecording(std::move(recording)) {}

    status_t open(const SoundFormat& format) override {
        mFormat = format;
        mTrack = mRecording->addTrack();
        return OK;
    }

    void consume(const int16_t* samples, size_t frames, int64_t heardAtUs) override {
        oxa::host::SoundBlock block;
        block.track = mTrack;
        block.timeUs = heardAtUs;
        block.sampleRate = mFormat.sampleRate;
        block.channels = mFormat.channels;
        block.samples.assign(samples, samples + frames * mFormat.channels);
        mRecording->add(std::move(block));
    }

  private:
    const std::shared_ptr<oxa::host::SoundRecording> mRecording;
    SoundFormat mFormat;
    int mTrack = 0;
};

}  // namespace

void setSoundSinkFactory(SoundSinkFactory factory) {
    gFactory.set(std::move(factory));
}

std::unique_ptr<SoundSink> openSoundSink(const SoundFormat& format, SoundSource* source) {
    return gFactory.get()(format, source);
}

std::shared_ptr<const oxa::host::SoundVolume> chosenSoundVolume() {
    return gVolume.get();
}

}  // namespace android

namespace oxa::host {

using android::SoundFormat;
using android::SoundSource;

void useSoundDevice() {
    android::setSoundSinkFactory(android::openDeviceSink);
}

void useNullSound() {
    android::setSoundSinkFactory(android::openNullSink);
}

std::string useWavSound(const std::string& path) {
    const int fd = open(path.c_str(), android::kWavOpenFlags, android::kWavMode);
    if (fd < 0) return strerror(errno);
    close(fd);
    auto tracks = std::make_shared<std::atomic<int>>(0);
    android::setSoundSinkFactory([=](const SoundFormat& format, SoundSource* source) {
        auto file = std::make_unique<android::WavFile>(android::numberedPath(path, ++*tracks));
        return android::openPacedSink(std::move(file), format, source);
    });
    return {};
}

std::shared_ptr<SoundVolume> useSoundVolume() {
    auto volume = std::make_shared<SoundVolume>();
    android::gVolume.set(volume);
    return volume;
}

std::string soundDeviceError() {
    std::string error;
    const auto* module = android::loadModule<android::SoundDeviceModule>(&error);
    return module != nullptr ? module->soundError() : error;
}

std::shared_ptr<SoundRecording> useSoundRecording(size_t maxFrames) {
    auto recording = std::make_shared<SoundRecording>(maxFrames);
    android::setSoundSinkFactory([=](const SoundFormat& format, SoundSource* source) {
        return android::openPacedSink(std::make_unique<android::RecordingConsumer>(recording),
                                      format, source);
    });
    return recording;
}

struct SoundRecording::State {
    explicit State(size_t most) : maxFrames(most) {}

    const size_t maxFrames;
    android::AnnotatedMutex lock;
    std::vector<SoundBlock> blocks GUARDED_BY(lock);
    size_t frames GUARDED_BY(lock) = 0;
    int tracks GUARDED_BY(lock) = 0;
    bool full GUARDED_BY(lock) = false;
};

SoundRecording::SoundRecording(size_t maxFrames) : mState(std::make_unique<State>(maxFrames)) {}

SoundRecording::~SoundRecording() = default;

std::vector<SoundBlock> SoundRecording::blocks() const {
    android::AnnotatedLock lock(mState->lock);
    return mState->blocks;
}

size_t SoundRecording::frames() const {
    android::AnnotatedLock lock(mState->lock);
    return mState->frames;
}

bool SoundRecording::full() const {
    android::AnnotatedLock lock(mState->lock);
    return mState->full;
}

int SoundRecording::addTrack() {
    android::AnnotatedLock lock(mState->lock);
    return ++mState->tracks;
}

void SoundRecording::add(SoundBlock block) {
    State& state = *mState;
    android::AnnotatedLock lock(state.lock);
    state.full = state.full || state.frames + block.frames() > state.maxFrames;
    if (state.full) return;
    state.frames += block.frames();
    state.blocks.push_back(std::move(block));
}

}  // namespace oxa::host
