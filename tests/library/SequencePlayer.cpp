// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "library/SequencePlayer.h"

#include <camera/Camera.h>
#include <fcntl.h>
#include <oxa/host/Cameras.h>
#include <oxa/host/HdmiSound.h>
#include <oxa/host/Microphones.h>
#include <oxa/host/SoundOutput.h>
#include <system/audio.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "library/Disturbance.h"
#include "support/MediaProbe.h"

namespace oxa::test {

using namespace android;
using namespace std::chrono_literals;

namespace {

constexpr int64_t kAnswerMs = 2000;
// Where threads are held up.
constexpr int64_t kHeldUpAnswerMs = 6000;
// Of a healthy source, of a short file, and for what is on its way.
constexpr int64_t kLongestWaitMs = 20'000;
// What a recording that is being finished may still write, at most.
constexpr int64_t kTailMs = 700;
constexpr int64_t kDrainUs = 500'000;
constexpr size_t kTooLongName = 5000;
constexpr char kPictures[] = "/storage/emulated/0/Pictures";
constexpr char kPicture[] = "testsrc2=size=160x120:rate=30";
constexpr char kTone[] = "sine=frequency=440:sample_rate=48000";

int64_t nowMs() {
    return ALooper::GetNowUs() / 1000;
}

// How long the threads that there are have stood in line for a processor, all together.
int64_t queuedMs() {
    int64_t queuedNs = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        int64_t ran = 0;
        int64_t queued = 0;
        std::ifstream(entry.path() / "schedstat") >> ran >> queued;
        queuedNs += queued;
    }
    return queuedNs / 1'000'000;
}

template <typename Numbers>
std::string listed(const Numbers& numbers) {
    std::string text;
    for (const auto number : numbers)
        text += " " + std::to_string(number);
    return text;
}

}  // namespace

SequencePlayer::SequencePlayer(std::string clips, Listener listener)
    : mClips(std::move(clips)),
      mListener(std::move(listener)),
      mDisplay(host::createNullDisplay()),
      mQueuedBeforeMs(queuedMs()) {
    std::filesystem::create_directories(mFolder.path() + kPictures);
    setDeviceRoot(mFolder.path().c_str());
    host::useNullSound();
}

SequencePlayer::~SequencePlayer() {
    holdUpWakers(false);
    clearWorld();
    for (int descriptor : mDescriptors)
        close(descriptor);
    setDeviceRoot("");
}

std::string SequencePlayer::play(const Sequence& sequence) {
    for (size_t i = 0; i < sequence.size() && mFinding.empty(); ++i) {
        mListener(i);
        if (sequence[i].isPaired() && i + 1 < sequence.size()) {
            playAside(sequence[i], sequence[i + 1]);
            ++i;
        } else {
            playOne(sequence[i]);
        }
    }
    if (mFinding.empty() && mPlayer != nullptr) {
        expectRecorded();
        mListener(sequence.size());
        if (mModel.isInitiated()) playOne({Call::kStop});
        // Already before the pipelines go.
        if (!mDisturbed) expectWholeFiles();
        playOne({Call::kCleanup});
        mPlayer.clear();
    }
    return mFinding;
}

void SequencePlayer::find(const std::string& what) {
    if (mFinding.empty()) mFinding = what;
}

// ---- Calls --------------------------------------------------------------------------------------

void SequencePlayer::playOne(const Call& call) {
    beforeCall(call);
    const int64_t begin = nowMs();
    status_t answer;
    if (call.aside) {
        std::thread([&] { answer = make(call); }).join();
    } else {
        answer = make(call);
    }
    const int64_t taken = nowMs() - begin;
    expectAnswer(call, answer, mModel.take(call), taken);
    if (call.name == Call::kStop || call.name == Call::kUntilFinished) noteFigures();
    if (call.name == Call::kStop) noteStopReports();
    expectSteadyStart();
}

void SequencePlayer::playAside(const Call& aside, const Call& next) {
    beforeCall(next);
    const int64_t begin = nowMs();
    std::thread second([&] { make(aside); });
    const status_t answer = make(next);
    second.join();
    // In whatever order they came: this is how it is in the end.
    make(aside);
    const int64_t taken = nowMs() - begin;
    expectAnswer(next, answer, mModel.takeAside(aside, next), taken / 2);
    mStartTimeUs = 0;
    if (aside.name == Call::kStop) noteFigures();
}

void SequencePlayer::expectAnswer(const Call& call, status_t answer,
                                  const FacadeModel::Answers& right, int64_t taken) {
    if (std::find(right.begin(), right.end(), answer) == right.end()) {
        find(textOf(call) + " answers " + std::to_string(answer));
    }
    const int64_t limit = mHeldUp ? kHeldUpAnswerMs : kAnswerMs;
    if (!call.isWait() && isOver(limit, nowMs() - taken)) {
        find(textOf(call) + " is answered after " + std::to_string(taken) + " ms");
    }
}

// On a busy machine things come late without anybody's fault.
bool SequencePlayer::isOver(int64_t limitMs, int64_t beginMs) const {
    const int64_t taken = nowMs() - beginMs;
    return taken > limitMs && taken - (queuedMs() - mQueuedBeforeMs) > limitMs;
}

bool SequencePlayer::comes(const std::function<bool()>& condition) const {
    const int64_t begin = nowMs();
    while (!waitFor(condition, 1s)) {
        if (isOver(kLongestWaitMs, begin)) return false;
    }
    return true;
}

status_t SequencePlayer::make(const Call& call) {
    const Call::Name name = call.name;
    const bool on = call.value != 0;
    const bool sound = (call.value & 2) != 0;
    if (name == Call::kInitiate) return initiate(static_cast<Job>(call.value));
    if (name == Call::kDataSource) return setDataSource(static_cast<Source>(call.value));
    if (name == Call::kCameraSource) return setCamera(on);
    if (name == Call::kAudioSource) return mPlayer->setAudioSource(AUDIO_SOURCE_DEFAULT);
    if (name == Call::kSurface) return mPlayer->setSurface(mDisplay->producer());
    if (name == Call::kMuxer) return setMuxer(static_cast<Output>(call.value));
    if (name == Call::kTargetFormat) return setTargetFormat(static_cast<TargetFormat>(call.value));
    if (name == Call::kPlayback) return mPlayer->setPlayback((call.value & 1) != 0, sound);
    if (name == Call::kTranscode) return mPlayer->setTranscode(on);
    if (name == Call::kTunneled) return mPlayer->setTunneledPlayback(on);
    if (name == Call::kFreeRun) return mPlayer->setFreeRun(on);
    if (name == Call::kCalculateFps) return mPlayer->setCalculateFPS(0.1);
    if (name == Call::kWriteback) return mPlayer->setWritebackSource(1);
    if (name == Call::kPrepare) return mPlayer->prepare();
    if (name == Call::kStart) return mPlayer->start();
    if (name == Call::kStop) return mPlayer->stop();
    if (name == Call::kDrain) return mPlayer->drain(kDrainUs);
    if (name == Call::kCleanup) return mPlayer->cleanup();
    if (name == Call::kProgress) return getProgress(!on);
    if (name == Call::kWaitTime) return mPlayer->waitTime(1000);
    happen(call);
    return OK;
}

// What has no answer.
void SequencePlayer::happen(const Call& call) {
    constexpr int kOnlyTrack[] = {0, CODEC_AUDIO_ONLY, CODEC_VIDEO_ONLY};
    constexpr std::chrono::milliseconds kPauses[] = {1ms, 10ms, 50ms};
    const Call::Name name = call.name;
    if (name == Call::kCreate) mPlayer = new OxaMediaCodecPlayer(true, kOnlyTrack[call.value]);
    if (name == Call::kCameraParameters) mPlayer->getCameraParameters();
    if (name == Call::kSecondPlayer) sp<OxaMediaCodecPlayer>(new OxaMediaCodecPlayer(true, 0));
    if (name == Call::kUntilRecorded) expectRecorded();
    if (name == Call::kUntilEnded && !comes([&] { return mPlayer->EOSReached(); }))
        find("the end does not come");
    if (name == Call::kUntilFinished && !comes([&] { return !hasOpenOutput(); }))
        find("a recording that was switched off is not finished");
    if (name == Call::kPause) std::this_thread::sleep_for(kPauses[call.value]);
    if (name == Call::kLateWakers) mHeldUp = true;
    if (name == Call::kLateWakers) holdUpWakers(true);
    if (call.isEvent()) strike(name);
}

void SequencePlayer::strike(Call::Name name) {
    if (name == Call::kDiskFull) mDisturbed = true;
    if (name == Call::kDiskFull) fillDisk(true);
    if (name == Call::kCameraLost) host::loseCamera(0, true);
    if (name == Call::kServiceEnded || name == Call::kUnplugged || name == Call::kPlugged)
        changeReceiver(name);
    const bool isStall = name == Call::kCameraStalled;
    const bool isSilence = name == Call::kMicrophoneLost;
    if (isStall && mReceiver == nullptr) host::stallCamera(0, true);
    if (isStall && mReceiver != nullptr) mReceiver->stall();
    if (isSilence && mReceiver == nullptr) host::loseMicrophone(AUDIO_SOURCE_DEFAULT, true);
    if (isSilence && mReceiver != nullptr) mReceiver->loseAudio();
}

// What is told of a plug is how it is when it is told.
void SequencePlayer::changeReceiver(Call::Name name) {
    expectPlugs();
    const bool plugged = name == Call::kPlugged;
    const bool wasPlugged = mPlugs.empty() || mPlugs.back() != 0;
    if (name == Call::kServiceEnded) {
        mPlugIsHeard = false;
        host::endHdmiSoundService();
    } else {
        plugged ? mReceiver->plug() : mReceiver->unplug();
        if (mPlugIsHeard && plugged != wasPlugged) mPlugs.push_back(plugged);
    }
}

void SequencePlayer::clearWorld() {
    // First: nobody is to hear that the receiver goes.
    host::endHdmiSoundService();
    mReceiver.reset();
    host::startHdmiSoundService();
    host::clearCameras();
    host::clearMicrophones();
    fillDisk(false);
}

status_t SequencePlayer::initiate(Job job) {
    clearWorld();
    if (isHdmi(job)) {
        makeReceiver(job);
    } else if (isLive(job)) {
        const std::string end = job == kRecordShortUsb ? ":duration=0.4" : "";
        host::registerCamera(0, std::string("lavfi:") + kPicture + end);
        host::registerMicrophone(AUDIO_SOURCE_DEFAULT, std::string("lavfi:") + kTone);
    }
    mReports = new Reports;
    mReportLooper = std::make_unique<OwnLooper>(mReports);
    mPlugs.clear();
    mPlugIsHeard = mModel.streams() != kPictureOnly;
    mRecordedBefore = -1;
    mPlayer->mStatusHandler = mReports;
    const JobKind& kind = kindOf(job);
    return mPlayer->initiate(kind.source, kind.playback, kind.transcode);
}

void SequencePlayer::makeReceiver(Job job) {
    host::HdmiReceiverOptions options;
    options.deviceRoot = mFolder.path();
    options.source = std::string("lavfi:") + kPicture + "[out0];" + kTone + "[out1]";
    std::string error;
    mReceiver = host::SimulatedHdmiReceiver::create(options, &error);
    if (mReceiver == nullptr) {
        find("no receiver: " + error);
    } else if (job == kRecordSilentHdmi) {
        mReceiver->loseAudio();
    }
}

status_t SequencePlayer::setDataSource(Source source) {
    const char* kNames[] = {"/short.mp4", "/short.mp4", "/long.mp4", "/silent.mp4"};
    const std::string path = mClips + kNames[source];
    if (source != kShortClipDescriptor) return mPlayer->setDataSource(path.c_str());
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const status_t answer = mPlayer->setDataSource(descriptor, 0, fileSize(path));
    close(descriptor);
    return answer;
}

status_t SequencePlayer::setCamera(bool shared) {
    const String16 client("sequence-test");
    if (!shared) return mPlayer->setCameraSource(0, client);
    const sp<Camera> camera =
            Camera::connect(0, client, Camera::USE_CALLING_UID, Camera::USE_CALLING_PID);
    if (camera == nullptr || camera->unlock() != OK) {
        find("the camera cannot be shared");
        return mPlayer->setCameraSource(0, client);
    }
    return mPlayer->setCameraSource(camera->remote());
}

status_t SequencePlayer::setMuxer(Output output) {
    const bool isTs = output == kTs || output == kTsDescriptor || output == kDefaultTs;
    std::string path = mFolder.file("out" + std::to_string(++mOutputs) + (isTs ? ".ts" : ".mp4"));
    if (output == kDefaultMp4 || output == kDefaultTs) path = "";
    if (output == kNoSuchFolder) path = mFolder.file("none/out.mp4");
    if (output == kLongName) path = std::string(kTooLongName, 'x');
    if (output == kFullDevice) path = "/dev/full";
    _OxaTranscodeConfig config = {};
    config.fmt = output == kNoContainer ? 5 : !isTs;
    config.fileDesc = -1;
    config.fileName = path.c_str();
    if (output == kMemory) config.type = 2;
    if (isDescriptor(output)) {
        config.type = 7;
        config.fileDesc = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        mDescriptors.push_back(config.fileDesc);
    }
    const status_t answer = mPlayer->setMuxer(config);
    // What becomes of the recording that runs is left open.
    if (answer == OK && (mModel.mayRecord() || output == kFullDevice)) mDisturbed = true;
    return answer;
}

status_t SequencePlayer::setTargetFormat(TargetFormat format) {
    constexpr int kRates[] = {30, 15, 60};
    _AV_FORMAT_FORMAT target = smallTarget();
    target.frameRate = kRates[format];
    return mPlayer->setTargetFormat(target);
}

status_t SequencePlayer::getProgress(bool null) {
    _TRANSCODE_PROGRESS transcode;
    _PLAYBACK_PROGRESS playback;
    _RECORDING_PROGRESS recording;
    const std::set<status_t> answers = {mPlayer->getTranscodeProgress(null ? nullptr : &transcode),
                                        mPlayer->getPlaybackProgress(null ? nullptr : &playback),
                                        mPlayer->getRecordingProgress(null ? nullptr : &recording)};
    return answers.size() == 1 ? *answers.begin() : UNKNOWN_ERROR;
}

// ---- What is seen besides answers ---------------------------------------------------------------

void SequencePlayer::beforeCall(const Call& call) {
    if (call.name == Call::kTranscode) mRecordedBefore = recorded();
    if (call.name == Call::kStart) mStopReports = -1;
    if (mStopReports >= 0 && stopReports() != mStopReports)
        find("a recording reports its end after the stop");
    if (call.name == Call::kCleanup && mModel.isInitiated()) expectReports();
}

bool SequencePlayer::hasOpenOutput() {
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const std::string target = std::filesystem::read_symlink(entry.path(), gone);
        count += target.find(mFolder.path()) == 0;
    }
    return count > mDescriptors.size();
}

// In milliseconds of the recording, negative before its first sample.
int64_t SequencePlayer::recorded() {
    _RECORDING_PROGRESS progress;
    mPlayer->getRecordingProgress(&progress);
    const bool ofSound = mModel.streams() == kSoundOnly;
    const int64_t timeUs = ofSound ? progress.audioTimeUs : progress.videoTimeUs;
    return timeUs < 0 ? -1 : timeUs / 1000;
}

void SequencePlayer::expectRecorded() {
    // The figures of the former recording stay until there is another one.
    const auto hasBegun = [this] {
        const int64_t now = recorded();
        return now >= 0 &&
               (mRecordedBefore < 0 || now < mRecordedBefore || now > mRecordedBefore + kTailMs);
    };
    if (mModel.mustRecord() && !comes(hasBegun)) find("nothing is recorded");
}

void SequencePlayer::noteFigures() {
    if (!mModel.isInitiated() || mDisturbed) return;
    _RECORDING_PROGRESS recording;
    _TRANSCODE_PROGRESS transcode;
    mPlayer->getRecordingProgress(&recording);
    mPlayer->getTranscodeProgress(&transcode);
    const int64_t pictures = std::max(recording.videoFrames, transcode.videoFrames);
    if (pictures > 0) mFigures.push_back(pictures);
}

// The sound of a playback follows the first picture: when media time 0 was due does not change.
void SequencePlayer::expectSteadyStart() {
    if (mModel.job() != kPlayFile || !mModel.runs() || mModel.isTunneled()) {
        mStartTimeUs = 0;
        return;
    }
    _PLAYBACK_PROGRESS progress;
    mPlayer->getPlaybackProgress(&progress);
    if (mStartTimeUs == 0) mStartTimeUs = progress.startTimeUs;
    if (progress.startTimeUs == mStartTimeUs) return;
    find("the start of the playback moves by " +
         std::to_string(progress.startTimeUs - mStartTimeUs) + " us");
}

// How often a pipeline has told the player that its recording has ended.
int SequencePlayer::stopReports() const {
    return mLog.count("OxaMediaCodecPlayer", "kWhatStopTranscode");
}

// Whoever hears the answer of a stop comes behind them.
void SequencePlayer::noteStopReports() {
    mPlayer->setTunneledPlayback(false);
    mStopReports = stopReports();
}

// Each of them once, and in the order of what they report.
void SequencePlayer::expectReports() {
    const int ends = mPlayer->EOSReached() ? 1 : 0;
    const auto reported = [this] { return mReports->count(kWhatPlayerEOS); };
    if (!comes([&] { return reported() == ends; })) {
        find(std::to_string(reported()) + " reports of the end instead of " + std::to_string(ends));
    }
    expectPlugs();
}

void SequencePlayer::expectPlugs() {
    const auto reported = [this] { return mReports->items(&AMessage::findInt32, "rx-video"); };
    if (mReports == nullptr || comes([&] { return reported() == mPlugs; })) return;
    find("the plug was:" + listed(mPlugs) + ", reported:" + listed(reported()));
}

void SequencePlayer::expectWholeFiles() {
    std::multiset<int64_t> pictures;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(mFolder.path())) {
        const std::string extension = entry.path().extension();
        const bool isOutput = extension == ".mp4" || extension == ".ts";
        if (isOutput && fileSize(entry.path()) > 0) pictures.insert(expectWholeFile(entry.path()));
    }
    for (int64_t figure : mFigures) {
        if (pictures.count(figure) > 0) continue;
        find(std::to_string(figure) +
             " pictures were reported, the files have:" + listed(pictures));
    }
}

// Returns its number of pictures.
int64_t SequencePlayer::expectWholeFile(const std::filesystem::path& path) {
    const std::string name = path.filename();
    const bool isTs = path.extension() == ".ts";
    const MediaProbe probe(path, isTs ? "mpegts" : "");
    if (!probe.ok()) find(name + ": " + probe.error());
    for (const StreamProbe& stream : probe.streams()) {
        if (stream.packetCount > 0 && stream.decodeErrors != 0) find(name + " is damaged");
    }
    const std::vector<std::string> boxes = isTs ? std::vector<std::string>() : boxesOf(path);
    if (std::count(boxes.begin(), boxes.end(), "moof") > 0) find(name + " is fragmented");
    if (!isTs && std::count(boxes.begin(), boxes.end(), "moov") != 1) find(name + " has no index");
    return probe.video() != nullptr ? probe.video()->frameCount : 0;
}

}  // namespace oxa::test
