// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "media/AvcStream.h"

#include <string.h>

#include <algorithm>

#include "media/NalBitReader.h"

namespace android {

namespace {

// The next start code at or after `from`: the position of its first zero; `end` without one.
const uint8_t* findStartCode(const uint8_t* from, const uint8_t* end) {
    if (end - from < 3) return end;
    for (const uint8_t* one = from + 2; one < end; ++one) {
        one = static_cast<const uint8_t*>(memchr(one, 1, end - one));
        if (one == nullptr) return end;
        if (one[-1] == 0 && one[-2] == 0) return one - 2;
    }
    return end;
}

void appendCoded(const NalUnit& unit, std::vector<uint8_t>* annexB) {
    annexB->insert(annexB->end(), {0, 0, 0, 1});
    annexB->insert(annexB->end(), unit.data, unit.data + unit.size);
}

bool hasChromaFields(int profile) {
    for (int known : {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135}) {
        if (profile == known) return true;
    }
    return false;
}

void skipScalingList(NalBitReader* reader, int size) {
    uint32_t last = 8;
    uint32_t next = 8;
    for (int i = 0; i < size && next != 0; ++i) {
        next = (last + static_cast<uint32_t>(reader->signedNumber())) % 256;
        if (next != 0) last = next;
    }
}

bool readChromaFields(NalBitReader* reader, AvcSequence* sequence) {
    constexpr uint32_t kMaxChromaFormat = 3;
    constexpr uint32_t kMaxExtraBits = 6;
    const uint32_t chromaFormat = reader->number();
    if (chromaFormat == kMaxChromaFormat) reader->bits(1);  // separate planes
    const uint32_t extraLumaBits = reader->number();
    const uint32_t extraChromaBits = reader->number();
    if (chromaFormat > kMaxChromaFormat || extraLumaBits > kMaxExtraBits ||
        extraChromaBits > kMaxExtraBits) {
        return false;
    }
    sequence->chromaFormat = static_cast<int>(chromaFormat);
    sequence->lumaBits = static_cast<int>(8 + extraLumaBits);
    sequence->chromaBits = static_cast<int>(8 + extraChromaBits);
    reader->bits(1);  // transform bypass
    if (reader->bits(1) == 0) return true;
    const int lists = chromaFormat == kMaxChromaFormat ? 12 : 8;
    for (int i = 0; i < lists; ++i) {
        if (reader->bits(1) != 0) skipScalingList(reader, i < 6 ? 16 : 64);
    }
    return true;
}

void skipPictureOrder(NalBitReader* reader) {
    const uint32_t type = reader->number();
    if (type == 0) {
        reader->number();
    } else if (type == 1) {
        reader->bits(1);
        reader->signedNumber();
        reader->signedNumber();
        const uint32_t offsets = reader->number();
        for (uint32_t i = 0; i < offsets && !reader->overrun(); ++i)
            reader->signedNumber();
    }
}

void skipPictureSize(NalBitReader* reader) {
    reader->number();                           // width
    reader->number();                           // height
    if (reader->bits(1) == 0) reader->bits(1);  // fields
    reader->bits(1);                            // direct inference
    if (reader->bits(1) != 0) {
        for (int side = 0; side < 4; ++side)
            reader->number();
    }
}

void readAspect(NalBitReader* reader, AvcSequence* sequence) {
    constexpr struct {
        int width;
        int height;
    } kKnown[] = {{0, 0},   {1, 1},    {12, 11}, {10, 11}, {16, 11}, {40, 33},
                  {24, 11}, {20, 11},  {32, 11}, {80, 33}, {18, 11}, {15, 11},
                  {64, 33}, {160, 99}, {4, 3},   {3, 2},   {2, 1}};
    constexpr uint32_t kExtended = 255;
    const uint32_t code = reader->bits(8);
    if (code == kExtended) {
        sequence->sarWidth = static_cast<int>(reader->bits(16));
        sequence->sarHeight = static_cast<int>(reader->bits(16));
    } else if (code < sizeof(kKnown) / sizeof(kKnown[0])) {
        sequence->sarWidth = kKnown[code].width;
        sequence->sarHeight = kKnown[code].height;
    }
}

// A number in bytes, of which all but the last are 255.
uint32_t longNumber(NalBitReader* reader) {
    uint32_t number = 0;
    uint32_t byte = 255;
    while (byte == 255 && !reader->overrun())
        number += byte = reader->bits(8);
    return number;
}

// What a unit of enhancement information says about a refresh bit by bit; 0: nothing.
uint32_t framesToWhole(const NalUnit& unit) {
    constexpr uint32_t kRecoveryPoint = 6;
    NalBitReader reader(unit);
    reader.bits(8);  // header
    while (!reader.overrun()) {
        const uint32_t type = longNumber(&reader);
        const uint32_t size = longNumber(&reader);
        if (type == kRecoveryPoint) {
            const uint32_t frames = reader.number();
            return reader.overrun() ? 0 : frames;
        }
        for (uint32_t i = 0; i < size && !reader.overrun(); ++i)
            reader.bits(8);
    }
    return 0;
}

}  // namespace

std::vector<NalUnit> splitAnnexB(const uint8_t* data, size_t size) {
    std::vector<NalUnit> units;
    const uint8_t* const end = data + size;
    for (const uint8_t* code = findStartCode(data, end); code < end;) {
        const uint8_t* const begin = code + 3;
        code = findStartCode(begin, end);
        const uint8_t* last = code;
        while (last > begin && last[-1] == 0)
            --last;  // belongs to the next start code
        if (last > begin) units.push_back({begin, static_cast<size_t>(last - begin)});
    }
    return units;
}

AvcParameterSets avcParameterSets(const uint8_t* annexB, size_t size) {
    AvcParameterSets sets;
    for (const NalUnit& unit : splitAnnexB(annexB, size)) {
        if (unit.type() == kNalTypeSequenceParameters) appendCoded(unit, &sets.sequences);
        if (unit.type() == kNalTypePictureParameters) appendCoded(unit, &sets.pictures);
    }
    return sets;
}

void appendSized(const NalUnit& unit, std::vector<uint8_t>* record) {
    record->push_back(static_cast<uint8_t>(unit.size >> 8));
    record->push_back(static_cast<uint8_t>(unit.size));
    record->insert(record->end(), unit.data, unit.data + unit.size);
}

bool takeSized(const uint8_t* record, size_t size, size_t* position, std::vector<uint8_t>* annexB) {
    if (size - *position < 2) return false;
    const size_t length = record[*position] << 8 | record[*position + 1];
    *position += 2;
    if (size - *position < length) return false;
    appendCoded({record + *position, length}, annexB);
    *position += length;
    return true;
}

std::vector<uint8_t> makeAvcConfiguration(const uint8_t* annexB, size_t size) {
    std::vector<NalUnit> sequences;
    std::vector<NalUnit> pictures;
    for (const NalUnit& unit : splitAnnexB(annexB, size)) {
        if (unit.size > UINT16_MAX) return {};
        if (unit.type() == kNalTypeSequenceParameters && unit.size >= 4) sequences.push_back(unit);
        if (unit.type() == kNalTypePictureParameters) pictures.push_back(unit);
    }
    if (sequences.empty() || sequences.size() > 31 || pictures.empty() || pictures.size() > 255) {
        return {};
    }

    const uint8_t* const first = sequences[0].data;
    std::vector<uint8_t> record = {1, first[1], first[2], first[3], 0xFC | 3};
    record.push_back(static_cast<uint8_t>(0xE0 | sequences.size()));
    for (const NalUnit& unit : sequences)
        appendSized(unit, &record);
    record.push_back(static_cast<uint8_t>(pictures.size()));
    for (const NalUnit& unit : pictures)
        appendSized(unit, &record);
    AvcSequence sequence;
    if (hasChromaFields(first[1]) && parseAvcSequence(sequences[0], &sequence)) {
        record.push_back(static_cast<uint8_t>(0xFC | sequence.chromaFormat));
        record.push_back(static_cast<uint8_t>(0xF8 | (sequence.lumaBits - 8)));
        record.push_back(static_cast<uint8_t>(0xF8 | (sequence.chromaBits - 8)));
        record.push_back(0);  // no extensions of sequence parameter sets
    }
    return record;
}

std::vector<uint8_t> annexBFromAvcConfiguration(const uint8_t* record, size_t size) {
    constexpr size_t kFirstCount = 5;
    if (size <= kFirstCount || record[0] != 1) return {};
    std::vector<uint8_t> annexB;
    size_t position = kFirstCount;
    for (int mask : {0x1F, 0xFF}) {
        if (position >= size) return {};
        for (int count = record[position++] & mask; count > 0; --count) {
            if (!takeSized(record, size, &position, &annexB)) return {};
        }
    }
    return annexB;
}

bool parseAvcSequence(const NalUnit& unit, AvcSequence* sequence) {
    NalBitReader reader(unit);
    reader.bits(8);  // header
    const int profile = static_cast<int>(reader.bits(8));
    reader.bits(16);  // constraints, level
    reader.number();  // id
    if (hasChromaFields(profile) && !readChromaFields(&reader, sequence)) return false;
    reader.number();  // frame number's bits
    skipPictureOrder(&reader);
    reader.number();  // reference frames
    reader.bits(1);   // gaps
    skipPictureSize(&reader);
    const bool usability = reader.bits(1) != 0;
    if (usability && reader.bits(1) != 0) readAspect(&reader, sequence);
    return !reader.overrun();
}

AvcSample parseAvcSample(const uint8_t* annexB, size_t size) {
    AvcSample sample;
    for (const NalUnit& unit : splitAnnexB(annexB, size)) {
        const bool isSlice = unit.type() >= kNalTypeSlice && unit.type() <= kNalTypeIdrSlice;
        sample.isReferred |= isSlice && unit.isReferred();
        if (unit.type() == kNalTypeEnhancement) {
            sample.framesToWhole = std::max(sample.framesToWhole, framesToWhole(unit));
        }
        if (unit.type() == kNalTypeIdrSlice) sample.framesToWhole = 0;
        if (isSlice) break;
    }
    return sample;
}

}  // namespace android
