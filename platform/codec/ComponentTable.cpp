// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "ComponentTable"

#include "codec/ComponentTable.h"

#include <cstring>
#include <deque>

#include "base/AnnotatedMutex.h"
#include "codec/AacEncoder.h"
#include "codec/AvAudioDecoder.h"
#include "codec/AvVideoDecoder.h"
#include "codec/AvcEncoder.h"
#include "ffmpeg/CodecTable.h"

namespace android {

namespace {

constexpr CodecDirection kDecoder = CodecDirection::kDecoder;
constexpr CodecDirection kEncoder = CodecDirection::kEncoder;

sp<CodecComponent> createAac(const AString& /*mime*/) {
    return createAacEncoder();
}

// The rows behind all that were added.
std::deque<ComponentRow> usualRows() {
    std::deque<ComponentRow> rows = {{"video/avc", kEncoder, createAvcEncoder},
                                     {"audio/mp4a-latm", kEncoder, createAac}};
    for (const CodecRow& codec : codecTable()) {
        const bool isVideo = codec.kind == AVMEDIA_TYPE_VIDEO;
        rows.push_back(
                {codec.mime, kDecoder, isVideo ? createAvVideoDecoder : createAvAudioDecoder});
    }
    rows.push_back({"video/*", kDecoder, createAvVideoDecoder});
    rows.push_back({"audio/*", kDecoder, createAvAudioDecoder});
    return rows;
}

AnnotatedMutex gRowsLock;
// Rows never move: they are handed out by address.
std::deque<ComponentRow>& rows() REQUIRES(gRowsLock) {
    static auto& rows = *new std::deque<ComponentRow>(usualRows());
    return rows;
}

bool serves(const ComponentRow& row, const AString& mime) {
    const size_t length = strlen(row.type);
    if (row.type[length - 1] != '*') return mime.equalsIgnoreCase(row.type);
    return mime.startsWithIgnoreCase(AString(row.type, length - 1).c_str());
}

}  // namespace

const ComponentRow* findComponent(const AString& mime, CodecDirection direction) {
    AnnotatedLock lock(gRowsLock);
    for (const ComponentRow& row : rows()) {
        if (row.direction == direction && serves(row, mime)) return &row;
    }
    return nullptr;
}

const ComponentRow* findComponentByName(const AString& name) {
    AnnotatedLock lock(gRowsLock);
    for (const ComponentRow& row : rows()) {
        const sp<CodecComponent> component = row.create(row.type);
        if (component != nullptr && component->name() == name) return &row;
    }
    return nullptr;
}

void addComponent(const ComponentRow& row) {
    AnnotatedLock lock(gRowsLock);
    rows().push_front(row);
}

}  // namespace android
