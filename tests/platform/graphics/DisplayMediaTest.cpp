// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <dirent.h>
#include <gtest/gtest.h>
#include <oxa/host/Display.h>

#include <algorithm>
#include <cstdio>

#include "platform/codec/PlayJob.h"
#include "support/Deadline.h"
#include "support/Pictures.h"
#include "support/ProcessRunner.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace oxa::test {
namespace {

uint64_t hashOf(const Image& image) {
    uint64_t hash = UINT64_C(14695981039346656037);
    for (const std::vector<uint8_t>& plane : image.planes) {
        for (const uint8_t sample : plane)
            hash = (hash ^ sample) * UINT64_C(1099511628211);
    }
    return hash;
}

std::vector<std::string> filesOf(const std::string& directory) {
    std::vector<std::string> names;
    DIR* entries = opendir(directory.c_str());
    while (const dirent* entry = readdir(entries)) {
        if (entry->d_name[0] != '.') names.push_back(entry->d_name);
    }
    closedir(entries);
    std::sort(names.begin(), names.end());
    return names;
}

class RecordedClipTest : public testing::TestWithParam<const char*> {};

// Every picture of the clip, in order and bit by bit.
TEST_P(RecordedClipTest, IsWhatTheClipHolds) {
    const std::string path = mediaPath(GetParam());
    const std::vector<Image> expected = decodePictures(path);
    ASSERT_FALSE(expected.empty());
    const auto display = host::createRecordingDisplay();
    PlayJobOptions options;
    options.path = path;
    options.producer = display->producer();
    PlayJob job(options);
    ASSERT_TRUE(job.run());
    ASSERT_TRUE(waitFor([&] { return display->pictures().size() >= expected.size(); }));
    const std::vector<host::RecordedPicture> pictures = display->pictures();
    ASSERT_EQ(expected.size(), pictures.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        ASSERT_EQ(expected[i].width, pictures[i].width) << i;
        ASSERT_EQ(expected[i].height, pictures[i].height) << i;
        ASSERT_EQ(hashOf(expected[i]), pictures[i].hash) << i;
        ASSERT_NEAR(expected[i].timeUs, pictures[i].mediaTimeUs, 1000) << i;
        ASSERT_EQ(job.renderedTimesUs()[i] * 1000, pictures[i].timestampNs) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(, RecordedClipTest,
                         testing::Values("flower_540p_h264_aac.mp4", "bear_161x121_vp9.webm"),
                         [](const auto& info) {
                             const std::string name = info.param;
                             return name.substr(0, name.find('_'));
                         });

// As many files as pictures, named by number and time, that look like what the `ffmpeg` command
// writes.
TEST(PngClipTest, IsWhatTheClipHolds) {
    ClipOptions clip;
    clip.seconds = 1;
    clip.audio = false;
    clip.videoArguments = {"-colorspace", "bt709", "-color_range", "tv"};
    const std::string path = testClip(clip);
    const TempDir written;
    const TempDir expected;
    runOrDie({"ffmpeg", "-v", "error", "-nostdin", "-i", path, "-sws_flags",
              "bicubic+accurate_rnd+full_chroma_int", expected.file("%06d.png")});
    {
        const auto display = host::createPngDisplay(written.path());
        PlayJobOptions options;
        options.path = path;
        options.producer = display->producer();
        ASSERT_TRUE(PlayJob(options).run());
    }
    const std::vector<std::string> names = filesOf(written.path());
    ASSERT_EQ(25U, names.size());
    ASSERT_EQ(25U, filesOf(expected.path()).size());
    for (unsigned i = 0; i < names.size(); ++i) {
        char name[64];
        char number[16];
        snprintf(name, sizeof(name), "picture-%06u-0.%06us.png", i + 1, i * 40000);
        snprintf(number, sizeof(number), "%06u.png", i + 1);
        ASSERT_EQ(name, names[i]);
        const PsnrResult result = comparePictures(expected.file(number), written.file(names[i]));
        ASSERT_EQ(1U, result.countB);
        EXPECT_GT(result.mean.y, 48) << name;
        EXPECT_GT(result.mean.u, 48) << name;
        EXPECT_GT(result.mean.v, 48) << name;
    }
}

}  // namespace
}  // namespace oxa::test
