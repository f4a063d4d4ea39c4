// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <media/stagefright/MPEG2TSWriter.h>
#include <media/stagefright/MPEG4Writer.h>
#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/foundation/MediaDefs.h>
#include <oxa/host/OutputWait.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/codec/FaultLog.h"
#include "platform/container/WriterSession.h"
#include "support/Deadline.h"
#include "support/MediaProbe.h"
#include "support/MediaReader.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace android {
namespace {

using namespace oxa::test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// 15 s without B-frames: what is decoded first is shown first.
const EncodedClip& carClip() {
    static const EncodedClip clip(mediaPath("car_432p_12fps.mp4"), 15000000);
    return clip;
}
constexpr int64_t kPictures = 188;
constexpr int64_t kSounds = 704;

constexpr size_t kVideo = 0;
constexpr size_t kAudio = 1;

std::vector<TrackSample> trackOf(const std::vector<TrackSample>& samples, size_t track) {
    std::vector<TrackSample> out;
    std::copy_if(samples.begin(), samples.end(), std::back_inserter(out),
                 [track](const TrackSample& sample) { return sample.track == track; });
    return out;
}

int openFile(const std::string& path) {
    return open(path.c_str(), O_CREAT | O_TRUNC | O_RDWR | O_CLOEXEC, 0644);
}

// The boxes of an MP4 file's first level.
std::vector<std::string> boxesOf(const std::string& path) {
    const std::string bytes = readFile(path);
    const auto number = [&](size_t position, int count) {
        uint64_t value = 0;
        for (int i = 0; i < count; ++i)
            value = value << 8 | uint8_t(bytes[position + i]);
        return value;
    };
    std::vector<std::string> boxes;
    for (size_t position = 0; position + 8 <= bytes.size();) {
        uint64_t size = number(position, 4);
        if (size == 1) size = number(position + 8, 8);
        boxes.push_back(bytes.substr(position + 4, 4));
        EXPECT_GE(size, 8u);
        EXPECT_LE(size, bytes.size() - position) << boxes.back() << " reaches beyond the end";
        if (size < 8) break;
        position += size;
    }
    return boxes;
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
            const auto& data = expected[i].data;
            ASSERT_EQ(actual[i].data, track == kVideo ? withoutParameterSets(data) : data)
                    << "sample " << i << " of track " << track;
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

std::string nameOf(const testing::TestParamInfo<Container>& info) {
    return info.param == Container::kMp4 ? "Mp4" : "Ts";
}

class WriterTest : public ::testing::TestWithParam<Container> {
  protected:
    // All of them from one thread, and nothing goes wrong.
    static void write(int fd, const std::vector<TrackSample>& samples = carClip().samples) {
        FaultLog log;
        WriterSession session(GetParam(), fd);
        session.start(carClip());
        EXPECT_FALSE(session->reachedEOS());
        ASSERT_TRUE(session.push(samples));
        EXPECT_EQ(session.stop(), OK);
        EXPECT_TRUE(session->reachedEOS());
        EXPECT_EQ(session.stop(), OK) << "again";
        EXPECT_TRUE(log.faults().empty()) << log.faults()[0].cause;
    }

    TempDir mDir;
    const std::string mPath = mDir.file("out");
};
INSTANTIATE_TEST_SUITE_P(Containers, WriterTest, testing::Values(Container::kMp4, Container::kTs),
                         nameOf);

// Would catch a sample that is lost, doubled, cut, written twice in one piece or noted at another
// place than it has, in every order in which one thread can push two tracks; a writer that lets a
// push wait for the other track stands still for ever.
TEST_P(WriterTest, WritesEverySampleWhateverTheOrder) {
    const std::vector<TrackSample>& inOrder = carClip().samples;
    std::vector<TrackSample> videoFirst = inOrder;
    std::vector<TrackSample> audioFirst = inOrder;
    const auto isVideo = [](const TrackSample& sample) { return sample.track == kVideo; };
    std::stable_partition(videoFirst.begin(), videoFirst.end(), isVideo);
    std::stable_partition(audioFirst.begin(), audioFirst.end(), std::not_fn(isVideo));
    for (const auto& samples : {videoFirst, audioFirst, inOrder}) {
        write(openFile(mPath), samples);
        expectSamples(mPath, inOrder);
        if (GetParam() == Container::kMp4) {
            EXPECT_THAT(boxesOf(mPath), ElementsAre("ftyp", "mdat", "moov"));
        } else {
            EXPECT_EQ(fileSize(mPath) % 188, 0);
        }
    }
    const MediaProbe probe(mPath);
    EXPECT_EQ(probe.video()->frameCount, kPictures);
    EXPECT_EQ(probe.video()->decodeErrors, 0);
    EXPECT_EQ(probe.audio()->decodeErrors, 0);
    EXPECT_NEAR(probe.video()->durationUs(), kPictures * 80000, 1000);
    EXPECT_TRUE(probe.video()->decodingTimesRise);
}

TEST_P(WriterTest, TracksFromSeveralThreads) {
    WriterSession session(GetParam(), openFile(mPath));
    session.start(carClip());
    std::vector<std::thread> threads;
    for (size_t track : {kVideo, kAudio}) {
        threads.emplace_back(
                [&, track] { EXPECT_TRUE(session.push(trackOf(carClip().samples, track))); });
    }
    for (std::thread& thread : threads)
        thread.join();
    session.stop();
    expectSamples(mPath, carClip().samples);
}

// The tracks keep their distance exactly, whichever starts later.
TEST_P(WriterTest, KeepsTheDistanceOfTracks) {
    for (size_t late : {kVideo, kAudio}) {
        std::vector<TrackSample> samples = carClip().samples;
        for (TrackSample& sample : samples) {
            if (sample.track == late) sample.timeUs += 1234567;
        }
        write(openFile(mPath), samples);
        expectSamples(mPath, samples);
    }
}

// An AAC encoder's first frame comes before the time 0 and is not to be heard. In MP4 the edit
// list says so, in a transport stream the frame is not there; the picture starts at 0 in both.
TEST_P(WriterTest, SoundBeforeTheTimeZeroDoesNotMoveThePicture) {
    std::vector<TrackSample> samples = carClip().samples;
    for (TrackSample& sample : samples) {
        if (sample.track == kAudio) sample.timeUs -= 21333;
    }
    write(openFile(mPath), samples);
    const MediaProbe probe(mPath);
    ASSERT_TRUE(probe.ok()) << probe.error();
    EXPECT_EQ(probe.video()->packetTimesUs.front(), 0);
    const bool mp4 = GetParam() == Container::kMp4;
    EXPECT_EQ(probe.audio()->packetCount, kSounds - (mp4 ? 0 : 1));
    EXPECT_NEAR(probe.audio()->packetTimesUs.front(), mp4 ? -21333 : 0, 12);
    const MediaReader reader(mPath);
    EXPECT_EQ(reader.format()->start_time, mp4 ? 0 : 1400000);
    // Heard: everything but the first frame.
    EXPECT_EQ(probe.audio()->frameCount, (kSounds - 1) * 1024);
}

TEST_P(WriterTest, LeavesOutWhatIsNoSample) {
    const auto video = trackOf(carClip().samples, kVideo);
    const auto audio = trackOf(carClip().samples, kAudio);
    WriterSession session(GetParam(), openFile(mPath));
    session.start(carClip());
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

TEST_P(WriterTest, ADestroyedWriterLeavesAFinishedFile) {
    {
        WriterSession session(GetParam(), openFile(mPath));
        session.start(carClip());
        ASSERT_TRUE(session.push(carClip().samples));
    }
    expectSamples(mPath, carClip().samples);
}

TEST_P(WriterTest, TracksWithoutSamplesAreLegal) {
    write(openFile(mPath), {});
    write(openFile(mPath), trackOf(carClip().samples, kAudio));
    EXPECT_EQ(readSamples(mPath).size(), size_t{kSounds});
}

TEST_P(WriterTest, RefusesTracksAndCallsThatMakeNoFile) {
    const auto format = [](const char* mime) {
        sp<MetaData> meta = new MetaData;
        if (mime != nullptr) meta->setCString(kKeyMIMEType, mime);
        return meta;
    };
    WriterSession session(GetParam(), openFile(mPath));
    EXPECT_EQ(session->start(), INVALID_OPERATION) << "no track";
    EXPECT_EQ(session->stop(), OK) << "not started";
    EXPECT_EQ(session.addTrack(format(nullptr)), ERROR_UNSUPPORTED);
    EXPECT_EQ(session.addTrack(format("audio/x-unknown")), ERROR_UNSUPPORTED);
    EXPECT_EQ(session.addTrack(format("video/avc")), ERROR_MALFORMED) << "no size";
    EXPECT_EQ(session.addTrack(format(MEDIA_MIMETYPE_VIDEO_HEVC)),
              GetParam() == Container::kMp4 ? status_t{ERROR_MALFORMED}
                                            : status_t{ERROR_UNSUPPORTED});
    session.start(carClip());
    EXPECT_EQ(session->start(), INVALID_OPERATION);
    EXPECT_EQ(session.addTrack(carClip().formats[0]), UNKNOWN_ERROR);
    EXPECT_EQ(session->pause(), ERROR_UNSUPPORTED);
    session.stop();
    EXPECT_EQ(session->start(), INVALID_OPERATION);
}

TEST_P(WriterTest, ADescriptorThatCannotBeWrittenToFailsTheStart) {
    ASSERT_TRUE(writeFile(mPath, "x"));
    for (int fd : {-1, open(mPath.c_str(), O_RDONLY)}) {
        FaultLog log;
        WriterSession session(GetParam(), fd);
        EXPECT_EQ(session.addTrack(carClip().formats[0]), OK);
        EXPECT_EQ(session->start(), UNKNOWN_ERROR);
        EXPECT_EQ(session.push(carClip().samples[0]), INVALID_OPERATION);
        EXPECT_EQ(session.stop(), OK);
        ASSERT_EQ(log.faults().size(), 1u);
        EXPECT_EQ(log.faults()[0].error, EBADF);
    }
    EXPECT_EQ(readFile(mPath), "x");
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

class Pipe {
  public:
    Pipe() { EXPECT_EQ(pipe2(mEnds, O_CLOEXEC), 0); }
    ~Pipe() {
        closeReader();
        for (int fd : {mEnds[0], mEnds[1]}) {
            if (fd >= 0) close(fd);
        }
        if (mReader.joinable()) mReader.join();
    }

    int reader() const { return mEnds[0]; }
    int takeWriter() { return std::exchange(mEnds[1], -1); }
    void closeReader() {
        if (!mReader.joinable() && mEnds[0] >= 0) close(std::exchange(mEnds[0], -1));
    }
    // Collects everything in a file until the last writer is gone.
    void collect(const std::string& path) {
        mReader = std::thread([this, path] {
            std::string bytes;
            char part[5000];
            ssize_t count;
            while ((count = read(mEnds[0], part, sizeof(part))) > 0)
                bytes.append(part, count);
            writeFile(path, bytes);
        });
    }
    void join() { mReader.join(); }

  private:
    int mEnds[2] = {-1, -1};
    std::thread mReader;
};

// Where nothing that was written can be changed any more.
TEST_P(WriterTest, APipeAndADescriptorThatAppendsGetAPlayableStream) {
    Pipe pipe;
    pipe.collect(mPath);
    write(pipe.takeWriter());
    pipe.join();
    expectSamples(mPath, carClip().samples);

    ASSERT_TRUE(writeFile(mPath, ""));
    write(open(mPath.c_str(), O_RDWR | O_APPEND));
    expectSamples(mPath, carClip().samples);
    if (GetParam() == Container::kMp4) {
        EXPECT_THAT(boxesOf(mPath), Not(Contains("free"))) << "room that is never used";
    }
}

TEST_P(WriterTest, AnOutputThatFailsIsToldOnceAndSamplesAreTakenOn) {
    signal(SIGPIPE, SIG_IGN);
    Pipe pipe;
    const struct {
        int fd;
        const char* object;
        int error;
    } kOutputs[] = {{pipe.takeWriter(), "fd ", EPIPE},
                    {open("/dev/full", O_RDWR), "/dev/full", ENOSPC}};
    for (const auto& output : kOutputs) {
        FaultLog log;
        WriterSession session(GetParam(), output.fd);
        session.start(carClip());
        pipe.closeReader();
        EXPECT_TRUE(session.push(carClip().samples));
        EXPECT_EQ(session.stop(), OK);
        expectOneFault(log, output.object, output.error);
    }
}

// A reader that has stopped reading but holds the other end, for pipes and sockets.
class StalledReaderTest : public WriterTest {
  protected:
    void SetUp() override {
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, mSocket), 0);
        mWriteEnd = fcntl(mPipe.takeWriter(), F_DUPFD_CLOEXEC, 0);
    }
    void TearDown() override {
        for (int fd : {mSocket[0], mSocket[1], mWriteEnd})
            close(fd);
    }

    // Pushes until the writer stands still.
    void startAndStall(WriterSession* session, int fd) {
        session->start(carClip());
        mPushed = 0;
        mPusher = std::thread([this, session] {
            for (const TrackSample& sample : carClip().samples) {
                if (session->push(sample) != OK) break;
                ++mPushed;
            }
        });
        EXPECT_TRUE(waitFor([fd] {
            pollfd descriptor = {fd, POLLOUT, 0};
            return poll(&descriptor, 1, 0) == 0;
        }));
    }

    Pipe mPipe;
    int mWriteEnd = -1;
    int mSocket[2] = {-1, -1};
    std::thread mPusher;
    std::atomic<size_t> mPushed{0};
};
INSTANTIATE_TEST_SUITE_P(Containers, StalledReaderTest,
                         testing::Values(Container::kMp4, Container::kTs), nameOf);

TEST_P(StalledReaderTest, DoesNotHoldAStop) {
    for (int fd : {mWriteEnd, mSocket[0]}) {
        FaultLog log;
        WriterSession session(GetParam(), dup(fd));
        startAndStall(&session, fd);
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(session->stop(), OK);
        // One second, and whatever a busy machine needs.
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
        mPusher.join();
        expectOneFault(log, "fd ", ETIMEDOUT);
    }
}

TEST_P(StalledReaderTest, HoldsPushesOnlyAsLongAsTheHostAllows) {
    FaultLog log;
    WriterSession session(GetParam(), dup(mWriteEnd));
    startAndStall(&session, mWriteEnd);
    EXPECT_TRUE(log.faults().empty()) << "a slow reader is no fault";
    EXPECT_LT(mPushed, carClip().samples.size());
    oxa::host::setOutputWaitLimit(0);
    mPusher.join();
    oxa::host::setOutputWaitLimit(-1);
    EXPECT_EQ(mPushed, carClip().samples.size());
    EXPECT_EQ(session.stop(), OK);
    expectOneFault(log, "fd ", ETIMEDOUT);
}

TEST(Mp4WriterTest, WritesRotationAndPlace) {
    TempDir dir;
    const std::string path = dir.file("out.mp4");
    for (int degrees : {90, 180, 270}) {
        sp<MPEG4Writer> writer = new MPEG4Writer(openFile(path));
        WriterSession session((sp<MediaWriter>(writer)));
        EXPECT_EQ(writer->setGeoData(900001, 0), BAD_VALUE);
        EXPECT_EQ(writer->setGeoData(0, -1800001), BAD_VALUE);
        EXPECT_EQ(writer->setGeoData(-337550, 1512100), OK);
        EXPECT_EQ(writer->setInterleaveDuration(200000), OK);
        sp<MetaData> params = new MetaData;
        params->setInt32(kKeyRotation, degrees);
        session.start(carClip(), params.get());
        EXPECT_EQ(writer->setGeoData(0, 0), INVALID_OPERATION);
        EXPECT_EQ(writer->setInterleaveDuration(1), INVALID_OPERATION);
        ASSERT_EQ(session.push(carClip().samples[0]), OK);
        session.stop();
        EXPECT_EQ(MediaProbe(path).video()->rotation, degrees);
        const MediaReader reader(path);
        const AVDictionaryEntry* place =
                av_dict_get(reader.format()->metadata, "location", nullptr, 0);
        ASSERT_NE(place, nullptr);
        EXPECT_THAT(place->value, HasSubstr("-33.7550+151.2100"));
    }
}

TEST(TsWriterTest, WritesThroughAFunction) {
    struct Sink {
        std::string bytes;
        static ssize_t write(void* cookie, const void* data, size_t size) {
            // Short writes are gone on with.
            size = std::min<size_t>(size, 1000);
            static_cast<Sink*>(cookie)->bytes.append(static_cast<const char*>(data), size);
            return static_cast<ssize_t>(size);
        }
        static ssize_t fail(void* /*cookie*/, const void* /*data*/, size_t /*size*/) {
            return -ENOSPC;
        }
    } sink;
    WriterSession session(sp<MediaWriter>(new MPEG2TSWriter(&sink, Sink::write)));
    session.start(carClip());
    ASSERT_TRUE(session.push(carClip().samples));
    session.stop();
    TempDir dir;
    writeFile(dir.file("out.ts"), sink.bytes);
    expectSamples(dir.file("out.ts"), carClip().samples);

    FaultLog log;
    WriterSession failing(sp<MediaWriter>(new MPEG2TSWriter(nullptr, Sink::fail)));
    failing.start(carClip());
    EXPECT_TRUE(failing.push(carClip().samples));
    EXPECT_EQ(failing.stop(), OK);
    expectOneFault(log, "function", ENOSPC);
}

// A decoder that joins in the middle needs the parameter sets, which the encoder gives once only.
TEST(TsWriterTest, ParameterSetsAreInFrontOfEverySyncFrame) {
    TempDir dir;
    const std::string path = dir.file("out.ts");
    WriterSession session(Container::kTs, openFile(path));
    session.start(carClip());
    ASSERT_TRUE(session.push(carClip().samples));
    session.stop();
    const auto video = trackOf(carClip().samples, kVideo);
    const auto syncFrames = std::count_if(video.begin(), video.end(),
                                          [](const TrackSample& sample) { return sample.sync; });
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
