// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "SoundCapture"

#include "audio/SoundCapture.h"

#include <log/log.h>
#include <pthread.h>

#include <cerrno>
#include <chrono>
#include <utility>

#include "base/AnnotatedMutex.h"
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
        AnnotatedLock lock(mLock);
        mEnded = true;
        mChanged.notify_all();
    }

    // Whether the thread has ended, or will without waiting. The client is not called any more.
    bool quit() {
        bool ended = false;
        {
            AnnotatedLock lock(mLock);
            mQuit = true;
            if (mReader != nullptr) mReader->interrupt();
            mChanged.notify_all();
            ended = mChanged.wait_for(mLock, kStuckTime,
                                      [this]() REQUIRES(mLock) { return mEnded; });
        }
        AnnotatedLock lock(mClientLock);
        mClient = nullptr;
        return ended;
    }

  private:
    // False when there will never be more.
    bool readSource() {
        if (mReader == nullptr && !openReader()) return true;
        const bool lost = readAll();
        AnnotatedLock lock(mLock);
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
        AnnotatedLock lock(mLock);
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
        AnnotatedLock lock(mLock);
        return !mChanged.wait_for(mLock, std::chrono::microseconds(mRetryUs),
                                  [this]() REQUIRES(mLock) { return mQuit; });
    }

    void tellSound(LiveBlock block) {
        AnnotatedLock lock(mClientLock);
        if (mClient != nullptr) mClient->onSound(std::move(block));
    }

    void tellEnd(int error, const std::string& text) {
        AnnotatedLock lock(mClientLock);
        if (mClient != nullptr) mClient->onSoundEnd(error, text);
    }

    const LiveOptions mOptions;
    const int64_t mRetryUs;

    AnnotatedMutex mLock;
    AnnotatedCondition mChanged;
    bool mQuit GUARDED_BY(mLock) = false;
    bool mEnded GUARDED_BY(mLock) = false;
    std::unique_ptr<LiveReader> mReader;  // replaced by the thread, with mLock

    AnnotatedMutex mClientLock;                           // held during calls
    SoundCaptureClient* mClient GUARDED_BY(mClientLock);  // null: not called any more
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
