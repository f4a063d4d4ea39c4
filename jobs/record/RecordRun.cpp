// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "record/RecordRun.h"

#include <oxa/host/Cameras.h>
#include <oxa/host/HdmiSound.h>
#include <oxa/host/Microphones.h>
#include <oxa/host/OutputEnd.h>
#include <oxa/host/OutputWait.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "tracks/MessageText.h"

namespace oxa::jobs {

using android::OK;
using android::status_t;

namespace {

constexpr int64_t kShortestTickUs = 2'000;
constexpr int64_t kStopOutputWaitUs = 1'000'000;
constexpr int32_t kOutputDescriptor = 7;
// A disk that takes nothing has said so by now.
constexpr int64_t kTrustedUs = 2'000'000;
constexpr int64_t kLongestLagUs = 2'000'000;
constexpr int64_t kLastSoundUs = 100'000;

int onlyTrack(const CaptureSource& source) {
    if (!source.hasVideo()) return android::CODEC_AUDIO_ONLY;
    return source.hasAudio() ? 0 : android::CODEC_VIDEO_ONLY;
}

}  // namespace

RecordRun::RecordRun(const Work& work, JobContext& context)
    : PlayerRun(onlyTrack(work.source), context),
      mWork(work),
      mRecorded{-1, -1, -1, 0, 0},
      mBefore(work.before),
      mIsOn(!work.standsBy) {}

std::optional<Failure> RecordRun::start() {
    const bool isHdmi = mWork.source.isHdmi();
    const bool isRecorded = mIsOn || mWork.isHeld;
    mPlayer->initiate(isHdmi ? android::SourceTypeHdmiRx : android::SourceTypeUsbCamera, true,
                      isRecorded);
    mPlayer->setCameraSource(mWork.source.place().camera(), android::String16("oxaplayer"));
    mPlayer->setAudioSource(mWork.source.place().audioSource());
    status_t status = mPlayer->setSurface(mWork.preview.display().producer());
    if (status == OK && isRecorded) status = setOutput();
    if (status != OK) return Failure{FailureKind::kFailed, "set-up: " + statusText(status)};
    mPlayer->setTargetFormat(mWork.targetFormat);
    mPlayer->prepare();
    mPlayer->start();
    mPlayer->setPlayback(mWork.isPreviewed, mWork.isMonitored);
    if (isRecorded) mPlayer->setTranscode(true);
    if (isHdmi) mWork.scenario.begin(*mWork.source.receiver());
    return std::nullopt;
}

status_t RecordRun::setOutput() {
    if (mWork.durationUs) limitOutput();
    android::_OxaTranscodeConfig config = {};
    config.type = kOutputDescriptor;
    config.fmt = mWork.container == Container::kMp4 ? 1 : 0;
    config.fileDesc = mWork.output.descriptor();
    return mPlayer->setMuxer(config);
}

void RecordRun::finish() {
    // A reader of our pipe that does not read must not hold the end.
    host::setOutputWaitLimit(kStopOutputWaitUs);
    mPlayer->stop();
    updateStatus();
    mWasOn = std::exchange(mIsOn, false);
    mPlayer->cleanup();
    mSample.bytes = mWork.output.bytes();
    const auto written = host::takeOutputFigures();
    if (written && mWork.source.hasVideo() && !mWork.output.hasSeveral())
        mSample.pictures = static_cast<int64_t>(written->pictures);
    warnOfLostSound();
}

void RecordRun::waitForEnd() {
    while (!mEnded && !mCancelled && !mFailure && !mIsLost) {
        if (const auto event = queue().pop(nowUs() + waitUs())) handle(*event);
        updateStatus();
        if (mIsOn && mIdleWatch.isStalled()) {
            lose("nothing was recorded for " + std::to_string(stallSeconds()) + " seconds");
        }
        mComplete = mWork.durationUs && missingUs() <= 0;
        mEnded = mEnded || mComplete;
    }
}

// The nearer the end the closer it is looked at.
int64_t RecordRun::waitUs() const {
    if (!mWork.durationUs) return kTickUs;
    return std::clamp(missingUs() / 2, kShortestTickUs, kTickUs);
}

// Both go on until there is enough of both, so that an encoder that is slow has time to come as
// far; what is too much is not written.
void RecordRun::limitOutput() const {
    const int64_t recordedUs = std::max(this->recordedUs(), mWork.output.total().timeUs);
    host::setOutputLength({{*mWork.durationUs - recordedUs, earlyUs()}});
}

// Pictures of a live source do not come exactly in time.
int64_t RecordRun::earlyUs() const {
    constexpr int64_t kMost = 20'000;
    return mWork.source.hasVideo() ? std::min(pictureUs() / 2, kMost) : 0;
}

// How long until the recording has to be stopped. A track that has stopped is not waited for.
int64_t RecordRun::missingUs() const {
    if (mWork.isHeld) {
        return mWork.output.isFull() ? 0 : std::max<int64_t>(1, *mWork.durationUs - recordedUs());
    }
    int64_t leastUs = lastTimeUs();
    if (mWork.source.hasVideo()) leastUs = std::min(leastUs, mRecorded.videoTimeUs + earlyUs());
    if (mWork.source.hasAudio()) leastUs = std::min(leastUs, mRecorded.audioTimeUs);
    return *mWork.durationUs - mBefore.timeUs - std::max(leastUs, lastTimeUs() - kLongestLagUs);
}

void RecordRun::handle(const JobEvent& event) {
    if (std::holds_alternative<Cancelled>(event)) {
        mCancelled = true;
        mIsLost = false;
        // A second signal shall not take away what there is by now.
        if (mPlayer != nullptr) updateStatus();
        if (hasOutput() && !mFailure) mWork.output.keep();
        listener().onCancelling();
    } else if (std::holds_alternative<Closed>(event)) {
        mEnded = true;
        mIsLost = false;
    } else if (std::holds_alternative<Switched>(event)) {
        if (mPlayer != nullptr) switchRecording();
    } else if (const auto* hotplug = std::get_if<Hotplug>(&event)) {
        listener().onHotplug(hotplug->plugged);
        if (!hotplug->plugged && mWork.reconnects)
            lose("'" + mWork.source.name() + "' is unplugged");
    } else if (const auto* step = std::get_if<ScenarioStep>(&event)) {
        listener().onScenario(*step);
    } else if (const auto* trouble = std::get_if<FileTrouble>(&event)) {
        listener().onWarning(trouble->text);
    } else if (const auto* fault = std::get_if<host::Fault>(&event)) {
        handleFault(*fault);
    }
}

void RecordRun::handleFault(const host::Fault& fault) {
    using host::FaultSource;
    if (fault.source == FaultSource::kSound) {
        handleSoundFault(fault);
    } else if (!fault.ended && fault.source == FaultSource::kCamera) {
        listener().onWarning(mWork.tooSlow);
    } else if (fault.source != FaultSource::kCamera) {
        handleFileFault(fault, mWork.source.name(), mWork.output.path());
    } else if (fault.error == 0) {
        listener().onSourceEnd();
        mEnded = true;
    } else {
        lose("the camera '" + mWork.source.name() + "' has failed: " + fault.cause);
    }
}

// Sound that fails is never followed by silence.
void RecordRun::handleSoundFault(const host::Fault& fault) {
    const CaptureSource& source = mWork.source;
    if (fault.error != 0) {
        lose("the sound '" + source.soundName() + "' has failed: " + fault.cause);
    } else if (!fault.ended) {
        mWarnings.add(fault);
    } else if (!source.hasVideo()) {
        listener().onSourceEnd();
        mEnded = true;
    } else if (source.soundName() != source.name()) {
        listener().onWarning("the sound has ended, only pictures are recorded now");
    }
}

void RecordRun::lose(const std::string& cause) {
    if (!mWork.reconnects) return fail(FailureKind::kFailed, cause);
    if (mIsLost || mCancelled || mEnded) return;
    mIsLost = true;
    listener().onWarning(cause + ", waiting until it is back");
}

void RecordRun::switchRecording() {
    if (!mWork.output.hasSeveral()) {
        return listener().onWarning("what is no file cannot be paused, the recording goes on");
    }
    if (mIsOn) {
        mIsOn = false;
        if (mWork.isHeld) {
            mWork.output.setWanted(false);
        } else {
            mPlayer->setTranscode(false);
        }
    } else {
        mIsOn = begin();
    }
    listener().onSwitch(mIsOn);
}

bool RecordRun::begin() {
    mOnSinceUs = nowUs();
    mIdleWatch.moved();
    if (mWork.isHeld) {
        mWork.output.setWanted(true);
        return true;
    }
    if (const auto failure = mWork.output.openAnother()) {
        listener().onWarning(failure->text + ", nothing is recorded");
        return false;
    }
    const status_t status = setOutput();
    if (status != OK) fail(FailureKind::kFailed, "set-up: " + statusText(status));
    return status == OK && mPlayer->setTranscode(true) == OK;
}

// A source that ends by itself has no sample there.
bool RecordRun::isShort() const {
    if (!mWork.durationUs || mComplete) return false;
    const int64_t lastUs = mWork.source.hasVideo() ? 5 * pictureUs() / 2 : 0;
    return recordedUs() + std::max(lastUs, kLastSoundUs) < *mWork.durationUs;
}

bool RecordRun::hasOutput() const {
    return mRecorded.videoTimeUs >= 0 || mRecorded.audioTimeUs >= 0;
}

// Of a recording that is held back the files alone know.
int64_t RecordRun::recordedUs() const {
    return std::min(mWork.isHeld ? mWork.output.lengthUs() : mBefore.timeUs + lastTimeUs(),
                    mWork.durationUs.value_or(INT64_MAX));
}

// Also those that are held back.
int64_t RecordRun::pictures() const {
    return mBefore.pictures + mRecorded.videoFrames;
}

int64_t RecordRun::lastTimeUs() const {
    return std::max<int64_t>({0, mRecorded.videoTimeUs, mRecorded.audioTimeUs});
}

int64_t RecordRun::soundUs() const {
    return std::max<int64_t>(0, mRecorded.audioTimeUs);
}

Progress RecordRun::total() const {
    Progress total = mWork.meter.overall(mSample);
    total.dropped = droppedFrames();
    total.thinned = thinned();
    return total;
}

int64_t RecordRun::droppedFrames() const {
    if (!mWork.source.hasVideo()) return 0;
    const host::CameraFigures figures = host::cameraFigures(mWork.source.place().camera());
    return static_cast<int64_t>(figures.recordingDropped + figures.late);
}

// Each recording counts from zero.
void RecordRun::readProgress() {
    android::_RECORDING_PROGRESS recorded = mRecorded;
    mPlayer->getRecordingProgress(&recorded);
    if (recorded.videoFrames != mRecorded.videoFrames ||
        recorded.audioTimeUs != mRecorded.audioTimeUs) {
        mIdleWatch.moved();
    }
    if (recorded.videoFrames < mRecorded.videoFrames ||
        recorded.audioTimeUs < mRecorded.audioTimeUs) {
        mBefore.timeUs += lastTimeUs();
        mBefore.pictures += mRecorded.videoFrames;
        mBefore.thinned += mRecorded.thinnedFrames;
    }
    mRecorded = recorded;
}

void RecordRun::updateStatus() {
    readProgress();
    // Behind a switch the last time may still be that of the recording before.
    const int64_t onUs = mIsOn ? nowUs() - mOnSinceUs : 0;
    if (std::min(onUs, lastTimeUs()) >= kTrustedUs) mWork.output.keep();
    mSample = {nowUs(), recordedUs(), pictures(), mWork.output.bytes()};
    Progress progress = mWork.meter.add(mSample);
    progress.standsBy = !mIsOn;
    progress.dropped = droppedFrames();
    progress.thinned = thinned();
    if (mWork.source.hasAudio()) progress.soundLevelDb = levelDb();
    listener().onProgress(progress);
    for (const std::string& name : mWork.output.takeFinished())
        listener().onFile(name);
}

// How loud the source is now; digital silence is the least that 16 bits can tell from a sample.
double RecordRun::levelDb() const {
    constexpr double kLeast = 1.0 / 32768;
    const double peak = mWork.source.isHdmi()
                                ? host::hdmiSoundFigures().peak
                                : host::microphoneFigures(mWork.source.place().audioSource()).peak;
    return 20 * std::log10(std::max(peak, kLeast));
}

void RecordRun::warnOfLostSound() {
    if (!mWork.source.hasAudio()) return;
    const uint64_t lost =
            mWork.source.isHdmi()
                    ? host::hdmiSoundFigures().dropped
                    : host::microphoneFigures(mWork.source.place().audioSource()).dropped;
    if (lost == 0) return;
    listener().onWarning("pieces of sound were lost, the computer is too slow: " +
                         std::to_string(lost));
}

}  // namespace oxa::jobs
