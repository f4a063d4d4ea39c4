// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace oxa::test {

// Decoded sound: float samples at full scale 1, interleaved, of one shape, as the decoder gave them
// (nothing is put into gaps of the stream's times).
struct Sound {
    int sampleRate = 0;
    int channels = 0;
    std::vector<float> samples;
    // For each decoded block: its first frame in `samples`, and its time relative to the file's
    // start in microseconds.
    std::vector<std::pair<size_t, int64_t>> blocks;

    bool empty() const { return samples.empty(); }
    size_t frames() const { return channels == 0 ? 0 : samples.size() / channels; }
    double seconds() const { return sampleRate == 0 ? 0 : 1.0 * frames() / sampleRate; }
    std::vector<float> channel(int index) const;
    // The mean of all channels.
    std::vector<float> mono() const;
    // The time at which a frame is heard, relative to the file's start.
    double timeUs(double frame) const;
};

// The first sound stream of a file; empty if there is none. A change of rate or channels in the
// middle ends it.
Sound decodeSound(const std::string& path);

// Sound from interleaved 16-bit samples.
Sound soundFromPcm(const std::vector<int16_t>& pcm, int channels, int sampleRate);

// `count` samples of a sine of this peak amplitude (full scale 1).
std::vector<float> sine(double frequency, double amplitude, int sampleRate, size_t count);

// Interleaved 16-bit samples of the channels; and with a tone of its own in each of them.
std::vector<int16_t> interleave(const std::vector<std::vector<float>>& channels);
std::vector<int16_t> tones(const std::vector<double>& frequencies, double amplitude, int sampleRate,
                           size_t frames);
// A window of one channel's samples, clipped to what there is; lengths in seconds, a negative
// `from` counts from the end.
std::vector<float> window(const std::vector<float>& samples, int sampleRate, double from,
                          double length);

constexpr double kSilenceDb = -200;

// Root mean square in dB below full scale: -3.01 for a sine of amplitude 1, kSilenceDb for nothing.
double levelDb(const std::vector<float>& samples);
// The level that one second would need for the energy of the whole: silence around and between,
// more or less of which an output adds, does not count.
double energyDb(const std::vector<float>& samples, int sampleRate);
// The peak amplitude of one frequency in dB: 0 for a sine of amplitude 1 (Goertzel, Hann window).
double toneDb(const std::vector<float>& samples, int sampleRate, double frequency);
// The strongest frequency in Hz (FFT with interpolation), 0 for silence.
double dominantFrequency(const std::vector<float>& samples, int sampleRate);

// By how many samples `b` lags behind `a` (b[i + lag] looks like a[i]), searched within maxLag.
int64_t correlationLag(const std::vector<float>& a, const std::vector<float>& b, int64_t maxLag);

// Index of the loudest sample.
size_t peakPosition(const std::vector<float>& samples);

constexpr double kBeepFrequency = 1000;

// The first samples of beeps that are preceded by silence, to a fraction of a millisecond, also
// where a codec has smeared the edges.
std::vector<double> beepPositions(const std::vector<float>& samples, int sampleRate);

}  // namespace oxa::test
