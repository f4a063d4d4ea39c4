// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "writer/OutputChain.h"

#include <algorithm>
#include <utility>

#include "base/SessionState.h"
#include "ffmpeg/TimeBase.h"

namespace android {

namespace {

// Pictures of a live source do not come exactly in time; one that is this early is the one that is
// due.
constexpr int64_t kEarlyUs = 20'000;

}  // namespace

OutputChain::OutputChain(std::unique_ptr<WriterOutput> output,
                         std::unique_ptr<ContainerMuxer> muxer, OnFailed onFailed)
    : mOnFailed(std::move(onFailed)),
      mFile{std::move(output), std::move(muxer)},
      mWritten(mFile.output.get()) {}

OutputChain::~OutputChain() {
    if (mFinisher.joinable()) mFinisher.join();
}

int OutputChain::open(const Descriptions& tracks, int rotation) {
    mTracks = &tracks;
    mRotation = rotation;
    mFiles = oxa::host::outputFiles();
    mDueUs = mFiles.lengthUs;
    mArrived.assign(tracks.size(), false);
    const auto picture = std::find_if(tracks.begin(), tracks.end(),
                                      [](const auto& track) { return track->isVideo(); });
    if (picture != tracks.end()) mLeader = static_cast<int>(picture - tracks.begin());
    return mFile.muxer->open(mFile.output.get(), tracks, rotation);
}

int64_t OutputChain::timeIn(int track, int64_t leaderTime) const {
    return av_rescale_q(leaderTime, (*mTracks)[mLeader]->timeBase, (*mTracks)[track]->timeBase);
}

int OutputChain::write(AVPacket* packet) {
    const int track = packet->stream_index;
    if (track == mLeader && !mBegun) {
        mBegun = true;
        mFirstTime = packet->pts;
    }
    if (isDue(*packet)) {
        const int result = goOver(packet->pts);
        if (result < 0) return result;
    }
    const bool isOfFormer =
            mFormer.muxer != nullptr && packet->pts < timeIn(track, mFile.beginTime);
    const File& file = isOfFormer ? mFormer : mFile;
    packet->pts -= timeIn(track, file.beginTime);
    packet->dts -= timeIn(track, file.beginTime);
    mWritten = file.output.get();
    const int result = file.muxer->write(packet);
    if (mFormer.muxer == nullptr || isOfFormer) return result;
    mArrived[track] = true;
    if (std::find(mArrived.begin(), mArrived.end(), false) == mArrived.end()) finishFormer();
    return result;
}

bool OutputChain::isDue(const AVPacket& packet) const {
    const bool mayBegin = packet.stream_index == mLeader && (packet.flags & AV_PKT_FLAG_KEY) != 0;
    if (mFiles.lengthUs <= 0 || !mayBegin) return false;
    const int64_t timeUs =
            av_rescale_q(packet.pts - mFirstTime, (*mTracks)[mLeader]->timeBase, kMicroseconds);
    return timeUs >= mDueUs - kEarlyUs;
}

int OutputChain::goOver(int64_t beginTime) {
    const int64_t timeUs =
            av_rescale_q(beginTime - mFirstTime, (*mTracks)[mLeader]->timeBase, kMicroseconds);
    while (mDueUs - kEarlyUs <= timeUs)
        mDueUs += mFiles.lengthUs;
    const int descriptor = mFiles.next();
    if (descriptor < 0) return 0;
    // A track from which nothing has come since the last time will not come to that file any more.
    if (mFormer.muxer != nullptr) finishFormer();
    mFile.muxer->setEnd(mLeader, beginTime - mFile.beginTime);
    exchangeFiles(descriptor, beginTime);
    mArrived.assign(mTracks->size(), false);
    mWritten = mFile.output.get();
    if (mWritten->error() != 0) return AVERROR(mWritten->error());
    return mFile.muxer->open(mFile.output.get(), *mTracks, mRotation);
}

void OutputChain::exchangeFiles(int descriptor, int64_t beginTime) {
    const AnnotatedLock lock(mLock);
    mFormer = std::move(mFile);
    mFile = {std::make_unique<WriterOutput>(descriptor), mFormer.muxer->another(), beginTime};
    if (mWaitsLimited) mFile.output->limitWaits();
}

// A disk that is slower than the recording makes it wait here, with one file at a time.
void OutputChain::finishFormer() {
    if (mFinisher.joinable()) mFinisher.join();
    mWritten = mFile.output.get();
    File former;
    {
        const AnnotatedLock lock(mLock);
        former = std::exchange(mFormer, {});
    }
    mFinisher = std::thread(oxa::host::inSession([this, file = std::move(former)] {
        const int result = file.muxer->finish();
        file.output->close();
        if (result < 0) {
            mOnFailed(*file.output, result);
        } else if (mFiles.finished) {
            mFiles.finished();
        }
    }));
}

void OutputChain::setEnd(int track, int64_t time) {
    mFile.muxer->setEnd(track, time - timeIn(track, mFile.beginTime));
}

int OutputChain::finish() {
    if (mFormer.muxer != nullptr) finishFormer();
    if (mFinisher.joinable()) mFinisher.join();
    return mFile.muxer->finish();
}

void OutputChain::limitWaits() {
    const AnnotatedLock lock(mLock);
    mWaitsLimited = true;
    for (const File* file : {&mFile, &mFormer}) {
        if (file->output != nullptr) file->output->limitWaits();
    }
}

}  // namespace android
