// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// Samples that are copied as they are: into other containers, in parts, and one file behind the
// other.

#include "cli/PlayerProgram.h"
#include "support/MediaProbe.h"
#include "support/Pictures.h"
#include "support/SampleList.h"
#include "support/SyncMeasure.h"

namespace oxa::test {
namespace {

using testing::HasSubstr;

constexpr int64_t kExactUs = 1000;
constexpr int64_t kNoTime = INT64_MIN;

ClipOptions reordered(const std::string& extension) {
    ClipOptions clip;
    clip.extension = extension;
    clip.seconds = 6;
    clip.videoArguments = {"-bf", "3", "-g", "60", "-sc_threshold", "0"};
    return clip;
}

int64_t firstTimeUs(const std::vector<StoredSample>& pictures) {
    return std::min_element(pictures.begin(), pictures.end(),
                            [](const auto& a, const auto& b) { return a.timeUs < b.timeUs; })
            ->timeUs;
}

void expectSameSamples(const std::vector<StoredSample>& source, int64_t sourceUs,
                       const std::vector<StoredSample>& copy, int64_t copyUs) {
    ASSERT_EQ(copy.size(), source.size());
    for (size_t i = 0; i < copy.size(); ++i) {
        ASSERT_EQ(copy[i].data == source[i].data, true) << "sample " << i;
        ASSERT_EQ(copy[i].isSync, source[i].isSync) << "sample " << i;
        ASSERT_NEAR(copy[i].timeUs - copyUs, source[i].timeUs - sourceUs, kExactUs) << i;
        ASSERT_GE(copy[i].timeUs, copy[i].decodingTimeUs) << i;
        ASSERT_GT(copy[i].decodingTimeUs, i > 0 ? copy[i - 1].decodingTimeUs : INT64_MIN) << i;
        // Matroska has none.
        if (source[i].decodingTimeUs == kNoTime) continue;
        ASSERT_NEAR(copy[i].decodingTimeUs - copyUs, source[i].decodingTimeUs - sourceUs, kExactUs)
                << i;
    }
}

class RemuxCliTest : public testing::Test {
  protected:
    using Words = std::vector<std::string>;

    ProcessResult remux(const std::string& input, const std::string& output,
                        const Words& more = {}) const {
        return runPlayer(joined({"remux", input, "-o", output}, more));
    }

    TempDir mFolder;
    const std::string mMp4 = mFolder.file("out.mp4");
    const std::string mTs = mFolder.file("out.ts");
};

class RemuxEveryClipTest : public RemuxCliTest, public testing::WithParamInterface<const char*> {};

TEST_P(RemuxEveryClipTest, keepsItsSamplesAndTheirTimes) {
    const std::string name = GetParam();
    const std::string source =
            name.front() == '.' ? testClip(reordered(name.substr(1))) : mediaPath(name);
    const auto pictures = pictureSamples(source);
    const auto sound = soundSamples(source);
    ASSERT_FALSE(pictures.empty() || sound.empty());
    for (const std::string& output : {mMp4, mTs}) {
        SCOPED_TRACE(output);
        const ProcessResult result = remux(source, output, {"--quiet"});
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.err, "");
        const auto copied = pictureSamples(output);
        const int64_t sourceUs = firstTimeUs(pictures);
        const int64_t copyUs = firstTimeUs(copied);
        expectSameSamples(pictures, sourceUs, copied, copyUs);
        expectSameSamples(sound, sourceUs, soundSamples(output), copyUs);
    }
    EXPECT_EQ(MediaProbe(mMp4).video()->rotation, MediaProbe(source).video()->rotation);
}

INSTANTIATE_TEST_SUITE_P(Clips, RemuxEveryClipTest,
                         testing::Values("bunny_360p_aac51.ts", "bunny_rotated90_aac51.mp4",
                                         "car_432p_12fps.mp4", "flower_540p_h264_aac.mp4",
                                         "friday_480p_audio_first.mp4",
                                         "friday_audio_starts_1200ms.mp4",
                                         "friday_video_starts_1s.mp4", "nasa_multistream.mp4",
                                         ".mkv", ".mp4", ".ts", ".flv"));

// Key frames every 60 pictures; the flashes in the part are those of 4.5 and 5.5 s.
TEST_F(RemuxCliTest, partBeginsAtTheKeyFrameBeforeAndAnMp4HidesWhatIsEarly) {
    for (const char* extension : {"mp4", "ts", "mkv"}) {
        SCOPED_TRACE(extension);
        const std::string source = flashBeepClip(reordered(extension));
        const auto all = pictureSamples(source);
        const auto pictures = decodePictures(source);
        const auto first = std::find_if(pictures.begin(), pictures.end(),
                                        [](const auto& each) { return each.timeUs >= 4'010'000; });
        for (const std::string& output : {mMp4, mTs}) {
            SCOPED_TRACE(output);
            ASSERT_EQ(
                    remux(source, output, {"--start", "4.01", "--end", "5.8", "--force"}).exitCode,
                    0);
            const auto stored = pictureSamples(output);
            for (size_t i = 0; i < stored.size(); ++i)
                ASSERT_TRUE(stored[i].data == all[60 + i].data) << i;
            const auto begin = output == mMp4 ? first : pictures.begin() + 60;
            const auto shown = decodePictures(output);
            ASSERT_FALSE(shown.empty());
            // Those that others refer to may be shown behind the end, but nothing is missing.
            EXPECT_NEAR(shown.size(), (5'800'000 - begin->timeUs) / 40'000, 4);
            EXPECT_NEAR(shown.back().timeUs - shown.front().timeUs, (shown.size() - 1) * 40'000,
                        kExactUs);
            const SyncMeasure sync = measureSync(output);
            const SyncMeasure whole = measureSync(source);
            ASSERT_EQ(sync.offsetsMs.size(), output == mMp4 ? 2u : 4u);
            EXPECT_NEAR(sync.largestMs(), whole.largestMs(), 5);
            EXPECT_NEAR(sync.flashesMs.back() - shown.front().timeUs / 1e3,
                        whole.flashesMs[5] - begin->timeUs / 1e3, 1);
        }
    }
}

TEST_F(RemuxCliTest, tracksAreChosenByNumberAndLanguage) {
    const std::string source = mFolder.file("tracks.mkv");
    const std::string one = testClip();
    runOrDie(
            ffmpeg({"-i", one, "-i", sineClip({880}, 0.3, {}), "-map", "0", "-map", "1:a", "-c",
                    "copy", "-metadata:s:a:1", "language=deu", "-metadata", "title=Film", source}));
    for (const std::string track : {"deu", "2"}) {
        ASSERT_EQ(remux(source, mMp4, {"--audio-track", track, "--force"}).exitCode, 0);
        const auto sound = soundSamples(mMp4);
        EXPECT_EQ(sound.at(20).data == soundSamples(one).at(20).data, false);
    }
    const auto tags = runOrDie({"ffprobe", "-v", "error", "-show_entries",
                                "format_tags=title:stream_tags=language", mMp4})
                              .out;
    EXPECT_THAT(tags, testing::AllOf(HasSubstr("title=Film"), HasSubstr("language=deu")));
}

TEST_F(RemuxCliTest, standardOutputIsATransportStreamAndAFullDiskAnOutputError) {
    const std::string source = mediaPath("car_432p_12fps.mp4");
    const ProcessResult piped = remux(source, "-", {"--json"});
    ASSERT_EQ(piped.exitCode, 0) << piped.err;
    EXPECT_NEAR(eventsOf(piped.err).back()["duration_s"].get<double>(), 30.2, 0.5);
    ASSERT_TRUE(writeFile(mTs, piped.out));
    EXPECT_EQ(pictureSamples(mTs).size(), pictureSamples(source).size());
    const ProcessResult full =
            player({"remux", source, "-o", mMp4}).setFileSizeLimit(200'000).run();
    EXPECT_EQ(full.exitCode, 4);
    EXPECT_THAT(full.err, HasSubstr("File too large"));
    EXPECT_THAT(namesIn(mFolder.path()), testing::ElementsAre("out.ts"));
}

TEST_F(RemuxCliTest, indexCanComeFirst) {
    const std::string source = mediaPath("car_432p_12fps.mp4");
    const std::string last = mFolder.file("last.mp4");
    for (const Words& command : {Words{"remux"}, Words{"transcode", "--preset", "ultrafast"}}) {
        SCOPED_TRACE(command.front());
        for (const std::string& output : {mMp4, last}) {
            const Words index = output == last ? Words{} : Words{"--faststart"};
            ASSERT_EQ(runPlayer(joined(joined(command, {source, "-o", output, "--force"}), index))
                              .exitCode,
                      0);
        }
        EXPECT_EQ(boxesOf(last).back(), "moov");
        const auto boxes = boxesOf(mMp4);
        ASSERT_GE(boxes.size(), 3u);
        EXPECT_EQ(boxes[0], "ftyp");
        EXPECT_EQ(boxes[1], "moov");
        EXPECT_EQ(boxes.back(), "mdat");
        EXPECT_EQ(fileSize(mMp4), fileSize(last));
        expectSameSamples(pictureSamples(last), 0, pictureSamples(mMp4), 0);
        expectSameSamples(soundSamples(last), 0, soundSamples(mMp4), 0);
        const ProcessResult stream = runPlayer(joined(command, {source, "-o", mTs, "--faststart"}));
        EXPECT_EQ(stream.exitCode, 2) << stream.err;
        EXPECT_THAT(stream.err, HasSubstr("only MP4 has an index"));
    }
    EXPECT_THAT(namesIn(mFolder.path()), testing::UnorderedElementsAre("out.mp4", "last.mp4"));
}

// ---- Join ---------------------------------------------------------------------------------------

class JoinCliTest : public RemuxCliTest {
  protected:
    ProcessResult join(const Words& parts, const std::string& output, const Words& more = {}) {
        return runPlayer(joined(joined({"join", "-o", output, "--quiet"}, parts), more));
    }

    // A transcode of each `lengthMs` of the source.
    Words transcodedParts(const std::string& source, int count, int lengthMs) {
        Words parts;
        for (int i = 0; i < count; ++i) {
            parts.push_back(mFolder.file("part" + std::to_string(i) + ".mp4"));
            runPlayer({"transcode", source, "-o", parts.back(), "--preset", "ultrafast", "--start",
                       std::to_string(i * lengthMs / 1e3), "--duration",
                       std::to_string(lengthMs / 1e3)});
        }
        return parts;
    }
};

TEST_F(JoinCliTest, remuxedPartsAreTheWholeAgain) {
    for (const std::string extension : {".mp4", ".ts"}) {
        SCOPED_TRACE(extension);
        const std::string source = testClip(reordered(extension.substr(1)));
        const auto pictures = pictureSamples(source);
        Words parts;
        for (size_t key : {0, 60, 120}) {
            // Key frames, on the clock of the file, which begins with its first sample.
            const int64_t zeroUs = std::min(soundSamples(source)[0].timeUs, pictures[0].timeUs);
            const auto timeOf = [&](size_t index) {
                return std::to_string((pictures[index].timeUs - std::max<int64_t>(zeroUs, 0)) /
                                      1e6);
            };
            parts.push_back(mFolder.file(std::to_string(key) + extension));
            Words times = key > 0 ? Words{"--start", timeOf(key)} : Words{};
            if (key < 120) times = joined(times, {"--end", timeOf(key + 60)});
            ASSERT_EQ(remux(source, parts.back(), joined(times, {"--force"})).exitCode, 0);
        }
        for (const std::string& output : {mMp4, mTs}) {
            const ProcessResult result = join(parts, output, {"--force"});
            ASSERT_EQ(result.exitCode, 0) << result.err;
            const auto copied = pictureSamples(output);
            expectSameSamples(pictures, firstTimeUs(pictures), copied, firstTimeUs(copied));
            expectSameSamples(soundSamples(source), firstTimeUs(pictures), soundSamples(output),
                              firstTimeUs(copied));
        }
    }
}

// Each part has the priming of its encoder, and none has a whole number of frames of sound.
TEST_F(JoinCliTest, soundOfManyPartsStaysWithTheirPictures) {
    ClipOptions clip;
    clip.seconds = 6;
    const std::string source = flashBeepClip(clip);
    const Words parts = transcodedParts(source, 12, 500);
    ASSERT_EQ(join(parts, mMp4).exitCode, 0);
    const SyncMeasure whole = measureSync(source);
    const SyncMeasure sync = measureSync(mMp4);
    ASSERT_EQ(sync.offsetsMs.size(), whole.offsetsMs.size());
    for (size_t i = 0; i < sync.offsetsMs.size(); ++i) {
        EXPECT_NEAR(sync.flashesMs[i], whole.flashesMs[i], 1);
        EXPECT_NEAR(sync.offsetsMs[i], whole.offsetsMs[i], 1024 / 48.0);
    }
    EXPECT_EQ(pictureSamples(mMp4).size(), 150u);
    const auto sound = soundSamples(mMp4);
    EXPECT_NEAR(sound.size(), 6 * 48000 / 1024.0 + 1, 2);
    for (size_t i = 1; i < sound.size(); ++i)
        ASSERT_NEAR(sound[i].timeUs - sound[i - 1].timeUs, 1024 / 0.048, 25) << i;
}

TEST_F(JoinCliTest, soundCanComeFromAnotherFile) {
    const Words parts = transcodedParts(testClip(), 3, 1000);
    const std::string other = sineClip({880}, 0.3, {});
    const ProcessResult result = join(parts, mMp4, {"--sound", other, "--faststart"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(boxesOf(mMp4)[1], "moov");
    EXPECT_EQ(pictureSamples(mMp4).size(), 75u);
    expectSameSamples(soundSamples(other), 0, soundSamples(mMp4), 0);
}

// The sound of the first part goes on for two seconds behind its last picture.
TEST_F(JoinCliTest, soundThatIsLongerThanItsPicturesGivesWay) {
    ClipOptions clip;
    clip.seconds = 2;
    clip.audioSeconds = 4;
    const std::string longSound = testClip(clip);
    ASSERT_EQ(join({longSound, longSound}, mMp4).exitCode, 0);
    EXPECT_NEAR(MediaProbe(mMp4).video()->durationUs(), 4'000'000, kExactUs);
    EXPECT_NEAR(MediaProbe(mMp4).audio()->durationUs(), 6'000'000, 45'000);
}

// One that was not finished has another structure.
TEST_F(JoinCliTest, aKilledRecordingFollowsTheOneBefore) {
    const Words parts = transcodedParts(testClip(), 2, 1000);
    const std::string killed = mFolder.file("killed.mp4");
    const Words fragments = words("-c copy -movflags empty_moov+default_base_moof+frag_keyframe");
    ASSERT_TRUE(ProcessRunner(ffmpeg(joined(joined({"-i", parts[1]}, fragments), {killed})))
                        .run()
                        .ok());
    const ProcessResult result = join({parts[0], killed}, mMp4);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(pictureSamples(mMp4).size(), 50u);
}

TEST_F(JoinCliTest, refusesThePartThatDoesNotFitByItsName) {
    ClipOptions clip;
    clip.seconds = 1;
    const std::string first = testClip(clip);
    const auto changed = [&](const std::function<void(ClipOptions*)>& change) {
        ClipOptions options = clip;
        change(&options);
        return testClip(options);
    };
    const std::string hidden = mFolder.file("hidden.mp4");
    ASSERT_EQ(remux(first, hidden, {"--start", "0.3"}).exitCode, 0);
    const struct {
        std::string part;
        const char* difference;
    } kCases[] = {
            {changed([](auto* options) { options->width = 160; }), "is 160x240, not 320x240"},
            {changed([](auto* options) {
                 options->videoArguments = {"-profile:v", "main"};
             }),
             "with other settings"},
            {changed([](auto* options) { options->sampleRate = 44100; }), "44100 Hz, not 48000 Hz"},
            {changed([](auto* options) { options->channels = 1; }), "has 1 channels, not 2"},
            {changed([](auto* options) { options->audio = false; }), "there is no sound"},
            {changed([](auto* options) { options->extension = "ts"; }), "kind of container"},
            {hidden, "not to be shown"},
            {mediaPath("roar.mp3"), "the sound is mp3, not AAC"},
    };
    for (const auto& test : kCases) {
        const ProcessResult result = join({first, first, test.part, first}, mMp4);
        EXPECT_EQ(result.exitCode, 3) << result.err;
        EXPECT_THAT(result.err,
                    testing::AllOf(HasSubstr("'" + test.part + "'"), HasSubstr(test.difference)));
        EXPECT_EQ(linesOf(result.err).size(), 1u) << result.err;
    }
    EXPECT_EQ(join({first, "-"}, mMp4).exitCode, 2);
    EXPECT_THAT(namesIn(mFolder.path()), testing::ElementsAre("hidden.mp4"));
}

}  // namespace
}  // namespace oxa::test
