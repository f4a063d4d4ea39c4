// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "Utils"

#include <media/stagefright/MetaData.h>
#include <media/stagefright/Utils.h>
#include <media/stagefright/foundation/AMessage.h>

#include "media/CodecData.h"
#include "media/ColorAspects.h"
#include "media/TrackEnd.h"

namespace android {

namespace {

struct NamedKey {
    const char* name;
    uint32_t key;
};
constexpr NamedKey kInt32Keys[] = {
        {"max-bitrate", kKeyMaxBitRate}, {"max-input-size", kKeyMaxInputSize},
        {"max-width", kKeyMaxWidth},     {"max-height", kKeyMaxHeight},
        {"time-scale", kKeyTimeScale},   {"track-id", kKeyTrackID},
};
constexpr NamedKey kInt64Keys[] = {
        {"durationUs", kKeyDuration},
        {"target-time", kKeyTargetTime},
        {"timeUs", kKeyTime},
        {kFormatKeyTrackEnd, kMetaKeyTrackEnd},
};
constexpr NamedKey kVideoKeys[] = {
        {"color-format", kKeyColorFormat},
        {"rotation-degrees", kKeyRotation},
};
constexpr NamedKey kAudioKeys[] = {
        {"bits-per-sample", kKeyBitsPerSample},
        {"channel-mask", kKeyChannelMask},
        {"encoder-delay", kKeyEncoderDelay},
        {"encoder-padding", kKeyEncoderPadding},
        {"is-adts", kKeyIsADTS},
        {"aac-profile", kKeyAACAOT},
        {"pcm-encoding", kKeyPcmEncoding},
};

// Both or none.
using NamedPair = NamedKey[2];
constexpr NamedPair kSize = {{"width", kKeyWidth}, {"height", kKeyHeight}};
constexpr NamedPair kSound = {{"channel-count", kKeyChannelCount}, {"sample-rate", kKeySampleRate}};
constexpr NamedPair kSampleAspect = {{"sar-width", kKeySARWidth}, {"sar-height", kKeySARHeight}};
constexpr NamedPair kDisplaySize = {{"display-width", kKeyDisplayWidth},
                                    {"display-height", kKeyDisplayHeight}};

bool find(const sp<AMessage>& from, const NamedKey& key, int32_t* value) {
    return from->findInt32(key.name, value);
}
bool find(const sp<AMessage>& from, const NamedKey& key, int64_t* value) {
    return from->findInt64(key.name, value);
}
bool find(const MetaDataBase* from, const NamedKey& key, int32_t* value) {
    return from->findInt32(key.key, value);
}
bool find(const MetaDataBase* from, const NamedKey& key, int64_t* value) {
    return from->findInt64(key.key, value);
}
void set(const sp<AMessage>& to, const NamedKey& key, int32_t value) {
    to->setInt32(key.name, value);
}
void set(const sp<AMessage>& to, const NamedKey& key, int64_t value) {
    to->setInt64(key.name, value);
}
void set(const sp<MetaData>& to, const NamedKey& key, int32_t value) {
    to->setInt32(key.key, value);
}
void set(const sp<MetaData>& to, const NamedKey& key, int64_t value) {
    to->setInt64(key.key, value);
}

// The following work in both directions.

template <typename Value, size_t N, typename From, typename To>
void copy(const NamedKey (&keys)[N], const From& from, const To& to) {
    Value value = 0;
    for (const NamedKey& key : keys) {
        if (find(from, key, &value)) set(to, key, value);
    }
}

template <typename From, typename To>
bool copyPair(const NamedPair& pair, const From& from, const To& to) {
    int32_t first = 0;
    int32_t second = 0;
    if (!find(from, pair[0], &first) || !find(from, pair[1], &second)) return false;
    set(to, pair[0], first);
    set(to, pair[1], second);
    return true;
}

template <typename From, typename To>
void copyCommon(const From& from, const To& to) {
    constexpr NamedKey kBitRate = {"bitrate", kKeyBitRate};
    constexpr NamedKey kSync = {"is-sync-frame", kKeyIsSyncFrame};
    copy<int32_t>(kInt32Keys, from, to);
    copy<int64_t>(kInt64Keys, from, to);
    int32_t value = 0;
    if (find(from, kBitRate, &value) && value > 0) set(to, kBitRate, value);
    if (find(from, kSync, &value) && value != 0) set(to, kSync, 1);
}

// False without a size.
template <typename From, typename To>
bool copyVideo(const From& from, const To& to) {
    if (!copyPair(kSize, from, to)) return false;
    copyPair(kSampleAspect, from, to);
    copyPair(kDisplaySize, from, to);
    copy<int32_t>(kVideoKeys, from, to);
    return true;
}

// False without channels or rate.
template <typename From, typename To>
bool copyAudio(const From& from, const To& to) {
    if (!copyPair(kSound, from, to)) return false;
    copy<int32_t>(kAudioKeys, from, to);
    return true;
}

bool isVideo(const AString& mime) {
    return mime.startsWithIgnoreCase("video/") || mime.startsWithIgnoreCase("image/");
}

bool isAudio(const AString& mime) {
    return mime.startsWithIgnoreCase("audio/");
}

void convertFrameRate(const sp<AMessage>& from, const sp<MetaData>& to) {
    int32_t rate = 0;
    float exactRate = 0;
    if (from->findInt32("frame-rate", &rate) && rate > 0) {
        to->setInt32(kKeyFrameRate, rate);
    } else if (from->findFloat("frame-rate", &exactRate) && exactRate >= 1 &&
               exactRate < static_cast<float>(INT32_MAX)) {
        to->setInt32(kKeyFrameRate, static_cast<int32_t>(exactRate));
    }
    if (from->findFloat("capture-rate", &exactRate)) to->setFloat(kKeyCaptureFramerate, exactRate);
}

void convertFrameRate(const MetaDataBase& from, const sp<AMessage>& to) {
    int32_t rate = 0;
    float captureRate = 0;
    if (from.findInt32(kKeyFrameRate, &rate) && rate > 0) to->setInt32("frame-rate", rate);
    if (from.findFloat(kKeyCaptureFramerate, &captureRate))
        to->setFloat("capture-rate", captureRate);
}

}  // namespace

status_t convertMessageToMetaData(const sp<AMessage>& format, sp<MetaData>& meta) {
    AString mime;
    if (!format->findString("mime", &mime)) return BAD_VALUE;
    meta->setCString(kKeyMIMEType, mime.c_str());
    copyCommon(format, meta);
    AString language;
    if (format->findString("language", &language))
        meta->setCString(kKeyMediaLanguage, language.c_str());
    if (isVideo(mime)) {
        if (!copyVideo(format, meta)) return BAD_VALUE;
        int32_t left, top, right, bottom;
        if (format->findRect("crop", &left, &top, &right, &bottom))
            meta->setRect(kKeyCropRect, left, top, right, bottom);
        convertColors(format, meta);
    } else if (isAudio(mime)) {
        if (!copyAudio(format, meta)) return BAD_VALUE;
    }
    convertFrameRate(format, meta);
    convertCodecData(mime.c_str(), format, meta);
    return OK;
}

status_t convertMetaDataToMessage(const sp<MetaData>& meta, sp<AMessage>* format) {
    return convertMetaDataToMessage(meta.get(), format);
}

status_t convertMetaDataToMessage(const MetaDataBase* meta, sp<AMessage>* format) {
    format->clear();
    const char* text = nullptr;
    if (meta == nullptr || !meta->findCString(kKeyMIMEType, &text)) return BAD_VALUE;
    const AString mime(text);
    sp<AMessage> message = new AMessage;
    message->setString("mime", mime);
    copyCommon(meta, message);
    if (meta->findCString(kKeyMediaLanguage, &text)) message->setString("language", text);
    if (isVideo(mime)) {
        if (!copyVideo(meta, message)) return BAD_VALUE;
        int32_t left, top, right, bottom;
        if (meta->findRect(kKeyCropRect, &left, &top, &right, &bottom))
            message->setRect("crop", left, top, right, bottom);
        convertColors(*meta, message);
    } else if (isAudio(mime)) {
        if (!copyAudio(meta, message)) return BAD_VALUE;
    }
    convertFrameRate(*meta, message);
    const status_t err = convertCodecData(mime.c_str(), *meta, message);
    if (err == OK) *format = message;
    return err;
}

}  // namespace android
