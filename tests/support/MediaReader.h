// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace oxa::test {

template <typename Object, void (*Free)(Object**)>
struct Deleter {
    void operator()(Object* object) const { Free(&object); }
};
using FramePtr = std::unique_ptr<AVFrame, Deleter<AVFrame, av_frame_free>>;
using PacketPtr = std::unique_ptr<AVPacket, Deleter<AVPacket, av_packet_free>>;
using CodecContextPtr =
        std::unique_ptr<AVCodecContext, Deleter<AVCodecContext, avcodec_free_context>>;

// Opens a file with libavformat and walks through it once. Times are in microseconds, relative to
// the file's start time, so that those of all streams can be compared.
class MediaReader {
  public:
    // `format`: libavformat's name, for a file too short to be recognised; empty: find out.
    explicit MediaReader(const std::string& path, const std::string& format = "");
    ~MediaReader();
    MediaReader(const MediaReader&) = delete;
    MediaReader& operator=(const MediaReader&) = delete;

    bool ok() const { return mFormat != nullptr; }
    const std::string& error() const { return mError; }

    AVFormatContext* format() const { return mFormat; }
    // Index of the first stream of a kind (cover pictures do not count), -1 if there is none.
    int findStream(AVMediaType kind) const;

    int64_t toUs(int stream, int64_t streamTime) const;

    // Calls `onPacket` for every packet.
    void readPackets(const std::function<void(const AVPacket&)>& onPacket);

    using FrameHandler = std::function<void(int stream, const AVFrame& frame, int64_t timeUs)>;
    // Decodes these streams (all of picture and sound when empty) to their ends. `onPacket` may be
    // null. A stream's counts are in decodeErrors() afterwards.
    void decode(std::vector<int> streams, const FrameHandler& onFrame,
                const std::function<void(const AVPacket&)>& onPacket = nullptr);
    // Packets that the decoder refused, frames it marked as corrupt, and -1 for a stream that has
    // no decoder.
    int decodeErrors(int stream) const { return mErrors[static_cast<size_t>(stream)]; }

  private:
    CodecContextPtr openDecoder(int stream);
    void decodePacket(AVCodecContext* codec, int stream, const AVPacket* packet,
                      const FrameHandler& onFrame);

    AVFormatContext* mFormat = nullptr;
    std::string mError;
    std::vector<int> mErrors;
};

}  // namespace oxa::test
