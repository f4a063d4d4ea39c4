// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "ContainerWriter"

#include "writer/ContainerWriter.h"

#include <log/log.h>
#include <media/stagefright/MediaBufferBase.h>
#include <media/stagefright/MediaErrors.h>
#include <oxa/host/FaultListener.h>
#include <oxa/host/OutputWait.h>
#include <pthread.h>

#include <algorithm>

#include "base/Monotonic.h"
#include "base/SessionState.h"
#include "ffmpeg/AvError.h"
#include "ffmpeg/AvLog.h"
#include "ffmpeg/TimeBase.h"

namespace android {

namespace {}  // namespace

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
    if (meta == nullptr || !meta->findCString(kKeyMIMEType, &mime) ||
        !mMuxer->accepts(mime, mDescriptions)) {
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
    int64_t endNumber = 0;
    if (meta->findInt64(kMetaKeyTrackEnd, &endNumber)) track->end = TrackEnd::find(endNumber);
    // Pictures first, in whatever order encoders come to their tracks: equal jobs make equal files.
    const auto pictures = std::count_if(mDescriptions.begin(), mDescriptions.end(),
                                        [](const auto& each) { return each->isVideo(); });
    const auto place = description->isVideo() ? pictures : mTracks.size();
    mDescriptions.insert(mDescriptions.begin() + place, std::move(description));
    mTracks.insert(mTracks.begin() + place, std::move(track));
    return OK;
}

status_t ContainerWriter::start(MetaData* params) {
    if (mState != State::kInitial) return INVALID_OPERATION;
    std::unique_lock<std::mutex> lock(mMuxerLock);
    if (mOutput->error() != 0) {
        handleResult(AVERROR(mOutput->error()), &lock);
        return UNKNOWN_ERROR;
    }
    if (params != nullptr) params->findInt32(kKeyRotation, &mRotation);
    prepareTracks();
    if (isComplete()) openMuxer(&lock);
    if (lock.owns_lock()) lock.unlock();
    return startSources(params);
}

// A file without tracks is empty.
bool ContainerWriter::isComplete() const {
    return !mDescriptions.empty() &&
           std::all_of(mDescriptions.begin(), mDescriptions.end(),
                       [](const auto& each) { return each->isComplete(); });
}

// The lock is given up when the output fails.
void ContainerWriter::openMuxer(std::unique_lock<std::mutex>* lock) {
    mOpen = true;
    handleResult(mMuxer->open(mOutput.get(), mDescriptions, mRotation), lock);
}

// Without them no picture can be decoded, so the first one must bring them.
void ContainerWriter::takeConfiguration(const Track& track, MediaBufferBase* buffer) {
    std::unique_lock<std::mutex> lock(mMuxerLock);
    TrackDescription* const description = mDescriptions[track.converter->streamIndex()].get();
    const auto* data = static_cast<const uint8_t*>(buffer->data()) + buffer->range_offset();
    int32_t isSync = 0;
    if (!mOpen && completeTrack(data, buffer->range_length(), mMuxer->avcForm(), description)) {
        if (isComplete()) openMuxer(&lock);
    } else if (buffer->meta_data().findInt32(kKeyIsSyncFrame, &isSync) && isSync != 0) {
        handleResult(AVERROR_INVALIDDATA, &lock);
    }
}

void ContainerWriter::prepareTracks() {
    std::vector<AVRational> timeBases;
    for (size_t i = 0; i < mTracks.size(); ++i) {
        mTracks[i]->converter = std::make_unique<SampleConverter>(
                *mDescriptions[i], static_cast<int>(i), mMuxer->avcForm());
        timeBases.push_back(mDescriptions[i]->timeBase);
    }
    mOrder = std::make_unique<SampleOrder>(timeBases, oxa::host::isOutputOfFiles());
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
        track->thread = std::thread(
                oxa::host::inSession([this, track = track.get()] { readTrack(track); }));
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
        const int index = track->converter->streamIndex();
        if (!mDescriptions[index]->isComplete()) takeConfiguration(*track, buffer);
        AvPacketOwner packet;
        if (!mFailed) packet = track->converter->convert(buffer);
        buffer->release();
        if (packet != nullptr) takeSample(std::move(packet));
    }
    const std::lock_guard<std::mutex> lock(mMuxerLock);
    mOrder->end(track->converter->streamIndex());
    track->ended = true;
}

void ContainerWriter::takeSample(AvPacketOwner packet) {
    std::unique_lock<std::mutex> lock(mMuxerLock);
    mOrder->add(std::move(packet), monotonicUs());
    if (!mOpen && !mFailed && mOrder->isFull()) openMuxer(&lock);
    while (!mFailed && mOpen) {
        const AvPacketOwner next = mOrder->next();
        if (next == nullptr) return;
        writePacket(next, &lock);
    }
}

void ContainerWriter::writeRest(std::unique_lock<std::mutex>* lock) {
    if (!mOpen && !mTracks.empty()) openMuxer(lock);
    if (oxa::host::outputEnd() == oxa::host::OutputEnd::kTogether) mOrder->cut();
    while (!mFailed && mOpen) {
        const AvPacketOwner next = mOrder->nextOfRest();
        if (next == nullptr) return;
        writePacket(next, lock);
    }
}

// The lock is given up when the output fails.
void ContainerWriter::writePacket(AVPacket* packet, std::unique_lock<std::mutex>* lock) {
    count(*packet);
    const int result = mMuxer->write(packet);
    mOrder->skipTime(monotonicUs());
    handleResult(result, lock);
}

void ContainerWriter::passEnds() {
    for (const auto& track : mTracks) {
        if (track->end == nullptr || track->end->get() < 0) continue;
        const int index = track->converter->streamIndex();
        mMuxer->setEnd(index, av_rescale_q(track->end->get(), kMicroseconds,
                                           mDescriptions[index]->timeBase));
    }
}

void ContainerWriter::count(const AVPacket& packet) {
    const TrackDescription& track = *mDescriptions[packet.stream_index];
    const int64_t startUs = av_rescale_q(packet.pts, track.timeBase, kMicroseconds);
    const int64_t endUs = av_rescale_q(packet.pts + packet.duration, track.timeBase, kMicroseconds);
    if (track.isVideo()) {
        ++mFigures.pictures;
        mFigures.pictureEndUs = endUs;
        return;
    }
    if (mFigures.soundUnits++ == 0) mFigures.soundStartUs = startUs;
    mFigures.soundEndUs = endUs;
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
    if (fault.error == 0) fault.cause = avErrorText(result);
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
    writeRest(&lock);
    if (!lock.owns_lock()) lock.lock();
    passEnds();
    if (mOpen) handleResult(mMuxer->finish(), &lock);
    if (!lock.owns_lock()) lock.lock();
    oxa::host::reportOutputFigures(mFigures);
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
