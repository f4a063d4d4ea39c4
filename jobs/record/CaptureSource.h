// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/HdmiReceiver.h>

#include <memory>
#include <optional>
#include <string>

#include "files/TemporaryFolder.h"
#include "oxa/jobs/LiveSource.h"
#include "oxa/jobs/Track.h"
#include "record/LivePlace.h"

namespace oxa::jobs {

// Nothing when the source makes sense; otherwise what is wrong with it (kOptions). Opens nothing.
std::optional<Failure> checkSource(const LiveSource& source, Only only);

// A graph with the pictures of a graph or a file, and silence beside them; nothing for a device.
std::optional<std::string> withSilence(const std::string& source);

// The camera that was chosen, as one of the platform's cameras, and its sound as that of the audio
// service or a microphone. One of the HDMI receiver in a process.
class CaptureSource {
  public:
    ~CaptureSource();

    // Sets up what `source` asks for, which checkSource() has found right, and tries to open it.
    // Nothing when it is there; otherwise why not (kInput). A source with pictures only has no
    // sound; sound that was asked for is there.
    std::optional<Failure> open(const LiveSource& source, Only only);

    bool isHdmi() const { return mSource.kind == LiveSource::Kind::kHdmi; }
    bool hasVideo() const { return mHasVideo; }
    bool hasAudio() const { return !mSound.empty(); }
    // Null without one.
    host::SimulatedHdmiReceiver* receiver() const { return mReceiver.get(); }
    // Whether its pictures come from a device, which others may have.
    bool isDevice() const;
    // The platform's numbers of them.
    const LivePlace& place() const { return mPlace; }
    const std::string& name() const { return mSource.name; }
    // Where the sound comes from; the same text as name() for the source's own.
    const std::string& soundName() const { return mSound; }
    // How long its picture is; nothing where it does not end or says so by itself.
    std::optional<int64_t> lengthUs() const { return mLengthUs; }
    // Whether `path` is a file that the source reads.
    bool isReadFrom(const std::string& path) const;

  private:
    std::optional<Failure> chooseSound(Only only);
    std::optional<Failure> openHdmi();
    void openUsb();

    LiveSource mSource;
    LivePlace mPlace;
    bool mHasVideo = false;
    bool mOwnSound = false;  // the picture's source has sound
    std::string mSound;      // empty: none
    std::optional<int64_t> mLengthUs;
    TemporaryFolder mDeviceRoot;
    std::unique_ptr<host::SimulatedHdmiReceiver> mReceiver;
};

}  // namespace oxa::jobs
