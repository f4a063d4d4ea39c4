// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/Cameras.h>
#include <oxa/host/Display.h>
#include <oxa/host/Microphones.h>
#include <oxa/host/SoundOutput.h>
#include <stdio.h>

#include "AudioRxEncoder.h"
#include "CameraRecorder.h"
#include "OxaMediaCodecPlayerCommon.h"
#include "OxaMediaMuxer.h"
#include "support/Reports.h"
#include "support/Test.h"

namespace android {

// ---- States ------------------------------------------------------------------------------------

// A step in the life of a player or a pipeline. Taking the first n leads to the n-th state; the
// last one is the stop.
struct Step {
    std::function<status_t()> take;
    // What ends the process when it is taken in another state; empty: it does no harm there.
    std::string refusal;
    bool alsoStarted = false;
};

inline std::string refusalOf(const std::string& condition) {
    return "CHECK(" + condition + ") failed.";
}

// Jobs are classes with all that their steps need, a static steps(Job*) that gives them, and the
// name of the source that checks them.
template <typename Job>
status_t take(Job* job, size_t step) {
    return Job::steps(job)[step].take();
}

template <typename Job>
void advance(Job* job, size_t count) {
    for (size_t i = 0; i < count; ++i)
        ASSERT_EQ(take(job, i), OK) << "step " << i;
}

// For a test whose suite is called ...DeathTest: such suites run before there are other threads, so
// that the process can simply be forked.
template <typename Job>
void expectOnlyTheNextStepIsAccepted(size_t firstState = 0) {
    const std::vector<Step> steps = Job::steps(nullptr);  // only for what they say
    for (size_t state = firstState; state <= steps.size(); ++state) {
        for (size_t step = 0; step < steps.size(); ++step) {
            const bool isStarted = state + 1 == steps.size();
            if (step == state || (isStarted && steps[step].alsoStarted)) continue;
            if (steps[step].refusal.empty()) continue;
            EXPECT_DEATH(
                    {
                        Job job;
                        advance(&job, state);
                        take(&job, step);
                    },
                    testing::AllOf(testing::HasSubstr(Job::kName + std::string(".cpp:")),
                                   testing::HasSubstr(steps[step].refusal)))
                    << "state " << state << ", step " << step;
        }
    }
}

// ---- Pipelines ---------------------------------------------------------------------------------

inline _AV_FORMAT_FORMAT smallTarget() {
    _AV_FORMAT_FORMAT format = {};
    format.width = 160;
    format.height = 120;
    format.frameRate = 30;
    format.bitRate = 200000;
    format.iFrameInterval = 1;
    format.deinterlace = -1;
    format.channelCount = 2;
    format.sampleRate = 48000;
    return format;
}

// One pipeline on a looper, with all that pipelines are given and somebody to report to. A stage of
// a kind adds its steps.
template <typename Pipeline>
class Stage {
  public:
    Stage() {
        pipeline->mPlayerHandler = reports;
        pipeline->mStatusHandler = reports;
        oxa::host::useNullSound();
    }
    virtual ~Stage() {
        pipeline->reset();
        pipeline->cleanup();
        oxa::host::clearCameras();
        oxa::host::clearMicrophones();
    }

    const sp<Pipeline> pipeline = new Pipeline;
    const sp<Reports> reports = new Reports;
    _AV_FORMAT_FORMAT format = smallTarget();

  private:
    const std::unique_ptr<FILE, int (*)(FILE*)> mFile{tmpfile(), fclose};
    const std::unique_ptr<oxa::host::Display> mDisplay = oxa::host::createNullDisplay();
    const OwnLooper mReportLooper{reports};
    const OwnLooper mLooper{pipeline};

  public:
    const sp<Surface> surface = new Surface(mDisplay->producer());
    sp<OxaMediaMuxer> muxer =
            new OxaMediaMuxer(fileno(mFile.get()), OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4);
};

class ReceiverStage : public Stage<AudioRxEncoder> {
  public:
    static constexpr char kName[] = "AudioRxEncoder";
    static std::vector<Step> steps(ReceiverStage* stage) {
        return {{[=] { return stage->pipeline->setAudioSource(0); },
                 refusalOf("mState == UNINITIALIZED")},
                {[=] { return stage->pipeline->configure(&stage->format); },
                 refusalOf("mState == INITIALIZED || mState ==STARTED"), true},
                {[=] { return stage->pipeline->prepare(); }, refusalOf("mState == CONFIGURED")},
                {[=] { return stage->pipeline->start(-1); }, refusalOf("mState == PREPARED")},
                {[=] { return stage->pipeline->stop(); }, ""}};
    }
    status_t switchOn() { return pipeline->setRecord(true, -1); }
    // With a muxer that nobody need start.
    void startRecording() {
        pipeline->setMuxer(muxer);
        advance(this, 4);
        EXPECT_EQ(switchOn(), OK);
    }
};

class CameraStage : public Stage<CameraRecorder> {
  public:
    static constexpr char kName[] = "CameraRecorder";
    static constexpr int kHdmiRx = 1;
    static constexpr int kUsbCamera = 0;
    static constexpr size_t kPrepare = 3;

    CameraStage() { oxa::host::registerCamera(0, kPicture); }
    static std::vector<Step> steps(CameraStage* stage) {
        return {{[=] { return stage->pipeline->setDataSource(stage->type, 0, String16("test")); },
                 refusalOf("mState == UNINITIALIZED")},
                {[=] { return stage->pipeline->setSurface(stage->surface); },
                 refusalOf("mState == WAIT_SURFACE")},
                {[=] { return stage->pipeline->configure(stage->format); },
                 refusalOf("mState == INITIALIZED || mState == STARTED"), true},
                {[=] { return stage->pipeline->prepare(); }, refusalOf("mState == CONFIGURED")},
                {[=] { return stage->pipeline->start(); }, refusalOf("mState == PREPARED")},
                {[=] { return stage->pipeline->stop(); }, refusalOf("mState == STARTED")}};
    }
    status_t switchOn() { return pipeline->setRecord(true); }

    static constexpr char kPicture[] = "lavfi:testsrc2=size=160x120:rate=30";
    int type = kUsbCamera;
};

}  // namespace android
