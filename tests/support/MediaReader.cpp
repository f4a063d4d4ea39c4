// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/MediaReader.h"

#include <algorithm>

namespace oxa::test {

namespace {

constexpr int64_t kLongestAnalysisUs = 30000000;  // of streams whose pictures are far apart

std::string errorText(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof(text));
    return text;
}

}  // namespace

MediaReader::MediaReader(const std::string& path, const std::string& format) {
    const AVInputFormat* const known =
            format.empty() ? nullptr : av_find_input_format(format.c_str());
    int err = avformat_open_input(&mFormat, path.c_str(), known, nullptr);
    if (err >= 0) {
        mFormat->max_analyze_duration = kLongestAnalysisUs;
        err = avformat_find_stream_info(mFormat, nullptr);
    }
    if (err >= 0) {
        mErrors.resize(mFormat->nb_streams);
        return;
    }
    mError = path + ": " + errorText(err);
    avformat_close_input(&mFormat);
}

MediaReader::~MediaReader() {
    avformat_close_input(&mFormat);
}

int MediaReader::findStream(AVMediaType kind) const {
    if (!ok()) return -1;
    for (unsigned index = 0; index < mFormat->nb_streams; ++index) {
        const AVStream* stream = mFormat->streams[index];
        const bool isCover = stream->disposition & AV_DISPOSITION_ATTACHED_PIC;
        if (stream->codecpar->codec_type == kind && !isCover) return static_cast<int>(index);
    }
    return -1;
}

int64_t MediaReader::toUs(int stream, int64_t streamTime) const {
    const int64_t startUs = mFormat->start_time == AV_NOPTS_VALUE ? 0 : mFormat->start_time;
    return av_rescale_q(streamTime, mFormat->streams[stream]->time_base, av_get_time_base_q()) -
           startUs;
}

void MediaReader::readPackets(const std::function<void(const AVPacket&)>& onPacket) {
    PacketPtr packet(av_packet_alloc());
    while (ok()) {
        const int64_t position = avio_tell(mFormat->pb);
        const int err = av_read_frame(mFormat, packet.get());
        // A demuxer that has lost its way in damaged data goes on with the next call.
        if (err == AVERROR(EAGAIN) && avio_tell(mFormat->pb) > position) continue;
        if (err < 0) return;
        onPacket(*packet);
        av_packet_unref(packet.get());
    }
}

void MediaReader::decode(std::vector<int> streams, const FrameHandler& onFrame,
                         const std::function<void(const AVPacket&)>& onPacket) {
    if (!ok()) return;
    if (streams.empty()) {
        for (unsigned index = 0; index < mFormat->nb_streams; ++index) {
            const AVMediaType kind = mFormat->streams[index]->codecpar->codec_type;
            if (kind == AVMEDIA_TYPE_VIDEO || kind == AVMEDIA_TYPE_AUDIO) {
                streams.push_back(static_cast<int>(index));
            }
        }
    }
    std::vector<CodecContextPtr> codecs(mFormat->nb_streams);
    for (int stream : streams)
        codecs[stream] = openDecoder(stream);
    readPackets([&](const AVPacket& packet) {
        if (onPacket) onPacket(packet);
        AVCodecContext* codec = codecs[packet.stream_index].get();
        if (codec != nullptr) decodePacket(codec, packet.stream_index, &packet, onFrame);
    });
    for (int stream : streams) {
        if (codecs[stream] != nullptr) decodePacket(codecs[stream].get(), stream, nullptr, onFrame);
    }
}

CodecContextPtr MediaReader::openDecoder(int stream) {
    const AVStream* input = mFormat->streams[stream];
    const AVCodec* decoder = avcodec_find_decoder(input->codecpar->codec_id);
    CodecContextPtr codec(decoder == nullptr ? nullptr : avcodec_alloc_context3(decoder));
    if (codec != nullptr) {
        avcodec_parameters_to_context(codec.get(), input->codecpar);
        codec->pkt_timebase = input->time_base;
        codec->thread_count = 2;
        if (avcodec_open2(codec.get(), decoder, nullptr) < 0) codec.reset();
    }
    mErrors[stream] = codec == nullptr ? -1 : 0;
    return codec;
}

void MediaReader::decodePacket(AVCodecContext* codec, int stream, const AVPacket* packet,
                               const FrameHandler& onFrame) {
    if (avcodec_send_packet(codec, packet) < 0) ++mErrors[stream];
    FramePtr frame(av_frame_alloc());
    for (;;) {
        const int err = avcodec_receive_frame(codec, frame.get());
        if (err == AVERROR(EAGAIN) || err == AVERROR_EOF) return;
        if (err < 0) {
            ++mErrors[stream];
            return;
        }
        if ((frame->flags & AV_FRAME_FLAG_CORRUPT) || frame->decode_error_flags) ++mErrors[stream];
        const int64_t time = frame->best_effort_timestamp;
        onFrame(stream, *frame, time == AV_NOPTS_VALUE ? INT64_MIN : toUs(stream, time));
        av_frame_unref(frame.get());
    }
}

}  // namespace oxa::test
