// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <media/stagefright/MPEG2TSWriter.h>
#include <media/stagefright/MPEG4Writer.h>
#include <media/stagefright/MediaAdapter.h>
#include <media/stagefright/foundation/MediaDefs.h>
#include <oxa/host/OutputEnd.h>
#include <oxa/host/OutputFiles.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "media/AvcStream.h"
#include "media/Esds.h"
#include "media/HevcStream.h"
#include "support/FaultLog.h"
#include "support/MediaProbe.h"
#include "support/MediaReader.h"
#include "support/Test.h"

extern "C" {
#include <libavutil/intreadwrite.h>
}

namespace android {
namespace {

using namespace oxa::test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr size_t kVideo = 0;
constexpr size_t kAudio = 1;

// One sample on its way into a writer, or found in what it wrote.
struct TrackSample {
    size_t track;
    int64_t timeUs;
    bool sync;
    std::vector<uint8_t> data;
    bool isConfig = false;
};

// H.264 with start codes, and without parameter sets and delimiters.
std::vector<uint8_t> normalForm(std::vector<uint8_t> data, bool hasLengths) {
    constexpr int kDelimiter = 9;
    // A start code takes the place of a length.
    for (size_t at = 0; hasLengths && at + 4 <= data.size();) {
        const size_t length = AV_RB32(&data[at]);
        AV_WB32(&data[at], 1);
        at += 4 + length;
    }
    std::vector<uint8_t> out;
    for (const NalUnit& unit : splitAnnexB(data.data(), data.size())) {
        if (unit.type() == kDelimiter || unit.type() == kNalTypeSequenceParameters ||
            unit.type() == kNalTypePictureParameters) {
            continue;
        }
        out.insert(out.end(), {0, 0, 0, 1});
        out.insert(out.end(), unit.data, unit.data + unit.size);
    }
    return out;
}

// What is in a file, with times of its own (not relative to the file's start).
std::vector<TrackSample> readSamples(const std::string& path, int64_t endUs = INT64_MAX) {
    std::vector<TrackSample> samples;
    MediaReader reader(path);
    EXPECT_TRUE(reader.ok()) << reader.error();
    reader.readPackets([&](const AVPacket& packet) {
        const bool isTs = strcmp(reader.format()->iformat->name, "mpegts") == 0;
        const AVStream& stream = *reader.format()->streams[packet.stream_index];
        const int adtsHeader = isTs && stream.codecpar->codec_id == AV_CODEC_ID_AAC ? 7 : 0;
        ASSERT_GT(packet.size, adtsHeader);
        const int64_t timeUs = av_rescale_q(packet.pts, stream.time_base, av_get_time_base_q());
        if (timeUs >= endUs) return;
        std::vector<uint8_t> data(packet.data + adtsHeader, packet.data + packet.size);
        if (stream.codecpar->codec_id == AV_CODEC_ID_H264) data = normalForm(data, !isTs);
        samples.push_back({static_cast<size_t>(packet.stream_index), timeUs,
                           (packet.flags & AV_PKT_FLAG_KEY) != 0, data});
    });
    return samples;
}

// The first 15 s of a clip without B-frames: what is decoded first is shown first.
const std::vector<TrackSample>& carSamples() {
    static const auto samples = readSamples(mediaPath("car_432p_12fps.mp4"), 15000000);
    return samples;
}

// Its tracks as an encoder would describe them.
std::vector<sp<MetaData>> carFormats() {
    const MediaReader reader(mediaPath("car_432p_12fps.mp4"));
    const AVCodecParameters& picture = *reader.format()->streams[kVideo]->codecpar;
    const AVCodecParameters& sound = *reader.format()->streams[kAudio]->codecpar;
    sp<MetaData> video = new MetaData;
    video->setCString(kKeyMIMEType, MEDIA_MIMETYPE_VIDEO_AVC);
    video->setInt32(kKeyWidth, picture.width);
    video->setInt32(kKeyHeight, picture.height);
    video->setData(kKeyAVCC, kTypeAVCC, picture.extradata, picture.extradata_size);
    sp<MetaData> audio = new MetaData;
    audio->setCString(kKeyMIMEType, MEDIA_MIMETYPE_AUDIO_AAC);
    audio->setInt32(kKeyChannelCount, sound.ch_layout.nb_channels);
    audio->setInt32(kKeySampleRate, sound.sample_rate);
    const auto esds = makeEsds(sound.extradata, sound.extradata_size);
    audio->setData(kKeyESDS, kTypeESDS, esds.data(), esds.size());
    return {video, audio};
}

std::vector<TrackSample> trackOf(const std::vector<TrackSample>& samples, size_t track) {
    std::vector<TrackSample> out;
    std::copy_if(samples.begin(), samples.end(), std::back_inserter(out),
                 [track](const TrackSample& sample) { return sample.track == track; });
    return out;
}

// The clip's samples, all of this track in front of all others.
std::vector<TrackSample> trackByTrack(size_t first) {
    std::vector<TrackSample> samples = carSamples();
    std::stable_partition(samples.begin(), samples.end(),
                          [first](const TrackSample& sample) { return sample.track == first; });
    return samples;
}

// The file has the same samples, and all times moved by one and the same amount: none in MP4.
void expectSamples(const std::string& path, const std::vector<TrackSample>& pushed) {
    const std::vector<TrackSample> found = readSamples(path);
    int64_t least = INT64_MAX;
    int64_t most = INT64_MIN;
    for (size_t track : {kVideo, kAudio}) {
        const auto expected = trackOf(pushed, track);
        const auto actual = trackOf(found, track);
        ASSERT_EQ(actual.size(), expected.size()) << "track " << track;
        for (size_t i = 0; i < actual.size(); ++i) {
            ASSERT_EQ(actual[i].data, expected[i].data) << "sample " << i << " of track " << track;
            ASSERT_EQ(actual[i].sync, expected[i].sync) << i;
            least = std::min(least, actual[i].timeUs - expected[i].timeUs);
            most = std::max(most, actual[i].timeUs - expected[i].timeUs);
        }
    }
    constexpr int64_t kTicksUs = 23;  // one of 90 kHz, and one of 48 kHz
    EXPECT_LE(most - least, kTicksUs);
    if (readFile(path).substr(4, 4) == "ftyp") {
        EXPECT_NEAR(least, 0, kTicksUs);
    }
}

enum class Container { kMp4, kTs };

// Takes `fd` over: it is closed as soon as the writer is made.
sp<MediaWriter> makeWriter(Container container, int fd) {
    const bool mp4 = container == Container::kMp4;
    const sp<MediaWriter> writer =
            mp4 ? static_cast<MediaWriter*>(new MPEG4Writer(fd)) : new MPEG2TSWriter(fd);
    if (fd >= 0) close(fd);
    return writer;
}

int openFile(const std::string& path) {
    return open(path.c_str(), O_CREAT | O_TRUNC | O_RDWR | O_CLOEXEC, 0644);
}

// A writer with one adapter for each track, as a muxer uses it.
class WriterSession {
  public:
    explicit WriterSession(const sp<MediaWriter>& writer) : mWriter(writer) {}

    MediaWriter* operator->() const { return mWriter.get(); }

    status_t addTrack(const sp<MetaData>& format) {
        sp<MediaAdapter> adapter = new MediaAdapter(format);
        const status_t err = mWriter->addSource(adapter);
        if (err == OK) mAdapters.push_back(adapter);
        return err;
    }
    // Adds all tracks and starts; both must work.
    void start(const std::vector<sp<MetaData>>& formats = carFormats(),
               MetaData* params = nullptr) {
        for (const sp<MetaData>& format : formats)
            ASSERT_EQ(addTrack(format), OK);
        ASSERT_EQ(mWriter->start(params), OK);
    }
    status_t push(const TrackSample& sample) {
        std::vector<uint8_t> data = sample.data;
        auto* buffer = new MediaBuffer(data.data(), data.size());
        buffer->add_ref();
        buffer->meta_data().setInt64(kKeyTime, sample.timeUs);
        buffer->meta_data().setInt64(kKeyDecodingTime, sample.timeUs);
        if (sample.isConfig) buffer->meta_data().setInt32(kKeyIsCodecConfig, 1);
        if (sample.sync) buffer->meta_data().setInt32(kKeyIsSyncFrame, 1);
        const status_t err = mAdapters[sample.track]->pushBuffer(buffer);
        // The memory is free again: a writer that still looked at it would write this.
        std::fill(data.begin(), data.end(), 0xEE);
        if (err != OK) {
            // Nobody has taken the reference over.
            buffer->setObserver(mAdapters[sample.track].get());
            buffer->release();
        }
        return err;
    }
    // Pushes all; true if every answer was OK.
    bool push(const std::vector<TrackSample>& samples) {
        return std::all_of(samples.begin(), samples.end(),
                           [this](const TrackSample& sample) { return push(sample) == OK; });
    }
    // As a muxer stops: the adapters first.
    status_t stop() {
        for (const sp<MediaAdapter>& adapter : mAdapters)
            adapter->stop();
        return mWriter->stop();
    }

  private:
    const sp<MediaWriter> mWriter;
    std::vector<sp<MediaAdapter>> mAdapters;
};

// All of them from one thread, and nothing goes wrong.
void write(Container container, int fd, const std::vector<TrackSample>& samples = carSamples(),
           const std::vector<sp<MetaData>>& formats = carFormats()) {
    FaultLog log;
    WriterSession session(makeWriter(container, fd));
    session.start(formats);
    EXPECT_FALSE(session->reachedEOS());
    ASSERT_TRUE(session.push(samples));
    EXPECT_EQ(session.stop(), OK);
    EXPECT_TRUE(session->reachedEOS());
    EXPECT_EQ(session.stop(), OK) << "again";
    EXPECT_TRUE(log.faults().empty()) << log.faults()[0].cause;
}

class WriterTest : public ::testing::TestWithParam<Container> {
  protected:
    // The next file of a recording; the test closes it.
    int nextFile() {
        mNextPaths.push_back(mPath + std::to_string(mNextPaths.size()));
        mNextFiles.push_back(openFile(mNextPaths.back()));
        return mNextFiles.back();
    }

    TempDir mDir;
    const std::string mPath = mDir.file("out");
    std::vector<std::string> mNextPaths;
    std::vector<int> mNextFiles;
};
INSTANTIATE_TEST_SUITE_P(Containers, WriterTest, testing::Values(Container::kMp4, Container::kTs),
                         [](const auto& info) {
                             return info.param == Container::kMp4 ? "Mp4" : "Ts";
                         });

// A player that reads the file once must find picture and sound of a time together.
constexpr int64_t kMostLeadUs = 400000;

// Would catch a sample that is lost, doubled, cut, written twice in one piece or noted at another
// place than it has, in every order in which one thread can push two tracks; a writer that lets a
// push wait for the other track stands still for ever.
TEST_P(WriterTest, WritesEverySampleWhateverTheOrder) {
    const std::vector<TrackSample>& inOrder = carSamples();
    for (const auto& samples : {trackByTrack(kVideo), trackByTrack(kAudio), inOrder}) {
        write(GetParam(), openFile(mPath), samples);
        expectSamples(mPath, inOrder);
        EXPECT_LE(largestLeadUs(mPath), kMostLeadUs);
        if (GetParam() == Container::kMp4) {
            EXPECT_THAT(boxesOf(mPath), ElementsAre("ftyp", "mdat", "moov"));
        } else {
            EXPECT_EQ(fileSize(mPath) % 188, 0);
        }
    }
    EXPECT_EQ(MediaProbe(mPath).video()->frameCount, 188);
    write(GetParam(), openFile(mPath), {});
    write(GetParam(), openFile(mPath), trackOf(inOrder, kAudio));
    EXPECT_EQ(readSamples(mPath).size(), 704u) << "a track without samples is legal";
    {
        WriterSession destroyed(makeWriter(GetParam(), openFile(mPath)));
        destroyed.start();
        ASSERT_TRUE(destroyed.push(inOrder));
    }
    expectSamples(mPath, inOrder);
}

// Where a recording of the clip goes over to its next file, and the end.
std::vector<int64_t> beginsOfFiles(int64_t lengthUs) {
    std::vector<int64_t> begins = {0};
    int64_t dueUs = lengthUs;
    for (const TrackSample& sample : trackOf(carSamples(), kVideo)) {
        if (!sample.sync || sample.timeUs < dueUs) continue;
        begins.push_back(sample.timeUs);
        while (dueUs <= sample.timeUs)
            dueUs += lengthUs;
    }
    begins.push_back(INT64_MAX);
    return begins;
}

std::vector<TrackSample> between(int64_t beginUs, int64_t endUs) {
    std::vector<TrackSample> out;
    for (TrackSample sample : carSamples()) {
        if (sample.timeUs < beginUs || sample.timeUs >= endUs) continue;
        sample.timeUs -= beginUs;
        out.push_back(sample);
    }
    return out;
}

// Would catch a sample that is lost or doubled between two files, a file that does not begin at 0
// or without what its pictures need, and one that is forgotten.
TEST_P(WriterTest, FilesOfOneRecordingHoldEverySampleOnce) {
    constexpr int64_t kLengthUs = 3'000'000;
    const std::vector<int64_t> begins = beginsOfFiles(kLengthUs);
    ASSERT_GT(begins.size(), 4U);
    std::atomic<size_t> finished{0};
    std::atomic<size_t> pictures{0};
    const auto count = [&](const auto& figures) {
        ++finished;
        pictures += figures.pictures;
    };
    oxa::host::setOutputFiles({kLengthUs, [this] { return nextFile(); }, count});
    write(GetParam(), openFile(mPath));
    oxa::host::setOutputFiles({});
    EXPECT_EQ(finished, begins.size() - 1);
    EXPECT_EQ(pictures, trackOf(carSamples(), kVideo).size());
    ASSERT_EQ(mNextPaths.size(), begins.size() - 2);
    expectSamples(mPath, between(begins[0], begins[1]));
    for (size_t i = 0; i < mNextPaths.size(); ++i) {
        SCOPED_TRACE(mNextPaths[i]);
        expectSamples(mNextPaths[i], between(begins[i + 1], begins[i + 2]));
        EXPECT_EQ(close(mNextFiles[i]), 0) << "taken from its owner";
    }
}

// As long as there is no next file, and when the next one cannot be written.
// A track that goes on behind the end must neither be in the file nor hold the other.
TEST_P(WriterTest, EndsAtTheLengthThatItMayHave) {
    constexpr int64_t kLengthUs = 5'015'000;
    constexpr int64_t kEarlyUs = 20'000;  // the picture at 5 s counts as one behind the end
    oxa::host::setOutputLength({{kLengthUs, kEarlyUs}});
    write(GetParam(), openFile(mPath), trackByTrack(kVideo));
    oxa::host::setOutputLength(std::nullopt);
    std::vector<TrackSample> expected;
    for (const TrackSample& sample : carSamples()) {
        const int64_t earlyUs = sample.track == kVideo ? kEarlyUs : 0;
        if (sample.timeUs < kLengthUs - earlyUs) expected.push_back(sample);
    }
    expectSamples(mPath, expected);
    if (GetParam() == Container::kTs) return;
    EXPECT_EQ(MediaProbe(mPath).video()->endUs, kLengthUs);
}

TEST_P(WriterTest, GoesOnInAFileThatHasNoNextOneAndEndsAtOneThatFails) {
    int asked = 0;
    const auto none = [&asked] {
        ++asked;
        return -1;
    };
    oxa::host::setOutputFiles({2'000'000, none, nullptr});
    write(GetParam(), openFile(mPath));
    EXPECT_GT(asked, 2);
    expectSamples(mPath, carSamples());

    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    oxa::host::setOutputFiles({4'000'000, [&] { return full; }, nullptr});
    FaultLog log;
    WriterSession session(makeWriter(GetParam(), openFile(mPath)));
    session.start();
    EXPECT_TRUE(session.push(carSamples()));
    EXPECT_EQ(session.stop(), OK);
    oxa::host::setOutputFiles({});
    close(full);
    ASSERT_EQ(log.faults().size(), 1U);
    EXPECT_EQ(log.faults()[0].error, ENOSPC);
    expectSamples(mPath, between(0, beginsOfFiles(4'000'000)[1]));
}

// What a file has that is wanted from one sample on until another one, with a second before.
std::vector<TrackSample> replayOf(size_t on, size_t off) {
    // In the order in which a writer has them.
    std::vector<TrackSample> samples = carSamples();
    std::stable_sort(samples.begin(), samples.end(),
                     [](const auto& a, const auto& b) { return a.timeUs < b.timeUs; });
    int64_t beginUs = 0;
    for (const TrackSample& sample : trackOf(samples, kVideo)) {
        if (sample.sync && sample.timeUs <= samples[on].timeUs - 1'000'000) beginUs = sample.timeUs;
    }
    return between(beginUs, samples[off].timeUs);
}

// Would catch a replay that lacks a sample or has stale ones, a file that goes on when it is not
// wanted any more, one for something that there is no file for, and a first output that is used.
TEST_P(WriterTest, BeginsAFileWithWhatItKeptWhenOneIsWanted) {
    const struct { size_t on, off; } kWanted[] = {{20, 60}, {300, 500}, {505, 640}, {700, 720}};
    std::atomic<size_t> finished{0};
    size_t sample = 0;
    int asked = 0;
    const auto next = [&] { return ++asked < 4 ? nextFile() : -1; };
    const auto isWanted = [&] {
        const size_t at = sample++;
        const auto wants = [at](const auto& each) { return each.on <= at && at < each.off; };
        return std::any_of(std::begin(kWanted), std::end(kWanted), wants);
    };
    oxa::host::setOutputFiles({0, next, [&](const auto&) { ++finished; }, isWanted, 1'000'000});
    write(GetParam(), openFile(mPath));
    oxa::host::setOutputFiles({});
    EXPECT_EQ(sample, carSamples().size());
    EXPECT_EQ(fileSize(mPath), 0);
    EXPECT_EQ(finished, 3U);
    ASSERT_EQ(asked, 4) << "asked more than once for a file that cannot be had";
    for (size_t i = 0; i < 3; ++i) {
        SCOPED_TRACE(mNextPaths[i]);
        expectSamples(mNextPaths[i], replayOf(kWanted[i].on, kWanted[i].off));
        close(mNextFiles[i]);
    }
}

TEST_P(WriterTest, LeavesOutWhatIsNoSample) {
    const auto video = trackOf(carSamples(), kVideo);
    const auto audio = trackOf(carSamples(), kAudio);
    WriterSession session(makeWriter(GetParam(), openFile(mPath)));
    session.start();
    TrackSample early = video[1];
    early.timeUs = 0;
    ASSERT_FALSE(early.sync);
    EXPECT_EQ(session.push(early), OK) << "cannot be decoded without what came before it";
    EXPECT_EQ(session.push({kVideo, 0, true, {}}), OK);
    EXPECT_EQ(session.push({kAudio, 0, false, {}}), OK);
    for (size_t i = 0; i < 20; ++i) {
        TrackSample sample = video[i];
        // A clock that stands still or steps back.
        if (i >= 10 && i < 13) sample.timeUs = video[9].timeUs - (i == 12 ? 5000 : 0);
        ASSERT_EQ(session.push(sample), OK);
        ASSERT_EQ(session.push(audio[i]), OK);
    }
    session.stop();
    const MediaProbe probe(mPath);
    ASSERT_TRUE(probe.ok()) << probe.error();
    EXPECT_EQ(probe.video()->frameCount, 20);
    EXPECT_EQ(probe.audio()->packetCount, 20);
    EXPECT_TRUE(probe.video()->decodingTimesRise);
    const auto& times = probe.video()->packetTimesUs;
    for (size_t i = 10; i < 13; ++i)
        EXPECT_NEAR(times[i] - times[i - 1], 11, 2) << i;
    EXPECT_NEAR(times[13] - times[9], 4 * 80000, 2);
}

// Encoders come to their tracks in any order; the file must not show it.
TEST_P(WriterTest, TheOrderOfTracksIsThatOfTheirKinds) {
    std::vector<std::string> files;
    for (const bool soundFirst : {false, true}) {
        auto formats = carFormats();
        std::vector<TrackSample> samples = carSamples();
        if (soundFirst) {
            std::swap(formats[0], formats[1]);
            for (TrackSample& sample : samples)
                sample.track = 1 - sample.track;
        }
        write(GetParam(), openFile(mPath), samples, formats);
        files.push_back(readFile(mPath));
    }
    EXPECT_TRUE(files[0] == files[1]);
}

// What decoders need that comes with the samples only, in buffers of its own or, of pictures, in
// the first one. Without it a track cannot be written.
TEST_P(WriterTest, ConfigurationsMayComeWithTheSamples) {
    const auto formats = carFormats();
    const MediaReader reader(mediaPath("car_432p_12fps.mp4"));
    const AVCodecParameters& picture = *reader.format()->streams[kVideo]->codecpar;
    const AVCodecParameters& sound = *reader.format()->streams[kAudio]->codecpar;
    const auto sets = annexBFromAvcConfiguration(picture.extradata, picture.extradata_size);
    formats[kVideo]->remove(kKeyAVCC);
    for (const bool ownBuffer : {false, true}) {
        if (ownBuffer) formats[kAudio]->remove(kKeyESDS);
        WriterSession session(makeWriter(GetParam(), openFile(mPath)));
        session.start(formats);
        std::vector<TrackSample> samples = carSamples();
        const auto first =
                std::find_if(samples.begin(), samples.end(),
                             [](const TrackSample& sample) { return sample.track == kVideo; });
        if (ownBuffer) {
            samples.insert(first, {kVideo, first->timeUs, false, sets, true});
            const bool isMarked = GetParam() == Container::kMp4;
            samples.insert(samples.begin(),
                           {kAudio,
                            0,
                            false,
                            {sound.extradata, sound.extradata + sound.extradata_size},
                            isMarked});
        } else {
            first->data.insert(first->data.begin(), sets.begin(), sets.end());
        }
        ASSERT_TRUE(session.push(samples));
        session.stop();
        expectSamples(mPath, carSamples());
        EXPECT_EQ(MediaProbe(mPath).video()->decodeErrors, 0);
        EXPECT_EQ(MediaProbe(mPath).audio()->decodeErrors, 0);
    }
    FaultLog log;
    WriterSession session(makeWriter(GetParam(), openFile(mPath)));
    session.start(formats);
    ASSERT_TRUE(session.push(carSamples()));
    session.stop();
    EXPECT_EQ(log.faults().size(), 1u);
}

TEST_P(WriterTest, RefusesTracksAndCallsThatMakeNoFile) {
    const bool mp4 = GetParam() == Container::kMp4;
    const sp<MetaData> format = new MetaData;
    WriterSession session(makeWriter(GetParam(), openFile(mPath)));
    EXPECT_EQ(session->stop(), OK) << "not started";
    const auto trackless = makeWriter(GetParam(), openFile(mPath));
    EXPECT_EQ(trackless->start(), mp4 ? INVALID_OPERATION : OK);
    EXPECT_EQ(trackless->stop(), OK);
    if (!mp4) {
        EXPECT_EQ(fileSize(mPath), 0);
    }
    EXPECT_EQ(session->pause(), mp4 ? status_t{ERROR_UNSUPPORTED} : OK);
    EXPECT_EQ(session.addTrack(format), ERROR_UNSUPPORTED);
    format->setCString(kKeyMIMEType, "video/avc");
    EXPECT_EQ(session.addTrack(format), ERROR_MALFORMED) << "no size";
    format->setCString(kKeyMIMEType, "audio/mp4a-latm");
    format->setInt32(kKeySampleRate, 48000);
    format->setInt32(kKeyChannelCount, 0);
    EXPECT_EQ(session.addTrack(format), ERROR_MALFORMED) << "no channels";
    EXPECT_EQ(session.addTrack(carFormats()[0]), OK);
    EXPECT_EQ(session->reachedEOS(), !mp4) << "not started";
    EXPECT_EQ(session->start(), OK);
    EXPECT_EQ(session->start(), mp4 ? OK : INVALID_OPERATION);
    EXPECT_EQ(session.addTrack(carFormats()[0]), UNKNOWN_ERROR);
    session.stop();
    EXPECT_EQ(session->start(), INVALID_OPERATION);
}

// What a television's writer takes is written, or refused before there is a file.
TEST(Mp4WriterTest, WritesWhatElseItAccepts) {
    const std::vector<uint8_t> kSample = {0x3C, 0x91, 0x17, 0x16, 0xBE, 0x66, 0x79, 0xE1};
    for (const auto& [mime, codec, channels, sampleRate, isConfiguredLate] :
         {std::tuple(MEDIA_MIMETYPE_VIDEO_H263, AV_CODEC_ID_H263, 0, 0, false),
          {MEDIA_MIMETYPE_VIDEO_MPEG4, AV_CODEC_ID_MPEG4, 0, 0, false},
          {MEDIA_MIMETYPE_VIDEO_HEVC, AV_CODEC_ID_HEVC, 0, 0, false},
          {MEDIA_MIMETYPE_VIDEO_MPEG4, AV_CODEC_ID_MPEG4, 0, 0, true},
          {MEDIA_MIMETYPE_VIDEO_HEVC, AV_CODEC_ID_HEVC, 0, 0, true},
          {MEDIA_MIMETYPE_AUDIO_AMR_NB, AV_CODEC_ID_AMR_NB, 1, 8000, false},
          {MEDIA_MIMETYPE_AUDIO_AMR_WB, AV_CODEC_ID_AMR_WB, 1, 16000, false}}) {
        SCOPED_TRACE(mime);
        TempDir dir;
        const std::string path = dir.file("out.mp4");
        sp<MetaData> format = new MetaData;
        format->setCString(kKeyMIMEType, mime);
        format->setInt32(kKeyWidth, 176);
        format->setInt32(kKeyHeight, 144);
        format->setInt32(kKeyChannelCount, channels);
        format->setInt32(kKeySampleRate, sampleRate);
        const auto esds = makeEsds(kSample.data(), kSample.size());
        const MediaReader hevc(mediaPath("bunny_480p_hevc.mp4"));
        const AVCodecParameters& record = *hevc.format()->streams[0]->codecpar;
        if (!isConfiguredLate) {
            format->setData(kKeyESDS, kTypeESDS, esds.data(), esds.size());
            format->setData(kKeyHVCC, kTypeHVCC, record.extradata, record.extradata_size);
        }
        FaultLog log;
        WriterSession session(makeWriter(Container::kMp4, openFile(path)));
        ASSERT_EQ(session.addTrack(format), OK);
        ASSERT_EQ(session->start(), OK);
        std::vector<uint8_t> configuration = kSample;
        std::vector<uint8_t> data = kSample;
        std::vector<uint8_t> stored = kSample;
        if (codec == AV_CODEC_ID_HEVC) {
            configuration = annexBFromHevcConfiguration(record.extradata, record.extradata_size);
            data.insert(data.begin(), {0, 0, 0, 1});
            stored.insert(stored.begin(), {0, 0, 0, 8});
        }
        if (isConfiguredLate) {
            ASSERT_EQ(session.push({0, 0, false, configuration, true}), OK);
        }
        for (int64_t i = 0; i < 50; ++i)
            ASSERT_EQ(session.push({0, i * 20000, true, data}), OK);
        EXPECT_EQ(session.stop(), OK);
        EXPECT_TRUE(log.faults().empty()) << log.faults()[0].cause;
        MediaReader file(path);
        ASSERT_TRUE(file.ok()) << file.error();
        EXPECT_EQ(file.format()->streams[0]->codecpar->codec_id, codec);
        int count = 0;
        file.readPackets([&](const AVPacket& packet) {
            EXPECT_EQ(std::vector<uint8_t>(packet.data, packet.data + packet.size), stored);
            ++count;
        });
        EXPECT_EQ(count, 50);
        WriterSession mixed(makeWriter(Container::kMp4, openFile(path)));
        const char* other =
                codec == AV_CODEC_ID_HEVC ? MEDIA_MIMETYPE_AUDIO_AMR_NB : MEDIA_MIMETYPE_VIDEO_HEVC;
        ASSERT_EQ(mixed.addTrack(format), OK);
        format->setCString(kKeyMIMEType, other);
        format->setInt32(kKeyChannelCount, 1);
        format->setInt32(kKeySampleRate, 8000);
        EXPECT_EQ(mixed.addTrack(format),
                  codec == AV_CODEC_ID_MPEG4 ? OK : status_t{ERROR_UNSUPPORTED});
    }
}

// However short the time: a piece is all in memory until it is written.
TEST(Mp4WriterTest, WritesAPieceWhenItHasGrownLarge) {
    const TempDir dir;
    const std::string path = dir.file("out.mp4");
    std::vector<uint8_t> picture = {0, 0, 0, 1, 0x65};
    picture.resize(3 << 20, 0x55);
    std::vector<TrackSample> samples;
    for (int64_t i = 0; i < 6; ++i)
        samples.push_back({kVideo, i * 10000, true, picture});
    const int fd = open(path.c_str(), O_CREAT | O_RDWR | O_APPEND, 0644);
    write(Container::kMp4, fd, samples, {carFormats()[kVideo]});
    const std::vector<std::string> boxes = boxesOf(path);
    EXPECT_EQ(std::count(boxes.begin(), boxes.end(), "moof"), 2);
}

TEST(Mp4WriterTest, TakesTheTimeScaleOfTheMovie) {
    for (const auto& [asked, expected] : {std::pair(0, 10000), {600, 600}}) {
        TempDir dir;
        const std::string path = dir.file("out.mp4");
        const sp<MediaWriter> writer = makeWriter(Container::kMp4, openFile(path));
        const sp<MetaData> params = new MetaData;
        params->setInt32(kKeyTimeScale, asked);
        WriterSession session(writer);
        session.start(carFormats(), params.get());
        EXPECT_EQ(static_cast<MPEG4Writer*>(writer.get())->getTimeScale(), expected);
        ASSERT_TRUE(session.push(carSamples()));
        session.stop();
        const std::string file = readFile(path);
        EXPECT_EQ(AV_RB32(&file[file.rfind("mvhd") + 16]), static_cast<uint32_t>(expected));
    }
}

TEST_P(WriterTest, ADescriptorThatCannotBeWrittenToFailsTheStart) {
    ASSERT_TRUE(writeFile(mPath, "x"));
    for (int fd : {-1, open(mPath.c_str(), O_RDONLY)}) {
        FaultLog log;
        WriterSession session(makeWriter(GetParam(), fd));
        EXPECT_EQ(session.addTrack(carFormats()[0]), OK);
        EXPECT_EQ(session->start(), UNKNOWN_ERROR);
        EXPECT_EQ(session.stop(), OK);
        ASSERT_EQ(log.faults().size(), 1u);
        EXPECT_EQ(log.faults()[0].error, EBADF);
    }
    EXPECT_EQ(readFile(mPath), "x");
}

// Where nothing that was written can be changed any more.
TEST_P(WriterTest, APipeAndADescriptorThatAppendsGetAPlayableStream) {
    FILE* const reader = popen(("cat >" + mPath).c_str(), "w");
    write(GetParam(), dup(fileno(reader)));
    ASSERT_EQ(pclose(reader), 0);
    expectSamples(mPath, carSamples());

    ASSERT_TRUE(writeFile(mPath, ""));
    write(GetParam(), open(mPath.c_str(), O_RDWR | O_APPEND));
    expectSamples(mPath, carSamples());
    if (GetParam() == Container::kMp4) {
        EXPECT_THAT(boxesOf(mPath), Not(Contains("free"))) << "room that is never used";
    }
}

// What is said of an output that fails: one fault, and pushes that go on being answered OK.
void expectOneFault(const FaultLog& log, const std::string& object, int error) {
    const auto faults = log.faults();
    ASSERT_EQ(faults.size(), 1u);
    EXPECT_EQ(faults[0].source, oxa::host::FaultSource::kWriter);
    EXPECT_TRUE(faults[0].ended);
    EXPECT_EQ(faults[0].error, error);
    EXPECT_EQ(faults[0].cause,
              error == ETIMEDOUT ? "the reader does not read on" : strerror(error));
    EXPECT_THAT(faults[0].object, HasSubstr(object));
}

// A reader that has stopped reading but holds the other end, of a pipe and of a socket.
TEST_P(WriterTest, AStalledReaderDoesNotHoldAStop) {
    int ends[2][2];
    ASSERT_EQ(pipe2(ends[0], O_CLOEXEC), 0);
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends[1]), 0);
    for (const auto& [reader, fd] : ends) {
        FaultLog log;
        WriterSession session(makeWriter(GetParam(), dup(fd)));
        session.start();
        std::thread pusher([&session] { session.push(carSamples()); });
        pollfd descriptor = {fd, POLLOUT, 0};
        EXPECT_TRUE(waitFor([&descriptor] { return poll(&descriptor, 1, 0) == 0; }));
        EXPECT_TRUE(log.faults().empty()) << "a slow reader is no fault";
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(session->stop(), OK);
        // One second, and whatever a busy machine needs.
        const auto waited = std::chrono::steady_clock::now() - begin;
        EXPECT_GE(waited, std::chrono::milliseconds(900)) << "it might have read on";
        EXPECT_LT(waited, std::chrono::seconds(9));
        pusher.join();
        expectOneFault(log, "fd ", ETIMEDOUT);
        close(reader);
        close(fd);
    }
}

TEST(TsWriterTest, WritesThroughAFunction) {
    struct Sink {
        const size_t room;
        std::string bytes;
        static ssize_t write(void* cookie, const void* data, size_t size) {
            auto* sink = static_cast<Sink*>(cookie);
            if (sink->bytes.size() >= sink->room) return -ENOSPC;
            size = std::min<size_t>(size, 1000);  // short writes are gone on with
            sink->bytes.append(static_cast<const char*>(data), size);
            return static_cast<ssize_t>(size);
        }
    } sinks[] = {{SIZE_MAX, ""}, {100000, ""}};
    FaultLog log;
    for (Sink& sink : sinks) {
        EXPECT_TRUE(log.faults().empty());
        WriterSession session(sp<MediaWriter>(new MPEG2TSWriter(&sink, Sink::write)));
        session.start();
        EXPECT_TRUE(session.push(carSamples()));
        EXPECT_EQ(session.stop(), OK);
    }
    expectOneFault(log, "function", ENOSPC);
    TempDir dir;
    writeFile(dir.file("out.ts"), sinks[0].bytes);
    expectSamples(dir.file("out.ts"), carSamples());
}

// A decoder that joins in the middle needs the parameter sets, which the encoder gives once only.
TEST(TsWriterTest, ParameterSetsAreInFrontOfEverySyncFrame) {
    TempDir dir;
    const std::string path = dir.file("out.ts");
    write(Container::kTs, openFile(path));
    const auto syncFrames = std::count_if(
            carSamples().begin(), carSamples().end(),
            [](const TrackSample& sample) { return sample.track == kVideo && sample.sync; });
    ASSERT_GT(syncFrames, 1);
    MediaReader reader(path);
    int64_t withSets = 0;
    reader.readPackets([&](const AVPacket& packet) {
        if (packet.stream_index != 0 || (packet.flags & AV_PKT_FLAG_KEY) == 0) return;
        const std::string bytes(reinterpret_cast<const char*>(packet.data), packet.size);
        const size_t sequence = bytes.find(std::string("\0\0\1\x67", 4));
        const size_t slice = bytes.find(std::string("\0\0\1\x65", 4));
        if (sequence != std::string::npos && sequence < slice) ++withSets;
    });
    EXPECT_EQ(withSets, syncFrames);
}

}  // namespace
}  // namespace android
