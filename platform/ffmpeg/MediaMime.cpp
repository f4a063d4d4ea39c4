// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "ffmpeg/MediaMime.h"

#include <media/stagefright/foundation/MediaDefs.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace android {

namespace {

// Types that Android 11 has no name for.
constexpr const char* kMimeTypeVideoTheora = "video/theora";
constexpr const char* kMimeTypeAudioDts = "audio/vnd.dts";
constexpr const char* kMimeTypeAudioTrueHd = "audio/vnd.dolby.mlp";

const char* knownMime(AVCodecID codec) {
    switch (codec) {
        case AV_CODEC_ID_H264:
            return MEDIA_MIMETYPE_VIDEO_AVC;
        case AV_CODEC_ID_HEVC:
            return MEDIA_MIMETYPE_VIDEO_HEVC;
        case AV_CODEC_ID_VP8:
            return MEDIA_MIMETYPE_VIDEO_VP8;
        case AV_CODEC_ID_VP9:
            return MEDIA_MIMETYPE_VIDEO_VP9;
        case AV_CODEC_ID_AV1:
            return MEDIA_MIMETYPE_VIDEO_AV1;
        case AV_CODEC_ID_MPEG4:
            return MEDIA_MIMETYPE_VIDEO_MPEG4;
        case AV_CODEC_ID_H263:
            return MEDIA_MIMETYPE_VIDEO_H263;
        case AV_CODEC_ID_MPEG1VIDEO:
        case AV_CODEC_ID_MPEG2VIDEO:
            return MEDIA_MIMETYPE_VIDEO_MPEG2;
        case AV_CODEC_ID_MJPEG:
            return MEDIA_MIMETYPE_VIDEO_MJPEG;
        case AV_CODEC_ID_THEORA:
            return kMimeTypeVideoTheora;
        case AV_CODEC_ID_RAWVIDEO:
            return MEDIA_MIMETYPE_VIDEO_RAW;
        case AV_CODEC_ID_AAC:
            return MEDIA_MIMETYPE_AUDIO_AAC;
        case AV_CODEC_ID_MP3:
            return MEDIA_MIMETYPE_AUDIO_MPEG;
        case AV_CODEC_ID_MP1:
            return MEDIA_MIMETYPE_AUDIO_MPEG_LAYER_I;
        case AV_CODEC_ID_MP2:
            return MEDIA_MIMETYPE_AUDIO_MPEG_LAYER_II;
        case AV_CODEC_ID_AMR_NB:
            return MEDIA_MIMETYPE_AUDIO_AMR_NB;
        case AV_CODEC_ID_AMR_WB:
            return MEDIA_MIMETYPE_AUDIO_AMR_WB;
        case AV_CODEC_ID_VORBIS:
            return MEDIA_MIMETYPE_AUDIO_VORBIS;
        case AV_CODEC_ID_OPUS:
            return MEDIA_MIMETYPE_AUDIO_OPUS;
        case AV_CODEC_ID_FLAC:
            return MEDIA_MIMETYPE_AUDIO_FLAC;
        case AV_CODEC_ID_ALAC:
            return MEDIA_MIMETYPE_AUDIO_ALAC;
        case AV_CODEC_ID_AC3:
            return MEDIA_MIMETYPE_AUDIO_AC3;
        case AV_CODEC_ID_EAC3:
            return MEDIA_MIMETYPE_AUDIO_EAC3;
        case AV_CODEC_ID_DTS:
            return kMimeTypeAudioDts;
        case AV_CODEC_ID_TRUEHD:
            return kMimeTypeAudioTrueHd;
        case AV_CODEC_ID_GSM_MS:
            return MEDIA_MIMETYPE_AUDIO_MSGSM;
        case AV_CODEC_ID_PCM_ALAW:
            return MEDIA_MIMETYPE_AUDIO_G711_ALAW;
        case AV_CODEC_ID_PCM_MULAW:
            return MEDIA_MIMETYPE_AUDIO_G711_MLAW;
        case AV_CODEC_ID_PCM_S16LE:
            return MEDIA_MIMETYPE_AUDIO_RAW;
        default:
            return nullptr;
    }
}

}  // namespace

std::string mimeForCodec(const AVCodecParameters& parameters) {
    const char* const known = knownMime(parameters.codec_id);
    if (known != nullptr) return known;
    const char* const kind = parameters.codec_type == AVMEDIA_TYPE_VIDEO ? "video/x-" : "audio/x-";
    return std::string(kind) + avcodec_get_name(parameters.codec_id);
}

}  // namespace android
