// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/LibraryPlay.h"

#include <android/log.h>

#include "support/MediaReader.h"
#include "support/Test.h"

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

LibraryPlay::LibraryPlay(const PlayOptions& options)
    : mOptions(options),
      mDisplay(oxa::host::createRecordingDisplay()),
      mPlayer(new OxaMediaCodecPlayer(true, options.onlyTrack)) {
    mPlayer->mStatusHandler = mReports;
}

LibraryPlay::~LibraryPlay() {
    mPlayer->cleanup();
}

Played LibraryPlay::playToEnd() {
    Played played;
    prepare();
    if (!testing::Test::HasFatalFailure()) run();
    if (testing::Test::HasFatalFailure()) return played;
    EXPECT_TRUE(waitFor([&] { return mReports->count(kWhatPlayerEOS) > 0; }, kLongestPlayback))
            << mOptions.input;
    EXPECT_TRUE(mPlayer->EOSReached());
    EXPECT_EQ(mPlayer->getPlaybackProgress(&played.progress), OK);
    uint64_t shown = played.progress.shownFrames;
    // Counted on their way into the codec there, which drops by itself what is late.
    if (mOptions.tunneled) shown = std::min<uint64_t>(shown, 1);
    EXPECT_TRUE(waitFor([&] { return mDisplay->figures().shown >= shown; }));
    stop();
    EXPECT_EQ(mPlayer->cleanup(), OK);
    played.ends = mReports->count(kWhatPlayerEOS);
    played.endUs = mReports->firstUs(kWhatPlayerEOS);
    played.instantRates = mReports->items(&AMessage::findDouble, "instant-fps");
    played.averageRates = mReports->items(&AMessage::findDouble, "average-fps");
    played.pictures = mDisplay->pictures();
    if (mSound == nullptr) return played;
    for (const oxa::host::SoundBlock& block : mSound->blocks()) {
        played.heard.sampleRate = block.sampleRate;
        played.heard.channels = block.channels;
        played.heard.blocks.emplace_back(played.heard.frames(), block.timeUs);
        for (int16_t sample : block.samples)
            played.heard.samples.push_back(sample / 32768.0F);
        played.soundTracks = std::max(played.soundTracks, block.track);
    }
    return played;
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
    if (!mOptions.recordSound) {
        oxa::host::useNullSound();
        ASSERT_EQ(mPlayer->start(), OK);
        return;
    }
    mSound = oxa::host::useSoundRecording(kMostSoundFrames);
    ASSERT_EQ(mPlayer->start(), OK);
    ASSERT_TRUE(waitFor([this] { return mSound->frames() > 0; }))
            << "no sound of " << mOptions.input;
}

void LibraryPlay::stop() {
    EXPECT_EQ(mPlayer->stop(), OK);
}

// ---- Pictures -----------------------------------------------------------------------------------

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
    std::vector<std::string> names = namesIn(mediaPath(""));
    names.erase(std::find(names.begin(), names.end(), "README.md"));
    return names;
}

}  // namespace oxa::test
