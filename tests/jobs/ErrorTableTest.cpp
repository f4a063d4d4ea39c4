// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// Whatever a path or an option says, a job answers with a value, and leaves nothing.

#include <oxa/jobs/Join.h>
#include <oxa/jobs/Plan.h>
#include <oxa/jobs/Probe.h>

#include <filesystem>

#include "jobs/JobKit.h"

namespace oxa::jobs {
namespace {

using testing::AllOf;
using testing::Gt;
using testing::IsEmpty;
using testing::Le;
using testing::Lt;

// By its extension a name says what a job makes.
std::string nameFor(JobKind kind) {
    return kind == JobKind::kContactSheet ? "out.png" : "out.mp4";
}

TEST(JobError, isTheSameForEveryJobThatReadsAPath) {
    const test::TempDir inputs;
    const test::TempDir outputs;
    const std::string empty = inputs.file("empty.mp4");
    ASSERT_TRUE(test::writeFile(empty, ""));
    for (const std::string& path :
         {std::string("/nope"), std::string("/etc/passwd"), std::string("/dev/zero"),
          std::string("/"), inputs.path(), empty, test::garbageFile(50'000)}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(probe(path).failure.kind, FailureKind::kInput);
        for (const JobKind kind : kAllKinds) {
            const Result result = makeJob(kind, path, outputs.file(nameFor(kind)))->run();
            EXPECT_EQ(result.failure.kind, FailureKind::kInput) << static_cast<int>(kind);
            EXPECT_THAT(result.failure.text, testing::HasSubstr("'" + path + "'"));
            EXPECT_THAT(result.files, IsEmpty());
        }
    }
    EXPECT_THAT(namesIn(outputs.path()), IsEmpty());
}

TEST(JobError, aRecordingLastsLongerThanNothing) {
    const test::TempDir outputs;
    for (const auto length : {&RecordOptions::durationUs, &RecordOptions::replayUs}) {
        RecordOptions options = quickRecord(outputs.file("out.mp4"));
        options.*length = 0;
        const Result result = Record(options).run();
        EXPECT_EQ(result.failure.kind, FailureKind::kOptions);
        EXPECT_THAT(result.failure.text, testing::HasSubstr("'0': expected a time above 0"));
    }
    EXPECT_THAT(namesIn(outputs.path()), IsEmpty());
}

TEST(JobError, leavesAnOutputThatExists) {
    const test::TempDir outputs;
    for (const JobKind kind : kAllKinds) {
        if (kind == JobKind::kPlay) continue;
        const std::string input = kind == JobKind::kRecord ? "" : test::testClip();
        const std::string output = outputs.file(nameFor(kind));
        ASSERT_TRUE(test::writeFile(output, "old"));
        EXPECT_EQ(makeJob(kind, input, output)->run().failure.kind, FailureKind::kOutputExists);
        EXPECT_EQ(
                makeJob(kind, input, outputs.path() + "/none/" + nameFor(kind))->run().failure.kind,
                FailureKind::kOutput);
        EXPECT_EQ(test::readFile(output), "old");
    }
    EXPECT_THAT(namesIn(outputs.path()), testing::UnorderedElementsAre("out.mp4", "out.png"));
}

TEST(JobError, namesTheOptionThatIsWrong) {
    const test::TempDir outputs;
    const struct {
        void (*set)(TranscodeOptions* options);
        const char* begin;
    } kCases[] = {{[](auto* options) {
                       options->size = Size{161, 120};
                   },
                   "size '161x120'"},
                  {[](auto* options) {
                       options->size = Size{1 << 20, 120};
                   },
                   "size '"},
                  {[](auto* options) { options->frameRate = -5; }, "fps '-5'"},
                  {[](auto* options) { options->videoBitRate = 0; }, "video-bitrate"},
                  {[](auto* options) { options->keyFrameIntervalSec = 601; }, "keyframe-interval"},
                  {[](auto* options) { options->deinterlace = 3; }, "deinterlace"},
                  {[](auto* options) { options->preset = "fastest"; }, "preset 'fastest'"},
                  {[](auto* options) { options->level = 99; }, "level '99'"},
                  {[](auto* options) { options->audioRate = 47999; }, "audio-rate"},
                  {[](auto* options) { options->audioChannels = 0; }, "audio-channels"}};
    for (const auto& test : kCases) {
        TranscodeOptions options = quickTranscode(test::testClip(), outputs.file("out.mp4"));
        test.set(&options);
        const Result result = Transcode(options).run();
        EXPECT_EQ(result.failure.kind, FailureKind::kOptions);
        EXPECT_EQ(result.failure.hint, Hint::kOtherValue);
        EXPECT_THAT(result.failure.text, testing::StartsWith(test.begin));
    }
    ContactSheetOptions sheet;
    sheet.rows = 21;
    EXPECT_EQ(ContactSheet(sheet).run().failure.text, "rows '21': expected 1 to 20");
    EXPECT_THAT(namesIn(outputs.path()), IsEmpty());
}

// A part that was looked at, and is gone when its turn comes.
TEST(JobError, aJoinLeavesOutNoPart) {
    const test::TempDir inputs;
    const test::TempDir outputs;
    JoinOptions options;
    for (const char* name : {"1.mp4", "2.mp4", "3.mp4"}) {
        options.parts.push_back(inputs.file(name));
        std::filesystem::copy(test::testClip(), options.parts.back());
    }
    options.output = outputs.file("out.mp4");
    struct Remover : JobListener {
        void onStart(const JobStart&) override { std::filesystem::remove(path); }
        std::string path;
    } remover;
    remover.path = options.parts[1];
    const Result result = Join(options, &remover).run();
    EXPECT_EQ(result.failure.kind, FailureKind::kInput);
    EXPECT_THAT(result.failure.text, testing::HasSubstr("'" + options.parts[1] + "'"));
    EXPECT_THAT(namesIn(outputs.path()), IsEmpty());
}

TEST(JobError, namesADivisionThatIsTooFine) {
    const test::TempDir outputs;
    PlanOptions options;
    options.input = test::testClip();
    options.output = outputs.file("out.mp4");
    options.parts = 1001;
    EXPECT_EQ(Plan(options).run().failure.text, "parts '1001': expected 1 to 1000");
    options.parts.reset();
    options.partLengthUs = 999'999;
    EXPECT_EQ(Plan(options).run().failure.text,
              "part-length '0.999999': expected a second or more");
}

TEST(JobError, isNoneAtTheLimitsOfTheOptions) {
    test::ClipOptions clip;
    clip.seconds = 0.2;
    const auto lowest = [](TranscodeOptions* options) {
        options->size = Size{16, 16};
        options->frameRate = 1;
        options->quality = 0;
        options->audioBitRate = 8'000;
        options->keyFrameIntervalSec = 0;
        options->deinterlace = 0;
        options->audioRate = 8'000;
        options->audioChannels = 1;
    };
    const auto highest = [](TranscodeOptions* options) {
        options->size = Size{8192, 16};
        options->frameRate = 240;
        options->videoBitRate = 1'000'000'000;
        options->audioBitRate = 1'000'000;
        options->keyFrameIntervalSec = 600;
        options->deinterlace = 2;
        options->audioRate = 96'000;
        options->audioChannels = 6;
    };
    const auto frame = [](TranscodeOptions* options) {
        options->size.reset();
        options->maxSize = PictureFrame{{16, 8192}};
        options->quality = 51;
    };
    for (void (*const set)(TranscodeOptions*) : {+lowest, +highest, +frame}) {
        const test::TempDir outputs;
        TranscodeOptions options = quickTranscode(test::testClip(clip), outputs.file("out.mp4"));
        set(&options);
        EXPECT_EQ(Transcode(options).run().failure.text, "");
    }
}

// A program that puts it on a wall wants to know.
TEST(JobDamage, ofASheetIsTold) {
    const test::TempDir outputs;
    ContactSheetOptions options;
    options.input = test::zeroRegion(test::mediaPath("flower_540p_h264_aac.mp4"), 0.3, 0.4);
    options.output = outputs.file("out.png");
    HearingListener hears;
    const Result result = ContactSheet(options, &hears).run();
    EXPECT_TRUE(result.ok()) << result.failure.text;
    EXPECT_GT(result.damaged, 0u);
    EXPECT_EQ(hears.mDamage, result.damaged);
}

// All that a job tells of its work; a recording is ended after a second.
class FiguresLog : public JobListener {
  public:
    void onProgress(const Progress& progress) override {
        mAll.push_back(progress);
        if (mRecording != nullptr && progress.timeSec >= 1) mRecording->cancel();
    }

    std::vector<Progress> mAll;
    Job* mRecording = nullptr;
};

TEST(JobFigures, areInSecondsAndOfTheMoment) {
    using Clock = std::chrono::steady_clock;
    test::ClipOptions clip;
    clip.seconds = 1;
    for (const JobKind kind : kAllKinds) {
        SCOPED_TRACE(static_cast<int>(kind));
        const test::TempDir outputs;
        const bool isLive = kind == JobKind::kRecord;
        FiguresLog log;
        const auto job = makeJob(kind, isLive ? "" : test::testClip(clip),
                                 outputs.file(nameFor(kind)), false, &log);
        if (isLive) log.mRecording = job.get();
        const auto begin = Clock::now();
        const Result result = job->run();
        const double tookSec = std::chrono::duration<double>(Clock::now() - begin).count();
        ASSERT_TRUE(result.ok() && !log.mAll.empty()) << result.failure.text;
        const Progress& last = log.mAll.back();
        for (const double sec : {last.elapsedSec, result.total.elapsedSec})
            EXPECT_THAT(sec, AllOf(Gt(0), Le(tookSec)));
        if (kind == JobKind::kContactSheet) continue;
        for (const double sec : {last.timeSec, result.durationSec, result.soundSec})
            EXPECT_THAT(sec, AllOf(Gt(0.3), Lt(5)));
        if (isLive) continue;
        EXPECT_NEAR(last.totalSec.value_or(0), 1, 0.1);
        EXPECT_EQ(log.mAll.front().bytes.has_value(), kind != JobKind::kPlay);
    }
}

}  // namespace
}  // namespace oxa::jobs
