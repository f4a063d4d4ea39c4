// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <csignal>

#include "cli/PlayerProgram.h"
#include "support/MediaProbe.h"
#include "support/Pictures.h"

namespace oxa::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

constexpr int kGap = 4;

// Grey that becomes lighter by 20 a second.
std::string brighteningClip(const std::string& extension) {
    ClipOptions options;
    options.extension = extension;
    options.seconds = 8;
    options.width = 160;
    options.height = 120;
    options.frameRateNum = 10;
    options.audio = false;
    options.videoFilter = "geq=lum='30+20*T':cb=128:cr=128";
    options.videoArguments = {"-g", "24", "-bf", "2"};
    return testClip(options);
}

ProcessRunner sheet(const std::string& film, const std::string& output,
                    const std::vector<std::string>& more = {}) {
    return player(joined({"contact-sheet", film, "-o", output}, more));
}

// What is told of a sheet of two pictures.
json tellOfTwo(const std::string& film) {
    const TempDir folder;
    const ProcessResult result =
            sheet(film, folder.file("sheet.png"), words("--columns 2 --rows 1 --json")).run();
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return eventsNamed(eventsOf(result.out), "result").at(0);
}

// Each cell shows the picture of the time that is told for it, and the times are spread over the
// film.
TEST(ContactSheet, cellsShowTheirTimes) {
    const struct {
        const char* extension;
        int columns, rows, width;
        double inexactSec;  // less than a picture where pictures begin at the wanted moments
    } kSheets[] = {{"mp4", 4, 2, 640, 0.01}, {"ts", 3, 2, 500, 0.11}, {"mkv", 1, 5, 160, 0.11}};
    for (const auto& test : kSheets) {
        SCOPED_TRACE(test.extension);
        const TempDir folder;
        const TempDir temporary;
        const std::string output = folder.file("sheet.png");
        const ProcessResult result =
                sheet(brighteningClip(test.extension), output,
                      {"--columns", std::to_string(test.columns), "--rows",
                       std::to_string(test.rows), "--width", std::to_string(test.width), "--json"})
                        .setEnvironment("TMPDIR", temporary.path())
                        .run();
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_THAT(namesIn(temporary.path()), testing::IsEmpty());
        EXPECT_THAT(namesIn(folder.path()), testing::ElementsAre("sheet.png"));

        // Such as damage where the decoding begins behind a key frame.
        EXPECT_THAT(eventsNamed(eventsOf(result.out), "warning"), testing::IsEmpty());
        const json event = eventsNamed(eventsOf(result.out), "result").at(0);
        const int cells = test.columns * test.rows;
        ASSERT_EQ(event["times_s"].size(), static_cast<size_t>(cells)) << event;
        const auto images = decodePictures(output);
        ASSERT_EQ(images.size(), 1u);
        EXPECT_EQ(images[0].width, test.width);
        EXPECT_EQ(images[0].width, event["width"]);
        EXPECT_EQ(images[0].height, event["height"]);
        const int stepX = images[0].width / test.columns;
        const int stepY = (images[0].height - kGap) / test.rows;
        for (int i = 0; i < cells; ++i) {
            const double timeSec = event["times_s"][i].get<double>();
            EXPECT_NEAR(timeSec, 8.0 * (i + 0.5) / cells, test.inexactSec) << i;
            const int left = i % test.columns * stepX;
            const int top = i / test.columns * stepY;
            const Colour centre =
                    meanColour(images[0], left + stepX / 2 - 4, top + stepY / 2 - 4, 8, 8);
            EXPECT_NEAR(centre.y, 30 + 20 * timeSec, 3) << i;
        }
    }
}

TEST(ContactSheet, timesOfALatePictureBeginWithIt) {
    const std::string film = mediaPath("friday_video_starts_1s.mp4");
    const json times = tellOfTwo(film)["times_s"];
    ASSERT_EQ(times.size(), 2u);
    const StreamProbe video = *MediaProbe(film).video();
    for (const int i : {0, 1}) {
        const double wantedUs = video.firstUs() + video.durationUs() * (2 * i + 1) / 4.0;
        EXPECT_NEAR(times[i].get<double>(), wantedUs / 1e6, 0.1);
    }
}

// 4:3 that is turned stands upright.
TEST(ContactSheet, picturesAreUpright) {
    const json event = tellOfTwo(mediaPath("bunny_rotated90_aac51.mp4"));
    EXPECT_EQ(event["width"], 1280);
    EXPECT_NEAR(event["height"].get<int>() - 2 * kGap, (1280 - 3 * kGap) / 2 * 16 / 9, 4);
}

// White digits on black in the lower left corner of a cell that is grey elsewhere.
TEST(ContactSheet, timeIsWrittenIntoTheCorner) {
    const TempDir folder;
    const std::string output = folder.file("sheet.png");
    ASSERT_TRUE(sheet(brighteningClip("mp4"), output,
                      {"--columns", "1", "--rows", "1", "--width", "328"})
                        .run()
                        .ok());
    const auto images = decodePictures(output);
    ASSERT_EQ(images.size(), 1u);
    const Image& image = images[0];
    const auto countIn = [&image](int left, int top, int width, int height, bool white) {
        int count = 0;
        for (int y = top; y < top + height; ++y) {
            for (int x = left; x < left + width; ++x) {
                const uint8_t luma = image.planes[0][y * image.width + x];
                count += white ? luma > 200 : luma < 25;
            }
        }
        return count;
    };
    // "0:04.0" (or 0:03.9) in letters of three times 5 x 7 pixels, of which 79 (75) are white.
    const int top = image.height - kGap - 27;
    EXPECT_GT(countIn(kGap, top, 111, 27, true), 9 * 72);
    EXPECT_GT(countIn(kGap, top, 111, 27, false), 9 * 150);
    EXPECT_EQ(countIn(kGap + 115, top, 200, 27, true), 0);
    EXPECT_LT(countIn(kGap, top, 111, 27, true), 9 * 82);
    EXPECT_GT(countIn(kGap + 96, top, 15, 27, false), 9 * 10) << "the last letter has its place";
}

TEST(ContactSheet, filmWithOnePictureReplacesAFileOnlyWithForce) {
    const TempDir folder;
    const std::string output = folder.file("sheet.png");
    ASSERT_TRUE(writeFile(output, "precious"));
    const ProcessResult refused = sheet(oneFrameVideo(), output).run();
    EXPECT_EQ(refused.exitCode, 4);
    EXPECT_THAT(refused.err, HasSubstr("File exists (--force replaces it)"));
    EXPECT_EQ(readFile(output), "precious");
    const ProcessResult forced = sheet(oneFrameVideo(), output, {"--force", "--json"}).run();
    EXPECT_EQ(forced.exitCode, 0) << forced.err;
    EXPECT_EQ(eventsNamed(eventsOf(forced.out), "result").at(0)["times_s"], json::array({0.0}));
    const ProcessResult piped = sheet(oneFrameVideo(), "-").run();
    EXPECT_EQ(piped.exitCode, 0) << piped.err;
    EXPECT_EQ(piped.out, readFile(output));
    EXPECT_EQ(piped.out.substr(0, 8), "\x89PNG\r\n\x1a\n");
}

TEST(ContactSheet, interruptedLeavesNothing) {
    const TempDir folder;
    const TempDir temporary;
    const ProcessResult result =
            sheet(mediaPath("bunny_rotated90_aac51.mp4"), folder.file("sheet.png"),
                  {"--columns", "20", "--rows", "20"})
                    .setEnvironment("TMPDIR", temporary.path())
                    .signalOnText(SIGINT, "rotated by 90")
                    .run();
    EXPECT_EQ(result.exitCode, 130) << result.err;
    EXPECT_THAT(result.err, HasSubstr("interrupted, nothing was written"));
    EXPECT_THAT(namesIn(folder.path()), testing::IsEmpty());
    EXPECT_THAT(namesIn(temporary.path()), testing::IsEmpty());
}

// Pictures that cannot be kept must not become a sheet with holes.
TEST(ContactSheet, fullDiskIsAFailureThatLeavesNothing) {
    const TempDir folder;
    const ProcessResult result =
            sheet(brighteningClip("mp4"), folder.file("sheet.png")).setFileSizeLimit(100).run();
    EXPECT_EQ(result.exitCode, 1) << result.err;
    EXPECT_THAT(result.err, HasSubstr("cannot write pictures to the temporary folder"));
    EXPECT_THAT(namesIn(folder.path()), testing::IsEmpty());
    const ProcessResult device = sheet(oneFrameVideo(), "/dev/full").run();
    EXPECT_EQ(device.exitCode, 4);
    EXPECT_THAT(device.err, HasSubstr("No space left"));
}

}  // namespace
}  // namespace oxa::test
