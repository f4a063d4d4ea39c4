// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "oxa/jobs/InputPart.h"
#include "oxa/jobs/Job.h"
#include "oxa/jobs/Track.h"

namespace oxa::jobs {

// Where pictures go.
struct DisplayChoice {
    enum class Kind { kWindow, kNull, kPng };
    Kind kind = Kind::kWindow;
    std::string directory;  // kPng: made where it is missing; may not hold pictures of another run
};

// Where sound goes.
struct SoundChoice {
    enum class Kind { kDevice, kNull, kWav };
    Kind kind = Kind::kDevice;
    std::string file;  // kWav: must not exist
};

// What a user of the player can ask for while it runs.
enum class PlayKey {
    kPause,        // and go on
    kBack,         // 10 s
    kForward,      // 10 s
    kLouder,       // by 10 percent
    kQuieter,      // the same
    kMute,         // and back
    kFullScreen,   // and back, where there is a window
    kNextPicture,  // one, and pause
    kQuit,
};

struct PlayOptions {
    std::string input;  // as oxa/jobs/Input.h says
    InputPart part;
    Only only = Only::kBoth;
    bool freeRun = false;   // each picture as soon as it is decoded, none is dropped
    bool tunneled = false;  // the decoder shows the pictures by itself, in step with the sound
    DisplayChoice display;
    SoundChoice sound;
    int volume = 100;  // percent, 0 to 100
};

// Plays the first picture and the first sound of a file in time; run() returns when the last
// picture has had its time and the last sound was heard, or when the window was closed. Without a
// screen or a sound device one warning says so and it goes on without. Sound with more than 8
// channels is left out with a warning. A playback that is cancelled ends with kCancelled.
//
// Windows of all jobs are served by one thread, which the first of them starts for the whole
// process.
class Play : public Job {
  public:
    explicit Play(PlayOptions options, JobListener* listener = nullptr);

    // As if it were pressed in the window. Does not wait; any thread, as long as the object lives.
    void press(PlayKey key);

  private:
    Result work(JobContext& context) override;

    const PlayOptions mOptions;
};

}  // namespace oxa::jobs
