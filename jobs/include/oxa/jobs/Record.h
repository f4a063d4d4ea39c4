// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "oxa/jobs/EncodeOptions.h"
#include "oxa/jobs/Job.h"
#include "oxa/jobs/LiveSource.h"
#include "oxa/jobs/Scenario.h"

namespace oxa::jobs {

struct RecordOptions : EncodeOptions {
    LiveSource source;
    // Not given: all is one file. Otherwise a new one begins so often (microseconds, 1 s or more),
    // or rather with the first key frame from then on; no picture and no sound is lost in between,
    // and each file plays by itself. Key frames then come at least as often as files are to begin.
    std::optional<int64_t> splitUs;
    // Whether it begins switched off, see Record::switchRecording().
    bool standby = false;
    // Given: it begins switched off, too, but is encoded from the start, and the last so many
    // microseconds stay in memory (from the key frame before them on, so some seconds more). Each
    // file begins with those.
    std::optional<int64_t> replayUs;
    // A camera, a microphone, a signal or a sound service that is lost ends the file, and not the
    // recording: it goes on in a new one when all is there again.
    bool reconnect = false;
    // Of all files together; not given: until it is cancelled or the source ends.
    std::optional<int64_t> durationUs;
    // What happens to the HDMI receiver; times count from the recording's beginning.
    Scenario scenario;
    bool preview = false;  // in a window; closing it ends the recording
    bool monitor = false;  // the sound is played while it is recorded
};

// Records a camera or what comes into an HDMI receiver, with its sound, as AVC and AAC (stereo,
// 48 kHz). Size and rate are those that the camera offers.
//
// The output's name may hold strftime's conversions, which are filled in with the local time at
// which a file begins; %% is a percent sign. Without any, the files of a recording that may have
// several (splitUs, standby, replayUs, reconnect) are numbered: "cam-001.mp4". A later file takes
// no name that is in use, unless it may be replaced.
//
// The file has its final name from the first byte; an old one that it replaces is moved aside first
// and comes back if less than two seconds were recorded. What was recorded is kept when the
// recording fails. Ended by cancel(), the result is kCancelled only if a duration was asked for and
// not reached, or nothing was recorded.
//
// Settings of the whole process: while it runs, its camera and its microphone are registered
// (oxa/host/Cameras.h, oxa/host/Microphones.h), so that the kernel's cameras are not seen by
// others; the microphone's registration stays. One recording of the HDMI receiver at a time, and
// while it runs the device root of the library is a folder of its own; a second one fails with
// kInput.
class Record : public Job {
  public:
    explicit Record(RecordOptions options, JobListener* listener = nullptr);

    // Switches the recording off, or on again into a new file; preview and monitor go on. Does not
    // wait. Any thread, as long as the object lives.
    void switchRecording();

  private:
    Result work(JobContext& context) override;

    const RecordOptions mOptions;
};

}  // namespace oxa::jobs
