// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "media/HevcStream.h"

#include "media/NalBitReader.h"

namespace android {

namespace {

constexpr int kVideoParameters = 32;
constexpr int kSequenceParameters = 33;
constexpr int kPictureParameters = 34;
// In the order in which records hold them; the last two are optional.
constexpr int kUnitTypes[] = {kVideoParameters, kSequenceParameters, kPictureParameters, 39, 40};
constexpr size_t kHeaderSize = 23;
constexpr size_t kProfileSize = 12;  // profile space to level

int typeOf(const NalUnit& unit) {
    return unit.data[0] >> 1 & 0x3F;
}

void skipSubLayers(NalBitReader* reader, uint32_t layers) {
    constexpr int kProfileBits = 88;
    constexpr int kLevelBits = 8;
    uint32_t presence = reader->bits(layers > 0 ? 16 : 0);
    for (uint32_t layer = 0; layer < layers; ++layer, presence <<= 2) {
        if ((presence & 0x8000) != 0) {
            for (int i = 0; i < kProfileBits; ++i)
                reader->bits(1);
        }
        if ((presence & 0x4000) != 0) reader->bits(kLevelBits);
    }
}

// Appends what a record says in front of its units.
bool appendHeader(const NalUnit& sequence, std::vector<uint8_t>* record) {
    constexpr uint32_t kMaxChromaFormat = 3;
    constexpr uint32_t kMaxExtraBits = 8;
    NalBitReader reader(sequence);
    reader.bits(16);  // header
    reader.bits(4);   // id
    const uint32_t subLayers = reader.bits(3);
    reader.bits(1);  // nesting
    record->push_back(1);
    for (size_t i = 0; i < kProfileSize; ++i)
        record->push_back(static_cast<uint8_t>(reader.bits(8)));
    skipSubLayers(&reader, subLayers);
    reader.number();  // id
    const uint32_t chromaFormat = reader.number();
    if (chromaFormat == kMaxChromaFormat) reader.bits(1);  // separate planes
    reader.number();                                       // width
    reader.number();                                       // height
    for (int side = reader.bits(1) != 0 ? 0 : 4; side < 4; ++side)
        reader.number();
    const uint32_t lumaBits = reader.number();
    const uint32_t chromaBits = reader.number();
    record->insert(record->end(), {0xF0, 0, 0xFC});  // segmentation and parallelism: not told
    record->push_back(static_cast<uint8_t>(0xFC | chromaFormat));
    record->push_back(static_cast<uint8_t>(0xF8 | lumaBits));
    record->push_back(static_cast<uint8_t>(0xF8 | chromaBits));
    record->insert(record->end(), {0, 0, 4 - 1});  // rate: not told; 4-byte lengths
    return !reader.overrun() && chromaFormat <= kMaxChromaFormat && lumaBits <= kMaxExtraBits &&
           chromaBits <= kMaxExtraBits;
}

}  // namespace

std::vector<uint8_t> makeHevcConfiguration(const uint8_t* annexB, size_t size) {
    const std::vector<NalUnit> units = splitAnnexB(annexB, size);
    std::vector<uint8_t> arrays;
    std::vector<uint8_t> record;
    uint8_t arrayCount = 0;
    for (int type : kUnitTypes) {
        std::vector<uint8_t> array;
        size_t count = 0;
        for (const NalUnit& unit : units) {
            if (typeOf(unit) != type || unit.size > UINT16_MAX) continue;
            if (type == kSequenceParameters && count == 0 && !appendHeader(unit, &record)) {
                return {};
            }
            appendSized(unit, &array);
            ++count;
        }
        if (count == 0 && type <= kPictureParameters) return {};
        if (count == 0) continue;
        arrays.push_back(static_cast<uint8_t>(type));
        arrays.push_back(static_cast<uint8_t>(count >> 8));
        arrays.push_back(static_cast<uint8_t>(count));
        arrays.insert(arrays.end(), array.begin(), array.end());
        ++arrayCount;
    }
    record.push_back(arrayCount);
    record.insert(record.end(), arrays.begin(), arrays.end());
    return record;
}

std::vector<uint8_t> annexBFromHevcConfiguration(const uint8_t* record, size_t size) {
    if (size < kHeaderSize) return {};
    std::vector<uint8_t> annexB;
    size_t position = kHeaderSize;
    for (int array = record[kHeaderSize - 1]; array > 0; --array) {
        if (size - position < 3) return {};
        size_t count = record[position + 1] << 8 | record[position + 2];
        position += 3;
        for (; count > 0; --count) {
            if (!takeSized(record, size, &position, &annexB)) return {};
        }
    }
    return annexB;
}

}  // namespace android
