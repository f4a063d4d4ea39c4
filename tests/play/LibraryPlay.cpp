// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "play/LibraryPlay.h"

#include <android/log.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numeric>

#include "support/Deadline.h"
#include "support/MediaReader.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace oxa::test {

using namespace android;

namespace {

constexpr std::chrono::minutes kLongestPlayback{3};
constexpr size_t kMostSoundFrames = 48000 * 60;

std::mutex gSoundChoiceLock;

uint64_t hashOf(const AVFrame& frame) {
    const AVPixFmtDescriptor* format =
            av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    uint64_t hash = UINT64_C(0xcbf29ce484222325);
    for (int plane = 0; plane < av_pix_fmt_count_planes(AVPixelFormat(frame.format)); ++plane) {
        const bool chroma = plane > 0;
        const int width = AV_CEIL_RSHIFT(frame.width, chroma ? format->log2_chroma_w : 0);
        const int height = AV_CEIL_RSHIFT(frame.height, chroma ? format->log2_chroma_h : 0);
        for (int row = 0; row < height; ++row) {
            const uint8_t* samples = frame.data[plane] + row * frame.linesize[plane];
            for (int i = 0; i < width; ++i)
                hash = (hash ^ samples[i]) * UINT64_C(0x100000001b3);
        }
    }
    return hash;
}

}  // namespace

// ---- PlayReports --------------------------------------------------------------------------------

int PlayReports::count(uint32_t what) const {
    std::lock_guard<std::mutex> lock(mLock);
    const auto found = mReceived.find(what);
    return found == mReceived.end() ? 0 : static_cast<int>(found->second.size());
}

int64_t PlayReports::timeUs(uint32_t what) const {
    std::lock_guard<std::mutex> lock(mLock);
    const auto found = mReceived.find(what);
    return found == mReceived.end() ? 0 : found->second.front().timeUs;
}

std::vector<double> PlayReports::rates(uint32_t what) const {
    std::lock_guard<std::mutex> lock(mLock);
    std::vector<double> rates;
    const auto found = mReceived.find(what);
    if (found == mReceived.end()) return rates;
    for (const Received& received : found->second)
        rates.push_back(received.rate);
    return rates;
}

void PlayReports::onMessageReceived(const sp<AMessage>& msg) {
    double rate = -1;
    if (msg->what() == kWhatInstantFPS) msg->findDouble("instant-fps", &rate);
    if (msg->what() == kWhatAverageFPS) msg->findDouble("average-fps", &rate);
    std::lock_guard<std::mutex> lock(mLock);
    mReceived[msg->what()].push_back({ALooper::GetNowUs(), rate});
}

// ---- LibraryPlay --------------------------------------------------------------------------------

LibraryPlay::LibraryPlay(const PlayOptions& options)
    : mOptions(options),
      mDisplay(oxa::host::createRecordingDisplay()),
      mReports(new PlayReports),
      mReportLooper(new ALooper),
      mPlayer(new OxaMediaCodecPlayer(true, options.onlyTrack)) {
    mReportLooper->setName("PlayReports");
    mReportLooper->start();
    mReportLooper->registerHandler(mReports);
    mPlayer->mStatusHandler = mReports;
}

LibraryPlay::~LibraryPlay() {
    mPlayer->cleanup();
    mReportLooper->unregisterHandler(mReports->id());
    mReportLooper->stop();
}

void LibraryPlay::start() {
    ASSERT_NO_FATAL_FAILURE(prepare());
    run();
}

void LibraryPlay::prepare() {
    ASSERT_EQ(mPlayer->initiate(SourceTypeFile, true, false), OK);
    ASSERT_EQ(mPlayer->setDataSource(mOptions.input.c_str()), OK);
    if (mOptions.tunneled) {
        ASSERT_EQ(mPlayer->setTunneledPlayback(true), OK);
    }
    ASSERT_EQ(mPlayer->setSurface(mDisplay->producer()), OK);
    ASSERT_EQ(mPlayer->setFreeRun(mOptions.freeRun), OK);
    ASSERT_EQ(mPlayer->setCalculateFPS(mOptions.frameRateIntervalSec), OK);
    ASSERT_EQ(mPlayer->prepare(), OK);
}

void LibraryPlay::run() {
    const std::lock_guard<std::mutex> lock(gSoundChoiceLock);
    if (mOptions.sound == PlayOptions::Sound::kNull) {
        oxa::host::useNullSound();
        ASSERT_EQ(mPlayer->start(), OK);
        return;
    }
    mSound = oxa::host::useSoundRecording(kMostSoundFrames);
    ASSERT_EQ(mPlayer->start(), OK);
    ASSERT_TRUE(waitFor([this] { return mSound->frames() > 0; }))
            << "no sound of " << mOptions.input;
}

void LibraryPlay::waitForEnd() {
    ASSERT_TRUE(waitFor([this] { return mReports->count(kWhatPlayerEOS) > 0; }, kLongestPlayback))
            << mOptions.input;
    EXPECT_TRUE(mPlayer->EOSReached());
}

void LibraryPlay::waitForPictures() {
    uint64_t shown = progress().shownFrames;
    // Counted on their way into the codec there, which drops by itself what is late.
    if (mOptions.tunneled) shown = std::min<uint64_t>(shown, 1);
    EXPECT_TRUE(waitFor([&] { return mDisplay->figures().shown >= shown; }));
}

void LibraryPlay::stop() {
    EXPECT_EQ(mPlayer->stop(), OK);
}

void LibraryPlay::stopAndCleanUp() {
    stop();
    EXPECT_EQ(mPlayer->cleanup(), OK);
}

_PLAYBACK_PROGRESS LibraryPlay::progress() const {
    _PLAYBACK_PROGRESS progress;
    EXPECT_EQ(mPlayer->getPlaybackProgress(&progress), OK);
    return progress;
}

// ---- Sound and pictures -------------------------------------------------------------------------

std::vector<float> HeardSound::audible() const {
    constexpr float kSilence = 0.002F;
    const auto isHeard = [](float sample) { return std::fabs(sample) > kSilence; };
    const auto first = std::find_if(samples.begin(), samples.end(), isHeard);
    const auto last = std::find_if(samples.rbegin(), samples.rend(), isHeard).base();
    return first < last ? std::vector<float>(first, last) : std::vector<float>();
}

HeardSound heardSound(const oxa::host::SoundRecording& recording) {
    HeardSound heard;
    for (const oxa::host::SoundBlock& block : recording.blocks()) {
        if (heard.samples.empty()) heard.firstUs = block.timeUs;
        heard.sampleRate = block.sampleRate;
        heard.channels = block.channels;
        heard.tracks = std::max(heard.tracks, block.track);
        for (size_t frame = 0; frame < block.frames(); ++frame) {
            const auto begin = block.samples.begin() + static_cast<long>(frame * block.channels);
            const int sum = std::accumulate(begin, begin + block.channels, 0);
            heard.samples.push_back(static_cast<float>(sum) / 32768.0F / block.channels);
            heard.timeUs.push_back(block.timeUs +
                                   static_cast<int64_t>(frame) * 1'000'000 / block.sampleRate);
        }
    }
    return heard;
}

std::vector<ExpectedPicture> expectedPictures(const std::string& path) {
    std::vector<ExpectedPicture> pictures;
    MediaReader reader(path);
    EXPECT_TRUE(reader.ok()) << reader.error();
    const int stream = reader.findStream(AVMEDIA_TYPE_VIDEO);
    if (stream < 0) return pictures;
    reader.decode({stream}, [&](int, const AVFrame& frame, int64_t timeUs) {
        pictures.push_back({timeUs, frame.width, frame.height, hashOf(frame)});
    });
    return pictures;
}

std::vector<std::string> mediaClips() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(OXA_TEST_MEDIA_DIR)) {
        if (entry.path().extension() != ".md") names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace oxa::test
