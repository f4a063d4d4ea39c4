// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <media/AudioRecord.h>
#include <oxa/host/Microphones.h>

#include <cerrno>

#include "support/FaultLog.h"
#include "support/RampSource.h"
#include "support/Sound.h"
#include "support/Test.h"

namespace android {
namespace {

using namespace oxa::test;
using oxa::host::Fault;
using oxa::host::FaultSource;

constexpr uint32_t kRate = 48000;
constexpr uint32_t kNotification = 512;
const String16 kClient("test");

sp<AudioRecord> newReader(audio_format_t format = AUDIO_FORMAT_PCM_16_BIT) {
    return new AudioRecord(AUDIO_SOURCE_MIC, kRate, format, AUDIO_CHANNEL_IN_MONO, kClient);
}

class AudioRecordTest : public testing::Test {
  protected:
    AudioRecordTest() { useMicrophone(rampSource(kRate)); }
    ~AudioRecordTest() override { oxa::host::clearMicrophones(); }

    static void useMicrophone(const std::string& source) {
        EXPECT_TRUE(oxa::host::registerMicrophone(AUDIO_SOURCE_MIC, source));
    }

    static std::vector<int16_t> read(const sp<AudioRecord>& record, size_t frames) {
        std::vector<int16_t> samples(frames);
        EXPECT_EQ(static_cast<ssize_t>(frames * sizeof(int16_t)),
                  record->read(samples.data(), frames * sizeof(int16_t)));
        return samples;
    }
    static size_t captured() { return oxa::host::microphoneFigures(AUDIO_SOURCE_MIC).captured; }

    bool heardFault(int error, const std::string& cause) const {
        const std::vector<Fault> faults = mFaults.faults();
        return std::any_of(faults.begin(), faults.end(), [&](const Fault& fault) {
            return fault.source == FaultSource::kSound && fault.ended && fault.error == error &&
                   fault.cause == cause;
        });
    }

    FaultLog mFaults;
};

// A record with a callback that keeps what it is given, from the beginning on.
class Client {
  public:
    using Hook = std::function<void(AudioRecord::Buffer*)>;

    explicit Client(uint32_t channels = 1, Hook hook = nullptr,
                    audio_format_t format = AUDIO_FORMAT_PCM_16_BIT)
        : mHook(std::move(hook)) {
        mRecord = new AudioRecord(AUDIO_SOURCE_MIC, kRate, format,
                                  audio_channel_in_mask_from_count(channels), kClient,
                                  6 * kNotification, &Client::onEvent, this, kNotification);
        EXPECT_EQ(mRecord->start(), OK);
    }
    ~Client() { mRecord.clear(); }

    const sp<AudioRecord>& record() const { return mRecord; }
    size_t calls() const { return mCalls; }
    size_t overruns() const { return mOverruns; }
    std::vector<int16_t> samples() const {
        std::lock_guard<std::mutex> lock(mLock);
        return mSamples;
    }
    bool waitForFrames(size_t frames) const {
        return waitFor([&] { return samples().size() >= frames * mRecord->channelCount(); });
    }

  private:
    static void onEvent(int event, void* user, void* info) {
        auto* self = static_cast<Client*>(user);
        if (event == AudioRecord::EVENT_MORE_DATA) {
            self->onData(static_cast<AudioRecord::Buffer*>(info));
        } else if (event == AudioRecord::EVENT_OVERRUN) {
            EXPECT_EQ(info, nullptr);
            ++self->mOverruns;
        }
    }

    void onData(AudioRecord::Buffer* buffer) {
        EXPECT_EQ(++mCalls, buffer->sequence);
        EXPECT_EQ(buffer->frameCount * mRecord->frameSize(), buffer->size);
        if (mHook != nullptr) mHook(buffer);
        std::lock_guard<std::mutex> lock(mLock);
        mSamples.insert(mSamples.end(), buffer->i16, buffer->i16 + buffer->size / sizeof(int16_t));
    }

    const Hook mHook;
    sp<AudioRecord> mRecord;
    std::atomic<size_t> mCalls{0};
    std::atomic<size_t> mOverruns{0};
    mutable std::mutex mLock;
    std::vector<int16_t> mSamples;  // guarded by mLock
};

TEST_F(AudioRecordTest, tellsTheResultOfItsCreation) {
    constexpr auto k16Bit = AUDIO_FORMAT_PCM_16_BIT;
    constexpr auto kSync = AudioRecord::TRANSFER_SYNC;
    ASSERT_TRUE(oxa::host::registerMicrophone(AUDIO_SOURCE_DEFAULT, rampSource(kRate)));
    for (const auto& [source, rate, format, mask, transfer, result] :
         {std::tuple(1, 48000U, k16Bit, 0x10U, AudioRecord::TRANSFER_DEFAULT, OK),
          {10, 8000, k16Bit, 0xC, kSync, OK},  // the last source
          {0, 48000, k16Bit, 0x800000FF, kSync, OK},
          {1, 48000, k16Bit, 0, kSync, BAD_VALUE},
          {1, 48000, k16Bit, 0x33, kSync, BAD_VALUE},  // a mask of outputs
          {1, 48000, k16Bit, 0xC0000000, kSync, BAD_VALUE},
          {1, 7999, k16Bit, 0xC, kSync, BAD_VALUE},
          {1, 192001, k16Bit, 0xC, kSync, BAD_VALUE},
          {1, 48000, AUDIO_FORMAT_PCM_FLOAT, 0xC, kSync, OK},
          {1, 48000, AUDIO_FORMAT_DEFAULT, 0xC, kSync, BAD_VALUE},
          {11, 48000, k16Bit, 0xC, kSync, BAD_VALUE},
          {-1, 48000, k16Bit, 0xC, kSync, BAD_VALUE},
          {1, 48000, k16Bit, 0xC, AudioRecord::TRANSFER_CALLBACK, BAD_VALUE},
          {1, 48000, k16Bit, 0xC, AudioRecord::TRANSFER_OBTAIN, INVALID_OPERATION}}) {
        SCOPED_TRACE(testing::PrintToString(std::tuple(source, rate, format, mask, transfer)));
        const sp<AudioRecord> record =
                new AudioRecord(static_cast<audio_source_t>(source), rate, format, mask, kClient, 0,
                                nullptr, nullptr, 0, AUDIO_SESSION_ALLOCATE, transfer);
        EXPECT_EQ(record->initCheck(), result);
        EXPECT_EQ(record->start(), result);
        EXPECT_EQ(result != OK, record->stopped());
        if (result != OK) continue;
        size_t frames = 0;
        EXPECT_EQ(AudioRecord::getMinFrameCount(&frames, rate, format, mask), OK);
        EXPECT_EQ(rate / 25, frames);
        EXPECT_GE(record->frameCount(), frames);
    }
}

TEST_F(AudioRecordTest, isAnErrorWithoutItsMicrophone) {
    for (const char* source : {"/no/such/file.wav", "lavfi:nosuchfilter", "lavfi:testsrc2",
                               "alsa:no_such_device", "alsa:", "pulse:no_such_source"}) {
        SCOPED_TRACE(source);
        useMicrophone(source);
        EXPECT_NE(oxa::host::microphoneSourceError(source), "");
        const sp<AudioRecord> record = newReader();
        EXPECT_EQ(record->initCheck(), NO_INIT);
        EXPECT_EQ(record->start(), NO_INIT);
        int16_t sample = 0;
        EXPECT_EQ(record->read(&sample, sizeof(sample)), NO_INIT);
        record->stop();
    }
    EXPECT_EQ(oxa::host::microphoneSourceError(rampSource(kRate)), "");
}

TEST_F(AudioRecordTest, takesTheMicrophoneOfItsAudioSource) {
    oxa::host::clearMicrophones();
    EXPECT_EQ(oxa::host::microphoneSource(AUDIO_SOURCE_MIC), "alsa:default");
    EXPECT_TRUE(oxa::host::registerMicrophone(AUDIO_SOURCE_DEFAULT, "lavfi:sine=300"));
    EXPECT_TRUE(oxa::host::registerMicrophone(AUDIO_SOURCE_CAMCORDER, "lavfi:sine=900"));
    EXPECT_FALSE(oxa::host::registerMicrophone(AUDIO_SOURCE_MAX + 1, "lavfi:sine=300"));
    EXPECT_FALSE(oxa::host::registerMicrophone(AUDIO_SOURCE_MIC, ""));
    EXPECT_EQ(oxa::host::microphoneSource(AUDIO_SOURCE_MIC), "lavfi:sine=300");
    EXPECT_EQ(oxa::host::microphoneSource(AUDIO_SOURCE_CAMCORDER), "lavfi:sine=900");
}

// A record at another rate and with other channels than the microphone's.
TEST_F(AudioRecordTest, convertsToTheFormatOfTheRecord) {
    useMicrophone("lavfi:sine=frequency=1000:sample_rate=44100");
    Client client(2);
    ASSERT_TRUE(client.waitForFrames(kRate));
    client.record()->stop();
    const Sound sound = soundFromPcm(client.samples(), 2, kRate);
    for (int channel = 0; channel < 2; ++channel)
        EXPECT_NEAR(dominantFrequency(sound.channel(channel), kRate), 1000, 1);
    // The client was called with as much as it asked for, each time.
    EXPECT_EQ(client.calls() * kNotification, sound.frames());
}

// The first samples that a record of this format reads, and that its callback is given.
template <typename Sample>
void expectRamp(audio_format_t format, const std::function<int(Sample)>& valueOf) {
    SCOPED_TRACE(format);
    constexpr size_t kFrames = 1000;
    const auto expectCounts = [&valueOf](const std::vector<Sample>& samples) {
        std::vector<int16_t> values(samples.size());
        std::transform(samples.begin(), samples.end(), values.begin(), valueOf);
        EXPECT_EQ(rampBreaks(values, 1), 0u);
    };
    const sp<AudioRecord> reader = newReader(format);
    EXPECT_EQ(sizeof(Sample), reader->frameSize());
    ASSERT_EQ(reader->start(), OK);
    std::vector<Sample> samples(kFrames);
    EXPECT_EQ(static_cast<ssize_t>(kFrames * sizeof(Sample)),
              reader->read(samples.data(), kFrames * sizeof(Sample)));
    expectCounts(samples);

    const auto take = [&](AudioRecord::Buffer* buffer) {
        const auto* raw = static_cast<const Sample*>(buffer->raw);
        expectCounts(std::vector<Sample>(raw, raw + buffer->size / sizeof(Sample)));
    };
    Client client(1, take, format);
    EXPECT_TRUE(waitFor([&] { return client.calls() > 1; }));
}

TEST_F(AudioRecordTest, givesPcmOfEachFormat) {
    expectRamp<int32_t>(AUDIO_FORMAT_PCM_32_BIT, [](int32_t sample) { return sample / 65536; });
    expectRamp<int32_t>(AUDIO_FORMAT_PCM_8_24_BIT, [](int32_t sample) { return sample / 256; });
    using Packed = std::array<int8_t, 3>;
    expectRamp<Packed>(AUDIO_FORMAT_PCM_24_BIT_PACKED, [](Packed sample) {
        return sample[2] * 256 + static_cast<uint8_t>(sample[1]) + sample[0];
    });
    expectRamp<float>(AUDIO_FORMAT_PCM_FLOAT,
                      [](float sample) { return static_cast<int>(sample * 32768); });
    // A ramp that was cut to 8 bits goes on with the same value 256 times.
    const sp<AudioRecord> record = newReader(AUDIO_FORMAT_PCM_8_BIT);
    ASSERT_EQ(record->start(), OK);
    std::vector<uint8_t> samples(600);
    EXPECT_EQ(record->read(samples.data(), samples.size()), 600);
    EXPECT_EQ(samples[599] - samples[87], 2);
    EXPECT_GE(samples[0], 0x80);
}

TEST_F(AudioRecordTest, givesSoundInRealTimeWithoutGaps) {
    useMicrophone(rampSource(kRate, "stereo"));
    const std::chrono::steady_clock::time_point before = std::chrono::steady_clock::now();
    Client client(2);
    EXPECT_EQ(client.record()->start(), OK);
    ASSERT_TRUE(client.waitForFrames(kRate));
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - before;
    const size_t frames = client.samples().size() / 2;
    EXPECT_EQ(rampBreaks(client.samples(), 2), 0U);
    // Never more than has passed: it is not read ahead.
    EXPECT_LE(frames, passed.count() * kRate);
}

TEST_F(AudioRecordTest, dropsOldSoundAtStart) {
    const sp<AudioRecord> record = newReader();
    ASSERT_EQ(record->start(), OK);
    ASSERT_TRUE(waitFor([] { return captured() > kRate / 10; }));
    record->stop();
    EXPECT_TRUE(record->stopped());
    EXPECT_EQ(read(record, 100).size(), 100U);
    ASSERT_EQ(record->start(), OK);
    // The source begins anew, as nobody has held it meanwhile.
    const std::vector<int16_t> again = read(record, kRate / 10);
    EXPECT_LT(again.front(), kRate / 50);
    EXPECT_EQ(rampBreaks(again, 1), 0U);
}

TEST_F(AudioRecordTest, offersAgainWhatWasNotConsumed) {
    Client client(1, [](AudioRecord::Buffer* buffer) {
        if (buffer->sequence % 3 == 0) buffer->size = 0;
        if (buffer->sequence % 3 == 1) buffer->size = 100 * sizeof(int16_t);
    });
    ASSERT_TRUE(client.waitForFrames(kRate / 5));
    client.record()->stop();
    EXPECT_EQ(rampBreaks(client.samples(), 1), 0U);
}

TEST_F(AudioRecordTest, dropsAndTellsWhenTheClientIsSlow) {
    const auto dropped = [] { return oxa::host::microphoneFigures(AUDIO_SOURCE_MIC).dropped; };
    std::atomic<bool> blocked{false};
    Client client(1, [&](AudioRecord::Buffer*) {
        if (!blocked.exchange(true)) {
            EXPECT_TRUE(waitFor([&] { return dropped() > 0; }));
        }
    });
    ASSERT_TRUE(waitFor([&] { return client.overruns() > 0; }));
    const size_t ring = client.record()->frameCount();
    ASSERT_TRUE(client.waitForFrames(ring + kNotification));
    client.record()->stop();
    // What was kept is whole, then there is the gap.
    const std::vector<int16_t> samples = client.samples();
    EXPECT_EQ(rampBreaks({samples.begin(), samples.begin() + ring}, 1), 0U);
    EXPECT_EQ(rampBreaks(samples, 1), 1U);
}

TEST_F(AudioRecordTest, stopsFromItsCallback) {
    std::atomic<bool> stops{true};
    Client client(1, [&](AudioRecord::Buffer*) {
        if (stops) client.record()->stop();
    });
    ASSERT_TRUE(waitFor([&] { return client.record()->stopped(); }));
    EXPECT_EQ(client.calls(), 1U);
    stops = false;
    ASSERT_EQ(client.record()->start(), OK);
    EXPECT_TRUE(client.waitForFrames(4 * kNotification));
}

TEST_F(AudioRecordTest, readsWhatIsThere) {
    const sp<AudioRecord> record = newReader();
    int16_t samples[64];
    EXPECT_EQ(record->read(samples, sizeof(samples), false), WOULD_BLOCK);
    EXPECT_EQ(record->read(samples, sizeof(samples), true), WOULD_BLOCK);
    ASSERT_EQ(record->start(), OK);
    EXPECT_EQ(rampBreaks(read(record, kRate / 4), 1), 0U);
    ssize_t size = WOULD_BLOCK;
    ASSERT_TRUE(waitFor([&] {
        size = record->read(samples, sizeof(samples), false);
        return size != WOULD_BLOCK;
    }));
    EXPECT_GT(size, 0);
    EXPECT_LE(size, static_cast<ssize_t>(sizeof(samples)));
    EXPECT_EQ(record->read(nullptr, 2), BAD_VALUE);
    Client client;
    EXPECT_EQ(client.record()->read(samples, sizeof(samples)), INVALID_OPERATION);
}

TEST_F(AudioRecordTest, stopWakesAReader) {
    const sp<AudioRecord> record = newReader();
    ASSERT_EQ(record->start(), OK);
    std::atomic<ssize_t> result{-1};
    std::vector<int16_t> samples(10 * kRate);
    std::thread reader(
            [&] { result = record->read(samples.data(), samples.size() * sizeof(int16_t)); });
    EXPECT_TRUE(waitFor([] { return captured() > kRate / 10; }));
    record->stop();
    reader.join();
    EXPECT_GT(result, 0);
    EXPECT_LT(result, static_cast<ssize_t>(samples.size() * sizeof(int16_t)));
}

TEST_F(AudioRecordTest, givesASourceToItsLastSample) {
    constexpr size_t kFrames = kRate / 2 + 120;  // not whole calls
    useMicrophone(rampSource(kRate, "mono", 1.0 * kFrames / kRate));
    Client client;
    ASSERT_TRUE(client.waitForFrames(kFrames));
    EXPECT_TRUE(waitFor([&] { return heardFault(0, "the source has ended"); }));
    EXPECT_EQ(client.samples().size(), kFrames);
    EXPECT_EQ(client.overruns(), 0U);
    EXPECT_EQ(rampBreaks(client.samples(), 1), 0U);
    EXPECT_FALSE(client.record()->stopped());
    client.record()->stop();
}

TEST_F(AudioRecordTest, tellsThatTheMicrophoneIsLostOrStallsAndStartsAgain) {
    const sp<AudioRecord> record = newReader();
    std::vector<int16_t> samples(10 * kRate);
    const size_t size = samples.size() * sizeof(int16_t);
    const struct {
        bool (*strike)(int audioSource, bool struck);
        int error;
        const char* cause;
    } kCases[] = {{oxa::host::loseMicrophone, ENODEV, "the device is gone"},
                  {oxa::host::stallMicrophone, ETIMEDOUT, "nothing came for 3000 ms"}};
    for (const auto& test : kCases) {
        SCOPED_TRACE(test.cause);
        ASSERT_EQ(record->start(), OK);
        EXPECT_EQ(rampBreaks(read(record, 1000), 1), 0U);
        ASSERT_TRUE(test.strike(AUDIO_SOURCE_MIC, true));
        // A reader that waits for more than there is comes back.
        EXPECT_LT(record->read(samples.data(), size), static_cast<ssize_t>(size));
        EXPECT_EQ(record->read(samples.data(), size), DEAD_OBJECT);
        EXPECT_TRUE(waitFor([&] { return heardFault(test.error, test.cause); }));
        record->stop();
        ASSERT_TRUE(test.strike(AUDIO_SOURCE_MIC, false));
        EXPECT_FALSE(test.strike(AUDIO_SOURCE_CAMCORDER, true));
    }
}

}  // namespace
}  // namespace android
