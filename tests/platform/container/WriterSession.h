// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/MediaAdapter.h>
#include <media/stagefright/MediaWriter.h>
#include <media/stagefright/MetaData.h>

#include <string>
#include <vector>

namespace oxa::test {

// One sample on its way into a writer, or found in what it wrote.
struct TrackSample {
    size_t track = 0;
    int64_t timeUs = 0;
    bool sync = false;
    std::vector<uint8_t> data;  // H.264 with start codes
};

// The tracks of an MP4 clip as an encoder would give them, up to a time.
struct EncodedClip {
    EncodedClip(const std::string& path, int64_t endUs);

    std::vector<android::sp<android::MetaData>> formats;
    std::vector<TrackSample> samples;  // in the order of the file
};

enum class Container { kMp4, kTs };

// A writer with one adapter for each track, as a muxer uses it.
class WriterSession {
  public:
    // Takes `fd` over: it is closed as soon as the writer is made.
    WriterSession(Container container, int fd);
    explicit WriterSession(const android::sp<android::MediaWriter>& writer);

    android::MediaWriter* operator->() const { return mWriter.get(); }

    android::status_t addTrack(const android::sp<android::MetaData>& format);
    // Adds all tracks and starts; both must work.
    void start(const EncodedClip& clip, android::MetaData* params = nullptr);
    android::status_t push(const TrackSample& sample);
    // Pushes all; true if every answer was OK.
    bool push(const std::vector<TrackSample>& samples);
    // As a muxer stops: the adapters first.
    android::status_t stop();

  private:
    android::sp<android::MediaWriter> mWriter;
    std::vector<android::sp<android::MediaAdapter>> mAdapters;
};

// What is in a file: its samples with their own times (not relative to the file's start), H.264
// ones with start codes and without parameter sets and delimiters.
std::vector<TrackSample> readSamples(const std::string& path);

// The same normal form for a sample that was pushed.
std::vector<uint8_t> withoutParameterSets(const std::vector<uint8_t>& annexB);

}  // namespace oxa::test
