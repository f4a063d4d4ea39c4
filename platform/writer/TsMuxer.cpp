// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "writer/TsMuxer.h"

#include <media/stagefright/foundation/MediaDefs.h>
#include <strings.h>

#include "writer/MuxerTags.h"

namespace android {

namespace {

constexpr int kDecoderDelayUs = 700000;

}  // namespace

bool TsMuxer::accepts(const char* mime,
                      const std::vector<std::unique_ptr<TrackDescription>>& /*others*/) const {
    return strcasecmp(mime, MEDIA_MIMETYPE_VIDEO_AVC) == 0 ||
           strcasecmp(mime, MEDIA_MIMETYPE_AUDIO_AAC) == 0;
}

int TsMuxer::open(WriterOutput* output,
                  const std::vector<std::unique_ptr<TrackDescription>>& tracks, int /*rotation*/) {
    mOutput = output;
    mStream = std::make_unique<MuxerStream>(
            false, [output](int64_t /*position*/, const uint8_t* data, int size) {
                return output->append(data, size);
            });
    mMuxer = newMuxer("mpegts", mStream.get());
    if (mMuxer == nullptr) return AVERROR(ENOMEM);
    mMuxer->max_delay = kDecoderDelayUs;
    mMuxer->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    for (const auto& track : tracks) {
        const int result = addStream(mMuxer, *track, 0);
        if (result < 0) return result;
        mTimeBases.push_back(track->timeBase);
    }
    addMetadata(mMuxer, oxa::host::outputTags());
    AvDictionaryOwner options;
    av_dict_set(options.address(), "mpegts_pmt_start_pid", "480", 0);
    av_dict_set(options.address(), "mpegts_start_pid", "481", 0);
    const int result = avformat_write_header(mMuxer, options.address());
    mOpen = result >= 0;
    return result;
}

int TsMuxer::write(AVPacket* packet) {
    const AVStream& stream = *mMuxer->streams[packet->stream_index];
    // A transport stream cannot say that the first sound of an encoder is not to be heard (MP4
    // does so with an edit list). Written, it would come before the first picture and move every
    // time in the file.
    if (packet->dts < 0 && stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO) return 0;
    av_packet_rescale_ts(packet, mTimeBases[packet->stream_index], stream.time_base);
    int result = av_write_frame(mMuxer, packet);
    // Every sample has a packet and a time of its own, so that a gap in the sound stays where it is
    // and quiet sound, whose samples are small, is not collected while pictures are written.
    if (result >= 0) result = av_write_frame(mMuxer, nullptr);
    return mOutput->error() != 0 ? AVERROR(mOutput->error()) : result;
}

int TsMuxer::finish() {
    if (!mOpen) return 0;
    const int result = av_write_trailer(mMuxer);
    const int error = mOutput->sync();
    return error != 0 ? AVERROR(error) : result;
}

}  // namespace android
