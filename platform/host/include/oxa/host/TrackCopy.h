// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/OutputEnd.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace android {
class CopySource;
}

namespace oxa::host {

// A file whose samples are copied: of its first picture and its first sound, as far as the
// session's InputChoice leaves them. Copying begins at the key frame at the chosen start or before
// it. One thread at a time; what is wrong with the file's data is told to the fault listeners.
class CopyInput {
  public:
    CopyInput();
    ~CopyInput();
    CopyInput(const CopyInput&) = delete;

    // Once, before anything else: reads the file's beginning. The descriptor stays the caller's and
    // may be closed afterwards. With `keepsClock` times count from where the clock of an MP4 file
    // begins, not from its first sample: files that were made of one have the same. 0, or an error
    // as NuMediaExtractor::setDataSource answers.
    int open(int descriptor, int64_t size, bool pictures = true, bool sound = true,
             bool keepsClock = false);

    // Why it cannot be copied, for people: "the sound is mp3, not AAC"; empty when it can.
    std::string refusal() const;
    // Why its samples cannot follow those of `first`, for people: "the picture is 640x360, not
    // 1280x720"; empty when they can.
    std::string differenceFrom(const CopyInput& first) const;
    bool hasPictures() const;
    int64_t durationUs() const;  // 0: the file does not say

  private:
    friend class TrackCopy;
    std::unique_ptr<android::CopySource> mSource;
};

// Copies the samples of files into one new file, without decoding them. One thread, which waits for
// the disk or for the reader of a pipe (oxa/host/OutputWait.h); timeUs() and pictures() from any.
class TrackCopy {
  public:
    enum class Container { kMp4, kMpeg2Ts };
    enum class Step { kCopied, kEnded, kFailed };

    // The descriptor stays the caller's, and is duplicated.
    TrackCopy(int descriptor, Container container);
    ~TrackCopy();
    TrackCopy(const TrackCopy&) = delete;

    // Before the first part: a file that was opened for its sound alone, which is that of the whole
    // copy. It begins with the first part.
    void setSound(std::unique_ptr<CopyInput> sound);

    // What is copied next. The first part is in its own time: an MP4 file does not show what is
    // before its chosen start, a transport stream begins with that. The pictures of any other part
    // follow directly behind the last ones; its sound keeps its place to them within half a frame.
    // `isLast`: no other follows. What was opened for it must be without refusal.
    void append(std::unique_ptr<CopyInput> part, bool isLast);

    // Copies one sample. kEnded: the part is copied; kFailed: see refusal(), else the output has
    // failed, which the fault listeners have been told.
    Step copyNext();
    // Why no more of the present part can be copied, for people; empty otherwise.
    std::string refusal() const;

    // Completes the file with what was copied. False when the output fails. Once.
    bool finish(OutputEnd end);
    // What is in the file then.
    const OutputFigures& figures() const;

    int64_t timeUs() const;  // how far the copy has come
    uint64_t pictures() const;

  private:
    class Impl;
    const std::unique_ptr<Impl> mImpl;
};

}  // namespace oxa::host
