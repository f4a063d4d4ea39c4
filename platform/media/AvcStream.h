// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

namespace android {

// For H.264 byte streams: NAL units, parameter sets and the decoder configuration record
// ("avcC") that MP4 files keep them in.

struct NalUnit {
    const uint8_t* data;  // the header byte
    size_t size;

    int type() const { return data[0] & 0x1F; }
    bool isReferred() const { return (data[0] & 0x60) != 0; }
};

// Records hold a unit behind its size in two bytes. Taking one appends it behind a start code;
// false when the record ends too early.
void appendSized(const NalUnit& unit, std::vector<uint8_t>* record);
bool takeSized(const uint8_t* record, size_t size, size_t* position, std::vector<uint8_t>* annexB);

constexpr int kNalTypeSlice = 1;
constexpr int kNalTypeIdrSlice = 5;
constexpr int kNalTypeEnhancement = 6;
constexpr int kNalTypeSequenceParameters = 7;
constexpr int kNalTypePictureParameters = 8;

// The units of an Annex B stream (each behind a start code 00 00 01); none without a start code.
std::vector<NalUnit> splitAnnexB(const uint8_t* data, size_t size);

// The parameter sets in an Annex B stream, each behind a 4-byte start code.
struct AvcParameterSets {
    std::vector<uint8_t> sequences;
    std::vector<uint8_t> pictures;
};
AvcParameterSets avcParameterSets(const uint8_t* annexB, size_t size);

// Annex B parameter sets as a configuration record with 4-byte lengths; empty when a sequence or a
// picture parameter set is missing.
std::vector<uint8_t> makeAvcConfiguration(const uint8_t* annexB, size_t size);

// The parameter sets of a configuration record, each behind a 4-byte start code; empty for
// anything else.
std::vector<uint8_t> annexBFromAvcConfiguration(const uint8_t* record, size_t size);

// What a sequence parameter set says beyond a record's first bytes.
struct AvcSequence {
    int chromaFormat = 1;  // 4:2:0
    int lumaBits = 8;
    int chromaBits = 8;
    int sarWidth = 0;  // 0: not told
    int sarHeight = 0;
};

// False for a unit that ends too early or says what no decoder takes.
bool parseAvcSequence(const NalUnit& unit, AvcSequence* sequence);

// What one sample says of itself.
struct AvcSample {
    bool isReferred = false;     // others may refer to its picture
    uint32_t framesToWhole = 0;  // of a sync sample: behind so many that are referred to
};

AvcSample parseAvcSample(const uint8_t* annexB, size_t size);

}  // namespace android
