// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/ScenarioPlayer.h"

#include <oxa/host/HdmiReceiver.h>
#include <oxa/host/HdmiSound.h>
#include <pthread.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <algorithm>
#include <thread>
#include <utility>

#include "run/EventQueue.h"

namespace oxa::jobs {

using Kind = ScenarioStep::Kind;

namespace {

constexpr int64_t kLongestWaitUs = 1'000'000'000;

}  // namespace

// From the beginning to the end, on a thread of its own.
class ScenarioPlayer::Run {
  public:
    Run(const Scenario& scenario, const Listener& listener, std::mutex& happening,
        host::SimulatedHdmiReceiver& receiver)
        : mScenario(scenario),
          mListener(listener),
          mHappening(happening),
          mReceiver(receiver),
          mThread([this] { run(); }) {}

    ~Run() {
        {
            android::Mutex::Autolock lock(mLock);
            mQuit = true;
            mChanged.signal();
        }
        mThread.join();
        host::stallHdmiSound(false);
        host::setHdmiSoundChannels(0);
        host::delayHdmiSoundService(0);
        if (mIsServiceDead) host::startHdmiSoundService();
    }

  private:
    void run() {
        pthread_setname_np(pthread_self(), "scenario");
        for (const ScenarioStep& step : mScenario) {
            if (!waitFor(step)) return;
            const std::lock_guard<std::mutex> lock(mHappening);
            if (mListener) mListener(step);
            changeSignal(step);
            changeService(step);
        }
    }

    // False when it is not to happen any more.
    bool waitFor(const ScenarioStep& step) {
        android::Mutex::Autolock lock(mLock);
        while (!mQuit) {
            const int64_t leftUs = mBeginUs + step.timeUs - nowUs();
            if (leftUs <= 0) return true;
            mChanged.waitRelative(mLock, std::min(leftUs, kLongestWaitUs) * 1000);
        }
        return false;
    }

    void changeSignal(const ScenarioStep& step) {
        const Kind kind = step.kind;
        if (kind == Kind::kUnplug) mReceiver.unplug();
        if (kind == Kind::kPlug) mReceiver.plug();
        if (kind == Kind::kStall) mReceiver.stall();
        if (kind == Kind::kResume) mReceiver.resume();
        if (kind == Kind::kSize) mReceiver.setSize(step.size.width, step.size.height);
        if (kind == Kind::kFrameRate) mReceiver.setFrameRate(step.number);
        if (kind == Kind::kInterlaced) mReceiver.setProgressive(false);
        if (kind == Kind::kProgressive) mReceiver.setProgressive(true);
        if (kind == Kind::kSampleRate) mReceiver.setSampleRate(step.number);
        if (kind == Kind::kDriverRight) mReceiver.setDriverFiles(host::DriverFiles::kRight);
        if (kind == Kind::kDriverWrong) mReceiver.setDriverFiles(host::DriverFiles::kWrong);
        if (kind == Kind::kDriverMissing) mReceiver.setDriverFiles(host::DriverFiles::kMissing);
    }

    void changeService(const ScenarioStep& step) {
        // Whether the sound is the signal's own or another.
        if (step.kind == Kind::kLoseSound) {
            mReceiver.loseAudio();
            host::stallHdmiSound(true);
        } else if (step.kind == Kind::kRestoreSound) {
            mReceiver.restoreAudio();
            host::stallHdmiSound(false);
        } else if (step.kind == Kind::kChannels) {
            host::setHdmiSoundChannels(step.number);
        } else if (step.kind == Kind::kSlowService) {
            host::delayHdmiSoundService(step.delayUs);
        } else if (step.kind == Kind::kKillService) {
            mIsServiceDead = true;
            host::endHdmiSoundService();
        } else if (step.kind == Kind::kStartService) {
            mIsServiceDead = false;
            host::startHdmiSoundService();
        }
    }

    const Scenario& mScenario;
    const Listener& mListener;
    std::mutex& mHappening;
    host::SimulatedHdmiReceiver& mReceiver;
    const int64_t mBeginUs = nowUs();
    android::Mutex mLock;
    android::Condition mChanged;
    bool mQuit GUARDED_BY(mLock) = false;
    bool mIsServiceDead = false;  // the thread's, as long as it runs
    std::thread mThread;          // last: it uses the others
};

ScenarioPlayer::ScenarioPlayer(Scenario scenario, Listener listener)
    : mScenario(std::move(scenario)), mListener(std::move(listener)) {}

ScenarioPlayer::~ScenarioPlayer() {
    resume();
}

void ScenarioPlayer::begin(host::SimulatedHdmiReceiver& receiver) {
    resume();
    if (mRun == nullptr && !mScenario.empty()) {
        mRun = std::make_unique<Run>(mScenario, mListener, mHappening, receiver);
    }
}

void ScenarioPlayer::pause() {
    if (!mPause.owns_lock()) mPause = std::unique_lock<std::mutex>(mHappening);
}

void ScenarioPlayer::resume() {
    mPause = {};
}

}  // namespace oxa::jobs
