// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/OutputTags.h>
#include <stdlib.h>

#include <memory>
#include <string>
#include <vector>

#include "writer/ContainerMuxer.h"
#include "writer/MuxerStream.h"

namespace android {

// An MP4 file that can be played at any moment while it is written, and is an ordinary one in the
// end:
//
//   ftyp | free | moov | (moof mdat)* | moov
//
// The first moov only names the tracks, each moof tells of about a quarter of a second of samples,
// so that tracks lie close together. The moov at the end is the index of all samples; when it is on
// the disk, "free" is turned into the header of an mdat that reaches up to it and hides everything
// else. Two muxers see each sample: one writes the pieces, the other one only notes where they put
// it. Without a seekable output the pieces are all there is.
class Mp4Muxer : public ContainerMuxer {
  public:
    static constexpr int kMovieTimeScale = 10000;

    // Before open.
    void setPieceDurationUs(int64_t durationUs) { mPieceDurationUs = durationUs; }
    void setTimeScale(int timeScale) { mTimeScale = timeScale; }
    // ISO 6709.
    void setLocation(const std::string& location) { mLocation = location; }

    std::unique_ptr<ContainerMuxer> another() const override;
    bool accepts(const char* mime,
                 const std::vector<std::unique_ptr<TrackDescription>>& others) const override;
    AvcForm avcForm() const override { return AvcForm::kLengthPrefixed; }
    int open(WriterOutput* output, const std::vector<std::unique_ptr<TrackDescription>>& tracks,
             int rotation) override;
    int write(AVPacket* packet) override;
    void setEnd(int track, int64_t time) override;
    int finish() override;

  private:
    // A sample of the piece that is being collected.
    struct Sample {
        int64_t presentationTime;
        int64_t decodingTime;
        int64_t duration;
        int size;
        int flags;
    };
    struct Track {
        AVRational timeBase;
        bool seen = false;            // had a sample
        std::vector<Sample> samples;  // in the present piece
        // The last one of the pieces before waits for its successor, which tells its length.
        Sample last = {};
        int64_t lastPosition = -1;  // in the file; -1: there is none
        int64_t end = INT64_MIN;    // of the track, where it is known
    };

    int openMuxer(AVFormatContext* muxer,
                  const std::vector<std::unique_ptr<TrackDescription>>& tracks, int rotation,
                  const char* flags);
    int openIndex(const std::vector<std::unique_ptr<TrackDescription>>& tracks, int rotation);
    // What the muxers write. These return 0 or an errno.
    int takePiece(int64_t position, const uint8_t* data, int size);
    int collectIndex(int64_t position, const uint8_t* data, int size);

    bool isPieceComplete(const AVPacket& packet) const;
    int writePiece();
    size_t missingOfBox() const;
    int collectBox(const uint8_t* data, size_t size);
    int writeSamples(const uint8_t* data, size_t size);
    int writeBox();
    int endBox();
    uint8_t* zeros(size_t size);
    int indexSamples(int64_t position);
    int indexLast(size_t track);
    int writeIndex();
    void keepChapters();
    int useIndex();
    int dropIndex();

    WriterOutput* mOutput = nullptr;
    int64_t mPieceDurationUs = 250000;
    int mTimeScale = kMovieTimeScale;
    std::string mLocation;
    oxa::host::OutputTags mTags;

    std::unique_ptr<MuxerStream> mPieceStream;
    std::unique_ptr<MuxerStream> mIndexStream;
    AvMuxerOwner mPieceMuxer;  // these go before their streams
    AvMuxerOwner mIndexMuxer;
    bool mOpen = false;
    const char* mFormat = "mp4";  // libavformat's name
    std::vector<Track> mTracks;

    std::vector<uint8_t> mBox;    // of mPieceMuxer, not in the file yet; of an mdat the header
    size_t mSamplesLeft = 0;      // bytes of that mdat that are still to come
    int64_t mPieceSize = 0;       // bytes of samples that mPieceMuxer holds
    int64_t mFileEnd = 0;         // behind the last whole piece
    int64_t mMediaStart = 0;      // of "free"
    bool mCollectIndex = false;   // false: mIndexMuxer's bytes are samples, which are there
    std::vector<uint8_t> mIndex;  // the bytes from mFileEnd on
    std::unique_ptr<uint8_t, decltype(&free)> mZeros{nullptr, free};  // stand for a sample's bytes
    size_t mZerosSize = 0;
};

}  // namespace android
