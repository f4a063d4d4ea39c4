// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Sound.h"

#include <algorithm>
#include <cmath>
#include <complex>

#include "support/MediaReader.h"

namespace oxa::test {

namespace {

using Complex = std::complex<double>;

float sampleAt(const AVFrame& frame, int channel, int index) {
    const auto format = static_cast<AVSampleFormat>(frame.format);
    const bool planar = av_sample_fmt_is_planar(format);
    const uint8_t* plane = frame.extended_data[planar ? channel : 0];
    const size_t at =
            planar ? index : static_cast<size_t>(index) * frame.ch_layout.nb_channels + channel;
    switch (av_get_packed_sample_fmt(format)) {
        case AV_SAMPLE_FMT_U8:
            return (plane[at] - 128) / 128.0f;
        case AV_SAMPLE_FMT_S16:
            return reinterpret_cast<const int16_t*>(plane)[at] / 32768.0f;
        case AV_SAMPLE_FMT_S32:
            return static_cast<float>(reinterpret_cast<const int32_t*>(plane)[at] / 2147483648.0);
        case AV_SAMPLE_FMT_FLT:
            return reinterpret_cast<const float*>(plane)[at];
        case AV_SAMPLE_FMT_DBL:
            return static_cast<float>(reinterpret_cast<const double*>(plane)[at]);
        default:
            return 0;
    }
}

// In place, size a power of two; not scaled.
void transform(std::vector<Complex>* data, bool inverse) {
    std::vector<Complex>& x = *data;
    const size_t count = x.size();
    for (size_t i = 1, j = 0; i < count; ++i) {
        size_t bit = count >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j) std::swap(x[i], x[j]);
    }
    for (size_t length = 2; length <= count; length <<= 1) {
        const double angle = (inverse ? 2 : -2) * M_PI / static_cast<double>(length);
        std::vector<Complex> turns(length / 2);
        for (size_t k = 0; k < turns.size(); ++k)
            turns[k] = std::polar(1.0, angle * k);
        for (size_t start = 0; start < count; start += length) {
            for (size_t k = 0; k < length / 2; ++k) {
                const Complex even = x[start + k];
                const Complex odd = x[start + k + length / 2] * turns[k];
                x[start + k] = even + odd;
                x[start + k + length / 2] = even - odd;
            }
        }
    }
}

size_t powerOfTwoAtLeast(size_t size) {
    size_t power = 1;
    while (power < size)
        power <<= 1;
    return power;
}

double hann(size_t index, size_t count) {
    return 0.5 - 0.5 * std::cos(2 * M_PI * static_cast<double>(index) / static_cast<double>(count));
}

double toDb(double amplitude) {
    return amplitude <= 0 ? kSilenceDb : std::max(kSilenceDb, 20 * std::log10(amplitude));
}

// The amplitude of a beep's frequency around each sample: demodulated and averaged over some
// samples centred on it, so that half height marks the edge of a burst.
std::vector<double> envelope(const std::vector<float>& samples, int sampleRate) {
    // Five whole periods: long enough to tell the tone from a click, short against a beep.
    constexpr double kPeriods = 5;
    const auto width = static_cast<size_t>(std::lround(kPeriods * sampleRate / kBeepFrequency));
    std::vector<Complex> sums(samples.size() + 1);
    for (size_t i = 0; i < samples.size(); ++i) {
        const double phase = -2 * M_PI * kBeepFrequency * static_cast<double>(i) / sampleRate;
        sums[i + 1] = sums[i] + static_cast<double>(samples[i]) * std::polar(1.0, phase);
    }
    std::vector<double> heights(samples.size());
    for (size_t i = 0; i < samples.size(); ++i) {
        const size_t from = i < width / 2 ? 0 : i - width / 2;
        const size_t to = std::min(samples.size(), i + width - width / 2);
        heights[i] = 2 * std::abs(sums[to] - sums[from]) / static_cast<double>(width);
    }
    return heights;
}

}  // namespace

std::vector<float> Sound::channel(int index) const {
    std::vector<float> result(frames());
    for (size_t i = 0; i < result.size(); ++i)
        result[i] = samples[i * channels + index];
    return result;
}

std::vector<float> Sound::mono() const {
    std::vector<float> result(frames());
    for (size_t i = 0; i < result.size(); ++i) {
        float sum = 0;
        for (int c = 0; c < channels; ++c)
            sum += samples[i * channels + c];
        result[i] = sum / static_cast<float>(channels);
    }
    return result;
}

double Sound::timeUs(double frame) const {
    const auto after = std::upper_bound(blocks.begin(), blocks.end(), frame,
                                        [](double value, const auto& block) {
                                            return value < static_cast<double>(block.first);
                                        });
    const std::pair<size_t, int64_t> block =
            after == blocks.begin() ? std::pair<size_t, int64_t>(0, 0) : *std::prev(after);
    return static_cast<double>(block.second) +
           (frame - static_cast<double>(block.first)) * 1e6 / sampleRate;
}

Sound decodeSound(const std::string& path) {
    Sound sound;
    MediaReader reader(path);
    const int stream = reader.findStream(AVMEDIA_TYPE_AUDIO);
    if (stream < 0) return sound;
    bool changed = false;
    reader.decode({stream}, [&](int, const AVFrame& frame, int64_t timeUs) {
        if (sound.empty()) {
            sound.sampleRate = frame.sample_rate;
            sound.channels = frame.ch_layout.nb_channels;
        }
        changed |= frame.sample_rate != sound.sampleRate ||
                   frame.ch_layout.nb_channels != sound.channels;
        if (changed) return;
        sound.blocks.emplace_back(sound.frames(), timeUs);
        for (int i = 0; i < frame.nb_samples; ++i) {
            for (int c = 0; c < sound.channels; ++c)
                sound.samples.push_back(sampleAt(frame, c, i));
        }
    });
    return sound;
}

Sound soundFromPcm(const std::vector<int16_t>& pcm, int channels, int sampleRate) {
    Sound sound;
    sound.sampleRate = sampleRate;
    sound.channels = channels;
    sound.blocks.emplace_back(0, 0);
    sound.samples.reserve(pcm.size());
    for (int16_t sample : pcm)
        sound.samples.push_back(sample / 32768.0f);
    return sound;
}

std::vector<float> sine(double frequency, double amplitude, int sampleRate, size_t count) {
    std::vector<float> samples(count);
    for (size_t i = 0; i < count; ++i) {
        samples[i] = static_cast<float>(
                amplitude * std::sin(2 * M_PI * frequency * static_cast<double>(i) / sampleRate));
    }
    return samples;
}

std::vector<int16_t> interleave(const std::vector<std::vector<float>>& channels) {
    std::vector<int16_t> pcm;
    for (size_t i = 0; i < channels[0].size(); ++i) {
        for (const auto& channel : channels)
            pcm.push_back(static_cast<int16_t>(std::lround(channel[i] * 32767)));
    }
    return pcm;
}

std::vector<int16_t> tones(const std::vector<double>& frequencies, double amplitude, int sampleRate,
                           size_t frames) {
    std::vector<std::vector<float>> channels;
    for (double frequency : frequencies)
        channels.push_back(sine(frequency, amplitude, sampleRate, frames));
    return interleave(channels);
}

std::vector<float> window(const std::vector<float>& samples, int sampleRate, double from,
                          double length) {
    const auto size = static_cast<double>(samples.size());
    const double first = std::clamp(from * sampleRate + (from < 0 ? size : 0), 0.0, size);
    const double last = std::clamp(first + length * sampleRate, first, size);
    return std::vector<float>(samples.begin() + std::lround(first),
                              samples.begin() + std::lround(last));
}

double levelDb(const std::vector<float>& samples) {
    double sum = 0;
    for (float sample : samples)
        sum += static_cast<double>(sample) * sample;
    return samples.empty() ? kSilenceDb
                           : toDb(std::sqrt(sum / static_cast<double>(samples.size())));
}

double energyDb(const std::vector<float>& samples, int sampleRate) {
    return levelDb(samples) + 10 * std::log10(static_cast<double>(samples.size()) / sampleRate);
}

double toneDb(const std::vector<float>& samples, int sampleRate, double frequency) {
    const double step = 2 * M_PI * frequency / sampleRate;
    double weights = 0;
    double before = 0;
    double beforeThat = 0;
    for (size_t i = 0; i < samples.size(); ++i) {
        const double weight = hann(i, samples.size());
        weights += weight;
        const double now = samples[i] * weight + 2 * std::cos(step) * before - beforeThat;
        beforeThat = before;
        before = now;
    }
    const double power =
            before * before + beforeThat * beforeThat - 2 * std::cos(step) * before * beforeThat;
    return weights <= 0 ? kSilenceDb : toDb(2 * std::sqrt(std::max(0.0, power)) / weights);
}

double dominantFrequency(const std::vector<float>& samples, int sampleRate) {
    if (levelDb(samples) <= kSilenceDb) return 0;
    std::vector<Complex> spectrum(powerOfTwoAtLeast(samples.size()));
    for (size_t i = 0; i < samples.size(); ++i)
        spectrum[i] = samples[i] * hann(i, samples.size());
    transform(&spectrum, false);
    size_t peak = 1;
    for (size_t k = 1; k + 1 < spectrum.size() / 2; ++k) {
        if (std::abs(spectrum[k]) > std::abs(spectrum[peak])) peak = k;
    }
    // The top of the parabola through the logarithms of the peak and its neighbours.
    const double left = std::log(std::abs(spectrum[peak - 1]) + 1e-300);
    const double middle = std::log(std::abs(spectrum[peak]) + 1e-300);
    const double right = std::log(std::abs(spectrum[peak + 1]) + 1e-300);
    const double bend = left - 2 * middle + right;
    const double shift = bend == 0 ? 0 : 0.5 * (left - right) / bend;
    return (static_cast<double>(peak) + shift) * sampleRate / static_cast<double>(spectrum.size());
}

int64_t correlationLag(const std::vector<float>& a, const std::vector<float>& b, int64_t maxLag) {
    const size_t size = powerOfTwoAtLeast(a.size() + b.size());
    std::vector<Complex> first(size);
    std::vector<Complex> second(size);
    std::copy(a.begin(), a.end(), first.begin());
    std::copy(b.begin(), b.end(), second.begin());
    transform(&first, false);
    transform(&second, false);
    for (size_t i = 0; i < size; ++i)
        second[i] *= std::conj(first[i]);
    transform(&second, true);
    int64_t best = 0;
    maxLag = std::min<int64_t>(maxLag, static_cast<int64_t>(size / 2) - 1);
    const auto at = [&](int64_t lag) {
        return second[lag < 0 ? size - static_cast<size_t>(-lag) : static_cast<size_t>(lag)].real();
    };
    for (int64_t lag = -maxLag; lag <= maxLag; ++lag) {
        if (at(lag) > at(best)) best = lag;
    }
    return best;
}

size_t peakPosition(const std::vector<float>& samples) {
    const auto loudest = std::max_element(samples.begin(), samples.end(), [](float a, float b) {
        return std::abs(a) < std::abs(b);
    });
    return static_cast<size_t>(loudest - samples.begin());
}

std::vector<double> beepPositions(const std::vector<float>& samples, int sampleRate) {
    std::vector<double> positions;
    const std::vector<double> heights = envelope(samples, sampleRate);
    if (heights.empty()) return positions;
    const double half = *std::max_element(heights.begin(), heights.end()) / 2;
    if (half < 0.01) return positions;
    const double quiet = half / 4;
    bool armed = heights[0] < quiet;
    for (size_t i = 1; i < heights.size(); ++i) {
        if (heights[i] < quiet) armed = true;
        if (!armed || heights[i] < half) continue;
        armed = false;
        const double rise = heights[i] - heights[i - 1];
        positions.push_back(static_cast<double>(i) - (rise > 0 ? (heights[i] - half) / rise : 0));
    }
    return positions;
}

}  // namespace oxa::test
