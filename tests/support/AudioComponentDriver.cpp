// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/AudioComponentDriver.h"

#include <gui/Surface.h>
#include <media/stagefright/MediaCodec.h>

#include <algorithm>
#include <cstring>

#include "support/Deadline.h"

namespace android {

AudioComponentDriver::AudioComponentDriver(const sp<CodecComponent>& component)
    : mComponent(component) {}

AudioComponentDriver::~AudioComponentDriver() {
    stop();
}

status_t AudioComponentDriver::start(const sp<AMessage>& format) {
    const status_t err = mComponent->configure(format, nullptr);
    if (err != OK) return err;
    mInputs.clear();
    mFreeInputs.clear();
    mOutputs.clear();
    mFormats.clear();
    mErrors = 0;
    mEnded = false;
    mInOrder = true;
    for (size_t index = 0; index < mComponent->inputCount(); ++index) {
        mInputs.push_back(
                new MediaCodecBuffer(new AMessage, new ABuffer(mComponent->inputCapacity())));
        mFreeInputs.push_back(index);
    }
    return mComponent->start(this);
}

void AudioComponentDriver::stop() {
    mComponent->stop();
}

bool AudioComponentDriver::queue(const void* data, size_t size, int64_t timeUs, uint32_t flags) {
    CodecInput input;
    {
        std::unique_lock<std::mutex> lock(mLock);
        if (!mChanged.wait_until(lock, oxa::test::Deadline().end(),
                                 [this] { return !mFreeInputs.empty() || mErrors > 0; }) ||
            mErrors > 0) {
            return false;
        }
        input.index = mFreeInputs.front();
        mFreeInputs.pop_front();
    }
    input.buffer = mInputs[input.index];
    if (size > input.buffer->capacity()) return false;
    if (size > 0) memcpy(input.buffer->base(), data, size);
    input.buffer->setRange(0, size);
    input.timeUs = timeUs;
    input.flags = flags;
    mComponent->queueInput(input);
    return true;
}

bool AudioComponentDriver::queueEnd(int64_t timeUs) {
    return queue(nullptr, 0, timeUs, MediaCodec::BUFFER_FLAG_EOS);
}

bool AudioComponentDriver::waitForEnd() {
    std::unique_lock<std::mutex> lock(mLock);
    mChanged.wait_until(lock, oxa::test::Deadline().end(),
                        [this] { return mEnded || mErrors > 0; });
    return mEnded && mErrors == 0;
}

std::vector<int16_t> AudioComponentDriver::pcm() const {
    std::vector<int16_t> pcm;
    for (const Output& output : mOutputs) {
        const auto* samples = reinterpret_cast<const int16_t*>(output.bytes.data());
        pcm.insert(pcm.end(), samples, samples + output.bytes.size() / sizeof(int16_t));
    }
    return pcm;
}

int32_t AudioComponentDriver::formatInt32(const char* key) const {
    int32_t value = -1;
    if (!mFormats.empty()) mFormats[0]->findInt32(key, &value);
    return value;
}

void AudioComponentDriver::onInputConsumed(size_t index) {
    std::lock_guard<std::mutex> lock(mLock);
    if (std::count(mFreeInputs.begin(), mFreeInputs.end(), index) > 0) mInOrder = false;
    // Whatever the component still reads of it would be wrong now.
    memset(mInputs[index]->base(), 0xA5, mInputs[index]->size());
    mFreeInputs.push_back(index);
    mChanged.notify_all();
}

void AudioComponentDriver::onOutputFormat(const sp<AMessage>& format) {
    std::lock_guard<std::mutex> lock(mLock);
    mFormats.push_back(format);
}

void AudioComponentDriver::onOutput(const CodecOutput& output) {
    {
        std::lock_guard<std::mutex> lock(mLock);
        if (mFormats.empty() || mEnded || output.data == nullptr) mInOrder = false;
        if (output.flags & MediaCodec::BUFFER_FLAG_EOS) {
            if (output.data->size() > 0) mInOrder = false;
            mEnded = true;
        } else {
            const uint8_t* data = output.data->data();
            mOutputs.push_back({std::vector<uint8_t>(data, data + output.data->size()),
                                output.timeUs, output.flags});
        }
        mChanged.notify_all();
    }
    if (!mHolding) mComponent->releaseOutput(output, false, 0);
}

void AudioComponentDriver::onError(status_t /*err*/, int32_t /*actionCode*/) {
    std::lock_guard<std::mutex> lock(mLock);
    ++mErrors;
    mChanged.notify_all();
}

}  // namespace android
