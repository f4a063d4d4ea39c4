// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <media/AudioRecord.h>
#include <oxa/host/Microphones.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>

#include "platform/audio/RampSource.h"
#include "platform/codec/FaultLog.h"
#include "support/Deadline.h"
#include "support/Sound.h"
#include "support/TestClips.h"

namespace android {
namespace {

using namespace oxa::test;
using oxa::host::Fault;
using oxa::host::FaultSource;

constexpr uint32_t kRate = 48000;
constexpr uint32_t kNotification = 512;
const String16 kClient("test");

class AudioRecordTest : public testing::Test {
  protected:
    ~AudioRecordTest() override { oxa::host::clearMicrophones(); }

    static void useMicrophone(const std::string& source, bool repeat = false) {
        oxa::host::MicrophoneOptions options;
        options.repeat = repeat;
        ASSERT_TRUE(oxa::host::registerMicrophone(AUDIO_SOURCE_MIC, source, options));
    }

    static sp<AudioRecord> newReader(uint32_t channels = 1, uint32_t rate = kRate) {
        return new AudioRecord(AUDIO_SOURCE_MIC, rate, AUDIO_FORMAT_PCM_16_BIT,
                               audio_channel_in_mask_from_count(channels), kClient);
    }

    static std::vector<int16_t> read(const sp<AudioRecord>& record, size_t frames) {
        std::vector<int16_t> samples(frames * record->channelCount());
        EXPECT_EQ(static_cast<ssize_t>(samples.size() * sizeof(int16_t)),
                  record->read(samples.data(), samples.size() * sizeof(int16_t)));
        return samples;
    }

    bool heardFault(int error) const {
        for (const Fault& fault : mFaults.faults()) {
            if (fault.source == FaultSource::kSound && fault.ended && fault.error == error) {
                return true;
            }
        }
        return false;
    }

    FaultLog mFaults;
};

// A record with a callback that keeps what it is given.
class Client {
  public:
    using Hook = std::function<void(AudioRecord::Buffer*)>;

    explicit Client(uint32_t channels = 1, Hook hook = nullptr) : mHook(std::move(hook)) {
        mRecord = new AudioRecord(AUDIO_SOURCE_MIC, kRate, AUDIO_FORMAT_PCM_16_BIT,
                                  audio_channel_in_mask_from_count(channels), kClient,
                                  6 * kNotification, &Client::onEvent, this, kNotification);
    }
    ~Client() { mRecord.clear(); }

    const sp<AudioRecord>& record() const { return mRecord; }
    size_t calls() const { return mCalls; }
    size_t overruns() const { return mOverruns; }
    std::vector<int16_t> samples() const {
        std::lock_guard<std::mutex> lock(mLock);
        return mSamples;
    }
    std::string threadName() const {
        std::lock_guard<std::mutex> lock(mLock);
        return mThreadName;
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
            EXPECT_EQ(nullptr, info);
            ++self->mOverruns;
        }
    }

    void onData(AudioRecord::Buffer* buffer) {
        EXPECT_EQ(++mCalls, buffer->sequence);
        EXPECT_EQ(buffer->frameCount * mRecord->frameSize(), buffer->size);
        if (mHook != nullptr) mHook(buffer);
        char name[16] = {};
        pthread_getname_np(pthread_self(), name, sizeof(name));
        std::lock_guard<std::mutex> lock(mLock);
        mThreadName = name;
        mSamples.insert(mSamples.end(), buffer->i16, buffer->i16 + buffer->size / sizeof(int16_t));
    }

    const Hook mHook;
    sp<AudioRecord> mRecord;
    std::atomic<size_t> mCalls{0};
    std::atomic<size_t> mOverruns{0};
    mutable std::mutex mLock;
    std::vector<int16_t> mSamples;  // guarded by mLock
    std::string mThreadName;        // guarded by mLock
};

struct Creation {
    const char* name;
    int source;
    uint32_t rate;
    audio_format_t format;
    audio_channel_mask_t mask;
    AudioRecord::transfer_type transfer;
    status_t result;
};

class AudioRecordCreation : public AudioRecordTest, public testing::WithParamInterface<Creation> {};

TEST_P(AudioRecordCreation, TellsItsResult) {
    const Creation& creation = GetParam();
    oxa::host::registerMicrophone(AUDIO_SOURCE_DEFAULT, rampSource(kRate));
    const sp<AudioRecord> record =
            new AudioRecord(static_cast<audio_source_t>(creation.source), creation.rate,
                            creation.format, creation.mask, kClient, 0, nullptr, nullptr, 0,
                            AUDIO_SESSION_ALLOCATE, creation.transfer);
    EXPECT_EQ(creation.result, record->initCheck());
    EXPECT_EQ(creation.result, record->start());
    EXPECT_EQ(creation.result != OK, record->stopped());
    size_t frames = 0;
    const status_t minimum =
            AudioRecord::getMinFrameCount(&frames, creation.rate, creation.format, creation.mask);
    if (creation.result == OK) {
        EXPECT_EQ(OK, minimum);
        EXPECT_EQ(creation.rate / 25, frames);
        EXPECT_GE(record->frameCount(), frames);
    }
}

constexpr auto k16Bit = AUDIO_FORMAT_PCM_16_BIT;
INSTANTIATE_TEST_SUITE_P(
        AudioRecord, AudioRecordCreation,
        testing::Values(
                Creation{"Mono", 1, 48000, k16Bit, 0x10, AudioRecord::TRANSFER_DEFAULT, OK},
                Creation{"StereoOfTheLastSource", 10, 8000, k16Bit, 0xC, AudioRecord::TRANSFER_SYNC,
                         OK},
                Creation{"EightChannels", 0, 48000, k16Bit, 0x800000FF, AudioRecord::TRANSFER_SYNC,
                         OK},
                Creation{"NoChannels", 1, 48000, k16Bit, 0, AudioRecord::TRANSFER_SYNC, BAD_VALUE},
                Creation{"MaskOfOutputs", 1, 48000, k16Bit, 0x33, AudioRecord::TRANSFER_SYNC,
                         BAD_VALUE},
                Creation{"InvalidMask", 1, 48000, k16Bit, 0xC0000000, AudioRecord::TRANSFER_SYNC,
                         BAD_VALUE},
                Creation{"RateTooLow", 1, 7999, k16Bit, 0xC, AudioRecord::TRANSFER_SYNC, BAD_VALUE},
                Creation{"RateTooHigh", 1, 192001, k16Bit, 0xC, AudioRecord::TRANSFER_SYNC,
                         BAD_VALUE},
                Creation{"EightBit", 1, 48000, AUDIO_FORMAT_PCM_8_BIT, 0xC,
                         AudioRecord::TRANSFER_SYNC, BAD_VALUE},
                Creation{"UnknownSource", 11, 48000, k16Bit, 0xC, AudioRecord::TRANSFER_SYNC,
                         BAD_VALUE},
                Creation{"NegativeSource", -1, 48000, k16Bit, 0xC, AudioRecord::TRANSFER_SYNC,
                         BAD_VALUE},
                Creation{"NoCallback", 1, 48000, k16Bit, 0xC, AudioRecord::TRANSFER_CALLBACK,
                         BAD_VALUE},
                Creation{"Obtain", 1, 48000, k16Bit, 0xC, AudioRecord::TRANSFER_OBTAIN,
                         INVALID_OPERATION}),
        [](const testing::TestParamInfo<Creation>& info) { return info.param.name; });

TEST_F(AudioRecordTest, IsAnErrorWithoutItsMicrophone) {
    for (const char* source : {"/no/such/file.wav", "lavfi:nosuchfilter", "lavfi:testsrc2",
                               "alsa:no_such_device", "alsa:", "pulse:no_such_source"}) {
        SCOPED_TRACE(source);
        useMicrophone(source);
        EXPECT_NE("", oxa::host::microphoneSourceError(source));
        const sp<AudioRecord> record = newReader();
        EXPECT_EQ(NO_INIT, record->initCheck());
        EXPECT_EQ(NO_INIT, record->start());
        int16_t sample = 0;
        EXPECT_EQ(NO_INIT, record->read(&sample, sizeof(sample)));
        record->stop();
    }
    EXPECT_EQ("", oxa::host::microphoneSourceError(rampSource(kRate)));
}

TEST_F(AudioRecordTest, TakesTheMicrophoneOfItsAudioSource) {
    EXPECT_EQ("alsa:default", oxa::host::microphoneSource(AUDIO_SOURCE_MIC));
    EXPECT_TRUE(oxa::host::registerMicrophone(AUDIO_SOURCE_DEFAULT, "lavfi:sine=300"));
    EXPECT_TRUE(oxa::host::registerMicrophone(AUDIO_SOURCE_CAMCORDER, "lavfi:sine=900"));
    EXPECT_FALSE(oxa::host::registerMicrophone(AUDIO_SOURCE_MAX + 1, "lavfi:sine=300"));
    EXPECT_FALSE(oxa::host::registerMicrophone(AUDIO_SOURCE_MIC, ""));
    EXPECT_EQ("lavfi:sine=300", oxa::host::microphoneSource(AUDIO_SOURCE_MIC));
    EXPECT_EQ("lavfi:sine=900", oxa::host::microphoneSource(AUDIO_SOURCE_CAMCORDER));
}

// A record at another rate and with other channels than the microphone's.
TEST_F(AudioRecordTest, ConvertsToTheFormatOfTheRecord) {
    useMicrophone("lavfi:sine=frequency=1000:sample_rate=44100");
    Client client(2);
    ASSERT_EQ(OK, client.record()->start());
    ASSERT_TRUE(client.waitForFrames(kRate));
    client.record()->stop();
    const Sound sound = soundFromPcm(client.samples(), 2, kRate);
    for (int channel = 0; channel < 2; ++channel) {
        EXPECT_NEAR(1000, dominantFrequency(sound.channel(channel), kRate), 1);
    }
    EXPECT_EQ("AudioRecord", client.threadName());
    // The client was called with as much as it asked for, each time.
    EXPECT_EQ(client.calls() * kNotification, sound.frames());
}

TEST_F(AudioRecordTest, GivesSoundInRealTimeWithoutGaps) {
    useMicrophone(rampSource(kRate, "stereo"));
    Client client(2);
    const std::chrono::steady_clock::time_point before = std::chrono::steady_clock::now();
    ASSERT_EQ(OK, client.record()->start());
    EXPECT_EQ(OK, client.record()->start());
    ASSERT_TRUE(client.waitForFrames(kRate));
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - before;
    const size_t frames = client.samples().size() / 2;
    EXPECT_EQ(0U, rampBreaks(client.samples(), 2));
    // Never more than has passed: it is not read ahead.
    EXPECT_LE(frames, passed.count() * kRate);
}

TEST_F(AudioRecordTest, DropsOldSoundAtStart) {
    useMicrophone(rampSource(kRate));
    const sp<AudioRecord> record = newReader();
    ASSERT_EQ(OK, record->start());
    const auto captured = [] { return oxa::host::microphoneFigures(AUDIO_SOURCE_MIC).captured; };
    ASSERT_TRUE(waitFor([&] { return captured() > kRate / 10; }));
    record->stop();
    EXPECT_TRUE(record->stopped());
    EXPECT_EQ(100U, read(record, 100).size());
    ASSERT_EQ(OK, record->start());
    // The source begins anew, as nobody has held it meanwhile.
    const std::vector<int16_t> again = read(record, kRate / 10);
    EXPECT_LT(again.front(), kRate / 50);
    EXPECT_EQ(0U, rampBreaks(again, 1));
}

TEST_F(AudioRecordTest, OffersAgainWhatWasNotConsumed) {
    useMicrophone(rampSource(kRate));
    std::atomic<int> calls{0};
    Client client(1, [&](AudioRecord::Buffer* buffer) {
        const int call = ++calls;
        if (call % 3 == 0) buffer->size = 0;
        if (call % 3 == 1) buffer->size = 100 * sizeof(int16_t);
    });
    ASSERT_EQ(OK, client.record()->start());
    ASSERT_TRUE(client.waitForFrames(kRate / 5));
    client.record()->stop();
    EXPECT_EQ(0U, rampBreaks(client.samples(), 1));
}

TEST_F(AudioRecordTest, DropsAndTellsWhenTheClientIsSlow) {
    useMicrophone(rampSource(kRate));
    const auto dropped = [] { return oxa::host::microphoneFigures(AUDIO_SOURCE_MIC).dropped; };
    std::atomic<bool> blocked{false};
    Client client(1, [&](AudioRecord::Buffer*) {
        if (!blocked.exchange(true)) {
            EXPECT_TRUE(waitFor([&] { return dropped() > 0; }));
        }
    });
    ASSERT_EQ(OK, client.record()->start());
    ASSERT_TRUE(waitFor([&] { return client.overruns() > 0; }));
    const size_t ring = client.record()->frameCount();
    ASSERT_TRUE(client.waitForFrames(ring + kNotification));
    client.record()->stop();
    // What was kept is whole, then there is the gap.
    const std::vector<int16_t> samples = client.samples();
    EXPECT_EQ(0U, rampBreaks({samples.begin(), samples.begin() + ring}, 1));
    EXPECT_EQ(1U, rampBreaks(samples, 1));
}

TEST_F(AudioRecordTest, StopsFromItsCallback) {
    useMicrophone(rampSource(kRate));
    sp<AudioRecord> record;
    std::mutex lock;
    Client client(1, [&](AudioRecord::Buffer*) {
        std::lock_guard<std::mutex> guard(lock);
        if (record != nullptr) record->stop();
    });
    {
        std::lock_guard<std::mutex> guard(lock);
        record = client.record();
        ASSERT_EQ(OK, record->start());
    }
    ASSERT_TRUE(waitFor([&] { return record->stopped(); }));
    EXPECT_EQ(1U, client.calls());
    {
        std::lock_guard<std::mutex> guard(lock);
        record.clear();
    }
    ASSERT_EQ(OK, client.record()->start());
    EXPECT_TRUE(client.waitForFrames(4 * kNotification));
}

TEST_F(AudioRecordTest, ReadsWhatIsThere) {
    useMicrophone(rampSource(kRate));
    const sp<AudioRecord> record = newReader();
    int16_t samples[64];
    EXPECT_EQ(WOULD_BLOCK, record->read(samples, sizeof(samples), false));
    EXPECT_EQ(WOULD_BLOCK, record->read(samples, sizeof(samples), true));
    ASSERT_EQ(OK, record->start());
    EXPECT_EQ(0U, rampBreaks(read(record, kRate / 4), 1));
    ssize_t size = WOULD_BLOCK;
    ASSERT_TRUE(waitFor([&] {
        size = record->read(samples, sizeof(samples), false);
        return size != WOULD_BLOCK;
    }));
    EXPECT_GT(size, 0);
    EXPECT_LE(size, static_cast<ssize_t>(sizeof(samples)));
    EXPECT_EQ(BAD_VALUE, record->read(nullptr, 2));
    Client client;
    EXPECT_EQ(INVALID_OPERATION, client.record()->read(samples, sizeof(samples)));
}

TEST_F(AudioRecordTest, StopWakesAReader) {
    useMicrophone(rampSource(kRate));
    const sp<AudioRecord> record = newReader();
    ASSERT_EQ(OK, record->start());
    std::atomic<ssize_t> result{-1};
    std::vector<int16_t> samples(10 * kRate);
    std::thread reader(
            [&] { result = record->read(samples.data(), samples.size() * sizeof(int16_t)); });
    EXPECT_TRUE(waitFor(
            [] { return oxa::host::microphoneFigures(AUDIO_SOURCE_MIC).captured > kRate / 10; }));
    record->stop();
    reader.join();
    EXPECT_GT(result, 0);
    EXPECT_LT(result, static_cast<ssize_t>(samples.size() * sizeof(int16_t)));
}

TEST_F(AudioRecordTest, GivesAFileToItsLastSample) {
    constexpr size_t kFrames = kRate / 2 + 100;
    ClipOptions options;
    options.video = false;
    options.extension = "wav";
    options.audioCodec = "pcm_s16le";
    options.seconds = 1.0 * kFrames / kRate;
    useMicrophone(sineClip({1000}, 0.5, options));
    Client client;
    ASSERT_EQ(OK, client.record()->start());
    ASSERT_TRUE(client.waitForFrames(kFrames));
    EXPECT_TRUE(waitFor([&] { return heardFault(0); }));
    EXPECT_EQ(kFrames, client.samples().size());
    EXPECT_NEAR(1000, dominantFrequency(soundFromPcm(client.samples(), 1, kRate).channel(0), kRate),
                1);
    EXPECT_FALSE(client.record()->stopped());
    client.record()->stop();
}

TEST_F(AudioRecordTest, TellsThatTheMicrophoneIsLostAndStartsAgain) {
    useMicrophone(rampSource(kRate));
    const sp<AudioRecord> record = newReader();
    ASSERT_EQ(OK, record->start());
    read(record, 1000);
    ASSERT_TRUE(oxa::host::loseMicrophone(AUDIO_SOURCE_MIC, true));
    EXPECT_TRUE(waitFor([&] { return heardFault(ENODEV); }));
    // A reader that waits for more than there is comes back.
    std::vector<int16_t> samples(10 * kRate);
    const size_t size = samples.size() * sizeof(int16_t);
    EXPECT_LT(record->read(samples.data(), size), static_cast<ssize_t>(size));
    EXPECT_EQ(DEAD_OBJECT, record->read(samples.data(), size));
    record->stop();
    ASSERT_TRUE(oxa::host::loseMicrophone(AUDIO_SOURCE_MIC, false));
    ASSERT_EQ(OK, record->start());
    EXPECT_EQ(0U, rampBreaks(read(record, 1000), 1));
    EXPECT_FALSE(oxa::host::loseMicrophone(AUDIO_SOURCE_CAMCORDER, true));
}

TEST_F(AudioRecordTest, GivesAStalledMicrophoneUp) {
    useMicrophone(rampSource(kRate));
    const sp<AudioRecord> record = newReader();
    ASSERT_EQ(OK, record->start());
    read(record, 1000);
    ASSERT_TRUE(oxa::host::stallMicrophone(AUDIO_SOURCE_MIC, true));
    std::vector<int16_t> samples(10 * kRate);
    const size_t size = samples.size() * sizeof(int16_t);
    EXPECT_LT(record->read(samples.data(), size), static_cast<ssize_t>(size));
    EXPECT_TRUE(waitFor([&] { return heardFault(ETIMEDOUT); }));
    record->stop();
}

}  // namespace
}  // namespace android
