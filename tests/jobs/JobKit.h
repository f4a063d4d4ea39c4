// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/ContactSheet.h>
#include <oxa/jobs/Play.h>
#include <oxa/jobs/Record.h>
#include <oxa/jobs/Remux.h>
#include <oxa/jobs/Transcode.h>

#include "support/Test.h"

namespace oxa::jobs {

// What one job has told, and what is done when it begins or moves.
class HearingListener : public JobListener {
  public:
    explicit HearingListener(std::function<void()> onMoved = [] {})
        : mOnMoved(std::move(onMoved)) {}

    void onStart(const JobStart& start) override { mTracks = start.tracks; }
    void onProgress(const Progress&) override { mOnMoved(); }
    void onWarning(const std::string& text) override { mWarnings.push_back(text); }
    void onDamage(uint64_t count) override { mDamage = count; }
    void onCancelling() override { mIsCancelling = true; }

    std::vector<Track> mTracks;
    std::vector<std::string> mWarnings;
    uint64_t mDamage = 0;
    std::atomic<bool> mIsCancelling{false};

  private:
    const std::function<void()> mOnMoved;
};

// Small and quick.
TranscodeOptions quickTranscode(const std::string& input, const std::string& output);
RecordOptions quickRecord(const std::string& output,
                          const LiveSource& source = {LiveSource::Kind::kCamera,
                                                      "lavfi:testsrc2=size=160x120:rate=30;sine",
                                                      {}});

enum class JobKind { kTranscode, kRemux, kContactSheet, kPlay, kRecord };
constexpr JobKind kAllKinds[] = {JobKind::kTranscode, JobKind::kRemux, JobKind::kContactSheet,
                                 JobKind::kPlay, JobKind::kRecord};

// A job of that kind without screen and loudspeakers, which reads `input` and writes `output`, if
// it writes something.
std::unique_ptr<Job> makeJob(JobKind kind, const std::string& input, const std::string& output,
                             bool replaceOutput = false, JobListener* listener = nullptr);

using test::entriesOf;
using test::namesIn;

}  // namespace oxa::jobs
