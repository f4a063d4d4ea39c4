// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "ContactSheet.h"
#include "cli/PlayerProgram.h"
#include "support/Pictures.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace oxa::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

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

struct Sheet {
    const char* extension;
    int columns;
    int rows;
    int width;
};

class ContactSheetTest : public testing::TestWithParam<Sheet> {};

// Each cell shows the picture of the time that is told for it, and the times are spread over the
// film.
TEST_P(ContactSheetTest, cellsShowTheirTimes) {
    const Sheet& sheet = GetParam();
    const TempDir folder;
    const TempDir temporary;
    const std::string output = folder.file("sheet.png");
    const ProcessResult result =
            player({"contact-sheet", brighteningClip(sheet.extension), "-o", output, "--columns",
                    std::to_string(sheet.columns), "--rows", std::to_string(sheet.rows), "--width",
                    std::to_string(sheet.width), "--json"})
                    .setEnvironment("TMPDIR", temporary.path())
                    .run();
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(namesIn(temporary.path()), testing::IsEmpty());
    EXPECT_THAT(namesIn(folder.path()), testing::ElementsAre("sheet.png"));

    const json event = eventsNamed(eventsOf(result.out), "result").at(0);
    const int cells = sheet.columns * sheet.rows;
    ASSERT_EQ(event["times_s"].size(), static_cast<size_t>(cells)) << event;
    const auto images = decodePictures(output);
    ASSERT_EQ(images.size(), 1u);
    EXPECT_EQ(images[0].width, sheet.width);
    EXPECT_EQ(images[0].width, event["width"]);
    EXPECT_EQ(images[0].height, event["height"]);
    const int stepX = images[0].width / sheet.columns;
    const int stepY = (images[0].height - kGap) / sheet.rows;
    for (int i = 0; i < cells; ++i) {
        const double timeSec = event["times_s"][i].get<double>();
        EXPECT_NEAR(timeSec, 8.0 * (i + 0.5) / cells, 0.11) << i;
        const int left = i % sheet.columns * stepX;
        const int top = i / sheet.columns * stepY;
        const Colour centre =
                meanColour(images[0], left + stepX / 2 - 4, top + stepY / 2 - 4, 8, 8);
        EXPECT_NEAR(centre.y, 30 + 20 * timeSec, 3) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Films, ContactSheetTest,
                         testing::Values(Sheet{"mp4", 4, 2, 640}, Sheet{"ts", 3, 2, 500},
                                         Sheet{"mkv", 1, 5, 160}),
                         [](const auto& info) { return info.param.extension; });

// 4:3 that is turned stands upright.
TEST(ContactSheet, picturesAreUpright) {
    const TempDir folder;
    const ProcessResult result =
            runPlayer({"contact-sheet", mediaPath("bunny_rotated90_aac51.mp4"), "-o",
                       folder.file("sheet.png"), "--columns", "2", "--rows", "1", "--json"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const json event = eventsNamed(eventsOf(result.out), "result").at(0);
    EXPECT_EQ(event["width"], 1280);
    EXPECT_NEAR(event["height"].get<int>() - 2 * kGap, (1280 - 3 * kGap) / 2 * 16 / 9, 4);
}

// White digits on black in the lower left corner of a cell that is grey elsewhere.
TEST(ContactSheet, timeIsWrittenIntoTheCorner) {
    const TempDir folder;
    const std::string output = folder.file("sheet.png");
    ASSERT_EQ(runPlayer({"contact-sheet", brighteningClip("mp4"), "-o", output, "--columns", "1",
                         "--rows", "1", "--width", "328"})
                      .exitCode,
              0);
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
    // "0:04.0" (or 0:03.9) in letters of three times 5 x 7 pixels.
    const int top = image.height - kGap - 27;
    EXPECT_GT(countIn(kGap, top, 111, 27, true), 9 * 50);
    EXPECT_GT(countIn(kGap, top, 111, 27, false), 9 * 150);
    EXPECT_EQ(countIn(kGap + 115, top, 200, 27, true), 0);
    EXPECT_EQ(oxaplayer::sheetTime(3'999'999), "0:03.9");
    EXPECT_EQ(oxaplayer::sheetTime(754'200'000), "12:34.2");
    EXPECT_EQ(oxaplayer::sheetTime(3'723'900'000), "1:02:03");
}

TEST(ContactSheet, filmWithOnePictureReplacesAFileOnlyWithForce) {
    const TempDir folder;
    const std::string output = folder.file("sheet.png");
    ASSERT_TRUE(writeFile(output, "precious"));
    const ProcessResult refused = runPlayer({"contact-sheet", oneFrameVideo(), "-o", output});
    EXPECT_EQ(refused.exitCode, 4);
    EXPECT_THAT(refused.err, HasSubstr("File exists (--force replaces it)"));
    EXPECT_EQ(readFile(output), "precious");
    const ProcessResult forced =
            runPlayer({"contact-sheet", oneFrameVideo(), "-o", output, "--force", "--json"});
    EXPECT_EQ(forced.exitCode, 0) << forced.err;
    EXPECT_EQ(eventsNamed(eventsOf(forced.out), "result").at(0)["times_s"], json::array({0.0}));
    const ProcessResult piped = runPlayer({"contact-sheet", oneFrameVideo(), "-o", "-"});
    EXPECT_EQ(piped.exitCode, 0) << piped.err;
    EXPECT_EQ(piped.out, readFile(output));
    EXPECT_EQ(piped.out.substr(0, 8), "\x89PNG\r\n\x1a\n");
}

TEST(ContactSheet, failureIsOneLineAndLeavesNothing) {
    const TempDir folder;
    const std::string output = folder.file("sheet.png");
    const std::string film = oneFrameVideo();
    const struct {
        std::vector<std::string> arguments;
        int exitCode;
        const char* text;
    } kFailures[] = {
            {{"none.mp4", "-o", output}, 3, "No such file"},
            {{garbageFile(50'000), "-o", output}, 3, "cannot read"},
            {{mediaPath("roar.mp3"), "-o", output}, 3, "no picture that can be decoded"},
            {{film, "-o", "/dev/full"}, 4, "No space left"},
            {{film, "-o", "/none/x.png"}, 4, "No such file"},
            {{film, "-o", output, "--columns", "0"}, 2, "--columns '0': expected 1 to 20"},
            {{film, "-o", output, "--columns", "20", "--width", "64"}, 2, "make no sheet"}};
    for (const auto& failure : kFailures) {
        std::vector<std::string> arguments = failure.arguments;
        arguments.insert(arguments.begin(), "contact-sheet");
        const ProcessResult result = runPlayer(arguments);
        EXPECT_EQ(result.exitCode, failure.exitCode) << result.err;
        EXPECT_THAT(linesOf(result.err).back(),
                    AllOf(StartsWith("oxaplayer: contact-sheet: "), HasSubstr(failure.text)));
    }
    EXPECT_THAT(namesIn(folder.path()), testing::IsEmpty());
}

TEST(ContactSheet, interruptedLeavesNothing) {
    const TempDir folder;
    const TempDir temporary;
    const ProcessResult result =
            player({"contact-sheet", mediaPath("bunny_rotated90_aac51.mp4"), "-o",
                    folder.file("sheet.png"), "--columns", "20", "--rows", "20"})
                    .setEnvironment("TMPDIR", temporary.path())
                    .signalOnText(SIGINT, "rotated by 90")
                    .run();
    EXPECT_EQ(result.exitCode, 130) << result.err;
    EXPECT_THAT(result.err, HasSubstr("interrupted, nothing was written"));
    EXPECT_THAT(namesIn(folder.path()), testing::IsEmpty());
    EXPECT_THAT(namesIn(temporary.path()), testing::IsEmpty());
}

// Pictures that cannot be kept must not become a sheet with holes.
TEST(ContactSheet, fullTemporaryFolderIsAFailure) {
    const TempDir folder;
    const ProcessResult result =
            player({"contact-sheet", brighteningClip("mp4"), "-o", folder.file("sheet.png")})
                    .setFileSizeLimit(100)
                    .run();
    EXPECT_EQ(result.exitCode, 1) << result.err;
    EXPECT_THAT(result.err, HasSubstr("cannot write pictures to the temporary folder"));
    EXPECT_THAT(namesIn(folder.path()), testing::IsEmpty());
}

}  // namespace
}  // namespace oxa::test
