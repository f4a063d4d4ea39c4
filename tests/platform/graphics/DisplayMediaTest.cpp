// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/Display.h>

#include <cstdio>
#include <filesystem>

#include "support/Pictures.h"
#include "support/PlayJob.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

// As many files as pictures, named by number and time, that look like what the `ffmpeg` command
// writes.
TEST(PngClipTest, IsWhatTheClipHolds) {
    ClipOptions clip;
    clip.seconds = 0.4;
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
    for (unsigned i = 0; i < 10; ++i) {
        char name[64];
        char number[16];
        snprintf(name, sizeof(name), "picture-%06u-0.%06us.png", i + 1, i * 40000);
        snprintf(number, sizeof(number), "%06u.png", i + 1);
        const PsnrResult result = comparePictures(expected.file(number), written.file(name));
        ASSERT_EQ(1U, result.countB) << name;
        EXPECT_GT(result.mean.y, 48) << name;
        EXPECT_GT(result.mean.u, 48) << name;
        EXPECT_GT(result.mean.v, 48) << name;
    }
    EXPECT_EQ(10, std::distance(std::filesystem::directory_iterator(written.path()), {}));
}

}  // namespace
}  // namespace oxa::test
