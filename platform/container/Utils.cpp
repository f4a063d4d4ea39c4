// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "Utils"

#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/MetaData.h>
#include <media/stagefright/Utils.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>
#include <media/stagefright/foundation/MediaDefs.h>
#include <string.h>

#include <vector>

#include "container/AvcStream.h"
#include "container/Esds.h"

namespace android {

namespace {

struct KeyPair {
    const char* name;
    uint32_t key;
};

constexpr KeyPair kCommonInt32Keys[] = {
        {"max-bitrate", kKeyMaxBitRate},
        {"max-input-size", kKeyMaxInputSize},
        {"track-id", kKeyTrackID},
};
constexpr KeyPair kCommonInt64Keys[] = {
        {"durationUs", kKeyDuration},
        {"timeUs", kKeyTime},
};
constexpr KeyPair kVideoInt32Keys[] = {
        {"color-format", kKeyColorFormat},
        {"rotation-degrees", kKeyRotation},
        {"sar-width", kKeySARWidth},
        {"sar-height", kKeySARHeight},
        {"display-width", kKeyDisplayWidth},
        {"display-height", kKeyDisplayHeight},
        {"stride", kKeyStride},
        {"slice-height", kKeySliceHeight},
        {"i-frame-interval", kKeyIFramesInterval},
};
constexpr KeyPair kAudioInt32Keys[] = {
        {"bits-per-sample", kKeyBitsPerSample},
        {"channel-mask", kKeyChannelMask},
        {"encoder-delay", kKeyEncoderDelay},
        {"encoder-padding", kKeyEncoderPadding},
        {"is-adts", kKeyIsADTS},
        {"aac-profile", kKeyAACAOT},
        {"pcm-encoding", kKeyPcmEncoding},
};
constexpr KeyPair kCsdKeys[] = {
        {"csd-0", kKeyOpaqueCSD0},
        {"csd-1", kKeyOpaqueCSD1},
        {"csd-2", kKeyOpaqueCSD2},
};

template <size_t N>
void copyInt32(const KeyPair (&keys)[N], const sp<AMessage>& from, const sp<MetaData>& to) {
    int32_t value = 0;
    for (const KeyPair& pair : keys) {
        if (from->findInt32(pair.name, &value)) to->setInt32(pair.key, value);
    }
}

template <size_t N>
void copyInt32(const KeyPair (&keys)[N], const MetaDataBase& from, const sp<AMessage>& to) {
    int32_t value = 0;
    for (const KeyPair& pair : keys) {
        if (from.findInt32(pair.key, &value)) to->setInt32(pair.name, value);
    }
}

// Both or none.
bool copyPair(const char* firstName, uint32_t firstKey, const char* secondName, uint32_t secondKey,
              const sp<AMessage>& from, const sp<MetaData>& to) {
    int32_t first = 0;
    int32_t second = 0;
    if (!from->findInt32(firstName, &first) || !from->findInt32(secondName, &second)) return false;
    to->setInt32(firstKey, first);
    to->setInt32(secondKey, second);
    return true;
}

void convertFrameRate(const sp<AMessage>& from, const sp<MetaData>& to) {
    int32_t rate = 0;
    float exactRate = 0;
    if (from->findInt32("frame-rate", &rate) && rate > 0) {
        to->setInt32(kKeyFrameRate, rate);
    } else if (from->findFloat("frame-rate", &exactRate) && exactRate >= 1) {
        to->setInt32(kKeyFrameRate, static_cast<int32_t>(exactRate));
    }
}

void convertCommon(const sp<AMessage>& from, const sp<MetaData>& to) {
    copyInt32(kCommonInt32Keys, from, to);
    int64_t time = 0;
    for (const KeyPair& pair : kCommonInt64Keys) {
        if (from->findInt64(pair.name, &time)) to->setInt64(pair.key, time);
    }
    int32_t bitRate = 0;
    if (from->findInt32("bitrate", &bitRate) && bitRate > 0) to->setInt32(kKeyBitRate, bitRate);
    AString language;
    if (from->findString("language", &language))
        to->setCString(kKeyMediaLanguage, language.c_str());
    convertFrameRate(from, to);
}

void convertVideo(const sp<AMessage>& from, const sp<MetaData>& to) {
    copyInt32(kVideoInt32Keys, from, to);
    int32_t left, top, right, bottom;
    if (from->findRect("crop", &left, &top, &right, &bottom)) {
        to->setRect(kKeyCropRect, left, top, right, bottom);
    }
}

void convertCodecData(const AString& mime, const sp<AMessage>& from, const sp<MetaData>& to) {
    sp<ABuffer> csd;
    for (const KeyPair& pair : kCsdKeys) {
        if (from->findBuffer(pair.name, &csd) && csd != nullptr) {
            to->setData(pair.key, MetaDataBase::TYPE_NONE, csd->data(), csd->size());
        }
    }
    sp<ABuffer> csd0;
    if (!from->findBuffer("csd-0", &csd0) || csd0 == nullptr) return;
    if (mime == MEDIA_MIMETYPE_AUDIO_AAC) {
        const std::vector<uint8_t> esds = makeEsds(csd0->data(), csd0->size());
        to->setData(kKeyESDS, kTypeESDS, esds.data(), esds.size());
    } else if (mime == MEDIA_MIMETYPE_VIDEO_AVC) {
        sp<ABuffer> csd1;
        if (!from->findBuffer("csd-1", &csd1) || csd1 == nullptr) return;
        std::vector<uint8_t> sets(csd0->data(), csd0->data() + csd0->size());
        sets.insert(sets.end(), csd1->data(), csd1->data() + csd1->size());
        const std::vector<uint8_t> record = makeAvcConfiguration(sets.data(), sets.size());
        if (!record.empty()) to->setData(kKeyAVCC, kTypeAVCC, record.data(), record.size());
    }
}

}  // namespace

status_t convertMessageToMetaData(const sp<AMessage>& format, sp<MetaData>& meta) {
    AString mime;
    if (!format->findString("mime", &mime)) return BAD_VALUE;
    meta->setCString(kKeyMIMEType, mime.c_str());
    convertCommon(format, meta);
    if (mime.startsWithIgnoreCase("video/") || mime.startsWithIgnoreCase("image/")) {
        if (!copyPair("width", kKeyWidth, "height", kKeyHeight, format, meta)) return BAD_VALUE;
        convertVideo(format, meta);
    } else if (mime.startsWithIgnoreCase("audio/")) {
        if (!copyPair("channel-count", kKeyChannelCount, "sample-rate", kKeySampleRate, format,
                      meta)) {
            return BAD_VALUE;
        }
        copyInt32(kAudioInt32Keys, format, meta);
    }
    convertCodecData(mime, format, meta);
    return OK;
}

status_t convertMetaDataToMessage(const sp<MetaData>& meta, sp<AMessage>* format) {
    return convertMetaDataToMessage(meta.get(), format);
}

status_t convertMetaDataToMessage(const MetaDataBase* meta, sp<AMessage>* format) {
    constexpr KeyPair kPlainInt32Keys[] = {
            {"width", kKeyWidth},
            {"height", kKeyHeight},
            {"channel-count", kKeyChannelCount},
            {"sample-rate", kKeySampleRate},
            {"bitrate", kKeyBitRate},
            {"frame-rate", kKeyFrameRate},
    };
    const char* text = nullptr;
    if (meta == nullptr || !meta->findCString(kKeyMIMEType, &text)) return BAD_VALUE;
    sp<AMessage> message = new AMessage;
    message->setString("mime", text);
    if (meta->findCString(kKeyMediaLanguage, &text)) message->setString("language", text);
    copyInt32(kPlainInt32Keys, *meta, message);
    copyInt32(kCommonInt32Keys, *meta, message);
    copyInt32(kVideoInt32Keys, *meta, message);
    copyInt32(kAudioInt32Keys, *meta, message);
    int64_t time = 0;
    for (const KeyPair& pair : kCommonInt64Keys) {
        if (meta->findInt64(pair.key, &time)) message->setInt64(pair.name, time);
    }
    int32_t left, top, right, bottom;
    if (meta->findRect(kKeyCropRect, &left, &top, &right, &bottom)) {
        message->setRect("crop", left, top, right, bottom);
    }
    for (const KeyPair& pair : kCsdKeys) {
        uint32_t type = 0;
        const void* data = nullptr;
        size_t size = 0;
        if (meta->findData(pair.key, &type, &data, &size)) {
            message->setBuffer(pair.name, ABuffer::CreateAsCopy(data, size));
        }
    }
    *format = message;
    return OK;
}

}  // namespace android
