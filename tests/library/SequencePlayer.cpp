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

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <map>
#include <mutex>
#include <set>
#include <thread>

#include "library/Disturbance.h"
#include "library/Stage.h"
#include "support/Deadline.h"
#include "support/MediaProbe.h"

namespace oxa::test {

using namespace android;

namespace {

constexpr std::chrono::milliseconds kTick{10};
constexpr int64_t kAnswerTicks = 200;
// Where threads are held up.
constexpr int64_t kHeldUpAnswerTicks = 600;
// Of a healthy source, and of a short file.
constexpr std::chrono::seconds kLongestWait{20};
constexpr std::chrono::seconds kReportLimit{3};
// What a recording that is being finished may still write, at most.
constexpr int64_t kTailMs = 700;
constexpr int64_t kDrainUs = 500'000;
constexpr size_t kTooLongName = 5000;
constexpr char kPictures[] = "/storage/emulated/0/Pictures";
constexpr char kPicture[] = "testsrc2=size=160x120:rate=30";
constexpr char kTone[] = "sine=frequency=440:sample_rate=48000";

bool isMp4(Output output) {
    return output != kTs && output != kTsDescriptor && output != kDefaultTs;
}

// The names of an MP4's boxes, outermost ones only.
std::vector<std::string> boxesOf(const std::string& path) {
    const std::string file = readFile(path);
    const auto number = [&](size_t at, int bytes) {
        uint64_t value = 0;
        for (int i = 0; i < bytes; ++i)
            value = value << 8 | static_cast<uint8_t>(file[at + i]);
        return value;
    };
    std::vector<std::string> boxes;
    size_t at = 0;
    while (at + 16 <= file.size()) {
        boxes.push_back(file.substr(at + 4, 4));
        uint64_t size = number(at, 4);
        if (size == 1) size = number(at + 8, 8);
        if (size < 8) break;
        at += size;
    }
    return boxes;
}

bool refersTo(const std::string& folder, const std::filesystem::path& descriptor) {
    std::error_code gone;
    return std::filesystem::read_symlink(descriptor, gone).string().find(folder) == 0;
}

// How many descriptors of this process refer to files in the folder.
size_t descriptorsIn(const std::string& folder) {
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        count += refersTo(folder, entry.path());
    return count;
}

}  // namespace

int64_t ticks() {
    static std::atomic<int64_t> count{0};
    static const bool started = [] {
        std::thread([] {
            for (;; ++count)
                std::this_thread::sleep_for(kTick);
        }).detach();
        return true;
    }();
    return started ? count.load() : 0;
}

// The client's handler: what came, in its order.
class SequencePlayer::Reports : public AHandler {
  public:
    void onMessageReceived(const sp<AMessage>& msg) override {
        std::lock_guard<std::mutex> lock(mLock);
        int32_t state;
        if (msg->what() == kWhatPlayerEOS) ++mEnds;
        if (msg->what() == kWhatHDMIRxVideoHotplug && msg->findInt32("rx-video", &state)) {
            mPlugs.push_back(state);
        }
    }
    int ends() const {
        std::lock_guard<std::mutex> lock(mLock);
        return mEnds;
    }
    std::vector<int> plugs() const {
        std::lock_guard<std::mutex> lock(mLock);
        return mPlugs;
    }

  private:
    mutable std::mutex mLock;
    int mEnds = 0;            // guarded by mLock
    std::vector<int> mPlugs;  // guarded by mLock
};

SequencePlayer::SequencePlayer(std::string clips, Listener listener)
    : mClips(std::move(clips)),
      mListener(std::move(listener)),
      mDisplay(host::createNullDisplay()),
      mReportLooper(new ALooper) {
    std::filesystem::create_directories(mFolder.path() + kPictures);
    setDeviceRoot(mFolder.path().c_str());
    host::useNullSound();
    mReportLooper->setName("ClientReports");
    mReportLooper->start();
    ticks();
}

SequencePlayer::~SequencePlayer() {
    holdUpWakers(false);
    fillDisk(false);
    if (mReports != nullptr) mReportLooper->unregisterHandler(mReports->id());
    mReportLooper->stop();
    mReceiver.reset();
    host::startHdmiSoundService();
    host::clearCameras();
    host::clearMicrophones();
    for (int descriptor : mDescriptors)
        close(descriptor);
    setDeviceRoot("");
}

std::string SequencePlayer::play(const Sequence& sequence) {
    playCalls(sequence);
    if (mFinding.empty() && mPlayer != nullptr) {
        expectRecorded();
        mListener(sequence.size());
        if (mModel.isInitiated()) playOne({Call::kStop});
        playOne({Call::kCleanup});
        mPlayer.clear();
    }
    if (mFinding.empty()) expectWholeFiles();
    return mFinding;
}

void SequencePlayer::playCalls(const Sequence& sequence) {
    for (size_t i = 0; i < sequence.size() && mFinding.empty(); ++i) {
        const Call& call = sequence[i];
        mListener(i);
        if (!call.aside || call.name == Call::kCleanup || i + 1 == sequence.size()) {
            playOne(call);
        } else {
            playAside(call, sequence[++i]);
        }
    }
}

void SequencePlayer::find(const std::string& what) {
    if (mFinding.empty()) mFinding = what;
}

void SequencePlayer::playOne(const Call& call) {
    beforeCall(call);
    const int64_t begin = ticks();
    status_t answer;
    if (call.aside) {
        std::thread([&] { answer = make(call); }).join();
    } else {
        answer = make(call);
    }
    const int64_t taken = ticks() - begin;
    expectAnswer(call, answer, mModel.take(call), taken);
    afterCall(call);
}

void SequencePlayer::playAside(const Call& aside, const Call& next) {
    beforeCall(next);
    const int64_t begin = ticks();
    std::thread second([&] { make(aside); });
    const status_t answer = make(next);
    second.join();
    // In whatever order they came: this is how it is in the end.
    make(aside);
    const int64_t taken = ticks() - begin;
    expectAnswer(next, answer, mModel.takeAside(aside, next), taken / 2);
    mStartTimeUs = 0;
    if (aside.name == Call::kStop) noteFigures();
}

void SequencePlayer::expectAnswer(const Call& call, status_t answer,
                                  const std::vector<status_t>& right, int64_t taken) {
    if (std::find(right.begin(), right.end(), answer) == right.end()) {
        find(textOf(call) + " answers " + std::to_string(answer));
    }
    const bool waits = call.name >= Call::kUntilRecorded && call.name <= Call::kPause;
    if (taken > (mHeldUp ? kHeldUpAnswerTicks : kAnswerTicks) && !waits) {
        find(textOf(call) + " is answered after " + std::to_string(taken * kTick.count()) + " ms");
    }
}

status_t SequencePlayer::make(const Call& call) {
    const bool on = call.value != 0;
    constexpr std::chrono::milliseconds kPauses[] = {std::chrono::milliseconds(1),
                                                     std::chrono::milliseconds(10),
                                                     std::chrono::milliseconds(50)};
    switch (call.name) {
        case Call::kCreate:
            create(static_cast<Streams>(call.value));
            return OK;
        case Call::kInitiate:
            return initiate(static_cast<Job>(call.value));
        case Call::kDataSource:
            return setDataSource(static_cast<Source>(call.value));
        case Call::kCameraSource:
            return setCamera(on);
        case Call::kAudioSource:
            return mPlayer->setAudioSource(AUDIO_SOURCE_DEFAULT);
        case Call::kSurface:
            return mPlayer->setSurface(mDisplay->producer());
        case Call::kMuxer:
            return setMuxer(static_cast<Output>(call.value));
        case Call::kTargetFormat:
            return setTargetFormat(static_cast<TargetFormat>(call.value));
        case Call::kPlayback:
            return mPlayer->setPlayback((call.value & 1) != 0, (call.value & 2) != 0);
        case Call::kTranscode:
            return mPlayer->setTranscode(on);
        case Call::kTunneled:
            return mPlayer->setTunneledPlayback(on);
        case Call::kFreeRun:
            return mPlayer->setFreeRun(on);
        case Call::kCalculateFps:
            return mPlayer->setCalculateFPS(0.1);
        case Call::kWriteback:
            return mPlayer->setWritebackSource(1);
        case Call::kPrepare:
            return mPlayer->prepare();
        case Call::kStart:
            return mPlayer->start();
        case Call::kStop:
            return mPlayer->stop();
        case Call::kDrain:
            return mPlayer->drain(kDrainUs);
        case Call::kCleanup:
            return mPlayer->cleanup();
        case Call::kCameraParameters:
            mPlayer->getCameraParameters();
            return OK;
        case Call::kProgress:
            return getProgress(!on);
        case Call::kWaitTime:
            return mPlayer->waitTime(1000);
        case Call::kSecondPlayer:
            sp<OxaMediaCodecPlayer>(new OxaMediaCodecPlayer(true, 0));
            return OK;
        case Call::kPause:
            std::this_thread::sleep_for(kPauses[call.value]);
            return OK;
        case Call::kLateWakers:
            mHeldUp = true;
            holdUpWakers(true);
            return OK;
        default:
            call.name < Call::kPause ? waitUntil(call.name) : strike(call.name);
            return OK;
    }
}

void SequencePlayer::create(Streams streams) {
    constexpr int kOnlyTrack[] = {0, CODEC_AUDIO_ONLY, CODEC_VIDEO_ONLY};
    mPlayer = new OxaMediaCodecPlayer(true, kOnlyTrack[streams]);
}

status_t SequencePlayer::initiate(Job job) {
    mReceiver.reset();
    host::startHdmiSoundService();
    host::clearCameras();
    host::clearMicrophones();
    fillDisk(false);
    if (job >= kPreviewUsb && job <= kRecordShortUsb) makeCamera(job);
    if (job >= kPreviewHdmi && job <= kRecordSilentHdmi) makeReceiver(job);
    if (mReports != nullptr) mReportLooper->unregisterHandler(mReports->id());
    mReports = new Reports;
    mReportLooper->registerHandler(mReports);
    mPlugs.clear();
    mRecordedBefore = -1;
    mPlayer->mStatusHandler = mReports;
    struct Kind {
        int source;
        bool playback;
        bool transcode;
    };
    constexpr Kind kKinds[] = {{SourceTypeFile, true, false},
                               {SourceTypeFile, false, true},
                               {SourceTypeFile, false, false},
                               {SourceTypeUsbCamera, true, false},
                               {SourceTypeUsbCamera, true, true},
                               {SourceTypeUsbCamera, true, true},
                               {SourceTypeHdmiRx, true, false},
                               {SourceTypeHdmiRx, true, true},
                               {SourceTypeHdmiRx, true, true},
                               {3, true, false},
                               {4, true, true}};
    return mPlayer->initiate(kKinds[job].source, kKinds[job].playback, kKinds[job].transcode);
}

void SequencePlayer::makeCamera(Job job) {
    const std::string end = job == kRecordShortUsb ? ":duration=0.4" : "";
    host::registerCamera(0, std::string("lavfi:") + kPicture + end);
    host::registerMicrophone(AUDIO_SOURCE_DEFAULT, std::string("lavfi:") + kTone);
}

void SequencePlayer::makeReceiver(Job job) {
    host::HdmiReceiverOptions options;
    options.deviceRoot = mFolder.path();
    options.source = std::string("lavfi:") + kPicture + "[out0];" + kTone + "[out1]";
    options.width = 160;
    options.height = 120;
    options.frameRate = 30;
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
    const status_t answer = mPlayer->setDataSource(
            descriptor, 0, static_cast<long long>(std::filesystem::file_size(path)));
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
    const std::string extension = isMp4(output) ? ".mp4" : ".ts";
    std::string path = mFolder.file("out" + std::to_string(++mOutputs) + extension);
    if (output == kDefaultMp4 || output == kDefaultTs) path = "";
    if (output == kNoSuchFolder) path = mFolder.file("none/out.mp4");
    if (output == kLongName) path = std::string(kTooLongName, 'x');
    _OxaTranscodeConfig config = {};
    config.fmt = isMp4(output) ? 1 : 0;
    config.fileDesc = -1;
    config.fileName = path.c_str();
    if (output == kMemory) config.type = 2;
    if (output == kNoContainer) config.fmt = 5;
    if (output == kMp4Descriptor || output == kTsDescriptor || output == kFullDevice) {
        const char* target = output == kFullDevice ? "/dev/full" : path.c_str();
        config.type = 7;
        config.fileDesc = open(target, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
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

void SequencePlayer::strike(Call::Name name) {
    switch (name) {
        case Call::kCameraLost:
            host::loseCamera(0, true);
            break;
        case Call::kCameraStalled:
            mModel.isHdmi() ? mReceiver->stall() : (void)host::stallCamera(0, true);
            break;
        case Call::kMicrophoneLost:
            mModel.isHdmi() ? mReceiver->loseAudio()
                            : (void)host::loseMicrophone(AUDIO_SOURCE_DEFAULT, true);
            break;
        case Call::kServiceEnded:
            host::endHdmiSoundService();
            break;
        case Call::kUnplugged:
            mReceiver->unplug();
            break;
        case Call::kPlugged:
            mReceiver->plug();
            break;
        default:
            mDisturbed = true;
            fillDisk(true);
    }
}

void SequencePlayer::waitUntil(Call::Name name) {
    if (name == Call::kUntilRecorded) {
        expectRecorded();
    } else if (name == Call::kUntilEnded) {
        if (!waitFor([this] { return mPlayer->EOSReached(); }, kLongestWait)) {
            find("the end does not come");
        }
    } else if (!waitFor([this] { return descriptorsIn(mFolder.path()) <= mDescriptors.size(); },
                        kLongestWait)) {
        find("a recording that was switched off is not finished");
    }
}

// ---- What is seen besides answers ---------------------------------------------------------------

void SequencePlayer::beforeCall(const Call& call) {
    if (call.name == Call::kTranscode) mRecordedBefore = recorded();
    if (call.name == Call::kCleanup && mModel.isInitiated()) expectReports();
}

void SequencePlayer::afterCall(const Call& call) {
    if (call.name == Call::kStop || call.name == Call::kUntilFinished) noteFigures();
    expectSteadyStart();
}

// In milliseconds of the recording, negative before its first sample.
int64_t SequencePlayer::recorded() {
    _RECORDING_PROGRESS progress;
    mPlayer->getRecordingProgress(&progress);
    const bool ofSound = mModel.streams() == kSoundOnly;
    const int64_t timeUs = ofSound ? progress.audioTimeUs : progress.videoTimeUs;
    return timeUs < 0 ? -1 : timeUs / 1000;
}

// The figures of the former recording stay until there is another one.
bool SequencePlayer::hasBegun() {
    const int64_t now = recorded();
    return now >= 0 &&
           (mRecordedBefore < 0 || now < mRecordedBefore || now > mRecordedBefore + kTailMs);
}

void SequencePlayer::expectRecorded() {
    if (!mModel.mustRecord()) return;
    if (!waitFor([this] { return hasBegun(); }, kLongestWait)) find("nothing is recorded");
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
    if (!mModel.isPlayback() || !mModel.runs() || mModel.isTunneled()) {
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

// Each of them once, and in the order of what they report.
void SequencePlayer::expectReports() {
    const bool ends = mPlayer->EOSReached();
    if (!waitFor([&] { return mReports->ends() == (ends ? 1 : 0); }, kReportLimit)) {
        find(std::to_string(mReports->ends()) + " reports of the end, which is " +
             (ends ? "reached" : "not reached"));
    }
}

void SequencePlayer::expectWholeFiles() {
    std::multiset<int64_t> pictures;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(mFolder.path())) {
        const std::string path = entry.path();
        const bool isOutput =
                entry.path().extension() == ".mp4" || entry.path().extension() == ".ts";
        if (!isOutput || fileSize(path) == 0) continue;
        expectWholeFile(path);
        const MediaProbe probe(path, entry.path().extension() == ".ts" ? "mpegts" : "");
        if (probe.video() != nullptr) pictures.insert(probe.video()->frameCount);
    }
    for (int64_t figure : mFigures) {
        if (pictures.count(figure) > 0 || mDisturbed) continue;
        std::string found;
        for (int64_t count : pictures)
            found += " " + std::to_string(count);
        find(std::to_string(figure) + " pictures were reported, the files have:" + found);
    }
}

void SequencePlayer::expectWholeFile(const std::string& path) {
    const std::string name = std::filesystem::path(path).filename();
    const bool isStream = std::filesystem::path(path).extension() == ".ts";
    const MediaProbe probe(path, isStream ? "mpegts" : "");
    if (mDisturbed) return;
    if (!probe.ok()) find(name + ": " + probe.error());
    for (const StreamProbe& stream : probe.streams()) {
        if (stream.packetCount > 0 && stream.decodeErrors != 0) find(name + " is damaged");
    }
    if (isStream) return;
    const std::vector<std::string> boxes = boxesOf(path);
    if (std::count(boxes.begin(), boxes.end(), "moof") > 0) find(name + " is fragmented");
    if (std::count(boxes.begin(), boxes.end(), "moov") != 1) find(name + " has no index");
}

}  // namespace oxa::test
