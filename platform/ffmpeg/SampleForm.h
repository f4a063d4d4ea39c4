// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavcodec/packet.h>
}

namespace android {

// What Android's extractors make of the samples of a container: AVC and HEVC with a start code in
// front of each unit instead of its length, Vorbis with the number of its page's samples behind it.
// Not locked.
class SampleForm {
  public:
    explicit SampleForm(const AVCodecParameters& parameters);

    // The bytes that the client gets of this packet.
    size_t size(const AVPacket& packet) const;
    // Writes so many. Lengths of 4 and 3 bytes become start codes where they are.
    void write(const AVPacket& packet, uint8_t* to) const;

    // To be called with each packet before: it may bring other codec data, which is turned to what
    // goes with the samples.
    void follow(AVPacket* packet);

  private:
    enum class Kind { kPlain, kAvc, kHevc, kVorbis };

    bool hasRoomForCodes() const;
    void writeUnits(const AVPacket& packet, uint8_t* to) const;
    void takeLengthSize(const uint8_t* data, size_t size);

    Kind mKind = Kind::kPlain;
    size_t mLengthSize = 0;  // 0: the units have start codes already
};

// The codec data of a stream for a decoder that is fed in this form: "csd-0", "csd-1" and so on.
std::vector<std::vector<uint8_t>> codecData(const AVCodecParameters& parameters);

// Puts a copy in place of the codec data that is there.
void setCodecData(const std::vector<uint8_t>& data, AVCodecParameters* parameters);

// Libavcodec's codec data of Vorbis, from that of a format; the comments in between are empty.
std::vector<uint8_t> vorbisHeaders(const std::vector<uint8_t>& identification,
                                   const std::vector<uint8_t>& setup);

// Turns the codec data to what goes with these samples; for libavcodec's decoders.
void adaptCodecData(AVCodecParameters* parameters);

}  // namespace android
