// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// The bytes are the two files of the HDMI receiver's driver, one behind the other with a zero byte
// between them.

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <string>

#include "HdmiRxInfo.h"
#include "OxaMediaCodecPlayerCommon.h"
#include "fuzz/FuzzTarget.h"
#include "support/TempDir.h"

namespace oxa::fuzz {
namespace {

using android::HdmiRxInfo;

constexpr char kFolder[] = "/sys/devices/virtual/video4linux/video250";

using Facts = std::array<int32_t, 10>;

class DriverFiles {
  public:
    DriverFiles() {
        std::filesystem::create_directories(mRoot.path() + kFolder);
        android::setDeviceRoot(mRoot.path().c_str());
    }

    Facts factsOf(const std::string& video, const std::string& audio) const {
        const std::string folder = mRoot.path() + kFolder;
        FUZZ_CHECK(test::writeFile(folder + "/hdmirx_video_info", video));
        FUZZ_CHECK(test::writeFile(folder + "/hdmirx_audio_info", audio));
        HdmiRxInfo::DelInstance();
        const HdmiRxInfo* info = HdmiRxInfo::GetInstance();
        return {info->mVideoIsHdmiRx, info->mVideoReady, info->mVideoProgressive,
                info->mVideoColor,    info->mVideoWidth, info->mVideoHeight,
                info->mVideoFps,      info->mAudioReady, info->mAudioFreq,
                info->mAudioLpcm};
    }

  private:
    const test::TempDir mRoot;
};

bool isFlag(int32_t value) {
    return value == 0 || value == 1;
}

void check(const std::string& video, const std::string& audio) {
    static const DriverFiles files;
    const Facts facts = files.factsOf(video, audio);
    FUZZ_CHECK(isFlag(facts[0]) && isFlag(facts[1]) && isFlag(facts[2]));
    FUZZ_CHECK(facts[3] >= 0 && facts[3] <= 2);
    FUZZ_CHECK(isFlag(facts[7]) && isFlag(facts[9]));
    // What stands behind a line without a colon is not read.
    const std::string end = "\nend\n";
    const std::string more = "Type:HDMIRx\nWidth:77\nReady:1\nFreq:77\n";
    FUZZ_CHECK(files.factsOf(video + end + more, audio + end + more) ==
               files.factsOf(video + end, audio + end));
    // Keys that nobody knows change nothing.
    FUZZ_CHECK(files.factsOf("-:1\n" + video, "-:1\n" + audio) == facts);
}

}  // namespace
}  // namespace oxa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr size_t kMaxBytes = 4096;
    if (size > kMaxBytes) return 0;
    const auto* text = reinterpret_cast<const char*>(data);
    const size_t videoSize = std::find(text, text + size, '\0') - text;
    const size_t audioBegin = std::min(videoSize + 1, size);
    oxa::fuzz::check(std::string(text, videoSize),
                     std::string(text + audioBegin, size - audioBegin));
    return 0;
}
