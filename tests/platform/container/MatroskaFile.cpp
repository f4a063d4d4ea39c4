// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/container/MatroskaFile.h"

#include <cstring>

namespace oxa::test {

namespace {

std::string bigEndian(uint64_t value, int bytes) {
    std::string text;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
        text += static_cast<char>(value >> shift);
    return text;
}

std::string element(uint32_t id, const std::string& content) {
    const int idBytes = id > 0xFFFFFF ? 4 : id > 0xFFFF ? 3 : id > 0xFF ? 2 : 1;
    constexpr uint64_t kLengthOfEightBytes = UINT64_C(1) << 56;
    return bigEndian(id, idBytes) + bigEndian(kLengthOfEightBytes | content.size(), 8) + content;
}

std::string number(uint32_t id, uint64_t value) {
    return element(id, bigEndian(value, 8));
}

std::string realNumber(uint32_t id, double value) {
    uint64_t bits;
    memcpy(&bits, &value, sizeof(bits));
    return number(id, bits);
}

std::string makeTrack(const MatroskaTrack& track, uint64_t index) {
    std::string content = number(0xD7, index) + number(0x73C5, index) +
                          number(0x83, track.video ? 1 : 2) + element(0x86, track.codec);
    if (!track.language.empty()) content += element(0x22B59C, track.language);
    if (track.codecDataBytes > 0) content += element(0x63A2, std::string(track.codecDataBytes, 0));
    if (track.video) {
        content += element(0xE0, number(0xB0, track.width) + number(0xBA, track.height));
    } else {
        content += element(0xE1, realNumber(0xB5, track.sampleRate) + number(0x9F, track.channels) +
                                         number(0x6264, 16));
    }
    return element(0xAE, content);
}

std::string makeCluster(const MatroskaSample& sample) {
    const std::string block = std::string(1, static_cast<char>(0x80 | sample.track)) +
                              std::string(2, '\0') + '\x80' + sample.data;
    return element(0x1F43B675, number(0xE7, sample.time) + element(0xA3, block));
}

}  // namespace

std::string makeMatroska(const MatroskaFile& file) {
    std::string tracks;
    for (size_t i = 0; i < file.tracks.size(); ++i)
        tracks += makeTrack(file.tracks[i], i + 1);
    std::string segment =
            element(0x1549A966, number(0x2AD7B1, file.scaleNs)) + element(0x1654AE6B, tracks);
    for (const MatroskaSample& sample : file.samples)
        segment += makeCluster(sample);
    return element(0x1A45DFA3, element(0x4282, "matroska")) + element(0x18538067, segment);
}

}  // namespace oxa::test
