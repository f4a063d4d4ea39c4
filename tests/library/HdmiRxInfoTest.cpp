// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "HdmiRxInfo.h"

#include <array>
#include <filesystem>

#include "OxaMediaCodecPlayerCommon.h"
#include "support/LogCapture.h"
#include "support/Test.h"

namespace android {
namespace {

constexpr char kFolder[] = "/sys/devices/virtual/video4linux/video250";
constexpr char kVideoFile[] = "hdmirx_video_info";
constexpr char kAudioFile[] = "hdmirx_audio_info";
constexpr char kTag[] = "HdmiRxInfo";

// IsHdmiRx, Ready, Progressive, Color, Width, Height, Fps.
using VideoFacts = std::array<int32_t, 7>;
// Ready, Freq, Lpcm.
using AudioFacts = std::array<int32_t, 3>;

// The two files of the driver, and what is read from them.
class DriverFiles {
  public:
    DriverFiles() {
        setDeviceRoot(mRoot.path().c_str());
        std::filesystem::create_directories(mRoot.path() + kFolder);
        HdmiRxInfo::DelInstance();
    }
    ~DriverFiles() {
        HdmiRxInfo::DelInstance();
        setDeviceRoot("");
    }
    void write(const char* file, const std::string& text) const {
        ASSERT_TRUE(oxa::test::writeFile(mRoot.path() + kFolder + "/" + file, text));
    }
    static VideoFacts video() {
        const HdmiRxInfo* info = HdmiRxInfo::GetInstance();
        return {info->mVideoIsHdmiRx, info->mVideoReady, info->mVideoProgressive,
                info->mVideoColor,    info->mVideoWidth, info->mVideoHeight,
                info->mVideoFps};
    }
    static AudioFacts audio() {
        const HdmiRxInfo* info = HdmiRxInfo::GetInstance();
        return {info->mAudioReady, info->mAudioFreq, info->mAudioLpcm};
    }

  private:
    const oxa::test::TempDir mRoot;
};

TEST(HdmiRxInfoTest, videoFactsAreReadFromTheDriversFile) {
    const struct {
        const char* text;
        VideoFacts facts;
    } kCases[] = {
            {"Type:HDMIRx\nStatus:Ready\nWidth:1920\nHeight:1080\nScanMode:Progressive\n"
             "Color:YUV444\nFps:60\n",
             {1, 1, 1, 2, 1920, 1080, 60}},
            // In any order, without the last line's end.
            {"Fps:50\nScanMode:Interlaced\nHeight:576\nWidth:720\nStatus:NotReady\nType:HDMIRx",
             {1, 0, 0, 0, 720, 576, 50}},
            // A blank before a text does not match, one before a number does no harm.
            {"Type: HDMIRx\nStatus: Ready\nScanMode: Progressive\nWidth: 1920\nHeight:\t1080\n",
             {0, 0, 0, 0, 1920, 1080, 0}},
            // A line without colon is the end.
            {"Type:HDMIRx\nWidth:1280\n\nHeight:720\nFps:30\n", {1, 0, 0, 0, 1280, 0, 0}},
            // Keys and texts are beginnings, in their case.
            {"Types:HDMIRx2\nStatusText:ReadyNow\nWidthInPixels:640\nColorSpace:YUV422 BT.709\n",
             {1, 1, 0, 1, 640, 0, 0}},
            {"Name:HDMIRx\nstatus:Ready\n Width:640\nFp:30\nHeight:480\n", {0, 0, 0, 0, 0, 480, 0}},
            // An unknown colour keeps the former one.
            {"Color:YUV422\nColor:YUV420\n", {0, 0, 0, 1, 0, 0, 0}},
            {"Color:YUV444\nColor:RGB\n", {0, 0, 0, 0, 0, 0, 0}},
            // Numbers end with the first other character, and at their range.
            {"Width:12:34\nHeight:-1px\nFps:59.94\n", {0, 0, 0, 0, 12, -1, 59}},
            {"Width:4294967297\nHeight:-9999999999999999999\n",
             {0, 0, 0, 0, INT32_MAX, INT32_MIN, 0}},
            {"", {0, 0, 0, 0, 0, 0, 0}}};
    for (const auto& test : kCases) {
        SCOPED_TRACE(test.text);
        const DriverFiles files;
        files.write(kVideoFile, test.text);
        EXPECT_EQ(DriverFiles::video(), test.facts);
    }
}

TEST(HdmiRxInfoTest, audioFactsAreReadFromTheDriversFile) {
    const struct {
        const char* text;
        AudioFacts facts;
    } kCases[] = {{"Ready:1\nFreq:48000\nSPDIF Type:LPCM\n", {1, 48000, 1}},
                  {"Ready:1\nFreq:44100\nSPDIF Type:Non-LPCM AC3\n", {1, 44100, 0}},
                  {"Ready:2\nFreq: 32000 Hz\nSPDIF Type:\n", {0, 32000, 1}},
                  {"Ready: 1\n", {1, 0, 0}},
                  {"Ready:1\nnothing\nFreq:48000\n", {1, 0, 0}}};
    for (const auto& test : kCases) {
        SCOPED_TRACE(test.text);
        const DriverFiles files;
        files.write(kAudioFile, test.text);
        EXPECT_EQ(DriverFiles::audio(), test.facts);
    }
}

TEST(HdmiRxInfoTest, factsAreSummedUpInTheLog) {
    const DriverFiles files;
    files.write(kVideoFile, "Status:Ready\nWidth:720\nHeight:576\nColor:YUV422\nFps:50\n");
    files.write(kAudioFile, "Ready:2\nFreq:48000\nSPDIF Type:LPCM\n");
    const LogCapture log;
    HdmiRxInfo::GetInstance();
    EXPECT_TRUE(log.contains(kTag, "HDMI-Rx video 720x576i50 Color:1  Ready"));
    EXPECT_TRUE(log.contains(kTag, "HDMI-Rx audio Not Ready 48000Hz SPDIF:LPCM"));
}

TEST(HdmiRxInfoTest, missingFilesLeaveZeros) {
    const DriverFiles files;
    const LogCapture log;
    EXPECT_EQ(DriverFiles::video(), VideoFacts{});
    EXPECT_EQ(DriverFiles::audio(), AudioFacts{});
    for (const char* file : {kVideoFile, kAudioFile}) {
        EXPECT_EQ(log.count(kTag, std::string(": failed to open file ") + kFolder + "/" + file +
                                          ": No such file"),
                  1);
    }
    EXPECT_FALSE(log.contains(kTag, "HDMI-Rx video")) << "a summary of nothing";
    EXPECT_EQ(HdmiRxInfo::GetInstance()->retrieveHdmiRxVideoInfo(), -1);
    EXPECT_EQ(HdmiRxInfo::GetInstance()->retrieveHdmiRxAduioInfo(), -1);
    files.write(kVideoFile, "Width:1920\n");
    files.write(kAudioFile, "");
    EXPECT_EQ(HdmiRxInfo::GetInstance()->retrieveHdmiRxVideoInfo(), 0);
    EXPECT_EQ(HdmiRxInfo::GetInstance()->retrieveHdmiRxAduioInfo(), 0);
    EXPECT_EQ(HdmiRxInfo::GetInstance()->mVideoWidth, 1920);
}

// A file that is no driver's must not be read without end.
TEST(HdmiRxInfoTest, readsTheBeginningOfAnythingLarger) {
    const DriverFiles files;
    std::string lines;
    for (int i = 0; i < 255; ++i)
        lines += "Other:1\n";
    files.write(kVideoFile, lines + "Width:1\nHeight:1\n");
    files.write(kAudioFile, "Ready:1\nOther:" + std::string(65536, 'x') + "\nFreq:48000\n");
    EXPECT_EQ(DriverFiles::video(), (VideoFacts{0, 0, 0, 0, 1, 0, 0})) << "256 lines count";
    EXPECT_EQ(DriverFiles::audio(), (AudioFacts{1, 0, 0}));
}

TEST(HdmiRxInfoTest, isASnapshotUntilItIsDropped) {
    const DriverFiles files;
    files.write(kVideoFile, "Width:1920\n");
    const HdmiRxInfo* info = HdmiRxInfo::GetInstance();
    files.write(kVideoFile, "Width:1280\n");
    EXPECT_EQ(HdmiRxInfo::GetInstance(), info);
    EXPECT_EQ(info->mVideoWidth, 1920);
    HdmiRxInfo::DelInstance();
    HdmiRxInfo::DelInstance();
    EXPECT_EQ(HdmiRxInfo::GetInstance()->mVideoWidth, 1280);
}

}  // namespace
}  // namespace android
