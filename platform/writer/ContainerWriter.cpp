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
#include <utility>

#include "base/Monotonic.h"
#include "base/SessionState.h"
#include "ffmpeg/AvError.h"
#include "ffmpeg/AvLog.h"
#include "ffmpeg/TimeBase.h"

namespace android {

ContainerWriter::ContainerWriter(std::unique_ptr<WriterOutput> output,
                                 std::unique_ptr<ContainerMuxer> muxer, const char* threadName)
    : mFiles(std::move(output), std::move(muxer),
             [this](const WriterOutput& output, int result) {
                 if (!mFailed.exchange(true)) oxa::host::reportFault(faultOf(output, result));
             }),
      mThreadName(threadName) {
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
        !mFiles.muxer().accepts(mime, mDescriptions)) {
        ALOGE("a track of type %s cannot be written", mime != nullptr ? mime : "(none)");
        return ERROR_UNSUPPORTED;
    }
    auto description = std::make_unique<TrackDescription>();
    const status_t err = describeTrack(*meta, mFiles.muxer().avcForm(), description.get());
    if (err != OK) {
        ALOGE("the %s track has no size, or no channels or rate", mime);
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
    const bool prepared = prepare(params);
    tellFault();
    return prepared ? startSources(params) : UNKNOWN_ERROR;
}

// False when the output has failed already.
bool ContainerWriter::prepare(MetaData* params) {
    const AnnotatedLock lock(mMuxerLock);
    if (mFiles.output().error() != 0) {
        handleResultLocked(AVERROR(mFiles.output().error()));
        return false;
    }
    if (params != nullptr) params->findInt32(kKeyRotation, &mRotation);
    if (!oxa::host::outputFiles().isWanted) mLength = oxa::host::outputLength();
    prepareTracksLocked();
    if (isComplete()) openMuxerLocked();
    return true;
}

// A file without tracks is empty.
bool ContainerWriter::isComplete() const {
    return !mDescriptions.empty() &&
           std::all_of(mDescriptions.begin(), mDescriptions.end(),
                       [](const auto& each) { return each->isComplete(); });
}

void ContainerWriter::openMuxerLocked() {
    mOpen = true;
    handleResultLocked(mFiles.open(mDescriptions, mRotation));
}

// Without it nothing can be decoded: it comes in a buffer of its own, or with the first picture.
bool ContainerWriter::takeConfiguration(const Track& track, MediaBufferBase* buffer) {
    if (buffer->range_length() == 0) return false;
    const AnnotatedLock lock(mMuxerLock);
    TrackDescription* const description = mDescriptions[track.converter->streamIndex()].get();
    const AvcForm form = mFiles.muxer().avcForm();
    const auto* data = static_cast<const uint8_t*>(buffer->data()) + buffer->range_offset();
    const bool isFirstOfStream = form == AvcForm::kAnnexB && !description->isVideo();
    const bool isOwn = isFirstOfStream || isSet(buffer, kKeyIsCodecConfig);
    if (!mOpen && (isOwn || description->hasNalUnits()) &&
        completeTrack(data, buffer->range_length(), form, description)) {
        if (isComplete()) openMuxerLocked();
    } else if (!isOwn && (!description->isVideo() || isSet(buffer, kKeyIsSyncFrame))) {
        handleResultLocked(AVERROR_INVALIDDATA);
    }
    return isOwn;
}

void ContainerWriter::prepareTracksLocked() {
    std::vector<AVRational> timeBases;
    for (size_t i = 0; i < mTracks.size(); ++i) {
        mTracks[i]->converter = std::make_unique<SampleConverter>(
                *mDescriptions[i], static_cast<int>(i), mFiles.muxer().avcForm());
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
        const bool isConfiguration =
                !mDescriptions[index]->isComplete() && takeConfiguration(*track, buffer);
        AvPacketOwner packet;
        if (!mFailed && !isConfiguration) packet = track->converter->convert(buffer);
        buffer->release();
        if (packet != nullptr) takeSample(std::move(packet));
        tellFault();
    }
    const AnnotatedLock lock(mMuxerLock);
    mOrder->end(track->converter->streamIndex());
    track->ended = true;
}

void ContainerWriter::takeSample(AvPacketOwner packet) {
    const AnnotatedLock lock(mMuxerLock);
    if (isBehindEnd(*packet)) {
        mTracks[packet->stream_index]->cut = true;
        mOrder->end(packet->stream_index);
    } else {
        mOrder->add(std::move(packet), monotonicUs());
    }
    if (!mOpen && !mFailed && mOrder->isFull()) openMuxerLocked();
    while (!mFailed && mOpen) {
        const AvPacketOwner next = mOrder->next();
        if (next == nullptr) return;
        writePacketLocked(next);
    }
}

bool ContainerWriter::isBehindEnd(const AVPacket& packet) const {
    if (!mLength) return false;
    const TrackDescription& track = *mDescriptions[packet.stream_index];
    const int64_t timeUs = av_rescale_q(packet.pts, track.timeBase, kMicroseconds);
    return timeUs >= mLength->us - (track.isVideo() ? mLength->earlyUs : 0);
}

void ContainerWriter::writeRestLocked() {
    if (!mOpen && !mTracks.empty()) openMuxerLocked();
    if (oxa::host::outputEnd() == oxa::host::OutputEnd::kTogether) mOrder->cut();
    while (!mFailed && mOpen) {
        const AvPacketOwner next = mOrder->nextOfRest();
        if (next == nullptr) return;
        writePacketLocked(next);
    }
}

void ContainerWriter::writePacketLocked(AVPacket* packet) {
    const int result = mFiles.write(packet);
    mOrder->skipTime(monotonicUs());
    handleResultLocked(result);
}

void ContainerWriter::passEnds() {
    for (const auto& track : mTracks) {
        int64_t endUs = track->end != nullptr ? track->end->get() : -1;
        const int index = track->converter->streamIndex();
        if (track->cut && mDescriptions[index]->isVideo()) endUs = mLength->us;
        if (endUs < 0) continue;
        mFiles.setEnd(index, av_rescale_q(endUs, kMicroseconds, mDescriptions[index]->timeBase));
    }
}

void ContainerWriter::handleResultLocked(int result) {
    if (result < 0 && !mFailed.exchange(true)) mFault = faultOf(mFiles.output(), result);
}

oxa::host::Fault ContainerWriter::faultOf(const WriterOutput& output, int result) {
    oxa::host::Fault fault;
    fault.source = oxa::host::FaultSource::kWriter;
    fault.ended = true;
    fault.object = output.name();
    // libavformat may have hidden the reason behind an error of its own.
    fault.error = output.error();
    fault.cause = output.cause();
    if (fault.error == 0) fault.cause = avErrorText(result);
    return fault;
}

// The listeners are called without the lock.
void ContainerWriter::tellFault() {
    if (!mFailed) return;
    std::optional<oxa::host::Fault> fault;
    {
        const AnnotatedLock lock(mMuxerLock);
        fault = std::exchange(mFault, std::nullopt);
    }
    if (fault) oxa::host::reportFault(*fault);
}

void ContainerWriter::stop() {
    if (mState != State::kStarted) return;
    mState = State::kStopped;
    mFiles.limitWaits();
    for (auto& track : mTracks)
        track->source->stop();
    for (auto& track : mTracks)
        track->thread.join();
    {
        const AnnotatedLock lock(mMuxerLock);
        writeRestLocked();
    }
    tellFault();
    {
        const AnnotatedLock lock(mMuxerLock);
        passEnds();
        if (mOpen) handleResultLocked(mFiles.finish());
    }
    tellFault();
    const AnnotatedLock lock(mMuxerLock);
    oxa::host::reportOutputFigures(mFiles.figures());
    // Whoever made the writer may keep it for longer than the file is its business.
    mFiles.close();
    if (!mFailed) mFiles.tellFinished();
}

bool ContainerWriter::reachedEnd() const {
    for (const auto& track : mTracks) {
        if (!track->ended) return false;
    }
    return true;
}

}  // namespace android
