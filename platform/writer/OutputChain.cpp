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
// A track that is later than another by so much has stopped.
constexpr int64_t kLongestLagUs = 2'000'000;

bool areAll(const std::vector<bool>& tracks) {
    return std::find(tracks.begin(), tracks.end(), false) == tracks.end();
}

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
    if (!mFiles.isWanted) return mFile.muxer->open(mFile.output.get(), tracks, rotation);
    mReplay = std::make_unique<ReplayBuffer>(tracks, mLeader, mFiles.keepUs);
    mLeft = oxa::host::outputLength();
    const AnnotatedLock lock(mLock);
    mUnused = std::exchange(mFile, {});
    return 0;
}

int64_t OutputChain::timeIn(int track, int64_t leaderTime) const {
    return av_rescale_q(leaderTime, (*mTracks)[mLeader]->timeBase, (*mTracks)[track]->timeBase);
}

int OutputChain::write(AVPacket* packet) {
    return mReplay != nullptr ? writeIfWanted(packet) : writeToFile(packet);
}

int OutputChain::writeToFile(AVPacket* packet) {
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
    File& file = isOfFormer ? mFormer : mFile;
    packet->pts -= timeIn(track, file.beginTime);
    packet->dts -= timeIn(track, file.beginTime);
    mWritten = file.output.get();
    count(*packet, &file.figures);
    const int result = file.muxer->write(packet);
    if (mFormer.muxer == nullptr || isOfFormer) return result;
    mArrived[track] = true;
    if (areAll(mArrived)) finishFormer();
    return result;
}

int OutputChain::writeIfWanted(AVPacket* packet) {
    mReplay->add(*packet);
    if (!mFiles.isWanted()) {
        mRefused = false;
        if (mFile.muxer != nullptr) endFile();
        return 0;
    }
    if (mFile.muxer != nullptr) return writeWithin(packet);
    return mRefused || mReplay->samples().empty() ? 0 : beginReplay();
}

int OutputChain::beginReplay() {
    const int descriptor = mFiles.next();
    mRefused = descriptor < 0;
    if (mRefused) return 0;
    mFirstTime = mReplay->samples().front()->pts;
    mBegun = true;
    mDueUs = mFiles.lengthUs;
    mLengthUs = 0;
    mCut.assign(mTracks->size(), false);
    int result = beginFile(mFirstTime, descriptor);
    for (const AvPacketOwner& sample : mReplay->samples()) {
        if (result < 0) break;
        if (sample->pts < timeIn(sample->stream_index, mFirstTime)) continue;
        const AvPacketOwner packet(av_packet_clone(sample));
        result = packet != nullptr ? writeWithin(packet) : AVERROR(ENOMEM);
    }
    return result;
}

// What there is no room for any more is dropped.
int OutputChain::writeWithin(AVPacket* packet) {
    const int track = packet->stream_index;
    const TrackDescription& description = *(*mTracks)[track];
    const int64_t time = packet->pts - timeIn(track, mFirstTime);
    const int64_t beginUs = av_rescale_q(time, description.timeBase, kMicroseconds);
    const int64_t endUs =
            av_rescale_q(time + packet->duration, description.timeBase, kMicroseconds);
    if (mLeft && beginUs >= mLeft->us - (description.isVideo() ? mLeft->earlyUs : 0)) {
        if (!mCut[track]) cut(track);
        const bool isFull = areAll(mCut) || beginUs >= mLeft->us + kLongestLagUs;
        if (isFull && mFiles.full) mFiles.full();
        return 0;
    }
    const int64_t grownUs = std::max<int64_t>(0, endUs - mLengthUs);
    mLengthUs += grownUs;
    if (mFiles.grown) mFiles.grown(grownUs);
    return writeToFile(packet);
}

void OutputChain::cut(int track) {
    const TrackDescription& description = *(*mTracks)[track];
    if (description.isVideo()) {
        setEnd(track, timeIn(track, mFirstTime) +
                              av_rescale_q(mLeft->us, kMicroseconds, description.timeBase));
    }
    mCut[track] = true;
}

void OutputChain::endFile() {
    if (mLeft) {
        mLeft->us -= std::min(mLengthUs, mLeft->us);
        if (mLeft->us <= mLeft->earlyUs && mFiles.full) mFiles.full();
    }
    if (mFormer.muxer != nullptr) finishFormer();
    {
        const AnnotatedLock lock(mLock);
        mFormer = std::exchange(mFile, {});
    }
    finishFormer();
}

bool OutputChain::isDue(const AVPacket& packet) const {
    const bool mayBegin = packet.stream_index == mLeader && (packet.flags & AV_PKT_FLAG_KEY) != 0;
    if (mFiles.lengthUs <= 0 || !mayBegin) return false;
    const int64_t timeUs =
            av_rescale_q(packet.pts - mFirstTime, (*mTracks)[mLeader]->timeBase, kMicroseconds);
    return timeUs >= mDueUs - kEarlyUs;
}

void OutputChain::count(const AVPacket& packet, oxa::host::OutputFigures* figures) const {
    const TrackDescription& track = *(*mTracks)[packet.stream_index];
    const int64_t startUs = av_rescale_q(packet.pts, track.timeBase, kMicroseconds);
    const int64_t endUs = av_rescale_q(packet.pts + packet.duration, track.timeBase, kMicroseconds);
    if (track.isVideo()) {
        ++figures->pictures;
        figures->pictureEndUs = endUs;
        return;
    }
    if (figures->soundUnits++ == 0) figures->soundStartUs = startUs;
    figures->soundEndUs = endUs;
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
    setEnd(mLeader, beginTime);
    mArrived.assign(mTracks->size(), false);
    return beginFile(beginTime, descriptor);
}

// The file before, if any, becomes the former one.
int OutputChain::beginFile(int64_t beginTime, int descriptor) {
    {
        const AnnotatedLock lock(mLock);
        mFormer = std::move(mFile);
        mFile.output = std::make_unique<WriterOutput>(descriptor);
        mFile.muxer = (mFormer.muxer ? mFormer : mUnused).muxer->another();
        mFile.beginTime = beginTime;
        mFile.figures = {};
        if (mWaitsLimited) mFile.output->limitWaits();
    }
    mWritten = mFile.output.get();
    if (mWritten->error() != 0) return AVERROR(mWritten->error());
    return mFile.muxer->open(mFile.output.get(), *mTracks, mRotation);
}

// A disk that is slower than the recording makes it wait here, with one file at a time.
void OutputChain::finishFormer() {
    if (mFinisher.joinable()) mFinisher.join();
    mWritten = (mFile.output ? mFile : mUnused).output.get();
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
        } else {
            tellFinished(file.figures);
        }
    }));
}

void OutputChain::setEnd(int track, int64_t time) {
    if (mFile.muxer == nullptr || (mLeft && mCut[track])) return;
    const int64_t timeInFile = time - timeIn(track, mFile.beginTime);
    mFile.muxer->setEnd(track, timeInFile);
    const TrackDescription& description = *(*mTracks)[track];
    if (description.isVideo() && mFile.figures.pictures > 0) {
        mFile.figures.pictureEndUs = av_rescale_q(timeInFile, description.timeBase, kMicroseconds);
    }
}

int OutputChain::finish() {
    if (mFormer.muxer != nullptr) finishFormer();
    if (mFinisher.joinable()) mFinisher.join();
    return mFile.muxer != nullptr ? mFile.muxer->finish() : 0;
}

void OutputChain::close() {
    for (const File* file : {&mFile, &mUnused}) {
        if (file->output != nullptr) file->output->close();
    }
}

void OutputChain::tellFinished(const oxa::host::OutputFigures& figures) const {
    if (mFiles.finished && figures.pictures + figures.soundUnits > 0) mFiles.finished(figures);
}

void OutputChain::limitWaits() {
    const AnnotatedLock lock(mLock);
    mWaitsLimited = true;
    for (const File* file : {&mFile, &mFormer}) {
        if (file->output != nullptr) file->output->limitWaits();
    }
}

}  // namespace android
