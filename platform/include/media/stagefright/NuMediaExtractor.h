// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <android/IMediaExtractor.h>
#include <media/stagefright/MediaSource.h>
#include <media/stagefright/MetaData.h>
#include <media/stagefright/foundation/ABase.h>
#include <sys/types.h>
#include <utils/Errors.h>
#include <utils/KeyedVector.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>
#include <utils/String8.h>

#include <memory>

namespace android {

struct ABuffer;
struct AMessage;
class ContainerReader;
class DataSource;
struct MediaHTTPService;

// Reads the samples of a media file. Only audio and video tracks that can be decoded are listed.
// All calls may come from any thread.
struct NuMediaExtractor : public RefBase {
    typedef IMediaExtractor::EntryPoint EntryPoint;

    explicit NuMediaExtractor(EntryPoint entryPoint);

    // Looks into the file; blocks for that long. -EINVAL for a second call, what initCheck() says
    // for a source that cannot be read, ERROR_IO when reading fails, ERROR_UNSUPPORTED when the
    // content is not known. A source that failed may be followed by another one.
    status_t setDataSource(const sp<DataSource>& datasource);
    // Duplicates the descriptor.
    status_t setDataSource(int fd, off64_t offset, off64_t size);
    // A path, with or without "file://"; -ENOENT for what is no file here, network addresses too.
    status_t setDataSource(const sp<MediaHTTPService>& httpService, const char* path,
                           const KeyedVector<String8, String8>* headers = nullptr);

    // 0 without a source.
    size_t countTracks() const;

    // A new message each time, the caller may add to it. -EINVAL without a source, -ERANGE for an
    // index that does not exist. Items: "mime", "track-id", "durationUs", "language", "bitrate",
    // "max-input-size", "csd-0"; pictures "width", "height", "frame-rate", "rotation-degrees"
    // (clockwise), "sar-width", "sar-height"; sound "channel-count", "sample-rate"; each as far as
    // the file tells.
    status_t getTrackFormat(size_t index, sp<AMessage>* format, uint32_t flags = 0) const;

    // A track that is selected after reading has begun starts at the file's present position,
    // unless it is the only one; that starts at its beginning.
    status_t selectTrack(
            size_t index, int64_t startTimeUs = -1ll,
            MediaSource::ReadOptions::SeekMode mode = MediaSource::ReadOptions::SEEK_CLOSEST_SYNC);
    status_t unselectTrack(size_t index);

    // The next sample is the one at that time (microseconds) or the sync sample that the mode asks
    // for. ERROR_UNSUPPORTED where the file or its source cannot be moved in, and for frame
    // numbers.
    status_t seekTo(int64_t timeUs, MediaSource::ReadOptions::SeekMode mode =
                                            MediaSource::ReadOptions::SEEK_CLOSEST_SYNC);

    // The current sample, with several tracks in the order of the file. Reading does not move on:
    // advance() does, and answers ERROR_END_OF_STREAM when the sample that it left was the last.
    // A sample that does not fit into the buffer is left out.
    status_t readSampleData(const sp<ABuffer>& buffer);
    status_t getSampleTime(int64_t* sampleTimeUs);
    status_t getSampleSize(size_t* sampleSize);
    status_t getSampleTrackIndex(size_t* trackIndex);
    // kKeyTime and, for a sample that can be decoded on its own, kKeyIsSyncFrame.
    status_t getSampleMeta(sp<MetaData>* sampleMeta);
    status_t advance();

  protected:
    ~NuMediaExtractor() override;

  private:
    DISALLOW_EVIL_CONSTRUCTORS(NuMediaExtractor);

    mutable Mutex mLock;
    std::unique_ptr<ContainerReader> mReader GUARDED_BY(mLock);
};

}  // namespace android
