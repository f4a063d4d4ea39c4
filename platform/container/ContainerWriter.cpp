// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "ContainerWriter"

#include "container/ContainerWriter.h"

#include <log/log.h>
#include <media/stagefright/MediaBufferBase.h>
#include <media/stagefright/MediaErrors.h>
#include <oxa/host/FaultListener.h>
#include <pthread.h>

#include "container/AvLog.h"

namespace android {

ContainerWriter::ContainerWriter(std::unique_ptr<WriterOutput> output,
                                 std::unique_ptr<ContainerMuxer> muxer, const char* threadName)
    : mOutput(std::move(output)), mMuxer(std::move(muxer)), mThreadName(threadName) {
    routeAvLog();
}

ContainerWriter::~ContainerWriter() {
    stop();
}

status_t ContainerWriter::addSource(const sp<MediaSource>& source) {
    if (mState != State::kInitial) {
        ALOGE("a track was added after start");
        return UNKNOWN_ERROR;
    }
    const sp<MetaData> meta = source->getFormat();
    const char* mime = nullptr;
    if (meta == nullptr || !meta->findCString(kKeyMIMEType, &mime) || !mMuxer->accepts(mime)) {
        ALOGE("a track of type %s cannot be written", mime != nullptr ? mime : "(none)");
        return ERROR_UNSUPPORTED;
    }
    auto description = std::make_unique<TrackDescription>();
    const status_t err = describeTrack(*meta, mMuxer->avcForm(), description.get());
    if (err != OK) {
        ALOGE("the %s track has no size or no codec configuration", mime);
        return err;
    }
    auto track = std::make_unique<Track>();
    track->source = source;
    track->converter = std::make_unique<SampleConverter>(
            *description, static_cast<int>(mTracks.size()), mMuxer->avcForm());
    mDescriptions.push_back(std::move(description));
    mTracks.push_back(std::move(track));
    return OK;
}

status_t ContainerWriter::start(MetaData* params) {
    if (mState != State::kInitial || mTracks.empty()) return INVALID_OPERATION;
    std::unique_lock<std::mutex> lock(mMuxerLock);
    if (mOutput->error() != 0) {
        handleResult(AVERROR(mOutput->error()), &lock);
        return UNKNOWN_ERROR;
    }
    int32_t rotation = 0;
    if (params != nullptr) params->findInt32(kKeyRotation, &rotation);
    handleResult(mMuxer->open(mOutput.get(), mDescriptions, rotation), &lock);
    if (lock.owns_lock()) lock.unlock();
    return startSources(params);
}

status_t ContainerWriter::startSources(MetaData* params) {
    for (size_t i = 0; i < mTracks.size(); ++i) {
        const status_t err = mTracks[i]->source->start(params);
        if (err == OK) continue;
        while (i > 0)
            mTracks[--i]->source->stop();
        return err;
    }
    mState = State::kStarted;
    for (auto& track : mTracks) {
        track->thread = std::thread(&ContainerWriter::readTrack, this, track.get());
    }
    return OK;
}

void ContainerWriter::readTrack(Track* track) {
    pthread_setname_np(pthread_self(), mThreadName.c_str());
    for (;;) {
        MediaBufferBase* buffer = nullptr;
        const status_t err = track->source->read(&buffer);
        if (err == INFO_FORMAT_CHANGED) continue;
        if (err != OK || buffer == nullptr) break;
        AVPacket* packet = mFailed ? nullptr : track->converter->convert(buffer);
        buffer->release();
        if (packet == nullptr) continue;
        writePacket(packet);
        av_packet_free(&packet);
    }
    track->ended = true;
}

void ContainerWriter::writePacket(AVPacket* packet) {
    std::unique_lock<std::mutex> lock(mMuxerLock);
    if (!mFailed) handleResult(mMuxer->write(packet), &lock);
}

// The listeners are called without the lock.
void ContainerWriter::handleResult(int result, std::unique_lock<std::mutex>* lock) {
    if (result >= 0 || mFailed.exchange(true)) return;
    oxa::host::Fault fault;
    fault.source = oxa::host::FaultSource::kWriter;
    fault.ended = true;
    fault.object = mOutput->name();
    // libavformat may have hidden the reason behind an error of its own.
    fault.error = mOutput->error();
    fault.cause = mOutput->cause();
    if (fault.error == 0) {
        char text[AV_ERROR_MAX_STRING_SIZE] = {};
        av_strerror(result, text, sizeof(text));
        fault.cause = text;
    }
    lock->unlock();
    oxa::host::reportFault(fault);
}

void ContainerWriter::stop() {
    if (mState != State::kStarted) return;
    mState = State::kStopped;
    mOutput->limitWaits();
    for (auto& track : mTracks)
        track->source->stop();
    for (auto& track : mTracks)
        track->thread.join();
    std::unique_lock<std::mutex> lock(mMuxerLock);
    handleResult(mMuxer->finish(), &lock);
    if (!lock.owns_lock()) lock.lock();
    // Whoever made the writer may keep it for longer than the file is its business.
    mOutput->close();
}

bool ContainerWriter::reachedEnd() const {
    for (const auto& track : mTracks) {
        if (!track->ended) return false;
    }
    return true;
}

}  // namespace android
