// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PictureConversion"

#include "ffmpeg/PictureConversion.h"

#include "base/Module.h"
#include "ffmpeg/PictureFilterModule.h"
#include "ffmpeg/PictureScaler.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace android {

namespace {

bool isPlain(int format) {
    return format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUVJ420P ||
           format == AV_PIX_FMT_NV12;
}

bool isRgb(int format) {
    const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
    return description != nullptr &&
           (description->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
}

// The 8-bit 4:2:0 format that keeps the range of the samples.
AVPixelFormat plainFormatFor(int format) {
    return PictureScaler::isFullRange(format) ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P;
}

bool isHdr(const AVFrame& frame) {
    return frame.color_trc == AVCOL_TRC_SMPTE2084 || frame.color_trc == AVCOL_TRC_ARIB_STD_B67;
}

// To light, in which 1 is the white of a picture without HDR; to the primaries of BT.709; what is
// brighter than that white towards it; and back. The scaler's numbers are the standard's.
std::string toneMapping(const AVFrame& frame) {
    const auto orBt2020 = [](int value, int unspecified, int bt2020) {
        return std::to_string(value == unspecified ? bt2020 : value);
    };
    const std::string range = frame.color_range == AVCOL_RANGE_JPEG ? "full" : "limited";
    return "zscale=transferin=" + std::to_string(frame.color_trc) + ":rangein=" + range +
           ":primariesin=" +
           orBt2020(frame.color_primaries, AVCOL_PRI_UNSPECIFIED, AVCOL_PRI_BT2020) +
           ":matrixin=" + orBt2020(frame.colorspace, AVCOL_SPC_UNSPECIFIED, AVCOL_SPC_BT2020_NCL) +
           ":transfer=linear:npl=100,format=gbrpf32le,zscale=primaries=bt709,"
           "tonemap=hable:desat=0,zscale=transfer=bt709:matrix=bt709:range=limited";
}

void append(std::string* chain, const std::string& filter) {
    if (filter.empty()) return;
    if (!chain->empty()) *chain += ',';
    *chain += filter;
}

}  // namespace

PictureConversion::PictureConversion() : mPassing(av_frame_alloc()) {}

void PictureConversion::start(const Conversion& conversion, AVRational timeBase) {
    drop();
    av_frame_unref(mPassing);
    mConversion = conversion;
    mTimeBase = timeBase;
    mOutputTimeBase = timeBase;
}

bool PictureConversion::isChange(const AVFrame& frame) const {
    return mFilter != nullptr &&
           (frame.width != mWidth || frame.height != mHeight || frame.format != mFormat ||
            frame.color_range != mRange || isHdr(frame) != mIsHdr);
}

int PictureConversion::push(AVFrame* frame) {
    if (mFinished || isChange(*frame)) drop();
    if (mFilter == nullptr && !needsFilters(*frame) && !isScaled(*frame)) {
        mOutputTimeBase = mTimeBase;
        av_frame_unref(mPassing);
        av_frame_move_ref(mPassing, frame);
        return 0;
    }
    const int err = mFilter == nullptr ? open(*frame) : 0;
    if (err >= 0) return mFilter->push(frame);
    av_frame_unref(frame);
    return err;
}

int PictureConversion::finish(int64_t endPts) {
    if (mFilter == nullptr || mFinished) return 0;
    mFinished = true;
    return mFilter->finish(endPts);
}

int PictureConversion::pull(AVFrame* frame) {
    if (mPassing->buf[0] != nullptr) {
        av_frame_move_ref(frame, mPassing);
        return 0;
    }
    const int err = mFilter == nullptr ? AVERROR(EAGAIN) : mFilter->pull(frame);
    // What they are told to be is still the source's, and what the scaler made of it is this.
    if (err >= 0 && isRgb(mFormat) && !isRgb(frame->format)) {
        frame->colorspace = AVCOL_SPC_SMPTE170M;
        frame->color_range = AVCOL_RANGE_MPEG;
    }
    return err;
}

bool PictureConversion::needsFilters(const AVFrame& frame) const {
    return isHdr(frame) || mConversion.deinterlace != 0 || *turn() != '\0' ||
           mConversion.frameRate != 0;
}

bool PictureConversion::isScaled(const AVFrame& frame) const {
    const Conversion& c = mConversion;
    if (c.width != 0 && (c.width != frame.width || c.height != frame.height)) return true;
    return resultFormat(frame) != frame.format;
}

AVPixelFormat PictureConversion::resultFormat(const AVFrame& frame) const {
    if (mConversion.pixelFormat != AV_PIX_FMT_NONE) return mConversion.pixelFormat;
    const auto format = static_cast<AVPixelFormat>(frame.format);
    return isPlain(format) ? format : plainFormatFor(format);
}

std::string PictureConversion::filters(const AVFrame& frame) const {
    const Conversion& c = mConversion;
    const std::string rate = c.frameRate == 0 ? "" : "fps=" + std::to_string(c.frameRate);
    const bool rateLast = c.sourceFrameRate != 0 && c.frameRate > c.sourceFrameRate;
    std::string chain;
    if (c.deinterlace == 1) append(&chain, "bwdif=mode=send_frame:deint=interlaced");
    if (c.deinterlace == 2) append(&chain, "bwdif=mode=send_field:deint=interlaced");
    // Pictures are dropped before the work that they would cost, and repeated after it.
    if (!rateLast) append(&chain, rate);
    append(&chain, turn());
    if (c.width != 0) {
        append(&chain, "scale=" + std::to_string(c.width) + ":" + std::to_string(c.height) +
                               ":flags=bicubic,setsar=1");
    }
    if (isHdr(frame)) append(&chain, toneMapping(frame));
    const AVPixelFormat format = resultFormat(frame);
    if (format != frame.format || c.pixelFormat != AV_PIX_FMT_NONE) {
        append(&chain, std::string("format=") + av_get_pix_fmt_name(format));
    }
    if (rateLast) append(&chain, rate);
    return chain.empty() ? "null" : chain;
}

const char* PictureConversion::turn() const {
    switch (mConversion.rotationDegrees) {
        case 90:
            return mConversion.mirrored ? "transpose=cclock_flip" : "transpose=clock";
        case 180:
            return mConversion.mirrored ? "hflip" : "hflip,vflip";
        case 270:
            return mConversion.mirrored ? "transpose=clock_flip" : "transpose=cclock";
        default:
            return mConversion.mirrored ? "vflip" : "";
    }
}

int PictureConversion::open(const AVFrame& frame) {
    const auto format = static_cast<AVPixelFormat>(frame.format);
    const AVPixelFormat result = resultFormat(frame);
    const bool isResized = mConversion.width != 0;
    int err = 0;
    if (!needsFilters(frame) && PictureScaler::takes(format) && PictureScaler::takes(result)) {
        const int width = isResized ? mConversion.width : frame.width;
        const int height = isResized ? mConversion.height : frame.height;
        err = PictureScaler::open(frame, {width, height, result, isResized}, mTimeBase, &mFilter);
    } else {
        err = openFilters(frame);
    }
    if (err < 0) return err;
    mWidth = frame.width;
    mHeight = frame.height;
    mFormat = frame.format;
    mRange = frame.color_range;
    mIsHdr = isHdr(frame);
    mOutputTimeBase = mFilter->timeBase();
    return 0;
}

int PictureConversion::openFilters(const AVFrame& frame) {
    std::string error;
    const auto* module = loadModule<PictureFilterModule>(&error);
    if (module == nullptr) return AVERROR_FILTER_NOT_FOUND;
    return module->openFilters(filters(frame), frame, mTimeBase, &mFilter);
}

void PictureConversion::drop() {
    mFilter.reset();
    mFinished = false;
}

}  // namespace android
