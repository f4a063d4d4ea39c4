// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/TrackCopy.h>

#include <oxa/host/FaultListener.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "copy/CopyMuxer.h"
#include "copy/CopySource.h"
#include "copy/CopyTimeline.h"
#include "ffmpeg/AvError.h"
#include "ffmpeg/AvLog.h"
#include "ffmpeg/TimeBase.h"
#include "writer/SampleOrder.h"

namespace oxa::host {

using namespace android;

CopyInput::CopyInput() : mSource(std::make_unique<CopySource>()) {}

CopyInput::~CopyInput() = default;

int CopyInput::open(int descriptor, int64_t size, bool pictures, bool sound, bool keepsClock) {
    return mSource->open(descriptor, size, pictures, sound, keepsClock);
}

std::string CopyInput::refusal() const {
    return mSource->refusal();
}

std::string CopyInput::differenceFrom(const CopyInput& first) const {
    for (const CopyKind kind : {kCopyPictures, kCopySound}) {
        std::string difference =
                differenceOf(mSource->track(kind), first.mSource->track(kind), kind);
        if (!difference.empty()) return difference;
    }
    const bool isHidden = mSource->firstPicture().value_or(0) < 0;
    return isHidden ? "it begins with pictures that are not to be shown" : "";
}

int64_t CopyInput::durationUs() const {
    return mSource->durationUs();
}

bool CopyInput::hasPictures() const {
    return mSource->track(kCopyPictures).isThere();
}

class TrackCopy::Impl {
  public:
    Impl(int descriptor, Container container)
        : mIsMp4(container == Container::kMp4), mMuxer(descriptor, mIsMp4) {
        routeAvLog();
    }

    void setSound(std::unique_ptr<CopySource> sound) { mSound = std::move(sound); }
    void append(std::unique_ptr<CopySource> part, bool isLast);
    Step copyNext();
    std::string refusal() const;
    bool finish(OutputEnd end);
    const OutputFigures& figures() const { return mFigures; }
    int64_t timeUs() const { return mTimeUs; }
    uint64_t pictures() const { return mPictures; }

  private:
    void open();
    void beginPart();
    CopySource* behind() const;
    void take(AvPacketOwner packet);
    void write(AvPacketOwner packet);
    void count(const AVPacket& packet);
    void check(int result);
    const CopySource& soundSource() const { return mSound != nullptr ? *mSound : *mPart; }
    int64_t toUs(const AVPacket& packet, int64_t time) const;

    const bool mIsMp4;
    CopyMuxer mMuxer;
    std::unique_ptr<CopyTimeline> mTimeline;  // all from the first part on
    std::unique_ptr<SampleOrder> mOrder;
    std::unique_ptr<CopySource> mPart;
    std::unique_ptr<CopySource> mSound;  // of the whole copy; null: each part's own
    bool mPartEnded = false;
    bool mSoundEnded = false;
    bool mIsLast = false;
    int64_t mPartReachUs = INT64_MIN;
    int64_t mSoundReachUs = INT64_MIN;
    bool mFailed = false;
    OutputFigures mFigures;
    std::atomic<int64_t> mTimeUs{0};
    std::atomic<uint64_t> mPictures{0};
};

void TrackCopy::Impl::append(std::unique_ptr<CopySource> part, bool isLast) {
    mPart = std::move(part);
    mPartEnded = false;
    mIsLast = isLast;
    const bool isFirst = mTimeline == nullptr;
    if (isFirst) open();
    if (!mFailed) beginPart();
}

void TrackCopy::Impl::open() {
    const CopyTrack& pictures = mPart->track(kCopyPictures);
    const CopyTrack& sound = soundSource().track(kCopySound);
    mTimeline = std::make_unique<CopyTimeline>(mIsMp4, pictures.timeBase, sound.timeBase);
    mOrder = std::make_unique<SampleOrder>(std::vector{pictures.timeBase, sound.timeBase}, true);
    if (!pictures.isThere()) mOrder->end(kCopyPictures);
    if (!sound.isThere()) mOrder->end(kCopySound);
    check(mMuxer.open(pictures.isThere() ? &pictures : nullptr,
                      sound.isThere() ? &sound : nullptr));
}

void TrackCopy::Impl::beginPart() {
    const CopyTrack& pictures = mPart->track(kCopyPictures);
    const int64_t first = mPart->firstPicture().value_or(0);
    const bool isFirst = mPartReachUs == INT64_MIN;
    mTimeline->beginPart({{pictures.timeBase, soundSource().track(kCopySound).timeBase},
                          pictures.isThere(),
                          first,
                          mSound == nullptr});
    CopySource* const alone = pictures.isThere() ? mSound.get() : mPart.get();
    // As the writer of a transport stream has it, which cannot hide the encoder's priming.
    if (alone != nullptr && isFirst && !mIsMp4 && !mPart->hasStart()) alone->beginSound(0);
    if (mSound != nullptr) return;
    if (isFirst && !mIsMp4 && mPart->hasStart()) {
        mPart->beginSound(
                av_rescale_q(first, pictures.timeBase, mPart->track(kCopySound).timeBase));
    }
    // Sound that is longer than the pictures gives way to that of the next part.
    int64_t end = 0;
    if (!isFirst && mOrder->dropFrom(kCopySound, mTimeline->soundBegin(), &end)) {
        mTimeline->takeBackSound(end);
    }
}

// The file that is to be read on; null when there is none.
CopySource* TrackCopy::Impl::behind() const {
    const bool hasSound = mSound != nullptr && !mSoundEnded;
    if (mPartEnded) return hasSound && mIsLast ? mSound.get() : nullptr;
    return hasSound && mSoundReachUs < mPartReachUs ? mSound.get() : mPart.get();
}

TrackCopy::Step TrackCopy::Impl::copyNext() {
    while (!mFailed) {
        CopySource* const source = behind();
        if (source == nullptr) return refusal().empty() ? Step::kEnded : Step::kFailed;
        AvPacketOwner packet = source->next();
        if (packet == nullptr) {
            (source == mPart.get() ? mPartEnded : mSoundEnded) = true;
            continue;
        }
        if (!mTimeline->place(packet)) continue;
        int64_t& reachUs = source == mPart.get() ? mPartReachUs : mSoundReachUs;
        reachUs = toUs(*packet, packet->dts);
        take(std::move(packet));
        return mFailed ? Step::kFailed : Step::kCopied;
    }
    return Step::kFailed;
}

std::string TrackCopy::Impl::refusal() const {
    const std::string part = mPart->refusal();
    return part.empty() && mSound != nullptr ? mSound->refusal() : part;
}

void TrackCopy::Impl::take(AvPacketOwner packet) {
    mOrder->add(std::move(packet), 0);
    while (!mFailed) {
        AvPacketOwner next = mOrder->next();
        if (next == nullptr) return;
        write(std::move(next));
    }
}

void TrackCopy::Impl::write(AvPacketOwner packet) {
    count(*packet);
    check(mMuxer.write(packet));
}

int64_t TrackCopy::Impl::toUs(const AVPacket& packet, int64_t time) const {
    return av_rescale_q(time, mTimeline->base(static_cast<CopyKind>(packet.stream_index)),
                        kMicroseconds);
}

void TrackCopy::Impl::count(const AVPacket& packet) {
    const int64_t startUs = toUs(packet, packet.pts);
    const int64_t endUs = toUs(packet, packet.pts + packet.duration);
    if (packet.stream_index == kCopyPictures) {
        mPictures = ++mFigures.pictures;
        mFigures.pictureEndUs = std::max(mFigures.pictureEndUs, endUs);
    } else {
        if (mFigures.soundUnits++ == 0) mFigures.soundStartUs = startUs;
        mFigures.soundEndUs = endUs;
    }
    mTimeUs = std::max<int64_t>(mTimeUs, endUs);
}

bool TrackCopy::Impl::finish(OutputEnd end) {
    if (mOrder == nullptr) return true;  // stopped before the first part
    if (end == OutputEnd::kTogether) mOrder->cut();
    while (!mFailed) {
        AvPacketOwner next = mOrder->nextOfRest();
        if (next == nullptr) break;
        write(std::move(next));
    }
    if (!mFailed) check(mMuxer.finish());
    return !mFailed;
}

// The listeners are told of the first failure.
void TrackCopy::Impl::check(int result) {
    if (result >= 0 || std::exchange(mFailed, true)) return;
    Fault fault;
    fault.source = FaultSource::kWriter;
    fault.ended = true;
    fault.object = mMuxer.output().name();
    fault.error = mMuxer.output().error();
    fault.cause = fault.error != 0 ? mMuxer.output().cause() : avErrorText(result);
    reportFault(fault);
}

TrackCopy::TrackCopy(int descriptor, Container container)
    : mImpl(std::make_unique<Impl>(descriptor, container)) {}

TrackCopy::~TrackCopy() = default;

void TrackCopy::setSound(std::unique_ptr<CopyInput> sound) {
    mImpl->setSound(std::move(sound->mSource));
}

void TrackCopy::append(std::unique_ptr<CopyInput> part, bool isLast) {
    mImpl->append(std::move(part->mSource), isLast);
}

TrackCopy::Step TrackCopy::copyNext() {
    return mImpl->copyNext();
}

std::string TrackCopy::refusal() const {
    return mImpl->refusal();
}

bool TrackCopy::finish(OutputEnd end) {
    return mImpl->finish(end);
}

const OutputFigures& TrackCopy::figures() const {
    return mImpl->figures();
}

int64_t TrackCopy::timeUs() const {
    return mImpl->timeUs();
}

uint64_t TrackCopy::pictures() const {
    return mImpl->pictures();
}

}  // namespace oxa::host
