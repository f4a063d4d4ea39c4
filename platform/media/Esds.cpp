// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "media/Esds.h"

namespace android {

namespace {

constexpr uint8_t kTagStream = 3;
constexpr uint8_t kTagDecoder = 4;
constexpr uint8_t kTagConfiguration = 5;
constexpr size_t kDecoderFields = 13;
constexpr size_t kHeaderSize = 5;  // tag and 4 bytes of length

void appendHeader(std::vector<uint8_t>* out, uint8_t tag, size_t size) {
    out->push_back(tag);
    for (int shift = 21; shift > 0; shift -= 7) {
        out->push_back(static_cast<uint8_t>(0x80 | (size >> shift & 0x7F)));
    }
    out->push_back(static_cast<uint8_t>(size & 0x7F));
}

uint32_t read32(const uint8_t* data) {
    return static_cast<uint32_t>(data[0]) << 24 | data[1] << 16 | data[2] << 8 | data[3];
}

// Steps over a descriptor's tag and length to its content; false for another tag.
bool enter(uint8_t tag, const uint8_t* data, size_t size, size_t* position, size_t* length) {
    if (*position >= size || data[*position] != tag) return false;
    ++*position;
    *length = 0;
    for (int i = 0; i < 4 && *position < size; ++i) {
        const uint8_t byte = data[(*position)++];
        *length = *length << 7 | (byte & 0x7F);
        if ((byte & 0x80) == 0) break;
    }
    return true;
}

}  // namespace

std::vector<uint8_t> makeEsds(const uint8_t* configuration, size_t size) {
    constexpr uint8_t kObjectTypeAudio = 0x40;
    constexpr uint8_t kStreamTypeAudio = 0x15;
    std::vector<uint8_t> esds;
    const size_t decoderSize = kDecoderFields + kHeaderSize + size;
    appendHeader(&esds, kTagStream, 3 + kHeaderSize + decoderSize);
    esds.insert(esds.end(), {0, 0, 0});  // id, no optional fields
    appendHeader(&esds, kTagDecoder, decoderSize);
    esds.insert(esds.end(), {kObjectTypeAudio, kStreamTypeAudio});
    esds.insert(esds.end(), {0, 0x18, 0});                    // bytes of buffer
    esds.insert(esds.end(), {0, 0, 0xFA, 0, 0, 0, 0xFA, 0});  // largest and average bit rate
    appendHeader(&esds, kTagConfiguration, size);
    esds.insert(esds.end(), configuration, configuration + size);
    return esds;
}

std::vector<uint8_t> configurationFromEsds(const uint8_t* esds, size_t size, EsdsBitRates* rates) {
    size_t position = 0;
    size_t length = 0;
    if (!enter(kTagStream, esds, size, &position, &length)) return {};
    if (size - position < 3) return {};
    const uint8_t flags = esds[position + 2];
    position += 3;
    if ((flags & 0x80) != 0) position += 2;  // depends on another stream
    if ((flags & 0x40) != 0 && position < size) position += 1 + esds[position];
    if ((flags & 0x20) != 0) position += 2;  // clock
    if (!enter(kTagDecoder, esds, size, &position, &length)) return {};
    if (size - position < kDecoderFields) return {};
    position += kDecoderFields;
    if (rates != nullptr) *rates = {read32(esds + position - 8), read32(esds + position - 4)};
    if (!enter(kTagConfiguration, esds, size, &position, &length)) return {};
    if (length > size - position) return {};
    return std::vector<uint8_t>(esds + position, esds + position + length);
}

}  // namespace android
