// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "media/CodecData.h"

#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>
#include <media/stagefright/foundation/MediaDefs.h>

#include <vector>

#include "media/AvcStream.h"
#include "media/Esds.h"
#include "media/HevcStream.h"
#include "media/ProfileLevel.h"

namespace android {

namespace {

using Bytes = std::vector<uint8_t>;

struct NamedKey {
    const char* name;
    uint32_t key;
};
constexpr NamedKey kOpaqueKeys[] = {
        {"csd-0", kKeyOpaqueCSD0},
        {"csd-1", kKeyOpaqueCSD1},
        {"csd-2", kKeyOpaqueCSD2},
};

// Data that is the same on both sides.
struct PlainKeys {
    const char* mime;
    NamedKey keys[3];
};
constexpr PlainKeys kPlainKeys[] = {
        {"video/av01", {{"csd-0", kKeyAV1C}}},
        {"video/x-vnd.on2.vp9", {{"csd-0", kKeyVp9CodecPrivate}}},
        {"audio/opus",
         {{"csd-0", kKeyOpusHeader},
          {"csd-1", kKeyOpusCodecDelay},
          {"csd-2", kKeyOpusSeekPreRoll}}},
        {"audio/vorbis", {{"csd-0", kKeyVorbisInfo}, {"csd-1", kKeyVorbisBooks}}},
};

// What arrives ready-made, where there is no "csd-0".
struct ReadyMade {
    const char* name;
    const char* mime;  // null: any
    uint32_t key;
    uint32_t type;
};
constexpr ReadyMade kReadyMade[] = {
        {"csd-avc", "video/avc", kKeyAVCC, kTypeAVCC},
        {"csd-hevc", "video/hevc", kKeyHVCC, kTypeHVCC},
        {"esds", nullptr, kKeyESDS, kTypeESDS},
        {"d263", nullptr, kKeyD263, kTypeD263},
};

bool findBytes(const sp<AMessage>& message, const char* name, Bytes* bytes) {
    sp<ABuffer> buffer;
    if (!message->findBuffer(name, &buffer) || buffer == nullptr) return false;
    bytes->assign(buffer->data(), buffer->data() + buffer->size());
    return true;
}

bool findBytes(const MetaDataBase& meta, uint32_t key, Bytes* bytes) {
    uint32_t type = 0;
    const void* data = nullptr;
    size_t size = 0;
    if (!meta.findData(key, &type, &data, &size)) return false;
    const auto* const begin = static_cast<const uint8_t*>(data);
    bytes->assign(begin, begin + size);
    return true;
}

// Nothing for nothing: a record that could not be made is left out.
void setBytes(const sp<MetaData>& meta, uint32_t key, uint32_t type, const Bytes& bytes) {
    if (!bytes.empty()) meta->setData(key, type, bytes.data(), bytes.size());
}

void setBytes(const sp<AMessage>& message, const char* name, const Bytes& bytes) {
    const sp<ABuffer> buffer = ABuffer::CreateAsCopy(bytes.data(), bytes.size());
    buffer->meta()->setInt32("csd", 1);
    buffer->meta()->setInt64("timeUs", 0);
    message->setBuffer(name, buffer);
}

const PlainKeys* plainKeysOf(const std::string& mime) {
    for (const PlainKeys& plain : kPlainKeys) {
        if (mime == plain.mime) return &plain;
    }
    return nullptr;
}

bool usesDescriptor(const std::string& mime) {
    for (const char* user :
         {MEDIA_MIMETYPE_AUDIO_AAC, MEDIA_MIMETYPE_VIDEO_MPEG4, MEDIA_MIMETYPE_AUDIO_WMA,
          MEDIA_MIMETYPE_AUDIO_MS_ADPCM, MEDIA_MIMETYPE_AUDIO_DVI_IMA_ADPCM}) {
        if (mime == user) return true;
    }
    return false;
}

void setAvcConfiguration(const sp<AMessage>& from, Bytes sets, const sp<MetaData>& to) {
    Bytes pictureSets;
    if (!findBytes(from, "csd-1", &pictureSets)) return;
    sets.insert(sets.end(), pictureSets.begin(), pictureSets.end());
    setBytes(to, kKeyAVCC, kTypeAVCC, makeAvcConfiguration(sets.data(), sets.size()));
}

void setPlain(const PlainKeys& plain, const sp<AMessage>& from, const sp<MetaData>& to) {
    Bytes bytes;
    for (const NamedKey& key : plain.keys) {
        if (key.name != nullptr && findBytes(from, key.name, &bytes))
            setBytes(to, key.key, MetaDataBase::TYPE_NONE, bytes);
    }
}

void convertReadyMade(const std::string& mime, const sp<AMessage>& from, const sp<MetaData>& to) {
    Bytes bytes;
    for (const ReadyMade& ready : kReadyMade) {
        if (ready.mime != nullptr && mime != ready.mime) continue;
        if (!findBytes(from, ready.name, &bytes)) continue;
        setBytes(to, ready.key, ready.type, bytes);
        return;
    }
}

status_t setAvcBuffers(const Bytes& record, const sp<AMessage>& to) {
    const Bytes annexB = annexBFromAvcConfiguration(record.data(), record.size());
    if (annexB.empty()) return BAD_VALUE;
    const AvcParameterSets sets = avcParameterSets(annexB.data(), annexB.size());
    setBytes(to, "csd-0", sets.sequences);
    setBytes(to, "csd-1", sets.pictures);
    return OK;
}

status_t setHevcBuffer(const Bytes& record, const sp<AMessage>& to) {
    const Bytes annexB = annexBFromHevcConfiguration(record.data(), record.size());
    if (annexB.empty() || record[0] != 1) return BAD_VALUE;
    setBytes(to, "csd-0", annexB);
    return OK;
}

// A bit rate of the track's own counts more than the descriptor's.
void setBitRates(const EsdsBitRates& rates, const MetaDataBase& from, const sp<AMessage>& to) {
    int32_t average = 0;
    if (!from.hasData(kKeyBitRate) && rates.average > 0 && rates.average <= INT32_MAX)
        to->setInt32("bitrate", static_cast<int32_t>(rates.average));
    to->findInt32("bitrate", &average);
    if (!from.hasData(kKeyMaxBitRate) && rates.maximum > 0 && rates.maximum <= INT32_MAX &&
        static_cast<int32_t>(rates.maximum) >= average) {
        to->setInt32("max-bitrate", static_cast<int32_t>(rates.maximum));
    }
}

status_t setDescribedBuffer(const std::string& mime, const Bytes& esds, const MetaDataBase& from,
                            const sp<AMessage>& to) {
    EsdsBitRates rates;
    const Bytes configuration = configurationFromEsds(esds.data(), esds.size(), &rates);
    if (configuration.empty()) return BAD_VALUE;
    setBytes(to, "csd-0", configuration);
    setProfileAndLevel(mime, configuration, to);
    setBitRates(rates, from, to);
    return OK;
}

}  // namespace

void convertCodecData(const std::string& mime, const sp<AMessage>& from, const sp<MetaData>& to) {
    Bytes bytes;
    for (const NamedKey& opaque : kOpaqueKeys) {
        if (findBytes(from, opaque.name, &bytes))
            setBytes(to, opaque.key, MetaDataBase::TYPE_NONE, bytes);
    }
    if (!findBytes(from, "csd-0", &bytes)) {
        convertReadyMade(mime, from, to);
    } else if (mime == MEDIA_MIMETYPE_VIDEO_AVC) {
        setAvcConfiguration(from, bytes, to);
    } else if (mime == MEDIA_MIMETYPE_VIDEO_HEVC) {
        setBytes(to, kKeyHVCC, kTypeHVCC, makeHevcConfiguration(bytes.data(), bytes.size()));
    } else if (usesDescriptor(mime)) {
        setBytes(to, kKeyESDS, kTypeESDS, makeEsds(bytes.data(), bytes.size()));
    } else if (const PlainKeys* plain = plainKeysOf(mime)) {
        setPlain(*plain, from, to);
    }
}

status_t convertCodecData(const std::string& mime, const MetaDataBase& from,
                          const sp<AMessage>& to) {
    Bytes bytes;
    for (const NamedKey& opaque : kOpaqueKeys) {
        if (findBytes(from, opaque.key, &bytes)) setBytes(to, opaque.name, bytes);
    }
    if (findBytes(from, kKeyAVCC, &bytes)) {
        setProfileAndLevel(mime, bytes, to);
        return setAvcBuffers(bytes, to);
    }
    if (findBytes(from, kKeyHVCC, &bytes)) {
        setProfileAndLevel(mime, bytes, to);
        return setHevcBuffer(bytes, to);
    }
    if (findBytes(from, kKeyESDS, &bytes)) return setDescribedBuffer(mime, bytes, from, to);
    if (const PlainKeys* plain = plainKeysOf(mime)) {
        for (const NamedKey& key : plain->keys) {
            if (key.name != nullptr && findBytes(from, key.key, &bytes))
                setBytes(to, key.name, bytes);
        }
    }
    return OK;
}

}  // namespace android
