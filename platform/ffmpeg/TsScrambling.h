// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>

namespace android {

// Finds the scrambled streams of a transport stream, of which a demuxer says nothing: it skips
// them. A stream counts as scrambled when its packets are marked so and nothing begins where they
// say that something does; the mark alone may be left over from a descrambler. Other files have no
// such streams. Not locked.
class TsScrambling {
  public:
    // Some bytes of the file, in any order.
    void watch(int64_t position, const uint8_t* data, size_t size);

    bool isScrambled(int pid) const;

  private:
    bool isInStep(const uint8_t* data, size_t size, size_t from) const;
    bool findStep(int64_t position, const uint8_t* data, size_t size);
    void watchPacket(const uint8_t* packet);

    size_t mPacketSize = 0;      // 0: not known
    int64_t mFirst = 0;          // position of a packet
    std::map<int, int> mMisses;  // by stream, since a beginning was found
};

}  // namespace android
