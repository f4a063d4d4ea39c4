// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "sheet/StillGrabber.h"

#include <gui/Surface.h>
#include <media/stagefright/MetaData.h>
#include <media/stagefright/foundation/AMessage.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "tracks/SourceTracks.h"
#include "tracks/TrackDecoding.h"

namespace oxa::jobs {

using namespace android;

namespace fs = std::filesystem;

namespace {

constexpr int64_t kFirstStepBackUs = 2'000'000;

// The files of a folder in the order of their names, which is that of the pictures.
std::vector<std::string> filesIn(const std::string& folder) {
    std::vector<std::string> paths;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error))
        paths.push_back(entry.path().string());
    std::sort(paths.begin(), paths.end());
    return paths;
}

// Shows the picture that is to be seen at one moment of a film: the last one that begins before
// it. Pictures are held back until the next one tells that they are the one.
class MomentPicker {
  public:
    // A picture that begins at `lastUs` is not shown again. With `mustBegin` the decoding has begun
    // too late when the first picture is later than that moment or none comes: none is shown.
    MomentPicker(int64_t timeUs, std::optional<int64_t> lastUs, bool mustBegin)
        : mTimeUs(timeUs), mLastUs(lastUs), mMustBegin(mustBegin) {}

    Verdict onOutput(const sp<MediaCodec>& decoder, const DecodedOutput& output) {
        const bool isPicture = output.size > 0;
        if (isPicture && (!mHeld || output.timeUs <= mTimeUs)) {
            if (mHeld) decoder->releaseOutputBuffer(mHeld->index);
            mHeld = output;
        }
        if (!output.isEnd && output.timeUs <= mTimeUs) return Verdict::kGoOn;
        mNextUs = output.isEnd && !isPicture ? INT64_MAX : output.timeUs;
        return mHeld ? show(decoder) : Verdict::kFails;
    }

    bool isLate() const { return mMustBegin && (!mHeld || mHeld->timeUs > mTimeUs); }

    // Of the picture that was shown.
    int64_t shownUs() const { return mHeld->timeUs; }
    // Until then the same picture is to be seen.
    int64_t nextUs() const { return mNextUs; }

  private:
    Verdict show(const sp<MediaCodec>& decoder) {
        if (isLate() || mHeld->timeUs == mLastUs) return Verdict::kFails;
        const status_t status = decoder->renderOutputBufferAndRelease(mHeld->index);
        return status == OK ? Verdict::kDone : Verdict::kFails;
    }

    const int64_t mTimeUs;
    const std::optional<int64_t> mLastUs;
    const bool mMustBegin;
    std::optional<DecodedOutput> mHeld;
    int64_t mNextUs = 0;
};

}  // namespace

StillGrabber::StillGrabber(const InputFile& input, const Track& track, Size size,
                           const CancelFlag& cancelled)
    : mInput(input), mTrack(track), mSize(size), mCancelled(cancelled) {}

std::optional<Failure> StillGrabber::grab(int count,
                                          const std::function<void(int done)>& onProgress,
                                          std::vector<Still>* stills) {
    if (auto failure = open()) return failure;
    for (int i = 0; i < count && !mCancelled; ++i) {
        onProgress(i);
        grabOne(mFirstUs + mLengthUs * (int64_t{2} * i + 1) / (int64_t{2} * count));
    }
    mDisplay.reset();  // waits for the files
    const std::vector<std::string> paths = filesIn(mFolder.path());
    if (paths.size() != mTimesUs.size()) {
        return Failure{FailureKind::kFailed,
                       "cannot write pictures to the temporary folder '" + mFolder.path() + "'"};
    }
    for (size_t i = 0; i < paths.size(); ++i)
        stills->push_back({mTimesUs[i], paths[i]});
    if (!stills->empty() || mCancelled) return std::nullopt;
    return Failure{FailureKind::kInput,
                   "'" + mInput.path() + "' has no picture that can be decoded"};
}

std::optional<Failure> StillGrabber::open() {
    if (!mFolder.create()) {
        return Failure{FailureKind::kFailed,
                       std::string("cannot make a temporary folder: ") + strerror(errno)};
    }
    mDisplay = host::createPngDisplay(mFolder.path());
    if (!openTrack()) {
        return Failure{FailureKind::kInput, "cannot read '" + mInput.path() + "'"};
    }
    findLength();
    return std::nullopt;
}

bool StillGrabber::openTrack() {
    return openExtractor(mInput, &mExtractor) == OK && mExtractor->selectTrack(mTrack.index) == OK;
}

// A file that does not tell its length is read to its end, without decoding.
void StillGrabber::findLength() {
    mExtractor->getSampleTime(&mFirstUs);
    mLengthUs = mTrack.durationUs.value_or(0);
    if (mLengthUs > 0) return;
    int64_t timeUs = mFirstUs;
    do {
        mLengthUs = std::max(mLengthUs, timeUs - mFirstUs);
    } while (!mCancelled && mExtractor->advance() == OK &&
             mExtractor->getSampleTime(&timeUs) == OK);
}

// Some files have no list of their key frames: then the first picture that can be decoded may come
// after the moment, and the decoding begins earlier and earlier.
void StillGrabber::grabOne(int64_t timeUs) {
    if (timeUs < mNextUs) return;
    for (int64_t earlierUs = 0;; earlierUs = std::max(kFirstStepBackUs, 2 * earlierUs)) {
        const int64_t startUs = std::max<int64_t>(0, timeUs - earlierUs);
        const bool mayBeLate = startUs == 0 || mCancelled;
        if (grabFrom(startUs, timeUs, mayBeLate)) return;
    }
}

// Without a list of key frames a seek may end behind one, and what comes until the next one looks
// like damage to a decoder.
bool StillGrabber::moveToKeyFrame(int64_t timeUs) {
    sp<MetaData> sample;
    while (mExtractor->getSampleMeta(&sample) == OK) {
        int64_t sampleUs = 0;
        int32_t isSync = 0;
        if (!sample->findInt64(kKeyTime, &sampleUs) || sampleUs > timeUs) return false;
        if (sample->findInt32(kKeyIsSyncFrame, &isSync)) return true;
        if (mExtractor->advance() != OK) return false;
    }
    return false;
}

bool StillGrabber::grabFrom(int64_t startUs, int64_t timeUs, bool mayBeLate) {
    // Where the file cannot be moved in, it is read again from its beginning.
    const bool moved =
            mExtractor->seekTo(startUs, MediaSource::ReadOptions::SEEK_PREVIOUS_SYNC) == OK;
    sp<AMessage> format;
    if ((!moved && !openTrack()) || mExtractor->getTrackFormat(mTrack.index, &format) != OK) {
        return true;
    }
    if (moved && !mayBeLate && !moveToKeyFrame(timeUs)) return false;
    format->setInt32("eWid", mSize.width);
    format->setInt32("eHei", mSize.height);
    if (mTrack.isInterlaced) format->setInt32("video-de-interlace", 1);
    const std::optional<int64_t> lastUs =
            mTimesUs.empty() ? std::nullopt : std::optional(mTimesUs.back());
    MomentPicker picker(timeUs, lastUs, moved && !mayBeLate);
    const Verdict verdict =
            decodeTrack(mExtractor, format, new Surface(mDisplay->producer()), 0, mCancelled,
                        [&picker](const sp<MediaCodec>& decoder, DecodedOutput output) {
                            return picker.onOutput(decoder, output);
                        });
    if (verdict == Verdict::kDone) mTimesUs.push_back(picker.shownUs());
    mNextUs = picker.nextUs();
    return !picker.isLate();
}

}  // namespace oxa::jobs
