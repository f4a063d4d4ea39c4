// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// What each command refuses before it does anything: with which exit code, and why.

#include <filesystem>

#include "cli/PlayerProgram.h"

namespace oxa::test {
namespace {

const std::string kBoth = "lavfi:testsrc2=size=320x180:rate=30;sine";
const std::string kPicture = "lavfi:testsrc2=size=320x180:rate=30";

struct Refusal {
    std::string line;
    int exitCode;
    std::string cause;
};

void expectRefusal(const Refusal& refusal) {
    SCOPED_TRACE(refusal.line);
    const auto arguments = words(refusal.line);
    const ProcessResult result = runPlayer(arguments);
    EXPECT_EQ(result.exitCode, refusal.exitCode) << result.signal;
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, testing::StartsWith("oxaplayer: " + arguments[0] + ": "));
    EXPECT_THAT(result.err, testing::HasSubstr(refusal.cause));
    EXPECT_EQ(linesOf(result.err).size(), 1u) << result.err;
}

TEST(Refusal, isOneLineWithItsExitCodeAndLeavesNothing) {
    const TempDir outputs;
    const TempDir inputs;
    const std::string toMp4 = " -o " + outputs.file("out.mp4");
    const std::string toPng = " -o " + outputs.file("sheet.png");
    const std::string clip = "transcode " + mediaPath("bunny_480i_tff_mpeg2_mp2.ts");
    const std::string film = "contact-sheet " + oneFrameVideo();
    const std::string play = "play " + mediaPath("roar.mp3");
    const std::string garbage = garbageFile(50'000);
    const std::string car = mediaPath("car_432p_12fps.mp4");
    const std::string remux = "remux " + car + toMp4;
    const std::string record = "record --usb " + kPicture;
    const std::string television = "record --hdmi " + kBoth + toMp4 + " --scenario ";
    const std::string wrong = inputs.file("wrong.scenario");
    const std::string text = inputs.file("text.mp4");
    const std::string pipe = inputs.file("pipe.mp4");
    const std::string still = inputs.file("still.png");
    ASSERT_TRUE(writeFile(text, "This is a text.\n"));
    const std::string large = inputs.file("large.scenario");
    ASSERT_TRUE(writeFile(wrong, "1s plug\n2s plugg\n3s size\n"));
    ASSERT_TRUE(writeFile(large, std::string((1 << 20) + 1, '\n')));
    runOrDie({"mkfifo", pipe});
    runOrDie({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "color", "-frames:v", "1", still});
    const std::string cut = truncateClip(mediaPath("friday_480p_audio_first.mp4"), 0.0005);
    const Refusal kRefusals[] = {
            {"probe x.mp4", 3, " cannot open 'x.mp4': No such file or directory\n"},
            // What is shown may come from a file and must not steer the terminal.
            {"probe no\x1b[2Jsuch\x07\xc2\x9bnext\xc3\xa9", 3, "'no?[2Jsuch?\xc2\xbfnext\xc3\xa9'"},

            {"transcode x.mp4" + toMp4, 3, "No such file"},
            {"transcode " + pipe + toMp4, 3, "'" + pipe + "'"},
            {"transcode " + cut + toMp4, 3, "'" + cut + "'"},
            {"transcode " + mediaPath("bunny_480p_hevc.mp4") + toMp4 + " --only audio", 3,
             "has no sound that can be decoded"},
            {clip + toMp4 + " --start 1:00", 3, "not after 60.000 s"},
            {clip + toMp4 + " --start 0.5 --end 0.5", 2, "--end '0.500 s': expected a time after"},
            {clip + toMp4 + " --end 1 --duration 1", 2, "--end excludes --duration"},
            {clip + toMp4 + " --video-track 1", 3, "track 1 is no picture"},
            {clip + toMp4 + " --audio-track xyz", 3, "has no sound in 'xyz'"},
            {clip + toMp4 + " --quality 52", 2, "'52'"},
            {clip + toMp4 + " --level 3.0 --fps 60", 2, "--level '3.0': expected 3.1 or higher"},
            {clip + toMp4 + " --level 3.0 --deinterlace 2", 2, "expected 3.1 or higher for 854x"},
            {clip + toMp4 + " --level 3.0 --size 1280x720 --fps 30", 2, "3.1 or higher for 1280x"},
            {clip + toMp4 + " --level 3.1 --video-bitrate 25M", 2, "expected 3.2 or higher"},
            {clip + toMp4 + " --level 3.2 --video-bitrate 21M --profile main", 2, "expected 4.1"},
            {clip + toMp4 + " --level 5.2 --size 8192x8192", 2, "no level is enough"},
            {clip + toMp4 + " --quality 20 --video-bitrate 1M", 2, "excludes"},
            {play + " --start 1h", 3, "not after 3600.000 s"},
            {"transcode " + still + toMp4 + " --quiet --start 1", 3, "in the part that is asked"},
            {"play " + garbage, 3, "'" + garbage + "'"},
            {play + " --only video", 3, "no picture"},
            {play + " --display tv", 2, "window, null or png:DIR"},
            {play + " --display png:", 2, "window, null or png:DIR"},
            {"play " + oneFrameVideo() + " --display png:/nowhere/x", 4, "/nowhere/x"},
            {play + " --sound wav:/nowhere/x.wav", 4, "/nowhere/x.wav"},
            {clip + " -o " + outputs.file("none/out.mp4"), 4, "No such file or directory"},
            {clip + " -o " + text + "/out.mp4", 4, "Not a directory"},
            {clip + " -o /proc/out.mp4", 4, "/proc/out.mp4"},
            {clip + " -o " + outputs.path() + " --format ts", 4, "Is a directory"},
            {clip + " -o " + outputs.file("out.mkv"), 2, "cannot tell the container"},
            {clip + " -o - --format mp4", 4, "--format ts"},

            {"remux " + mediaPath("bear_161x121_vp9.webm") + toMp4, 3,
             "the picture is vp9, not AVC"},
            {"remux " + mediaPath("roar.mp3") + toMp4, 3, "the sound is mp3, not AAC"},
            {"remux " + mediaPath("bunny_480i_tff_mpeg2_mp2.ts") + toMp4, 3,
             "is mpeg2video, not AVC"},
            {remux + " --start 1h", 3, "not after 3600.000 s"},
            {remux + " --audio-track 0", 3, "is no sound"},
            {"remux /nope" + toMp4, 3, "No such file"},

            {"plan " + car + " -o - --parts 2", 2, "'-' is no file"},
            {"plan -" + toMp4 + " --parts 2", 2, "standard input"},
            {"plan " + car + toMp4, 2, "number of parts or their length"},
            {"plan " + car + toMp4 + " --parts 0", 2, "--parts '0': expected 1 to"},
            {"plan " + car + toMp4 + " --parts 2 --level 1.0", 2, "level '1.0'"},
            {"transcode " + car + " -o /dev/null --resumable --format ts", 2,
             "'/dev/null' is no file"},
            {"transcode " + car + toMp4 + " --jobs 2", 2, "requires --resumable"},

            {"contact-sheet none.mp4" + toPng, 3, "No such file"},
            {"contact-sheet " + mediaPath("roar.mp3") + toPng, 3, "no picture that can be decoded"},
            {film + " -o /none/x.png", 4, "No such file"},
            {film + toPng + " --columns 20 --width 64", 2, "make no sheet"},

            {"camera", 2, "either --hdmi SOURCE or --usb SOURCE"},
            {"camera --list --usb a", 2, "--usb excludes --list"},
            {"camera --usb v4l2:/dev/no_such", 3, "No such file"},
            {"record" + toMp4, 2, "either --hdmi SOURCE or --usb SOURCE"},
            {"record --hdmi a.mp4 --usb b.mp4" + toMp4, 2, "either --hdmi"},
            {"record --usb " + kBoth + " -o " + outputs.path() + "/", 2, "name the file in it"},
            {"record --hdmi lavfi:" + toMp4, 2, "after 'lavfi:'"},
            {"record --usb v4l2:" + toMp4, 2, "after 'v4l2:'"},
            {"record --audio alsa: --usb " + kPicture + toMp4, 2, "after 'alsa:'"},
            {"record --usb alsa:default" + toMp4, 2, "picture"},
            {"record --hdmi v4l2:/dev/video0" + toMp4, 2, "use it with --usb"},
            {"camera --hdmi v4l2:/dev/video0", 2, "use it with --usb"},
            {"record --hdmi pulse:mic --only video" + toMp4, 2, "picture"},
            {"record --usb v4l2:/dev/video0 --only audio" + toMp4, 2, "--audio"},
            {"record --audio v4l2:/x --usb " + kPicture + toMp4, 2, "no sound"},
            {"record --audio none --only audio --usb " + kPicture + toMp4, 2, "leave nothing"},
            {"record --audio lavfi:sine --only video --usb " + kPicture + toMp4, 2, "leaves out"},
            {"record --hdmi nothing --fps 31" + toMp4, 2, "1 to 30"},
            {"record --hdmi nothing --fps 30" + toMp4, 3, "nothing"},
            {"record --fps 7 --usb " + kBoth + toMp4, 2, "the camera has 5,"},
            {"record --deinterlace auto --usb " + kBoth + toMp4, 2, "'auto': expected 0, 1 or 2"},
            {"record --size 322x182 --hdmi " + kBoth + toMp4, 2, "320x180"},
            // What an HDMI receiver would scale to.
            {"record --size 640x360 --usb " + kBoth + toMp4, 2, "320x180"},
            {"record --size 322x180 --usb " + kBoth + toMp4, 2, "--size '322x180'"},
            {"record --usb lavfi:sine --only audio --preview" + toMp4, 2, "--preview"},
            {"record --audio none --monitor --usb " + kBoth + toMp4, 2, "--monitor"},
            {"record --monitor --usb " + kPicture + toMp4, 3, "no sound"},
            {"record --usb no_such.mp4" + toMp4, 3, "No such file"},
            {"record --usb v4l2:/dev/no_such" + toMp4, 3, "No such file"},
            {"record --hdmi lavfi:no_such_filter" + toMp4, 3, "no_such_filter"},
            {"record --usb lavfi:sine" + toMp4, 3, "no picture"},
            {record + " -o " + outputs.file("a%Q.mp4"), 2, "'%Q' is no part of a time"},
            {record + " -o " + outputs.file("100%") + " --format ts", 2,
             "'%' is no part of a time"},
            {record + toMp4 + " --split 0.5", 2, "a second or more"},
            {record + toMp4 + " --split often", 2, "a second or more"},
            {record + " -o - --split 2", 2, "split needs files"},
            {television + wrong, 2,
             "line 2: there is no event 'plugg'; line 3: size '': expected WxH"},
            {television + inputs.file("none"), 3, "No such file"},
            {television + inputs.path(), 3, "Is a directory"},
            {television + large, 3, "File too large"},
            {record + toMp4 + " --scenario " OXA_SAMPLES "/cable-pulled.scenario", 2,
             "--scenario needs the HDMI"},
            // Sound that was asked for is never silence.
            {"record --audio no.wav --hdmi " + kBoth + toMp4, 3, "no.wav"},
            {"record --audio " + kPicture + " --usb " + kPicture + toMp4, 3, "no sound"}};
    for (const Refusal& refusal : kRefusals)
        expectRefusal(refusal);
    EXPECT_THAT(namesIn(outputs.path()), testing::IsEmpty());
}

TEST(Refusal, isAnEventWithItsExitCode) {
    const TempDir folder;
    const auto probed = eventsOf(runPlayer({"probe", "x.mp4", "--json"}).out);
    const auto events =
            eventsOf(runPlayer({"transcode", "x.mp4", "-o", folder.file("out.mp4"), "--json"}).out);
    ASSERT_EQ(probed.size(), 1u);
    ASSERT_EQ(events.size(), 2u);
    for (const auto& error : {probed[0], events[0]}) {
        EXPECT_EQ(error["event"], "error");
        EXPECT_EQ(error["exit"], 3);
    }
    EXPECT_EQ(events[1]["event"], "result");
    EXPECT_EQ(events[1]["exit"], 3);
}

TEST(Refusal, sourceIsNeverItsOwnOutput) {
    const TempDir folder;
    const std::string clip = folder.file("film.mp4");
    const std::string hard = folder.file("hard.mp4");
    const std::string soft = folder.file("soft.mp4");
    const std::string percent = folder.file("100%.mp4");
    std::filesystem::copy(mediaPath("friday_video_starts_1s.mp4"), clip);
    std::filesystem::create_hard_link(clip, hard);
    std::filesystem::create_symlink(clip, soft);
    std::filesystem::copy(clip, percent);
    const std::string before = readFile(clip);
    for (const std::string& output : {clip, hard, soft}) {
        expectRefusal({"transcode " + clip + " --force -o " + output, 2, "is the input itself"});
    }
    expectRefusal({"record --usb " + clip + " --force -o " + clip, 2, "is the source itself"});
    expectRefusal({"record --hdmi " + kPicture + " --audio " + clip + " --force -o " + clip, 2,
                   "is the source itself"});
    expectRefusal({"record --usb " + percent + " --force -o " + folder.file("100%%.mp4"), 2,
                   "is the source itself"});
    EXPECT_TRUE(readFile(clip) == before);
    EXPECT_TRUE(readFile(percent) == before);
}

}  // namespace
}  // namespace oxa::test
