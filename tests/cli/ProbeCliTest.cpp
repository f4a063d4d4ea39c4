// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "cli/PlayerProgram.h"
#include "support/MediaProbe.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace oxa::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

// Measured by decoding the clip: a size, a rotation, a rate or a track that the client shows
// wrongly is also what it would transcode to.
void expectWhatTheClipHolds(const std::string& path) {
    const ProcessResult result = runPlayer({"probe", path, "--json"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const auto objects = eventsOf(result.out);
    ASSERT_EQ(objects.size(), 1u);
    const json& tracks = objects[0]["tracks"];

    const MediaProbe probe(path);
    ASSERT_TRUE(probe.ok()) << probe.error();
    std::vector<StreamProbe> streams;
    for (const StreamProbe& stream : probe.streams()) {
        const bool isMedia = stream.isVideo ? !stream.isCover : stream.sampleRate > 0;
        if (isMedia) streams.push_back(stream);
    }
    ASSERT_EQ(tracks.size(), streams.size()) << tracks;
    for (size_t i = 0; i < streams.size(); ++i) {
        const StreamProbe& stream = streams[i];
        const json& track = tracks[i];
        EXPECT_EQ(track["index"], i);
        EXPECT_EQ(track["kind"], stream.isVideo ? "video" : "audio");
        if (stream.isVideo) {
            EXPECT_EQ(track["width"], stream.width);
            EXPECT_EQ(track["height"], stream.height);
            EXPECT_EQ(track["rotation"], stream.rotation);
            EXPECT_NEAR(track["frame_rate"].get<double>(), stream.frameRate, 0.5);
        } else {
            EXPECT_EQ(track["channels"], stream.channels);
            EXPECT_EQ(track["sample_rate"], stream.sampleRate);
        }
        EXPECT_NEAR(track["duration_s"].get<double>(), stream.durationUs() / 1e6, 1.3);
    }
}

TEST(Probe, showsWhatTheClipHolds) {
    for (const char* clip :
         {"bear_161x121_vp9.webm", "bird_mpeg4asp_mp3.avi", "bunny_480i_tff_mpeg2_mp2.ts",
          "bunny_480p_hevc.mp4", "bunny_rotated90_aac51.mp4", "friday_audio_starts_1200ms.mp4",
          "nasa_multistream.mp4", "roar.mp3"}) {
        SCOPED_TRACE(clip);
        expectWhatTheClipHolds(mediaPath(clip));
    }
}

// What is shown may come from a file: a title, or here a name, must not steer the terminal.
TEST(Probe, showsNoControlCharacters) {
    const ProcessResult result = runPlayer({"probe",
                                            "no\x1b[2Jsuch\r\xc2\x9b"
                                            "1mfile\xc3\xa9"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.err, HasSubstr("'no?[2Jsuch?\xc2\xbf"
                                      "1mfile\xc3\xa9'"));
}

TEST(Probe, tableIsForPeople) {
    const std::string path = mediaPath("bunny_rotated90_aac51.mp4");
    const ProcessResult result = runPlayer({"probe", path});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto lines = linesOf(result.out);
    ASSERT_EQ(lines.size(), 4u) << result.out;
    EXPECT_EQ(lines[0], path);
    EXPECT_EQ(lines[2].substr(0, lines[2].find(" fps")),
              "  0      video  video/avc        1920x1080, rotated by 90, 24");
    EXPECT_THAT(lines[3], HasSubstr("1      audio  audio/mp4a-latm  6 ch, 48000 Hz "));
    // One column below the other.
    const size_t column = lines[1].find("length");
    for (const std::string& line : {lines[2], lines[3]}) {
        EXPECT_EQ(line[column - 1], ' ') << line;
        EXPECT_NE(line[column], ' ') << line;
    }
}

// A picture that belongs to the file and not to a film must not become a film.
TEST(Probe, coverPictureIsNoTrack) {
    const ProcessResult result = runPlayer({"probe", coverPictureClip(), "--json"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const json tracks = json::parse(result.out)["tracks"];
    ASSERT_EQ(tracks.size(), 1u);
    EXPECT_EQ(tracks[0]["kind"], "audio");
}

TEST(Probe, unreadableInputIsExitThreeWithOneLine) {
    TempDir folder;
    ASSERT_TRUE(writeFile(folder.file("empty.mp4"), ""));
    for (const std::string& path :
         {folder.file("none.mp4"), folder.path(), folder.file("empty.mp4"), garbageFile(100'000),
          std::string("/dev/zero")}) {
        const ProcessResult result = runPlayer({"probe", path});
        EXPECT_EQ(result.exitCode, 3) << path;
        EXPECT_EQ(result.out, "") << path;
        EXPECT_EQ(linesOf(result.err).size(), 1u) << result.err;
        EXPECT_THAT(result.err, testing::StartsWith("oxaplayer: probe: ")) << path;
        EXPECT_THAT(result.err, HasSubstr("'" + path + "'"));
    }
    const ProcessResult missing = runPlayer({"probe", "x.mp4"});
    EXPECT_EQ(missing.err, "oxaplayer: probe: cannot open 'x.mp4': No such file or directory\n");
    const ProcessResult events = runPlayer({"probe", "x.mp4", "--json"});
    const auto lines = eventsOf(events.out);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0]["event"], "error");
    EXPECT_EQ(lines[0]["exit"], 3);
}

TEST(Probe, fullDiskBehindStandardOutputIsExitFour) {
    const ProcessResult result = ProcessRunner({"sh", "-c", "\"$0\" probe \"$1\" >/dev/full",
                                                OXA_PLAYER_PROGRAM, mediaPath("roar.mp3")})
                                         .run();
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.err, HasSubstr("No space left on device"));
}

}  // namespace
}  // namespace oxa::test
