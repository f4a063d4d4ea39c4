// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>

namespace oxa::host {

// What the HDMI audio service of this process captures: the sound of the simulated HDMI receiver
// (oxa/host/HdmiReceiver.h) unless another source was chosen. Like on a television the service is
// always there, with a receiver or without. All calls are thread-safe.

struct HdmiSoundOptions {
    // "alsa:DEVICE", "pulse:DEVICE", "lavfi:GRAPH" (a filter graph that makes sound), or a media
    // file, which is captured in real time.
    std::string source;
    // A file begins again at its end instead of ending.
    bool repeat = false;
    // What the receiver tells the service, in Hz; 0: the source's own rate.
    int sampleRate = 0;
    // What comes, whatever the client asks for; 0: what it asks for.
    int channels = 0;
};

// Both count for captures that begin afterwards.
void useHdmiSound(const HdmiSoundOptions& options);
void useHdmiReceiverSound();

// Why no sound can be captured from this source, in one line; empty when it can. Opens and closes
// it, which takes a moment.
std::string hdmiSoundError(const std::string& source);

// The capture that is running goes on with this rate, as when the signal has changed; so do those
// that follow. 0: the source's own rate.
void setHdmiSoundRate(int sampleRate);
// The same for the channels, 1 to 8. 0: what the client asks for.
void setHdmiSoundChannels(int channels);

// Since the service has started.
struct HdmiSoundFigures {
    uint64_t blocks = 0;   // given to the client
    uint64_t dropped = 0;  // blocks that the client did not fetch in time
    double peak = 0;       // the largest sample of the last moments, from 0 to 1
    bool capturing = false;
};

HdmiSoundFigures hdmiSoundFigures();

// What can happen to a source that was chosen by useHdmiSound(), for tests; that of the receiver
// has commands of its own. A source that is lost is tried again until it is there.
void stallHdmiSound(bool stalled);
void loseHdmiSound(bool lost);

// Each call to the service takes so much longer, in microseconds, until it has died.
void delayHdmiSoundService(int64_t delayUs);

// The service ends as if its process had died: its clients' calls fail, those who asked for it hear
// of its death, and nobody finds it; until it is started again, without what clients have told it.
void endHdmiSoundService();
void startHdmiSoundService();
bool isHdmiSoundServiceThere();

// Told to the fault listeners as FaultSource::kSound: nothing came for 3 s while somebody records
// (ETIMEDOUT), the source cannot be opened or has failed (with the errno), both once until sound
// comes again; and as ends, the end of a file (error 0) and of the service (EPIPE).

}  // namespace oxa::host
