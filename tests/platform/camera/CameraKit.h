// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <camera/Camera.h>
#include <camera/CameraParameters.h>
#include <oxa/host/Cameras.h>

#include "graphics/LocalBufferProducer.h"
#include "support/FaultLog.h"
#include "support/Test.h"

namespace oxa::test {

// The cameras of one test.
struct Cameras {
    ~Cameras() { host::clearCameras(); }
    void add(int number, const std::string& source) { host::registerCamera(number, source); }
};

// An opened camera, given back at the end.
class OpenCamera {
  public:
    explicit OpenCamera(int number = 0)
        : mCamera(android::Camera::connect(number, android::String16("test"), -1, -1)) {}
    ~OpenCamera() {
        if (mCamera != nullptr) mCamera->disconnect();
    }
    OpenCamera(const OpenCamera&) = delete;
    OpenCamera& operator=(const OpenCamera&) = delete;

    bool exists() const { return mCamera != nullptr; }
    android::Camera* operator->() const {
        EXPECT_NE(mCamera.get(), nullptr) << "it cannot be opened";
        return mCamera.get();
    }

    // Changes some parameters: "key=value;key=value".
    android::status_t change(const char* pairs) {
        return mCamera->setParameters(
                android::String8::format("%s;%s", mCamera->getParameters().c_str(), pairs));
    }

  private:
    const android::sp<android::Camera> mCamera;
};

// A target that notes what comes and gives it back at once.
class PictureTarget : public android::PictureQueue::ConsumerListener {
  public:
    // Its queue refers to it: it is closed before it is let go.
    struct Closer {
        void operator()(PictureTarget* target) const {
            target->mQueue->abandon();
            target->decStrong(nullptr);
        }
    };
    // `held`: so many pictures are kept, and no more taken, until releaseAll() is called.
    static std::unique_ptr<PictureTarget, Closer> create(size_t held = 0) {
        auto* const target = new PictureTarget(held);
        target->incStrong(nullptr);
        target->mQueue->setConsumer(target);
        return std::unique_ptr<PictureTarget, Closer>(target);
    }

    android::sp<android::IGraphicBufferProducer> producer() const {
        return new android::LocalBufferProducer(mQueue);
    }
    void releaseAll() {
        std::unique_lock<std::mutex> lock(mLock);
        mReleasing = true;
        const size_t held = mPictures.size();
        lock.unlock();
        for (size_t i = 0; i < held; ++i)
            mQueue->release();
    }
    bool waitForCount(size_t count) const {
        return waitFor([&] { return this->count() >= count; });
    }
    size_t count() const { return pictures().size(); }
    std::vector<android::QueuedPicture> pictures() const {
        std::lock_guard<std::mutex> lock(mLock);
        return mPictures;
    }

    void onPictureQueued() override {
        android::QueuedPicture queued;
        while (mQueue->tryAcquire(&queued)) {
            std::unique_lock<std::mutex> lock(mLock);
            mPictures.push_back(queued);
            const bool releasing = mReleasing;
            lock.unlock();
            if (releasing) mQueue->release();
        }
    }

  private:
    explicit PictureTarget(size_t held)
        : mQueue(new android::PictureQueue(held > 0 ? held : 4)), mReleasing(held == 0) {}

    const android::sp<android::PictureQueue> mQueue;
    mutable std::mutex mLock;
    std::vector<android::QueuedPicture> mPictures;  // guarded by mLock
    bool mReleasing;                                // guarded by mLock
};

// The errno with which a camera's end was reported; -1 if it was not.
inline int waitForEnd(const FaultLog& log) {
    int error = -1;
    waitFor([&] {
        for (const host::Fault& fault : log.faults()) {
            if (fault.source == host::FaultSource::kCamera && fault.ended) error = fault.error;
        }
        return error >= 0;
    });
    return error;
}

}  // namespace oxa::test
