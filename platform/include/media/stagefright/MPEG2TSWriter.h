// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/MediaWriter.h>
#include <media/stagefright/foundation/ABase.h>

#include <memory>

namespace android {

class ContainerWriter;

// Writes an MPEG-2 transport stream of video/avc and audio/mp4a-latm tracks, also to a pipe.
//
// A fault of the output (disk full, closed pipe) is told to the fault listeners once; from then on
// samples are taken and dropped.
struct MPEG2TSWriter : public MediaWriter {
    // Duplicates the descriptor, which must be writable. With a negative one only start() fails.
    MPEG2TSWriter(int fd);

    // `write` returns how many bytes it took, or a negative errno; called on the writer's threads,
    // one call at a time.
    MPEG2TSWriter(void* cookie, ssize_t (*write)(void* cookie, const void* data, size_t size));

    // UNKNOWN_ERROR once started, ERROR_UNSUPPORTED for another MIME type, ERROR_MALFORMED without
    // size, channels or rate. What a decoder needs may come later: for sound as its first buffer.
    status_t addSource(const sp<MediaSource>& source) override;

    // Samples may be pushed as soon as it returned. Without a track the file stays empty.
    // INVALID_OPERATION when started before, UNKNOWN_ERROR for a descriptor that cannot be written
    // to.
    status_t start(MetaData* params = nullptr) override;

    // Writes what is left and syncs it to the disk; always OK, also when stopped before.
    status_t stop() override;
    // OK, and no effect.
    status_t pause() override;
    bool reachedEOS() override;

  protected:
    ~MPEG2TSWriter() override;

  private:
    DISALLOW_EVIL_CONSTRUCTORS(MPEG2TSWriter);

    std::unique_ptr<ContainerWriter> mWriter;
};

}  // namespace android
