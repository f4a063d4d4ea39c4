// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <audio_utils/resampler.h>
#include <errno.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/Sound.h"

namespace oxa::test {
namespace {

constexpr uint32_t kQuality = RESAMPLER_QUALITY_DEFAULT;
constexpr size_t kBlockFrames = 1024;

// Each channel has a tone of its own, so that mixed-up channels show.
double toneOf(int channel) {
    return 440 + 370 * channel;
}

std::vector<int16_t> tones(int channels, int rate, size_t frames) {
    std::vector<int16_t> samples(frames * channels);
    for (int channel = 0; channel < channels; ++channel) {
        const std::vector<float> tone = sine(toneOf(channel), 0.5, rate, frames);
        for (size_t i = 0; i < frames; ++i)
            samples[i * channels + channel] = static_cast<int16_t>(tone[i] * 32767);
    }
    return samples;
}

class Converter {
  public:
    Converter(uint32_t inRate, uint32_t outRate, int channels,
              resampler_buffer_provider* provider = nullptr)
        : mInRate(inRate), mOutRate(outRate), mChannels(channels) {
        EXPECT_EQ(0, create_resampler(inRate, outRate, channels, kQuality, provider, &mResampler));
    }
    ~Converter() { release_resampler(mResampler); }

    resampler_itfe* get() const { return mResampler; }

    // In blocks, into as much room as the rates ask for and one frame more.
    std::vector<int16_t> convert(std::vector<int16_t> in, size_t blockFrames) {
        std::vector<int16_t> out;
        for (size_t at = 0; at < in.size(); at += blockFrames * mChannels) {
            size_t inFrames = std::min(blockFrames, (in.size() - at) / mChannels);
            const size_t offered = inFrames;
            size_t outFrames = inFrames * mOutRate / mInRate + 1;
            std::vector<int16_t> room(outFrames * mChannels);
            EXPECT_EQ(0, mResampler->resample_from_input(mResampler, in.data() + at, &inFrames,
                                                         room.data(), &outFrames));
            EXPECT_EQ(offered, inFrames);
            out.insert(out.end(), room.begin(), room.begin() + outFrames * mChannels);
        }
        return out;
    }

  private:
    const uint32_t mInRate;
    const uint32_t mOutRate;
    const int mChannels;
    resampler_itfe* mResampler = nullptr;
};

struct Rates {
    int in;
    int out;
    int channels;
};

class ResamplerRates : public testing::TestWithParam<Rates> {};

TEST_P(ResamplerRates, KeepsPitchLevelLengthAndChannels) {
    const Rates& rates = GetParam();
    constexpr int kSeconds = 5;
    const size_t inFrames = static_cast<size_t>(rates.in) * kSeconds;
    Converter converter(rates.in, rates.out, rates.channels);
    const Sound sound =
            soundFromPcm(converter.convert(tones(rates.channels, rates.in, inFrames), kBlockFrames),
                         rates.channels, rates.out);
    // What the filter still holds at the end is missing.
    EXPECT_NEAR(kSeconds, sound.seconds(), 0.002);
    for (int channel = 0; channel < rates.channels; ++channel) {
        const std::vector<float> heard = window(sound.channel(channel), rates.out, 1, 3);
        EXPECT_NEAR(toneOf(channel), dominantFrequency(heard, rates.out), 0.5);
        EXPECT_NEAR(-6.02, toneDb(heard, rates.out, toneOf(channel)), 0.1);
        if (rates.channels == 1) continue;
        EXPECT_LT(toneDb(heard, rates.out, toneOf(1 - channel)), -70);
    }
}

TEST_P(ResamplerRates, GivesTheSameSoundInBlocksOfAnySize) {
    const Rates& rates = GetParam();
    const std::vector<int16_t> in = tones(rates.channels, rates.in, 8 * kBlockFrames);
    const std::vector<int16_t> whole =
            Converter(rates.in, rates.out, rates.channels).convert(in, in.size());
    const std::vector<int16_t> blocks =
            Converter(rates.in, rates.out, rates.channels).convert(in, 333);
    const size_t common = std::min(whole.size(), blocks.size());
    EXPECT_GT(common, 7 * kBlockFrames * rates.out / rates.in * rates.channels);
    EXPECT_TRUE(std::equal(whole.begin(), whole.begin() + common, blocks.begin()));
}

INSTANTIATE_TEST_SUITE_P(Resampler, ResamplerRates,
                         testing::Values(Rates{44100, 48000, 2}, Rates{44100, 48000, 1},
                                         Rates{32000, 48000, 2}, Rates{48000, 44100, 2},
                                         Rates{96000, 48000, 1}),
                         [](const testing::TestParamInfo<Rates>& info) {
                             return std::to_string(info.param.in) + "to" +
                                    std::to_string(info.param.out) + "x" +
                                    std::to_string(info.param.channels);
                         });

TEST(ResamplerTest, RefusesWhatItCannotDo) {
    resampler_itfe* resampler = nullptr;
    EXPECT_EQ(-EINVAL, create_resampler(44100, 48000, 2, kQuality, nullptr, nullptr));
    for (const uint32_t quality : {0U, 10U}) {
        EXPECT_EQ(-EINVAL, create_resampler(44100, 48000, 2, quality, nullptr, &resampler));
    }
    for (const uint32_t rate : {0U, 48000U}) {
        resampler = reinterpret_cast<resampler_itfe*>(1);
        EXPECT_EQ(-ENODEV,
                  create_resampler(rate, 48000, rate == 0 ? 2 : 0, kQuality, nullptr, &resampler));
        EXPECT_EQ(nullptr, resampler);
    }
    release_resampler(nullptr);

    Converter converter(44100, 48000, 1);
    resampler_itfe* const itfe = converter.get();
    int16_t samples[4] = {};
    size_t in = 4;
    size_t out = 4;
    EXPECT_EQ(-EINVAL, itfe->resample_from_input(itfe, nullptr, &in, samples, &out));
    EXPECT_EQ(-EINVAL, itfe->resample_from_input(itfe, samples, &in, samples, nullptr));
    EXPECT_EQ(-ENOSYS, itfe->resample_from_provider(itfe, samples, &out));
}

TEST(ResamplerTest, TellsHowLongItHoldsSound) {
    Converter converter(44100, 48000, 1);
    constexpr size_t kImpulseFrame = 500;
    std::vector<int16_t> impulse(2000);
    impulse[kImpulseFrame] = 30000;
    const std::vector<float> out =
            soundFromPcm(converter.convert(impulse, impulse.size()), 1, 48000).channel(0);
    const double heardMs = peakPosition(out) / 48.0;
    const double delayMs = converter.get()->delay_ns(converter.get()) / 1e6;
    EXPECT_GT(delayMs, 0);
    EXPECT_NEAR(kImpulseFrame / 44.1 + delayMs, heardMs, 0.05);
}

TEST(ResamplerTest, ForgetsItsSoundWhenReset) {
    Converter converter(44100, 48000, 1);
    const std::vector<int16_t> in = tones(1, 44100, kBlockFrames);
    const std::vector<int16_t> first = converter.convert(in, kBlockFrames);
    EXPECT_NE(first, converter.convert(in, kBlockFrames));
    converter.get()->reset(converter.get());
    std::vector<int16_t> silence(kBlockFrames);
    const std::vector<int16_t> after = converter.convert(silence, kBlockFrames);
    EXPECT_TRUE(
            std::all_of(after.begin(), after.end(), [](int16_t sample) { return sample == 0; }));
}

// Gives its sound in small pieces.
class PieceProvider : public resampler_buffer_provider {
  public:
    explicit PieceProvider(std::vector<int16_t> samples) : mSamples(std::move(samples)) {
        get_next_buffer = [](resampler_buffer_provider* self, resampler_buffer* buffer) {
            return static_cast<PieceProvider*>(self)->get(buffer);
        };
        release_buffer = [](resampler_buffer_provider* self, resampler_buffer* buffer) {
            static_cast<PieceProvider*>(self)->mAt += buffer->frame_count;
        };
    }

  private:
    int get(resampler_buffer* buffer) {
        constexpr size_t kPiece = 100;
        buffer->frame_count = std::min({buffer->frame_count, kPiece, mSamples.size() - mAt});
        buffer->i16 = buffer->frame_count == 0 ? nullptr : mSamples.data() + mAt;
        return 0;
    }

    std::vector<int16_t> mSamples;
    size_t mAt = 0;
};

TEST(ResamplerTest, TakesTheSameSoundFromAProvider) {
    const std::vector<int16_t> in = tones(1, 44100, 4 * kBlockFrames);
    const std::vector<int16_t> expected = Converter(44100, 48000, 1).convert(in, in.size());
    PieceProvider provider(in);
    Converter converter(44100, 48000, 1, &provider);
    resampler_itfe* const itfe = converter.get();
    std::vector<int16_t> out;
    for (;;) {
        int16_t room[480];
        size_t frames = std::size(room);
        ASSERT_EQ(0, itfe->resample_from_provider(itfe, room, &frames));
        if (frames == 0) break;
        out.insert(out.end(), room, room + frames);
    }
    EXPECT_EQ(expected, out);
    size_t frames = 1;
    int16_t sample = 0;
    EXPECT_EQ(-ENOSYS, itfe->resample_from_input(itfe, &sample, &frames, &sample, &frames));
}

}  // namespace
}  // namespace oxa::test
