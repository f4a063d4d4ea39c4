// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "writer/ContainerMuxer.h"
#include "writer/MuxerStream.h"

namespace android {

// MPEG-2 transport stream. Tracks are interleaved with at most a second of delay.
class TsMuxer : public ContainerMuxer {
  public:
    std::unique_ptr<ContainerMuxer> another() const override { return std::make_unique<TsMuxer>(); }
    bool accepts(const char* mime,
                 const std::vector<std::unique_ptr<TrackDescription>>& others) const override;
    AvcForm avcForm() const override { return AvcForm::kAnnexB; }
    int open(WriterOutput* output, const std::vector<std::unique_ptr<TrackDescription>>& tracks,
             int rotation) override;
    int write(AVPacket* packet) override;
    int finish() override;

  private:
    WriterOutput* mOutput = nullptr;
    std::unique_ptr<MuxerStream> mStream;
    AvMuxerOwner mMuxer;  // goes before its stream
    bool mOpen = false;
    std::vector<AVRational> mTimeBases;  // of the tracks
};

}  // namespace android
