// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace oxa::host {

// Where sound is heard. The choice is the session's (oxa/host/Session.h) and counts for audio
// tracks that are made afterwards; any number of tracks may play at once. Without a choice it is
// the sound device. All calls are thread-safe.

// The system's default sound device. A track that cannot open it is played silently at the same
// pace, with one line in the log: ask soundDeviceError() before.
void useSoundDevice();

// Silence, paced by the monotonic clock.
void useNullSound();

// A WAV file of what a listener would have heard from start to stop of a track, with its pauses, in
// the track's own rate and channels and at its pace. The file is emptied now; the tracks that
// follow the first one write to files of their own ("name-2.wav", ...). The file can be read up to
// the last second at any time. Returns the reason if the file cannot be written, in one line, and
// then nothing has changed; else an empty string. A write that fails later is told to the fault
// listeners once, and the track plays on silently.
std::string useWavSound(const std::string& path);

// A knob for what tracks play, also while they do. Thread-safe.
class SoundVolume {
  public:
    // From 0, silence, to 1, as it is.
    void set(float volume) { mVolume = std::clamp(volume, 0.0F, 1.0F); }
    float get() const { return mVolume; }

    // Whether a track that is stopped plays what it still holds, as it does unless told otherwise.
    void setPlaysOut(bool playsOut) { mPlaysOut = playsOut; }
    bool playsOut() const { return mPlaysOut; }

  private:
    std::atomic<float> mVolume{1.0F};
    std::atomic<bool> mPlaysOut{true};
};

// That of the session's tracks that are made afterwards, whatever they set themselves.
std::shared_ptr<SoundVolume> useSoundVolume();

// One-line reason why the default sound device cannot be opened, empty when it can. Opens and
// closes it, which takes a moment.
std::string soundDeviceError();

// A piece of what a listener would have heard.
struct SoundBlock {
    int track = 0;       // numbers the tracks that were made for this recording, from 1
    int64_t timeUs = 0;  // CLOCK_MONOTONIC of the first frame
    int sampleRate = 0;
    int channels = 0;
    std::vector<int16_t> samples;  // interleaved; the track's own silence included

    size_t frames() const { return channels == 0 ? 0 : samples.size() / channels; }
};

// What tracks have played, for tests. Thread-safe.
class SoundRecording {
  public:
    // Keeps the first blocks up to this many frames in total, and drops what follows.
    explicit SoundRecording(size_t maxFrames);
    ~SoundRecording();

    // Copies of what was recorded so far, in the order of recording.
    std::vector<SoundBlock> blocks() const;
    size_t frames() const;
    // Whether something was dropped.
    bool full() const;

    // For the output.
    int addTrack();
    void add(SoundBlock block);

  private:
    struct State;

    const std::unique_ptr<State> mState;
};

// Records the sound at the pace of the monotonic clock; the recording lives as long as somebody
// holds it.
std::shared_ptr<SoundRecording> useSoundRecording(size_t maxFrames);

}  // namespace oxa::host
