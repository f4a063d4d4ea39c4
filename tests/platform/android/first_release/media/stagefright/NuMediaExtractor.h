// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/MediaSource.h>
#include <media/stagefright/MetaData.h>
#include <sys/types.h>
#include <utils/Errors.h>
#include <utils/KeyedVector.h>
#include <utils/RefBase.h>
#include <utils/String8.h>

namespace android {

struct ABuffer;
struct AMessage;
class DataSource;
struct MediaHTTPService;

// As in the first release of Android 11: made without an entry point. Only declared.
struct NuMediaExtractor : public RefBase {
    NuMediaExtractor();

    status_t setDataSource(const sp<MediaHTTPService>& httpService, const char* path,
                           const KeyedVector<String8, String8>* headers = nullptr);
    status_t setDataSource(int fd, off64_t offset, off64_t size);
    status_t setDataSource(const sp<DataSource>& datasource);
    size_t countTracks() const;
    status_t getTrackFormat(size_t index, sp<AMessage>* format, uint32_t flags = 0) const;
    status_t selectTrack(
            size_t index, int64_t startTimeUs = -1ll,
            MediaSource::ReadOptions::SeekMode mode = MediaSource::ReadOptions::SEEK_CLOSEST_SYNC);
    status_t unselectTrack(size_t index);
    status_t seekTo(int64_t timeUs, MediaSource::ReadOptions::SeekMode mode =
                                            MediaSource::ReadOptions::SEEK_CLOSEST_SYNC);
    status_t advance();
    status_t readSampleData(const sp<ABuffer>& buffer);
    status_t getSampleSize(size_t* sampleSize);
    status_t getSampleTrackIndex(size_t* trackIndex);
    status_t getSampleTime(int64_t* sampleTimeUs);
    status_t getSampleMeta(sp<MetaData>* sampleMeta);

  protected:
    ~NuMediaExtractor() override;

  private:
    NuMediaExtractor(const NuMediaExtractor&) = delete;
    NuMediaExtractor& operator=(const NuMediaExtractor&) = delete;
};

}  // namespace android
