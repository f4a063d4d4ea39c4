// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/MediaProbe.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "ffmpeg/DisplayMatrix.h"
#include "ffmpeg/FrameFacts.h"
#include "support/MediaReader.h"
#include "support/TempDir.h"

extern "C" {
#include <libavutil/display.h>
#include <libavutil/intreadwrite.h>
}

namespace oxa::test {

namespace {

int clockwiseRotation(const AVStream* stream) {
    const uint8_t* matrix = android::displayMatrix(*stream);
    if (matrix == nullptr) return 0;
    const double angle = av_display_rotation_get(reinterpret_cast<const int32_t*>(matrix));
    const int degrees = static_cast<int>(std::lround(-angle)) % 360;
    return degrees < 0 ? degrees + 360 : degrees;
}

StreamProbe describe(const AVFormatContext* format, const AVStream* stream) {
    const AVCodecParameters* parameters = stream->codecpar;
    StreamProbe probe;
    probe.isVideo = parameters->codec_type == AVMEDIA_TYPE_VIDEO;
    probe.isCover = stream->disposition & AV_DISPOSITION_ATTACHED_PIC;
    probe.codec = avcodec_get_name(parameters->codec_id);
    const char* profile = avcodec_profile_name(parameters->codec_id, parameters->profile);
    if (profile != nullptr) probe.profile = profile;
    probe.level = parameters->level;
    probe.width = parameters->width;
    probe.height = parameters->height;
    const AVRational sar = av_guess_sample_aspect_ratio(const_cast<AVFormatContext*>(format),
                                                        const_cast<AVStream*>(stream), nullptr);
    probe.sarNum = sar.num;
    probe.sarDen = sar.den;
    probe.rotation = clockwiseRotation(stream);
    if (probe.isVideo) probe.frameRate = av_q2d(stream->avg_frame_rate);
    probe.sampleRate = parameters->sample_rate;
    probe.channels = parameters->ch_layout.nb_channels;
    return probe;
}

void addFrame(const AVStream* stream, const AVFrame& frame, int64_t timeUs, StreamProbe* probe) {
    probe->timesUs.push_back(timeUs);
    int64_t durationUs = 0;
    if (probe->isVideo) {
        ++probe->frameCount;
        probe->keyFrameCount += android::isKeyFrame(frame) ? 1 : 0;
        durationUs =
                av_rescale_q(android::durationOf(frame), stream->time_base, av_get_time_base_q());
    } else {
        probe->frameCount += frame.nb_samples;
        probe->sampleRate = frame.sample_rate;
        probe->channels = frame.ch_layout.nb_channels;
        char layout[64] = "";
        av_channel_layout_describe(&frame.ch_layout, layout, sizeof(layout));
        probe->layout = layout;
        durationUs = av_rescale(frame.nb_samples, 1000000, frame.sample_rate);
    }
    probe->endUs = std::max(probe->endUs, timeUs + durationUs);
}

}  // namespace

MediaProbe::MediaProbe(const std::string& path, const std::string& format) {
    MediaReader reader(path, format);
    mError = reader.error();
    if (!reader.ok()) return;
    const AVFormatContext* context = reader.format();
    mFormatName = context->iformat->name;
    for (unsigned index = 0; index < context->nb_streams; ++index) {
        mStreams.push_back(describe(context, context->streams[index]));
    }

    std::vector<int64_t> lastDecoding(mStreams.size(), INT64_MIN);
    const auto onPacket = [&](const AVPacket& packet) {
        // A stream that appears in the middle of a file is not described.
        if (static_cast<size_t>(packet.stream_index) >= mStreams.size()) return;
        StreamProbe& probe = mStreams[packet.stream_index];
        ++probe.packetCount;
        const int64_t timeUs = packet.pts == AV_NOPTS_VALUE
                                       ? INT64_MIN
                                       : reader.toUs(packet.stream_index, packet.pts);
        probe.packetTimesUs.push_back(timeUs);
        if (packet.dts == AV_NOPTS_VALUE) return;
        int64_t& last = lastDecoding[packet.stream_index];
        if (last != INT64_MIN && packet.dts <= last) probe.decodingTimesRise = false;
        last = packet.dts;
    };
    const auto onFrame = [&](int stream, const AVFrame& frame, int64_t timeUs) {
        addFrame(context->streams[stream], frame, timeUs, &mStreams[stream]);
    };
    reader.decode({}, onFrame, onPacket);
    countSyncPackets(context);
    for (size_t index = 0; index < mStreams.size(); ++index) {
        mStreams[index].decodeErrors = reader.decodeErrors(static_cast<int>(index));
    }
}

// By the index: the demuxer has looked into the packets and may know better than their file.
void MediaProbe::countSyncPackets(const AVFormatContext* context) {
    for (size_t i = 0; i < mStreams.size(); ++i) {
        AVStream* const stream = context->streams[i];
        for (int entry = 0; entry < avformat_index_get_entries_count(stream); ++entry) {
            const AVIndexEntry* const sample = avformat_index_get_entry(stream, entry);
            if (sample->flags & AVINDEX_KEYFRAME) ++mStreams[i].syncPacketCount;
        }
    }
}

const StreamProbe* MediaProbe::find(bool video) const {
    for (const StreamProbe& stream : mStreams) {
        const bool isSound = stream.sampleRate > 0;
        if (!stream.isCover && (video ? stream.isVideo : !stream.isVideo && isSound))
            return &stream;
    }
    return nullptr;
}

int64_t largestLeadUs(const std::string& path, const std::string& format) {
    struct Place {
        int64_t position;
        int stream;
        int64_t timeUs;
    };
    std::vector<Place> places;
    MediaReader reader(path, format);
    if (!reader.ok()) return INT64_MAX;
    reader.readPackets([&](const AVPacket& packet) {
        // The demuxer does not know where it found what it had to search the end of.
        if (packet.pos < 0) return;
        places.push_back(
                {packet.pos, packet.stream_index, reader.toUs(packet.stream_index, packet.dts)});
    });
    std::stable_sort(places.begin(), places.end(),
                     [](const Place& a, const Place& b) { return a.position < b.position; });
    // From the end: what each stream has next.
    std::map<int, int64_t> next;
    int64_t largestUs = 0;
    for (auto place = places.rbegin(); place != places.rend(); ++place) {
        for (const auto& [stream, timeUs] : next) {
            if (stream != place->stream) largestUs = std::max(largestUs, place->timeUs - timeUs);
        }
        next[place->stream] = place->timeUs;
    }
    return largestUs;
}

std::vector<std::string> boxesOf(const std::string& path) {
    const std::string bytes = readFile(path);
    std::vector<std::string> boxes;
    size_t position = 0;
    while (position + 16 <= bytes.size()) {
        uint64_t size = AV_RB32(&bytes[position]);
        if (size == 1) size = AV_RB64(&bytes[position + 8]);
        boxes.push_back(bytes.substr(position + 4, 4));
        if (size < 8 || size > bytes.size() - position) break;
        position += size;
    }
    if (position != bytes.size()) boxes.push_back("?");
    return boxes;
}

}  // namespace oxa::test
