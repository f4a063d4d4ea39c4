// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// One film in parts: by the commands that are printed, and on one machine with what a job that was
// ended has left.

#include <csignal>
#include <filesystem>
#include <fstream>

#include "cli/PlayerProgram.h"
#include "support/MediaProbe.h"
#include "support/Pictures.h"
#include "support/SampleList.h"

namespace oxa::test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr int64_t kExactUs = 1000;

ClipOptions clipOf(const std::string& extension, double seconds) {
    ClipOptions clip;
    clip.extension = extension;
    clip.seconds = seconds;
    clip.frameRateNum = 30;
    clip.videoArguments = {"-preset", "ultrafast", "-bf", "3", "-g", "75"};
    return clip;
}

// Pauses of different lengths, and two pictures of three at half the rate.
std::string variableRateClip(const std::string& extension) {
    ClipOptions clip = clipOf(extension, 12);
    clip.videoFilter = "select='not(between(mod(n,100),40,52))*not(eq(mod(n,3),1))'";
    clip.outputArguments = {"-fps_mode", "vfr"};
    return testClip(clip);
}

std::vector<int64_t> timesOf(std::vector<StoredSample> samples, int64_t originUs) {
    std::vector<int64_t> times;
    for (const StoredSample& sample : samples)
        times.push_back(sample.timeUs - originUs);
    return times;
}

int64_t bytesOf(const std::vector<StoredSample>& samples) {
    int64_t bytes = 0;
    for (const StoredSample& sample : samples)
        bytes += static_cast<int64_t>(sample.data.size());
    return bytes;
}

void expectNear(const std::vector<int64_t>& times, const std::vector<int64_t>& wanted) {
    ASSERT_EQ(times.size(), wanted.size());
    for (size_t i = 0; i < times.size(); ++i)
        ASSERT_NEAR(times[i], wanted[i], kExactUs) << i;
}

// Number and times of pictures, and all of the sound.
void expectSameFilm(const std::string& film, const std::string& single) {
    const auto pictures = pictureSamples(film);
    const auto wanted = pictureSamples(single);
    ASSERT_EQ(pictures.empty(), wanted.empty());
    const auto sound = soundSamples(film);
    const auto wantedSound = soundSamples(single);
    ASSERT_EQ(sound.size(), wantedSound.size());
    for (size_t i = 0; i < sound.size(); ++i)
        ASSERT_TRUE(sound[i].data == wantedSound[i].data) << i;
    const int64_t originUs = wanted.empty() ? 0 : wanted[0].timeUs;
    expectNear(timesOf(pictures, originUs), timesOf(wanted, originUs));
    expectNear(timesOf(sound, originUs), timesOf(wantedSound, originUs));
}

class PartsCliTest : public testing::Test {
  protected:
    using Words = std::vector<std::string>;

    std::string film(const std::string& extension) const {
        return mFolder.file("a film's." + extension);
    }

    std::string transcodedAtOnce(const std::string& source, const std::string& extension,
                                 const Words& options) const {
        const std::string single = mFolder.file("single." + extension);
        const auto result = runPlayer(
                joined({"transcode", source, "-o", single, "--quiet", "--force"}, options));
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return single;
    }

    // What the shell makes of a plan.
    static ProcessResult runPlan(const std::string& plan) {
        const std::string folder = fs::path(OXA_PLAYER_PROGRAM).parent_path();
        return ProcessRunner({"sh", "-e", "-c", "PATH=$1:$PATH; eval \"$0\"", plan, folder}).run();
    }

    TempDir mFolder;
};

struct PlanCase : Named {
    std::string (*source)();
    const char* extension;
    const char* options;
    size_t parts;
};

class PlanCliTest : public PartsCliTest, public testing::WithParamInterface<PlanCase> {};

// Mean PSNR of the brightness, in dB.
double likeness(const std::string& a, const std::string& b) {
    const std::vector<Image> first = decodePictures(a);
    const std::vector<Image> second = decodePictures(b);
    const size_t count = std::min(first.size(), second.size());
    double sum = 0;
    for (size_t i = 0; i < count; ++i)
        sum += psnrOf(meanSquareError(first[i].planes[0], second[i].planes[0]));
    return count == 0 ? 0 : sum / static_cast<double>(count);
}

TEST_P(PlanCliTest, makesWhatOneTranscodeMakes) {
    const PlanCase& test = GetParam();
    const std::string source = test.source();
    const Words options = words(test.options);
    const std::string single = transcodedAtOnce(source, test.extension, options);
    const auto plan = runPlayer(joined({"plan", source, "-o", film(test.extension), "--quiet",
                                        "--parts", std::to_string(test.parts)},
                                       options));
    ASSERT_EQ(plan.exitCode, 0) << plan.err;
    const bool hasBoth = !soundSamples(single).empty() && !pictureSamples(single).empty();
    EXPECT_EQ(linesOf(plan.out).size(), test.parts + (hasBoth ? 2 : 1)) << plan.out;
    EXPECT_THAT(plan.out, HasSubstr("." + std::to_string(test.parts) + ".work."));
    const auto result = runPlan(plan.out);
    ASSERT_EQ(result.exitCode, 0) << plan.out << result.err;
    expectSameFilm(film(test.extension), single);
    if (test.parts == 1) return;
    const auto bytes = static_cast<double>(bytesOf(pictureSamples(single)));
    EXPECT_NEAR(bytesOf(pictureSamples(film(test.extension))), bytes, 0.03 * bytes);
    EXPECT_GT(likeness(single, film(test.extension)), 38);
}

std::string clipThatBeginsLate() {
    ClipOptions clip = clipOf("ts", 12);
    clip.outputArguments = {"-output_ts_offset", "7"};
    return testClip(clip);
}

// As of a stream that was kept as it came.
std::string filmThatDoesNotTellItsLength() {
    ClipOptions clip = clipOf("mkv", 20);
    clip.outputArguments = {"-live", "1"};
    return testClip(clip);
}

const PlanCase kPlans[] = {
        {"reordered", [] { return testClip(clipOf("mp4", 12)); }, "mp4", "", 3},
        {"streamThatBeginsLate", clipThatBeginsLate, "ts",
         "--keyframe-interval 1 --start 1.51 --end 11.3", 4},
        {"variableRate", [] { return variableRateClip("mkv"); }, "mp4", "--max-size 240p", 3},
        {"variableRateTs", [] { return variableRateClip("mp4"); }, "ts", "", 2},
        {"unknownLength", filmThatDoesNotTellItsLength, "mp4", "--end 9", 2},
        {"fewerPictures", [] { return testClip(clipOf("mkv", 12)); }, "mp4", "--fps 25", 3},
        {"morePictures", [] { return mediaPath("car_432p_12fps.mp4"); }, "ts",
         "--fps 30 --keyframe-interval 1 --size 320x180", 3},
        {"bitRate", [] { return testClip(clipOf("mp4", 24)); }, "mp4",
         "--video-bitrate 400k --preset fast", 2},
        {"lateSound", [] { return mediaPath("friday_audio_starts_1200ms.mp4"); }, "mp4",
         "--keyframe-interval 1", 2},
        {"latePictures", [] { return mediaPath("friday_video_starts_1s.mp4"); }, "ts",
         "--keyframe-interval 1", 2},
        {"soundAlone", [] { return mediaPath("roar.mp3"); }, "mp4", "", 1},
        {"picturesAlone", [] { return testClip(clipOf("mp4", 12)); }, "mp4", "--only video", 2}};
INSTANTIATE_TEST_SUITE_P(Films, PlanCliTest, testing::ValuesIn(kPlans), rowName<PlanCase>);

// Each piece has a clock of its own, as in a recording of a broadcast that was cut.
TEST_F(PartsCliTest, filmWhoseClockJumpsIsMadeInOnePart) {
    const std::string source = mFolder.file("jumps.ts");
    std::ofstream joinedPieces(source, std::ios::binary);
    for (const char* offset : {"10", "50"}) {
        ClipOptions clip = clipOf("ts", 5);
        clip.outputArguments = {"-output_ts_offset", offset};
        joinedPieces << readFile(testClip(clip));
    }
    joinedPieces.close();
    const auto plan = runPlayer({"plan", source, "-o", film("mp4"), "--part-length", "2"});
    EXPECT_EQ(plan.exitCode, 0);
    EXPECT_THAT(plan.err, HasSubstr("its clock jumps: it is made in one part"));
    EXPECT_EQ(linesOf(plan.out).size(), 3u) << plan.out;
}

// ---- On one machine, with what is there already -------------------------------------------------

class ResumableCliTest : public PartsCliTest {
  protected:
    Words command(const Words& more = {}, const char* jobs = "1") const {
        return joined(
                {"transcode", mSource, "-o", film("mp4"), "--resumable", "--jobs", jobs, "--json"},
                more);
    }

    // Ended once so many files are complete in the folder; tells what it said.
    ProcessResult endWhenComplete(const std::string& signal, int files) const {
        return ProcessRunner(
                       joined({"bash", "-c",
                               "parts=$0 signal=$1 files=$2; shift 2; \"$@\" & job=$!; "
                               "complete() { find \"$parts\" -name '*.mp4' ! -name '*.work.*' "
                               "2>/dev/null | wc -l; }; "
                               "until [ -d \"$parts\" ] && [ $(complete) -ge $files ]; do "
                               "kill -0 $job || exit 99; sleep 0.01; done; "
                               "kill -$signal $job; wait $job",
                               mParts, signal, std::to_string(files), OXA_PLAYER_PROGRAM},
                              command()))
                .run();
    }

    TempDir mFolderOfSource;
    const std::string mSource = copyOfClip();
    const std::string mParts = film("mp4") + ".parts";

  private:
    std::string copyOfClip() const {
        const std::string copy = mFolderOfSource.file("source.mp4");
        fs::copy(testClip(clipOf("mp4", 60)), copy);
        return copy;
    }
};

// The last time with another number of jobs.
TEST_F(ResumableCliTest, killedAgainAndAgainItEndsAsIfItHadNotBeen) {
    const auto whole = runPlayer(command());
    ASSERT_EQ(whole.exitCode, 0) << whole.err;
    for (const auto& progress : eventsNamed(eventsOf(whole.out), "progress")) {
        const auto frames = progress["frames"].get<int64_t>();
        if (frames == 0) continue;  // sound
        EXPECT_LE(frames, 60 * 30) << "each picture counts once";
        // The sound was first, a twentieth of the pictures' work; the film is a hundredth.
        const double doneSec = 0.05 * 60 + static_cast<double>(frames) / 30;
        EXPECT_NEAR(progress["percent"].get<double>(), 100 * doneSec / (1.06 * 60), 5);
    }
    const std::string uninterrupted = mFolder.file("uninterrupted.mp4");
    fs::rename(film("mp4"), uninterrupted);
    expectSameFilm(uninterrupted, transcodedAtOnce(mSource, "mp4", {}));

    for (const int files : {0, 1})
        EXPECT_EQ(endWhenComplete("KILL", files).exitCode, 128 + SIGKILL) << files;
    const auto stopped = endWhenComplete("INT", 2);
    EXPECT_EQ(stopped.exitCode, 130);
    EXPECT_THAT(stopped.out, HasSubstr("2 of 3 parts are complete in"));
    EXPECT_FALSE(fs::exists(film("mp4")));
    const auto result = runPlayer(command({}, "2"));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(readFile(film("mp4")) == readFile(uninterrupted), true);
    EXPECT_FALSE(fs::exists(mParts));
}

TEST_F(ResumableCliTest, soundAloneBeginsAsIfItWereMadeAtOnce) {
    const std::string source = mediaPath("roar.mp3");
    const std::string output = film("ts");
    const auto result = runPlayer({"transcode", source, "-o", output, "--resumable", "--verify"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    expectSameFilm(output, transcodedAtOnce(source, "ts", {}));
}

TEST_F(ResumableCliTest, partsOfAnotherInputOrWithOtherOptionsAreNotUsed) {
    ASSERT_EQ(endWhenComplete("KILL", 1).exitCode, 128 + SIGKILL);
    const auto expectRefusal = [&](const Words& options, const std::string& text) {
        const auto result = runPlayer(command(options));
        EXPECT_EQ(result.exitCode, 2) << result.out;
        EXPECT_THAT(result.out, AllOf(HasSubstr(mParts), HasSubstr(text)));
        EXPECT_TRUE(fs::exists(mParts + "/sound.mp4"));
    };
    expectRefusal({"--quality", "30"}, "quality was 23 and is 30");
    expectRefusal({"--end", "50"}, "end was not given and is 50000000");
    fs::last_write_time(mSource, fs::file_time_type::clock::now());
    expectRefusal({}, "the input has changed");
    fs::remove_all(mParts);
    EXPECT_EQ(runPlayer(command({"--end", "3", "--preset", "ultrafast"})).exitCode, 0);
}

// What a kill leaves in the last moments, and what somebody else has in a folder of that name.
TEST_F(ResumableCliTest, folderThatIsLeftIsTakenAwayAndAnotherOnesIsNot) {
    const Words shorter = {"--end", "3", "--preset", "ultrafast"};
    ASSERT_EQ(runPlayer(command(shorter)).exitCode, 0);
    EXPECT_EQ(runPlayer(command(shorter)).exitCode, 4);
    fs::create_directory(mParts);
    EXPECT_EQ(runPlayer(command(shorter)).exitCode, 0);
    EXPECT_FALSE(fs::exists(mParts));
    // The disk is full before the first part is complete.
    const auto full = ProcessRunner(joined({OXA_PLAYER_PROGRAM}, command({"--force"})))
                              .setFileSizeLimit(20'000)
                              .run();
    EXPECT_EQ(full.exitCode, 4) << full.err;
    EXPECT_FALSE(fs::exists(mParts));
    fs::create_directory(mParts);
    std::ofstream(mParts + "/notes") << "mine";
    const auto result = runPlayer(command(joined(shorter, {"--force"})));
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.out, HasSubstr("are no parts"));
    EXPECT_THAT(namesIn(mParts), ElementsAre("notes"));
}

}  // namespace
}  // namespace oxa::test
