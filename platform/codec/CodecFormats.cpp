// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "codec/CodecFormats.h"

#include <media/stagefright/foundation/ABuffer.h>

#include <algorithm>
#include <climits>
#include <initializer_list>
#include <string>

namespace android {

namespace {

// Items of a client's format that are the codec's own, too.
constexpr const char* kPictureItems[] = {"width", "height", "color-format", "stride",
                                         "slice-height"};
constexpr const char* kStreamItems[] = {"width", "height", "bitrate", "channel-count",
                                        "sample-rate"};
constexpr const char* kSoundItems[] = {"channel-count", "sample-rate"};

template <size_t count>
void copyItems(const char* const (&names)[count], const sp<AMessage>& from,
               const sp<AMessage>& to) {
    for (const char* name : names) {
        int32_t value = 0;
        if (from->findInt32(name, &value)) to->setInt32(name, value);
    }
}

void copyFrameRate(const sp<AMessage>& from, const sp<AMessage>& to) {
    int32_t whole = 0;
    float rate = 0;
    if (from->findInt32("frame-rate", &whole)) {
        to->setInt32("frame-rate", whole);
    } else if (from->findAsFloat("frame-rate", &rate)) {
        to->setFloat("frame-rate", rate);
    }
}

// The key under which a format asks for another value than the stream's.
void replaceItem(const char* name, const char* asked, const sp<AMessage>& from,
                 const sp<AMessage>& to) {
    int32_t value = 0;
    if (from->findInt32(asked, &value) && value > 0) to->setInt32(name, value);
}

// Pictures or sound without a codec.
sp<AMessage> rawFormat(const AString& mime, const sp<AMessage>& format) {
    const sp<AMessage> raw = new AMessage;
    raw->setString("mime", isVideo(mime) ? "video/raw" : "audio/raw");
    if (isVideo(mime)) {
        copyItems(kPictureItems, format, raw);
    } else {
        copyItems(kSoundItems, format, raw);
    }
    return raw;
}

sp<AMessage> streamFormat(const AString& mime, const sp<AMessage>& format) {
    const sp<AMessage> stream = new AMessage;
    stream->setString("mime", mime);
    copyItems(kStreamItems, format, stream);
    if (isVideo(mime)) copyFrameRate(format, stream);
    return stream;
}

bool hasAll(std::initializer_list<const char*> numbers, const sp<AMessage>& format) {
    float value = 0;
    return std::all_of(numbers.begin(), numbers.end(),
                       [&](const char* name) { return format->findAsFloat(name, &value); });
}

}  // namespace

bool isVideo(const AString& mime) {
    return mime.startsWithIgnoreCase("video/");
}

bool isSizePossible(const sp<AMessage>& format) {
    int32_t width = 0;
    int32_t height = 0;
    format->findInt32("width", &width);
    format->findInt32("height", &height);
    return width >= 0 && height >= 0 && static_cast<int64_t>(width) * height <= INT_MAX / 4;
}

bool isFormatWhole(const AString& mime, CodecDirection direction, const sp<AMessage>& format) {
    AString told;
    if (!format->findString("mime", &told)) return false;
    if (isVideo(mime) && !hasAll({"width", "height"}, format)) return false;
    if (direction == CodecDirection::kDecoder) return true;
    if (!hasAll({"bitrate"}, format)) return false;
    return !isVideo(mime) || hasAll({"frame-rate", "i-frame-interval"}, format);
}

sp<AMessage> inputFormatOf(const AString& mime, CodecDirection direction,
                           const sp<AMessage>& format, size_t inputCapacity) {
    const sp<AMessage> input = direction == CodecDirection::kEncoder ? rawFormat(mime, format)
                                                                     : streamFormat(mime, format);
    input->setInt32("max-input-size",
                    static_cast<int32_t>(std::min<size_t>(inputCapacity, INT32_MAX)));
    return input;
}

sp<AMessage> outputFormatOf(const AString& mime, CodecDirection direction,
                            const sp<AMessage>& format) {
    sp<AMessage> output;
    if (direction == CodecDirection::kEncoder) {
        output = streamFormat(mime, format);
        replaceItem("max-bitrate", "bitrate", format, output);
        replaceItem("channel-count", "audio-chan-count", format, output);
        replaceItem("sample-rate", "audio-samp-rate", format, output);
    } else {
        output = rawFormat(mime, format);
        replaceItem("width", "eWid", format, output);
        replaceItem("height", "eHei", format, output);
    }
    return output;
}

sp<ABuffer> codecConfigOf(const sp<AMessage>& format) {
    std::string data;
    sp<ABuffer> part;
    for (int i = 0; format->findBuffer(("csd-" + std::to_string(i)).c_str(), &part); ++i) {
        data.append(reinterpret_cast<const char*>(part->data()), part->size());
    }
    return ABuffer::CreateAsCopy(data.data(), data.size());
}

}  // namespace android
