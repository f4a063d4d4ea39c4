// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/MediaProbe.h"
#include "support/Sound.h"
#include "support/Test.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

// ---- Every kind of source -----------------------------------------------------------------------

struct SourceCase : Named {
    const char* extension;
    const char* codec;
    int sampleRate;
    int channels;
    int outputRate;
    const char* codecOptions = "";
};

class SoundSourceTest : public testing::TestWithParam<SourceCase> {};

TEST_P(SoundSourceTest, isWhole) {
    const SourceCase& test = GetParam();
    ClipOptions options;
    options.video = false;
    options.extension = test.extension;
    options.audioCodec = test.codec;
    options.sampleRate = test.sampleRate;
    options.channels = test.channels;
    options.audioArguments = words(test.codecOptions);
    // Not a multiple of any codec's block.
    options.seconds = 2.345;
    const std::string source = testClip(options);
    TempDir folder;
    for (const std::string& output : {folder.file("out.mp4"), folder.file("out.ts")}) {
        transcode(source, output);
        const MediaProbe probe(output);
        EXPECT_EQ(probe.video(), nullptr);
        ASSERT_NE(probe.audio(), nullptr) << probe.error();
        EXPECT_EQ(probe.audio()->sampleRate, test.outputRate);
        EXPECT_EQ(probe.audio()->channels, test.channels);
        const Sound before = decodeSound(source);
        const Sound after = decodeSound(output);
        EXPECT_NEAR(after.seconds(), before.seconds(), 1024.0 / test.outputRate);
        for (int channel = 0; channel < test.channels; ++channel) {
            const auto tone = [channel](const Sound& sound, double from, double length) {
                return toneDb(window(sound.channel(channel), sound.sampleRate, from, length),
                              sound.sampleRate, 440);
            };
            const double level = tone(before, 0.1, 2);
            EXPECT_NEAR(tone(after, 0.1, 2), level, 0.5);
            EXPECT_NEAR(tone(after, before.seconds() - 0.12, 0.1), level, 0.5);
        }
        if (before.sampleRate != test.outputRate) continue;
        const double laterMs = startChangeUs(MediaProbe(source), probe) / 1000;
        expectSameSound(source, output, laterMs);
    }
}

const SourceCase kSources[] = {
        {"Aac44100Mono", "m4a", "aac", 44100, 1, 44100},
        {"Aac51", "mp4", "aac", 48000, 6, 48000},
        {"Ac3", "ac3", "ac3", 48000, 6, 48000, "-b:a 448k"},
        {"Alac", "m4a", "alac", 44100, 2, 44100},
        {"Flac", "flac", "flac", 48000, 2, 48000},
        {"FlacHighRate", "mka", "flac", 96000, 2, 96000},
        {"Mp2", "mpg", "mp2", 48000, 2, 48000},
        {"Mp3", "mp3", "libmp3lame", 44100, 2, 44100},
        {"Opus", "ogg", "libopus", 48000, 2, 48000},
        {"OpusWebM", "webm", "libopus", 48000, 1, 48000},
        {"Pcm16", "wav", "pcm_s16le", 44100, 2, 44100},
        {"Pcm24", "wav", "pcm_s24le", 48000, 2, 48000},
        {"PcmPhone", "wav", "pcm_s16le", 8000, 1, 8000},
        {"PcmOddRate", "wav", "pcm_s16le", 37800, 2, 48000},
        {"Vorbis", "ogg", "libvorbis", 44100, 2, 44100},
        {"VorbisWebM", "webm", "libvorbis", 22050, 1, 22050},
};

INSTANTIATE_TEST_SUITE_P(Sources, SoundSourceTest, testing::ValuesIn(kSources),
                         rowName<SourceCase>);

// Noise does not compress, so one block of a lossless codec is as large as can be.
TEST(LargeBlockTest, isWhole) {
    for (const SourceCase& test :
         {SourceCase{"FlacStereo", "flac", "flac", 48000, 2, 48000,
                     "-frame_size 65535 -sample_fmt s16"},
          SourceCase{"FlacSurround24", "mka", "flac", 48000, 6, 48000,
                     "-frame_size 65535 -sample_fmt s32"},
          SourceCase{"TtaHighRate", "tta", "tta", 96000, 2, 96000, "-sample_fmt s32"}}) {
        SCOPED_TRACE(test.name);
        const TempDir folder;
        const std::string source = folder.file(std::string("noise.") + test.extension);
        const std::string noise = "anoisesrc=duration=4:amplitude=0.5:seed=1:sample_rate=" +
                                  std::to_string(test.sampleRate);
        runOrDie(ffmpeg(joined({"-f", "lavfi", "-i", noise, "-ac", std::to_string(test.channels),
                                "-c:a", test.codec},
                               joined(words(test.codecOptions), {source}))));
        const std::string output = folder.file("out.mp4");
        const ProcessResult result = transcode(source, output);
        EXPECT_EQ(result.err.find("warning"), std::string::npos) << result.err;
        const Sound before = decodeSound(source);
        const Sound after = decodeSound(output);
        EXPECT_NEAR(after.seconds(), before.seconds(), 1024.0 / test.outputRate);
        // A block that was lost would be a hole.
        const std::vector<float> mono = after.mono();
        const double level = levelDb(mono);
        for (double from = 0.1; from < before.seconds() - 0.2; from += 0.05)
            EXPECT_NEAR(levelDb(window(mono, after.sampleRate, from, 0.05)), level, 2) << from;
    }
}

// ---- Shape --------------------------------------------------------------------------------------

struct ShapeCase : Named {
    int sourceRate;
    int sourceChannels;
    int rate;                       // 0: not asked for
    int channels;                   // 0: not asked for
    const char* layout = "";        // the usual one for the count
    const char* outputLayout = "";  // must be this
};

std::string layoutOf(const std::string& path) {
    return runOrDie(words("ffprobe -v error -select_streams a -of csv=p=0 "
                          "-show_entries stream=channel_layout " +
                          path))
            .out;
}

class SoundShapeTest : public testing::TestWithParam<ShapeCase> {};

// Each source channel carries a tone of its own; all of them must arrive in each channel of the
// output as loud as the `ffmpeg` command makes them.
TEST_P(SoundShapeTest, isMixedAsThePeerMixes) {
    constexpr double kMaxDifferenceDb = 0.5;
    constexpr double kInaudibleDb = -60;
    const ShapeCase& shape = GetParam();
    // The fourth channel is the bass of 5.1.
    const std::vector<double> tones = {440, 620, 830, 60, 1070, 1310};
    ClipOptions clip;
    clip.extension = "wav";
    clip.audioCodec = "pcm_s16le";
    clip.sampleRate = shape.sourceRate;
    const std::string source = sineClip({tones.begin(), tones.begin() + shape.sourceChannels}, 0.1,
                                        clip, shape.layout);
    const TempDir folder;
    const std::string output = folder.file("out.mp4");
    const std::string peer = folder.file("peer.mp4");
    std::string options = " --audio-bitrate 128k";
    std::string peerOptions = "-c:a aac -b:a 128k";
    if (shape.rate > 0) {
        options += " --audio-rate " + std::to_string(shape.rate);
        peerOptions += " -ar " + std::to_string(shape.rate);
    }
    if (shape.channels > 0) {
        options += " --audio-channels " + std::to_string(shape.channels);
        peerOptions += " -ac " + std::to_string(shape.channels);
    }
    runOrDie(ffmpeg(joined({"-i", source}, joined(words(peerOptions), {peer}))));
    transcode(source, output, options);
    if (*shape.outputLayout != '\0') {
        EXPECT_EQ(layoutOf(output), shape.outputLayout + std::string("\n"));
    }

    const Sound ours = decodeSound(output);
    const Sound theirs = decodeSound(peer);
    ASSERT_EQ(ours.channels, shape.channels > 0 ? shape.channels : shape.sourceChannels);
    ASSERT_EQ(ours.sampleRate, shape.rate > 0 ? shape.rate : shape.sourceRate);
    ASSERT_EQ(theirs.channels, ours.channels);
    EXPECT_NEAR(ours.seconds(), 3, 1024.0 / ours.sampleRate);
    for (int channel = 0; channel < ours.channels; ++channel) {
        for (int tone = 0; tone < shape.sourceChannels; ++tone) {
            const auto level = [&](const Sound& sound) {
                return toneDb(window(sound.channel(channel), sound.sampleRate, 0.5, 2),
                              sound.sampleRate, tones[tone]);
            };
            const double expected = level(theirs);
            if (expected < kInaudibleDb) {
                EXPECT_LT(level(ours), kInaudibleDb) << "channel " << channel << " tone " << tone;
            } else {
                EXPECT_NEAR(level(ours), expected, kMaxDifferenceDb)
                        << "channel " << channel << " tone " << tone;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Shapes, SoundShapeTest,
                         testing::Values(ShapeCase{"MonoToStereo48k", 44100, 1, 48000, 2},
                                         ShapeCase{"Rate44100To22050", 44100, 2, 22050, 0},
                                         ShapeCase{"Rate48000To44100", 48000, 2, 44100, 0},
                                         ShapeCase{"PhoneTo48k", 8000, 1, 48000, 0},
                                         ShapeCase{"StereoToMono", 48000, 2, 0, 1},
                                         ShapeCase{"SurroundToStereo", 48000, 6, 0, 2},
                                         ShapeCase{"SurroundToMono44100", 48000, 6, 44100, 1},
                                         ShapeCase{"SurroundKept", 48000, 6, 0, 0},
                                         ShapeCase{"StereoToSurround", 48000, 2, 0, 6},
                                         ShapeCase{"Quad", 48000, 4, 0, 0, "quad", "quad"},
                                         ShapeCase{"QuadToStereo", 48000, 4, 0, 2, "quad"},
                                         ShapeCase{"Bass", 48000, 3, 0, 0, "2.1", "2.1"},
                                         ShapeCase{"BassToStereo", 48000, 3, 44100, 2, "2.1"},
                                         ShapeCase{"Sides", 48000, 6, 0, 0, "5.1(side)", "5.1"},
                                         ShapeCase{"SidesToStereo", 48000, 6, 0, 2, "5.1(side)"},
                                         ShapeCase{"Hexagon", 48000, 6, 0, 0, "hexagonal"}),
                         rowName<ShapeCase>);

// A film's 5.1, loud passages included.
TEST(SoundMixTest, filmInSurroundIsAsLoudAsThePeers) {
    const std::string source = mediaPath("bunny_360p_aac51.ts");
    TempDir folder;
    const std::string output = folder.file("out.mp4");
    const std::string peer = folder.file("peer.mp4");
    transcode(source, output, "--only audio --audio-channels 2");
    runOrDie(ffmpeg({"-i", source, "-vn", "-ac", "2", "-c:a", "aac", peer}));
    const Sound ours = decodeSound(output);
    const Sound theirs = decodeSound(peer);
    ASSERT_EQ(ours.channels, 2);
    for (int channel = 0; channel < 2; ++channel) {
        EXPECT_NEAR(levelDb(ours.channel(channel)), levelDb(theirs.channel(channel)), 0.5);
    }
}

// ---- Sound and picture --------------------------------------------------------------------------

struct SyncCase : Named {
    const char* extension;
    const char* videoCodec;
    const char* audioCodec;
    int sampleRate;
    double beepOffsetMs;
    const char* options = "";
};

class SyncTest : public testing::TestWithParam<SyncCase> {};

TEST_P(SyncTest, soundStaysWithThePicture) {
    const SyncCase& test = GetParam();
    ClipOptions options;
    options.seconds = 5;
    options.extension = test.extension;
    options.videoCodec = test.videoCodec;
    options.audioCodec = test.audioCodec;
    options.sampleRate = test.sampleRate;
    if (options.videoCodec == "libx264") options.videoArguments = {"-bf", "2"};
    const std::string source = flashBeepClip(options, test.beepOffsetMs);
    const TempDir folder;
    for (const std::string& output : {folder.file("out.mp4"), folder.file("out.ts")}) {
        transcode(source, output, test.options);
        expectSameSync(source, output, 5);
    }
}

const SyncCase kSyncCases[] = {
        {"Mp4", "mp4", "libx264", "aac", 48000, 0},
        {"LateSound", "mp4", "libx264", "aac", 44100, 70},
        {"EarlySound", "mp4", "libx264", "aac", 44100, -70},
        {"TransportStream", "ts", "libx264", "aac", 48000, 0},
        {"WebM", "webm", "libvpx", "libopus", 48000, 0},
        {"Avi", "avi", "mpeg4", "libmp3lame", 44100, 0},
        {"Resampled", "mp4", "libx264", "aac", 44100, 0, "--audio-rate 32000"},
        {"Converted", "mkv", "libx264", "flac", 48000, 0, "--fps 50 --size 160x120"},
};

INSTANTIATE_TEST_SUITE_P(Clips, SyncTest, testing::ValuesIn(kSyncCases), rowName<SyncCase>);

}  // namespace
}  // namespace oxa::test
