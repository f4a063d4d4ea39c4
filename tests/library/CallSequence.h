// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

namespace oxa::test {

enum Streams { kBothStreams, kSoundOnly, kPictureOnly };
enum Job {
    kPlayFile,
    kTranscodeFile,
    kIdleFile,
    kPreviewUsb,
    kRecordUsb,
    kRecordShortUsb,  // whose camera ends after a moment
    kPreviewHdmi,
    kRecordHdmi,
    kRecordSilentHdmi,
    kNameless,
    kRecordNameless,
};
enum Source { kShortClip, kShortClipDescriptor, kLongClip, kSilentClip };
enum Output {
    kMp4,
    kTs,
    kMp4Descriptor,
    kTsDescriptor,
    kDefaultMp4,
    kDefaultTs,
    kFullDevice,
    // Refused.
    kNoSuchFolder,
    kLongName,
    kMemory,
    kNoContainer,
};
enum TargetFormat { kUsualFormat, kHalfRate, kDoubleRate };

// A call of a player's client, or what happens around it. The value chooses among the variants of
// the call, in the order of its words in CallSequence.cpp.
struct Call {
    enum Name {
        kCreate,
        kInitiate,
        kDataSource,
        kCameraSource,
        kAudioSource,
        kSurface,
        kMuxer,
        kTargetFormat,
        kPlayback,
        kTranscode,
        kTunneled,
        kFreeRun,
        kCalculateFps,
        kWriteback,
        kPrepare,
        kStart,
        kStop,
        kDrain,
        kCleanup,
        kCameraParameters,
        kProgress,
        kWaitTime,
        kSecondPlayer,  // another one is made and goes away
        // The client waits: isWait().
        kUntilRecorded,  // until samples come, if they must
        kUntilEnded,     // until a file has ended, if it must
        kUntilFinished,  // until the recording that was switched off is whole
        kPause,
        // Something happens: isEvent().
        kCameraLost,
        kCameraStalled,
        kMicrophoneLost,
        kServiceEnded,
        kUnplugged,
        kPlugged,
        kDiskFull,
        kLateWakers,  // from now on threads that wake others often stand still for a moment
        kCount,
    };

    Name name = kCreate;
    int value = 0;
    // On a second thread, at the same time as the next call; a cleanup before it.
    bool aside = false;

    // On the player's looper.
    bool isRequest() const { return name >= kDataSource && name <= kStop && name != kWriteback; }
    bool isWait() const { return name >= kUntilRecorded && name <= kPause; }
    bool isEvent() const { return name >= kCameraLost && name < kLateWakers; }
    bool happensTo(Job job) const;
    // Made at the same time as the next one.
    bool isPaired() const { return aside && name != kCleanup; }
};

// What a job is to initiate(), and which call comes next.
struct JobKind {
    int source;
    bool playback;
    bool transcode;
    Call::Name firstStep;
};
const JobKind& kindOf(Job job);
inline bool isLive(Job job) {
    return job >= kPreviewUsb && job <= kRecordSilentHdmi;
}
inline bool isHdmi(Job job) {
    return job >= kPreviewHdmi && job <= kRecordSilentHdmi;
}
inline bool isDescriptor(Output output) {
    return output == kMp4Descriptor || output == kTsDescriptor || output == kFullDevice;
}

using Sequence = std::vector<Call>;

// All variants of all calls, none of them aside.
const Sequence& allCalls();

// "initiate record-usb; setCameraSource 0; setTranscode on &": & stands for aside.
std::string textOf(const Call& call);
std::string textOf(const Sequence& sequence);
// Aborts the program at a word that is none.
Sequence parseSequence(const std::string& text);

}  // namespace oxa::test
