// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <datasource/FileSource.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>
#include <unistd.h>

#include <cmath>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "codec/TrackParameters.h"
#include "platform/codec/FaultLog.h"
#include "support/MediaProbe.h"
#include "support/MediaReader.h"
#include "support/ProcessRunner.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace android {
namespace {

using oxa::test::FaultLog;
using oxa::test::mediaPath;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr size_t kBufferSize = 8 << 20;

sp<NuMediaExtractor> newExtractor() {
    return new NuMediaExtractor(NuMediaExtractor::EntryPoint::OTHER);
}

sp<NuMediaExtractor> openClip(const std::string& path) {
    sp<NuMediaExtractor> extractor = newExtractor();
    EXPECT_EQ(extractor->setDataSource(new FileSource(path.c_str())), OK) << path;
    return extractor;
}

struct Sample {
    int64_t timeUs;
    size_t size;
    bool sync;

    bool operator==(const Sample& other) const {
        return std::abs(timeUs - other.timeUs) <= 1 && size == other.size && sync == other.sync;
    }
};

void PrintTo(const Sample& sample, std::ostream* out) {
    *out << sample.timeUs << " us, " << sample.size << " bytes" << (sample.sync ? ", sync" : "");
}

// Reads what is left, as a pipeline does.
std::vector<Sample> readAll(const sp<NuMediaExtractor>& extractor, size_t capacity = kBufferSize) {
    std::vector<Sample> samples;
    sp<ABuffer> buffer = new ABuffer(capacity);
    while (extractor->readSampleData(buffer) == OK) {
        sp<MetaData> meta;
        EXPECT_EQ(extractor->getSampleMeta(&meta), OK);
        Sample sample = {0, buffer->size(), meta->hasData(kKeyIsSyncFrame)};
        EXPECT_TRUE(meta->findInt64(kKeyTime, &sample.timeUs));
        samples.push_back(sample);
        const status_t err = extractor->advance();
        EXPECT_TRUE(err == OK || err == ERROR_END_OF_STREAM) << err;
    }
    return samples;
}

std::vector<Sample> readTrack(const std::string& path, size_t index) {
    sp<NuMediaExtractor> extractor = openClip(path);
    EXPECT_EQ(extractor->selectTrack(index), OK);
    return readAll(extractor);
}

int32_t int32Of(const sp<AMessage>& format, const char* name) {
    int32_t value = -1;
    format->findInt32(name, &value);
    return value;
}

std::string stringOf(const sp<AMessage>& format, const char* name) {
    AString value;
    format->findString(name, &value);
    return value.c_str();
}

// The packets of each audio and video stream, in order.
std::vector<std::vector<Sample>> packetsOf(const std::string& path) {
    oxa::test::MediaReader reader(path);
    std::map<int, std::vector<Sample>> packets;
    reader.readPackets([&](const AVPacket& packet) {
        const AVMediaType type =
                reader.format()->streams[packet.stream_index]->codecpar->codec_type;
        if (type != AVMEDIA_TYPE_VIDEO && type != AVMEDIA_TYPE_AUDIO) return;
        const int64_t time = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
        packets[packet.stream_index].push_back({reader.toUs(packet.stream_index, time),
                                                static_cast<size_t>(packet.size),
                                                (packet.flags & AV_PKT_FLAG_KEY) != 0});
    });
    std::vector<std::vector<Sample>> tracks;
    for (const auto& [index, samples] : packets)
        tracks.push_back(samples);
    return tracks;
}

// Everything but "width", "height", ... of a format in one line.
std::string describe(const sp<AMessage>& format) {
    std::ostringstream text;
    text << stringOf(format, "mime");
    if (format->contains("width")) {
        text << " " << int32Of(format, "width") << "x" << int32Of(format, "height") << " "
             << int32Of(format, "frame-rate") << "fps rot" << int32Of(format, "rotation-degrees")
             << " sar" << int32Of(format, "sar-width") << ":" << int32Of(format, "sar-height");
    } else {
        text << " " << int32Of(format, "channel-count") << "ch " << int32Of(format, "sample-rate");
    }
    return text.str();
}

struct Clip {
    const char* name;
    std::vector<std::string> tracks;
};

class ClipTest : public ::testing::TestWithParam<Clip> {};

// Would catch a lost or invented sample, a wrong zero of the times, an edit list that is not
// applied, any difference that the short way of opening a file makes, and a fault that is none.
TEST_P(ClipTest, HasItsTracksAndAllTheirSamples) {
    const std::string path = mediaPath(GetParam().name);
    const auto expected = packetsOf(path);
    FaultLog log;
    sp<NuMediaExtractor> extractor = openClip(path);
    ASSERT_EQ(extractor->countTracks(), expected.size());
    std::vector<std::string> tracks;
    for (size_t i = 0; i < expected.size(); ++i) {
        const std::vector<Sample> samples = readTrack(path, i);
        EXPECT_EQ(samples, expected[i]) << "track " << i;
        sp<AMessage> format;
        ASSERT_EQ(extractor->getTrackFormat(i, &format), OK);
        tracks.push_back(describe(format));
        int64_t durationUs = 0;
        EXPECT_TRUE(format->findInt64("durationUs", &durationUs));
        EXPECT_NEAR(durationUs, samples.back().timeUs - samples.front().timeUs, 250000);
        size_t largest = 0;
        for (const Sample& sample : samples)
            largest = std::max(largest, sample.size);
        EXPECT_GT(int32Of(format, "max-input-size"), static_cast<int32_t>(largest));
    }
    EXPECT_THAT(tracks, testing::ElementsAreArray(GetParam().tracks));
    EXPECT_TRUE(log.faults().empty()) << log.faults()[0].cause;
}

INSTANTIATE_TEST_SUITE_P(
        Clips, ClipTest,
        testing::Values(
                Clip{"bear_161x121_vp9.webm", {"video/x-vnd.on2.vp9 161x121 30fps rot0 sar1:1"}},
                Clip{"bird_mpeg4asp_mp3.avi",
                     {"video/mp4v-es 960x400 24fps rot0 sar1:1", "audio/mpeg 2ch 48000"}},
                Clip{"bunny_360p_aac51.ts",
                     {"video/avc 640x360 24fps rot0 sar1:1", "audio/mp4a-latm 6ch 48000"}},
                Clip{"bunny_480i_tff_mpeg2_mp2.ts",
                     {"video/mpeg2 720x480 30fps rot0 sar32:27", "audio/mpeg-L2 2ch 48000"}},
                Clip{"bunny_480p_hevc.mp4", {"video/hevc 854x480 30fps rot0 sar-1:-1"}},
                Clip{"bunny_rotated90_aac51.mp4",
                     {"video/avc 1920x1080 24fps rot90 sar-1:-1", "audio/mp4a-latm 6ch 48000"}},
                Clip{"car_432p_12fps.mp4",
                     {"video/avc 768x432 13fps rot0 sar-1:-1", "audio/mp4a-latm 2ch 48000"}},
                Clip{"flower_540p_h264_aac.mp4",
                     {"video/avc 960x540 30fps rot0 sar1:1", "audio/mp4a-latm 2ch 48000"}},
                Clip{"flower_540p_vp8_vorbis.webm",
                     {"video/x-vnd.on2.vp8 960x540 30fps rot0 sar1:1", "audio/vorbis 2ch 44100"}},
                Clip{"friday_480p_audio_first.mp4",
                     {"audio/mp4a-latm 2ch 44100", "video/avc 640x480 30fps rot0 sar-1:-1"}},
                Clip{"friday_audio_starts_1200ms.mp4",
                     {"video/avc 640x480 30fps rot0 sar-1:-1", "audio/mp4a-latm 2ch 44100"}},
                Clip{"friday_video_starts_1s.mp4",
                     {"video/avc 640x480 30fps rot0 sar-1:-1", "audio/mp4a-latm 2ch 44100"}},
                Clip{"nasa_multistream.mp4",
                     {"video/avc 320x180 25fps rot0 sar1:1", "audio/mp4a-latm 2ch 8000",
                      "video/avc 480x270 30fps rot0 sar1:1", "audio/mp4a-latm 2ch 16000"}},
                Clip{"roar.mp3", {"audio/mpeg 2ch 44100"}}),
        [](const auto& info) {
            std::string name = info.param.name;
            std::replace(name.begin(), name.end(), '.', '_');
            return name;
        });

TEST(ExtractorTest, RefusesCallsWithoutASourceOrTrack) {
    sp<NuMediaExtractor> extractor = newExtractor();
    sp<AMessage> format;
    EXPECT_EQ(extractor->countTracks(), 0u);
    EXPECT_EQ(extractor->getTrackFormat(0, &format), -EINVAL);
    EXPECT_EQ(extractor->selectTrack(0), -EINVAL);
    EXPECT_EQ(extractor->advance(), -EINVAL);
    EXPECT_EQ(extractor->setDataSource(new FileSource("/nonexistent")), NO_INIT);

    sp<DataSource> source = new FileSource(mediaPath("roar.mp3").c_str());
    EXPECT_EQ(extractor->setDataSource(source), OK) << "a source that failed does not count";
    EXPECT_EQ(extractor->setDataSource(source), -EINVAL);
    EXPECT_EQ(extractor->getTrackFormat(1, &format), -ERANGE);
    EXPECT_TRUE(format == nullptr);
    EXPECT_EQ(extractor->selectTrack(1), -ERANGE);

    int64_t timeUs = 0;
    EXPECT_EQ(extractor->getSampleTime(&timeUs), ERROR_END_OF_STREAM) << "nothing is selected";
}

TEST(ExtractorTest, MovesOnOnlyWhenAskedAndSaysThatTheLastSampleWasTheLast) {
    sp<NuMediaExtractor> extractor = openClip(mediaPath("bear_161x121_vp9.webm"));
    ASSERT_EQ(extractor->selectTrack(0), OK);
    ASSERT_EQ(extractor->selectTrack(0), OK);
    sp<AMessage> format;
    sp<AMessage> other;
    extractor->getTrackFormat(0, &format);
    format->setInt32("mine", 1);
    extractor->getTrackFormat(0, &other);
    EXPECT_FALSE(other->contains("mine"));
    sp<RefBase> object;
    ASSERT_TRUE(format->findObject(kFormatKeyTrackParameters, &object));
    auto* parameters = static_cast<TrackParameters*>(object.get());
    EXPECT_EQ(parameters->codec().codec_id, AV_CODEC_ID_VP9);

    sp<ABuffer> buffer = new ABuffer(kBufferSize);
    buffer->setRange(5, 5);
    int64_t timeUs = -1;
    size_t size = 0;
    size_t track = 9;
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(extractor->readSampleData(buffer), OK);
        ASSERT_EQ(extractor->getSampleSize(&size), OK);
        EXPECT_EQ(buffer->offset(), 0u);
        EXPECT_EQ(buffer->size(), size);
        ASSERT_EQ(extractor->getSampleTime(&timeUs), OK);
        EXPECT_EQ(timeUs, 0);
        ASSERT_EQ(extractor->getSampleTrackIndex(&track), OK);
        EXPECT_EQ(track, 0u);
    }
    // However often it was read, the decoder gets its properties once.
    AVPacket* packet = av_packet_alloc();
    EXPECT_TRUE(parameters->popSample(0, packet));
    EXPECT_EQ(packet->pts, 0);
    EXPECT_FALSE(parameters->popSample(0, packet));
    av_packet_free(&packet);

    for (int i = 1; i < 30; ++i)
        ASSERT_EQ(extractor->advance(), OK) << i;
    ASSERT_EQ(extractor->readSampleData(buffer), OK);
    EXPECT_EQ(extractor->advance(), ERROR_END_OF_STREAM);
    EXPECT_EQ(extractor->advance(), ERROR_END_OF_STREAM);
    EXPECT_EQ(extractor->readSampleData(buffer), ERROR_END_OF_STREAM);
    EXPECT_EQ(buffer->size(), 0u);
    EXPECT_EQ(extractor->getSampleTime(&timeUs), ERROR_END_OF_STREAM);
}

TEST(ExtractorTest, GivesSeveralTracksInTheOrderOfTheFile) {
    const std::string path = mediaPath("friday_480p_audio_first.mp4");
    sp<NuMediaExtractor> extractor = openClip(path);
    extractor->selectTrack(0);
    extractor->selectTrack(1);
    sp<ABuffer> buffer = new ABuffer(kBufferSize);
    int64_t lastUs[2] = {};
    int count[2] = {};
    while (extractor->readSampleData(buffer) == OK) {
        size_t track = 0;
        extractor->getSampleTrackIndex(&track);
        extractor->getSampleTime(&lastUs[track]);
        ++count[track];
        EXPECT_LT(std::abs(lastUs[0] - lastUs[1]), 1000000);
        extractor->advance();
    }
    EXPECT_THAT(count, ElementsAre(265, 185));

    // A track that is selected alone afterwards begins at its beginning.
    EXPECT_EQ(extractor->unselectTrack(0), OK);
    EXPECT_EQ(extractor->unselectTrack(1), OK);
    EXPECT_EQ(extractor->selectTrack(1), OK);
    EXPECT_EQ(readAll(extractor), readTrack(path, 1));
}

TEST(ExtractorTest, SeeksToSyncSamples) {
    oxa::test::ClipOptions options;
    options.seconds = 4;
    options.videoArguments = {"-g", "25", "-bf", "2", "-x264-params", "scenecut=0"};
    sp<NuMediaExtractor> extractor = openClip(oxa::test::testClip(options));
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
    EXPECT_EQ(seek(0, MediaSource::ReadOptions::SEEK_CLOSEST_SYNC), 0);
    EXPECT_EQ(readAll(extractor), all);
}

TEST(ExtractorTest, LeavesOutSamplesThatDoNotFit) {
    const std::string path = mediaPath("car_432p_12fps.mp4");
    const std::vector<Sample> all = readTrack(path, 0);
    constexpr size_t kCapacity = 8000;
    size_t fitting = 0;
    for (const Sample& sample : all)
        fitting += sample.size <= kCapacity ? 1 : 0;
    ASSERT_LT(fitting, all.size());

    FaultLog log;
    sp<NuMediaExtractor> extractor = openClip(path);
    extractor->selectTrack(0);
    EXPECT_EQ(readAll(extractor, kCapacity).size(), fitting);
    const auto faults = log.faults();
    ASSERT_EQ(faults.size(), all.size() - fitting);
    EXPECT_EQ(faults.back().source, oxa::host::FaultSource::kReader);
    EXPECT_FALSE(faults.back().ended);
    EXPECT_EQ(faults.back().count, faults.size());
    EXPECT_EQ(faults.back().object, path);
}

// A rate that only the time base suggests would make a decoder repeat pictures without end.
TEST(ExtractorTest, TakesNoTimeBaseForAFrameRate) {
    oxa::test::ClipOptions options;
    options.audio = false;
    options.seconds = 2;
    options.videoFilter = "select='not(mod(n,7))+not(mod(n,5))'";
    options.outputArguments = {"-vsync", "vfr"};
    for (const char* extension : {"mp4", "mkv", "ts"}) {
        options.extension = extension;
        const std::string path = oxa::test::testClip(options);
        const size_t count = readTrack(path, 0).size();
        sp<AMessage> format;
        openClip(path)->getTrackFormat(0, &format);
        // Between the mean and the clock that the pictures were taken with.
        EXPECT_GE(int32Of(format, "frame-rate"), count / 2.0 - 1) << extension;
        EXPECT_LE(int32Of(format, "frame-rate"), 25) << extension;
    }
}

// In both clips only the parameter sets know the shape; one of them is opened the short way.
TEST(ExtractorTest, FindsShapeOfPointsAndRotation) {
    oxa::test::ClipOptions options;
    options.seconds = 0.4;
    options.videoFilter = "setsar=0";
    const std::string path = oxa::test::testClip(options);
    for (const char* movflags : {"0", "frag_keyframe+empty_moov"}) {
        const std::string turned = oxa::test::TempDir::ofProcess().file("turned.mp4");
        oxa::test::runOrDie({"ffmpeg", "-v", "error", "-y", "-i", path, "-c", "copy", "-bsf:v",
                             "h264_metadata=sample_aspect_ratio=32/27", "-metadata:s:v",
                             "rotate=90", "-movflags", movflags, turned});
        EXPECT_EQ(oxa::test::readFile(turned).find("pasp"), std::string::npos);
        const int clockwise = oxa::test::MediaProbe(turned).video()->rotation;
        EXPECT_THAT(clockwise, testing::AnyOf(90, 270));
        sp<AMessage> format;
        openClip(turned)->getTrackFormat(0, &format);
        EXPECT_EQ(describe(format),
                  "video/avc 320x240 25fps rot" + std::to_string(clockwise) + " sar32:27");
    }
}

TEST(ExtractorTest, ReadersOfOneDescriptorDoNotDisturbEachOther) {
    const std::string path = mediaPath("nasa_multistream.mp4");
    const int fd = open(path.c_str(), O_RDONLY);
    std::vector<std::vector<Sample>> found(4);
    std::vector<std::thread> threads;
    for (size_t track = 0; track < found.size(); ++track) {
        threads.emplace_back([&, track] {
            sp<NuMediaExtractor> extractor = newExtractor();
            EXPECT_EQ(extractor->setDataSource(fd, 0, INT64_MAX), OK);
            extractor->selectTrack(track);
            found[track] = readAll(extractor);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (size_t track = 0; track < found.size(); ++track) {
        EXPECT_EQ(found[track], readTrack(path, track)) << "track " << track;
    }
    EXPECT_EQ(close(fd), 0) << "the extractors have closed their own ones only";
}

TEST(ExtractorTest, ReadsAPipe) {
    const std::string path = mediaPath("bunny_480i_tff_mpeg2_mp2.ts");
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::thread writer([&] {
        const std::string bytes = oxa::test::readFile(path);
        for (size_t done = 0; done < bytes.size();) {
            const ssize_t count = write(ends[1], bytes.data() + done, bytes.size() - done);
            if (count <= 0) break;
            done += count;
        }
        close(ends[1]);
    });
    sp<NuMediaExtractor> extractor = newExtractor();
    ASSERT_EQ(extractor->setDataSource(new FileSource(ends[0], 0, 0)), OK);
    ASSERT_EQ(extractor->selectTrack(0), OK);
    EXPECT_EQ(readAll(extractor), readTrack(path, 0));
    EXPECT_EQ(extractor->seekTo(0), ERROR_UNSUPPORTED);
    writer.join();
}

// Two programmes one behind the other; the second one's clock is ahead by a minute and a half.
TEST(ExtractorTest, GoesOnWithSoundAndPictureTogetherWhenTheClockJumps) {
    const std::string first = mediaPath("bunny_480i_tff_mpeg2_mp2.ts");
    const std::string second = oxa::test::TempDir::ofProcess().file("second.ts");
    const std::string joined = oxa::test::TempDir::ofProcess().file("joined.ts");
    oxa::test::runOrDie({"ffmpeg", "-v", "error", "-y", "-i", first, "-c", "copy",
                         "-output_ts_offset", "90", second});
    oxa::test::writeFile(joined, oxa::test::readFile(first) + oxa::test::readFile(second));

    int64_t seamUs[2] = {};  // where the second part begins
    for (size_t track = 0; track < 2; ++track) {
        const std::vector<Sample> part = readTrack(first, track);
        const std::vector<Sample> all = readTrack(joined, track);
        ASSERT_EQ(all.size(), 2 * part.size());
        seamUs[track] = all[part.size()].timeUs;
        for (size_t i = 0; i < part.size(); ++i) {
            EXPECT_NEAR(all[part.size() + i].timeUs - seamUs[track],
                        part[i].timeUs - part[0].timeUs, 50);
            EXPECT_EQ(all[i], part[i]);
        }
        // One picture's or sound's duration, give or take what one track ends before the other.
        EXPECT_NEAR(seamUs[track] - part.back().timeUs, 30000, 50000) << "track " << track;
    }
    const int64_t distanceUs = readTrack(first, 0)[0].timeUs - readTrack(first, 1)[0].timeUs;
    EXPECT_NEAR(seamUs[0] - seamUs[1], distanceUs, 50);
}

// Fails from a place on, as a disk that goes bad.
class FailingSource : public FileSource {
  public:
    FailingSource(const std::string& path, off64_t goodBytes)
        : FileSource(path.c_str()), mGoodBytes(goodBytes) {}
    ssize_t readAt(off64_t offset, void* data, size_t size) override {
        if (offset >= mGoodBytes) return -EIO;
        return FileSource::readAt(offset, data, std::min<off64_t>(size, mGoodBytes - offset));
    }

  private:
    const off64_t mGoodBytes;
};

TEST(DamagedFileTest, AReadThatFailsIsTheEndAndIsTold) {
    for (const char* name :
         {"car_432p_12fps.mp4", "bunny_480i_tff_mpeg2_mp2.ts", "flower_540p_vp8_vorbis.webm"}) {
        SCOPED_TRACE(name);
        const std::string path = mediaPath(name);
        const size_t all = readTrack(path, 0).size();
        FaultLog log;
        sp<NuMediaExtractor> extractor = newExtractor();
        ASSERT_EQ(extractor->setDataSource(new FailingSource(path, oxa::test::fileSize(path) / 2)),
                  OK);
        extractor->selectTrack(0);
        const size_t count = readAll(extractor).size();
        EXPECT_GT(count, all / 5);
        EXPECT_LT(count, all * 4 / 5);
        EXPECT_EQ(extractor->advance(), ERROR_END_OF_STREAM);
        const auto faults = log.faults();
        ASSERT_GE(faults.size(), 1u);
        EXPECT_TRUE(faults[0].ended);
        EXPECT_EQ(faults[0].error, EIO);
        EXPECT_EQ(faults[0].cause, "Input/output error");
        EXPECT_EQ(faults[0].object, path);
        for (size_t i = 1; i < faults.size(); ++i)
            EXPECT_FALSE(faults[i].ended) << faults[i].cause;

        // From the first byte on there is nothing to open.
        EXPECT_EQ(newExtractor()->setDataSource(new FailingSource(path, 0)), ERROR_IO);
    }
}

TEST(DamagedFileTest, ATruncatedFileIsReadAsFarAsItGoesAndItIsSaid) {
    const std::string path = mediaPath("flower_540p_h264_aac.mp4");
    FaultLog log;
    const auto samples = readTrack(oxa::test::truncateClip(path, 0.6), 0);
    EXPECT_GT(samples.size(), 50u);
    EXPECT_LT(samples.size(), 120u);
    const auto faults = log.faults();
    ASSERT_GE(faults.size(), 1u);
    EXPECT_THAT(faults[0].cause, HasSubstr("ends early"));
    EXPECT_FALSE(faults[0].ended);

    // The index is at the end of this one.
    const std::string lost = oxa::test::truncateClip(mediaPath("nasa_multistream.mp4"), 0.6);
    EXPECT_EQ(newExtractor()->setDataSource(new FileSource(lost.c_str())), ERROR_UNSUPPORTED);
}

// Texts that name other files are recognised as playlists by some demuxers.
TEST(DamagedFileTest, AHostileTextOpensNothingElse) {
    const std::string clip = mediaPath("roar.mp3");
    const std::string path = oxa::test::TempDir::ofProcess().file("hostile");
    for (const std::string& text :
         {std::string(), std::string("x"),
          "#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXTINF:10,\n" + clip + "\n#EXT-X-ENDLIST\n",
          "ffconcat version 1.0\nfile '" + clip + "'\n",
          std::string("ffconcat version 1.0\nfile hostile\n"),
          std::string("v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\n"
                      "m=audio 5004 RTP/AVP 0\n")}) {
        oxa::test::writeFile(path, text);
        sp<NuMediaExtractor> extractor = newExtractor();
        const status_t err = extractor->setDataSource(new FileSource(path.c_str()));
        EXPECT_TRUE(err == ERROR_UNSUPPORTED || extractor->countTracks() == 0) << err << text;
    }
}

TEST(DamagedFileTest, GarbageIsRefused) {
    for (int64_t size : {100, 100000, 3000000}) {
        const std::string path = oxa::test::garbageFile(size);
        EXPECT_EQ(newExtractor()->setDataSource(new FileSource(path.c_str())), ERROR_UNSUPPORTED)
                << size;
    }
    EXPECT_EQ(newExtractor()->setDataSource(
                      new FileSource(oxa::test::TempDir::ofProcess().path().c_str())),
              ERROR_IO)
            << "a directory";
}

}  // namespace
}  // namespace android
