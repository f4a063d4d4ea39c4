// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct AVFormatContext;

namespace oxa::test {

// What a file's decoded content says of one stream. Times are in microseconds, relative to the
// file's start.
struct StreamProbe {
    bool isVideo = false;
    bool isCover = false;
    std::string codec;    // libavcodec's name: "h264", "aac"
    std::string profile;  // "High", "LC"; empty if unknown
    int level = -1;
    int64_t packetCount = 0;
    int64_t syncPacketCount = 0;  // that the file's index tells
    std::vector<int64_t> packetTimesUs;
    bool decodingTimesRise = true;
    int decodeErrors = 0;  // -1: no decoder

    int64_t frameCount = 0;        // decoded pictures, or samples of one channel
    int64_t keyFrameCount = 0;     // pictures that need no other, whatever the file calls them
    std::vector<int64_t> timesUs;  // of each decoded picture or block of sound
    int64_t endUs = 0;             // end of the last one

    int width = 0;
    int height = 0;
    int sarNum = 0;  // 0 when the stream does not say
    int sarDen = 1;
    int rotation = 0;  // degrees clockwise that a player turns the picture
    double frameRate = 0;

    int sampleRate = 0;
    int channels = 0;
    std::string layout;  // libavutil's name: "stereo"

    int64_t firstUs() const { return timesUs.empty() ? 0 : timesUs.front(); }
    int64_t durationUs() const { return endUs - firstUs(); }
};

// Opens a media file with libavformat, decodes all of it and tells what is in it.
class MediaProbe {
  public:
    // `format`: libavformat's name, for a file too short to be recognised; empty: find out.
    explicit MediaProbe(const std::string& path, const std::string& format = "");

    bool ok() const { return mError.empty(); }
    const std::string& error() const { return mError; }
    const std::string& formatName() const { return mFormatName; }
    const std::vector<StreamProbe>& streams() const { return mStreams; }
    // The first stream of the kind, without cover pictures; null if there is none.
    const StreamProbe* video() const { return find(true); }
    const StreamProbe* audio() const { return find(false); }

  private:
    const StreamProbe* find(bool video) const;
    void countSyncPackets(const AVFormatContext* context);

    std::string mError;
    std::string mFormatName;
    std::vector<StreamProbe> mStreams;
};

// By how much a track is ahead, at most, of what comes later in the file of another. Microseconds;
// `format` as above.
int64_t largestLeadUs(const std::string& path, const std::string& format = "");

// The names of the boxes of an MP4 file's first level; the last one is "?" when the file ends, or
// is none any more, within a box.
std::vector<std::string> boxesOf(const std::string& path);

}  // namespace oxa::test
