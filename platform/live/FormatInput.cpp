// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "FormatInput"

#include <datasource/FileSource.h>
#include <errno.h>
#include <log/log.h>
#include <unistd.h>
#include <utils/Timers.h>

#include <algorithm>
#include <memory>
#include <thread>

#include "base/Module.h"
#include "base/Monotonic.h"
#include "ffmpeg/AvError.h"
#include "ffmpeg/AvLog.h"
#include "ffmpeg/AvOwner.h"
#include "ffmpeg/DataSourceStream.h"
#include "ffmpeg/MediaLimits.h"
#include "ffmpeg/StreamInfo.h"
#include "ffmpeg/TimeBase.h"
#include "live/DeviceModule.h"
#include "live/DeviceOptions.h"
#include "live/FrameTimes.h"
#include "live/LiveInput.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace android {

namespace {

constexpr unsigned kMaxThreads = 4;

// One stream of a device or of a media file.
class FormatInput : public LiveInput {
  public:
    FormatInput(const LiveSource& source, LiveKind kind) : mSource(source), mKind(kind) {
        routeAvLog();
        limitAvAllocations();
    }

    int open(const LiveOptions& options) {
        int err = openFormat(options);
        // A device tells all when it is opened; there is nothing to read ahead.
        if (err >= 0 && !mSource.isDevice()) err = completeStreamInfo(mFormat);
        if (err >= 0) err = chooseStream();
        return err < 0 ? err : openDecoder();
    }

    LiveInfo info() const override {
        LiveInfo info;
        if (mKind == LiveKind::kPicture) {
            info.width = mDecoder->width;
            info.height = mDecoder->height;
            info.frameRate = frameRateOf(*mStream);
        } else {
            info.sampleRate = mDecoder->sample_rate;
        }
        return info;
    }

    int read(AVFrame* frame) override {
        for (;;) {
            int err = avcodec_receive_frame(mDecoder, frame);
            if (err >= 0) {
                frame->pts = timeOf(*frame);
                return 0;
            }
            if (err == AVERROR_EOF) return err;
            // It wants a packet, or has found damage, which ends with the packet.
            err = feed();
            if (err < 0) return err;
        }
    }

    bool rewind() override {
        const int64_t durationUs = fileDurationUs(*mFormat);
        if (mSource.isDevice() || durationUs == 0) return false;
        const int64_t startUs = fileStartUs(*mFormat);
        if (avformat_seek_file(mFormat, -1, INT64_MIN, startUs, startUs, 0) < 0) return false;
        avcodec_flush_buffers(mDecoder);
        mEnded = false;
        mRepeatUs += durationUs;
        return true;
    }

  private:
    int openFormat(const LiveOptions& options) {
        AvDictionaryOwner settings;
        const AVInputFormat* device = nullptr;
        int err = 0;
        if (mSource.isDevice()) {
            DeviceOptions wanted;
            err = mSource.scheme->ask(mSource.name, options, &wanted);
            device = av_find_input_format(mSource.scheme->device);
            if (err >= 0 && device == nullptr) err = AVERROR_DEMUXER_NOT_FOUND;
            for (const auto& [name, value] : wanted.settings) {
                av_dict_set(settings.address(), name.c_str(), value.c_str(), 0);
            }
            mFormat.reset(avformat_alloc_context());
            if (mFormat != nullptr) mFormat->flags |= AVFMT_FLAG_NONBLOCK;
            mWallClockUs = systemTime(SYSTEM_TIME_REALTIME) / 1000 - monotonicUs();
        }
        if (!mSource.isDevice()) err = readFile();
        if (err < 0) return err;
        return avformat_open_input(mFormat.address(), mSource.name.c_str(), device,
                                   settings.address());
    }

    int readFile() {
        if (access(mSource.name.c_str(), R_OK) != 0) return AVERROR(errno);
        mFormat.reset(avformat_alloc_context());
        if (mFormat == nullptr) return AVERROR(ENOMEM);
        mFile = std::make_unique<DataSourceStream>(new FileSource(mSource.name.c_str()));
        mFile->feed(mFormat);
        return 0;
    }

    int chooseStream() {
        const AVMediaType type =
                mKind == LiveKind::kPicture ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO;
        for (unsigned i = 0; i < mFormat->nb_streams; ++i) {
            AVStream* const stream = mFormat->streams[i];
            const bool isCover = (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
            if (mStream == nullptr && stream->codecpar->codec_type == type && !isCover) {
                mStream = stream;
            } else {
                stream->discard = AVDISCARD_ALL;
            }
        }
        return mStream == nullptr ? AVERROR_STREAM_NOT_FOUND : 0;
    }

    int openDecoder() {
        const AVCodec* codec = avcodec_find_decoder(mStream->codecpar->codec_id);
        if (codec == nullptr) return AVERROR_DECODER_NOT_FOUND;
        mDecoder.reset(avcodec_alloc_context3(codec));
        mPacket.reset(av_packet_alloc());
        if (mDecoder == nullptr || mPacket == nullptr) return AVERROR(ENOMEM);
        const int err = avcodec_parameters_to_context(mDecoder, mStream->codecpar);
        if (err < 0) return err;
        mDecoder->pkt_timebase = mStream->time_base;
        mDecoder->max_pixels = limits::kMaxPicturePoints;
        // Threads hold pictures back: a device's are wanted at once.
        mDecoder->thread_count =
                mSource.isDevice() ? 1
                                   : static_cast<int>(std::clamp(
                                             std::thread::hardware_concurrency(), 1U, kMaxThreads));
        return avcodec_open2(mDecoder, codec, nullptr);
    }

    // Gives the decoder one packet, or the end.
    int feed() {
        for (;;) {
            if (mEnded) return AVERROR_EOF;
            int err = av_read_frame(mFormat, mPacket);
            if (err == AVERROR_EOF) {
                mEnded = true;
                err = avcodec_send_packet(mDecoder, nullptr);
                return err == AVERROR_EOF ? 0 : err;
            }
            if (err < 0) return err;
            const bool isOurs = mPacket->stream_index == mStream->index;
            // A packet that cannot be decoded is left out: the next one may be whole.
            if (isOurs) avcodec_send_packet(mDecoder, mPacket);
            av_packet_unref(mPacket);
            if (isOurs) return 0;
        }
    }

    int64_t timeOf(const AVFrame& frame) {
        int64_t timeUs = AV_NOPTS_VALUE;
        if (frame.best_effort_timestamp != AV_NOPTS_VALUE) {
            timeUs = av_rescale_q(frame.best_effort_timestamp, mStream->time_base, kMicroseconds);
        }
        if (mSource.isDevice()) return monotonicTimeOf(timeUs, monotonicUs(), mWallClockUs);
        if (timeUs != AV_NOPTS_VALUE) timeUs += mRepeatUs - fileStartUs(*mFormat);
        return mTimes.next(frame, timeUs, frameRateOf(*mStream));
    }

    const LiveSource mSource;
    const LiveKind mKind;
    std::unique_ptr<DataSourceStream> mFile;  // null for a device
    AvDemuxerOwner mFormat;                   // reads from mFile
    AVStream* mStream = nullptr;              // the context's
    AvCodecOwner mDecoder;
    AvPacketOwner mPacket;
    bool mEnded = false;
    int64_t mRepeatUs = 0;  // how long the former rounds were
    FrameTimes mTimes;
    int64_t mWallClockUs = 0;  // the wall clock minus the monotonic clock
};

}  // namespace

std::string liveOpenError(const LiveSource& source, int averror) {
    std::string cause = avErrorText(averror);
    if (averror == AVERROR_STREAM_NOT_FOUND) cause = "nothing of the kind is in it";
    if (averror == AVERROR_DEMUXER_NOT_FOUND) cause = "this build has no such devices";
    return "cannot open '" + source.name + "': " + cause;
}

std::unique_ptr<LiveInput> openFormatInput(const LiveSource& source, const LiveOptions& options,
                                           std::string* error) {
    if (source.isDevice()) {
        const auto* module = loadModule<DeviceModule>(error);
        if (module == nullptr) return nullptr;
        module->registerDevices();
    }
    auto input = std::make_unique<FormatInput>(source, options.kind);
    const int err = input->open(options);
    if (err >= 0) return input;
    *error = liveOpenError(source, err);
    return nullptr;
}

}  // namespace android
