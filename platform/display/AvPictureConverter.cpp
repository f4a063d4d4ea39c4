// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AvPictureConverter"

#include "display/AvPictureConverter.h"

#include "ffmpeg/AvPicture.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace android {

namespace {

constexpr int32_t kTallestStandardPicture = 576;

// The formats with "J" are those without, and full range.
AVPixelFormat plainFormat(int format, bool* fullRange) {
    *fullRange = true;
    switch (format) {
        case AV_PIX_FMT_YUVJ420P:
            return AV_PIX_FMT_YUV420P;
        case AV_PIX_FMT_YUVJ422P:
            return AV_PIX_FMT_YUV422P;
        case AV_PIX_FMT_YUVJ444P:
            return AV_PIX_FMT_YUV444P;
        case AV_PIX_FMT_YUVJ440P:
            return AV_PIX_FMT_YUV440P;
        default:
            *fullRange = false;
            return static_cast<AVPixelFormat>(format);
    }
}

int matrixOf(const PictureFormat& format, int32_t height) {
    if (format.matrix != AVCOL_SPC_UNSPECIFIED && format.matrix != AVCOL_SPC_RGB) {
        return format.matrix;
    }
    return height > kTallestStandardPicture ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
}

}  // namespace

std::unique_ptr<PictureConverter> PictureConverter::create() {
    return std::make_unique<AvPictureConverter>();
}

sp<Picture> AvPictureConverter::toPlanar(const sp<Picture>& picture, PictureFormat* format) {
    const int matrix = matrixOf(*format, picture->height());
    const bool isStandard = matrix != AVCOL_SPC_BT709 && matrix != AVCOL_SPC_BT2020_NCL &&
                            matrix != AVCOL_SPC_BT2020_CL;
    const int resultMatrix = isStandard ? AVCOL_SPC_SMPTE170M : AVCOL_SPC_BT709;
    const AvFrameOwner frame = convert(*picture, *format, AV_PIX_FMT_YUV420P, resultMatrix);
    if (frame == nullptr) return nullptr;
    format->matrix = resultMatrix;
    format->range = AVCOL_RANGE_MPEG;
    return new AvPicture(frame, picture->mediaTimeUs());
}

bool AvPictureConverter::toPng(const sp<Picture>& picture, const PictureFormat& format,
                               std::vector<uint8_t>* png) {
    const AvFrameOwner frame = convert(*picture, format, AV_PIX_FMT_RGB24, AVCOL_SPC_RGB);
    if (frame == nullptr) return false;
    frame->sample_aspect_ratio = {format.aspectNumerator, format.aspectDenominator};
    return openEncoder(*frame) && encode(*frame, png);
}

AvFrameOwner AvPictureConverter::convert(const Picture& picture, const PictureFormat& format,
                                         AVPixelFormat pixelFormat, int matrix) {
    const AvPicture* const known = AvPicture::of(&picture);
    if (known == nullptr) return {};
    const AVFrame& source = *known->frame();
    bool fullRange;
    const AVPixelFormat sourceFormat = plainFormat(source.format, &fullRange);
    fullRange = fullRange || format.range == AVCOL_RANGE_JPEG;
    if (!openScaler(source, sourceFormat, fullRange, matrixOf(format, source.height), pixelFormat,
                    matrix)) {
        return {};
    }
    AvFrameOwner result(av_frame_alloc());
    if (result == nullptr) return result;
    result->format = pixelFormat;
    result->width = source.width;
    result->height = source.height;
    if (av_frame_get_buffer(result, 0) < 0 ||
        sws_scale(mScaler, source.data, source.linesize, 0, source.height, result->data,
                  result->linesize) < 0) {
        result.reset();
    }
    return result;
}

bool AvPictureConverter::openScaler(const AVFrame& source, AVPixelFormat sourceFormat,
                                    bool fullRange, int sourceMatrix, AVPixelFormat resultFormat,
                                    int resultMatrix) {
    const std::array<int, 7> key = {source.width, source.height, sourceFormat, fullRange,
                                    sourceMatrix, resultFormat,  resultMatrix};
    if (mScaler != nullptr && key == mScalerKey) return true;
    mScaler.reset(sws_alloc_context());
    if (mScaler == nullptr) return false;
    mScalerKey = key;
    av_opt_set_int(mScaler, "srcw", source.width, 0);
    av_opt_set_int(mScaler, "srch", source.height, 0);
    av_opt_set_int(mScaler, "src_format", sourceFormat, 0);
    av_opt_set_int(mScaler, "dstw", source.width, 0);
    av_opt_set_int(mScaler, "dsth", source.height, 0);
    av_opt_set_int(mScaler, "dst_format", resultFormat, 0);
    av_opt_set_int(mScaler, "sws_flags", SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, 0);
    // Told before it is initialised: it takes two equal formats of different range for a copy else.
    av_opt_set_int(mScaler, "src_range", fullRange, 0);
    av_opt_set_int(mScaler, "dst_range", 0, 0);
    if (sws_init_context(mScaler, nullptr, nullptr) < 0) {
        mScaler.reset();
        return false;
    }
    constexpr int kOne = 1 << 16;  // contrast and saturation as they are
    // libswscale's tables are numbered as the standard numbers matrices.
    sws_setColorspaceDetails(mScaler, sws_getCoefficients(sourceMatrix), fullRange,
                             sws_getCoefficients(resultMatrix), 0, 0, kOne, kOne);
    return true;
}

bool AvPictureConverter::openEncoder(const AVFrame& frame) {
    const AVRational aspect = frame.sample_aspect_ratio;
    if (mEncoder != nullptr && mEncoder->width == frame.width && mEncoder->height == frame.height &&
        av_cmp_q(mEncoder->sample_aspect_ratio, aspect) == 0) {
        return true;
    }
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
    mEncoder.reset(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
    if (mEncoder == nullptr) return false;
    mEncoder->width = frame.width;
    mEncoder->height = frame.height;
    mEncoder->pix_fmt = AV_PIX_FMT_RGB24;
    mEncoder->sample_aspect_ratio = aspect;
    mEncoder->time_base = {1, 1};
    mEncoder->thread_count = 1;
    if (avcodec_open2(mEncoder, codec, nullptr) == 0) return true;
    mEncoder.reset();
    return false;
}

bool AvPictureConverter::encode(const AVFrame& frame, std::vector<uint8_t>* bytes) {
    const AvPacketOwner packet(av_packet_alloc());
    const bool encoded = packet != nullptr && avcodec_send_frame(mEncoder, &frame) == 0 &&
                         avcodec_receive_packet(mEncoder, packet) == 0;
    if (encoded) bytes->assign(packet->data, packet->data + packet->size);
    return encoded;
}

}  // namespace android
