// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/InputChoice.h>
#include <unistd.h>

#include <cstdio>

#include "ffmpeg/TrackParameters.h"
#include "ffmpeg/TsScrambling.h"
#include "platform/container/TrackSamples.h"
#include "support/FaultLog.h"
#include "support/MediaReader.h"
#include "support/Test.h"

namespace android {
namespace {

using namespace oxa::test;
using testing::ElementsAre;

// The packets of each audio and video stream, in order.
std::vector<std::vector<Sample>> packetsOf(const std::string& path) {
    MediaReader reader(path);
    std::map<int, std::vector<Sample>> packets;
    reader.readPackets([&](const AVPacket& packet) {
        const AVCodecParameters& track = *reader.format()->streams[packet.stream_index]->codecpar;
        if (track.codec_type != AVMEDIA_TYPE_VIDEO && track.codec_type != AVMEDIA_TYPE_AUDIO)
            return;
        const int64_t time = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
        const int more = track.codec_id == AV_CODEC_ID_VORBIS ? 4 : 0;
        packets[packet.stream_index].push_back({reader.toUs(packet.stream_index, time),
                                                static_cast<size_t>(packet.size + more),
                                                (packet.flags & AV_PKT_FLAG_KEY) != 0});
    });
    std::vector<std::vector<Sample>> tracks;
    for (const auto& [index, samples] : packets)
        tracks.push_back(samples);
    return tracks;
}

// Would catch a lost or invented sample, a wrong zero of the times, an edit list that is not
// applied, any difference that the short way of opening a file makes, and a fault that is none.
TEST(ExtractorTest, givesAllSamplesOfAllTracks) {
    for (const std::string& name : namesIn(mediaPath(""))) {
        if (name == "README.md") continue;
        SCOPED_TRACE(name);
        const std::string path = mediaPath(name);
        const auto expected = packetsOf(path);
        FaultLog log;
        sp<NuMediaExtractor> extractor = openClip(path);
        ASSERT_EQ(extractor->countTracks(), expected.size());
        for (size_t i = 0; i < expected.size(); ++i) {
            const std::vector<Sample> samples = readTrack(path, i);
            ASSERT_EQ(samples, expected[i]) << "track " << i;
            const sp<AMessage> format = formatOf(extractor, i);
            int64_t durationUs = 0;
            EXPECT_TRUE(format->findInt64("durationUs", &durationUs));
            EXPECT_NEAR(durationUs, samples.back().timeUs - samples.front().timeUs, 250000);
            for (const Sample& sample : samples)
                ASSERT_GT(int32Of(format, "max-input-size"), static_cast<int32_t>(sample.size));
        }
        EXPECT_TRUE(log.faults().empty()) << log.faults()[0].cause;
    }
}

TEST(ExtractorTest, refusesCallsWithoutASourceOrTrack) {
    sp<NuMediaExtractor> extractor = newExtractor();
    sp<AMessage> format;
    EXPECT_EQ(extractor->countTracks(), 0u);
    EXPECT_EQ(extractor->getTrackFormat(0, &format), -EINVAL);
    EXPECT_EQ(extractor->selectTrack(0), -EINVAL);
    const sp<ABuffer> buffer = new ABuffer(8);
    EXPECT_EQ(extractor->advance(), ERROR_END_OF_STREAM);
    EXPECT_EQ(extractor->readSampleData(buffer), ERROR_END_OF_STREAM);
    EXPECT_EQ(buffer->size(), 0u);
    EXPECT_EQ(extractor->setDataSource(new FileSource("/nonexistent")), NO_INIT);
    EXPECT_EQ(extractor->setDataSource(new FileSource("/proc")), ERROR_IO) << "a directory";

    sp<DataSource> source = new FileSource(mediaPath("roar.mp3").c_str());
    EXPECT_EQ(extractor->setDataSource(source), OK) << "a source that failed does not count";
    EXPECT_EQ(extractor->setDataSource(source), -EINVAL);
    EXPECT_EQ(extractor->getTrackFormat(1, &format), -ERANGE);
    EXPECT_TRUE(format == nullptr);
    EXPECT_EQ(extractor->selectTrack(1), -ERANGE);

    int64_t timeUs = 0;
    EXPECT_EQ(extractor->getSampleTime(&timeUs), ERROR_END_OF_STREAM) << "nothing is selected";
    EXPECT_EQ(extractor->seekTo(0), ERROR_END_OF_STREAM) << "nothing is selected";
}

TEST(ExtractorTest, movesOnOnlyWhenAskedAndSaysThatTheLastSampleWasTheLast) {
    sp<NuMediaExtractor> extractor = openClip(mediaPath("bear_161x121_vp9.webm"));
    ASSERT_EQ(extractor->selectTrack(0), OK);
    ASSERT_EQ(extractor->selectTrack(0), OK);
    const sp<AMessage> format = formatOf(extractor);
    format->setInt32("mine", 1);
    EXPECT_FALSE(formatOf(extractor)->contains("mine"));
    sp<RefBase> object;
    ASSERT_TRUE(format->findObject(kFormatKeyTrackParameters, &object));
    auto* parameters = static_cast<TrackParameters*>(object.get());

    sp<ABuffer> buffer = new ABuffer(kBufferSize);
    int64_t timeUs = -1;
    size_t size = 0;
    for (int i = 0; i < 3; ++i) {
        buffer->setRange(5, 5);
        ASSERT_EQ(extractor->readSampleData(buffer), OK);
        ASSERT_EQ(extractor->getSampleSize(&size), OK);
        EXPECT_EQ(buffer->offset(), 0u);
        EXPECT_EQ(buffer->size(), size);
        ASSERT_EQ(extractor->getSampleTime(&timeUs), OK);
        EXPECT_EQ(timeUs, 0);
    }
    // However often it was read, the decoder gets its properties once.
    const PacketPtr packet(av_packet_alloc());
    EXPECT_TRUE(parameters->popSample(0, packet.get()));
    EXPECT_FALSE(parameters->popSample(0, packet.get()));

    for (int i = 1; i < 30; ++i)
        ASSERT_EQ(extractor->advance(), OK) << i;
    ASSERT_EQ(extractor->readSampleData(buffer), OK);
    EXPECT_EQ(extractor->advance(), ERROR_END_OF_STREAM);
    EXPECT_EQ(extractor->advance(), ERROR_END_OF_STREAM);
    EXPECT_EQ(extractor->readSampleData(buffer), ERROR_END_OF_STREAM);
    EXPECT_EQ(buffer->size(), 0u);
    EXPECT_EQ(extractor->getSampleTime(&timeUs), ERROR_END_OF_STREAM);
}

TEST(ExtractorTest, givesSeveralTracksInTheOrderOfTheFile) {
    const std::string path = mediaPath("friday_480p_audio_first.mp4");
    sp<NuMediaExtractor> extractor = openClip(path);
    extractor->selectTrack(0);
    extractor->selectTrack(1);
    int64_t lastUs[2] = {};
    int count[2] = {};
    size_t track = 0;
    for (; extractor->getSampleTrackIndex(&track) == OK; extractor->advance()) {
        extractor->getSampleTime(&lastUs[track]);
        ++count[track];
        EXPECT_LT(std::abs(lastUs[0] - lastUs[1]), 1000000);
    }
    EXPECT_THAT(count, ElementsAre(265, 185));

    // A track that is selected alone afterwards begins at its beginning.
    EXPECT_EQ(extractor->unselectTrack(0), OK);
    EXPECT_EQ(extractor->unselectTrack(1), OK);
    EXPECT_EQ(extractor->selectTrack(1), OK);
    EXPECT_EQ(readAll(extractor), readTrack(path, 1));
    // Sought with the picture the sound goes on from the picture's key frame.
    EXPECT_EQ(extractor->selectTrack(0), OK);
    EXPECT_EQ(extractor->seekTo(5'700'000, MediaSource::ReadOptions::SEEK_PREVIOUS_SYNC), OK);
    EXPECT_EQ(extractor->unselectTrack(1), OK);
    EXPECT_EQ(extractor->getSampleTime(&lastUs[0]), OK);
    EXPECT_NEAR(lastUs[0], 4'667'000, 300'000);
}

// What lies in front of a part or behind it is not read; one picture behind shows that it ends.
TEST(ExtractorTest, aPartIsReadFromItsKeyFrameToItsEnd) {
    oxa::host::InputChoice choice;
    choice.startUs = 9'600'000;
    choice.endUs = 10'000'000;
    oxa::host::setInputChoice(choice);
    const std::vector<Sample> samples = readTrack(mediaPath("car_432p_12fps.mp4"), 0);
    oxa::host::setInputChoice({});
    EXPECT_THAT(samples.size(), testing::AnyOf(5u, 6u));
    EXPECT_EQ(samples.at(0).timeUs, 0);
}

TEST(ExtractorTest, seeksToSyncSamples) {
    ClipOptions options;
    options.seconds = 4;
    options.videoArguments = {"-g", "25", "-bf", "2", "-x264-params", "scenecut=0"};
    sp<NuMediaExtractor> extractor = openClip(testClip(options));
    ASSERT_EQ(extractor->selectTrack(0), OK);
    const std::vector<Sample> all = readAll(extractor);
    const auto seek = [&](int64_t timeUs, MediaSource::ReadOptions::SeekMode mode) {
        EXPECT_EQ(extractor->seekTo(timeUs, mode), OK);
        int64_t foundUs = -1;
        extractor->getSampleTime(&foundUs);
        return foundUs;
    };
    EXPECT_EQ(seek(2400000, MediaSource::ReadOptions::SEEK_PREVIOUS_SYNC), 2000000);
    EXPECT_EQ(readAll(extractor).size(), all.size() - 50);
    EXPECT_EQ(seek(2400000, MediaSource::ReadOptions::SEEK_NEXT_SYNC), 3000000);
    EXPECT_EQ(seek(600000, MediaSource::ReadOptions::SEEK_CLOSEST_SYNC), 1000000);
    EXPECT_EQ(seek(1510000, MediaSource::ReadOptions::SEEK_CLOSEST_SYNC), 2000000);
    EXPECT_EQ(seek(1490000, MediaSource::ReadOptions::SEEK_CLOSEST_SYNC), 1000000);
    EXPECT_EQ(seek(1600000, MediaSource::ReadOptions::SEEK_CLOSEST), 1000000);
    EXPECT_EQ(extractor->seekTo(3500000, MediaSource::ReadOptions::SEEK_NEXT_SYNC),
              ERROR_END_OF_STREAM);
    EXPECT_EQ(readAll(extractor).size(), 0u);
    EXPECT_EQ(extractor->seekTo(0, MediaSource::ReadOptions::SEEK_FRAME_INDEX), ERROR_UNSUPPORTED);
    EXPECT_EQ(seek(0, MediaSource::ReadOptions::SEEK_CLOSEST_SYNC), 0);
    EXPECT_EQ(readAll(extractor), all);

    // A window that begins with one has nothing in front of it.
    oxa::host::InputChoice choice;
    choice.startUs = 2000000;
    oxa::host::setInputChoice(choice);
    extractor = openClip(testClip(options));
    oxa::host::setInputChoice({});
    ASSERT_EQ(extractor->selectTrack(0), OK);
    int64_t timeUs = -1;
    EXPECT_EQ(extractor->getSampleTime(&timeUs), OK);
    EXPECT_EQ(timeUs, 0);
}

// Nothing tells where they are there; what cannot be decoded is not given in front of one.
TEST(ExtractorTest, seeksToASyncSampleInATransportStream) {
    const std::string path = mediaPath("bunny_360p_aac51.ts");
    std::vector<int64_t> syncs;
    for (const Sample& sample : readTrack(path, 0)) {
        if (sample.sync) syncs.push_back(sample.timeUs);
    }
    sp<NuMediaExtractor> extractor = openClip(path);
    ASSERT_EQ(extractor->selectTrack(0), OK);
    for (const int64_t timeUs : {1'500'000, 4'100'000, 9'990'000}) {
        EXPECT_EQ(extractor->seekTo(timeUs), OK);
        int64_t foundUs = -1;
        EXPECT_EQ(extractor->getSampleTime(&foundUs), OK);
        EXPECT_NEAR(foundUs, timeUs, 2'500'000);
        EXPECT_THAT(syncs, testing::Contains(foundUs));
    }
}

// A sample that does not fit stays, and is missed only by those who go on without it.
TEST(ExtractorTest, staysAtASampleThatDoesNotFit) {
    const std::string path = mediaPath("car_432p_12fps.mp4");
    const std::vector<Sample> all = readTrack(path, 0);
    const size_t capacity = all[17].size;  // which just fits
    const sp<ABuffer> small = new ABuffer(capacity);
    const sp<ABuffer> large = new ABuffer(kBufferSize);
    FaultLog log;
    sp<NuMediaExtractor> extractor = openClip(path);
    extractor->selectTrack(0);
    size_t missed = 0;
    for (size_t i = 0; i < all.size(); ++i) {
        const bool fits = all[i].size <= capacity;
        ASSERT_EQ(extractor->readSampleData(small), fits ? OK : -ENOMEM);
        EXPECT_EQ(small->size(), fits ? all[i].size : 0);
        if (!fits && i % 2 == 0) {
            ASSERT_EQ(extractor->readSampleData(large), OK);
            EXPECT_EQ(large->size(), all[i].size);
        } else if (!fits) {
            ++missed;
        }
        extractor->advance();
    }
    ASSERT_GT(missed, 10u);
    const auto faults = log.faults();
    ASSERT_EQ(faults.size(), missed);
    EXPECT_EQ(faults.back().source, oxa::host::FaultSource::kReader);
    EXPECT_FALSE(faults.back().ended);
    EXPECT_EQ(faults.back().count, faults.size());
    EXPECT_EQ(faults.back().object, path);
}

TEST(ExtractorTest, readsAPipe) {
    const std::string path = mediaPath("bunny_480i_tff_mpeg2_mp2.ts");
    FILE* const writer = popen(("cat " + path).c_str(), "r");
    sp<NuMediaExtractor> extractor = newExtractor();
    ASSERT_EQ(extractor->setDataSource(new FileSource(dup(fileno(writer)), 0, 0)), OK);
    ASSERT_EQ(extractor->selectTrack(0), OK);
    EXPECT_EQ(readAll(extractor), readTrack(path, 0));
    EXPECT_EQ(extractor->seekTo(0), ERROR_UNSUPPORTED);
    EXPECT_EQ(pclose(writer), 0);
}

// A stream may be marked and be clear all the same.
TEST(TsScramblingTest, isWhereMarkedPacketsDoNotBeginAsTheyShould) {
    const struct {
        std::vector<uint8_t> begin;
        bool isScrambled;
    } kCases[] = {{{0, 0, 1}, false}, {{0, 5, 1}, true}, {{0, 0, 5}, true}};
    for (const auto& c : kCases) {
        std::vector<uint8_t> stream;
        for (size_t i = 1; i <= 5; ++i) {
            // A field of one byte is in front of the content.
            stream.insert(stream.end(), {0x47, 0x41, 0, 0xB0, 1, 0});
            stream.insert(stream.end(), c.begin.begin(), c.begin.end());
            stream.resize(i * 188);
        }
        TsScrambling scrambling;
        scrambling.watch(0, stream.data(), stream.size());
        EXPECT_EQ(scrambling.isScrambled(256), c.isScrambled);
    }
}

// Texts that name other files are recognised as playlists by some demuxers.
TEST(DamagedFileTest, aHostileTextOpensNothingElse) {
    const std::string clip = mediaPath("roar.mp3");
    const std::string path = TempDir::ofProcess().file("hostile");
    for (const std::string& text :
         {std::string("x"),
          "#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXTINF:10,\n" + clip + "\n#EXT-X-ENDLIST\n",
          "ffconcat version 1.0\nfile '" + clip + "'\n",
          std::string("ffconcat version 1.0\nfile hostile\n"),
          std::string("v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\n"
                      "m=audio 5004 RTP/AVP 0\n")}) {
        writeFile(path, text);
        sp<NuMediaExtractor> extractor = newExtractor();
        const status_t err = extractor->setDataSource(new FileSource(path.c_str()));
        EXPECT_TRUE(err == ERROR_UNSUPPORTED || extractor->countTracks() == 0) << err << text;
    }
}

}  // namespace
}  // namespace android
