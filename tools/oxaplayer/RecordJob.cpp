// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "RecordJob.h"

#include <oxa/host/Cameras.h>
#include <oxa/host/HdmiSound.h>
#include <oxa/host/Microphones.h>
#include <oxa/host/OutputWait.h>
#include <system/audio.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "tracks/StatusText.h"

namespace oxaplayer {

using android::OK;
using android::status_t;

namespace {

constexpr int64_t kShortestTickUs = 2'000;
constexpr int64_t kStopOutputWaitUs = 1'000'000;
constexpr int32_t kOutputDescriptor = 7;
// A disk that takes nothing has said so by now.
constexpr int64_t kTrustedUs = 2'000'000;
constexpr int kCamera = 0;

int onlyTrack(const CaptureSource& source) {
    if (!source.hasVideo()) return android::CODEC_AUDIO_ONLY;
    return source.hasAudio() ? 0 : android::CODEC_VIDEO_ONLY;
}

}  // namespace

RecordJob::RecordJob(const Work& work, std::shared_ptr<EventQueue> queue, Report* report)
    : Job(onlyTrack(work.source), std::move(queue), report),
      mWork(work),
      mMeter(nowUs(), work.durationUs.value_or(0)),
      mRecorded{-1, -1, -1, 0, 0} {}

std::optional<Failure> RecordJob::start() {
    const bool isHdmi = mWork.source.isHdmi();
    android::_OxaTranscodeConfig config = {};
    config.type = kOutputDescriptor;
    config.fmt = mWork.container == Container::kMp4 ? 1 : 0;
    config.fileDesc = mWork.output.descriptor();

    mPlayer->initiate(isHdmi ? android::SourceTypeHdmiRx : android::SourceTypeUsbCamera, true,
                      true);
    mPlayer->setCameraSource(kCamera, android::String16("oxaplayer"));
    mPlayer->setAudioSource(AUDIO_SOURCE_DEFAULT);
    status_t status = mPlayer->setSurface(mWork.preview.display().producer());
    if (status == OK) status = mPlayer->setMuxer(config);
    if (status != OK) return Failure{FailureKind::kFailed, "set-up: " + statusText(status)};
    mPlayer->setTargetFormat(mWork.targetFormat);
    mPlayer->prepare();
    mPlayer->start();
    mPlayer->setPlayback(mWork.isPreviewed, mWork.isMonitored);
    mPlayer->setTranscode(true);
    return std::nullopt;
}

void RecordJob::finish() {
    // A reader of our pipe that does not read must not hold the end.
    oxa::host::setOutputWaitLimit(kStopOutputWaitUs);
    mPlayer->stop();
    updateStatus();
    mPlayer->cleanup();
    mSample.bytes = mWork.output.bytes();
    warnOfLostSound();
}

void RecordJob::waitForEnd() {
    while (!mEnded && !mInterrupted && !mFailure) {
        if (const auto event = mQueue->pop(nowUs() + waitUs())) handle(*event);
        updateStatus();
        if (mIdleWatch.isStalled()) {
            fail(FailureKind::kFailed, "nothing was recorded for 30 seconds");
        }
        mComplete = mWork.durationUs && missingUs() <= 0;
        mEnded = mEnded || mComplete;
    }
}

// The nearer the end the closer it is looked at.
int64_t RecordJob::waitUs() const {
    if (!mWork.durationUs) return kTickUs;
    return std::clamp(missingUs() / 2, kShortestTickUs, kTickUs);
}

// How long until the recording has to be stopped. One more picture is taken to carry the end.
int64_t RecordJob::missingUs() const {
    if (!mWork.source.hasVideo()) return *mWork.durationUs - mRecorded.audioTimeUs;
    const int64_t pictureUs = 1'000'000 / mWork.frameRate;
    if (mRecorded.capturedTimeUs < 0) return *mWork.durationUs;
    return *mWork.durationUs - mRecorded.capturedTimeUs - 5 * pictureUs / 2;
}

void RecordJob::handle(const JobEvent& event) {
    if (std::holds_alternative<Interrupted>(event)) {
        mInterrupted = true;
        // A second signal shall not take it away.
        if (hasOutput() && !mFailure) mWork.output.keep();
    } else if (std::holds_alternative<Closed>(event)) {
        mEnded = true;
    } else if (const auto* hotplug = std::get_if<Hotplug>(&event)) {
        mReport->event("hotplug", {{"plugged", hotplug->plugged}});
    } else if (const auto* fault = std::get_if<oxa::host::Fault>(&event)) {
        handleFault(*fault);
    }
}

void RecordJob::handleFault(const oxa::host::Fault& fault) {
    using oxa::host::FaultSource;
    if (fault.source == FaultSource::kSound) {
        handleSoundFault(fault);
    } else if (!fault.ended || fault.source != FaultSource::kCamera) {
        handleFileFault(fault, mWork.source.name(), mWork.output.path());
    } else if (fault.error == 0) {
        mReport->event("eos", Json::object());
        mEnded = true;
    } else {
        fail(FailureKind::kFailed,
             "the camera '" + mWork.source.name() + "' has failed: " + fault.cause);
    }
}

// Sound that fails is never followed by silence.
void RecordJob::handleSoundFault(const oxa::host::Fault& fault) {
    const CaptureSource& source = mWork.source;
    if (fault.error != 0) {
        fail(FailureKind::kFailed,
             "the sound '" + source.soundName() + "' has failed: " + fault.cause);
    } else if (!fault.ended) {
        mWarnings.add(fault);
    } else if (!source.hasVideo()) {
        mReport->event("eos", Json::object());
        mEnded = true;
    } else if (source.soundName() != source.name()) {
        mReport->warning("the sound has ended, only pictures are recorded now");
    }
}

bool RecordJob::isShort() const {
    return mWork.durationUs && !mComplete;
}

bool RecordJob::hasOutput() const {
    return mRecorded.videoTimeUs >= 0 || mRecorded.audioTimeUs >= 0;
}

int64_t RecordJob::lastTimeUs() const {
    return std::max<int64_t>({0, mRecorded.videoTimeUs, mRecorded.audioTimeUs});
}

int64_t RecordJob::droppedFrames() const {
    if (!mWork.source.hasVideo()) return 0;
    const oxa::host::CameraFigures figures = oxa::host::cameraFigures(kCamera);
    return static_cast<int64_t>(figures.recordingDropped + figures.late);
}

void RecordJob::updateStatus() {
    android::_RECORDING_PROGRESS recorded = mRecorded;
    mPlayer->getRecordingProgress(&recorded);
    if (recorded.videoFrames != mRecorded.videoFrames ||
        recorded.audioTimeUs != mRecorded.audioTimeUs) {
        mIdleWatch.moved();
    }
    mRecorded = recorded;
    if (lastTimeUs() >= kTrustedUs) mWork.output.keep();
    mSample = {nowUs(), lastTimeUs(), recorded.videoFrames, mWork.output.bytes()};
    const ProgressNumbers numbers = mMeter.add(mSample);
    std::string line = formatClock(numbers.timeSec);
    Json fields = {{"time_s", rounded(numbers.timeSec, 1000)},
                   {"elapsed_s", rounded(numbers.elapsedSec, 1000)}};
    if (mWork.source.hasVideo()) {
        char text[64];
        snprintf(text, sizeof(text), "  %.1f fps  %lld dropped", numbers.framesPerSecond,
                 static_cast<long long>(droppedFrames()));
        line += text;
        fields["frames"] = numbers.frames;
        fields["fps"] = rounded(numbers.framesPerSecond, 100);
        fields["dropped"] = droppedFrames();
        fields["thinned"] = recorded.thinnedFrames;
    }
    if (mWork.source.hasAudio()) {
        char text[32];
        snprintf(text, sizeof(text), "  sound %.0f dB", levelDb());
        line += text;
        fields["level_db"] = rounded(levelDb(), 10);
    }
    if (numbers.bytes) {
        line += "  " + formatBytes(*numbers.bytes);
        fields["bytes"] = *numbers.bytes;
    }
    mReport->status(line, fields, mSample.nowUs);
}

// How loud the source is now; digital silence is the least that 16 bits can tell from a sample.
double RecordJob::levelDb() const {
    constexpr double kLeast = 1.0 / 32768;
    const double peak = mWork.source.isHdmi()
                                ? oxa::host::hdmiSoundFigures().peak
                                : oxa::host::microphoneFigures(AUDIO_SOURCE_DEFAULT).peak;
    return 20 * std::log10(std::max(peak, kLeast));
}

void RecordJob::warnOfLostSound() {
    if (!mWork.source.hasAudio()) return;
    const uint64_t lost = mWork.source.isHdmi()
                                  ? oxa::host::hdmiSoundFigures().dropped
                                  : oxa::host::microphoneFigures(AUDIO_SOURCE_DEFAULT).dropped;
    if (lost == 0) return;
    mReport->warning("pieces of sound were lost, the computer is too slow: " +
                     std::to_string(lost));
}

}  // namespace oxaplayer
