// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "ComponentTable"

#include "codec/ComponentTable.h"

#include <cstring>
#include <deque>
#include <mutex>

#include "codec/AacEncoder.h"
#include "codec/AvAudioDecoder.h"
#include "codec/AvVideoDecoder.h"
#include "codec/AvcEncoder.h"

namespace android {

namespace {

constexpr CodecDirection kDecoder = CodecDirection::kDecoder;
constexpr CodecDirection kEncoder = CodecDirection::kEncoder;

sp<CodecComponent> createAac(const AString& /*mime*/) {
    return createAacEncoder();
}

std::mutex gRowsLock;
// Rows never move: they are handed out by address. Guarded by gRowsLock.
std::deque<ComponentRow> gRows = {
        {"video/avc", kEncoder, createAvcEncoder},
        {"video/avc", kDecoder, createAvVideoDecoder},
        {"video/hevc", kDecoder, createAvVideoDecoder},
        {"video/av01", kDecoder, createAvVideoDecoder},
        {"video/x-vnd.on2.vp8", kDecoder, createAvVideoDecoder},
        {"video/x-vnd.on2.vp9", kDecoder, createAvVideoDecoder},
        {"video/mp4v-es", kDecoder, createAvVideoDecoder},
        {"video/mpeg2", kDecoder, createAvVideoDecoder},
        {"video/3gpp", kDecoder, createAvVideoDecoder},
        {"video/x-motion-jpeg", kDecoder, createAvVideoDecoder},
        {"video/*", kDecoder, createAvVideoDecoder},
        {"audio/mp4a-latm", kEncoder, createAac},
        {"audio/mp4a-latm", kDecoder, createAvAudioDecoder},
        {"audio/mpeg", kDecoder, createAvAudioDecoder},
        {"audio/opus", kDecoder, createAvAudioDecoder},
        {"audio/vorbis", kDecoder, createAvAudioDecoder},
        {"audio/flac", kDecoder, createAvAudioDecoder},
        {"audio/ac3", kDecoder, createAvAudioDecoder},
        {"audio/raw", kDecoder, createAvAudioDecoder},
        {"audio/*", kDecoder, createAvAudioDecoder},
};

bool serves(const ComponentRow& row, const AString& mime) {
    const size_t length = strlen(row.type);
    if (row.type[length - 1] != '*') return mime.equalsIgnoreCase(row.type);
    return mime.startsWithIgnoreCase(AString(row.type, length - 1).c_str());
}

}  // namespace

const ComponentRow* findComponent(const AString& mime, CodecDirection direction) {
    std::lock_guard<std::mutex> lock(gRowsLock);
    for (const ComponentRow& row : gRows) {
        if (row.direction == direction && serves(row, mime)) return &row;
    }
    return nullptr;
}

const ComponentRow* findComponentByName(const AString& name) {
    std::lock_guard<std::mutex> lock(gRowsLock);
    for (const ComponentRow& row : gRows) {
        const sp<CodecComponent> component = row.create(row.type);
        if (component != nullptr && component->name() == name) return &row;
    }
    return nullptr;
}

void addComponent(const ComponentRow& row) {
    std::lock_guard<std::mutex> lock(gRowsLock);
    gRows.push_front(row);
}

}  // namespace android
