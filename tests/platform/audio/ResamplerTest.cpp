// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <audio_utils/resampler.h>
#include <errno.h>

#include "support/Sound.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

constexpr uint32_t kQuality = RESAMPLER_QUALITY_DEFAULT;
constexpr size_t kBlockFrames = 1024;

// Each channel has a tone of its own, so that mixed-up channels show.
double toneOf(int channel) {
    return 440 + 370 * channel;
}

std::vector<int16_t> tones(int channels, int rate, size_t frames) {
    const std::vector<double> frequencies = {toneOf(0), toneOf(1)};
    return oxa::test::tones({frequencies.begin(), frequencies.begin() + channels}, 0.5, rate,
                            frames);
}

class Converter {
  public:
    Converter(uint32_t inRate, uint32_t outRate, int channels,
              resampler_buffer_provider* provider = nullptr)
        : mInRate(inRate), mOutRate(outRate), mChannels(channels) {
        EXPECT_EQ(create_resampler(inRate, outRate, channels, kQuality, provider, &mResampler), 0);
    }
    ~Converter() { release_resampler(mResampler); }

    resampler_itfe* get() const { return mResampler; }

    // In blocks, into as much room as the rates ask for and one frame more.
    std::vector<int16_t> convert(std::vector<int16_t> in, size_t blockFrames = kBlockFrames) {
        std::vector<int16_t> out;
        for (size_t at = 0; at < in.size(); at += blockFrames * mChannels) {
            size_t inFrames = std::min(blockFrames, (in.size() - at) / mChannels);
            const size_t offered = inFrames;
            size_t outFrames = inFrames * mOutRate / mInRate + 1;
            std::vector<int16_t> room(outFrames * mChannels);
            EXPECT_EQ(mResampler->resample_from_input(mResampler, in.data() + at, &inFrames,
                                                      room.data(), &outFrames),
                      0);
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

TEST(ResamplerTest, keepsPitchLevelLengthAndChannels) {
    constexpr int kSeconds = 5;
    for (const auto& [in, out, channels] : {std::tuple(44100, 48000, 2),
                                            {44100, 48000, 1},
                                            {32000, 48000, 2},
                                            {48000, 44100, 2},
                                            {96000, 48000, 1}}) {
        SCOPED_TRACE(std::to_string(in) + " to " + std::to_string(out));
        const std::vector<int16_t> source = tones(channels, in, size_t{1} * in * kSeconds);
        const Sound sound =
                soundFromPcm(Converter(in, out, channels).convert(source), channels, out);
        // What the filter still holds at the end is missing.
        EXPECT_NEAR(sound.seconds(), kSeconds, 0.002);
        for (int channel = 0; channel < channels; ++channel) {
            const std::vector<float> heard = window(sound.channel(channel), out, 1, 3);
            EXPECT_NEAR(toneOf(channel), dominantFrequency(heard, out), 0.5);
            EXPECT_NEAR(toneDb(heard, out, toneOf(channel)), -6.02, 0.1);
            if (channels == 1) continue;
            EXPECT_LT(toneDb(heard, out, toneOf(1 - channel)), -70);
        }
    }
}

TEST(ResamplerTest, refusesWhatItCannotDo) {
    resampler_itfe* resampler = nullptr;
    EXPECT_EQ(create_resampler(44100, 48000, 2, kQuality, nullptr, nullptr), -EINVAL);
    for (const uint32_t quality : {0U, 10U})
        EXPECT_EQ(create_resampler(44100, 48000, 2, quality, nullptr, &resampler), -EINVAL);
    for (const uint32_t rate : {0U, 48000U}) {
        resampler = reinterpret_cast<resampler_itfe*>(1);
        EXPECT_EQ(create_resampler(rate, 48000, rate == 0 ? 2 : 0, kQuality, nullptr, &resampler),
                  -ENODEV);
        EXPECT_EQ(resampler, nullptr);
    }
    release_resampler(nullptr);

    Converter converter(44100, 48000, 1);
    resampler_itfe* const itfe = converter.get();
    int16_t samples[4] = {};
    size_t in = 4;
    size_t out = 4;
    EXPECT_EQ(itfe->resample_from_input(itfe, nullptr, &in, samples, &out), -EINVAL);
    EXPECT_EQ(itfe->resample_from_input(itfe, samples, &in, samples, nullptr), -EINVAL);
    EXPECT_EQ(itfe->resample_from_provider(itfe, samples, &out), -ENOSYS);
}

TEST(ResamplerTest, tellsHowLongItHoldsSound) {
    Converter converter(44100, 48000, 1);
    constexpr size_t kImpulseFrame = 500;
    std::vector<int16_t> impulse(2000);
    impulse[kImpulseFrame] = 30000;
    const std::vector<float> out =
            soundFromPcm(converter.convert(impulse, impulse.size()), 1, 48000).channel(0);
    const double heardMs = peakPosition(out) / 48.0;
    const double delayMs = converter.get()->delay_ns(converter.get()) / 1e6;
    EXPECT_GT(delayMs, 0);
    EXPECT_NEAR(heardMs, kImpulseFrame / 44.1 + delayMs, 0.05);
}

TEST(ResamplerTest, forgetsItsSoundWhenReset) {
    Converter converter(44100, 48000, 1);
    const std::vector<int16_t> in = tones(1, 44100, kBlockFrames);
    const std::vector<int16_t> first = converter.convert(in);
    EXPECT_NE(first, converter.convert(in));
    converter.get()->reset(converter.get());
    std::vector<int16_t> silence(kBlockFrames);
    EXPECT_THAT(converter.convert(silence), testing::Each(0));
}

// Gives its sound in small pieces.
struct PieceProvider : public resampler_buffer_provider {
    explicit PieceProvider(const std::vector<int16_t>& sound) : samples(sound) {
        get_next_buffer = [](resampler_buffer_provider* provider, resampler_buffer* buffer) {
            auto* self = static_cast<PieceProvider*>(provider);
            const size_t left = self->samples.size() - self->at;
            buffer->frame_count = std::min({buffer->frame_count, size_t{100}, left});
            buffer->i16 = left == 0 ? nullptr : self->samples.data() + self->at;
            return 0;
        };
        release_buffer = [](resampler_buffer_provider* provider, resampler_buffer* buffer) {
            static_cast<PieceProvider*>(provider)->at += buffer->frame_count;
        };
    }

    std::vector<int16_t> samples;
    size_t at = 0;
};

TEST(ResamplerTest, takesTheSameSoundFromAProvider) {
    const std::vector<int16_t> in = tones(1, 44100, 4 * kBlockFrames);
    const std::vector<int16_t> expected = Converter(44100, 48000, 1).convert(in, in.size());
    PieceProvider provider(in);
    Converter converter(44100, 48000, 1, &provider);
    resampler_itfe* const itfe = converter.get();
    std::vector<int16_t> out;
    for (;;) {
        int16_t room[480];
        size_t frames = std::size(room);
        ASSERT_EQ(itfe->resample_from_provider(itfe, room, &frames), 0);
        if (frames == 0) break;
        EXPECT_EQ(frames, std::min(std::size(room), expected.size() - out.size())) << "no less";
        out.insert(out.end(), room, room + frames);
    }
    EXPECT_EQ(out, expected);
    size_t frames = 1;
    int16_t sample = 0;
    EXPECT_EQ(itfe->resample_from_input(itfe, &sample, &frames, &sample, &frames), -ENOSYS);
    EXPECT_EQ(frames, 0u) << "nothing came out";
}

}  // namespace
}  // namespace oxa::test
