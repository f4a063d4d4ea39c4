// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <binder/IInterface.h>
#include <stdint.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>
#include <utils/String8.h>

#include <cstddef>
#include <vector>

namespace android {

class IMediaSource;
class MetaDataBase;
class Parcel;

// What a device's extractor process hands out. NuMediaExtractor reads files itself here, so nobody
// implements it.
class IMediaExtractor : public IInterface {
  public:
    enum Flags {
        CAN_SEEK_BACKWARD = 1,
        CAN_SEEK_FORWARD = 2,
        CAN_PAUSE = 4,
        CAN_SEEK = 8,
    };

    // Who asked for an extractor; only statistics would look at it.
    enum class EntryPoint {
        SDK = 1,
        NDK_WITH_JVM = 2,
        NDK_NO_JVM = 3,
        OTHER = 4,
    };

    virtual size_t countTracks() = 0;
    virtual sp<IMediaSource> getTrack(size_t index) = 0;
    virtual status_t getTrackMetaData(MetaDataBase& meta, size_t index, uint32_t flags = 0) = 0;
    virtual status_t getMetaData(MetaDataBase& meta) = 0;
    virtual status_t getMetrics(Parcel* reply) = 0;
    virtual uint32_t flags() const = 0;
    virtual status_t setMediaCas(const std::vector<uint8_t>& casToken) = 0;
    virtual String8 name() = 0;
    virtual status_t setEntryPoint(EntryPoint entryPoint) = 0;
};

}  // namespace android
