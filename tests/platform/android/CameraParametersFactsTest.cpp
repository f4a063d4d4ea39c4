// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <camera/CameraParameters.h>

#include "support/Test.h"

namespace android {
namespace {

using Change = std::function<void(CameraParameters*)>;

// Settings are read from a text and changed; what Android 11 writes then.
TEST(CameraParametersFacts, changes) {
    const struct {
        const char* text;
        Change change;
        const char* android;
    } cases[] = {
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
    for (const auto& c : cases) {
        CameraParameters params = String8(c.text);
        if (c.change) c.change(&params);
        EXPECT_STREQ(params.flatten().c_str(), c.android) << c.text;
    }
}

TEST(CameraParametersFacts, values) {
    const struct {
        const char *value, *text;
        int number;
        float exact;
    } cases[] = {
            {"3", "3", 3, 3},   {"0x10", "0x10", 16, 16}, {"010", "010", 8, 10},
            {"", "-", -1, -1},  {"x", "x", 0, 0},         {"-7.5s", "-7.5s", -7, -7.5},
            {" 4", " 4", 4, 4},
    };
    for (const auto& c : cases) {
        const CameraParameters params(String8::format("a=%s", c.value));
        const char* const text = params.get("a");
        EXPECT_STREQ(text != nullptr ? text : "-", c.text);
        EXPECT_EQ(params.getInt("a"), c.number) << c.value;
        EXPECT_EQ(params.getFloat("a"), c.exact) << c.value;
    }
    EXPECT_EQ(CameraParameters().get("a"), nullptr);
}

TEST(CameraParametersFacts, sizes) {
    const struct {
        const char *text, *single, *list;
    } cases[] = {
            {"640x480", "640x480", "640x480 "},
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
            {"", "-1x-1", ""},
    };
    for (const auto& c : cases) {
        const CameraParameters params(
                String8::format("preview-size=%s;video-size-values=%s", c.text, c.text));
        Size size;
        params.getPreviewSize(&size.width, &size.height);
        EXPECT_EQ(std::to_string(size.width) + "x" + std::to_string(size.height), c.single);
        Vector<Size> sizes;
        params.getSupportedVideoSizes(sizes);
        std::string list;
        for (const Size& one : sizes)
            list += std::to_string(one.width) + "x" + std::to_string(one.height) + " ";
        EXPECT_EQ(list, c.list) << c.text;
    }
}

}  // namespace
}  // namespace android
