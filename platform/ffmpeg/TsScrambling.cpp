// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "ffmpeg/TsScrambling.h"

namespace android {

namespace {

constexpr uint8_t kSyncByte = 0x47;
constexpr size_t kPacketSize = 188;
constexpr size_t kPacketSizes[] = {kPacketSize, 192, 204};
constexpr size_t kPacketsInStep = 5;
constexpr int kEnoughMisses = 2;

}  // namespace

void TsScrambling::watch(int64_t position, const uint8_t* data, size_t size) {
    if (mPacketSize == 0 && !findStep(position, data, size)) return;
    const auto step = static_cast<int64_t>(mPacketSize);
    size_t at = static_cast<size_t>(((mFirst - position) % step + step) % step);
    // What lies across the end of these bytes is left out: there are enough others.
    for (; at + kPacketSize <= size; at += mPacketSize) {
        if (data[at] != kSyncByte) {
            mPacketSize = 0;
            return;
        }
        watchPacket(data + at);
    }
}

bool TsScrambling::isScrambled(int pid) const {
    const auto misses = mMisses.find(pid);
    return misses != mMisses.end() && misses->second >= kEnoughMisses;
}

bool TsScrambling::isInStep(const uint8_t* data, size_t size, size_t from) const {
    if (from + (kPacketsInStep - 1) * mPacketSize >= size) return false;
    for (size_t i = 0; i < kPacketsInStep; ++i) {
        if (data[from + i * mPacketSize] != kSyncByte) return false;
    }
    return true;
}

bool TsScrambling::findStep(int64_t position, const uint8_t* data, size_t size) {
    for (size_t packetSize : kPacketSizes) {
        mPacketSize = packetSize;
        for (size_t from = 0; from < packetSize; ++from) {
            if (!isInStep(data, size, from)) continue;
            mFirst = position + static_cast<int64_t>(from);
            return true;
        }
    }
    mPacketSize = 0;
    return false;
}

void TsScrambling::watchPacket(const uint8_t* packet) {
    const int pid = (packet[1] & 0x1f) << 8 | packet[2];
    const bool begins = (packet[1] & 0x40) != 0;
    const bool isMarked = (packet[3] & 0xc0) != 0;
    const bool hasField = (packet[3] & 0x20) != 0;
    const bool hasPayload = (packet[3] & 0x10) != 0;
    if (!begins || !hasPayload) return;
    const size_t payload = 4 + (hasField ? packet[4] + 1 : 0);
    if (payload + 3 > kPacketSize) return;
    const bool isFound =
            packet[payload] == 0 && packet[payload + 1] == 0 && packet[payload + 2] == 1;
    if (isMarked && !isFound) {
        ++mMisses[pid];
    } else {
        mMisses.erase(pid);
    }
}

}  // namespace android
