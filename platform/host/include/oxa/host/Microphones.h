// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>

namespace oxa::host {

// Which microphone an audio source (AUDIO_SOURCE_DEFAULT, AUDIO_SOURCE_MIC, ...) means. The one of
// AUDIO_SOURCE_DEFAULT also serves the audio sources that have none of their own; without any it is
// the system's default, "alsa:default". All calls are thread-safe and count for audio records that
// are started afterwards, unless they say otherwise.
//
// A source is "alsa:DEVICE", "pulse:DEVICE", "lavfi:GRAPH" (a filter graph that makes sound), or a
// media file, which is captured in real time. One that is missing makes the record fail: there is
// no silence in its place.

struct MicrophoneOptions {
    // A file begins again at its end instead of ending.
    bool repeat = false;
};

// Makes `source` the microphone of `audioSource`, in place of another. It is not opened. False for
// an audio source that does not exist or an empty source.
bool registerMicrophone(int audioSource, const std::string& source,
                        const MicrophoneOptions& options = {});
// Forgets all registrations.
void clearMicrophones();
// The source that records of this audio source capture from.
std::string microphoneSource(int audioSource);

// Why no sound can be captured from this source, in one line; empty when it can. Opens and closes
// it, which takes a moment.
std::string microphoneSourceError(const std::string& source);

// Counted since the registration, over all records.
struct MicrophoneFigures {
    uint64_t captured = 0;  // frames that have come, in the records' rates
    uint64_t dropped = 0;   // of these, did not fit since the client was slow
    double peak = 0;        // the largest sample of the last moments, from 0 to 1
};

// Zeros when nothing is registered for the audio source itself.
MicrophoneFigures microphoneFigures(int audioSource);

// What can happen to a device, for tests; also of records that are active. A microphone from which
// nothing comes for 3 s is lost. One that was lost and restored can be started again. False when
// nothing is registered for the audio source itself.
bool stallMicrophone(int audioSource, bool stalled);
bool loseMicrophone(int audioSource, bool lost);

// The end of a microphone is told to the fault listeners as an end of FaultSource::kSound: with
// error 0 when a file or graph is over, else with the errno of the cause (ENODEV: pulled out,
// ETIMEDOUT: nothing came).

}  // namespace oxa::host
