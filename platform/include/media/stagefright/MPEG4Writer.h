// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/MediaWriter.h>
#include <media/stagefright/foundation/ABase.h>

#include <memory>

namespace android {

class ContainerWriter;
class Mp4Muxer;

// Writes an MP4 file. A file whose writer was killed plays up to the last second or so; one that
// was stopped is an ordinary file with one index. On a pipe the file stays in fragments.
//
// A fault of the output (disk full, closed pipe) is told to the fault listeners once; from then on
// samples are taken and dropped.
class MPEG4Writer : public MediaWriter {
  public:
    // Duplicates the descriptor, which must be writable. With a negative one only start() fails.
    MPEG4Writer(int fd);

    // UNKNOWN_ERROR once started; ERROR_UNSUPPORTED for a MIME type that has no place in the file
    // (AMR and H.263 have none beside HEVC), ERROR_MALFORMED for a track without size, channels or
    // rate. What its decoder needs may come later, in a buffer with kKeyIsCodecConfig; the
    // parameter sets of H.264 and HEVC also in the first picture.
    status_t addSource(const sp<MediaSource>& source) override;

    // Reads kKeyRotation and kKeyTimeScale. Samples may be pushed as soon as it returned. OK while
    // it writes, INVALID_OPERATION without a track or when stopped before, UNKNOWN_ERROR for a
    // descriptor that cannot be written to.
    status_t start(MetaData* params = nullptr) override;

    // Finishes the file and syncs it to the disk; always OK, also when stopped before.
    status_t stop() override;
    status_t pause() override;
    bool reachedEOS() override;

    // Before start: how much of one track (microseconds) lies in one piece in the file.
    status_t setInterleaveDuration(uint32_t durationUs);

    // Before start: where it was recorded, in degrees * 10000. BAD_VALUE outside +-900000,
    // +-1800000.
    status_t setGeoData(int latitudex10000, int longitudex10000);

    // Ticks a second of the movie's own times: 10000 unless start() was told otherwise.
    int32_t getTimeScale() const;

  protected:
    ~MPEG4Writer() override;

  private:
    DISALLOW_EVIL_CONSTRUCTORS(MPEG4Writer);

    int32_t mTimeScale;
    Mp4Muxer* mMuxer;  // owned by mWriter
    std::unique_ptr<ContainerWriter> mWriter;
};

}  // namespace android
