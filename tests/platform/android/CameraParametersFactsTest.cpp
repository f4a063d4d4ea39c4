// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <camera/CameraParameters.h>

#include "support/Test.h"

namespace android {
namespace {

using Change = std::function<void(CameraParameters*)>;

// Settings are read from a text and changed; what Android 11 writes then.
TEST(CameraParametersFacts, changes) {
    const std::tuple<const char*, Change, const char*> kCases[] = {
            {"zoom=3;preview-size=640x480;empty=;nonsense",
             {},
             "empty=;preview-size=640x480;zoom=3"},
            {"no pairs here", {}, ""},
            {"a=1;a=2;=3", {}, "=3;a=2"},
            {"a=1", [](CameraParameters* p) { p->set("a", nullptr); }, "a=1"},
            {"a=1", [](CameraParameters* p) { p->set(nullptr, "2"); }, "a=1"},
            {"a=1", [](CameraParameters* p) { p->set("a", "2;b"); }, "a=1"},
            {"a=1", [](CameraParameters* p) { p->set("b=", "2"); }, "a=1"},
            {"a=1", [](CameraParameters* p) { p->set("a", ""); }, "a="},
            {"a=1;b=2", [](CameraParameters* p) { p->remove("a"); }, "b=2"},
            {"", [](CameraParameters* p) { p->setFloat("f", 0.1f); }, "f=0.1"},
            {"", [](CameraParameters* p) { p->setFloat("f", 1e10f); }, "f=1e+10"},
            {"", [](CameraParameters* p) { p->setPreviewSize(1280, -1); }, "preview-size=1280x-1"},
            {"", [](CameraParameters* p) { p->setVideoSize(0, 0); }, "video-size=0x0"},
            {"", [](CameraParameters* p) { p->setPreviewFrameRate(30); }, "preview-frame-rate=30"},
            {"a=1", [](CameraParameters* p) { p->unflatten(String8("b=2;")); }, "b=2"},
    };
    for (const auto& [text, change, expected] : kCases) {
        CameraParameters params = String8(text);
        if (change) change(&params);
        EXPECT_STREQ(params.flatten().c_str(), expected) << text;
    }
}

TEST(CameraParametersFacts, values) {
    const std::tuple<const char*, const char*, int, float> kCases[] = {
            {"3", "3", 3, 3},  {"0x10", "0x10", 16, 16}, {"010", "010", 8, 10},
            {"", "-", -1, -1}, {"x", "x", 0, 0},         {"-7.5s", "-7.5s", -7, -7.5F},
            {" 4", " 4", 4, 4}};
    for (const auto& [value, text, number, exact] : kCases) {
        const CameraParameters params(String8::format("a=%s", value));
        const char* const found = params.get("a");
        EXPECT_STREQ(found != nullptr ? found : "-", text);
        EXPECT_EQ(params.getInt("a"), number) << value;
        EXPECT_EQ(params.getFloat("a"), exact) << value;
    }
    EXPECT_EQ(CameraParameters().get("a"), nullptr);
}

TEST(CameraParametersFacts, sizes) {
    for (const auto& [text, single, all] :
         {std::tuple("640x480", "640x480", "640x480 "),
          {"640x480,1280x720,1920x1080", "640x480", "640x480 1280x720 1920x1080 "},
          {"640x480,1280*720,1920x1080", "640x480", "640x480 "},
          {"640x480,1280x720s,1920x1080", "640x480", "640x480 "},
          {"640x", "640x0", "640x0 "},
          {"x480", "0x480", "0x480 "},
          {"640", "-1x-1", ""},
          {"640x480 ", "640x480", ""},
          {"640x480,", "640x480", "640x480 "},
          {",640x480", "-1x-1", ""},
          {"-640x-480", "-640x-480", "-640x-480 "},
          {"", "-1x-1", ""}}) {
        const CameraParameters params(
                String8::format("preview-size=%s;video-size-values=%s", text, text));
        Size size;
        params.getPreviewSize(&size.width, &size.height);
        EXPECT_EQ(std::to_string(size.width) + "x" + std::to_string(size.height), single);
        Vector<Size> sizes;
        params.getSupportedVideoSizes(sizes);
        std::string list;
        for (const Size& one : sizes)
            list += std::to_string(one.width) + "x" + std::to_string(one.height) + " ";
        EXPECT_EQ(list, all) << text;
    }
}

}  // namespace
}  // namespace android
