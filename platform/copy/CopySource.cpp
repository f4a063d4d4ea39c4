// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "copy/CopySource.h"

#include <datasource/FileSource.h>
#include <fcntl.h>
#include <oxa/host/InputChoice.h>
#include <string.h>

#include <algorithm>

#include "ffmpeg/TimeBase.h"

namespace android {

namespace {

constexpr size_t kMostPacketsAhead = 4096;
// A decoder needs the frame in front of the first one that is heard.
constexpr int kSoundFramesInFront = 2;

bool isPicture(const AVPacket& packet) {
    return packet.stream_index == kCopyPictures;
}

bool isSync(const AVPacket& packet) {
    return (packet.flags & AV_PKT_FLAG_KEY) != 0;
}

}  // namespace

status_t CopySource::open(int descriptor, int64_t size, bool pictures, bool sound,
                          bool keepsClock) {
    mKeepsClock = keepsClock;
    const oxa::host::InputChoice choice = oxa::host::inputChoice();
    mHasStart = choice.startUs > 0;
    if (choice.endUs) mEndUs = *choice.endUs - choice.startUs;
    const sp<DataSource> source = new FileSource(fcntl(descriptor, F_DUPFD_CLOEXEC, 0), 0, size);
    status_t err = source->initCheck();
    if (err != OK) return err;
    mReader = std::make_unique<ContainerReader>(source);
    err = mReader->open();
    if (err != OK) return err;
    selectTracks(pictures, sound);
    if (mRefusal.empty()) readToStart();
    return OK;
}

void CopySource::selectTracks(bool pictures, bool sound) {
    for (size_t number = 0; number < mReader->countTracks(); ++number) {
        const AVStream& stream = mReader->stream(number);
        const bool isVideo = stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
        const CopyKind kind = isVideo ? kCopyPictures : kCopySound;
        if (mTracks[kind].isThere() || !(isVideo ? pictures : sound)) continue;
        mTracks[kind] = makeCopyTrack(stream);
        mNumbers[kind] = number;
        if (mRefusal.empty()) mRefusal = refusalOf(mTracks[kind]);
    }
    if (!mNumbers[kCopyPictures] && !mNumbers[kCopySound]) {
        mRefusal = pictures ? "there is nothing to copy" : "there is no sound";
    }
    for (const auto& number : mNumbers) {
        if (number) mReader->select(*number);
    }
}

// Until it is known with which picture the copy begins (the last key frame that is shown at the
// start or before; the reader may begin at an earlier one), and which one is shown first.
void CopySource::readToStart() {
    if (!mTracks[kCopyPictures].isThere()) return;
    int64_t firstShown = INT64_MAX;
    while (mReady.size() < kMostPacketsAhead || mHasStart) {
        AvPacketOwner packet = read();
        if (packet == nullptr) break;
        const bool counts = isPicture(*packet);
        const bool isEarly = mHasStart && packet->pts <= 0;
        if (counts && isSync(*packet) && (isEarly || !mFirstPicture)) {
            dropInFront(*packet);
            mFirstPicture = packet->pts;
        }
        // Nothing decodes pictures in front of the first key frame.
        if (counts && !mFirstPicture) continue;
        const int64_t decodingTime = packet->dts;
        if (counts && packet->pts >= 0) firstShown = std::min(firstShown, packet->pts);
        hold(std::move(packet));
        if (counts && (!mHasStart || decodingTime >= firstShown)) break;
    }
    if (mHasStart && firstShown != INT64_MAX) mFirstShown = firstShown;
}

void CopySource::dropInFront(const AVPacket& sync) {
    if (!mHasStart) return;
    const int64_t sound =
            av_rescale_q(sync.pts, mTracks[kCopyPictures].timeBase, mTracks[kCopySound].timeBase);
    mReady.erase(std::remove_if(mReady.begin(), mReady.end(),
                                [&](const AvPacketOwner& packet) {
                                    return isPicture(*packet) ||
                                           packet->pts + kSoundFramesInFront * packet->duration <
                                                   sound;
                                }),
                 mReady.end());
    mLate.clear();
}

int64_t CopySource::durationUs() const {
    int64_t longestUs = 0;
    for (const auto& number : mNumbers) {
        int64_t durationUs = 0;
        if (!number) continue;
        mReader->trackFormat(*number)->findInt64("durationUs", &durationUs);
        longestUs = std::max(longestUs, durationUs);
    }
    return longestUs;
}

std::optional<int64_t> CopySource::firstPicture() const {
    if (!mFirstPicture) return std::nullopt;
    return *mFirstPicture - mFirstShown;
}

int64_t CopySource::origin(int kind) const {
    return av_rescale_q(mFirstShown, mTracks[kCopyPictures].timeBase, mTracks[kind].timeBase);
}

AvPacketOwner CopySource::next() {
    while (!mReady.empty() || fill()) {
        AvPacketOwner packet = std::move(mReady.front());
        mReady.pop_front();
        packet->pts -= origin(packet->stream_index);
        packet->dts -= origin(packet->stream_index);
        if (isPicture(*packet) || isHeard(*packet)) return packet;
    }
    return {};
}

bool CopySource::isHeard(const AVPacket& sound) const {
    if (mSoundBegin) return sound.pts >= *mSoundBegin;
    return !mHasStart || sound.pts > -kSoundFramesInFront * sound.duration;
}

bool CopySource::fill() {
    while (mReady.empty()) {
        AvPacketOwner packet = read();
        if (packet == nullptr) break;
        hold(std::move(packet));
    }
    // What is shown between two pictures that are there.
    for (AvPacketOwner& packet : mLate) {
        if (mReady.empty() && packet != nullptr && packet->pts < mLastPicture) {
            mReady.push_back(std::move(packet));
        }
    }
    return !mReady.empty();
}

// Pictures that are shown behind the end stay only where those need them that are shown before.
void CopySource::hold(AvPacketOwner packet) {
    if (!isPicture(*packet)) {
        mReady.push_back(std::move(packet));
        return;
    }
    mLate.push_back(std::move(packet));
    if (isLate(*mLate.back())) return;
    for (AvPacketOwner& picture : mLate) {
        mLastPicture = std::max(mLastPicture, picture->pts);
        mReady.push_back(std::move(picture));
    }
    mLate.clear();
}

bool CopySource::isLate(const AVPacket& packet) const {
    return mEndUs != INT64_MAX &&
           av_compare_ts(packet.pts, mTracks[kCopyPictures].timeBase, mEndUs, kMicroseconds) >= 0;
}

// One of a chosen track, with its times.
AvPacketOwner CopySource::read() {
    size_t number = 0;
    int64_t timeUs = 0;
    if (!mRefusal.empty() || mReader->time(&timeUs) != OK) return {};
    AvPacketOwner packet = mReader->take(&number);
    const CopyKind kind = mNumbers[kCopyPictures] == number ? kCopyPictures : kCopySound;
    packet->stream_index = kind;
    const bool changes =
            av_packet_get_side_data(packet, AV_PKT_DATA_NEW_EXTRADATA, nullptr) != nullptr;
    if (changes && mLastDecodingTime[kind] != AV_NOPTS_VALUE) {
        mRefusal = "a track changes its format in the middle";
        return {};
    }
    av_packet_free_side_data(packet);
    completeDuration(packet);
    packet->flags &= AV_PKT_FLAG_KEY;
    const AVRational timeBase = mTracks[kind].timeBase;
    const int64_t start = av_rescale_q(startUs(), kMicroseconds, timeBase);
    const bool hasNone = packet->pts == AV_NOPTS_VALUE && packet->dts == AV_NOPTS_VALUE;
    const bool isReordered = kind == kCopyPictures && mTracks[kind].parameters->video_delay > 0;
    if (packet->pts == AV_NOPTS_VALUE && isReordered) {
        mRefusal = "the file does not say when its pictures are shown";
        return {};
    }
    if (packet->dts != AV_NOPTS_VALUE) packet->dts -= start;
    if (packet->pts != AV_NOPTS_VALUE) {
        packet->pts -= start;
    } else {
        packet->pts = hasNone ? av_rescale_q(timeUs, kMicroseconds, timeBase) : packet->dts;
    }
    setTimes(packet);
    return packet;
}

bool CopySource::isMp4() const {
    return strncmp(mReader->context().iformat->name, "mov,", 4) == 0;
}

int64_t CopySource::startUs() const {
    return mKeepsClock && isMp4() ? 0 : mReader->startUs();
}

// Libavformat's demuxer counts the last sample of an MP4 track as shorter by what is empty in front
// of the track.
void CopySource::completeDuration(AVPacket* packet) {
    const int64_t former = mLastDuration[packet->stream_index];
    int64_t& empty = mEmptyFront[packet->stream_index];
    if (former == 0 && isMp4()) {
        empty = std::max<int64_t>(0, packet->dts);
    }
    if (packet->duration > 0 && packet->duration < former) {
        packet->duration = std::min(former, packet->duration + empty);
    }
}

void CopySource::setTimes(AVPacket* packet) {
    int64_t& last = mLastDecodingTime[packet->stream_index];
    int64_t& duration = mLastDuration[packet->stream_index];
    if (packet->duration > 0) duration = packet->duration;
    setDecodingTime(packet);
    if (last != AV_NOPTS_VALUE) {
        if (packet->duration <= 0 && duration == 0) duration = packet->dts - last;
        packet->dts = std::max(packet->dts, last + 1);
    }
    packet->duration = duration;
    packet->pts = std::max(packet->pts, packet->dts);
    last = packet->dts;
}

void CopySource::setDecodingTime(AVPacket* packet) {
    if (!isPicture(*packet)) {
        packet->dts = packet->pts;
        return;
    }
    const bool isFirst = mLastDecodingTime[kCopyPictures] == AV_NOPTS_VALUE;
    if (isFirst && packet->dts == AV_NOPTS_VALUE) {
        mDecodingTimes =
                std::make_unique<DecodingTimes>(mTracks[kCopyPictures].parameters->video_delay);
    }
    if (mDecodingTimes != nullptr) {
        packet->dts = mDecodingTimes->next(packet->pts, mLastDuration[kCopyPictures]);
    }
    if (packet->dts == AV_NOPTS_VALUE) packet->dts = mLastDecodingTime[kCopyPictures] + 1;
    packet->dts = std::min(packet->dts, packet->pts);
}

}  // namespace android
