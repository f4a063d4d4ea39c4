// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "ContainerReader"

#include "container/ContainerReader.h"

#include <log/log.h>
#include <media/stagefright/MediaErrors.h>
#include <oxa/host/FaultListener.h>
#include <string.h>

#include <algorithm>

#include "container/MediaLimits.h"
#include "container/StreamInfo.h"
#include "container/TrackFormat.h"

namespace android {

namespace {

constexpr AVRational kMicroseconds = {1, 1000000};

std::string errorText(int result) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(result, text, sizeof(text));
    return text;
}

}  // namespace

ContainerReader::ContainerReader(const sp<DataSource>& source)
    : mSource(source), mPacket(av_packet_alloc()) {
    routeAvLog();
    limitAvAllocations();
}

ContainerReader::~ContainerReader() = default;

status_t ContainerReader::open() {
    status_t err = openContext();
    if (err != OK) return err;
    const int result = completeStreamInfo(mContext.get());
    if (result < 0 && mStream->error() != 0) return ERROR_IO;
    listTracks();
    applySelection();
    return OK;
}

status_t ContainerReader::openContext() {
    auto stream = std::make_unique<DataSourceStream>(mSource);
    AVFormatContext* context = avformat_alloc_context();
    mComplaints.listenTo(context);
    stream->feed(context);
    const int result = avformat_open_input(&context, nullptr, nullptr, nullptr);
    if (result < 0) {
        ALOGW("%s: %s", mSource->toString().c_str(), errorText(result).c_str());
        return stream->error() != 0 ? ERROR_IO : ERROR_UNSUPPORTED;
    }
    mContext.reset(context);  // the former one goes before the stream that it reads
    mStream = std::move(stream);
    mDiscontinuous = (context->iformat->flags & AVFMT_TS_DISCONT) != 0;
    return OK;
}

void ContainerReader::listTracks() {
    const int64_t startUs = fileStartUs(*mContext);
    for (unsigned i = 0; i < mContext->nb_streams && mTracks.size() < limits::kMaxTracks; ++i) {
        const AVStream& stream = *mContext->streams[i];
        if (!isPlayable(stream)) continue;
        Track track;
        track.stream = i;
        track.format = makeTrackFormat(*mContext, stream);
        track.parameters = new TrackParameters(*stream.codecpar, stream.time_base, startUs);
        mTracks.push_back(track);
    }
}

// The demuxer drops what nobody wants. Where times can jump it gives all tracks, because the
// place of a jump shows in any of them.
void ContainerReader::applySelection() {
    for (unsigned i = 0; i < mContext->nb_streams; ++i) {
        mContext->streams[i]->discard = AVDISCARD_ALL;
    }
    for (const Track& track : mTracks) {
        AVStream* const stream = streamOf(track);
        if (stream != nullptr && (track.selected || mDiscontinuous)) {
            stream->discard = AVDISCARD_DEFAULT;
        }
    }
}

// Null when the file was opened again and has become another one.
AVStream* ContainerReader::streamOf(const Track& track) const {
    return track.stream < mContext->nb_streams ? mContext->streams[track.stream] : nullptr;
}

bool ContainerReader::anySelected() const {
    return std::any_of(mTracks.begin(), mTracks.end(),
                       [](const Track& track) { return track.selected; });
}

ContainerReader::Track* ContainerReader::trackOf(const AVPacket& packet) {
    for (Track& track : mTracks) {
        if (static_cast<int>(track.stream) == packet.stream_index) return &track;
    }
    return nullptr;
}

sp<AMessage> ContainerReader::trackFormat(size_t index) const {
    const Track& track = mTracks[index];
    sp<AMessage> format = track.format->dup();
    format->setObject(kFormatKeyTrackParameters, track.parameters);
    return format;
}

status_t ContainerReader::select(size_t index) {
    if (mTracks[index].selected) return OK;
    const bool startOver = mReading && !anySelected();
    mTracks[index].selected = true;
    applySelection();
    return startOver ? seek(0, SeekMode::SEEK_PREVIOUS_SYNC) : OK;
}

void ContainerReader::unselect(size_t index) {
    mTracks[index].selected = false;
    applySelection();
    if (mSampleTrack == &mTracks[index]) mSampleTrack = nullptr;
}

status_t ContainerReader::seek(int64_t timeUs, SeekMode mode) {
    if (mStream->size() < 0) return ERROR_UNSUPPORTED;
    if (timeUs <= 0) {
        // Exactly as the first time, with samples in front of the time 0.
        status_t err = openContext();
        if (err != OK) return err;
        completeStreamInfo(mContext.get());
    } else {
        const int64_t target = clampTimeUs(timeUs) + fileStartUs(*mContext);
        const bool forward = mode == SeekMode::SEEK_NEXT_SYNC;
        const bool backward = mode == SeekMode::SEEK_PREVIOUS_SYNC;
        if (avformat_seek_file(mContext.get(), -1, forward ? target : INT64_MIN, target,
                               backward ? target : INT64_MAX, 0) < 0) {
            return ERROR_UNSUPPORTED;
        }
    }
    applySelection();
    for (Track& track : mTracks) {
        track.parameters->clearSamples();
        track.nextTimeUs = clampTimeUs(std::max<int64_t>(timeUs, 0));
    }
    mSmoother.reset();
    mSampleTrack = nullptr;
    mEnded = false;
    return OK;
}

status_t ContainerReader::read(const sp<ABuffer>& buffer) {
    buffer->setRange(0, 0);
    for (;;) {
        if (!ensureSample()) return ERROR_END_OF_STREAM;
        if (static_cast<size_t>(mPacket->size) <= buffer->capacity()) break;
        leaveOut("does not fit into the decoder's buffer");
    }
    memcpy(buffer->base(), mPacket->data, mPacket->size);
    buffer->setRange(0, mPacket->size);
    if (!mSampleHandedOut) mSampleTrack->parameters->pushSample(*mPacket, mSampleTimeUs);
    mSampleHandedOut = true;
    return OK;
}

status_t ContainerReader::time(int64_t* timeUs) {
    if (!ensureSample()) return ERROR_END_OF_STREAM;
    *timeUs = mSampleTimeUs;
    return OK;
}

status_t ContainerReader::size(size_t* bytes) {
    if (!ensureSample()) return ERROR_END_OF_STREAM;
    *bytes = mPacket->size;
    return OK;
}

status_t ContainerReader::trackIndex(size_t* index) {
    if (!ensureSample()) return ERROR_END_OF_STREAM;
    *index = mSampleTrack - mTracks.data();
    return OK;
}

status_t ContainerReader::isSync(bool* sync) {
    if (!ensureSample()) return ERROR_END_OF_STREAM;
    *sync = (mPacket->flags & AV_PKT_FLAG_KEY) != 0;
    return OK;
}

status_t ContainerReader::advance() {
    if (!ensureSample()) return ERROR_END_OF_STREAM;
    mSampleTrack = nullptr;
    if (!ensureSample()) return ERROR_END_OF_STREAM;
    return OK;
}

bool ContainerReader::ensureSample() {
    return mSampleTrack != nullptr || fetchSample();
}

bool ContainerReader::fetchSample() {
    while (!mEnded && anySelected()) {
        av_packet_unref(mPacket.get());
        const int result = readPacket();
        if (result < 0) {
            end(result);
            break;
        }
        mReading = true;
        Track* const track = trackOf(*mPacket);
        if (track == nullptr) continue;
        dropWildTimes(mPacket.get());
        if (mDiscontinuous) shiftTimes(mPacket.get());
        if (!track->selected || mPacket->size == 0) continue;
        placeInTime(track, *mPacket);
        if (mPacket->size > limits::kMaxSampleBytes) {
            leaveOut("is too large");
            continue;
        }
        if ((mPacket->flags & AV_PKT_FLAG_CORRUPT) != 0) ++mDamagedPackets;
        mSampleTrack = track;
        mSampleHandedOut = false;
        return true;
    }
    return false;
}

// A demuxer that has lost its way in damaged data says so and goes on with the next call.
int ContainerReader::readPacket() {
    for (;;) {
        const int64_t position = avio_tell(mStream->context());
        const int result = av_read_frame(mContext.get(), mPacket.get());
        if (result != AVERROR(EAGAIN) || avio_tell(mStream->context()) <= position) return result;
    }
}

// Damaged times are as good as none.
void ContainerReader::dropWildTimes(AVPacket* packet) const {
    const AVRational timeBase = mContext->streams[packet->stream_index]->time_base;
    if (!isTimeAllowed(packet->pts, timeBase)) packet->pts = AV_NOPTS_VALUE;
    if (!isTimeAllowed(packet->dts, timeBase)) packet->dts = AV_NOPTS_VALUE;
    const bool lasts =
            packet->duration > 0 && isTimeAllowed(packet->duration, timeBase) &&
            av_rescale_q(packet->duration, timeBase, kMicroseconds) <= limits::kMaxSampleDurationUs;
    if (!lasts) packet->duration = 0;
}

void ContainerReader::shiftTimes(AVPacket* packet) {
    if (packet->dts == AV_NOPTS_VALUE) return;
    const AVRational timeBase = mContext->streams[packet->stream_index]->time_base;
    const int64_t shiftUs = mSmoother.shiftFor(
            packet->stream_index, av_rescale_q(packet->dts, timeBase, kMicroseconds),
            av_rescale_q(packet->duration, timeBase, kMicroseconds));
    const int64_t shift = av_rescale_q(shiftUs, kMicroseconds, timeBase);
    if (!isTimeAllowed(shift, timeBase)) return;
    packet->dts += shift;
    if (packet->pts != AV_NOPTS_VALUE) packet->pts += shift;
}

void ContainerReader::placeInTime(Track* track, const AVPacket& packet) {
    const int64_t stamp = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
    mSampleTimeUs = track->nextTimeUs;
    if (stamp != AV_NOPTS_VALUE) mSampleTimeUs = track->parameters->toUs(stamp);
    track->nextTimeUs =
            clampTimeUs(mSampleTimeUs + av_rescale_q(packet.duration, track->parameters->timeBase(),
                                                     kMicroseconds));
}

void ContainerReader::leaveOut(const char* why) {
    report(false,
           "a sample of " + std::to_string(mPacket->size) + " bytes " + why + " and is left out", 0,
           ++mLeftOutSamples);
    mSampleTrack = nullptr;
}

void ContainerReader::end(int result) {
    mEnded = true;
    if (mEndReported) return;
    mEndReported = true;
    if (mStream->error() != 0) {
        report(true, strerror(mStream->error()), mStream->error(), 1);
    } else if (result != AVERROR_EOF) {
        report(true, errorText(result), 0, 1);
    } else if (isTruncated()) {
        report(false, "the file ends early: it is shorter than its own index says", 0, 1);
    }
    const std::string complaint = mComplaints.first();
    if (!complaint.empty()) report(false, "damaged: " + complaint, 0, 1);
    if (mDamagedPackets > 0) report(false, "damaged packets", 0, mDamagedPackets);
}

bool ContainerReader::isTruncated() const {
    if (mStream->size() < 0) return false;
    for (const Track& track : mTracks) {
        AVStream* const stream = streamOf(track);
        if (stream == nullptr) return true;
        for (int i = avformat_index_get_entries_count(stream) - 1; i >= 0; --i) {
            const AVIndexEntry* entry = avformat_index_get_entry(stream, i);
            if (entry->pos > mStream->size() - entry->size) return true;
        }
    }
    return false;
}

void ContainerReader::report(bool ended, const std::string& cause, int error, uint64_t count) {
    oxa::host::Fault fault;
    fault.source = oxa::host::FaultSource::kReader;
    fault.ended = ended;
    fault.object = mSource->toString().c_str();
    fault.cause = cause;
    fault.error = error;
    fault.count = count;
    oxa::host::reportFault(fault);
}

}  // namespace android
