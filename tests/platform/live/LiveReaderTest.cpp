// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <utils/Timers.h>

#include <cerrno>
#include <cmath>
#include <thread>

#include "live/LiveReader.h"
#include "platform/live/LiveSources.h"
#include "support/Deadline.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace oxa::test {
namespace {

using namespace android;

// One channel becomes two with the same power in total.
const double kMonoToStereo = std::sqrt(2.0);

int64_t nowUs() {
    return systemTime(SYSTEM_TIME_MONOTONIC) / 1000;
}

LiveOptions optionsFor(const std::string& source, LiveKind kind = LiveKind::kPicture) {
    LiveOptions options;
    options.source = source;
    options.kind = kind;
    return options;
}

std::unique_ptr<LiveReader> openReader(const LiveOptions& options) {
    std::string error;
    std::unique_ptr<LiveReader> reader = LiveReader::open(options, &error);
    EXPECT_NE(nullptr, reader) << error;
    return reader;
}

// The content and the time of each picture.
struct Seen {
    int number;
    int64_t timeUs;
    int64_t arrivalUs;
};

std::vector<Seen> readPictures(LiveReader* reader, size_t count) {
    std::vector<Seen> seen;
    LiveBlock block;
    while (seen.size() < count && reader->read(&block) == LiveResult::kOk) {
        seen.push_back({numberOf(*block.picture), block.timeUs, nowUs()});
    }
    return seen;
}

// ---- Pace

// A graph computes as fast as it can: without pacing a recording would run ahead of its sound.
TEST(LiveReader, PacesPicturesByTheirTimes) {
    const auto reader = openReader(optionsFor("lavfi:" + numberedPictures(50)));
    EXPECT_EQ(64, reader->info().width);
    EXPECT_EQ(48, reader->info().height);
    EXPECT_DOUBLE_EQ(50, reader->info().frameRate);
    const int64_t startUs = nowUs();
    reader->start();
    const std::vector<Seen> seen = readPictures(reader.get(), 20);
    ASSERT_EQ(20u, seen.size());
    EXPECT_GE(seen[0].timeUs, startUs);
    for (size_t i = 0; i < seen.size(); ++i) {
        EXPECT_EQ(static_cast<int>(i), seen[i].number);
        EXPECT_EQ(seen[0].timeUs + static_cast<int64_t>(i) * 20000, seen[i].timeUs);
        EXPECT_GE(seen[i].arrivalUs, seen[i].timeUs) << "a picture came before its time";
    }
}

// What a reader gets is decided by the source's clock, whenever it starts: else sound and picture
// of one source would be as far apart as their readers' starts.
TEST(LiveReader, JoinsWhatAnotherReaderHasBegun) {
    const std::string source =
            "lavfi:" + numberedPictures(25) + "[out0];" + timedSound() + "[out1]";
    const auto pictures = openReader(optionsFor(source));
    const auto sound = openReader(optionsFor(source, LiveKind::kSound));
    pictures->start();
    const std::vector<Seen> seen = readPictures(pictures.get(), 8);
    ASSERT_EQ(8u, seen.size());
    const int64_t originUs = LiveClock::forSource(source)->start(0);
    EXPECT_EQ(originUs, seen[0].timeUs);

    const int64_t startUs = nowUs();
    sound->start();
    for (int i = 0; i < 5; ++i) {
        LiveBlock block;
        ASSERT_EQ(LiveResult::kOk, sound->read(&block));
        EXPECT_GE(block.timeUs, startUs - 1000) << "sound from before the start";
        EXPECT_NEAR(static_cast<double>(block.timeUs - originUs),
                    static_cast<double>(timeOfSampleUs(block.samples[0])), 1000)
                << "the sound's time is not that of its content";
    }

    const auto second = openReader(optionsFor(source));
    const int64_t secondStartUs = nowUs();
    second->start();
    for (const Seen& late : readPictures(second.get(), 3)) {
        EXPECT_GE(late.timeUs, secondStartUs);
        EXPECT_EQ(originUs + late.number * 40000, late.timeUs);
    }
}

// Picture and sound of one graph must not cost each other's work, nor fail for the other's lack.
TEST(LiveReader, RefusesWhatHasNothingOfTheKind) {
    const struct {
        std::string source;
        LiveKind kind;
        const char* part;
    } cases[] = {
            {"lavfi:sine", LiveKind::kPicture, "nothing of the kind"},
            {"lavfi:testsrc2", LiveKind::kSound, "nothing of the kind"},
            {"lavfi:nosuchfilter", LiveKind::kPicture, "cannot open 'nosuchfilter'"},
            {"lavfi:scale=10:10", LiveKind::kPicture, "cannot open"},
            {"/nowhere/at-all.mp4", LiveKind::kPicture, "No such file or directory"},
            {"v4l2:/nowhere/video7", LiveKind::kPicture, "No such file or directory"},
            {"alsa:hw:0", LiveKind::kPicture, "nothing of the kind"},
            {"v4l2:/dev/video0", LiveKind::kSound, "nothing of the kind"},
            {"lavfi:", LiveKind::kPicture, "nothing is named after 'lavfi:'"},
            {"", LiveKind::kSound, "no source is named"},
    };
    for (const auto& c : cases) {
        std::string error;
        EXPECT_EQ(nullptr, LiveReader::open(optionsFor(c.source, c.kind), &error)) << c.source;
        EXPECT_NE(std::string::npos, error.find(c.part)) << c.source << ": " << error;
    }
}

// A list that a stranger made must not decide what of this computer's files is recorded.
TEST(LiveReader, OpensNothingThatAFileRefersTo) {
    const TempDir folder;
    ASSERT_TRUE(writeFile(folder.file("clip.mp4"), readFile(mediaPath("bunny_480p_hevc.mp4"))));
    EXPECT_NE(nullptr, openReader(optionsFor(folder.file("clip.mp4"))));
    const std::string list = folder.file("list.ffconcat");
    ASSERT_TRUE(writeFile(list, "ffconcat version 1.0\nfile 'clip.mp4'\n"));
    std::string error;
    EXPECT_EQ(nullptr, LiveReader::open(optionsFor(list), &error));
}

// ---- Pictures

struct RateCase {
    int sourceRate;
    int wantedRate;
    std::vector<int> kept;  // the first pictures that are kept
};

class LiveReaderRate : public testing::TestWithParam<RateCase> {};

// Uneven thinning would make a 30 Hz recording of a 60 Hz source stutter.
TEST_P(LiveReaderRate, ThinsEvenly) {
    LiveOptions options = optionsFor("lavfi:" + numberedPictures(GetParam().sourceRate));
    options.frameRate = GetParam().wantedRate;
    const auto reader = openReader(options);
    reader->start();
    std::vector<int> kept;
    for (const Seen& seen : readPictures(reader.get(), GetParam().kept.size())) {
        kept.push_back(seen.number);
    }
    EXPECT_EQ(GetParam().kept, kept);
}

INSTANTIATE_TEST_SUITE_P(Rates, LiveReaderRate,
                         testing::Values(RateCase{60, 30, {0, 2, 4, 6, 8, 10, 12, 14, 16}},
                                         RateCase{60, 25, {0, 3, 5, 7, 10, 12}},
                                         RateCase{50, 10, {0, 5, 10, 15}},
                                         RateCase{25, 30, {0, 1, 2, 3, 4}},
                                         RateCase{30, 30, {0, 1, 2, 3, 4}}),
                         [](const auto& info) {
                             return std::to_string(info.param.sourceRate) + "To" +
                                    std::to_string(info.param.wantedRate);
                         });

// The signal may change under a camera that is set to one size.
TEST(LiveReader, KeepsTheWantedSizeWhenTheSignalChanges) {
    LiveOptions options = optionsFor("lavfi:" + numberedPictures(50, 128, 96));
    options.control = new LiveControl;
    options.width = 64;
    options.height = 48;
    const auto reader = openReader(options);
    reader->start();
    for (int i = 0; i < 6; ++i) {
        if (i == 3) options.control->setPictureSize(32, 24);
        LiveBlock block;
        ASSERT_EQ(LiveResult::kOk, reader->read(&block));
        EXPECT_EQ(64, block.picture->width());
        EXPECT_EQ(48, block.picture->height());
        EXPECT_EQ(64, block.format.width);
        EXPECT_NEAR(i, numberOf(*block.picture), 1);
    }
}

// ---- Sound

// Whoever records asks for one shape, whatever the source has; times must not drift with it.
TEST(LiveReader, ConvertsSoundAndKeepsItsTime) {
    LiveOptions options = optionsFor("lavfi:" + timedSound(32000), LiveKind::kSound);
    options.channels = 2;
    options.sampleRate = 48000;
    const auto reader = openReader(options);
    EXPECT_EQ(1, reader->info().channels);
    EXPECT_EQ(32000, reader->info().sampleRate);
    reader->start();
    const int64_t originUs = LiveClock::forSource(options.source)->start(0);
    int64_t frames = 0;
    LiveBlock block;
    while (frames < 24000) {
        ASSERT_EQ(LiveResult::kOk, reader->read(&block));
        ASSERT_EQ(2, block.channels);
        ASSERT_EQ(48000, block.sampleRate);
        EXPECT_GE(nowUs(), block.timeUs) << "sound came before it was made";
        EXPECT_NEAR(static_cast<double>(frames * 1000000 / 48000),
                    static_cast<double>(block.timeUs - originUs), 50)
                << "blocks must follow each other without a gap";
        frames += static_cast<int64_t>(block.samples.size()) / 2;
    }
    EXPECT_EQ(block.samples[0], block.samples[1]);
    EXPECT_NEAR(static_cast<double>(block.timeUs - originUs),
                static_cast<double>(timeOfSampleUs(block.samples[0])) * kMonoToStereo, 1000);
}

// ---- Ends

TEST(LiveReader, EndsAFileAfterItsLastPictureOrBeginsAgain) {
    ClipOptions clip;
    clip.seconds = 0.4;
    LiveOptions options = optionsFor(testClip(clip));
    {
        const auto reader = openReader(options);
        EXPECT_DOUBLE_EQ(25, reader->info().frameRate);
        reader->start();
        LiveBlock block;
        int pictures = 0;
        LiveResult result;
        while ((result = reader->read(&block)) == LiveResult::kOk)
            ++pictures;
        EXPECT_EQ(LiveResult::kEnd, result);
        EXPECT_EQ(10, pictures);
        EXPECT_EQ(LiveResult::kEnd, reader->read(&block));
    }
    options.repeat = true;
    const auto reader = openReader(options);
    reader->start();
    int64_t lastUs = 0;
    for (int i = 0; i < 22; ++i) {
        LiveBlock block;
        ASSERT_EQ(LiveResult::kOk, reader->read(&block));
        if (i > 0) {
            EXPECT_NEAR(40000, static_cast<double>(block.timeUs - lastUs), 25000) << i;
        }
        lastUs = block.timeUs;
    }
}

// After a stall the source is where it would be without; nothing is made up for.
TEST(LiveReader, GoesOnWithThePresentAfterAStall) {
    LiveOptions options = optionsFor("lavfi:" + numberedPictures(50));
    options.control = new LiveControl;
    const auto reader = openReader(options);
    reader->start();
    const std::vector<Seen> before = readPictures(reader.get(), 3);
    ASSERT_EQ(3u, before.size());
    options.control->setStalled(true);
    std::vector<Seen> after;
    std::thread reading([&] { after = readPictures(reader.get(), 3); });
    const int64_t stallEndUs = nowUs() + 300000;
    EXPECT_TRUE(waitFor([&] { return nowUs() >= stallEndUs; }));
    options.control->setStalled(false);
    reading.join();
    ASSERT_EQ(3u, after.size());
    EXPECT_GE(after[0].timeUs, stallEndUs) << "a picture from within the stall";
    for (const Seen& seen : after) {
        EXPECT_EQ(before[0].timeUs + (seen.number - before[0].number) * 20000, seen.timeUs);
    }
}

// Who does not read for long finds the present, not an ever growing backlog; what is left out is
// counted.
TEST(LiveReader, LeavesOutWhatIsLongPast) {
    const auto reader = openReader(optionsFor("lavfi:" + numberedPictures(50)));
    reader->start();
    const std::vector<Seen> first = readPictures(reader.get(), 1);
    ASSERT_EQ(1u, first.size());
    const int64_t pauseEndUs = nowUs() + 1300000;
    EXPECT_TRUE(waitFor([&] { return nowUs() >= pauseEndUs; }));
    EXPECT_EQ(0u, reader->late());
    const std::vector<Seen> after = readPictures(reader.get(), 2);
    ASSERT_EQ(2u, after.size());
    EXPECT_GE(reader->late(), 10u);
    EXPECT_EQ(static_cast<uint64_t>(after[1].number - after[0].number - 1), reader->late());
    EXPECT_EQ(first[0].timeUs + after[1].number * 20000, after[1].timeUs);
}

struct WaitCase {
    const char* name;
    void (*end)(LiveReader* reader, LiveControl* control);
    LiveResult result;
    int error;
    int64_t lastsUs;
};

class LiveReaderWait : public testing::TestWithParam<WaitCase> {};

TEST_P(LiveReaderWait, Ends) {
    LiveOptions options = optionsFor("lavfi:" + numberedPictures(50));
    options.control = new LiveControl;
    options.silenceLimitUs = 200000;
    const auto reader = openReader(options);
    reader->start();
    ASSERT_EQ(1u, readPictures(reader.get(), 1).size());
    LiveResult result = LiveResult::kOk;
    std::thread reading([&] {
        LiveBlock block;
        while ((result = reader->read(&block)) == LiveResult::kOk) {
        }
    });
    const int64_t eventUs = nowUs();
    GetParam().end(reader.get(), options.control.get());
    reading.join();
    EXPECT_EQ(GetParam().result, result);
    EXPECT_EQ(GetParam().error, reader->error());
    EXPECT_GE(nowUs() - eventUs, GetParam().lastsUs);
    LiveBlock block;
    EXPECT_EQ(result, reader->read(&block)) << "the result stays";
}

INSTANTIATE_TEST_SUITE_P(
        Events, LiveReaderWait,
        testing::Values(
                WaitCase{"Interrupted",
                         [](LiveReader* reader, LiveControl*) { reader->interrupt(); },
                         LiveResult::kInterrupted, 0, 0},
                WaitCase{"Lost", [](LiveReader*, LiveControl* control) { control->setLost(true); },
                         LiveResult::kLost, ENODEV, 0},
                WaitCase{"StalledTooLong",
                         [](LiveReader*, LiveControl* control) { control->setStalled(true); },
                         LiveResult::kLost, ETIMEDOUT, 200000}),
        [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace oxa::test
