// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <signal.h>

#include "cli/PlayerProgram.h"
#include "support/Pictures.h"
#include "support/Sound.h"

namespace oxa::test {
namespace {

using nlohmann::json;
using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::Not;

class PlayCliTest : public testing::Test {
  protected:
    // Neither a screen nor a sound card.
    static ProcessRunner play(const std::vector<std::string>& arguments) {
        return player(joined({"play"}, arguments))
                .setEnvironment("DISPLAY", "")
                .setEnvironment("WAYLAND_DISPLAY", "")
                .setEnvironment("SDL_VIDEODRIVER", "")
                .setEnvironment("SDL_AUDIODRIVER", "alsa");
    }

    static std::string shortClip() {
        ClipOptions clip;
        clip.seconds = 1;
        return testClip(clip);
    }

    const TempDir mFolder;
};

TEST_F(PlayCliTest, picturesAndSoundOfFilesAreThoseOfTheClip) {
    const std::string pictures = mFolder.file("pictures");
    const std::string sound = mFolder.file("sound.wav");
    runOrDie({"mkdir", pictures});
    const ProcessResult result = play({shortClip(), "--display", "png:" + pictures, "--sound",
                                       "wav:" + sound, "--json", "--quiet"})
                                         .run();
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto events = eventsOf(result.out);
    EXPECT_EQ(events.front()["event"], "start");
    EXPECT_EQ(eventsNamed(events, "track").size(), 2u);
    EXPECT_EQ(eventsNamed(events, "eos").size(), 1u);
    const json& last = events.back();
    EXPECT_EQ(last["exit"], 0);
    EXPECT_EQ(last["frames"].get<int>() + last["dropped"].get<int>(), 25);
    EXPECT_EQ(namesIn(pictures).size(), last["frames"].get<size_t>());
    // Each is the clip's of the time in its name.
    const std::vector<Image> source = decodePictures(shortClip());
    for (const std::string& name : namesIn(pictures)) {
        const double seconds = std::stod(name.substr(name.rfind('-') + 1));
        const std::vector<Image> written = decodePictures(pictures + "/" + name);
        ASSERT_EQ(written.size(), 1U) << name;
        for (int plane = 0; plane < 3; ++plane) {
            const auto& expected = source.at(std::lround(seconds * 25)).planes[plane];
            EXPECT_GT(psnrOf(meanSquareError(expected, written[0].planes[plane])), 30) << name;
        }
    }
    const Sound heard = decodeSound(sound);
    EXPECT_EQ(heard.sampleRate, 48000);
    EXPECT_EQ(heard.channels, 2);
    // Where a machine stands still there are pauses and sound is left out after them.
    EXPECT_NEAR(dominantFrequency(window(heard.channel(0), 48000, 0.3, 0.5), 48000), 440, 10);
    EXPECT_GE(heard.seconds(), 0.85);
    // Existing pictures and sound are not replaced.
    for (const std::string& outputs :
         {"--display png:" + pictures, "--display null --sound wav:" + sound}) {
        const ProcessResult refused = play(joined({shortClip(), "--json"}, words(outputs))).run();
        EXPECT_EQ(refused.exitCode, 4);
        EXPECT_EQ(linesOf(refused.err).size(), 1u) << refused.err;
    }
}

// What is missing is told in one line each, and the rest is as it would be. The line that is
// redrawn is for people: a log gets whole lines.
TEST_F(PlayCliTest, goesOnWithoutScreenAndSoundCard) {
    const ProcessResult result = play({shortClip()}).run();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.err, HasSubstr("neither DISPLAY nor WAYLAND_DISPLAY is set"));
    EXPECT_THAT(result.err,
                testing::AllOf(HasSubstr("sound"), Not(HasSubstr("\r")), Not(HasSubstr("\033"))));
    EXPECT_EQ(result.out, "");
}

// Until the next one would come.
TEST_F(PlayCliTest, theLastPictureIsSeenAsLongAsTheOthers) {
    ClipOptions clip;
    clip.seconds = 3;
    clip.frameRateNum = 1;
    clip.audio = false;
    const ProcessResult result = play({testClip(clip), "--display", "null", "--json"}).run();
    EXPECT_EQ(result.exitCode, 0) << result.err;
    const auto events = eventsOf(result.out);
    const json& last = events.back();
    EXPECT_EQ(last["frames"].get<int>() + last["dropped"].get<int>(), 3);
    EXPECT_GE(last["duration_s"].get<double>(), 2.95);
    // One each second.
    EXPECT_GE(eventsNamed(events, "fps").size(), 1u);
}

// It may last longer than nothing may happen.
TEST_F(PlayCliTest, fileWithoutALengthIsPlayedToItsEnd) {
    ClipOptions clip;
    clip.extension = "h264";
    clip.seconds = 5;
    clip.audio = false;
    const ProcessResult result = play({testClip(clip), "--display", "null", "--json"})
                                         .setEnvironment("OXA_STALL_SECONDS", "3")
                                         .run();
    EXPECT_EQ(result.exitCode, 0) << result.err;
    const auto events = eventsOf(result.out);
    EXPECT_TRUE(eventsNamed(events, "track").at(0)["duration_s"].is_null());
    EXPECT_GE(events.back()["duration_s"].get<double>(), 4.5);
}

// A sound that the library's pipeline does not take must not take the picture with it.
TEST_F(PlayCliTest, soundOfTooManyChannelsIsLeftOut) {
    ClipOptions clip;
    clip.extension = "mkv";
    clip.seconds = 1;
    clip.channels = 16;
    clip.audioCodec = "pcm_s16le";
    const ProcessResult result = play({testClip(clip), "--display", "null", "--json"}).run();
    EXPECT_EQ(result.exitCode, 0) << result.signal;
    EXPECT_THAT(result.err, HasSubstr("16 channels, more than 8"));
    EXPECT_EQ(eventsNamed(eventsOf(result.out), "track").size(), 1u);
    clip.video = false;
    const ProcessResult soundOnly = play({testClip(clip)}).run();
    EXPECT_EQ(soundOnly.exitCode, 3) << soundOnly.signal;
    EXPECT_THAT(soundOnly.err, HasSubstr("has no sound that can be played"));
}

// By its key, which may come too early and is pressed again.
TEST_F(PlayCliTest, endsInItsWindow) {
    const std::string job =
            "\"$@\" --json > \"$0\" & job=$!; "
            "until grep -q progress \"$0\" 2> /dev/null || ! kill -0 $job; do sleep 0.1; done; "
            "while kill -0 $job 2> /dev/null; do "
            "id=$(xdotool search --onlyvisible --name . | tail -n 1); "
            "[ -z \"$id\" ] || xdotool windowfocus $id key q; sleep 0.1; done; wait $job";
    const std::string events = mFolder.file("events");
    for (const std::string& command :
         {"play --display window --sound null " + mediaPath("bunny_360p_aac51.ts"),
          "record --usb lavfi:testsrc2 --preset ultrafast --preview -o " + mFolder.file("a.ts")}) {
        SCOPED_TRACE(command);
        const ProcessResult result = ProcessRunner(joined({"xvfb-run", "-a", "sh", "-c", job,
                                                           events, OXA_PLAYER_PROGRAM},
                                                          words(command)))
                                             .setEnvironment("SDL_VIDEODRIVER", "x11")
                                             .setTimeLimit(std::chrono::seconds(60))
                                             .run();
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_LT(eventsOf(readFile(events)).back()["duration_s"], 25);
    }
}

TEST_F(PlayCliTest, interruptEndsItAtOnceAlsoDuringTheStart) {
    const std::string clip = mediaPath("flower_540p_h264_aac.mp4");
    for (const milliseconds delay : {milliseconds(0), milliseconds(30), milliseconds(80),
                                     milliseconds(200), milliseconds(900)}) {
        SCOPED_TRACE(delay.count());
        const ProcessResult result = play({clip, "--display", "null", "--sound", "null", "--json"})
                                             .signalAfter(SIGINT, delay)
                                             .run();
        EXPECT_FALSE(result.timedOut);
        // A signal before the program has taken over signals ends it as the system does.
        if (result.signal == SIGINT) continue;
        EXPECT_EQ(result.exitCode, 130) << result.err;
        const json last = eventsOf(result.out).back();
        EXPECT_EQ(last["exit"], 130);
        EXPECT_LT(last.value("duration_s", 0.0), 4) << "the clip has 5";
    }
}

}  // namespace
}  // namespace oxa::test
