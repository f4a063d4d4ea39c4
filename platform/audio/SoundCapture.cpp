// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "audio/SoundCapture.h"

#include <pthread.h>

#include <cerrno>
#include <chrono>
#include <utility>

namespace android {

SoundCapture::SoundCapture(const LiveOptions& options, std::unique_ptr<LiveReader> reader,
                           int64_t retryUs, SoundCaptureClient* client)
    : mOptions(options), mRetryUs(retryUs), mClient(client), mReader(std::move(reader)) {
    if (mReader != nullptr) mReader->start();
    mThread = std::thread([this] { run(); });
}

SoundCapture::~SoundCapture() {
    {
        std::lock_guard<std::mutex> lock(mLock);
        mQuit = true;
        if (mReader != nullptr) mReader->interrupt();
    }
    mWake.notify_all();
    mThread.join();
}

void SoundCapture::run() {
    pthread_setname_np(pthread_self(), "SoundCapture");
    do {
        if (mReader == nullptr && !openReader()) continue;
        if (!readAll()) return;
        std::lock_guard<std::mutex> lock(mLock);
        mReader.reset();
    } while (waitForRetry());
}

bool SoundCapture::openReader() {
    std::string error;
    auto reader = LiveReader::open(mOptions, &error);
    if (reader == nullptr) {
        mClient->onSoundEnd(ENODEV, error);
        return false;
    }
    std::lock_guard<std::mutex> lock(mLock);
    mReader = std::move(reader);
    if (mQuit) mReader->interrupt();
    mReader->start();
    return true;
}

// False when there will never be more.
bool SoundCapture::readAll() {
    for (;;) {
        LiveBlock block;
        switch (mReader->read(&block)) {
            case LiveResult::kOk:
                mClient->onSound(std::move(block));
                break;
            case LiveResult::kEnd:
                mClient->onSoundEnd(0, "");
                return false;
            case LiveResult::kLost:
                mClient->onSoundEnd(mReader->error(), mReader->errorText());
                return true;
            case LiveResult::kInterrupted:
                return false;
        }
    }
}

bool SoundCapture::waitForRetry() {
    if (mRetryUs == 0) return false;
    std::unique_lock<std::mutex> lock(mLock);
    return !mWake.wait_for(lock, std::chrono::microseconds(mRetryUs), [this] { return mQuit; });
}

}  // namespace android
