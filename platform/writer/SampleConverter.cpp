// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "SampleConverter"

#include "writer/SampleConverter.h"

#include <media/stagefright/MetaDataBase.h>
#include <media/stagefright/foundation/ADebug.h>
#include <string.h>

#include <algorithm>

#include "ffmpeg/TimeBase.h"
#include "media/AvcStream.h"

extern "C" {
#include <libavutil/intreadwrite.h>
}

namespace android {

namespace {

constexpr size_t kLengthSize = 4;

bool startsWithStartCode(const uint8_t* data, size_t size) {
    return size >= 4 && data[0] == 0 && data[1] == 0 &&
           (data[2] == 1 || (data[2] == 0 && data[3] == 1));
}

AvPacketOwner newPacket(size_t size) {
    AvPacketOwner packet(av_packet_alloc());
    CHECK(packet != nullptr && av_new_packet(packet, static_cast<int>(size)) == 0);
    return packet;
}

AvPacketOwner lengthPrefixed(const uint8_t* data, size_t size) {
    const std::vector<NalUnit> units = splitAnnexB(data, size);
    size_t total = 0;
    for (const NalUnit& unit : units)
        total += kLengthSize + unit.size;
    AvPacketOwner packet = newPacket(total);
    uint8_t* out = packet->data;
    for (const NalUnit& unit : units) {
        AV_WB32(out, static_cast<uint32_t>(unit.size));
        memcpy(out + kLengthSize, unit.data, unit.size);
        out += kLengthSize + unit.size;
    }
    return packet;
}

}  // namespace

bool isSet(MediaBufferBase* buffer, uint32_t key) {
    int32_t value = 0;
    return buffer->meta_data().findInt32(key, &value) && value != 0;
}

SampleConverter::SampleConverter(const TrackDescription& track, int streamIndex, AvcForm form)
    : mTrack(track), mStreamIndex(streamIndex), mForm(form), mDuration(track.nominalDuration) {}

AvPacketOwner SampleConverter::convert(MediaBufferBase* buffer) {
    if (!isWanted(buffer)) return {};
    const auto* data = static_cast<const uint8_t*>(buffer->data()) + buffer->range_offset();
    AvPacketOwner packet = copyData(data, buffer->range_length());
    packet->stream_index = mStreamIndex;
    if (!mTrack.isVideo() || isSet(buffer, kKeyIsSyncFrame)) packet->flags |= AV_PKT_FLAG_KEY;
    setTimes(buffer, packet);
    return packet;
}

bool SampleConverter::isWanted(MediaBufferBase* buffer) {
    if (buffer->range_length() == 0 || isSet(buffer, kKeyIsCodecConfig) ||
        isSet(buffer, kKeyIsMuxerData)) {
        return false;
    }
    mSyncSeen = mSyncSeen || isSet(buffer, kKeyIsSyncFrame);
    return mSyncSeen || !mTrack.isVideo();
}

AvPacketOwner SampleConverter::copyData(const uint8_t* data, size_t size) const {
    if (mTrack.hasNalUnits() && mForm == AvcForm::kLengthPrefixed &&
        startsWithStartCode(data, size)) {
        return lengthPrefixed(data, size);
    }
    AvPacketOwner packet = newPacket(size);
    memcpy(packet->data, data, size);
    return packet;
}

void SampleConverter::setTimes(MediaBufferBase* buffer, AVPacket* packet) {
    int64_t timeUs = 0;
    CHECK(buffer->meta_data().findInt64(kKeyTime, &timeUs));
    int64_t decodingTimeUs = timeUs;
    if (mTrack.isVideo()) buffer->meta_data().findInt64(kKeyDecodingTime, &decodingTimeUs);

    packet->pts = av_rescale_q(timeUs, kMicroseconds, mTrack.timeBase);
    packet->dts = av_rescale_q(decodingTimeUs, kMicroseconds, mTrack.timeBase);
    if (mLastDecodingTime != AV_NOPTS_VALUE) {
        packet->dts = std::max(packet->dts, mLastDecodingTime + 1);
        // The best guess for a sample whose successor is not known yet.
        if (mTrack.isVideo()) mDuration = packet->dts - mLastDecodingTime;
    }
    packet->pts = std::max(packet->pts, packet->dts);
    packet->duration = mDuration;
    mLastDecodingTime = packet->dts;
}

}  // namespace android
