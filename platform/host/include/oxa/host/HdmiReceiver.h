// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace oxa::host {

struct HdmiReceiverOptions {
    // Where the driver's files are published, e.g. a temporary directory; must exist.
    std::string deviceRoot;
    // Picture and sound ("lavfi:GRAPH" with both, or a media file). Empty: a test picture and a
    // tone with the figures below.
    std::string source;
    // The signal as the driver tells it, and the size and rate of the test picture.
    int width = 1920;
    int height = 1080;
    int frameRate = 60;
    bool progressive = true;
    int sampleRate = 48000;
    // The number of the receiver as a camera.
    int camera = 0;
};

// What a driver's files say.
enum class DriverFiles {
    kRight,
    kWrong,    // a signal that cannot be, in words that nobody knows
    kMissing,  // there are none
};

// An HDMI receiver that is made of a source, in place of a television's: it publishes the driver's
// files about the signal and the plug's state under the device root, is the camera with the given
// number, and its sound is that of the HDMI audio service. There is one at a time. Thread-safe.
//
// The files are replaced as a whole. Destroying the receiver pulls the plug and removes them.
class SimulatedHdmiReceiver {
  public:
    // Plugged in. Null, with the reason, when the files cannot be written, the source cannot be
    // opened, or there is a receiver already.
    static std::unique_ptr<SimulatedHdmiReceiver> create(const HdmiReceiverOptions& options,
                                                         std::string* error);
    virtual ~SimulatedHdmiReceiver() = default;

    // The signal is gone; a camera that is open is lost.
    virtual void unplug() = 0;
    virtual void plug() = 0;
    // The source's picture has this size from now on; an open camera goes on in the size that it
    // was set to.
    virtual void setSize(int width, int height) = 0;
    // Pictures come so often from now on; of a source that is slower, as often as it has some.
    virtual void setFrameRate(int frameRate) = 0;
    // Interlaced: every picture's upper field is the one before.
    virtual void setProgressive(bool progressive) = 0;
    // The service's sound has this rate (Hz) from now on, whatever its source, until the service
    // is given another source.
    virtual void setSampleRate(int sampleRate) = 0;
    // What the files say from now on, whatever happens to the signal.
    virtual void setDriverFiles(DriverFiles files) = 0;
    // Whether the plug is in and the driver's files tell of its signal.
    virtual bool isReady() = 0;
    // The same, and of its sound.
    virtual bool hasAudio() = 0;
    // Sound stops coming, or comes again, while the picture goes on.
    virtual void loseAudio() = 0;
    virtual void restoreAudio() = 0;
    // Neither picture nor sound comes, though the plug is in; a camera gives up after 3 s.
    virtual void stall() = 0;
    virtual void resume() = 0;
};

}  // namespace oxa::host
