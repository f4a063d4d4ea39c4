// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "copy/CopyMuxer.h"

#include <string.h>

#include <algorithm>

#include "ffmpeg/DisplayMatrix.h"
#include "writer/MuxerTags.h"

namespace android {

namespace {

// Finer than a sample of sound may last, so that what an edit list hides is hidden exactly.
constexpr int kMovieTimeScale = 90000;
constexpr int kDecoderDelayUs = 700000;

}  // namespace

CopyMuxer::CopyMuxer(int descriptor, bool isMp4)
    : mIsMp4(isMp4),
      mOutput(descriptor),
      mStream(isMp4, [this](int64_t position, const uint8_t* data, int size) {
          return take(position, data, size);
      }) {}

int CopyMuxer::open(const CopyTrack* pictures, const CopyTrack* sound) {
    mMuxer = newMuxer(mIsMp4 ? "mp4" : "mpegts", &mStream);
    if (mMuxer == nullptr) return AVERROR(ENOMEM);
    mMuxer->max_delay = kDecoderDelayUs;
    const oxa::host::OutputTags tags = oxa::host::outputTags();
    addMetadata(mMuxer, tags);
    int error = addChapters(mMuxer, tags);
    if (error >= 0 && pictures != nullptr) {
        error = addStream(*pictures, kCopyPictures, tags.pictureLanguage);
    }
    if (error >= 0 && sound != nullptr) {
        error = addStream(*sound, kCopySound, tags.soundLanguage);
    }
    if (error < 0) return error;
    AvDictionaryOwner options;
    av_dict_set(options.address(), "brand", "isom", 0);
    av_dict_set(options.address(), "use_editlist", "1", 0);
    av_dict_set_int(options.address(), "movie_timescale", kMovieTimeScale, 0);
    // Every frame of sound has a time of its own, so that a gap stays where it is.
    av_dict_set(options.address(), "pes_payload_size", "0", 0);
    error = avformat_write_header(mMuxer, options.address());
    mIsOpen = error >= 0;
    return result(error);
}

int CopyMuxer::addStream(const CopyTrack& track, CopyKind kind, const std::string& language) {
    AVStream* const stream = avformat_new_stream(mMuxer, nullptr);
    if (stream == nullptr) return AVERROR(ENOMEM);
    mStreams[kind] = stream;
    mTimeBases[kind] = track.timeBase;
    stream->time_base = track.timeBase;
    stream->sample_aspect_ratio = track.pixelAspect;
    stream->disposition = track.disposition;
    if (!language.empty()) av_dict_set(&stream->metadata, "language", language.c_str(), 0);
    const int error = avcodec_parameters_copy(stream->codecpar, track.parameters);
    if (error < 0 || track.displayMatrix.empty()) return error;
    uint8_t* const matrix = newDisplayMatrix(stream);
    if (matrix == nullptr) return AVERROR(ENOMEM);
    memcpy(matrix, track.displayMatrix.data(), kDisplayMatrixSize);
    return 0;
}

int CopyMuxer::take(int64_t position, const uint8_t* data, int size) {
    if (position < mEnd) {
        const int64_t old = std::min<int64_t>(size, mEnd - position);
        if (mOutput.writeAt(position, data, old) != 0) return mOutput.error();
        data += old;
        size -= static_cast<int>(old);
    }
    mEnd += size;
    return size > 0 ? mOutput.append(data, size) : 0;
}

int CopyMuxer::write(AVPacket* packet) {
    const int kind = packet->stream_index;
    packet->stream_index = mStreams[kind]->index;
    av_packet_rescale_ts(packet, mTimeBases[kind], mStreams[kind]->time_base);
    return result(av_write_frame(mMuxer, packet));
}

int CopyMuxer::finish() {
    if (!mIsOpen) return 0;
    mIsOpen = false;
    const int error = av_write_trailer(mMuxer);
    avio_flush(mStream.context());
    if (error < 0) return result(error);
    return AVERROR(mOutput.sync());
}

// Libavformat may hide the output's error behind one of its own, or behind none.
int CopyMuxer::result(int muxerResult) const {
    return mOutput.error() != 0 ? AVERROR(mOutput.error()) : std::min(muxerResult, 0);
}

}  // namespace android
