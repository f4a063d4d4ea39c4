// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "ffmpeg/SampleForm.h"

#include <string.h>

#include <algorithm>
#include <utility>

#include "media/AvcStream.h"
#include "media/HevcStream.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/mem.h>
}

namespace android {

namespace {

constexpr size_t kStartCodeSize = 4;
constexpr uint8_t kStartCode[kStartCodeSize] = {0, 0, 0, 1};
constexpr size_t kPageSamplesSize = 4;

using Bytes = std::vector<uint8_t>;

struct Unit {
    const uint8_t* data;
    size_t size;
};

// The units of a sample with lengths, one after the other; a length that is too large ends with the
// sample.
class UnitWalk {
  public:
    UnitWalk(const AVPacket& packet, size_t lengthSize)
        : mPosition(packet.data), mEnd(packet.data + packet.size), mLengthSize(lengthSize) {}

    bool next(Unit* unit) {
        if (static_cast<size_t>(mEnd - mPosition) < mLengthSize) return false;
        size_t length = 0;
        for (size_t i = 0; i < mLengthSize; ++i)
            length = length << 8 | *mPosition++;
        const size_t left = mEnd - mPosition;
        mWhole = mWhole && length <= left;
        *unit = {mPosition, std::min(length, left)};
        mPosition += unit->size;
        return true;
    }
    // At the end: whether the lengths were those of the units.
    bool isWhole() const { return mWhole && mPosition == mEnd; }

  private:
    const uint8_t* mPosition;
    const uint8_t* const mEnd;
    const size_t mLengthSize;
    bool mWhole = true;
};

// Some files say that there are lengths, and have start codes.
bool hasStartCodes(const AVPacket& packet, size_t lengthSize) {
    if (static_cast<size_t>(packet.size) <= kStartCodeSize) return false;
    const bool begins = memcmp(packet.data, kStartCode, kStartCodeSize) == 0 ||
                        memcmp(packet.data, kStartCode + 1, kStartCodeSize - 1) == 0;
    if (!begins) return false;
    UnitWalk walk(packet, lengthSize);
    for (Unit unit; walk.next(&unit);) {
    }
    return !walk.isWhole();
}

bool isAvcConfiguration(const uint8_t* data, size_t size) {
    return size >= 7 && data[0] == 1;
}

bool isHevcConfiguration(const uint8_t* data, size_t size) {
    return size >= 23 && (data[0] != 0 || data[1] != 0 || data[2] > 1);
}

Bytes annexBOf(AVCodecID codec, const uint8_t* data, size_t size) {
    if (codec == AV_CODEC_ID_H264 && isAvcConfiguration(data, size)) {
        return annexBFromAvcConfiguration(data, size);
    }
    if (codec == AV_CODEC_ID_HEVC && isHevcConfiguration(data, size)) {
        return annexBFromHevcConfiguration(data, size);
    }
    return Bytes(data, data + size);
}

// As libavcodec wants codec data; null without memory.
uint8_t* paddedCopy(const Bytes& data) {
    auto* const copy =
            static_cast<uint8_t*>(av_mallocz(data.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (copy != nullptr) std::copy(data.begin(), data.end(), copy);
    return copy;
}

// The identification header and the setup header, out of the three with Xiph's lengths in front.
std::vector<Bytes> vorbisCodecData(const uint8_t* data, size_t size) {
    constexpr uint8_t kHeaders = 2;  // that have a length: all but the last
    if (size < 3 || data[0] != kHeaders) return {Bytes(data, data + size)};
    size_t lengths[kHeaders] = {};
    size_t position = 1;
    for (size_t& length : lengths) {
        uint8_t byte = 255;
        while (byte == 255 && position < size)
            length += byte = data[position++];
    }
    if (lengths[0] > size - position || lengths[1] > size - position - lengths[0]) {
        return {Bytes(data, data + size)};
    }
    const uint8_t* const first = data + position;
    return {Bytes(first, first + lengths[0]), Bytes(first + lengths[0] + lengths[1], data + size)};
}

// Nanoseconds of so many samples.
Bytes opusTime(int64_t samples) {
    constexpr int64_t kRate = 48000;
    const int64_t time = samples * 1000000000 / kRate;
    const auto* const bytes = reinterpret_cast<const uint8_t*>(&time);
    return Bytes(bytes, bytes + sizeof(time));
}

// The header, what a decoder delays the sound by, and how much of it a seek has to decode before.
std::vector<Bytes> opusCodecData(const AVCodecParameters& parameters) {
    constexpr size_t kHeaderSize = 19;
    constexpr size_t kDelayField = 10;
    constexpr int kUsualPreRoll = 3840;  // 80 ms
    const uint8_t* const data = parameters.extradata;
    const Bytes header(data, data + parameters.extradata_size);
    if (header.size() < kHeaderSize) return {header};
    const int delay = header[kDelayField] | header[kDelayField + 1] << 8;
    const int preRoll = parameters.seek_preroll > 0 ? parameters.seek_preroll : kUsualPreRoll;
    return {header, opusTime(delay), opusTime(preRoll)};
}

}  // namespace

SampleForm::SampleForm(const AVCodecParameters& parameters) {
    if (parameters.codec_id == AV_CODEC_ID_VORBIS) mKind = Kind::kVorbis;
    if (parameters.codec_id == AV_CODEC_ID_H264) mKind = Kind::kAvc;
    if (parameters.codec_id == AV_CODEC_ID_HEVC) mKind = Kind::kHevc;
    takeLengthSize(parameters.extradata, std::max(parameters.extradata_size, 0));
}

void SampleForm::takeLengthSize(const uint8_t* data, size_t size) {
    constexpr size_t kAvcField = 4;
    constexpr size_t kHevcField = 21;
    mLengthSize = 0;
    if (mKind == Kind::kAvc && isAvcConfiguration(data, size)) {
        mLengthSize = (data[kAvcField] & 3) + 1;
    } else if (mKind == Kind::kHevc && isHevcConfiguration(data, size)) {
        mLengthSize = (data[kHevcField] & 3) + 1;
    }
}

bool SampleForm::hasRoomForCodes() const {
    return mLengthSize >= kStartCodeSize - 1;
}

size_t SampleForm::size(const AVPacket& packet) const {
    const size_t size = packet.size;
    if (mKind == Kind::kVorbis) return size + kPageSamplesSize;
    if (mLengthSize == 0 || hasRoomForCodes()) return size;
    if (hasStartCodes(packet, mLengthSize)) return size;
    size_t total = 0;
    UnitWalk walk(packet, mLengthSize);
    for (Unit unit; walk.next(&unit);)
        total += kStartCodeSize + unit.size;
    return total;
}

void SampleForm::write(const AVPacket& packet, uint8_t* to) const {
    if (mLengthSize > 0 && !hasStartCodes(packet, mLengthSize)) {
        writeUnits(packet, to);
        return;
    }
    memcpy(to, packet.data, packet.size);
    // Not known, as nothing counts a page's samples here.
    if (mKind == Kind::kVorbis) memset(to + packet.size, 0xFF, kPageSamplesSize);
}

void SampleForm::writeUnits(const AVPacket& packet, uint8_t* to) const {
    const bool inPlace = hasRoomForCodes();
    const size_t codeSize = inPlace ? mLengthSize : kStartCodeSize;
    if (inPlace) memcpy(to, packet.data, packet.size);
    UnitWalk walk(packet, mLengthSize);
    for (Unit unit; walk.next(&unit); to += unit.size) {
        memcpy(to, kStartCode + kStartCodeSize - codeSize, codeSize);
        to += codeSize;
        if (!inPlace) memcpy(to, unit.data, unit.size);
    }
}

void SampleForm::follow(AVPacket* packet) {
    size_t size = 0;
    const uint8_t* const data = av_packet_get_side_data(packet, AV_PKT_DATA_NEW_EXTRADATA, &size);
    if (data == nullptr || size == 0 || (mKind != Kind::kAvc && mKind != Kind::kHevc)) return;
    takeLengthSize(data, size);
    if (mLengthSize == 0) return;
    const AVCodecID codec = mKind == Kind::kAvc ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC;
    const Bytes annexB = annexBOf(codec, data, size);
    uint8_t* const copy = paddedCopy(annexB);
    if (copy == nullptr) return;
    if (av_packet_add_side_data(packet, AV_PKT_DATA_NEW_EXTRADATA, copy, annexB.size()) < 0) {
        av_free(copy);
    }
}

std::vector<std::vector<uint8_t>> codecData(const AVCodecParameters& parameters) {
    const uint8_t* const data = parameters.extradata;
    const size_t size = std::max(parameters.extradata_size, 0);
    if (size == 0) return {};
    switch (parameters.codec_id) {
        case AV_CODEC_ID_H264: {
            const Bytes annexB = annexBOf(AV_CODEC_ID_H264, data, size);
            AvcParameterSets sets = avcParameterSets(annexB.data(), annexB.size());
            return {std::move(sets.sequences), std::move(sets.pictures)};
        }
        case AV_CODEC_ID_VORBIS:
            return vorbisCodecData(data, size);
        case AV_CODEC_ID_OPUS:
            return opusCodecData(parameters);
        default:
            return {annexBOf(parameters.codec_id, data, size)};
    }
}

void setCodecData(const std::vector<uint8_t>& data, AVCodecParameters* parameters) {
    uint8_t* const copy = paddedCopy(data);
    if (copy == nullptr) return;
    av_freep(&parameters->extradata);
    parameters->extradata = copy;
    parameters->extradata_size = static_cast<int>(data.size());
}

std::vector<uint8_t> vorbisHeaders(const std::vector<uint8_t>& identification,
                                   const std::vector<uint8_t>& setup) {
    constexpr uint8_t kComments[] = {3, 'v', 'o', 'r', 'b', 'i', 's', 0, 0, 0, 0, 0, 0, 0, 0, 1};
    if (identification.size() >= 255) return {};
    Bytes headers = {2, static_cast<uint8_t>(identification.size()), sizeof(kComments)};
    headers.insert(headers.end(), identification.begin(), identification.end());
    headers.insert(headers.end(), std::begin(kComments), std::end(kComments));
    headers.insert(headers.end(), setup.begin(), setup.end());
    return headers;
}

void adaptCodecData(AVCodecParameters* parameters) {
    const size_t size = std::max(parameters->extradata_size, 0);
    if (size == 0) return;
    setCodecData(annexBOf(parameters->codec_id, parameters->extradata, size), parameters);
}

}  // namespace android
