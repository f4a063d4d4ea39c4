// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "CameraRecorder"

#include "CameraPuller.h"

#include <media/stagefright/MediaErrors.h>

#include "FixedSites.h"
namespace android {

namespace {

constexpr int64_t kStallUs = 1000000;

}  // namespace

void CameraRecorder::Puller::Queue::pushBuffer(MediaBufferBase* buffer) {
    mReadBuffers.push_back(buffer);
}

bool CameraRecorder::Puller::Queue::readBuffer(MediaBufferBase** buffer) {
    if (mReadBuffers.empty()) {
        *buffer = NULL;
        return false;
    }
    *buffer = mReadBuffers[0];
    mReadBuffers.removeAt(0);
    return true;
}

void CameraRecorder::Puller::Queue::flush() {
    MediaBufferBase* buffer;
    while (readBuffer(&buffer))
        buffer->release();
}

CameraRecorder::Puller::Puller(const sp<MediaSource>& source, std::atomic<int64_t>* thinnedFrames)
    : mSource(source),
      mThinnedFrames(thinnedFrames),
      mLooper(new ALooper),
      mSourceStopped(true),
      mRecordInterval(1),
      mFrameCount(0),
      mAbandoned(false),
      mReadFollows(false) {
    mLooper->setName("pull_looper");
}

CameraRecorder::Puller::~Puller() {
    mLooper->unregisterHandler(id());
    mLooper->stop();
    // The source waits for every frame that it gave.
    mQueue.flush();
}

status_t CameraRecorder::Puller::start(const sp<MetaData>& meta, const sp<AMessage>& notify) {
    mLooper->start(false /* runOnCallingThread */, false /* canCallJava */, PRIORITY_AUDIO);
    mLooper->registerHandler(this);
    mNotify = notify;
    mSourceStopped = false;
    sp<AMessage> msg = new AMessage(kWhatPullerStart, this);
    msg->setObject("meta", meta);
    return postRequest(msg);
}

void CameraRecorder::Puller::stop() {
    Mutex::Autolock lock(mQueueLock);
    mQueue.mPulling = false;
    mQueue.flush();
}

void CameraRecorder::Puller::abandon() {
    Mutex::Autolock lock(mQueueLock);
    mAbandoned = true;
    mQueue.mPulling = false;
    mQueue.flush();
}

void CameraRecorder::Puller::stopSource() {
    postRequest(new AMessage(kWhatPullerStop, this));
}

void CameraRecorder::Puller::interruptSource() {
    ALOGD("%s %d", SITE(sites::CameraRecorder::kInterruptSource));
    mSource->stop();
    mSourceStopped = true;
}

bool CameraRecorder::Puller::readBuffer(MediaBufferBase** buffer) {
    Mutex::Autolock lock(mQueueLock);
    return mQueue.readBuffer(buffer);
}

bool CameraRecorder::Puller::isDry() {
    Mutex::Autolock lock(mQueueLock);
    return !mReadFollows || isStuckLocked();
}

bool CameraRecorder::Puller::isStuck() {
    Mutex::Autolock lock(mQueueLock);
    return isStuckLocked();
}

bool CameraRecorder::Puller::isStuckLocked() const {
    return mQueue.mReadPendingSince > 0 &&
           ALooper::GetNowUs() - mQueue.mReadPendingSince > kStallUs;
}

void CameraRecorder::Puller::onMessageReceived(const sp<AMessage>& msg) {
    switch (msg->what()) {
        case kWhatPullerStart:
            replyWithError(msg, onStart(msg));
            break;
        case kWhatPullerStop:
            onStop();
            replyWithError(msg, OK);
            break;
        case kWhatPull:
            onPull(msg);
            break;
        default:
            TRESPASS_SITE(sites::CameraRecorder::kUnknownPullerRequest);
    }
}

status_t CameraRecorder::Puller::onStart(const sp<AMessage>& msg) {
    sp<RefBase> obj;
    CHECK_IN(sites::CameraRecorder::kFile, __LINE__, msg->findObject("meta", &obj));
    {
        Mutex::Autolock lock(mQueueLock);
        mQueue.mPulling = true;
    }
    status_t err = mSource->start(static_cast<MetaData*>(obj.get()));
    if (err != OK) return err;
    {
        Mutex::Autolock lock(mQueueLock);
        mReadFollows = true;
    }
    sp<AMessage>(new AMessage(kWhatPull, this))->post();
    return OK;
}

void CameraRecorder::Puller::onStop() {
    if (!mSourceStopped) mSource->stop();
    mSourceStopped = true;
}

// One frame for each message, so that a stop gets its turn between two frames.
void CameraRecorder::Puller::onPull(const sp<AMessage>& msg) {
    {
        Mutex::Autolock lock(mQueueLock);
        mQueue.mReadPendingSince = ALooper::GetNowUs();
    }
    MediaBufferBase* buffer = readSource();

    Mutex::Autolock lock(mQueueLock);
    mQueue.mReadPendingSince = 0;
    // A source that was stopped answers without a buffer.
    bool goesOn = buffer != NULL && mQueue.mPulling;
    if (buffer != NULL) queueOrDrop(buffer);
    if (!goesOn) {
        endPulling();
        return;
    }
    mNotify->post();
    msg->post();
}

MediaBufferBase* CameraRecorder::Puller::readSource() {
    MediaBufferBase* buffer = NULL;
    status_t err = mSource->read(&buffer);
    if (err == OK) return buffer;
    if (buffer != NULL) buffer->release();
    if (err != ERROR_END_OF_STREAM) ALOGE("error %d reading stream.", err);
    return NULL;
}

void CameraRecorder::Puller::queueOrDrop(MediaBufferBase* buffer) {
    if (mAbandoned) {
        buffer->release();
        return;
    }
    if (!mQueue.mPulling) buffer->meta_data().setInt32(kKeyEOS, 1);
    ++mFrameCount;
    if (mFrameCount % mRecordInterval != 0 && mQueue.mPulling) {
        buffer->release();
        ++*mThinnedFrames;
    } else {
        mQueue.pushBuffer(buffer);
    }
}

void CameraRecorder::Puller::endPulling() {
    mReadFollows = false;
    sp<AMessage> notify = mNotify->dup();
    notify->setInt32("eos", 1);
    notify->post();
}

}  // namespace android
