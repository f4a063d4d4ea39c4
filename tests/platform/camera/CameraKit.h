// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <camera/Camera.h>
#include <camera/CameraParameters.h>
#include <oxa/host/Cameras.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "graphics/LocalBufferProducer.h"
#include "platform/codec/FaultLog.h"

namespace oxa::test {

// The cameras of one test.
class Cameras {
  public:
    Cameras() = default;
    ~Cameras() { host::clearCameras(); }
    Cameras(const Cameras&) = delete;
    Cameras& operator=(const Cameras&) = delete;

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
    android::Camera* operator->() const { return mCamera.get(); }
    const android::sp<android::Camera>& get() const { return mCamera; }

    // Changes some parameters: "key=value;key=value".
    android::status_t change(const std::string& pairs) {
        android::CameraParameters params(mCamera->getParameters());
        const android::CameraParameters changes{android::String8(pairs.c_str())};
        for (const char* key : {"preview-size", "video-size", "preview-frame-rate"}) {
            if (changes.get(key) != nullptr) params.set(key, changes.get(key));
        }
        return mCamera->setParameters(params.flatten());
    }

  private:
    const android::sp<android::Camera> mCamera;
};

// A target that keeps what comes, at most so many pictures until release() is called.
class PictureTarget : public android::PictureQueue::ConsumerListener {
  public:
    // Its queue refers to it: it is closed before it is let go.
    struct Closer {
        void operator()(PictureTarget* target) const {
            target->mQueue->abandon();
            target->decStrong(nullptr);
        }
    };
    static std::unique_ptr<PictureTarget, Closer> create(size_t places = 4) {
        auto* const target = new PictureTarget(places);
        target->incStrong(nullptr);
        target->mQueue->setConsumer(target);
        return std::unique_ptr<PictureTarget, Closer>(target);
    }

    android::sp<android::IGraphicBufferProducer> producer() const {
        return new android::LocalBufferProducer(mQueue);
    }
    // Pictures that come from now on are given back at once.
    void releaseAll();
    bool waitForCount(size_t count) const;
    size_t count() const;
    std::vector<android::QueuedPicture> pictures() const;

    void onPictureQueued() override;

  private:
    explicit PictureTarget(size_t places) : mQueue(new android::PictureQueue(places)) {}

    const android::sp<android::PictureQueue> mQueue;
    mutable std::mutex mLock;
    mutable std::condition_variable mChanged;
    std::vector<android::QueuedPicture> mPictures;  // guarded by mLock
    bool mReleasing = false;                        // guarded by mLock
};

// Whether a camera's end was reported, and its errno.
bool waitForEnd(const FaultLog& log, int* error);

}  // namespace oxa::test
