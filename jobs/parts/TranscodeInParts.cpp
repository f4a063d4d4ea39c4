// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/TranscodeInParts.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <thread>
#include <utility>

#include "encode/EncodeSetup.h"
#include "parts/FilmPlanning.h"
#include "parts/PartFolder.h"
#include "parts/PartJob.h"
#include "parts/PartList.h"
#include "parts/PartsRun.h"
#include "tracks/SourceTracks.h"
#include "transcode/VerifyOutput.h"

namespace oxa::jobs {

namespace {

constexpr int32_t kMostJobs = 64;
constexpr int32_t kMostJobsUnasked = 8;
// Short enough that little is lost, long enough that it costs nothing to begin one, and that the
// pictures at its end, behind which the encoder sees none, do not count.
constexpr int64_t kShortestPartUs = 20'000'000;
constexpr int64_t kUsualPartUs = 30'000'000;
constexpr int64_t kLongestPartUs = 60'000'000;
constexpr int64_t kPartsOfLongFilm = 20;
constexpr char kSoundName[] = "sound.mp4";
// Of the work that the pictures are.
constexpr double kSoundShare = 0.05;
constexpr double kFilmShare = 0.01;

std::string partName(size_t number) {
    char name[32];
    snprintf(name, sizeof(name), "%04zu.mp4", number + 1);
    return name;
}

// As many parts as keep all jobs busy to the end.
int64_t partLength(int64_t filmUs, int jobs) {
    const int64_t wantedUs = std::clamp(filmUs / kPartsOfLongFilm, kUsualPartUs, kLongestPartUs);
    const int64_t rounds = (filmUs + jobs * wantedUs / 2) / (jobs * wantedUs);
    return std::max(filmUs / (jobs * std::max<int64_t>(1, rounds)), kShortestPartUs);
}

// One job from its options to its result.
class InPartsWork {
  public:
    InPartsWork(const TranscodeInPartsOptions& options, JobContext& context)
        : mOptions(options),
          mContext(context),
          mSource(options, context),
          mFolder(options.output, options.replaceOutput) {}

    Result run();

  private:
    std::optional<Failure> work();
    std::optional<Failure> open();
    std::optional<Failure> plan();
    std::optional<Failure> make();
    std::optional<Failure> verify();
    std::vector<PartsRun::Task> tasks() const;
    PartsRun::Task partTask(const std::string& name, const InputPart& part, Only only) const;
    PartsRun::Task filmTask() const;
    std::string filmName() const;
    int jobs() const;
    int64_t filmUs() const;
    void summarize();

    const TranscodeInPartsOptions& mOptions;
    JobContext& mContext;
    TranscodeSource mSource;
    PartFolder mFolder;
    PartList mList;
    Result mResult;
};

Result InPartsWork::run() {
    if (auto failure = work()) {
        mResult.files.clear();
        mResult.failure = *failure;
    } else {
        summarize();
    }
    return mResult;
}

std::optional<Failure> InPartsWork::work() {
    if (auto failure = open()) return failure;
    if (!mFolder.isOver()) {
        if (auto failure = plan()) return failure;
        mContext.listener().onStart(mSource.started());
        if (auto failure = make()) return failure;
        if (auto failure = verify()) return failure;
    }
    return mFolder.finish(filmName());
}

std::optional<Failure> InPartsWork::open() {
    if (auto failure = refuseNoFiles(mOptions)) return failure;
    if (!isWithin(mOptions.jobs, 1, kMostJobs)) {
        return wrongOption("jobs", std::to_string(*mOptions.jobs), "1 to 64");
    }
    if (auto failure = mSource.open()) return failure;
    if (auto failure = mFolder.open()) return failure;
    mList = PartList(mOptions, mSource.input().descriptor());
    if (!mFolder.list()) return std::nullopt;
    std::string difference = mList.differenceFrom(*mFolder.list());
    if (difference.empty() && !mList.readPlan(*mFolder.list(), mOptions)) {
        difference = "their list is damaged";
    }
    if (difference.empty()) return std::nullopt;
    return Failure{FailureKind::kOptions, "the parts in '" + mFolder.path() + "' cannot be used: " +
                                                  difference + "; without them it begins anew"};
}

std::optional<Failure> InPartsWork::plan() {
    if (mFolder.list()) return std::nullopt;
    FilmPlan plan;
    const auto length = [this](int64_t filmUs) { return partLength(filmUs, jobs()); };
    if (auto failure = planFilm(mOptions, mSource, length, mContext, &plan)) return failure;
    const auto atOnce = std::min<size_t>(jobs(), plan.parts.size());
    const unsigned processors = std::max(1U, std::thread::hardware_concurrency());
    const auto share = static_cast<unsigned>((processors + atOnce - 1) / atOnce);
    // Where all are begun at once, one has the processors to itself at the end.
    const bool areAllAtOnce = plan.parts.size() == atOnce;
    mList.setPlan(plan, areAllAtOnce ? std::min(processors, 2 * share) : share);
    return mFolder.begin(mList.text());
}

std::optional<Failure> InPartsWork::make() {
    if (mFolder.has(filmName())) return std::nullopt;
    const std::vector<PartsRun::Task> all = tasks();
    PartsRun parts(all, filmUs(), mFolder, mContext);
    auto failure = parts.run(jobs());
    mResult = parts.result();
    if (failure && failure->kind == FailureKind::kCancelled) {
        const auto complete = std::count_if(all.begin(), all.end(), [this](const auto& task) {
            return mFolder.has(task.name);
        });
        if (complete > 0) {
            failure->text += ": " + std::to_string(complete) + " of " +
                             std::to_string(all.size() - 1) + " parts are complete in '" +
                             mFolder.path() + "'";
        }
    }
    return failure;
}

// The film as a whole, and not part by part. Of one that is not right no part is of use.
std::optional<Failure> InPartsWork::verify() {
    if (!mOptions.verify) return std::nullopt;
    auto failure = verifyOutput(mSource, mFolder.pathOf(filmName()), mContext.cancelled());
    if (failure && failure->kind == FailureKind::kFailed) mFolder.remove();
    mResult.verified = !failure;
    return failure;
}

// The sound first: it takes longest of all that cannot be divided.
std::vector<PartsRun::Task> InPartsWork::tasks() const {
    const FilmPlan& plan = mList.plan();
    const Only only = mSource.video() != nullptr ? Only::kVideo : Only::kAudio;
    std::vector<PartsRun::Task> tasks;
    if (plan.sound) tasks.push_back(partTask(kSoundName, *plan.sound, Only::kAudio));
    for (size_t number = 0; number < plan.parts.size(); ++number)
        tasks.push_back(partTask(partName(number), plan.parts[number], only));
    tasks.push_back(filmTask());
    return tasks;
}

PartsRun::Task InPartsWork::partTask(const std::string& name, const InputPart& part,
                                     Only only) const {
    const unsigned threads = mList.threads();
    const double sec = (part.endUs.value_or(mOptions.part.startUs + filmUs()) - part.startUs) / 1e6;
    const auto make = [this, part, only, threads](const std::string& path, JobListener* listener) {
        TranscodeOptions options = optionsOfPart(mOptions, part, only, path);
        options.verify = false;
        return std::make_unique<PartJob>(options, threads, listener);
    };
    return {name, name == kSoundName ? sec * kSoundShare : sec, make};
}

PartsRun::Task InPartsWork::filmTask() const {
    const auto make = [this](const std::string& path, JobListener* listener) {
        JoinOptions options;
        for (size_t number = 0; number < mList.plan().parts.size(); ++number)
            options.parts.push_back(mFolder.pathOf(partName(number)));
        if (mList.plan().sound) options.sound = mFolder.pathOf(kSoundName);
        options.output = path;
        options.container = mSource.container();
        options.indexFirst = mOptions.indexFirst;
        options.replaceOutput = true;
        return std::make_unique<FilmJob>(options, mSource.tags(), listener);
    };
    return {filmName(), filmUs() / 1e6 * kFilmShare, make};
}

std::string InPartsWork::filmName() const {
    return mSource.container() == Container::kMp4 ? "film.mp4" : "film.ts";
}

int InPartsWork::jobs() const {
    const auto processors = static_cast<int>(std::thread::hardware_concurrency());
    return mOptions.jobs.value_or(std::clamp(processors, 1, kMostJobsUnasked));
}

int64_t InPartsWork::filmUs() const {
    const Track* const track = mSource.video() != nullptr ? mSource.video() : mSource.audio();
    return track->durationUs.value_or(0);
}

void InPartsWork::summarize() {
    mResult.files = {mOptions.output};
    // A film that was complete before has not been looked at.
    if (mResult.durationSec == 0) {
        mResult.durationSec = fileLengthSec(mOptions.output).value_or(0);
    }
}

}  // namespace

TranscodeInParts::TranscodeInParts(TranscodeInPartsOptions options, JobListener* listener)
    : Job(listener), mOptions(std::move(options)) {}

Result TranscodeInParts::work(JobContext& context) {
    return InPartsWork(mOptions, context).run();
}

}  // namespace oxa::jobs
