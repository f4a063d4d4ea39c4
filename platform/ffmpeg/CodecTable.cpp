// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "ffmpeg/CodecTable.h"

#include <media/stagefright/foundation/MediaDefs.h>
#include <strings.h>

#include <cstring>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace android {

namespace {

constexpr AVMediaType kVideo = AVMEDIA_TYPE_VIDEO;
constexpr AVMediaType kAudio = AVMEDIA_TYPE_AUDIO;
constexpr char kOtherVideo[] = "video/x-";
constexpr char kOtherAudio[] = "audio/x-";

// The codec in a type of this prefix.
AVCodecID otherCodec(const char* mime, const char* prefix) {
    const size_t length = strlen(prefix);
    if (strncasecmp(mime, prefix, length) != 0) return AV_CODEC_ID_NONE;
    const AVCodecDescriptor* const other = avcodec_descriptor_get_by_name(mime + length);
    return other == nullptr ? AV_CODEC_ID_NONE : other->id;
}

}  // namespace

const std::vector<CodecRow>& codecTable() {
    // Types in quotes are those that Android 11 has no name for.
    static const std::vector<CodecRow> kTable = {
            {MEDIA_MIMETYPE_VIDEO_AVC, AV_CODEC_ID_H264, kVideo, 0},
            {MEDIA_MIMETYPE_VIDEO_HEVC, AV_CODEC_ID_HEVC, kVideo, 0},
            {MEDIA_MIMETYPE_VIDEO_VP8, AV_CODEC_ID_VP8, kVideo, 0},
            {MEDIA_MIMETYPE_VIDEO_VP9, AV_CODEC_ID_VP9, kVideo, 0},
            {MEDIA_MIMETYPE_VIDEO_AV1, AV_CODEC_ID_AV1, kVideo, 0},
            {MEDIA_MIMETYPE_VIDEO_MPEG4, AV_CODEC_ID_MPEG4, kVideo, 0},
            {MEDIA_MIMETYPE_VIDEO_H263, AV_CODEC_ID_H263, kVideo, 0},
            {MEDIA_MIMETYPE_VIDEO_MPEG2, AV_CODEC_ID_MPEG2VIDEO, kVideo, 0},
            {MEDIA_MIMETYPE_VIDEO_MPEG2, AV_CODEC_ID_MPEG1VIDEO, kVideo, 0},
            {MEDIA_MIMETYPE_VIDEO_MJPEG, AV_CODEC_ID_MJPEG, kVideo, 0},
            {"video/mjpeg", AV_CODEC_ID_MJPEG, kVideo, 0},
            {"video/theora", AV_CODEC_ID_THEORA, kVideo, 0},
            {MEDIA_MIMETYPE_VIDEO_RAW, AV_CODEC_ID_RAWVIDEO, kVideo, 0},
            {MEDIA_MIMETYPE_AUDIO_AAC, AV_CODEC_ID_AAC, kAudio, 1024},
            {MEDIA_MIMETYPE_AUDIO_MPEG, AV_CODEC_ID_MP3, kAudio, 0},
            {MEDIA_MIMETYPE_AUDIO_MPEG_LAYER_I, AV_CODEC_ID_MP1, kAudio, 0},
            {MEDIA_MIMETYPE_AUDIO_MPEG_LAYER_II, AV_CODEC_ID_MP2, kAudio, 0},
            {MEDIA_MIMETYPE_AUDIO_AMR_NB, AV_CODEC_ID_AMR_NB, kAudio, 160},
            {MEDIA_MIMETYPE_AUDIO_AMR_WB, AV_CODEC_ID_AMR_WB, kAudio, 320},
            {MEDIA_MIMETYPE_AUDIO_VORBIS, AV_CODEC_ID_VORBIS, kAudio, 0},
            {MEDIA_MIMETYPE_AUDIO_OPUS, AV_CODEC_ID_OPUS, kAudio, 0},
            {MEDIA_MIMETYPE_AUDIO_FLAC, AV_CODEC_ID_FLAC, kAudio, 0},
            {MEDIA_MIMETYPE_AUDIO_ALAC, AV_CODEC_ID_ALAC, kAudio, 0},
            {MEDIA_MIMETYPE_AUDIO_AC3, AV_CODEC_ID_AC3, kAudio, 0},
            {MEDIA_MIMETYPE_AUDIO_EAC3, AV_CODEC_ID_EAC3, kAudio, 0},
            {"audio/vnd.dts", AV_CODEC_ID_DTS, kAudio, 0},
            {"audio/vnd.dolby.mlp", AV_CODEC_ID_TRUEHD, kAudio, 0},
            {MEDIA_MIMETYPE_AUDIO_MSGSM, AV_CODEC_ID_GSM_MS, kAudio, 0},
            {MEDIA_MIMETYPE_AUDIO_G711_ALAW, AV_CODEC_ID_PCM_ALAW, kAudio, 0},
            {MEDIA_MIMETYPE_AUDIO_G711_MLAW, AV_CODEC_ID_PCM_MULAW, kAudio, 0},
            {MEDIA_MIMETYPE_AUDIO_RAW, AV_CODEC_ID_PCM_S16LE, kAudio, 0},
    };
    return kTable;
}

const CodecRow* findCodec(const char* mime) {
    for (const CodecRow& row : codecTable()) {
        if (strcasecmp(row.mime, mime) == 0) return &row;
    }
    return nullptr;
}

std::string mimeForCodec(const AVCodecParameters& parameters) {
    for (const CodecRow& row : codecTable()) {
        if (row.codec == parameters.codec_id) return row.mime;
    }
    const char* const prefix = parameters.codec_type == kVideo ? kOtherVideo : kOtherAudio;
    return std::string(prefix) + avcodec_get_name(parameters.codec_id);
}

AVCodecID codecForMime(const char* mime) {
    const CodecRow* const row = findCodec(mime);
    if (row != nullptr) return row->codec;
    const AVCodecID video = otherCodec(mime, kOtherVideo);
    return video != AV_CODEC_ID_NONE ? video : otherCodec(mime, kOtherAudio);
}

}  // namespace android
