// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "parts/PartsRun.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <system_error>
#include <thread>
#include <utility>

#include "run/IdleWatch.h"

namespace oxa::jobs {

namespace {

// "0001.work.mp4" of "0001.mp4".
std::string workNameOf(const std::string& name) {
    const size_t dot = name.rfind('.');
    return name.substr(0, dot) + ".work" + name.substr(dot);
}

double sum(const std::vector<PartsRun::Task>& tasks) {
    return std::accumulate(tasks.begin(), tasks.end(), 0.0,
                           [](double sec, const auto& task) { return sec + task.seconds; });
}

}  // namespace

// Hears one job, on its thread.
class PartsRun::RunningPart : public JobListener {
  public:
    RunningPart(PartsRun& run, const Task& task) : mRun(run), mTask(task) {}

    void onProgress(const Progress& progress) override {
        android::Mutex::Autolock lock(mRun.mLock);
        mProgress = progress;
    }

    void onWarning(const std::string& text) override {
        android::Mutex::Autolock lock(mRun.mLock);
        // Parts have much in common.
        if (mRun.mKnownWarnings.insert(text).second) mRun.mWarnings.push_back(text);
    }

    // Under the run's lock.
    const Progress& progress() const { return mProgress; }
    double doneSec() const { return std::min(mProgress.timeSec, mTask.seconds); }
    bool isFilm() const { return &mTask == &mRun.mTasks.back(); }
    std::unique_ptr<Job> job;

  private:
    PartsRun& mRun;
    const Task& mTask;
    Progress mProgress;
};

PartsRun::PartsRun(const std::vector<Task>& tasks, int64_t filmUs, PartFolder& folder,
                   JobContext& context)
    : mTasks(tasks), mFilmUs(filmUs), mFolder(folder), mContext(context) {
    for (auto task = tasks.rbegin(); task != tasks.rend(); ++task) {
        if (!mFolder.has(task->name)) {
            mOpen.push_back(&*task);
            continue;
        }
        std::error_code error;
        const auto bytes = std::filesystem::file_size(mFolder.pathOf(task->name), error);
        mDoneBytes += error ? 0 : static_cast<int64_t>(bytes);
        mDoneSec += task->seconds;
    }
}

std::optional<Failure> PartsRun::run(int atOnce) {
    std::vector<std::thread> threads;
    {
        android::Mutex::Autolock lock(mLock);
        mWorkers = std::min(atOnce, static_cast<int>(mOpen.size()));
        for (int i = 0; i < mWorkers; ++i)
            threads.emplace_back([this] { work(); });
    }
    ProgressMeter meter(sample(), mFilmUs);
    while (!isOver()) {
        const auto event = mContext.queue()->pop(nowUs() + kTickUs);
        if (event && std::holds_alternative<Cancelled>(*event)) {
            mContext.listener().onCancelling();
            fail(cancelledFailure());
        }
        tellWarnings();
        mContext.listener().onProgress(meter.add(sample()));
    }
    for (std::thread& thread : threads)
        thread.join();
    tellWarnings();
    takeTimes(meter.overall(sample()));
    auto failure = whyEnded();
    if (!failure && mResult.damaged > 0) mContext.listener().onDamage(mResult.damaged);
    return failure;
}

std::optional<Failure> PartsRun::whyEnded() {
    android::Mutex::Autolock lock(mLock);
    return mFailure;
}

void PartsRun::takeTimes(const Progress& run) {
    android::Mutex::Autolock lock(mLock);
    Progress& total = mResult.total;
    total.elapsedSec = run.elapsedSec;
    total.speed = run.speed;
    total.picturesPerSecond = run.picturesPerSecond;
}

void PartsRun::work() {
    while (const Task* task = next())
        make(*task);
    android::Mutex::Autolock lock(mLock);
    --mWorkers;
    mContext.queue()->push(EndOfStream{});
}

const PartsRun::Task* PartsRun::next() {
    android::Mutex::Autolock lock(mLock);
    if (mStopped || mOpen.empty()) return nullptr;
    const Task* const task = mOpen.back();
    // Whoever is done last goes on with it.
    if (task == &mTasks.back() && mBusy > 0) return nullptr;
    ++mBusy;
    mOpen.pop_back();
    return task;
}

void PartsRun::make(const Task& task) {
    const std::string work = workNameOf(task.name);
    const Result result = runJob(task, mFolder.pathOf(work));
    const auto failure =
            result.ok() ? mFolder.keep(work, task.name) : std::optional(result.failure);
    if (failure) {
        for (const std::string& path : result.files)
            unlink(path.c_str());
        fail(*failure);
    }
    android::Mutex::Autolock lock(mLock);
    --mBusy;
    if (!failure) addLocked(task, result);
}

void PartsRun::addLocked(const Task& task, const Result& result) {
    const uint64_t damaged = mResult.damaged + result.damaged;
    mResult = result;
    mResult.damaged = damaged;
    mDoneSec += task.seconds;
    if (&task == &mTasks.back()) return;
    mDonePictures += result.total.pictures;
    mDoneBytes += result.total.bytes.value_or(0);
}

Result PartsRun::runJob(const Task& task, const std::string& work) {
    RunningPart part(*this, task);
    part.job = task.make(work, &part);
    {
        android::Mutex::Autolock lock(mLock);
        mRunning.insert(&part);
        if (mStopped) part.job->cancel();
    }
    Result result = part.job->run();
    android::Mutex::Autolock lock(mLock);
    mRunning.erase(&part);
    return result;
}

// The first failure counts, and ends the others' work.
void PartsRun::fail(const Failure& failure) {
    android::Mutex::Autolock lock(mLock);
    if (!mFailure) mFailure = failure;
    mStopped = true;
    for (RunningPart* part : mRunning)
        part->job->cancel();
}

bool PartsRun::isOver() {
    android::Mutex::Autolock lock(mLock);
    return mWorkers == 0;
}

void PartsRun::tellWarnings() {
    std::vector<std::string> warnings;
    {
        android::Mutex::Autolock lock(mLock);
        warnings.swap(mWarnings);
    }
    for (const std::string& text : warnings)
        mContext.listener().onWarning(text);
}

ProgressSample PartsRun::sample() {
    android::Mutex::Autolock lock(mLock);
    ProgressSample sample;
    double sec = mDoneSec;
    sample.nowUs = nowUs();
    sample.pictures = mDonePictures;
    sample.bytes = mDoneBytes;
    for (const RunningPart* part : mRunning) {
        sec += part->doneSec();
        if (part->isFilm()) continue;  // what it holds was counted when it was made
        sample.pictures += part->progress().pictures;
        *sample.bytes += part->progress().bytes.value_or(0);
    }
    sample.mediaTimeUs = static_cast<int64_t>(sec / std::max(sum(mTasks), 1e-6) * mFilmUs);
    return sample;
}

}  // namespace oxa::jobs
