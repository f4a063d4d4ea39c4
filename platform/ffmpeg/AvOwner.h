// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace android {

// The one owner of an object of FFmpeg's. It converts to the pointer that FFmpeg's functions take.
template <typename T, void (*kFree)(T**)>
class AvOwner {
  public:
    AvOwner() = default;
    explicit AvOwner(T* object) : mObject(object) {}
    AvOwner(AvOwner&& other) noexcept : mObject(other.release()) {}
    AvOwner& operator=(AvOwner&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    ~AvOwner() { reset(); }

    operator T*() const { return mObject; }
    T* operator->() const { return mObject; }
    T* get() const { return mObject; }

    void reset(T* object = nullptr) {
        if (mObject != nullptr) kFree(&mObject);
        mObject = object;
    }
    T* release() { return std::exchange(mObject, nullptr); }
    // For functions that make or replace the object.
    T** address() { return &mObject; }

  private:
    T* mObject = nullptr;
};

// For the functions that take the object itself.
template <typename T, void (*kFree)(T*)>
void freeByPointer(T** object) {
    kFree(*object);
    *object = nullptr;
}

// With its buffer, which libavformat may have replaced.
inline void freeStream(AVIOContext** stream) {
    av_freep(&(*stream)->buffer);
    avio_context_free(stream);
}

// Planes of sound, which are one block of memory.
inline void freeSamples(uint8_t*** planes) {
    av_freep(&(*planes)[0]);
    av_freep(planes);
}

using AvFrameOwner = AvOwner<AVFrame, av_frame_free>;
using AvPacketOwner = AvOwner<AVPacket, av_packet_free>;
using AvCodecOwner = AvOwner<AVCodecContext, avcodec_free_context>;
using AvParametersOwner = AvOwner<AVCodecParameters, avcodec_parameters_free>;
using AvDictionaryOwner = AvOwner<AVDictionary, av_dict_free>;
using AvDemuxerOwner = AvOwner<AVFormatContext, avformat_close_input>;
using AvMuxerOwner =
        AvOwner<AVFormatContext, freeByPointer<AVFormatContext, avformat_free_context>>;
using AvStreamOwner = AvOwner<AVIOContext, freeStream>;
using AvBufferPoolOwner = AvOwner<AVBufferPool, av_buffer_pool_uninit>;
using AvFifoOwner = AvOwner<AVAudioFifo, freeByPointer<AVAudioFifo, av_audio_fifo_free>>;
using AvResamplerOwner = AvOwner<SwrContext, swr_free>;
using AvSamplesOwner = AvOwner<uint8_t*, freeSamples>;
using AvScalerOwner = AvOwner<SwsContext, freeByPointer<SwsContext, sws_freeContext>>;

}  // namespace android
