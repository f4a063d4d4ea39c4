// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/Record.h"

#include <oxa/host/Cameras.h>
#include <oxa/host/EncoderPreset.h>

#include <utility>

#include "encode/EncodeSetup.h"
#include "record/CameraTrial.h"
#include "record/CaptureSource.h"
#include "record/PresetChoice.h"
#include "record/RecordFiles.h"
#include "record/RecordFormat.h"
#include "record/RecordRun.h"
#include "run/JobContext.h"
#include "tracks/SourceTracks.h"

namespace oxa::jobs {

namespace {

constexpr char kNoSound[] = "none";
constexpr char kAutomatic[] = "auto";
constexpr int64_t kShortestSplitUs = 1'000'000;
constexpr int64_t kSourcePollUs = 500'000;

bool isPresetOpen(const EncodeOptions& options) {
    return options.preset.value_or(kAutomatic) == kAutomatic;
}

// One recording from its options to its result.
class RecordWork {
  public:
    RecordWork(const RecordOptions& options, JobContext& context)
        : mOptions(options),
          mContext(context),
          mScenario(options.scenario,
                    [queue = context.queue()](const ScenarioStep& step) { queue->push(step); }),
          mOutput(options, mSource, context) {}

    Result run() {
        if (auto failure = work()) {
            mResult.failure = *failure;
            mOutput.discard();
        }
        return mResult;
    }

  private:
    std::optional<Failure> work();
    std::optional<Failure> checkOptions();
    std::optional<Failure> chooseFormat();
    std::optional<Failure> chooseVideo();
    void choosePreset();
    std::optional<std::string> presetThatIsFaster() const;
    std::string tooSlowText() const;
    std::optional<Failure> openOutputs();
    std::vector<Track> tracks() const;
    bool waitForSource(bool* isOn);
    void handleWhileWaiting(const JobEvent& event, bool* isOn);
    bool isSourceThere();
    bool hasForm();
    std::optional<Failure> holdCamera();
    std::optional<Failure> complete(const RecordRun& run, const std::optional<Failure>& failure);
    void summarize(const RecordRun& run);

    const RecordOptions& mOptions;
    JobContext& mContext;
    Container mContainer = Container::kMpeg2Ts;
    CaptureSource mSource;
    ScenarioPlayer mScenario;
    PlayOutputs mPreview;
    RecordFiles mOutput;
    android::_AV_FORMAT_FORMAT mFormat = {};
    CameraForm mForm = {};
    int32_t mFrameRate = 0;    // to be expected
    host::CameraHold mCamera;  // for the player that comes next
    bool mRateTold = false;    // that it is not the one that was asked for
    const PresetChoice mPresets;
    std::string mPreset;  // empty without pictures
    Result mResult;
};

std::optional<Failure> RecordWork::work() {
    if (auto failure = checkOptions()) return failure;
    if (auto failure = mSource.open(mOptions.source, mOptions.only)) return failure;
    if (auto failure = chooseFormat()) return failure;
    if (mContext.cancelled()) return cancelledFailure();
    if (auto failure = openOutputs()) return failure;
    if (auto failure = holdCamera()) return failure;
    mContext.listener().onStart({tracks(), mContainer, {}, mPreset});
    bool isOn = !beginsSwitchedOff(mOptions);
    const auto durationUs = mOptions.durationUs ? mOptions.durationUs : mSource.lengthUs();
    ProgressMeter meter(nowUs(), durationUs.value_or(0));
    RecordRun::Before before;
    for (;;) {
        RecordRun run({mSource, mPreview, mOutput, mScenario, meter, mContainer, mFormat,
                       mFrameRate, durationUs, mOptions.preview, mOptions.monitor, !isOn,
                       mOptions.replayUs.has_value(), mOptions.reconnect, tooSlowText(), before},
                      mContext);
        const auto failure = run.run();
        mCamera.reset();
        mResult.damaged += run.damaged();
        isOn = run.wasOn();
        before = {mOutput.total().timeUs, mOutput.total().pictures, run.thinned()};
        if (failure || !run.wasLost() || !waitForSource(&isOn)) return complete(run, failure);
        if (!isOn || mOptions.replayUs) continue;
        if (const auto noFile = mOutput.openAnother()) return complete(run, noFile);
    }
}

// True when it is there again; false when the job is to end. The user may switch meanwhile.
bool RecordWork::waitForSource(bool* isOn) {
    for (;;) {
        for (const int64_t deadlineUs = nowUs() + kSourcePollUs; nowUs() < deadlineUs;) {
            const auto event = mContext.queue()->pop(deadlineUs);
            if (!event) continue;
            const bool isClosed = std::holds_alternative<Closed>(*event);
            if (isClosed || std::holds_alternative<Cancelled>(*event)) return false;
            handleWhileWaiting(*event, isOn);
        }
        if (isSourceThere()) break;
    }
    mContext.listener().onReconnect();
    return true;
}

void RecordWork::handleWhileWaiting(const JobEvent& event, bool* isOn) {
    JobListener& listener = mContext.listener();
    if (const auto* step = std::get_if<ScenarioStep>(&event)) listener.onScenario(*step);
    if (const auto* plug = std::get_if<Hotplug>(&event)) listener.onHotplug(plug->plugged);
    if (!std::holds_alternative<Switched>(event)) return;
    *isOn = !*isOn;
    mOutput.setWanted(*isOn);
    listener.onSwitch(*isOn);
}

// A player does not outlive a receiver whose driver knows no signal, so nothing happens to that
// from here on until the player has begun.
bool RecordWork::isSourceThere() {
    if (!hasForm()) return false;
    if (mSource.hasVideo() && tryPicture(mSource, mForm, mContext.cancelled())) return false;
    mScenario.pause();
    const bool isStill = !mSource.isHdmi() || hasForm();
    if (isStill && !holdCamera()) return true;
    mScenario.resume();
    return false;
}

// The one that it has now.
bool RecordWork::hasForm() {
    if (mSource.isHdmi() && !mSource.receiver()->isReady()) return false;
    if (mSource.hasAudio() && trySound(mSource)) return false;
    mFormat = {};
    return !chooseFormat();
}

// A device that goes between a trial and the player's start would end the process.
std::optional<Failure> RecordWork::holdCamera() {
    if (!mSource.hasVideo()) return std::nullopt;
    return jobs::holdCamera(mSource, mForm, &mCamera);
}

// All that can be said without opening anything.
std::optional<Failure> RecordWork::checkOptions() {
    const bool isHdmi = mOptions.source.kind == LiveSource::Kind::kHdmi;
    if (auto failure = checkSource(mOptions.source, mOptions.only)) return failure;
    EncodeOptions encoding = mOptions;
    if (isPresetOpen(mOptions)) encoding.preset.reset();
    if (auto failure = setUpEncoding(encoding, &mContainer)) return failure;
    if (mOptions.indexFirst) {
        return Failure{FailureKind::kOptions, "a recording has its index behind its samples"};
    }
    if (isHdmi && mOptions.frameRate.value_or(1) > kHighestHdmiFrameRate) {
        return Failure{FailureKind::kOptions,
                       "fps '" + std::to_string(*mOptions.frameRate) +
                               "': the HDMI receiver has 1 to " +
                               std::to_string(kHighestHdmiFrameRate),
                       Hint::kOtherValue};
    }
    if (!mOptions.scenario.empty() && !isHdmi) {
        return Failure{FailureKind::kOptions, "scenario needs the HDMI receiver",
                       Hint::kOtherValue};
    }
    if (mOptions.durationUs && *mOptions.durationUs <= 0) {
        return wrongOption("duration", std::to_string(*mOptions.durationUs), "a time above 0");
    }
    if (mOptions.splitUs && *mOptions.splitUs < kShortestSplitUs) {
        return wrongOption("split", std::to_string(*mOptions.splitUs), "a second or more");
    }
    if (mOptions.replayUs && *mOptions.replayUs <= 0) {
        return wrongOption("replay", std::to_string(*mOptions.replayUs), "a time above 0");
    }
    if (mOptions.outputDescriptor < 0) {
        if (auto failure = FileNames::check(mOptions.output)) return failure;
    }
    if (mOptions.preview && mOptions.only == Only::kAudio) {
        return Failure{FailureKind::kOptions, "preview needs a picture", Hint::kOtherValue};
    }
    if (mOptions.monitor && (mOptions.only == Only::kVideo || mOptions.source.sound == kNoSound)) {
        return Failure{FailureKind::kOptions, "monitor needs sound", Hint::kOtherValue};
    }
    return std::nullopt;
}

std::optional<Failure> RecordWork::chooseFormat() {
    if (mSource.hasAudio()) chooseAudioFormat(&mFormat);
    setRates(mOptions, mFormat.channelCount);
    if (!mSource.hasAudio() && mOptions.monitor) {
        return Failure{FailureKind::kInput, "'" + mSource.name() + "' has no sound to monitor"};
    }
    if (!mSource.hasVideo()) return std::nullopt;
    auto failure = chooseVideo();
    if (!failure) choosePreset();
    return failure;
}

void RecordWork::choosePreset() {
    mPreset = isPresetOpen(mOptions) ? mPresets.choose({mFormat.width, mFormat.height}, mFrameRate)
                                     : *mOptions.preset;
    host::setEncoderPreset(mPreset);
}

// Known to keep up, or at least the next one.
std::optional<std::string> RecordWork::presetThatIsFaster() const {
    const auto known = mPresets.remembered({mFormat.width, mFormat.height}, mFrameRate);
    return known && isFasterPreset(*known, mPreset) ? known : fasterPreset(mPreset);
}

std::string RecordWork::tooSlowText() const {
    if (!mSource.hasVideo()) return {};
    const std::string text =
            "pictures are dropped, the computer is too slow for the preset " + mPreset;
    const auto faster = presetThatIsFaster();
    return text + (faster ? ", " + *faster + " is faster" : " in this size and rate");
}

std::optional<Failure> RecordWork::chooseVideo() {
    android::CameraParameters camera;
    if (auto failure = readCameraParameters(mSource, &camera)) return failure;
    auto failure = chooseVideoFormat(mOptions, camera, mSource.isHdmi(), &mFormat, &mFrameRate);
    if (failure) return failure;
    mForm = cameraFormFor(mFormat, camera, mSource.isHdmi());
    if (mOptions.splitUs) {
        mFormat.iFrameInterval = keyFrameIntervalFor(*mOptions.splitUs, mFormat.iFrameInterval);
    }
    if (mOptions.frameRate && *mOptions.frameRate != mFrameRate &&
        !std::exchange(mRateTold, true)) {
        mContext.listener().onWarning(
                "of the HDMI receiver's pictures every first, second, third, ... can be "
                "recorded: " +
                std::to_string(mFrameRate) + " a second instead of " +
                std::to_string(*mOptions.frameRate));
    }
    if (!mSource.isDevice()) return std::nullopt;
    return tryCamera(mSource, mForm);
}

std::optional<Failure> RecordWork::openOutputs() {
    if (mOptions.outputDescriptor < 0 && mSource.isReadFrom(mOutput.firstName())) {
        return Failure{FailureKind::kOptions, "'" + mOutput.firstName() + "' is the source itself"};
    }
    if (mOptions.preview) {
        auto failure = mPreview.openDisplay(DisplayChoice{}, mSource.name(), mContext);
        if (failure) return failure;
    }
    const auto sound = mOptions.monitor ? SoundChoice::Kind::kDevice : SoundChoice::Kind::kNull;
    if (auto failure = mPreview.openSound({sound, {}}, mContext)) return failure;
    return mOutput.open(mContainer);
}

std::vector<Track> RecordWork::tracks() const {
    std::vector<Track> tracks;
    if (mSource.hasVideo()) {
        Track picture;
        picture.isVideo = true;
        picture.width = mFormat.width;
        picture.height = mFormat.height;
        picture.frameRate = mFrameRate;
        tracks.push_back(picture);
    }
    if (mSource.hasAudio()) {
        Track sound;
        sound.index = tracks.size();
        sound.source = mSource.soundName();
        sound.channels = mFormat.channelCount;
        sound.sampleRate = mFormat.sampleRate;
        tracks.push_back(sound);
    }
    return tracks;
}

std::optional<Failure> RecordWork::complete(const RecordRun& run,
                                            const std::optional<Failure>& failure) {
    const bool mayBeEmpty = beginsSwitchedOff(mOptions) || !mOutput.names().empty();
    if (!run.hasOutput() && !mayBeEmpty) {
        if (failure) return failure;
        if (mContext.cancelled()) return cancelledFailure();
        return Failure{FailureKind::kInput, "'" + mSource.name() + "' has given nothing to record"};
    }
    // Not worth the file that was there before, which comes back.
    if (failure && failure->kind == FailureKind::kOutput && !mOutput.isKept()) return failure;
    // A disk that is full is told in the job's own words.
    auto unfinished = mOutput.finish();
    for (const std::string& name : mOutput.takeFinished())
        mContext.listener().onFile(name);
    if (!failure && unfinished) return unfinished;
    summarize(run);
    // A device or a pipe keeps nothing of a recording that failed.
    if (failure && !mResult.total.bytes) mResult.files.clear();
    if (failure) return failure;
    if (!mOptions.durationUs || !run.isShort()) return std::nullopt;
    if (mContext.cancelled()) return cancelledFailure();
    return Failure{FailureKind::kSourceEnded, "ended before the duration that was asked for"};
}

void RecordWork::summarize(const RecordRun& run) {
    mResult.total = run.total();
    mResult.total.bytes = mOutput.bytes();
    if (mResult.total.dropped > 0) {
        mResult.fasterPreset = presetThatIsFaster().value_or("");
        if (isPresetOpen(mOptions)) mPresets.forget({mFormat.width, mFormat.height}, mFrameRate);
    }
    mResult.soundSec = run.soundUs() / 1e6;
    // The file itself knows best; what went through a pipe can only be counted.
    mResult.durationSec = run.recordedUs() / 1e6;
    mResult.files = mOutput.names();
    if (!mOutput.hasSeveral()) return;
    mResult.total.pictures = mOutput.total().pictures;
    mResult.durationSec = mOutput.total().timeUs / 1e6;
    if (mResult.files.size() == 1) {
        mResult.durationSec = fileLengthSec(mResult.files.front()).value_or(mResult.durationSec);
    }
}

}  // namespace

Record::Record(RecordOptions options, JobListener* listener)
    : Job(listener), mOptions(std::move(options)) {}

void Record::switchRecording() {
    context().queue()->push(Switched{});
}

Result Record::work(JobContext& context) {
    return RecordWork(mOptions, context).run();
}

}  // namespace oxa::jobs
