// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <fcntl.h>

#include <string>

#include "audio/PacedSink.h"

namespace android {

// How WAV files are opened. Not blocking, since the file may be a pipe that nobody reads.
constexpr int kWavOpenFlags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK;
constexpr mode_t kWavMode = 0666;

// Sound into a WAV file whose header is brought up to date every second and when the sink stops, so
// that a process that dies leaves a readable file. (Writers of libraries complete it only at their
// end.) The first error is told to the fault listeners; from then on the sound is dropped.
class WavFile : public SoundConsumer {
  public:
    explicit WavFile(const std::string& path);
    ~WavFile() override;

    // OK also when the file cannot be opened.
    status_t open(const SoundFormat& format) override;
    void consume(const int16_t* samples, size_t frames, int64_t heardAtUs) override;
    void onStopped() override;

  private:
    std::string header() const;
    void updateHeader();
    bool writeAll(const void* data, size_t size);
    bool waitForReader();
    void fail(int error);

    const std::string mPath;
    SoundFormat mFormat;
    int mFd = -1;
    bool mSeekable = false;     // else the header says "length unknown"
    uint64_t mDataBytes = 0;    // written
    uint64_t mHeaderBytes = 0;  // mDataBytes that the header knows of
};

}  // namespace android
