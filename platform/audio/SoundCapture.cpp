// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "SoundCapture"

#include "audio/SoundCapture.h"

#include <log/log.h>
#include <pthread.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "base/SessionState.h"

namespace android {

namespace {

constexpr std::chrono::milliseconds kStuckTime{500};

}  // namespace

// What the thread works on; it may outlive the capture.
class SoundCapture::Worker {
  public:
    Worker(const LiveOptions& options, std::unique_ptr<LiveReader> reader, int64_t retryUs,
           SoundCaptureClient* client)
        : mOptions(options), mRetryUs(retryUs), mReader(std::move(reader)), mClient(client) {
        if (mReader != nullptr) mReader->start();
    }

    void run() {
        pthread_setname_np(pthread_self(), "SoundCapture");
        while (readSource() && waitForRetry()) {
        }
        std::lock_guard<std::mutex> lock(mLock);
        mEnded = true;
        mChanged.notify_all();
    }

    // Whether the thread has ended, or will without waiting. The client is not called any more.
    bool quit() {
        bool ended = false;
        {
            std::unique_lock<std::mutex> lock(mLock);
            mQuit = true;
            if (mReader != nullptr) mReader->interrupt();
            mChanged.notify_all();
            ended = mChanged.wait_for(lock, kStuckTime, [this] { return mEnded; });
        }
        std::lock_guard<std::mutex> lock(mClientLock);
        mClient = nullptr;
        return ended;
    }

  private:
    // False when there will never be more.
    bool readSource() {
        if (mReader == nullptr && !openReader()) return true;
        const bool lost = readAll();
        std::lock_guard<std::mutex> lock(mLock);
        mReader.reset();
        return lost;
    }

    bool openReader() {
        std::string error;
        auto reader = LiveReader::open(mOptions, &error);
        if (reader == nullptr) {
            tellEnd(ENODEV, error);
            return false;
        }
        std::lock_guard<std::mutex> lock(mLock);
        mReader = std::move(reader);
        if (mQuit) mReader->interrupt();
        mReader->start();
        return true;
    }

    // Whether the source has failed, and may come back.
    bool readAll() {
        for (;;) {
            LiveBlock block;
            switch (mReader->read(&block)) {
                case LiveResult::kOk:
                    tellSound(std::move(block));
                    break;
                case LiveResult::kEnd:
                    tellEnd(0, "");
                    return false;
                case LiveResult::kLost:
                    tellEnd(mReader->error(), mReader->errorText());
                    return true;
                case LiveResult::kInterrupted:
                    return false;
            }
        }
    }

    bool waitForRetry() {
        if (mRetryUs == 0) return false;
        std::unique_lock<std::mutex> lock(mLock);
        return !mChanged.wait_for(lock, std::chrono::microseconds(mRetryUs),
                                  [this] { return mQuit; });
    }

    void tellSound(LiveBlock block) {
        std::lock_guard<std::mutex> lock(mClientLock);
        if (mClient != nullptr) mClient->onSound(std::move(block));
    }

    void tellEnd(int error, const std::string& text) {
        std::lock_guard<std::mutex> lock(mClientLock);
        if (mClient != nullptr) mClient->onSoundEnd(error, text);
    }

    const LiveOptions mOptions;
    const int64_t mRetryUs;

    std::mutex mLock;
    std::condition_variable mChanged;
    bool mQuit = false;                   // guarded by mLock
    bool mEnded = false;                  // guarded by mLock
    std::unique_ptr<LiveReader> mReader;  // replaced by the thread, with mLock

    std::mutex mClientLock;       // held during calls
    SoundCaptureClient* mClient;  // guarded by mClientLock; null: not called any more
};

SoundCapture::SoundCapture(const LiveOptions& options, std::unique_ptr<LiveReader> reader,
                           int64_t retryUs, SoundCaptureClient* client)
    : mWorker(std::make_shared<Worker>(options, std::move(reader), retryUs, client)),
      mThread(oxa::host::inSession([worker = mWorker] { worker->run(); })) {}

SoundCapture::~SoundCapture() {
    if (mWorker->quit()) {
        mThread.join();
    } else {
        ALOGW("the source is stuck");
        mThread.detach();
    }
}

}  // namespace android
