// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "base/Monotonic.h"
#include "live/FrameTimes.h"
#include "live/LiveReader.h"
#include "support/LiveSources.h"
#include "support/Test.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace oxa::test {
namespace {

using namespace android;

LiveOptions optionsFor(const std::string& source, LiveKind kind = LiveKind::kPicture) {
    LiveOptions options;
    options.source = source;
    options.kind = kind;
    return options;
}

std::unique_ptr<LiveReader> startReader(const LiveOptions& options) {
    std::string error;
    std::unique_ptr<LiveReader> reader = LiveReader::open(options, &error);
    EXPECT_NE(reader, nullptr) << error;
    if (reader != nullptr) reader->start();
    return reader;
}

// The content and the time of each picture.
struct Seen {
    int number;
    int64_t timeUs, arrivalUs;
};

std::vector<Seen> readPictures(LiveReader* reader, size_t count) {
    std::vector<Seen> seen;
    LiveBlock block;
    while (seen.size() < count && reader->read(&block) == LiveResult::kOk)
        seen.push_back({numberOf(*block.picture), block.timeUs, monotonicUs()});
    EXPECT_EQ(seen.size(), count);
    seen.resize(count);
    return seen;
}

// What a reader gets is decided by the source's clock, whenever it starts: else sound and picture
// of one source would be as far apart as their readers' starts.
TEST(LiveReader, joinsWhatAnotherReaderHasBegun) {
    const std::string source =
            "lavfi:" + numberedPictures(25) + "[out0];" + timedSound() + "[out1]";
    const auto pictures = startReader(optionsFor(source));
    const std::vector<Seen> seen = readPictures(pictures.get(), 8);
    const int64_t startUs = monotonicUs();
    const auto sound = startReader(optionsFor(source, LiveKind::kSound));
    const int64_t startedUs = monotonicUs();
    LiveBlock block;
    ASSERT_EQ(sound->read(&block), LiveResult::kOk);
    EXPECT_GE(block.timeUs, startUs - 1000) << "sound from before the start";
    EXPECT_LE(block.timeUs, startedUs + 1000) << "sound from behind the start is lost";
    EXPECT_NEAR(static_cast<double>(block.timeUs - seen[0].timeUs),
                static_cast<double>(timeOfSampleUs(block.samples[0])), 1000)
            << "the sound's time is not that of its content";
}

// A list that a stranger made must not decide what of this computer's files is recorded.
TEST(LiveReader, opensNothingThatAFileRefersTo) {
    const TempDir folder;
    ASSERT_TRUE(writeFile(folder.file("clip.mp4"), readFile(mediaPath("bunny_480p_hevc.mp4"))));
    EXPECT_NE(startReader(optionsFor(folder.file("clip.mp4"))), nullptr);
    const std::string list = folder.file("list.ffconcat");
    ASSERT_TRUE(writeFile(list, "ffconcat version 1.0\nfile 'clip.mp4'\n"));
    std::string error;
    EXPECT_EQ(LiveReader::open(optionsFor(list), &error), nullptr);
}

TEST(LiveReader, givesConvertedSoundTimesThatFollowEachOther) {
    LiveOptions options = optionsFor("lavfi:" + timedSound(44100), LiveKind::kSound);
    options.sampleRate = 48000;
    const auto reader = startReader(options);
    LiveBlock block;
    int64_t endUs = 0;
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(reader->read(&block), LiveResult::kOk);
        if (i > 0) {
            EXPECT_NEAR(static_cast<double>(block.timeUs - endUs), 0, 100) << i;
        }
        endUs = block.timeUs + static_cast<int64_t>(block.samples.size()) * 1000000 / 48000;
    }
}

// Uneven thinning would make a 25 Hz recording of a 60 Hz source stutter.
TEST(LiveReader, thinsPicturesEvenly) {
    for (const auto& [sourceRate, wantedRate, firstKept] :
         {std::tuple(60, 25, std::vector<int>{0, 3, 5, 7, 10, 12}),
          {50, 10, {0, 5, 10}},
          {25, 30, {0, 1, 2, 3, 4}}}) {
        LiveOptions options = optionsFor("lavfi:" + numberedPictures(sourceRate));
        options.frameRate = wantedRate;
        std::vector<int> kept;
        for (const Seen& seen : readPictures(startReader(options).get(), firstKept.size()))
            kept.push_back(seen.number);
        EXPECT_EQ(kept, firstKept) << sourceRate << " to " << wantedRate;
    }
}

TEST(LiveReader, givesAPictureForEachOfAnInterlacedSignal) {
    LiveOptions options = optionsFor("lavfi:" + numberedPictures(25));
    options.control = new LiveControl;
    LiveSignal signal;
    signal.interlaced = true;
    options.control->setSignal(signal);
    const std::vector<Seen> seen = readPictures(startReader(options).get(), 2);
    EXPECT_EQ(seen[1].number, seen[0].number) << "the upper field is the former picture's";
}

TEST(LiveReader, beginsAFileAgainInStep) {
    ClipOptions clip;
    clip.seconds = 0.4;
    LiveOptions options = optionsFor(testClip(clip));
    options.repeat = true;
    const std::vector<Seen> seen = readPictures(startReader(options).get(), 22);
    for (size_t i = 1; i < seen.size(); ++i)
        EXPECT_NEAR(static_cast<double>(seen[i].timeUs - seen[i - 1].timeUs), 40000, 25000) << i;
}

TEST(LiveReader, endsWithAGraphThatCannotBeginAgain) {
    LiveOptions options = optionsFor("lavfi:" + numberedPictures(50) + ",trim=end=0.1");
    options.repeat = true;
    const auto reader = startReader(options);
    readPictures(reader.get(), 5);
    LiveBlock block;
    EXPECT_EQ(reader->read(&block), LiveResult::kEnd);
}

TEST(LiveReader, givesPicturesWithoutTimesThoseOfTheirRate) {
    ClipOptions clip;
    clip.extension = "h264";
    clip.audio = false;
    for (const char* reader : {"", "lavfi:movie="}) {
        SCOPED_TRACE(reader);
        const std::vector<Seen> seen =
                readPictures(startReader(optionsFor(reader + testClip(clip))).get(), 10);
        for (size_t i = 1; i < seen.size(); ++i)
            EXPECT_EQ(seen[i].timeUs - seen[i - 1].timeUs, 40000) << i;
    }
}

TEST(FrameTimes, ofSoundWithoutTimesAreTheEndsOfTheFormer) {
    AVFrame frame = {};
    frame.sample_rate = 48000;
    frame.nb_samples = 480;
    FrameTimes times;
    EXPECT_EQ(times.next(frame, 5000, 0), 5000);
    EXPECT_EQ(times.next(frame, AV_NOPTS_VALUE, 0), 15000);
}

// After a stall the source is where it would be without; nothing is made up for.
TEST(LiveReader, goesOnWithThePresentAfterAStall) {
    LiveOptions options = optionsFor("lavfi:" + numberedPictures(50));
    options.control = new LiveControl;
    const auto reader = startReader(options);
    const std::vector<Seen> before = readPictures(reader.get(), 3);
    options.control->setStalled(true);
    std::vector<Seen> after;
    std::thread reading([&] { after = readPictures(reader.get(), 3); });
    const int64_t stallEndUs = monotonicUs() + 300000;
    EXPECT_TRUE(waitFor([&] { return monotonicUs() >= stallEndUs; }));
    options.control->setStalled(false);
    reading.join();
    EXPECT_GE(after[0].timeUs, stallEndUs) << "a picture from within the stall";
    for (const Seen& seen : after) {
        EXPECT_GE(seen.arrivalUs, seen.timeUs) << "a picture came before its time";
        EXPECT_EQ(before[0].timeUs + (seen.number - before[0].number) * 20000, seen.timeUs);
    }
}

// Who does not read for long finds the present, not an ever growing backlog; what is left out is
// counted.
TEST(LiveReader, leavesOutWhatIsLongPast) {
    const auto reader = startReader(optionsFor("lavfi:" + numberedPictures(50)));
    const std::vector<Seen> first = readPictures(reader.get(), 1);
    const int64_t pauseEndUs = monotonicUs() + 1300000;
    EXPECT_TRUE(waitFor([&] { return monotonicUs() >= pauseEndUs; }));
    EXPECT_EQ(reader->late(), 0u);
    const std::vector<Seen> after = readPictures(reader.get(), 2);
    EXPECT_GE(reader->late(), 10u);
    EXPECT_EQ(static_cast<uint64_t>(after[1].number - after[0].number - 1), reader->late());
    EXPECT_EQ(first[0].timeUs + after[1].number * 20000, after[1].timeUs);
    EXPECT_LT(after[1].timeUs, after[1].arrivalUs - 900000) << "what is not so late is given";
}

}  // namespace
}  // namespace oxa::test
